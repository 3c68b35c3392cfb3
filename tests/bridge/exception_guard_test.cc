#include "bridge/exception_guard.h"

#include <new>
#include <stdexcept>

#include <gtest/gtest.h>

namespace kestrinSearch {
namespace {

jint ThrowsBadAlloc(JNIEnv*, jclass, jint) { throw std::bad_alloc(); }
jstring ThrowsRuntimeError(JNIEnv*, jclass) { throw std::runtime_error("engine"); }
void ThrowsFromVoid(JNIEnv*, jclass, jboolean) { throw 1; }
jint AddsOne(JNIEnv*, jclass, jint value) { return value + 1; }

TEST(ExceptionGuard, EscapingExceptionsBecomeFailureValues) {
  EXPECT_EQ(-1, ExceptionGuard<ThrowsBadAlloc>::call(nullptr, nullptr, 5));
  EXPECT_EQ(nullptr, ExceptionGuard<ThrowsRuntimeError>::call(nullptr, nullptr));
  ExceptionGuard<ThrowsFromVoid>::call(nullptr, nullptr, JNI_TRUE);  // must not terminate
  EXPECT_EQ(6, ExceptionGuard<AddsOne>::call(nullptr, nullptr, 5));
}

}  // namespace
}  // namespace kestrinSearch
