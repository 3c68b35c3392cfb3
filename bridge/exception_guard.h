// ExceptionGuard<F>: the form of a native method that is registered with the
// VM. It calls F and turns any C++ exception escaping the engine (in practice
// std::bad_alloc from a standard container when memory runs out) into the
// method's failure value (-1, a null reference, or nothing for void), so that
// no exception ever unwinds into the VM's frames.
#ifndef KS_BRIDGE_EXCEPTION_GUARD_H_
#define KS_BRIDGE_EXCEPTION_GUARD_H_

#include <jni.h>

namespace kestrinSearch {

template <typename R>
inline R native_failure_value() {
  return static_cast<R>(-1);
}
template <>
inline jstring native_failure_value<jstring>() {
  return nullptr;
}
template <>
inline void native_failure_value<void>() {}

template <auto F>
struct ExceptionGuard;

template <typename R, typename... Args, R (*F)(JNIEnv*, jclass, Args...)>
struct ExceptionGuard<F> {
  static R JNICALL call(JNIEnv* env, jclass cls, Args... args) noexcept {
    try {
      return F(env, cls, args...);
    } catch (...) {
      return native_failure_value<R>();
    }
  }
};

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_EXCEPTION_GUARD_H_
