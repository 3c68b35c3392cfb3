// The bridge's native helpers: the guard that keeps C++ exceptions out of the
// VM, the stand-in for Android's logger, and engine text to Java characters.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bridge/exception_guard.h"
#include "bridge/host_log.h"
#include "bridge/utf16_conversion.h"

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

#ifndef __ANDROID__
// One line per call on standard error.
TEST(HostLogTest, WritesPriorityTagAndOneLine) {
  const std::string long_text(5000, 'q');
  testing::internal::CaptureStderr();
  int written = KS_HOST_LOG(kHostLogInfo, "native_search", "idx_name:%s key:%s start:%d num:%d\n",
                            "chat", "张三", 0, 10);
  KS_HOST_LOG(kHostLogInfo, "tag", "no newline %d", 7);
  KS_HOST_LOG(3, "tag", "%s", long_text.c_str());
  KS_HOST_LOG(kHostLogInfo, nullptr, "%s", "");
  const std::string first = "4 native_search: idx_name:chat key:张三 start:0 num:10\n";
  EXPECT_EQ(first + "4 tag: no newline 7\n" + "3 tag: " + long_text + "\n" + "4 : \n",
            testing::internal::GetCapturedStderr());
  EXPECT_EQ(static_cast<int>(first.size()), written);
}
#endif  // __ANDROID__

// Standard and modified UTF-8, and the malformed pieces a byte-limited cut or
// a foreign text can leave (each replaced by one U+FFFD).
using Units = std::vector<unsigned short>;

TEST(Utf16ConversionTest, DecodesWellFormedAndReplacesMalformedPieces) {
  const unsigned short R = 0xFFFD;
  const std::pair<const char*, Units> cases[] = {
      {"", {}},
      {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},          // U+10FFFF, the last
      {"\xED\xA0\xBD\xED\xB8\x80", {0xD83D, 0xDE00}},  // U+1F600 as Java writes it
      {"a\xC0\x80" "b", {'a', 0x0000, 'b'}},           // Java's NUL
      {"\xE4\xB8" "b", {R, 'b'}},                      // cut, then the text goes on
      {"\x80\xBF", {R, R}},                            // stray continuation bytes
      {"\xF8\x88\x80\x80\x80", {R, R, R, R, R}},       // no such lead
      {"\xC1\xBF", {R}},                               // overlong two-byte form
      {"\xE0\x80\xAF", {R}},                           // overlong three-byte form
      {"\xF0\x8F\xBF\xBF", {R}},                       // overlong four-byte form
      {"\xF4\x90\x80\x80", {R}},                       // beyond U+10FFFF
      {"\xF0\x9F\x98" "x", {R, 'x'}},                  // four-byte form cut short
  };
  for (const auto& [text, units] : cases) EXPECT_EQ(units, utf8_to_utf16(text)) << text;
  EXPECT_EQ(Units(), utf8_to_utf16(nullptr));
}

}  // namespace
}  // namespace kestrinSearch
