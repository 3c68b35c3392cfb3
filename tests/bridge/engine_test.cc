// The process-wide engine: start, release, restart on the same root with the
// tables registered earlier, and refusal of a missing root.
#include "bridge/engine.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"
#include "test_util.h"

namespace kestrinSearch {
namespace {

TEST(EngineTest, RestartWatchesTheConfiguredTablesAgain) {
  ks_test::TempDir dir;
  EXPECT_EQ(-1, init_engine_impl(nullptr, 0));
  EXPECT_EQ(-1, init_engine_impl("", 0));
  EXPECT_EQ(nullptr, engine_searcher());
  release_engine_impl();  // nothing running: nothing to do

  ASSERT_EQ(0, init_engine_impl(dir.path().c_str(), 0));
  for (const char* table : {"message", "contact"}) {
    ASSERT_EQ(0, engine_searcher()->addIndex("chat", "app", table, "mid", "name", "", "name", "",
                                             "", nullptr));
  }
  const char* values[] = {"张三"};
  ASSERT_EQ(0, engine_searcher()->modifyDoc("chat", "app", "message", "m1", 1,
                                            const_cast<char**>(values)));
  ASSERT_EQ(0, engine_searcher()->save());
  // Registered with the searcher only: the adapter learns the tables from
  // the configuration at the next start.
  EXPECT_EQ(nullptr, engine_adapter()->getTabConfig("app", "message", "chat"));
  release_engine_impl();
  EXPECT_EQ(nullptr, engine_adapter());

  // Twice in a row: the second start replaces the first engine.
  ASSERT_EQ(0, init_engine_impl(dir.path().c_str(), 0));
  ASSERT_EQ(0, init_engine_impl(dir.path().c_str(), 0));
  EXPECT_NE(nullptr, engine_adapter()->getTabConfig("app", "message", "chat"));
  EXPECT_NE(nullptr, engine_adapter()->getTabConfig("app", "contact", "chat"));
  char* json = engine_searcher()->doSearch("chat", nullptr, "zhangsan", 0, 10, false);
  ASSERT_NE(nullptr, json);
  EXPECT_NE(std::string::npos, std::string(json).find("\"pkey_arr\":[\"m1\"]")) << json;
  free(json);
  release_engine_impl();
}

}  // namespace
}  // namespace kestrinSearch
