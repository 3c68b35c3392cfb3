// The bridge's one conversion layer between Java objects and engine text,
// and the scoped holders that give back what the VM lends.
//
//   string2Chars / release_chars   a Java string's modified UTF-8 characters,
//                                  borrowed from the VM and released to it
//   ScopedUtfChars                 the same, released when the scope ends
//   chars2String                   engine text (UTF-8) as a new Java string
//   ScopedLocalRef                 a local reference deleted when the scope ends
//   clear_exception                drops a pending Java exception
//
// Ownership: every character buffer from the VM goes back to the VM
// (ReleaseStringUTFChars), never to free(). Engine texts passed in stay the
// caller's. Returned jstrings are new local references of the caller's frame.
//
// Threads: a JNIEnv belongs to one thread; these helpers keep no state.
//
// Failures: null results, never a pending exception: a conversion that makes
// the VM throw (out of memory) clears the exception and returns null.
#ifndef KS_BRIDGE_JNI_TEXT_H_
#define KS_BRIDGE_JNI_TEXT_H_

#include <jni.h>

namespace kestrinSearch {

// True when an exception was pending; it is cleared.
bool clear_exception(JNIEnv* env);

// The string's modified UTF-8 characters, or null for a null environment or
// string (or when the VM cannot copy them). Give them back with release_chars.
const char* string2Chars(JNIEnv* env, jstring str);
// Null characters are ignored.
void release_chars(JNIEnv* env, jstring str, const char* chars);

// A new Java string holding `text`, decoded as described in
// utf16_conversion.h; null for a null environment or text.
jstring chars2String(JNIEnv* env, const char* text);

class ScopedUtfChars {
 public:
  ScopedUtfChars(JNIEnv* env, jstring str) : env_(env), str_(str), chars_(string2Chars(env, str)) {}
  ~ScopedUtfChars() { release_chars(env_, str_, chars_); }
  ScopedUtfChars(const ScopedUtfChars&) = delete;
  ScopedUtfChars& operator=(const ScopedUtfChars&) = delete;

  // Null for a null string.
  const char* get() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring str_;
  const char* chars_;
};

template <typename T>
class ScopedLocalRef {
 public:
  ScopedLocalRef(JNIEnv* env, T ref) : env_(env), ref_(ref) {}
  ~ScopedLocalRef() {
    if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
  }
  ScopedLocalRef(const ScopedLocalRef&) = delete;
  ScopedLocalRef& operator=(const ScopedLocalRef&) = delete;

  T get() const { return ref_; }
  // Hands the reference to the caller (typically as a native method's result).
  T release() {
    T ref = ref_;
    ref_ = nullptr;
    return ref;
  }

 private:
  JNIEnv* env_;
  T ref_;
};

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_JNI_TEXT_H_
