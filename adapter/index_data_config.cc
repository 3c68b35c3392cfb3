#include "adapter/index_data_config.h"

#include <stdlib.h>

namespace mobile_search {

_index_data_cfg_t* index_data_cfg_create(const char* index_name, data_proc_func_t proc,
                                         void* user_data) {
  if (index_name == nullptr || proc == nullptr) return nullptr;
  _index_data_cfg_t* cfg = static_cast<_index_data_cfg_t*>(calloc(1, sizeof(_index_data_cfg_t)));
  if (cfg == nullptr) return nullptr;
  cfg->index_name = str_buffer_create(index_name);
  if (cfg->index_name == nullptr) {
    free(cfg);
    return nullptr;
  }
  cfg->proc = proc;
  cfg->user_data = user_data;
  return cfg;
}

void index_data_cfg_free(_index_data_cfg_t* cfg) {
  if (cfg == nullptr) return;
  str_buffer_free(cfg->index_name);
  free(cfg);
}

void index_data_cfg_free(void* cfg) { index_data_cfg_free(static_cast<_index_data_cfg_t*>(cfg)); }

int index_data_cfg_process(const _index_data_cfg_t* cfg, int field_count,
                           const char** field_names, char** texts, const int* lengths,
                           const int* capacities) {
  if (cfg == nullptr || cfg->proc == nullptr) return 0;
  return cfg->proc(cfg->index_name->data, field_count, field_names, texts, lengths, capacities,
                   cfg->user_data);
}

void index_data_cfg_release(const _index_data_cfg_t* cfg, int field_count,
                            const char** field_names, char** texts, const int* lengths,
                            const int* capacities) {
  if (cfg == nullptr || cfg->proc == nullptr || cfg->release == nullptr) return;
  cfg->release(cfg->index_name->data, field_count, field_names, texts, lengths, capacities,
               cfg->user_data);
}

}  // namespace mobile_search
