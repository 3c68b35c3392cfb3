#include <gtest/gtest.h>

#include <string>

#include "config/config_records.h"
#include "config/table_config.h"
#include "foundation/hash.h"

using namespace mobile_search;

namespace {

std::string HistoryText(const _DArray* history) {
  _str_buffer_t* out = str_buffer_create(16);
  table_config_format_history(history, out);
  std::string text(out->data);
  str_buffer_free(out);
  return text;
}

}  // namespace

TEST(ConfigRecords, TableInfoIdAndArguments) {
  table_info_t* short_id = table_info_create("i", "d", "t", "id");
  ASSERT_NE(short_id, nullptr);
  EXPECT_EQ(short_id->table_id, idx_sign32("i_d_t", 5));
  table_info_free(short_id);

  // Names longer than four bytes are hashed, so the id is case-blind there.
  table_info_t* a = table_info_create("contact", "main", "friend", "id");
  table_info_t* b = table_info_create("CONTACT", "MAIN", "FRIEND", "id");
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(a->table_id, idx_sign32("contact_main_friend", 19));
  EXPECT_EQ(a->table_id, b->table_id);
  EXPECT_EQ(a->table_id, table_info_make_id("contact", "main", "friend"));
  EXPECT_STREQ(a->key_field->data, "id");
  EXPECT_EQ(a->field_list->len, 0);
  table_info_free(a);
  table_info_free(b);

  EXPECT_EQ(table_info_create(nullptr, "d", "t", "k"), nullptr);
  EXPECT_EQ(table_info_create("i", "", "t", "k"), nullptr);
  EXPECT_EQ(table_info_create("i", "d", "t", ""), nullptr);
  EXPECT_EQ(index_info_create(nullptr), nullptr);
  EXPECT_EQ(field_info_create(nullptr), nullptr);
  EXPECT_EQ(group_config_create("", "g", INDEX_STATE_NEW), nullptr);
}

TEST(ConfigRecords, IndexGroupsAreLinkedOnceAndFoundIgnoringCase) {
  index_info_t* index = index_info_create("contact");
  SGroupConfig* g = group_config_create("Default", "Default", INDEX_STATE_NEW);
  ASSERT_NE(index, nullptr);
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(g->state, INDEX_STATE_NEW);
  EXPECT_EQ(g->searcher, nullptr);
  EXPECT_EQ(g->tuning[0] + g->tuning[1] + g->tuning[2] + g->reserved, 0);

  index_info_add_group(index, g);
  index_info_add_group(index, g);
  index_info_add_group(index, nullptr);
  index_info_add_group(nullptr, g);
  EXPECT_EQ(darray_length(index->groups), 1u);

  EXPECT_EQ(findGroupByName(ptr_to_slot("DEFAULT"), ptr_to_slot(g)), 0);
  EXPECT_NE(findGroupByName(ptr_to_slot("g2"), ptr_to_slot(g)), 0);
  EXPECT_NE(findGroupByName(ptr_to_slot(nullptr), ptr_to_slot(g)), 0);

  // The index does not own its groups: both are freed separately.
  index_info_free(index);
  freeGroupConfig(g);
}

TEST(ConfigRecords, ListsAreTrimmedAndEmptyPiecesDropped) {
  _DArray* list = config_split_list(" name , ,remark,, nick ", ',');
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(darray_length(list), 3u);
  EXPECT_TRUE(config_list_contains(list, "name"));
  EXPECT_TRUE(config_list_contains(list, "remark"));
  EXPECT_TRUE(config_list_contains(list, "nick"));
  EXPECT_FALSE(config_list_contains(list, "Name"));
  darray_destroy(list);

  list = config_split_list(nullptr, ',');
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(darray_length(list), 0u);
  darray_destroy(list);
}

TEST(ConfigRecords, HistoryTextParsesValidPiecesOnly) {
  _DArray* history = table_config_parse_history(" a:1, b : 2 ,x:1:2,:5,y:, ,z");
  ASSERT_NE(history, nullptr);
  ASSERT_EQ(darray_length(history), 2u);
  EXPECT_EQ(HistoryText(history), "a:1,b:2");
  darray_destroy(history);

  history = table_config_parse_history("default:0,g2:1534,g3:-7,g4:abc");
  ASSERT_NE(history, nullptr);
  EXPECT_EQ(HistoryText(history), "default:0,g2:1534,g3:-7,g4:0");
  darray_destroy(history);

  EXPECT_EQ(table_config_parse_history(nullptr), nullptr);
}

TEST(ConfigRecords, TableConfigLookups) {
  _DArray* tables = darray_create(freeTableConfig, true);
  ASSERT_EQ(appendTableConfig(tables, "friend", "main", "contact", "default", 7), 0);
  EXPECT_EQ(appendTableConfig(tables, nullptr, "main", "contact", "default", 7), -1);
  EXPECT_EQ(appendTableConfig(nullptr, "t", "main", "contact", "default", 7), -1);
  table_config_t* record = findTableConfig(tables, "friend", "main");
  ASSERT_NE(record, nullptr);
  ASSERT_EQ(table_config_add_index(record, "msg", "g2", 9), 0);

  group_rowid_t* recent = getRecentGroupRowid(tables, "friend", "main", "msg");
  ASSERT_NE(recent, nullptr);
  EXPECT_STREQ(recent->group_name->data, "g2");
  EXPECT_EQ(recent->max_rowid, 9);
  EXPECT_EQ(getGroupRowid(tables, "friend", "main", "contact", "default")->max_rowid, 7);

  // Lookups compare exactly and reject missing levels and empty arguments.
  EXPECT_EQ(getGroupRowid(tables, "friend", "main", "contact", "DEFAULT"), nullptr);
  EXPECT_EQ(getGroupRowid(tables, "Friend", "main", "contact", "default"), nullptr);
  EXPECT_EQ(getAllGroupRowid(tables, "friend", "main", "other"), nullptr);
  EXPECT_EQ(getRecentGroupRowid(tables, "", "main", "msg"), nullptr);
  EXPECT_EQ(getRecentGroupRowid(tables, "friend", nullptr, "msg"), nullptr);
  EXPECT_EQ(getRecentGroupRowid(nullptr, "friend", "main", "msg"), nullptr);
  EXPECT_EQ(darray_find(record->index_names, indexNameCompare, ptr_to_slot("msg")), 1);
  darray_destroy(tables);
}
