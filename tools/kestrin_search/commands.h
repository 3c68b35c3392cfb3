// The sub-commands of kestrin_search: one options record and one run function
// each. command_line.cc fills the records from the arguments; every run
// function returns a ToolError (kOk for success) and prints its own output.
#ifndef KS_TOOLS_KESTRIN_SEARCH_COMMANDS_H_
#define KS_TOOLS_KESTRIN_SEARCH_COMMANDS_H_

#include <string>
#include <vector>

#include "terminal.h"
#include "tool_error.h"

namespace kestrin_tool {

// How a database is reached: its file and key (empty: not encrypted).
struct DatabaseOptions {
  std::string file;
  std::string key;
  std::string name;  // the engine's name for it; defaults to the file's base name
};

// One table to index: where it is and what the index keeps of it.
struct TableSpec {
  DatabaseOptions db;
  std::string table, pkey, fields;
  std::string pinyin, profile, notoken, where, index, group;
};

struct IndexOptions {
  std::string root;
  TableSpec spec;
  std::vector<std::string> engine_options;  // --option NAME=VALUE
};

enum class OutputFormat { kAuto, kHuman, kJson };

struct SearchOptions {
  std::string root, index, field, query;
  int start = 0;
  int limit = 10;
  OutputFormat format = OutputFormat::kAuto;
  ColorMode color = ColorMode::kAuto;
  DatabaseOptions db;  // where the rows' texts are read back from (optional)
  std::vector<std::string> engine_options;
};

struct StatsOptions {
  std::string root;
};

struct CompactOptions {
  std::string root, group;
  bool force = false;
};

struct DeleteOptions {
  std::string root, index, table, db_name;
  std::vector<std::string> keys;
  bool all = false;
};

struct WatchOptions {
  std::string root;
  DatabaseOptions db;
  std::vector<std::string> engine_options;
};

struct AbstractOptions {
  std::string text, query;
  int limit = 30;
  std::vector<std::string> engine_options;
};

struct PinyinOptions {
  std::string character;
};

struct DemoOptions {
  std::string dir = "kestrin-demo";
  ColorMode color = ColorMode::kAuto;
};

ToolError runIndex(const IndexOptions& options);
ToolError runSearch(const SearchOptions& options);
ToolError runStats(const StatsOptions& options);
ToolError runCompact(const CompactOptions& options);
ToolError runDelete(const DeleteOptions& options);
ToolError runWatch(const WatchOptions& options);
ToolError runAbstract(const AbstractOptions& options);
ToolError runPinyin(const PinyinOptions& options);
ToolError runDemo(const DemoOptions& options);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_COMMANDS_H_
