// Natives of the Java tests' HostApp: the host's own SQLCipher connections as
// long handles, and direct calls of the bridge's callbacks with chosen input.
#include <jni.h>
#include <sqlcipher/sqlite3.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "bridge/host_callbacks.h"

#define KS_HOST_APP(name) Java_com_orvenco_android_vantrel_search_test_HostApp_##name

namespace {

std::string text_of(JNIEnv* env, jobject str) {
  if (str == nullptr) return std::string();
  const char* chars = env->GetStringUTFChars(static_cast<jstring>(str), nullptr);
  std::string text(chars != nullptr ? chars : "");
  if (chars != nullptr) env->ReleaseStringUTFChars(static_cast<jstring>(str), chars);
  env->DeleteLocalRef(str);
  return text;
}

}  // namespace

extern "C" {

// Our own, so that the lookup at load does not find the engine's through the
// library this one links against and run it a second time.
JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM*, void*) { return JNI_VERSION_1_6; }

// A keyed connection, or 0.
JNIEXPORT jlong JNICALL KS_HOST_APP(open)(JNIEnv* env, jclass, jstring path, jstring key) {
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
JNIEXPORT jint JNICALL KS_HOST_APP(exec)(JNIEnv* env, jclass, jlong handle, jstring sql) {
  sqlite3* conn = reinterpret_cast<sqlite3*>(static_cast<intptr_t>(handle));
  return sqlite3_exec(conn, text_of(env, sql).c_str(), nullptr, nullptr, nullptr);
}

// Runs the data-processing callback once over values held in buffers of the
// given capacities (field names f0, f1, ...); the values afterwards are
// written back into `values`. The callback's result.
JNIEXPORT jint JNICALL KS_HOST_APP(processRow)(JNIEnv* env, jclass, jobjectArray values,
                                               jintArray capacities) {
  const jsize count = env->GetArrayLength(values);
  std::vector<jint> caps(static_cast<size_t>(count));
  env->GetIntArrayRegion(capacities, 0, count, caps.data());
  std::vector<std::string> fields(caps.size()), buffers(caps.size());
  std::vector<const char*> field_ptrs;
  std::vector<char*> value_ptrs;
  for (jsize i = 0; i < count; ++i) {
    fields[i] = "f" + std::to_string(i);
    buffers[i] = text_of(env, env->GetObjectArrayElement(values, i)).substr(0, caps[i]);
    buffers[i].resize(static_cast<size_t>(caps[i]) + 1, '\0');
    field_ptrs.push_back(fields[i].c_str());
    value_ptrs.push_back(buffers[i].data());
  }
  int result = kestrinSearch::pl_data_proc("idx", count, field_ptrs.data(), value_ptrs.data(),
                                           nullptr, caps.data(), nullptr);
  for (jsize i = 0; i < count; ++i) {
    jstring v = env->NewStringUTF(buffers[i].c_str());
    env->SetObjectArrayElement(values, i, v);
    env->DeleteLocalRef(v);
  }
  return result;
}

// Hands `text` to the log callback `times` times within this one native call;
// the sum of the results.
JNIEXPORT jint JNICALL KS_HOST_APP(log)(JNIEnv* env, jclass, jstring text, jint times) {
  std::string line = text_of(env, text);
  int sum = 0;
  for (jint i = 0; i < times; ++i) sum += kestrinSearch::JNILogCallbackFunc(line.c_str());
  return sum;
}

}  // extern "C"
