// The process-wide engine: start, release, restart on the same root with the
// tables registered earlier, and refusal of a missing root.
#include "bridge/engine.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "adapter/ks_search_data_adapter.h"
#include "search/searcher.h"
#include "test_util.h"

namespace kestrinSearch {
namespace {

class EngineTest : public ::testing::Test {
 protected:
  void TearDown() override { release_engine_impl(); }
  ks_test::TempDir dir_;
};

TEST_F(EngineTest, RestartWatchesTheConfiguredTablesAgain) {
  EXPECT_EQ(-1, init_engine_impl(nullptr, 0));
  EXPECT_EQ(-1, init_engine_impl("", 0));
  EXPECT_EQ(nullptr, engine_adapter());
  EXPECT_EQ(nullptr, engine_searcher());
  release_engine_impl();  // nothing running: nothing to do

  const std::string root = dir_.file("root");
  ASSERT_EQ(0, init_engine_impl(root.c_str(), 0));
  ASSERT_NE(nullptr, engine_adapter());
  ASSERT_NE(nullptr, engine_searcher());
  ASSERT_EQ(0, engine_searcher()->addIndex("chat", "app", "message", "mid", "name,body", "", "name",
                                           "", "", nullptr));
  ASSERT_EQ(0, engine_searcher()->addIndex("chat", "app", "contact", "uin", "name", "", "name", "",
                                           "", nullptr));
  const char* values[] = {"张三", "hello"};
  ASSERT_EQ(0, engine_searcher()->modifyDoc("chat", "app", "message", "m1", 2,
                                            const_cast<char**>(values)));
  ASSERT_EQ(0, engine_searcher()->save());
  // Registered with the searcher only: the adapter learns the tables from
  // the configuration at the next start.
  EXPECT_EQ(nullptr, engine_adapter()->getTabConfig("app", "message", "chat"));

  release_engine_impl();
  EXPECT_EQ(nullptr, engine_adapter());
  EXPECT_EQ(nullptr, engine_searcher());

  // Twice in a row: the second start replaces the first engine.
  ASSERT_EQ(0, init_engine_impl(root.c_str(), 0));
  ASSERT_EQ(0, init_engine_impl(root.c_str(), 0));
  EXPECT_NE(nullptr, engine_adapter()->getTabConfig("app", "message", "chat"));
  EXPECT_NE(nullptr, engine_adapter()->getTabConfig("app", "contact", "chat"));
  EXPECT_EQ(nullptr, engine_adapter()->getTabConfig("app", "other", "chat"));
  char* json = engine_searcher()->doSearch("chat", nullptr, "zhangsan", 0, 10, false);
  ASSERT_NE(nullptr, json);
  EXPECT_NE(nullptr, strstr(json, "\"pkey_arr\":[\"m1\"]")) << json;
  free(json);
}

TEST_F(EngineTest, NoEnvironmentWithoutVm) {
  set_java_vm(nullptr);
  EXPECT_EQ(nullptr, java_vm());
  EXPECT_EQ(nullptr, current_env());
}

}  // namespace
}  // namespace kestrinSearch
