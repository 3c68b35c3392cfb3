#include "index_root.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "database.h"
#include "foundation/file_util.h"
#include "foundation/ini_file.h"
#include "storage/doc_id_manager.h"

namespace kestrin_tool {
namespace {

using mobile_search::ini_ctx_t;

const char kNotesFile[] = "/kestrin_search.cfg";

// The version stamp of a root: "" when there is none.
std::string versionStamp(const std::string& root) {
  std::string path = root + "/IndexVersion.cfg";
  if (access(path.c_str(), R_OK) != 0) return "";
  ini_ctx_t* doc = mobile_search::ini_load_from_file(path.c_str());
  const char* version = mobile_search::ini_ctx_get_val(doc, "config", "index_version");
  std::string stamp = version ? version : "";
  mobile_search::ini_ctx_free(doc);
  return stamp;
}

bool isEmptyDirectory(const std::string& path) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return false;
  bool empty = true;
  while (struct dirent* entry = readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
      empty = false;
      break;
    }
  }
  closedir(dir);
  return empty;
}

}  // namespace

std::vector<GroupStats> groupStats(const IndexRoot& root) {
  std::vector<GroupStats> groups;
  mobile_search::_DArray* list = root.config() ? root.config()->getAllGroupConfig() : nullptr;
  for (unsigned i = 0; i < mobile_search::darray_length(list); ++i) {
    auto* group = mobile_search::slot_as<mobile_search::SGroupConfig>(
        mobile_search::darray_get_by_index(list, i));
    if (group == nullptr || group->group_name == nullptr) continue;
    GroupStats stats;
    stats.name = group->group_name->data;
    stats.searcher = root.config()->group_config_get_searcher(group);
    mobile_search::index_mgr_t* stores = stats.searcher ? stats.searcher->getIndexMgr() : nullptr;
    if (stores != nullptr) {
      stats.directory = stats.searcher->getIndexPath();
      stats.documents = stores->doc_mgr->getDocNumber();
      stats.deleted = stats.searcher->getIndexDeleteCount();
      stats.bytes = get_dir_total_bytes(stats.directory.c_str());
    }
    groups.push_back(stats);
  }
  return groups;
}

std::string humanBytes(unsigned long long bytes) {
  const char* units[] = {"B", "KB", "MB", "GB", "TB"};
  double value = static_cast<double>(bytes);
  int unit = 0;
  while (value >= 1024 && unit < 4) {
    value /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
  return text;
}

std::string baseName(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

IndexRoot::~IndexRoot() {
  if (opened_) searcher_.close();
}

ToolError IndexRoot::open(const std::string& root) {
  path_ = root;
  if (searcher_.open(root.c_str(), 0) != 0) {
    return toolError(kEngineFailed, "the engine cannot open the index in " + root,
                     "check that the directory is writable and not used by another program");
  }
  opened_ = true;
  return ToolError();
}

ToolError IndexRoot::openExisting(const std::string& root) {
  std::string stamp = versionStamp(root);
  if (stamp.empty()) {
    return toolError(kNotIndexed, root + " holds no index",
                     "index a table first: kestrin_search index --root " + root +
                         " --db FILE --table TABLE --pkey COLUMN --fields A,B");
  }
  if (stamp != searcher_.indexVersion()) {
    return toolError(kNotIndexed,
                     root + " was made by engine version " + stamp + ", this is " +
                         searcher_.indexVersion(),
                     "index it again with this version (the old index will be replaced)");
  }
  return open(root);
}

ToolError IndexRoot::openForIndexing(const std::string& root) {
  struct stat info;
  if (stat(root.c_str(), &info) == 0) {
    if (!S_ISDIR(info.st_mode)) {
      return toolError(kUsage, root + " is not a directory", "give a directory for the index");
    }
    std::string stamp = versionStamp(root);
    if (stamp.empty() && !isEmptyDirectory(root)) {
      return toolError(kUsage, root + " holds other files and no index",
                       "the engine would delete them: give a new or empty directory");
    }
    if (!stamp.empty() && stamp != searcher_.indexVersion()) {
      std::fprintf(stderr, "note: %s was made by engine version %s; it is rebuilt\n",
                   root.c_str(), stamp.c_str());
    }
  }
  return open(root);
}

std::vector<std::string> IndexRoot::indexNames() const {
  std::vector<std::string> names;
  mobile_search::_DArray* indexes = config() ? config()->getAllIndexInfo() : nullptr;
  for (unsigned i = 0; i < mobile_search::darray_length(indexes); ++i) {
    auto* index = mobile_search::slot_as<mobile_search::index_info_t>(
        mobile_search::darray_get_by_index(indexes, i));
    if (index != nullptr && index->name != nullptr) names.push_back(index->name->data);
  }
  return names;
}

ToolError IndexRoot::requireIndex(const std::string& index) const {
  if (config() != nullptr && config()->getIndexInfo(index.c_str()) != nullptr) return ToolError();
  std::vector<std::string> names = indexNames();
  return toolError(kUnknownIndex, "no index " + index + " in " + path_,
                   names.empty() ? "the root has no index yet"
                                 : "indexes there: " + joinNames(names));
}

ToolError IndexRoot::applyEngineOptions(const std::vector<std::string>& options) {
  for (const std::string& option : options) {
    size_t eq = option.find('=');
    if (eq == std::string::npos ||
        searcher_.setOption(option.substr(0, eq).c_str(), option.substr(eq + 1).c_str()) != 0) {
      return toolError(kUsage, "engine option " + option + " refused",
                       "an unknown name or value, or an option that changes what is indexed on an index "
                       "that already holds documents");
    }
  }
  return ToolError();
}

void IndexRoot::rememberDatabase(const DatabaseOptions& db) const {
  std::string path = path_ + kNotesFile;
  // Created readable by its owner only: it may hold a database key.
  int fd = ::open(path.c_str(), O_CREAT | O_RDWR, 0600);
  if (fd >= 0) ::close(fd);
  char* absolute = realpath(db.file.c_str(), nullptr);
  ini_ctx_t* doc = mobile_search::ini_load_from_file(path.c_str());
  if (doc == nullptr) {
    std::free(absolute);
    return;
  }
  mobile_search::ini_ctx_remove_section(doc, db.name.c_str());
  mobile_search::ini_ctx_section_add_item(doc, db.name.c_str(), "file",
                                          absolute ? absolute : db.file.c_str());
  if (!db.key.empty()) {
    mobile_search::ini_ctx_section_add_item(doc, db.name.c_str(), "key", db.key.c_str());
  }
  mobile_search::ini_ctx_save(doc, true);
  mobile_search::ini_ctx_free(doc);
  std::free(absolute);
}

bool IndexRoot::recallDatabase(const std::string& db_name, DatabaseOptions* db) const {
  std::string path = path_ + kNotesFile;
  if (access(path.c_str(), R_OK) != 0) return false;
  ini_ctx_t* doc = mobile_search::ini_load_from_file(path.c_str());
  const char* file = mobile_search::ini_ctx_get_val(doc, db_name.c_str(), "file");
  const char* key = mobile_search::ini_ctx_get_val(doc, db_name.c_str(), "key");
  if (file != nullptr) {
    db->file = file;
    db->key = key ? key : "";
    db->name = db_name;
  }
  mobile_search::ini_ctx_free(doc);
  return file != nullptr;
}

}  // namespace kestrin_tool
