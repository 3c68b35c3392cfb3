// The process-wide engine behind the native methods: one Searcher and one
// KSSearchDataAdapter, both made by init_engine_impl and destroyed by
// release_engine_impl, plus the JavaVM stored at library load, through which
// callbacks find their thread's JNIEnv.
//
// Ownership: the two engine objects are owned here; callers borrow them for
// the duration of one native call. The VM belongs to the runtime.
//
// Threads: no lock, deliberately. Native calls may run on many host threads
// at once and the engine's own locks protect them, but initialising or
// releasing the engine while other calls run is the host's error to avoid.
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

// The running engine's parts, or null.
mobile_search::KSSearchDataAdapter* engine_adapter();
mobile_search::Searcher* engine_searcher();

// Replaces any running engine (nothing is saved) with a new one on
// `root_path`, re-registering with the adapter every table the root's
// configuration knows. 0, or -1 for a null or empty root. The int reaches
// Searcher::open, which ignores it.
int init_engine_impl(const char* root_path, int mode);
// Stops the adapter's scan and hooks, destroys the adapter, then the searcher.
// Nothing is saved or closed first. Safe when no engine runs.
void release_engine_impl();

// Stores the VM given to JNI_OnLoad.
void set_java_vm(JavaVM* vm);
// The calling thread's environment for JNI 1.2, or null when there is no VM
// or the thread is not attached (callbacks never attach threads).
JNIEnv* current_env();

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_ENGINE_H_
