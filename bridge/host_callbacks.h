// Engine events passed up to the host: log lines and the rewriting of a row's
// values before indexing, both by calling static methods of the host class
// com/orvenco/android/vantrel/search/SearchImpl:
//   JNI_LOG                (Ljava/lang/String;)V
//   profLayerDataProcFunc  (Ljava/lang/String;I[Ljava/lang/String;[Ljava/lang/String;)
//                          [Ljava/lang/String;
//
// The host class and both method ids are looked up once, preferably by
// JNI_OnLoad on the loading thread: a FindClass made later on a thread the VM
// did not create (the scan worker, a database thread attached by the host)
// only sees the system class loader and would miss the application's classes.
// Lookups that failed at load are retried on the next callback.
//
// Threads: the callbacks run on whatever thread the engine is on, each inside
// its own local frame; that thread must already be attached to the VM (they
// never attach one). The cached ids are global references, shared read-only.
//
// Failures: -1 when the thread has no environment or the class or method is
// missing; a Java exception thrown by the host method is cleared, never left
// pending.
#ifndef KS_BRIDGE_HOST_CALLBACKS_H_
#define KS_BRIDGE_HOST_CALLBACKS_H_

#include <jni.h>

namespace kestrinSearch {

// Looks up and keeps the host class and its methods (and java/lang/String).
// True when the host class was found; clears any exception of the lookup.
bool cache_host_methods(JNIEnv* env);

// Hands one log line, cut to 1023 bytes, to SearchImpl.JNI_LOG. 0, or -1 as
// described above. Installed as the engine's plain log sink.
int JNILogCallbackFunc(const char* text);

// Passes one row (name, count, field names, values) to
// SearchImpl.profLayerDataProcFunc and copies the returned values back in
// order: a null element empties its value; the first element longer (in
// modified UTF-8 bytes) than its capacity ends the copying, leaving it and
// every later value as they were. Each values[i] must have room for
// capacities[i] bytes plus the NUL. A null result changes nothing. 0, or -1
// as described above. `aux_array` and `ctx` are not used.
int pl_data_proc(const char* name, int count, const char** field_names, char** values,
                 const int* aux_array, const int* capacities, void* ctx);

// Native methods installing the two callbacks.
// NativeHandler.native_set_index_dataFunc(String): -1 without engine, else 0
// (also when the name is null or empty and nothing is installed; an index that
// has a function keeps it).
jint set_index_dataFunc(JNIEnv* env, jclass, jstring name);
// NativeHandler.native_set_log_callback(): -1 without engine, else 0.
jint set_log_callback(JNIEnv* env, jclass);

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_HOST_CALLBACKS_H_
