// Native side of the Java bridge tests (class
// com.orvenco.android.vantrel.search.test.TestDb): the host's own SQLCipher
// connections, handed to Java as long handles, and direct calls of the
// bridge's callbacks with rows and capacities chosen by the test.
#include <jni.h>
#include <sqlcipher/sqlite3.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "bridge/host_callbacks.h"

namespace {

sqlite3* conn_of(jlong handle) { return reinterpret_cast<sqlite3*>(static_cast<intptr_t>(handle)); }

std::string text_of(JNIEnv* env, jstring str) {
  if (str == nullptr) return std::string();
  const char* chars = env->GetStringUTFChars(str, nullptr);
  std::string text(chars != nullptr ? chars : "");
  if (chars != nullptr) env->ReleaseStringUTFChars(str, chars);
  return text;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM*, void*) { return JNI_VERSION_1_6; }

JNIEXPORT jlong JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_open(JNIEnv* env,
                                                                                 jclass,
                                                                                 jstring path,
                                                                                 jstring key) {
  sqlite3* conn = nullptr;
  if (sqlite3_open(text_of(env, path).c_str(), &conn) != SQLITE_OK) {
    sqlite3_close(conn);
    return 0;
  }
  sqlite3_busy_timeout(conn, 10000);
  std::string pragma = "PRAGMA key='" + text_of(env, key) + "';";
  sqlite3_exec(conn, pragma.c_str(), nullptr, nullptr, nullptr);
  return static_cast<jlong>(reinterpret_cast<intptr_t>(conn));
}

// The SQLite result code of running `sql`.
JNIEXPORT jint JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_exec(JNIEnv* env, jclass,
                                                                                jlong handle,
                                                                                jstring sql) {
  return sqlite3_exec(conn_of(handle), text_of(env, sql).c_str(), nullptr, nullptr, nullptr);
}

JNIEXPORT void JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_close(JNIEnv*, jclass,
                                                                                 jlong handle) {
  sqlite3_close(conn_of(handle));
}

// Runs the data-processing callback once over values held in buffers of the
// given capacities; the values afterwards go to `out`. The callback's result.
JNIEXPORT jint JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_processRow(
    JNIEnv* env, jclass, jstring name, jobjectArray fields, jobjectArray values,
    jintArray capacities, jobjectArray out) {
  const jsize count = env->GetArrayLength(values);
  std::vector<std::string> field_texts;
  std::vector<std::vector<char>> buffers;
  std::vector<jint> caps(static_cast<size_t>(count));
  env->GetIntArrayRegion(capacities, 0, count, caps.data());
  for (jsize i = 0; i < count; ++i) {
    jstring f = static_cast<jstring>(env->GetObjectArrayElement(fields, i));
    field_texts.push_back(text_of(env, f));
    env->DeleteLocalRef(f);
    jstring v = static_cast<jstring>(env->GetObjectArrayElement(values, i));
    std::string value = text_of(env, v);
    env->DeleteLocalRef(v);
    std::vector<char> buffer(static_cast<size_t>(caps[i]) + 1, '\0');
    memcpy(buffer.data(), value.data(), std::min(value.size(), static_cast<size_t>(caps[i])));
    buffers.push_back(std::move(buffer));
  }
  std::vector<const char*> field_ptrs;
  std::vector<char*> value_ptrs;
  for (jsize i = 0; i < count; ++i) {
    field_ptrs.push_back(field_texts[i].c_str());
    value_ptrs.push_back(buffers[i].data());
  }
  std::string index = text_of(env, name);
  int result = kestrinSearch::pl_data_proc(index.c_str(), count, field_ptrs.data(),
                                           value_ptrs.data(), nullptr, caps.data(), nullptr);
  for (jsize i = 0; i < count; ++i) {
    jstring v = env->NewStringUTF(buffers[i].data());
    env->SetObjectArrayElement(out, i, v);
    env->DeleteLocalRef(v);
  }
  return result;
}

// Hands `text` to the log callback `times` times within this one native call;
// the sum of the results.
JNIEXPORT jint JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_log(JNIEnv* env, jclass,
                                                                               jstring text,
                                                                               jint times) {
  std::string line = text_of(env, text);
  int sum = 0;
  for (jint i = 0; i < times; ++i) sum += kestrinSearch::JNILogCallbackFunc(line.c_str());
  return sum;
}

// Calls the log callback from a thread the VM did not create, attached to the
// VM as the host would attach it or not at all; the callback's result.
JNIEXPORT jint JNICALL Java_com_orvenco_android_vantrel_search_test_TestDb_logFromNativeThread(
    JNIEnv* env, jclass, jstring text, jboolean attach) {
  JavaVM* vm = nullptr;
  env->GetJavaVM(&vm);
  std::string line = text_of(env, text);
  int result = -2;
  std::thread worker([&] {
    JNIEnv* thread_env = nullptr;
    if (attach && vm->AttachCurrentThread(reinterpret_cast<void**>(&thread_env), nullptr) != 0) {
      return;
    }
    result = kestrinSearch::JNILogCallbackFunc(line.c_str());
    if (attach) vm->DetachCurrentThread();
  });
  worker.join();
  return result;
}

}  // extern "C"
