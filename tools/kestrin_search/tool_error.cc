#include "tool_error.h"

#include <cstdio>

namespace kestrin_tool {

void printError(const ToolError& error) {
  if (error.ok()) return;
  std::fprintf(stderr, "kestrin_search: %s\n", error.message.c_str());
  if (!error.hint.empty()) std::fprintf(stderr, "  %s\n", error.hint.c_str());
}

const char* exitCodeHelp() {
  return "Exit status:\n"
         "  0    success\n"
         "  1    the engine reported a failure\n"
         "  2    bad or missing arguments\n"
         "  3    no such database file\n"
         "  4    wrong key, or the file is not a database\n"
         "  5    no such table or column, or a bad --where condition\n"
         "  6    the root directory holds no index\n"
         "  7    no index of that name in the root\n"
         "  130  interrupted by Ctrl-C (run index again to resume)\n";
}

}  // namespace kestrin_tool
