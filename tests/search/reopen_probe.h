// Runs tests/search/probe/reopen_probe: the engine root reopened by a fresh
// process (the configuration managers are process-wide, and a forked child
// would inherit the test's own view of the root), answering queries.
#ifndef KS_TESTS_SEARCH_REOPEN_PROBE_H_
#define KS_TESTS_SEARCH_REOPEN_PROBE_H_

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "test_util.h"

namespace ks_test {

struct Reopened {
  bool ok = false;                            // the probe opened the root and ran
  std::string log;                            // engine log lines, one per line
  std::map<std::string, std::string> found;   // query -> "key,key,"
  std::vector<int> adds;                      // results of the add commands
};

// `commands`: lines "q <query>" and "add <db> <table> <key> <v1>|<v2>|...".
inline Reopened Reopen(const std::string& root, const std::string& index, const std::string& commands) {
  Reopened r;
  TempDir tmp;
  std::string in = tmp.file("commands");
  if (!WriteFile(in, commands)) return r;
  std::string cmd = std::string(KS_REOPEN_PROBE) + " '" + root + "' '" + index + "' < '" + in + "'";
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return r;
  std::string out;
  char buf[65536];
  for (size_t n; (n = fread(buf, 1, sizeof(buf), p)) > 0;) out.append(buf, n);
  r.ok = pclose(p) == 0;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    const size_t tab = line.find('\t');
    const std::string kind = line.substr(0, tab);
    const std::string rest = tab == std::string::npos ? "" : line.substr(tab + 1);
    const size_t tab2 = rest.find('\t');
    if (kind == "log") r.log += rest + "\n";
    if (kind == "add") r.adds.push_back(atoi(rest.c_str()));
    if (kind == "q") r.found[rest.substr(0, tab2)] = tab2 == std::string::npos ? "" : rest.substr(tab2 + 1);
  }
  return r;
}

}  // namespace ks_test

#endif  // KS_TESTS_SEARCH_REOPEN_PROBE_H_
