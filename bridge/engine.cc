#include "bridge/engine.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"

namespace kestrinSearch {

namespace {

// Guarded by g_state: the engine, whether a release is under way, and how
// many EngineUse objects hold it.
std::mutex g_state;
std::condition_variable g_unused;
mobile_search::KSSearchDataAdapter* g_adapter = nullptr;
mobile_search::Searcher* g_searcher = nullptr;
bool g_releasing = false;
int g_uses = 0;
// Serializes inits and releases with each other.
std::mutex g_lifecycle;
// The EngineUse objects alive on this thread.
thread_local int t_uses = 0;
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

// The release itself; the caller holds g_lifecycle and no EngineUse.
void release_locked() {
  mobile_search::KSSearchDataAdapter* adapter = nullptr;
  {
    std::lock_guard<std::mutex> lock(g_state);
    if (g_adapter == nullptr && g_searcher == nullptr) return;
    g_releasing = true;
    adapter = g_adapter;
  }
  // Running batches end at their next row and hooked rows are finished, so
  // the calls holding the engine return soon.
  if (adapter != nullptr) {
    adapter->stopScan();
    adapter->stopAllHook();
  }
  std::unique_lock<std::mutex> lock(g_state);
  g_unused.wait(lock, [] { return g_uses == 0; });
  // The adapter goes before the searcher it points to.
  delete g_adapter;
  g_adapter = nullptr;
  delete g_searcher;
  g_searcher = nullptr;
  g_releasing = false;
}

}  // namespace

EngineUse::EngineUse() : searcher_(nullptr), adapter_(nullptr), counted_(false) {
  std::lock_guard<std::mutex> lock(g_state);
  if (g_releasing) return;
  searcher_ = g_searcher;
  adapter_ = g_adapter;
  counted_ = true;
  ++g_uses;
  ++t_uses;
}

EngineUse::~EngineUse() {
  if (!counted_) return;
  std::lock_guard<std::mutex> lock(g_state);
  --t_uses;
  if (--g_uses == 0) g_unused.notify_all();
}

int init_engine_impl(const char* root_path, int mode) {
  if (root_path == nullptr || root_path[0] == '\0' || t_uses > 0) return -1;
  std::lock_guard<std::mutex> lifecycle(g_lifecycle);
  release_locked();

  auto* searcher = new mobile_search::Searcher();
  auto* adapter = new mobile_search::KSSearchDataAdapter(root_path);
  // A root that cannot be opened still gives a running (empty) engine; the
  // calls that need groups then fail one by one.
  searcher->open(root_path, mode);
  adapter->setSearcher(searcher);
  register_configured_tables(searcher, adapter);
  std::lock_guard<std::mutex> lock(g_state);
  g_searcher = searcher;
  g_adapter = adapter;
  return 0;
}

void release_engine_impl() {
  if (t_uses > 0) return;
  std::lock_guard<std::mutex> lifecycle(g_lifecycle);
  release_locked();
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
