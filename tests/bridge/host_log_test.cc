// The stand-in for Android's logger: one line per call on standard error.
#include "bridge/host_log.h"

#include <gtest/gtest.h>

#include <string>

#ifndef __ANDROID__

namespace kestrinSearch {
namespace {

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

}  // namespace
}  // namespace kestrinSearch

#endif  // __ANDROID__
