// Library entry point: stores the VM and registers the native methods on the
// host classes.
#include <jni.h>

#include "bridge/engine.h"
#include "bridge/exception_guard.h"
#include "bridge/host_callbacks.h"
#include "bridge/jni_text.h"
#include "bridge/native_methods.h"

namespace kestrinSearch {

namespace {

const char kNativeHandlerClass[] = "com/orvenco/android/vantrel/search/NativeHandler";
const char kUtilsClass[] = "com/orvenco/android/vantrel/search/Utils";

#define KS_NATIVE(name, signature, function) \
  { const_cast<char*>(name), const_cast<char*>(signature), reinterpret_cast<void*>(&ExceptionGuard<function>::call) }

const JNINativeMethod kNativeHandlerMethods[] = {
    KS_NATIVE("native_init_engine", "(Ljava/lang/String;I)I", init_engine),
    KS_NATIVE("native_release_engine", "()V", release_engine),
    KS_NATIVE("native_search",
              "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;IIZ)Ljava/lang/String;",
              search),
    KS_NATIVE("native_add_index_for_table",
              "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;"
              "Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;"
              "Ljava/lang/String;Ljava/lang/String;)I",
              add_index_for_table),
    KS_NATIVE("native_addDB", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Z)I", add_db),
    KS_NATIVE("native_hook_db", "(Ljava/lang/String;I)I", hook_db),
    KS_NATIVE("native_stop_hook_db", "(Ljava/lang/String;)I", stop_hook_db),
    KS_NATIVE("native_scan_table", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)I",
              scan_table),
    KS_NATIVE("native_set_index_dataFunc", "(Ljava/lang/String;)I", set_index_dataFunc),
    KS_NATIVE("native_set_log_callback", "()I", set_log_callback),
    KS_NATIVE("native_modify_doc",
              "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;"
              "[Ljava/lang/Object;)I",
              modify_doc),
    KS_NATIVE("native_del_doc",
              "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)I",
              del_doc),
    KS_NATIVE("native_index_version", "()Ljava/lang/String;", index_version),
    KS_NATIVE("native_ellipse_index", "(Ljava/lang/String;Z)V", ellipse_index),
    KS_NATIVE("native_set_max_rawid", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;I)I",
              set_max_rawid),
    KS_NATIVE("native_get_del_num", "(Ljava/lang/String;)I", get_del_num),
    KS_NATIVE("native_set_auto_save", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Z)I",
              set_auto_save),
    KS_NATIVE("native_get_table_record",
              "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;",
              get_table_record),
    KS_NATIVE("native_sign_str_hash", "([Ljava/lang/String;I)I", sign_str_hash),
    KS_NATIVE("native_base_weight", "()I", base_weight_value),
};

// The connection handle as a long, for hosts whose pointers are 64 bits.
// Registered on its own: a host class declaring only the int form must still
// get all the other methods.
const JNINativeMethod kHookDbLongMethod[] = {
    KS_NATIVE("native_hook_db", "(Ljava/lang/String;J)I", hook_db_long),
};

// The engine options; also on its own, for hosts that do not declare it.
const JNINativeMethod kSetOptionMethod[] = {
    KS_NATIVE("native_set_option", "(Ljava/lang/String;Ljava/lang/String;)I", set_option),
};

const JNINativeMethod kUtilsMethods[] = {
    KS_NATIVE("native_highlight_abstract",
              "(Ljava/lang/String;Ljava/lang/String;I)Ljava/lang/String;", highlight_abstract),
    KS_NATIVE("native_convert_pinyin", "(Ljava/lang/String;I)Ljava/lang/String;", convert_pinyin),
};

#undef KS_NATIVE

template <size_t N>
jint register_methods(JNIEnv* env, const char* class_name, const JNINativeMethod (&methods)[N]) {
  jclass cls = env->FindClass(class_name);
  if (cls == nullptr) {
    clear_exception(env);
    return -1;
  }
  // A method the class does not declare fails the registration with an
  // exception; it must not stay pending when the library load returns.
  env->RegisterNatives(cls, methods, static_cast<jint>(N));
  clear_exception(env);
  env->DeleteLocalRef(cls);
  return 0;
}

}  // namespace

}  // namespace kestrinSearch

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void*) {
  using namespace kestrinSearch;
  if (vm == nullptr) return -1;
  set_java_vm(vm);
  JNIEnv* env = current_env();
  if (env == nullptr) return -1;

  if (register_methods(env, kNativeHandlerClass, kNativeHandlerMethods) != 0) return -1;
  register_methods(env, kNativeHandlerClass, kHookDbLongMethod);
  register_methods(env, kNativeHandlerClass, kSetOptionMethod);
  if (register_methods(env, kUtilsClass, kUtilsMethods) != 0) return -1;
  // Here, on the thread loading the library, FindClass sees the
  // application's classes; callbacks on other threads use what is cached.
  cache_host_methods(env);
  return JNI_VERSION_1_2;
}
