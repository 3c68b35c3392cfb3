// Searcher: the engine options of the bound root.
#include <stdlib.h>

#include "config/config_manager.h"
#include "config/engine_options.h"
#include "foundation/c_string.h"
#include "foundation/logging.h"
#include "search/group_searcher.h"
#include "search/searcher.h"

namespace mobile_search {

namespace {

SGroupConfig* GroupAt(_DArray* groups, unsigned int i) {
  return slot_as<SGroupConfig>(darray_get_by_index(groups, i));
}

// True when no group holds a document record, live or deleted. Groups whose
// documents are all deleted are compacted on the way: a deleted record would
// otherwise come back with its old terms when the host rescans the same row.
// Run under the exclusive index gate, so no document is being added.
bool EmptyIndex(ConfigManager* manager, const char* option) {
  _DArray* groups = manager->getAllGroupConfig();
  for (unsigned int i = 0; i < darray_length(groups); ++i) {
    SGroupConfig* group = GroupAt(groups, i);
    GroupSearcher* searcher = manager->group_config_get_searcher(group);
    if (searcher == nullptr) {
      log_printf("option %s: group %s cannot be opened \n", option, group->group_name->data);
      return false;
    }
    const int docs = searcher->getDocCount();
    if (docs == 0) continue;
    if (docs > searcher->getIndexDeleteCount()) {
      log_printf("option %s cannot change: group %s holds documents; clear the index first \n",
                 option, group->group_name->data);
      return false;
    }
    searcher->ellipseIndex(group->group_name->data, true);
    if (searcher->getDocCount() != 0) {
      log_printf("option %s cannot change: the deleted documents of group %s remain \n", option,
                 group->group_name->data);
      return false;
    }
  }
  return true;
}

}  // namespace

int Searcher::setOption(const char* name, const char* value) {
  if (config_manager_ == nullptr || is_empty_str(name) || value == nullptr) return -1;
  const EngineOptionSpec* spec = findEngineOption(name);
  OptionValues checked;
  if (spec == nullptr || !spec->parse(value, &checked)) {
    log_printf("option %s=%s refused: unknown option or value \n", name, value);
    return -1;
  }
  EngineOptions* options = config_manager_->getEngineOptions();
  ReadWriteLock* gate = options->indexGate();
  if (spec->changesIndex) gate->write_lock();
  int ret = 0;
  if (spec->changesIndex && options->wouldChange(spec, value) &&
      !EmptyIndex(config_manager_, name)) {
    ret = -1;
  }
  if (ret == 0) ret = options->set(spec, value, config_manager_->syncWrites());
  if (spec->changesIndex) gate->unlock();
  if (ret == 0 && spec->apply != nullptr) spec->apply(config_manager_, options->values());
  return ret;
}

char* Searcher::getOption(const char* name) {
  if (config_manager_ == nullptr) return nullptr;
  return config_manager_->getEngineOptions()->get(name);
}

TextOptions Searcher::textOptions() const {
  if (config_manager_ == nullptr) return TextOptions();
  return config_manager_->getEngineOptions()->textOptions();
}

}  // namespace mobile_search
