#include "foundation/logging.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mobile_search {
namespace {

// What the sinks received: plain texts as they are, levelled ones as "level:text".
std::mutex g_sink_mutex;
std::vector<std::string> g_got;
int plain_sink(const char* text) {
  std::lock_guard<std::mutex> hold(g_sink_mutex);
  g_got.push_back(text);
  return 0;
}
void level_sink(SEARCH_LOG_LEVEL level, const char* text) {
  std::lock_guard<std::mutex> hold(g_sink_mutex);
  g_got.push_back(std::to_string(level) + ":" + text);
}

// Puts the process-wide channels back to their start-up state.
void reset_channels() {
  g_log_call_back_func = nullptr;
  g_log_level_call_back_func = nullptr;
  g_log_level = SEARCH_LOG_WARN;
  g_got.clear();
}

TEST(Logging, ChannelsDeliverOnceInstalledAndTheLevelledOneHonoursTheThreshold) {
  reset_channels();
  log_printf("%s \n", "dropped");  // no sinks yet
  log_level_printf(SEARCH_LOG_ERROR, "%s \n", "dropped");
  set_log_cb_func(plain_sink);
  set_log_level_func(level_sink);
  // A null format is ignored; called through pointers, which carry no format checking.
  void (*plain)(const char*, ...) = log_printf;
  void (*levelled)(SEARCH_LOG_LEVEL, const char*, ...) = log_level_printf;
  plain(nullptr);
  levelled(SEARCH_LOG_ERROR, nullptr);
  log_printf("%s \n", "fixed text");
  log_printf("open %s failed: %d", "/x", -1);
  log_printf("%s", std::string(2000, 'z').c_str());  // cut to the buffer
  log_level_printf(SEARCH_LOG_INFO, "%s \n", "info");  // below the default threshold 2
  log_level_printf(SEARCH_LOG_WARN, "%s \n", "warn");  // at it
  log_level_printf(SEARCH_LOG_ERROR, "code %d   \n", 7);
  set_log_level(static_cast<SEARCH_LOG_LEVEL>(0));
  log_level_printf(SEARCH_LOG_INFO, "%s \n", "info");
  set_log_level(static_cast<SEARCH_LOG_LEVEL>(3));
  log_level_printf(SEARCH_LOG_WARN, "%s \n", "warn");
  log_level_printf(SEARCH_LOG_ERROR, "%s \n", "error");
  EXPECT_EQ((std::vector<std::string>{"fixed text \n", "open /x failed: -1", std::string(1023, 'z'),
                                      "2:warn \n", "4:code 7   \n", "1:info \n", "4:error \n"}),
            g_got);
  reset_channels();
}

TEST(LoggingConcurrency, ThreadsLoggingAtOnceDoNotGarbleEachOther) {
  reset_channels();
  set_log_cb_func(plain_sink);
  std::vector<std::thread> threads;
  std::vector<std::string> want;
  for (int t = 0; t < 4; ++t) {
    for (int i = 0; i < 500; ++i) {
      want.push_back("thread " + std::to_string(t) + " message " + std::to_string(i));
    }
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) log_printf("thread %d message %d", t, i);
    });
  }
  for (std::thread& th : threads) th.join();
  std::sort(want.begin(), want.end());
  std::sort(g_got.begin(), g_got.end());
  EXPECT_TRUE(want == g_got) << g_got.size() << " messages arrived";
  reset_channels();
}

}  // namespace
}  // namespace mobile_search
