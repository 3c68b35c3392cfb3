#include "foundation/logging.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace mobile_search {
namespace {

std::mutex g_sink_mutex;
std::vector<std::string> g_plain;
std::vector<std::pair<int, std::string>> g_levelled;

int plain_sink(const char* text) {
  std::lock_guard<std::mutex> hold(g_sink_mutex);
  g_plain.push_back(text);
  return 0;
}
void level_sink(SEARCH_LOG_LEVEL level, const char* text) {
  std::lock_guard<std::mutex> hold(g_sink_mutex);
  g_levelled.emplace_back(level, text);
}

// Puts the process-wide channels back to their start-up state.
void reset_channels() {
  g_log_call_back_func = nullptr;
  g_log_level_call_back_func = nullptr;
  g_log_level = SEARCH_LOG_WARN;
  g_plain.clear();
  g_levelled.clear();
}

TEST(Logging, PlainChannelDeliversFormattedTextOnceInstalled) {
  reset_channels();
  log_printf("%s \n", "dropped");  // no sink yet
  EXPECT_TRUE(g_plain.empty());
  set_log_cb_func(plain_sink);
  ASSERT_NE(nullptr, g_log_str_buf);
  char* buffer = g_log_str_buf;
  set_log_cb_func(plain_sink);  // a second set-up keeps the buffer
  EXPECT_EQ(buffer, g_log_str_buf);
  log_printf("%s \n", "fixed text");
  log_printf("open %s failed: %d", "/x", -1);
  log_printf("%s", std::string(2000, 'z').c_str());
  ASSERT_EQ(3u, g_plain.size());
  EXPECT_EQ("fixed text \n", g_plain[0]);
  EXPECT_EQ("open /x failed: -1", g_plain[1]);
  EXPECT_EQ(std::string(1023, 'z'), g_plain[2]);  // cut, not overflowing
  reset_channels();
}

TEST(Logging, LevelledChannelHonoursTheThreshold) {
  reset_channels();
  log_level_printf(SEARCH_LOG_ERROR, "%s \n", "no sink");
  EXPECT_TRUE(g_levelled.empty());
  set_log_level_func(level_sink);
  log_level_printf(SEARCH_LOG_INFO, "%s \n", "info");
  log_level_printf(SEARCH_LOG_WARN, "%s \n", "warn");
  log_level_printf(SEARCH_LOG_ERROR, "code %d   \n", 7);
  ASSERT_EQ(2u, g_levelled.size());  // default threshold 2 hides level 1
  EXPECT_EQ(std::make_pair(2, std::string("warn \n")), g_levelled[0]);
  EXPECT_EQ(std::make_pair(4, std::string("code 7   \n")), g_levelled[1]);
  set_log_level(static_cast<SEARCH_LOG_LEVEL>(0));
  log_level_printf(SEARCH_LOG_INFO, "%s \n", "info");
  set_log_level(static_cast<SEARCH_LOG_LEVEL>(3));
  log_level_printf(SEARCH_LOG_WARN, "%s \n", "warn");
  log_level_printf(SEARCH_LOG_ERROR, "%s \n", "error");
  ASSERT_EQ(4u, g_levelled.size());
  EXPECT_EQ("info \n", g_levelled[2].second);
  EXPECT_EQ("error \n", g_levelled[3].second);
  // The plain sink does not see levelled messages.
  EXPECT_TRUE(g_plain.empty());
  reset_channels();
}

TEST(LoggingConcurrency, ThreadsLoggingAtOnceDoNotGarbleEachOther) {
  reset_channels();
  set_log_cb_func(plain_sink);
  const int kThreads = 4, kMessages = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kMessages; ++i) log_printf("thread %d message %d %s", t, i, "payload");
    });
  }
  for (std::thread& th : threads) th.join();
  std::set<std::string> got(g_plain.begin(), g_plain.end());
  ASSERT_EQ((size_t)kThreads * kMessages, g_plain.size());
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kMessages; ++i) {
      std::string expected =
          "thread " + std::to_string(t) + " message " + std::to_string(i) + " payload";
      ASSERT_EQ(1u, got.count(expected)) << expected;
    }
  }
  reset_channels();
}

}  // namespace
}  // namespace mobile_search
