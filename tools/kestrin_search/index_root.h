// IndexRoot: an engine (Searcher) bound to one index root directory, with the
// checks that keep the tool from damaging or misreading a directory.
//
// The engine wipes a root whose version stamp ("IndexVersion.cfg") is
// missing or different, and creates any root it is pointed at. So:
//   - commands that only read (search, stats, ...) require a root the engine
//     made, with this engine's version (kNotIndexed otherwise), and never
//     create one;
//   - index may create a new or empty directory, but refuses an existing
//     directory that holds other files and no version stamp.
//
// The root also keeps the tool's notes ("kestrin_search.cfg", readable by its
// owner only): per database name the file and key last indexed, so that
// search and watch can read rows back without --db and --key.
//
// The destructor closes the engine, which saves every open group.
#ifndef KS_TOOLS_KESTRIN_SEARCH_INDEX_ROOT_H_
#define KS_TOOLS_KESTRIN_SEARCH_INDEX_ROOT_H_

#include <string>
#include <vector>

#include "commands.h"
#include "config/config_manager.h"
#include "search/group_searcher.h"
#include "search/searcher.h"
#include "tool_error.h"

namespace kestrin_tool {

class IndexRoot {
 public:
  IndexRoot() = default;
  ~IndexRoot();
  IndexRoot(const IndexRoot&) = delete;
  IndexRoot& operator=(const IndexRoot&) = delete;

  // Opens an existing index root; kNotIndexed when `root` holds no index of
  // this engine version, kEngineFailed when the engine cannot open it.
  ToolError openExisting(const std::string& root);
  // Opens or creates the root for indexing; kUsage for a directory that is
  // not an index root and not empty.
  ToolError openForIndexing(const std::string& root);

  mobile_search::Searcher& searcher() { return searcher_; }
  mobile_search::ConfigManager* config() const { return searcher_.getConfigManager(); }
  const std::string& path() const { return path_; }

  // kUnknownIndex (listing the indexes there) unless the index exists.
  ToolError requireIndex(const std::string& index) const;
  std::vector<std::string> indexNames() const;

  // Applies --option NAME=VALUE settings to the engine.
  ToolError applyEngineOptions(const std::vector<std::string>& options);

  // The notes: remember a database, and fill `db` (file and key) for a
  // database name from them; false when nothing is noted.
  void rememberDatabase(const DatabaseOptions& db) const;
  bool recallDatabase(const std::string& db_name, DatabaseOptions* db) const;

 private:
  ToolError open(const std::string& root);

  mobile_search::Searcher searcher_;
  std::string path_;
  bool opened_ = false;
};

// What one index group holds.
struct GroupStats {
  std::string name;
  std::string directory;
  long long documents = 0;  // document ids given out, deleted ones included
  long long deleted = 0;
  unsigned long long bytes = 0;
  mobile_search::GroupSearcher* searcher = nullptr;  // borrowed from the engine
};

// Every group of the root, in the engine's order; groups that cannot be
// opened are listed with a null searcher and zero counts.
std::vector<GroupStats> groupStats(const IndexRoot& root);

// "7.9 MB": a byte count for people.
std::string humanBytes(unsigned long long bytes);

// The base name of a path ("a/b/chat.db" gives "chat.db").
std::string baseName(const std::string& path);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_INDEX_ROOT_H_
