// The configuration manager's side of the group searchers: lazy creation,
// the compaction check of the registry, and destruction with the group.
#include <new>

#include "config/config_manager.h"
#include "config/config_records.h"
#include "search/group_searcher.h"

namespace mobile_search {

void group_config_free_searcher(SGroupConfig* group) {
  GroupSearcher* searcher = group != nullptr ? group->searcher.exchange(nullptr) : nullptr;
  if (searcher == nullptr) return;
  searcher->close();
  delete searcher;
}

GroupSearcher* ConfigManager::group_config_get_searcher(SGroupConfig* group) {
  if (group == nullptr) return nullptr;
  MutexLock guard(m_groupLock);
  if (group->searcher.load() == nullptr) {
    GroupSearcher* searcher = new (std::nothrow) GroupSearcher();
    if (searcher != nullptr && searcher->open(this, group->group_name->data) == 0) {
      group->searcher.store(searcher);
    } else {
      delete searcher;
    }
  }
  return group->searcher.load();
}

bool ConfigManager::isEllipseComplete() {
  bool complete = true;
  _DArray* groups = getAllGroupConfig();
  for (unsigned int i = 0; i < darray_length(groups); ++i) {
    SGroupConfig* group = slot_as<SGroupConfig>(darray_get_by_index(groups, i));
    GroupSearcher* searcher = group_config_get_searcher(group);
    if (searcher != nullptr && searcher->isEllipsing()) complete = false;
  }
  return complete;
}

}  // namespace mobile_search
