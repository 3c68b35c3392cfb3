#include "search/group_searcher.h"

#include <string>
#include <vector>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "group_searcher_fixture.h"
#include "search/table_result.h"
#include "storage/log_manager.h"

namespace ks_test {
namespace {

using mobile_search::TableResult;

class GroupSearcherTest : public GroupFixture {
 protected:
  unsigned int docCount() { return gs_->getIndexMgr()->doc_mgr->getDocNumber(); }
  unsigned int postingCount() { return gs_->getIndexMgr()->index_mgr->get_max_pos(); }
  int liveId(const char* key) {
    return gs_->getIndexMgr()->doc_mgr->getDocid(TableId(), key);
  }
};

TEST_F(GroupSearcherTest, ChangesReplaceTheDocumentAndUnchangedContentDoesNothing) {
  ASSERT_EQ(0, PutDoc(gs_, "k1", "alpha"));
  EXPECT_EQ(0, liveId("k1"));
  EXPECT_EQ(std::vector<unsigned int>{0}, Postings(gs_, "alpha"));
  unsigned int postings = postingCount();
  ASSERT_GT(postings, 1u);  // the title adds postings beside the tag

  // Same values again: same hash, nothing written.
  EXPECT_EQ(0, PutDoc(gs_, "k1", "alpha"));
  EXPECT_EQ(1u, docCount());
  EXPECT_EQ(postings, postingCount());

  // A profile field counts for the content: a new id, the old one deleted.
  ASSERT_EQ(0, PutDoc(gs_, "k1", "alpha", "msg", "other"));
  EXPECT_EQ(1, liveId("k1"));
  EXPECT_EQ(2 * postings, postingCount());

  ASSERT_EQ(0, PutDoc(gs_, "k1", "beta"));
  EXPECT_EQ(2, liveId("k1"));
  EXPECT_EQ(2, gs_->getIndexDeleteCount());
  ExpectGroupMatches(gs_, {{"k1", "beta"}}, {"alpha"});
  // Deletion only marks: the old postings are still stored.
  EXPECT_EQ((std::vector<unsigned int>{0, 1}), Postings(gs_, "alpha"));
}

TEST_F(GroupSearcherTest, RejectsBadArgumentsAndUnknownTables) {
  char* values[3] = {const_cast<char*>("t"), const_cast<char*>("g"), const_cast<char*>("e")};
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 2, values));  // count != 3 fields
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "nosuch", "k", 3, values));
  EXPECT_EQ(-1, gs_->modifyDoc("nosuch", "db", "msg", "k", 3, values));
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "", 3, values));
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k", 3, nullptr));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "msg", ""));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "nosuch", "k"));
  EXPECT_EQ(0, gs_->delDoc("idx", "db", "msg", "never-added"));
  EXPECT_EQ(0u, docCount());

  // Names of databases and tables are matched without regard to case.
  EXPECT_EQ(0, gs_->modifyDoc("idx", "DB", "Msg", "k", 3, values));
  EXPECT_EQ(0, liveId("k"));

  // All values empty: hash 0, a record without postings.
  char* empty[3] = {const_cast<char*>(""), const_cast<char*>(""), const_cast<char*>("")};
  unsigned int postings = postingCount();
  EXPECT_EQ(0, gs_->modifyDoc("idx", "db", "msg", "blank", 3, empty));
  EXPECT_EQ(2u, docCount());
  EXPECT_EQ(postings, postingCount());

  gs_->close();
  EXPECT_EQ(-1, gs_->modifyDoc("idx", "db", "msg", "k2", 3, values));
  EXPECT_EQ(-1, gs_->delDoc("idx", "db", "msg", "k"));
  EXPECT_EQ(-1, gs_->getIndexDeleteCount());
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "msg"));
}

TEST_F(GroupSearcherTest, ReaddedDocumentIsRevivedUnderItsOldId) {
  ASSERT_EQ(0, PutDoc(gs_, "k1", "alpha"));
  ASSERT_EQ(0, PutDoc(gs_, "k2", "gamma"));
  unsigned int postings = postingCount();

  ASSERT_EQ(0, DelDoc(gs_, "k1"));
  EXPECT_EQ(-1, liveId("k1"));
  EXPECT_EQ(1, gs_->getIndexDeleteCount());
  EXPECT_EQ(postings, postingCount());

  ASSERT_EQ(0, PutDoc(gs_, "k1", "alpha"));
  EXPECT_EQ(0, liveId("k1"));
  EXPECT_EQ(2u, docCount());
  EXPECT_EQ(postings, postingCount());  // nothing tokenized
  EXPECT_EQ(0, gs_->getIndexDeleteCount());

  // Changing back to an earlier content revives that version and retires
  // the current one.
  ASSERT_EQ(0, PutDoc(gs_, "k2", "delta"));
  EXPECT_EQ(2, liveId("k2"));
  ASSERT_EQ(0, PutDoc(gs_, "k2", "gamma"));
  EXPECT_EQ(1, liveId("k2"));
  EXPECT_EQ(3u, docCount());
  ExpectGroupMatches(gs_, {{"k1", "alpha"}, {"k2", "gamma"}}, {"delta"});
}

int CountCalls(void* ctx, const char*, const char*, const char* table, int) {
  static_cast<std::vector<std::string>*>(ctx)->push_back(table);
  return 0;
}

TEST_F(GroupSearcherTest, ClearDocDeletesMatchingTablesAndReportsEach) {
  RegisterTable(mgr_, "other", nullptr);
  ASSERT_EQ(0, PutDoc(gs_, "a", "w1"));
  ASSERT_EQ(0, PutDoc(gs_, "b", "w2"));
  ASSERT_EQ(0, PutDoc(gs_, "c", "w3", "other"));

  std::vector<std::string> calls;
  EXPECT_EQ(0, gs_->clearDoc(&calls, "idx", "db", "OTHER", CountCalls));
  EXPECT_EQ(std::vector<std::string>{"other"}, calls);
  EXPECT_EQ(1, gs_->getIndexDeleteCount());
  ExpectGroupMatches(gs_, {{"a", "w1"}, {"b", "w2"}}, {"w3"});

  calls.clear();
  EXPECT_EQ(0, gs_->clearDoc(&calls, "idx", "", nullptr, CountCalls));
  EXPECT_EQ((std::vector<std::string>{"msg", "other"}), calls);
  EXPECT_EQ(3, gs_->getIndexDeleteCount());
  EXPECT_TRUE(gs_->getIndexMgr()->doc_mgr->isAutoSave());

  EXPECT_EQ(-1, gs_->clearDoc(nullptr, "", "db", "msg", nullptr));
  EXPECT_EQ(-1, gs_->clearDoc(nullptr, "nosuch", "db", "msg", nullptr));
}

TEST_F(GroupSearcherTest, TableRecordListsLiveKeys) {
  ASSERT_EQ(0, PutDoc(gs_, "k1", "w1"));
  ASSERT_EQ(0, PutDoc(gs_, "a-key-longer-than-eight", "w2"));
  ASSERT_EQ(0, PutDoc(gs_, "k3", "w3"));
  ASSERT_EQ(0, DelDoc(gs_, "k3"));

  TableResult* result = gs_->getTableRecord("idx", "db", "msg");
  ASSERT_NE(nullptr, result);
  std::set<std::string> keys;
  for (int i = 0; i < result->getCount(); ++i) keys.insert(result->getPkey(i)->data);
  EXPECT_EQ((std::set<std::string>{"k1", "a-key-longer-than-eight"}), keys);
  EXPECT_EQ(2, result->getDocsFound());
  EXPECT_EQ(TableId(), result->getTableMD5());
  delete result;

  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "0abc"));
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "db", "nosuch"));
  EXPECT_EQ(nullptr, gs_->getTableRecord("idx", "", "msg"));
}

TEST_F(GroupSearcherTest, OperationsAreLoggedOnlyWhileLoggingIsOn) {
  ASSERT_EQ(0, PutDoc(gs_, "k1", "w1"));
  EXPECT_EQ(0u, gs_->getIndexMgr()->log_mgr->getCount());
  // A compaction with nothing to do leaves logging on, deliberately.
  EXPECT_EQ(GroupSearcher::kEllipseTooFew, gs_->ellipseIndex("default", false));
  ASSERT_EQ(0, PutDoc(gs_, "k1", "w2"));  // delete 0, add 1
  ASSERT_EQ(0, DelDoc(gs_, "k1"));        // delete 1
  ASSERT_EQ(0, PutDoc(gs_, "k1", "w1"));  // restore 0, logged under -1
  mobile_search::LogManager* log = gs_->getIndexMgr()->log_mgr;
  ASSERT_EQ(4u, log->getCount());
  std::vector<unsigned long long> records;
  while (unsigned long long* r = log->read_next_log()) {
    records.push_back(*r);
    free(r);
  }
  using mobile_search::LogManager;
  EXPECT_EQ((std::vector<unsigned long long>{LogManager::compose_log_t(0, 1),
                                             LogManager::compose_log_t(1, 2),
                                             LogManager::compose_log_t(1, 1),
                                             LogManager::compose_log_t(0xFFFFFFFFu, 3)}),
            records);
}

TEST_F(GroupSearcherTest, SaveAndReopenKeepTheDocuments) {
  gs_->setAutoSave(false);
  EXPECT_FALSE(gs_->isAutoSave());
  EXPECT_FALSE(gs_->getIndexMgr()->index_mgr->isAutoSave());
  ASSERT_EQ(0, PutDoc(gs_, "k1", "w1"));
  ASSERT_EQ(0, PutDoc(gs_, "k2", "w2"));
  ASSERT_EQ(0, PutDoc(gs_, "k2", "w3"));
  EXPECT_EQ(0, gs_->close());
  EXPECT_EQ(nullptr, gs_->getIndexMgr());

  GroupSearcher reopened;
  ASSERT_EQ(0, reopened.open(mgr_, "default"));
  EXPECT_STREQ((tmp_.path() + "/allin").c_str(), reopened.getIndexPath());
  ExpectGroupMatches(&reopened, {{"k1", "w1"}, {"k2", "w3"}}, {"w2"});
}

TEST_F(GroupSearcherTest, OpenNamesTheDirectoryAfterTheGroup) {
  GroupSearcher g2;
  ASSERT_EQ(0, g2.open(mgr_, "g2"));
  EXPECT_STREQ((tmp_.path() + "/allin_g2").c_str(), g2.getIndexPath());
  EXPECT_STREQ("g2", g2.getGroupName());
  EXPECT_EQ(1, is_dir((tmp_.path() + "/allin_g2/idx_0").c_str()));
  EXPECT_EQ(1, g2.checkGroup(nullptr));

  GroupSearcher unbound;
  EXPECT_EQ(-1, unbound.open(nullptr, "default"));
  EXPECT_EQ(-1, unbound.open(mgr_, ""));
}

TEST_F(GroupSearcherTest, ConfigManagerCreatesSearchersOnceAndReportsIdleCompaction) {
  delete gs_;  // the manager opens its own searcher on the same directory
  gs_ = nullptr;
  mobile_search::SGroupConfig* group = mgr_->getGroup("default");
  ASSERT_NE(nullptr, group);
  EXPECT_EQ(nullptr, group->searcher);
  EXPECT_EQ(nullptr, mgr_->group_config_get_searcher(nullptr));
  GroupSearcher* first = mgr_->group_config_get_searcher(group);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, mgr_->group_config_get_searcher(group));
  EXPECT_STREQ("default", first->getGroupName());

  mgr_->addGroup("g2");
  EXPECT_TRUE(mgr_->isEllipseComplete());
  // The check opens every group as a side effect.
  EXPECT_NE(nullptr, mgr_->getGroup("g2")->searcher);
}

}  // namespace
}  // namespace ks_test
