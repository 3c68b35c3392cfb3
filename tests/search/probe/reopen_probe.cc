// reopen_probe ROOT INDEX: opens an engine root as a fresh process would and
// answers commands read from standard input, one per line:
//   q <query>                      -> "q\t<query>\t<key>,<key>,...\n" (sorted keys)
//   add <db> <table> <key> <v1>|<v2>|...  -> "add\t<result>\n"
// Every line the engine logs through its plain channel is printed first as
// "log\t<text>\n" when it is written. Exit status 2 when the root cannot be
// opened. Tests use it to check what a killed or failed process left on disk.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/logging.h"
#include "search/search_result.h"
#include "search/searcher.h"
#include "search/table_result.h"

using mobile_search::SearchResult;
using mobile_search::Searcher;
using mobile_search::TableResult;

namespace {

int PrintLog(const char* text) {
  std::string line(text);
  while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
  std::cout << "log\t" << line << "\n";
  return 0;
}

std::string Keys(Searcher* s, const char* index, const std::string& query) {
  SearchResult result(true);
  s->doSearch(index, nullptr, query.c_str(), 0, 100000, &result, false);
  std::vector<std::string> keys;
  for (int t = 0; t < result.getTableCount(); ++t) {
    const TableResult* table = result.getTableResult(t);
    for (int i = 0; i < table->getCount(); ++i) keys.push_back(table->getPkey(i)->data);
  }
  std::sort(keys.begin(), keys.end());
  std::string out;
  for (const std::string& k : keys) out += k + ",";
  return out;
}

int Add(Searcher* s, const char* index, const std::string& args) {
  std::istringstream in(args);
  std::string db, table, key, rest;
  in >> db >> table >> key;
  std::getline(in, rest);
  if (!rest.empty() && rest[0] == ' ') rest.erase(0, 1);
  std::vector<std::string> values;
  for (size_t at = 0;;) {
    size_t bar = rest.find('|', at);
    values.push_back(rest.substr(at, bar - at));
    if (bar == std::string::npos) break;
    at = bar + 1;
  }
  std::vector<char*> ptrs;
  for (std::string& v : values) ptrs.push_back(&v[0]);
  return s->addDoc(index, db.c_str(), table.c_str(), key.c_str(), static_cast<int>(ptrs.size()), ptrs.data());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: reopen_probe ROOT INDEX < commands\n");
    return 1;
  }
  mobile_search::set_log_cb_func(PrintLog);
  Searcher s;
  if (s.open(argv[1], 0) != 0) return 2;
  std::string line;
  while (std::getline(std::cin, line)) {
    if (line.rfind("q ", 0) == 0) {
      std::cout << "q\t" << line.substr(2) << "\t" << Keys(&s, argv[2], line.substr(2)) << "\n";
    } else if (line.rfind("add ", 0) == 0) {
      std::cout << "add\t" << Add(&s, argv[2], line.substr(4)) << "\n";
    }
  }
  std::cout.flush();
  return 0;
}
