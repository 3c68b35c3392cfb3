#include "bridge/engine.h"

#include <atomic>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"

namespace kestrinSearch {

namespace {

mobile_search::KSSearchDataAdapter* g_adapter = nullptr;
mobile_search::Searcher* g_searcher = nullptr;
// Written once at load and read from every callback thread.
std::atomic<JavaVM*> g_vm{nullptr};

// Tables registered in earlier runs are watched again.
void register_configured_tables(mobile_search::Searcher* searcher,
                                mobile_search::KSSearchDataAdapter* adapter) {
  const int sections = searcher->getConfigSectionNum();
  for (int i = 0; i < sections; ++i) {
    const char* index_name = nullptr;
    const char* db_name = nullptr;
    const char* table_name = nullptr;
    const char* key_field = nullptr;
    const char* index_fields = nullptr;
    const char* where_condition = nullptr;
    const char* profile_fields = nullptr;
    const char* notoken_fields = nullptr;
    searcher->getConfigSection(i, &index_name, &db_name, &table_name, &key_field, &index_fields,
                               &where_condition, &profile_fields, &notoken_fields);
    adapter->addTable(index_name, db_name, table_name, key_field, index_fields, where_condition,
                      profile_fields, 0);
  }
}

}  // namespace

mobile_search::KSSearchDataAdapter* engine_adapter() { return g_adapter; }
mobile_search::Searcher* engine_searcher() { return g_searcher; }

int init_engine_impl(const char* root_path, int mode) {
  if (root_path == nullptr || root_path[0] == '\0') return -1;
  // The adapter goes before the searcher it points to: its hooks and a
  // running scan batch must be gone before the searcher is.
  release_engine_impl();

  g_searcher = new mobile_search::Searcher();
  g_adapter = new mobile_search::KSSearchDataAdapter(root_path);
  // A root that cannot be opened still gives a running (empty) engine; the
  // calls that need groups then fail one by one.
  g_searcher->open(root_path, mode);
  g_adapter->setSearcher(g_searcher);
  register_configured_tables(g_searcher, g_adapter);
  return 0;
}

void release_engine_impl() {
  if (g_adapter != nullptr) {
    g_adapter->stopScan();
    g_adapter->stopAllHook();
    delete g_adapter;
    g_adapter = nullptr;
  }
  delete g_searcher;
  g_searcher = nullptr;
}

void set_java_vm(JavaVM* vm) { g_vm.store(vm); }

JNIEnv* current_env() {
  JavaVM* vm = g_vm.load();
  if (vm == nullptr) return nullptr;
  void* env = nullptr;
  if (vm->GetEnv(&env, JNI_VERSION_1_2) != JNI_OK) return nullptr;
  return static_cast<JNIEnv*>(env);
}

}  // namespace kestrinSearch
