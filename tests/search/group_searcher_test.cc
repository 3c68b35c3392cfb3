#include "search/group_searcher.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "foundation/file_util.h"
#include "foundation/logging.h"
#include "group_searcher_fixture.h"
#include "search/table_result.h"
#include "storage/log_manager.h"

namespace ks_test {
namespace {

using mobile_search::LogManager;

class GroupSearcherTest : public GroupFixture {
 protected:
  unsigned int docCount() { return gs_->getIndexMgr()->doc_mgr->getDocNumber(); }
  unsigned int postingCount() { return gs_->getIndexMgr()->index_mgr->get_max_pos(); }
};

TEST_F(GroupSearcherTest, ChangesReplaceTheDocumentAndUnchangedContentDoesNothing) {
  put(1, 0);
  EXPECT_EQ(0, liveId(Key(1)));
  unsigned int postings = postingCount();
  ASSERT_GT(postings, 1u);  // the title adds postings beside the tag

  put(1, 0);  // same content: nothing written
  EXPECT_EQ(1u, docCount());
  EXPECT_EQ(postings, postingCount());

  // A profile field counts for the content: a new id, the old one deleted.
  ASSERT_EQ(0, PutDoc(gs_, Key(1), Tag(1, 0), "msg", "other"));
  EXPECT_EQ(1, liveId(Key(1)));
  EXPECT_EQ(2 * postings, postingCount());

  put(1, 1);
  EXPECT_EQ(2, liveId(Key(1)));
  EXPECT_EQ(2, gs_->getIndexDeleteCount());
  expectModel();
  // Deleting only marks: the replaced versions' postings are still stored.
  EXPECT_EQ((std::vector<unsigned int>{0, 1}), Postings(gs_, Tag(1, 0)));
}

TEST_F(GroupSearcherTest, RejectsWhatTheConfigurationDoesNotDescribe) {
  char* values[3] = {const_cast<char*>("t"), const_cast<char*>("g"), const_cast<char*>("")};
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 2, values));  // 3 fields configured
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "nosuch", "k", 3, values));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "nosuch", "k"));
  EXPECT_EQ(0, gs_->delDoc("idx", "db", "msg", "never-added"));
  EXPECT_EQ(0u, docCount());
  // Database and table names are matched without regard to case.
  EXPECT_EQ(0, gs_->modifyDoc("idx", "DB", "Msg", "k", 3, values));
  EXPECT_EQ(0, liveId("k"));

  gs_->close();
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k2", 3, values));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "msg", "k"));
  EXPECT_EQ(-1, gs_->getIndexDeleteCount());
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "msg"));
}

TEST_F(GroupSearcherTest, ReaddedDocumentIsRevivedUnderItsOldId) {
  put(1, 0);
  put(2, 0);
  unsigned int postings = postingCount();
  del(1);
  EXPECT_EQ(-1, liveId(Key(1)));
  EXPECT_EQ(1, gs_->getIndexDeleteCount());

  put(1, 0);
  EXPECT_EQ(0, liveId(Key(1)));
  EXPECT_EQ(2u, docCount());
  EXPECT_EQ(postings, postingCount());  // nothing tokenized

  // Changing back to an earlier content revives that version and retires
  // the current one.
  put(2, 1);
  EXPECT_EQ(2, liveId(Key(2)));
  put(2, 0);
  EXPECT_EQ(1, liveId(Key(2)));
  EXPECT_EQ(3u, docCount());
  expectModel();
}

std::vector<std::string> g_logged;
int CapturePlain(const char* text) {
  g_logged.push_back(text);
  return 0;
}
void CaptureLevelled(mobile_search::SEARCH_LOG_LEVEL level, const char* text) {
  g_logged.push_back(std::to_string(static_cast<int>(level)) + ":" + text);
}

TEST_F(GroupSearcherTest, FailuresAndCompactionOutcomesAreLogged) {
  mobile_search::set_log_cb_func(CapturePlain);
  mobile_search::set_log_level_func(CaptureLevelled);
  g_logged.clear();
  char* values[2] = {const_cast<char*>("t"), const_cast<char*>("g")};
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 2, values));
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
  EXPECT_EQ(nullptr, gs_->getIndexMgr());
}

int RecordTable(void* ctx, const char*, const char*, const char* table, int) {
  static_cast<std::vector<std::string>*>(ctx)->push_back(table);
  return 0;
}

TEST_F(GroupSearcherTest, ClearDocDeletesMatchingTablesAndReportsEach) {
  RegisterTable(mgr_, "other");
  put(1, 0);
  put(2, 0);
  ASSERT_EQ(0, PutDoc(gs_, "c", "w3", "other"));

  std::vector<std::string> calls;
  EXPECT_EQ(0, gs_->clearDoc(&calls, "idx", "db", "OTHER", RecordTable));
  EXPECT_EQ(std::vector<std::string>{"other"}, calls);
  gone_.insert("w3");
  expectModel();

  calls.clear();
  EXPECT_EQ(0, gs_->clearDoc(&calls, "idx", "", nullptr, RecordTable));
  EXPECT_EQ((std::vector<std::string>{"msg", "other"}), calls);
  EXPECT_EQ(3, gs_->getIndexDeleteCount());
  EXPECT_TRUE(gs_->getIndexMgr()->doc_mgr->isAutoSave());
  EXPECT_EQ(-1, gs_->clearDoc(nullptr, "nosuch", "db", "msg", nullptr));
}

TEST_F(GroupSearcherTest, TableRecordListsLiveKeys) {
  put(1, 0);
  ASSERT_EQ(0, PutDoc(gs_, "a-key-longer-than-eight", "w2"));
  put(3, 0);
  del(3);

  mobile_search::TableResult* result = gs_->getTableRecord("idx", "db", "msg");
  ASSERT_NE(nullptr, result);
  std::set<std::string> keys;
  for (int i = 0; i < result->getCount(); ++i) keys.insert(result->getPkey(i)->data);
  EXPECT_EQ((std::set<std::string>{Key(1), "a-key-longer-than-eight"}), keys);
  EXPECT_EQ(2, result->getDocsFound());
  delete result;
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "0abc"));
}

TEST_F(GroupSearcherTest, LoggingStartsWithACompactionAndOutlivesOneThatDidNothing) {
  put(0, 0);
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());
  EXPECT_EQ(GroupSearcher::kEllipseTooFew, gs_->ellipseIndex("default", false));
  put(0, 1);  // deletes 0, adds 1
  del(0);     // deletes 1
  put(0, 0);  // restores 0, logged under the replaced id: none (-1)
  LogManager* log = gs_->getIndexMgr()->log_mgr;
  std::vector<unsigned long long> records;
  while (unsigned long long* r = log->read_next_log()) {
    records.push_back(*r);
    free(r);
  }
  EXPECT_EQ((std::vector<unsigned long long>{
                LogManager::compose_log_t(0, 1), LogManager::compose_log_t(1, 2),
                LogManager::compose_log_t(1, 1), LogManager::compose_log_t(0xFFFFFFFFu, 3)}),
            records);
}

TEST_F(GroupSearcherTest, ReopenedGroupKeepsItsDocumentsInItsOwnDirectory) {
  gs_->setAutoSave(false);
  EXPECT_FALSE(gs_->getIndexMgr()->index_mgr->isAutoSave());
  put(1, 0);
  put(2, 0);
  put(2, 1);
  reopen();
  EXPECT_STREQ(groupDir().c_str(), gs_->getIndexPath());
  expectModel();

  GroupSearcher g2;
  ASSERT_EQ(0, g2.open(mgr_, "g2"));
  EXPECT_STREQ((tmp_.path() + "/allin_g2").c_str(), g2.getIndexPath());
  EXPECT_EQ(1, is_dir((tmp_.path() + "/allin_g2/idx_0").c_str()));
  GroupSearcher unnamed;
  ASSERT_EQ(0, unnamed.open(mgr_, ""));
  EXPECT_STREQ((tmp_.path() + "/allin_").c_str(), unnamed.getIndexPath());
}

TEST_F(GroupSearcherTest, ConfigManagerCreatesSearchersOnceAndReportsIdleCompaction) {
  delete gs_;  // the manager opens its own searcher on the same directory
  gs_ = nullptr;
  mobile_search::SGroupConfig* group = mgr_->getGroup("default");
  ASSERT_NE(nullptr, group);
  GroupSearcher* first = mgr_->group_config_get_searcher(group);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, mgr_->group_config_get_searcher(group));
  EXPECT_STREQ("default", first->getGroupName());

  mgr_->addGroup("g2");
  EXPECT_TRUE(mgr_->isEllipseComplete());
  EXPECT_NE(nullptr, mgr_->getGroup("g2")->searcher);  // opened by the check
}

}  // namespace
}  // namespace ks_test
