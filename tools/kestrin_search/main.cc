// kestrin_search: the engine's main jobs from the command line: a demo on
// generated sample data, indexing a table of one's own database, searching
// with readable or JSON output, statistics, compaction, deletion, following
// changes, abstracts and pinyin. Run it with --help for the commands and
// their exit statuses.
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "tool_error.h"

int main(int argc, char** argv) {
  try {
    return kestrin_tool::runCommandLine(argc, argv);
  } catch (const std::exception& e) {
    // Only memory exhaustion and the like get here; the engine throws nothing.
    std::fprintf(stderr, "kestrin_search: %s\n", e.what());
    return kestrin_tool::kEngineFailed;
  }
}
