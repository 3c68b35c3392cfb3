// The stand-in for Android's logger: one line per call on standard error.
#include "bridge/host_log.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

#include "test_util.h"

#ifndef __ANDROID__

namespace kestrinSearch {
namespace {

// Everything written to standard error while `write` runs.
template <typename F>
std::string CaptureStderr(const ks_test::TempDir& dir, F write) {
  const std::string path = dir.file("stderr.txt");
  fflush(stderr);
  int saved = dup(STDERR_FILENO);
  FILE* file = fopen(path.c_str(), "w");
  dup2(fileno(file), STDERR_FILENO);
  write();
  fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  fclose(file);
  return ks_test::ReadFile(path);
}

TEST(HostLogTest, WritesPriorityTagAndOneLine) {
  ks_test::TempDir dir;
  const std::string long_text(5000, 'q');
  int written = 0;
  std::string out = CaptureStderr(dir, [&] {
    written = KS_HOST_LOG(kHostLogInfo, "native_search", "idx_name:%s key:%s start:%d num:%d\n",
                          "chat", "张三", 0, 10);
    KS_HOST_LOG(kHostLogInfo, "tag", "no newline %d", 7);
    KS_HOST_LOG(3, "tag", "%s", long_text.c_str());
    KS_HOST_LOG(kHostLogInfo, nullptr, "%s", "");
  });
  const std::string first = "4 native_search: idx_name:chat key:张三 start:0 num:10\n";
  EXPECT_EQ(first + "4 tag: no newline 7\n" + "3 tag: " + long_text + "\n" + "4 : \n", out);
  EXPECT_EQ(static_cast<int>(first.size()), written);
}

}  // namespace
}  // namespace kestrinSearch

#endif  // __ANDROID__
