// One index's data-processing entry: a pair of host functions that may
// rewrite (or drop) a row's values before the adapter hands them to the
// searcher.
//
// The record owns its name; the functions and the user data belong to the
// host. The adapter keeps one entry per index in an array that owns the
// records (index_data_cfg_free is its release callback).
//
// The processing function receives, per row, the field names and three
// parallel arrays: texts (NUL-terminated, writable buffers), their lengths and
// their capacities. A function that rewrites a text in place may write at most
// capacities[i] bytes plus the terminating NUL. Returning -1 drops the row.
// The release function, when set, is called after the row was handled.
//
// No locking inside: the adapter guards its array of entries.
#ifndef KS_ADAPTER_INDEX_DATA_CONFIG_H_
#define KS_ADAPTER_INDEX_DATA_CONFIG_H_

#include "foundation/string_buffer.h"

namespace mobile_search {

typedef int (*data_proc_func_t)(const char* index_name, int field_count,
                                const char** field_names, char** texts,
                                const int* lengths, const int* capacities,
                                void* user_data);
typedef void (*data_release_func_t)(const char* index_name, int field_count,
                                    const char** field_names, char* const* texts,
                                    const int* lengths, const int* capacities,
                                    void* user_data);

struct _index_data_cfg_t {
  _str_buffer_t* index_name;
  data_proc_func_t proc;
  data_release_func_t release;  // may be null
  void* user_data;
};

// Null for a null name or function, or when allocation fails. The release
// function starts null.
_index_data_cfg_t* index_data_cfg_create(const char* index_name, data_proc_func_t proc,
                                         void* user_data);
// Null is ignored.
void index_data_cfg_free(_index_data_cfg_t* cfg);
// Same, as a _DArray release callback.
void index_data_cfg_free(void* cfg);

// Runs the processing function over one row. Returns its result, or 0 when
// there is no entry or no function (the row is kept unchanged).
int index_data_cfg_process(const _index_data_cfg_t* cfg, int field_count,
                           const char** field_names, char** texts, const int* lengths,
                           const int* capacities);
// Calls the release function with the same arguments, but only when the entry
// has both functions.
void index_data_cfg_release(const _index_data_cfg_t* cfg, int field_count,
                            const char** field_names, char** texts, const int* lengths,
                            const int* capacities);

}  // namespace mobile_search

#endif  // KS_ADAPTER_INDEX_DATA_CONFIG_H_
