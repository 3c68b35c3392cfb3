// Runs tests/search/probe/reopen_probe: the engine root reopened by a fresh
// process (the configuration managers are process-wide, and a forked child
// would inherit the test's own view of the root), answering queries.
#ifndef KS_TESTS_SEARCH_REOPEN_PROBE_H_
#define KS_TESTS_SEARCH_REOPEN_PROBE_H_

#include <cstdio>
#include <map>
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
  for (size_t at = 0; at < out.size();) {
    size_t nl = out.find('\n', at);
    if (nl == std::string::npos) nl = out.size();
    std::string line = out.substr(at, nl - at);
    at = nl + 1;
    size_t tab = line.find('\t');
    std::string kind = line.substr(0, tab), rest = tab == std::string::npos ? "" : line.substr(tab + 1);
    if (kind == "log") {
      r.log += rest + "\n";
    } else if (kind == "add") {
      r.adds.push_back(atoi(rest.c_str()));
    } else if (kind == "q") {
      size_t t2 = rest.find('\t');
      r.found[rest.substr(0, t2)] = t2 == std::string::npos ? "" : rest.substr(t2 + 1);
    }
  }
  return r;
}

}  // namespace ks_test

#endif  // KS_TESTS_SEARCH_REOPEN_PROBE_H_
