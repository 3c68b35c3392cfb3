#include "search/group_searcher.h"

#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "foundation/file_util.h"
#include "foundation/logging.h"
#include "group_searcher_fixture.h"
#include "search/table_result.h"

namespace ks_test {
namespace {

class GroupSearcherTest : public GroupFixture {};

std::vector<std::string> g_logged;

TEST_F(GroupSearcherTest, FailuresAreLoggedAndAClosedGroupRefusesWork) {
  mobile_search::set_log_cb_func([](const char* text) {
    g_logged.push_back(text);
    return 0;
  });
  mobile_search::set_log_level_func([](mobile_search::SEARCH_LOG_LEVEL level, const char* text) {
    g_logged.push_back(std::to_string(static_cast<int>(level)) + ":" + text);
  });
  g_logged.clear();
  char* values[3] = {const_cast<char*>("t"), const_cast<char*>("g"), const_cast<char*>("")};
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 2, values));  // 3 fields configured
  EXPECT_EQ(GroupSearcher::kEllipseNothing, gs_->ellipseIndex("default", true));

  // The old group parked in "-cpy" cannot be moved back over a dangling link.
  ASSERT_EQ(0, gs_->close());
  ASSERT_EQ(0, rename(groupDir().c_str(), (groupDir() + "-cpy").c_str()));
  ASSERT_EQ(0, symlink((groupDir() + "-gone").c_str(), groupDir().c_str()));
  EXPECT_EQ(-1, gs_->open(mgr_, "default"));
  mobile_search::set_log_cb_func(nullptr);
  mobile_search::set_log_level_func(nullptr);
  EXPECT_EQ((std::vector<std::string>{
                "modify doc fail index_name:idx db_name:db table_name:msg pkey:k",
                "Out Ellipse --> the error code is 10", "4:ELLIPSE dir rename failed. default \n"}),
            g_logged);
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 3, values));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "msg", "k"));
  EXPECT_EQ(-1, gs_->getIndexDeleteCount());
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "msg"));
}

TEST_F(GroupSearcherTest, GroupsKeepTheirDirectoryAndSettingAndTheManagerOpensEachOnce) {
  gs_->setAutoSave(false);
  put(1, 0);
  put(2, 0);
  put(2, 1);
  reopen();
  expectModel();
  ASSERT_EQ(GroupSearcher::kEllipseDone, gs_->ellipseIndex("default", true));
  // Reopened and swapped-in stores keep the group's setting.
  EXPECT_FALSE(gs_->getIndexMgr()->index_mgr->isAutoSave());
  EXPECT_FALSE(gs_->getIndexMgr()->doc_mgr->isAutoSave());

  mgr_->addGroup("g2");
  mgr_->addGroup("g3");
  GroupSearcher* g2 = mgr_->group_config_get_searcher(mgr_->getGroup("g2"));
  ASSERT_NE(nullptr, g2);
  EXPECT_EQ(g2, mgr_->group_config_get_searcher(mgr_->getGroup("g2")));
  EXPECT_STREQ("g2", g2->getGroupName());
  EXPECT_EQ(1, is_dir((tmp_.path() + "/allin_g2/idx_0").c_str()));
  EXPECT_TRUE(mgr_->isEllipseComplete());
  EXPECT_NE(nullptr, mgr_->getGroup("g3")->searcher);  // opened by the check
  GroupSearcher unnamed;
  ASSERT_EQ(0, unnamed.open(mgr_, ""));
  EXPECT_STREQ((tmp_.path() + "/allin_").c_str(), unnamed.getIndexPath());
}

}  // namespace
}  // namespace ks_test
