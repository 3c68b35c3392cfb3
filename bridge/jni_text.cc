#include "bridge/jni_text.h"

#include <vector>

#include "bridge/utf16_conversion.h"

namespace kestrinSearch {

bool clear_exception(JNIEnv* env) {
  if (!env->ExceptionCheck()) return false;
  env->ExceptionClear();
  return true;
}

const char* string2Chars(JNIEnv* env, jstring str) {
  if (env == nullptr || str == nullptr) return nullptr;
  const char* chars = env->GetStringUTFChars(str, nullptr);
  if (chars == nullptr) clear_exception(env);
  return chars;
}

void release_chars(JNIEnv* env, jstring str, const char* chars) {
  if (env == nullptr || str == nullptr || chars == nullptr) return;
  env->ReleaseStringUTFChars(str, chars);
}

jstring chars2String(JNIEnv* env, const char* text) {
  if (env == nullptr || text == nullptr) return nullptr;
  std::vector<unsigned short> units = utf8_to_utf16(text);
  static const jchar kEmpty[1] = {0};
  jstring str =
      env->NewString(units.empty() ? kEmpty : units.data(), static_cast<jsize>(units.size()));
  if (str == nullptr) clear_exception(env);
  return str;
}

}  // namespace kestrinSearch
