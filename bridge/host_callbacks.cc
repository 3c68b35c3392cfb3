#include "bridge/host_callbacks.h"

#include <stdio.h>
#include <string.h>

#include <atomic>
#include <mutex>

#include "adapter/ks_search_data_adapter.h"
#include "bridge/engine.h"
#include "bridge/jni_text.h"
#include "foundation/logging.h"

namespace kestrinSearch {

namespace {

const char kHostClass[] = "com/orvenco/android/vantrel/search/SearchImpl";
const char kLogMethod[] = "JNI_LOG";
const char kLogSignature[] = "(Ljava/lang/String;)V";
const char kDataProcMethod[] = "profLayerDataProcFunc";
const char kDataProcSignature[] =
    "(Ljava/lang/String;I[Ljava/lang/String;[Ljava/lang/String;)[Ljava/lang/String;";

// Log lines reach the host cut to this many bytes (NUL included).
const size_t kLogLineBytes = 1024;
// Local references alive at once in a callback: name, two arrays, one
// element, the result and one of its elements.
const jint kFrameCapacity = 16;

struct HostMethods {
  jclass search_impl;   // global reference
  jclass string_class;  // global reference
  jmethodID log;        // null when the host class lacks it
  jmethodID data_proc;  // likewise
};

std::mutex g_lookup_mutex;
HostMethods g_methods = {nullptr, nullptr, nullptr, nullptr};
// Set once g_methods is complete; from then on it is only read.
std::atomic<bool> g_methods_ready{false};

jclass find_global_class(JNIEnv* env, const char* name) {
  jclass local = env->FindClass(name);
  if (local == nullptr) {
    clear_exception(env);
    return nullptr;
  }
  jclass global = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  return global;
}

jmethodID find_static_method(JNIEnv* env, jclass cls, const char* name, const char* signature) {
  jmethodID id = env->GetStaticMethodID(cls, name, signature);
  if (id == nullptr) clear_exception(env);
  return id;
}

// Caller holds g_lookup_mutex.
bool lookup_host_methods(JNIEnv* env) {
  if (g_methods.string_class == nullptr) {
    g_methods.string_class = find_global_class(env, "java/lang/String");
  }
  if (g_methods.search_impl == nullptr) {
    g_methods.search_impl = find_global_class(env, kHostClass);
  }
  if (g_methods.search_impl == nullptr || g_methods.string_class == nullptr) return false;
  g_methods.log = find_static_method(env, g_methods.search_impl, kLogMethod, kLogSignature);
  g_methods.data_proc =
      find_static_method(env, g_methods.search_impl, kDataProcMethod, kDataProcSignature);
  return true;
}

const HostMethods* host_methods(JNIEnv* env) {
  if (!g_methods_ready.load(std::memory_order_acquire) && !cache_host_methods(env)) {
    return nullptr;
  }
  return &g_methods;
}

// A String[] holding `texts` (null entries stay null), or null.
jobjectArray new_string_array(JNIEnv* env, jclass string_class, int count,
                              const char* const* texts) {
  jobjectArray array = env->NewObjectArray(count, string_class, nullptr);
  if (array == nullptr) {
    clear_exception(env);
    return nullptr;
  }
  for (int i = 0; texts != nullptr && i < count; ++i) {
    ScopedLocalRef<jstring> element(env, chars2String(env, texts[i]));
    if (element.get() == nullptr) continue;
    env->SetObjectArrayElement(array, i, element.get());
  }
  return array;
}

// Copies the host's processed values back over the row's buffers.
void copy_processed_values(JNIEnv* env, jobjectArray processed, int count, char** values,
                           const int* capacities) {
  const jsize returned = env->GetArrayLength(processed);
  for (int i = 0; i < count && i < returned; ++i) {
    ScopedLocalRef<jstring> element(env,
                                    static_cast<jstring>(env->GetObjectArrayElement(processed, i)));
    if (clear_exception(env) || values[i] == nullptr) return;
    if (element.get() == nullptr) {
      values[i][0] = '\0';
      continue;
    }
    // A value that does not fit ends the copying for the whole row, leaving
    // this and the later values unchanged; hosts rely on that cut-off.
    const jsize length = env->GetStringUTFLength(element.get());
    if (capacities == nullptr || length > capacities[i]) return;
    ScopedUtfChars chars(env, element.get());
    if (chars.get() == nullptr) return;
    memcpy(values[i], chars.get(), static_cast<size_t>(length));
    values[i][length] = '\0';
  }
}

}  // namespace

bool cache_host_methods(JNIEnv* env) {
  if (env == nullptr) return false;
  std::lock_guard<std::mutex> lock(g_lookup_mutex);
  if (g_methods_ready.load(std::memory_order_relaxed)) return true;
  if (!lookup_host_methods(env)) return false;
  g_methods_ready.store(true, std::memory_order_release);
  return true;
}

int JNILogCallbackFunc(const char* text) {
  JNIEnv* env = current_env();
  if (env == nullptr) return -1;
  if (env->PushLocalFrame(kFrameCapacity) != 0) {
    clear_exception(env);
    return -1;
  }
  char line[kLogLineBytes] = {0};
  snprintf(line, sizeof(line), "%s", text != nullptr ? text : "");

  const HostMethods* methods = host_methods(env);
  if (methods == nullptr || methods->log == nullptr) {
    env->PopLocalFrame(nullptr);
    return -1;
  }
  jstring str = chars2String(env, line);
  if (str != nullptr) {
    env->CallStaticVoidMethod(methods->search_impl, methods->log, str);
    clear_exception(env);
    env->DeleteLocalRef(str);
  }
  env->PopLocalFrame(nullptr);
  return 0;
}

int pl_data_proc(const char* name, int count, const char** field_names, char** values,
                 const int* /*aux_array*/, const int* capacities, void* /*ctx*/) {
  JNIEnv* env = current_env();
  if (env == nullptr || count < 0) return -1;
  if (env->PushLocalFrame(kFrameCapacity) != 0) {
    clear_exception(env);
    return -1;
  }
  const HostMethods* methods = host_methods(env);
  if (methods == nullptr || methods->data_proc == nullptr) {
    env->PopLocalFrame(nullptr);
    return -1;
  }

  jobjectArray processed = nullptr;
  {
    ScopedLocalRef<jstring> jname(env, chars2String(env, name));
    ScopedLocalRef<jobjectArray> jfields(
        env, new_string_array(env, methods->string_class, count, field_names));
    ScopedLocalRef<jobjectArray> jvalues(
        env, new_string_array(env, methods->string_class, count, values));
    if (jfields.get() != nullptr && jvalues.get() != nullptr) {
      processed = static_cast<jobjectArray>(
          env->CallStaticObjectMethod(methods->search_impl, methods->data_proc, jname.get(),
                                      static_cast<jint>(count), jfields.get(), jvalues.get()));
      // A host method that threw has processed nothing.
      if (clear_exception(env) && processed != nullptr) {
        env->DeleteLocalRef(processed);
        processed = nullptr;
      }
    }
  }
  if (processed != nullptr) {
    if (values != nullptr) copy_processed_values(env, processed, count, values, capacities);
    env->DeleteLocalRef(processed);
  }
  env->PopLocalFrame(nullptr);
  return 0;
}

jint set_index_dataFunc(JNIEnv* env, jclass, jstring name) {
  EngineUse engine;
  mobile_search::KSSearchDataAdapter* adapter = engine.adapter();
  if (adapter == nullptr) return -1;
  ScopedUtfChars index_name(env, name);
  // The adapter's refusal (null or empty name) is not passed on: the host
  // only learns whether an engine was running.
  adapter->addDataProcFunc(index_name.get(), pl_data_proc, nullptr);
  return 0;
}

jint set_log_callback(JNIEnv*, jclass) {
  if (EngineUse().adapter() == nullptr) return -1;
  mobile_search::set_log_cb_func(JNILogCallbackFunc);
  return 0;
}

}  // namespace kestrinSearch
