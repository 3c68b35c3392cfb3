// Result records and their JSON text: exact serialisation, duplicate-key
// resolution between groups and the weight-ordered merge.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/config_records.h"
#include "search/search_result.h"
#include "search/table_result.h"

namespace mobile_search {
namespace {

using TableInfoPtr = std::unique_ptr<table_info_t, void (*)(table_info_t*)>;

TableInfoPtr MakeTable(const char* table, const char* fields, int field_num) {
  TableInfoPtr info(table_info_create("idx", "chat.db", table, "msg_id"), table_info_free);
  str_buffer_append(info->field_list, fields);
  info->field_num = field_num;
  return info;
}

struct Entry {
  const char* key;
  unsigned char weight, field, doc;
  const char* group;
};

void Fill(TableResult* t, const std::vector<Entry>& entries) {
  for (const Entry& e : entries) {
    _str_buffer_t* key = str_buffer_create(e.key);
    ASSERT_EQ(0, t->insert(t->getCount(), key, e.weight, e.field, e.doc, e.group));
    str_buffer_free(key);
  }
}

// A new table result of `r` describing `info`, holding `entries`.
void AddTable(SearchResult* r, table_info_t* info, const std::vector<Entry>& entries, int found) {
  TableResult* t = r->createTableResult();
  t->readTableInfo(info);
  Fill(t, entries);
  t->sumDocFound(found);
}

// "key/field/weight/group" per entry, in order.
std::string Dump(const TableResult& t) {
  std::string out;
  for (int i = 0; i < t.getCount(); ++i) {
    out += (i ? " " : "") + std::string(t.getPkey(i)->data) + "/" +
           std::to_string(t.getFieldId(i)) + "/" + std::to_string(t.getWeight(i)) + "/" +
           t.getGroupName(i);
  }
  return out;
}

// Ordinary tables are compared whole end to end (searcher_test.cc); here the
// edge cases: no table at all, a table without returned documents, strings
// written raw, empty entries skipped.
TEST(SearchResultJson, EmptyResultsRawStringsAndEmptyEntries) {
  TableInfoPtr contact = MakeTable("contact", "nick", 1);
  TableInfoPtr odd = MakeTable("t", "f", 1);
  SearchResult result(true);
  EXPECT_EQ(nullptr, std::unique_ptr<StringBuffer>(result.serialize()).get());

  AddTable(&result, contact.get(), {}, 3);  // found, but none on this page
  // A last empty key or group leaves a trailing comma.
  AddTable(&result, odd.get(),
           {{"", 1, 0, 1, "default"}, {"a\"b", 2, 0, 2, "default"}, {"", 3, 0, 3, ""}}, 0);
  std::unique_ptr<StringBuffer> json(result.serialize());
  ASSERT_NE(nullptr, json);
  EXPECT_EQ(
      "{\"all_result\":["
      "{\"table_name\":\"contact\",\"db_name\":\"chat.db\",\"key_field\":\"msg_id\","
      "\"docs_found\":3,\"docs_return\":0,\"field_num\":1,\"field_list\":\"nick\"},"
      "{\"table_name\":\"t\",\"db_name\":\"chat.db\",\"key_field\":\"msg_id\","
      "\"docs_found\":0,\"docs_return\":3,\"field_num\":1,\"field_list\":\"f\","
      "\"pkey_arr\":[\"a\"b\",],\"offset_arr\":[1,2,3],\"field_id_arr\":[0,0,0],"
      "\"weight_arr\":[1,2,3],\"group_arr\":[\"default\",\"default\",]}"
      "]}",
      std::string(json->data, json->len));
}

TEST(TableResultMerge, DuplicateKeysKeepTheBetterHitThenMergeByWeight) {
  TableResult mine(true), theirs(true);
  // "weight": same field, theirs weighs more; "tie": full tie, mine stays;
  // "low_field": theirs has the lower field and wins.
  Fill(&mine, {{"low_field", 50, 2, 1, "new"}, {"weight", 50, 1, 2, "new"},
               {"tie", 70, 1, 3, "new"}, {"only_mine", 40, 0, 4, "new"}});
  Fill(&theirs, {{"weight", 90, 1, 6, "old"}, {"tie", 70, 1, 7, "old"},
                 {"only_theirs", 40, 3, 8, "old"}, {"low_field", 10, 0, 5, "old"}});
  mine.sumDocFound(4);
  theirs.sumDocFound(4);

  EXPECT_EQ(3, mine.filterSamePkeyInTableResult(&theirs));
  EXPECT_EQ("tie/1/70/new only_mine/0/40/new", Dump(mine));
  EXPECT_EQ("weight/1/90/old only_theirs/3/40/old low_field/0/10/old", Dump(theirs));
  EXPECT_EQ(2, mine.getDocsFound());    // two of mine removed
  EXPECT_EQ(3, theirs.getDocsFound());  // one of theirs removed

  // Equal weights keep this result's entries first; ids travel along.
  EXPECT_EQ(3, mine.mergeAndSortTableResult(&theirs));
  EXPECT_EQ("weight/1/90/old tie/1/70/new only_mine/0/40/new only_theirs/3/40/old "
            "low_field/0/10/old",
            Dump(mine));
  EXPECT_EQ(6, mine.getDocId(0));
  EXPECT_EQ(8, mine.getDocId(3));
  EXPECT_EQ(nullptr, mine.getPkey(5));
  EXPECT_EQ(-1, mine.deleteDoc(5));
}

TEST(SearchResultMerge, SameTablesMergeOtherTablesMoveAndEmptyResultsAreIgnored) {
  TableInfoPtr a = MakeTable("a", "f", 1);
  TableInfoPtr b = MakeTable("b", "f", 1);
  SearchResult running(true);
  AddTable(&running, a.get(), {{"k1", 90, 0, 1, "g2"}, {"k2", 40, 0, 2, "g2"}}, 2);
  running.sumDocsFound(2);

  // A part whose total is 0 is not merged, whatever it holds.
  SearchResult empty(false);
  AddTable(&empty, b.get(), {{"x", 1, 0, 1, "default"}}, 1);
  running.mergeResult(&empty);
  EXPECT_EQ(1, running.getTableCount());

  auto part = std::make_unique<SearchResult>(false);
  AddTable(part.get(), a.get(), {{"k2", 70, 0, 12, "default"}, {"k3", 50, 0, 13, "default"}}, 2);
  AddTable(part.get(), b.get(), {{"k9", 30, 0, 19, "default"}}, 1);
  part->sumDocsFound(3);
  running.mergeResult(part.get());
  part.reset();  // the moved table must survive its former owner

  ASSERT_EQ(2, running.getTableCount());
  EXPECT_EQ(4, running.getDocsFound());  // 2 + 3 - one duplicate
  ASSERT_EQ(a->table_id, running.getTableResult(0)->getTableMD5());
  EXPECT_EQ("k1/0/90/g2 k2/0/70/default k3/0/50/default", Dump(*running.getTableResult(0)));
  // 2 own + 2 returned by the part - 1 duplicate removed from each side.
  EXPECT_EQ(2, running.getTableResult(0)->getDocsFound());
  EXPECT_EQ("k9/0/30/default", Dump(*running.getTableResult(1)));
  EXPECT_EQ(1, running.getTableResult(1)->getDocsFound());

  // The scan for a matching table goes on from where the previous table of
  // the part was found: a part listing b before a gets a second table a.
  SearchResult reversed(false);
  AddTable(&reversed, b.get(), {{"k8", 20, 0, 18, "old"}}, 0);
  AddTable(&reversed, a.get(), {{"k7", 10, 0, 17, "old"}}, 0);
  reversed.sumDocsFound(2);
  running.mergeResult(&reversed);
  ASSERT_EQ(3, running.getTableCount());
  EXPECT_EQ("k9/0/30/default k8/0/20/old", Dump(*running.getTableResult(1)));
  EXPECT_EQ(a->table_id, running.getTableResult(2)->getTableMD5());
  EXPECT_EQ("k7/0/10/old", Dump(*running.getTableResult(2)));
}

}  // namespace
}  // namespace mobile_search
