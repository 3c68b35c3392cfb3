// The process-wide engine behind the native methods: one Searcher and one
// KSSearchDataAdapter, both made by init_engine_impl and destroyed by
// release_engine_impl, plus the JavaVM stored at library load, through which
// callbacks find their thread's JNIEnv.
//
// Ownership: the two engine objects are owned here; a native call borrows
// them through an EngineUse for as long as it runs. The VM belongs to the
// runtime.
//
// Threads: native calls run on many host threads at once and the engine's own
// locks protect them. Initialising or releasing the engine may happen while
// other calls run: a release first stops the adapter's scans and hooks, then
// refuses new uses (they see no engine) and waits until every EngineUse has
// ended before it destroys anything. Inits and releases are serialized with
// each other. A release or init asked for from inside a native call on the
// same thread (a host callback calling back in) would wait for itself: it is
// refused and does nothing.
//
// Failures: init_engine_impl returns -1 only for a null or empty root; the
// accessors return null while no engine runs.
#ifndef KS_BRIDGE_ENGINE_H_
#define KS_BRIDGE_ENGINE_H_

#include <jni.h>

namespace mobile_search {
class KSSearchDataAdapter;
class Searcher;
}  // namespace mobile_search

namespace kestrinSearch {

// Holds the running engine for one native call. Both parts are null when no
// engine runs or one is being released. Uses nest (a host callback calling
// back in holds a second one on the same thread).
class EngineUse {
 public:
  EngineUse();
  ~EngineUse();
  EngineUse(const EngineUse&) = delete;
  EngineUse& operator=(const EngineUse&) = delete;

  mobile_search::Searcher* searcher() const { return searcher_; }
  mobile_search::KSSearchDataAdapter* adapter() const { return adapter_; }

 private:
  mobile_search::Searcher* searcher_;
  mobile_search::KSSearchDataAdapter* adapter_;
  bool counted_;
};

// Replaces any running engine (nothing is saved) with a new one on
// `root_path`, re-registering with the adapter every table the root's
// configuration knows. 0, or -1 for a null or empty root or when called from
// inside a native call. The int reaches Searcher::open, which ignores it.
int init_engine_impl(const char* root_path, int mode);
// Stops the adapter's scan and hooks, waits for the native calls using the
// engine, destroys the adapter, then the searcher. Nothing is saved or closed
// first. Safe when no engine runs.
void release_engine_impl();

// Stores the VM given to JNI_OnLoad.
void set_java_vm(JavaVM* vm);
// The calling thread's environment for JNI 1.2, or null when there is no VM
// or the thread is not attached (callbacks never attach threads).
JNIEnv* current_env();

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_ENGINE_H_
