#include <gtest/gtest.h>

#include <memory>
#include <algorithm>
#include <string>
#include <vector>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "foundation/logging.h"
#include "test_util.h"

using namespace mobile_search;
using ks_test::FileExists;
using ks_test::ReadFile;
using ks_test::WriteFile;

namespace {

const char kVersionFile[] = "[config]\nindex_version=0.1.0\n";

class ConfigManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = dir_.path() + "/index";
    set_log_level(SEARCH_LOG_INFO);
  }
  void TearDown() override { set_log_level(SEARCH_LOG_WARN); }

  std::unique_ptr<ConfigManager> Open() { return std::make_unique<ConfigManager>(root_.c_str()); }
  std::string File(const std::string& name) const { return ReadFile(root_ + "/" + name); }
  void Write(const std::string& name, const std::string& text) {
    std::string path = root_ + "/" + name;
    ASSERT_EQ(make_dir(path.substr(0, path.rfind('/')).c_str(), 0755), 0);
    ASSERT_TRUE(WriteFile(path, text));
  }
  // An existing, valid root holding the given files.
  void Prepare(const std::vector<std::pair<std::string, std::string>>& files) {
    Write("IndexVersion.cfg", kVersionFile);
    for (const auto& f : files) Write(f.first, f.second);
  }
  // Whether a levelled line "<level>|text" was logged.
  bool Logged(const std::string& line) const {
    const std::vector<std::string> lines = log_.lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  static std::string Scan(ConfigManager* m, const char* table, const char* db, const char* index) {
    char group[64] = "";
    int rowid = m->getScanMaxRowid(table, db, index, group);
    return std::string(group) + ":" + std::to_string(rowid);
  }
  static std::vector<std::string> Groups(ConfigManager* m, const char* table, const char* db,
                                         const char* index) {
    std::vector<std::string> names;
    _DArray* out = darray_create(nullptr, false);
    m->getAllGroup(out, table, db, index);
    for (unsigned int i = 0; i < darray_length(out); ++i) {
      names.push_back(slot_as<SGroupConfig>(darray_get_by_index(out, i))->group_name->data);
    }
    darray_destroy(out);
    return names;
  }

  ks_test::LogCapture log_;
  ks_test::TempDir dir_;
  std::string root_;
};

TEST_F(ConfigManagerTest, VersionStampDecidesWhetherTheRootIsWiped) {
  // Empty root: created, stamped, result 1.
  {
    auto m = Open();
    EXPECT_TRUE(m->isOk());
    EXPECT_EQ(m->getVersionResult(), 1);
    EXPECT_EQ(File("IndexVersion.cfg"), kVersionFile);
    EXPECT_TRUE(Logged("1|检查引擎版本是否变更 \n"));
    EXPECT_TRUE(Logged("2|引擎版本变更，删除所有索引根目录 \n"));
    EXPECT_TRUE(Logged("2|配置对象初始化路径为 " + root_ + " \n"));
    for (const char* line :
         {"1|读取分组配置文件 \n", "1|分组配置文件不存在或者无任何配置 \n", "1|读取MobileSearch配置文件 \n",
          "1|MobileSearch配置文件或者无任何配置 \n", "1|读取老rowid配置文件 \n",
          "1|老rowid文件不存在或者无任何配置 \n", "1|读取新rowid配置文件 \n",
          "1|新rowid文件不存在或者无任何配置 \n"}) {
      EXPECT_TRUE(Logged(line)) << line;
    }
    m->addIndex("contact", "main", "friend", nullptr, "id", "name", nullptr, nullptr, nullptr,
                nullptr);
  }
  // Valid stamp (looked up in the first section, whatever its name): nothing wiped.
  Write("IndexVersion.cfg", "[engine]\nindex_version=0.1.0\n");
  Write("default/postings", "data");
  log_.clear();
  {
    auto m = Open();
    EXPECT_EQ(m->getVersionResult(), 0);
    EXPECT_TRUE(Logged("1|引擎版本未变更 \n"));
    EXPECT_EQ(File("default/postings"), "data");
    EXPECT_NE(m->getTableInfo("contact", "main", "friend"), nullptr);
    EXPECT_EQ(m->getGroup("default")->state, INDEX_STATE_EXISTING);
  }
  // Any other stamp, or none: the whole root goes, group directories included.
  for (const char* stale : {"[config]\nindex_version=0.0.9\n", "[config]\nother=1\n", "junk"}) {
    Write("IndexVersion.cfg", stale);
    Write("g2/postings", "data");
    auto m = Open();
    EXPECT_EQ(m->getVersionResult(), 1) << stale;
    EXPECT_EQ(File("IndexVersion.cfg"), kVersionFile);
    EXPECT_FALSE(FileExists(root_ + "/g2"));
    EXPECT_FALSE(FileExists(root_ + "/MobileSearch.cfg"));
    EXPECT_EQ(m->getTableInfo("contact", "main", "friend"), nullptr);
    EXPECT_EQ(m->getConfigSectionNum(), 0);
    // Groups made now record that the root was new.
    m->addGroup("fresh");
    EXPECT_EQ(m->getGroup("fresh")->state, INDEX_STATE_NEW);
  }
}

TEST_F(ConfigManagerTest, FilesAfterChangesAndTheSameStateAfterRestart) {
  {
    auto m = Open();
    ASSERT_EQ(m->addIndex("contact", "main", "friend", nullptr, "id", "name, remark", "type=1",
                          "name", "avatar,sign", "remark"),
              0);
    // A second table of the index keeps the first table's field layout.
    ASSERT_EQ(m->addIndex("contact", "main", "Stranger", "default", "uid", "other", nullptr,
                          nullptr, nullptr, nullptr),
              0);
    // Registering the same table again changes nothing.
    ASSERT_EQ(m->addIndex("contact", "main", "friend", nullptr, "id", "x", nullptr, nullptr,
                          nullptr, nullptr),
              0);
    ASSERT_EQ(m->addIndex("msg", "chat", "message", "g2", "msgId", "content", nullptr, nullptr,
                          nullptr, nullptr),
              0);
    EXPECT_TRUE(Logged(
        "2|注册索引: index_name:msg group_name:g2 db_name:chat table_name:message "
        "key_field:msgId index_fields:content where_condition:(null) tab_pinyin_field:(null) "
        "profile_fields:(null) notoken_fields:(null)   \n"));
    m->setScanMaxRowid("friend", "main", "contact", "default", 120);
    m->updateIndexGroup("main", "friend", "contact", "g2");  // carries 120 over
    m->setScanMaxRowid("friend", "main", "contact", "g2", 1534);
    m->setScanMaxRowid("message", "chat", "msg", "g2", 88);

    EXPECT_EQ(File("MobileSearch.cfg"),
              "[contact_main_friend]\nindex_name=contact\nsqlite_db=main\nsqlite_table=friend\n"
              "table_key_field=id\ntable_index_field=name, remark\n"
              "table_profile_field=avatar,sign\ntable_notoken_field=remark\n"
              "table_where_condition=type=1\ntable_pinyin_field=name\n"
              "[contact_main_Stranger]\nindex_name=contact\nsqlite_db=main\n"
              "sqlite_table=Stranger\ntable_key_field=uid\ntable_index_field=other\n"
              "[msg_chat_message]\nindex_name=msg\nsqlite_db=chat\nsqlite_table=message\n"
              "table_key_field=msgId\ntable_index_field=content\n");
    EXPECT_EQ(File("IndexGroup.cfg"),
              "[default]\nindex_path=default\ngroup_name=default\n"
              "[g2]\nindex_path=g2\ngroup_name=g2\n");
    EXPECT_EQ(File("Table.cfg"),
              "[main_friend]\ndb_name=main\ntable_name=friend\ncontact=default:120,g2:1534\n"
              "[main_Stranger]\ndb_name=main\ntable_name=Stranger\ncontact=default:0\n"
              "[chat_message]\ndb_name=chat\ntable_name=message\nmsg=g2:88\n");
    EXPECT_EQ(m->getGroup("G2")->tuning[0], 1000);
    EXPECT_EQ(m->getGroup("g2")->tuning[2], 500);
  }
  std::string saved_tables = File("Table.cfg");
  auto m = Open();
  ASSERT_TRUE(m->isOk());
  EXPECT_EQ(m->getVersionResult(), 0);
  EXPECT_EQ(File("Table.cfg"), saved_tables);

  table_info_t* friends = m->getTableInfo("contact", "main", "friend");
  table_info_t* strangers = m->getTableInfo("contact", "Main", "stranger");
  ASSERT_NE(friends, nullptr);
  ASSERT_NE(strangers, nullptr);
  EXPECT_STREQ(friends->field_list->data, "name, remark,avatar,sign");
  EXPECT_STREQ(strangers->field_list->data, "name, remark,avatar,sign");
  EXPECT_STREQ(strangers->key_field->data, "uid");
  EXPECT_EQ(strangers->index_field_num, 2);
  EXPECT_EQ(strangers->field_num, 4);
  EXPECT_EQ(m->get_table_info_by_tab_md5(strangers->table_id), strangers);
  EXPECT_EQ(m->get_table_info_by_tab_md5(strangers->table_id + 1), nullptr);

  // Field ids: index fields in order, then profile fields.
  EXPECT_EQ(m->getFieldId("contact", "name"), 0);
  EXPECT_EQ(m->getFieldId("contact", "remark"), 1);
  EXPECT_EQ(m->getFieldId("contact", "sign"), 3);
  EXPECT_EQ(m->getFieldId("contact", "other"), -1);
  const index_info_t* contact = m->getIndexInfo("contact");
  const field_info_t* name = slot_as<field_info_t>(darray_get_by_index(contact->fields, 0));
  const field_info_t* remark = slot_as<field_info_t>(darray_get_by_index(contact->fields, 1));
  const field_info_t* avatar = slot_as<field_info_t>(darray_get_by_index(contact->fields, 2));
  EXPECT_TRUE(name->is_pinyin && !name->is_notoken && !name->is_profile);
  EXPECT_TRUE(!remark->is_pinyin && remark->is_notoken && !remark->is_profile);
  EXPECT_TRUE(avatar->is_profile && !avatar->is_pinyin);
  EXPECT_EQ(darray_length(contact->groups), 2u);

  EXPECT_EQ(Scan(m.get(), "friend", "main", "contact"), "g2:1534");
  EXPECT_EQ(Scan(m.get(), "message", "chat", "msg"), "g2:88");
  EXPECT_EQ(Scan(m.get(), "message", "chat", "contact"), "default:0");
  EXPECT_EQ(Groups(m.get(), "friend", "main", "contact"), (std::vector<std::string>{"default", "g2"}));
  EXPECT_EQ(Groups(m.get(), "nothing", "main", "contact"), (std::vector<std::string>{"default"}));
  EXPECT_STREQ(m->getRecentGroup("friend", "main", "contact")->group_name->data, "g2");
  EXPECT_STREQ(m->getRecentGroup("nothing", "main", "contact")->group_name->data, "default");

  const char *index, *db, *table, *key, *fields, *where, *profile, *notoken;
  ASSERT_EQ(m->getConfigSectionNum(), 3);
  ASSERT_EQ(m->getConfigSection(0, &index, &db, &table, &key, &fields, &where, &profile, &notoken), 0);
  EXPECT_STREQ(where, "type=1");
  EXPECT_STREQ(profile, "avatar,sign");
  ASSERT_EQ(m->getConfigSection(2, &index, &db, &table, &key, &fields, &where, &profile, &notoken), 0);
  EXPECT_STREQ(table, "message");
  EXPECT_EQ(where, nullptr);
  EXPECT_EQ(m->getConfigSection(3, &index, &db, &table, &key, &fields, &where, &profile, &notoken), -1);
}

TEST_F(ConfigManagerTest, RowidHistories) {
  auto m = Open();
  m->setScanMaxRowid("t", "d", "i", "a", 5);
  m->setScanMaxRowid("t", "d", "i", "b", 9);
  m->setScanMaxRowid("t", "d", "i", "a", 12);
  EXPECT_EQ(File("Table.cfg"), "[d_t]\ndb_name=d\ntable_name=t\ni=b:9,a:12\n");

  // Setting the current value again writes nothing.
  ASSERT_EQ(remove((root_ + "/Table.cfg").c_str()), 0);
  m->setScanMaxRowid("t", "d", "i", "a", 12);
  EXPECT_FALSE(FileExists(root_ + "/Table.cfg"));
  m->setScanMaxRowid("t", "d", "i", "a", 13);
  EXPECT_EQ(File("Table.cfg"), "[d_t]\ndb_name=d\ntable_name=t\ni=b:9,a:13\n");

  // Moving to the current group is a no-op; to another one keeps the row id.
  m->updateIndexGroup("d", "t", "i", "a");
  m->updateIndexGroup("d", "t", "i", "b");
  EXPECT_EQ(Scan(m.get(), "t", "d", "i"), "b:13");
  m->updateIndexGroup("d", "t", "j", nullptr);
  EXPECT_EQ(Scan(m.get(), "t", "d", "j"), "default:0");
  EXPECT_NE(m->getGroup("b"), nullptr);
  EXPECT_TRUE(Logged("1|添加分组 b, 1"));

  EXPECT_EQ(m->resetScanMaxRowid("t", "d", "i"), 0);
  EXPECT_EQ(m->resetScanMaxRowid("unknown", "d", "i"), 0);
  EXPECT_EQ(File("Table.cfg"), "[d_t]\ndb_name=d\ntable_name=t\ni=b:0\nj=default:0\n");
  EXPECT_EQ(m->getScanMaxRowid("t", "d", "i", nullptr), 0);
}

TEST_F(ConfigManagerTest, OldRowidFileIsMigratedOnlyWhenValid) {
  const std::string index_file =
      "[contact_main_friend]\nindex_name=contact\nsqlite_db=main\nsqlite_table=friend\n"
      "table_key_field=id\ntable_index_field=name\n"
      "[msg_main_friend]\nindex_name=msg\nsqlite_db=main\nsqlite_table=friend\n"
      "table_key_field=id\ntable_index_field=name\n"
      "[msg_chat_message]\nindex_name=msg\nsqlite_db=chat\nsqlite_table=message\n"
      "table_key_field=id\ntable_index_field=content\n";
  Prepare({{"MobileSearch.cfg", index_file},
           {"TableRowid.cfg", "[default]\nmain_friend_contact=42\nmain_friend_msg=7\nx_y_z=1\n"},
           {"Table.cfg", "[old_table]\ndb_name=old\ntable_name=table\ncontact=g9:1\n"}});
  {
    auto m = Open();
    ASSERT_TRUE(m->isOk());
    EXPECT_TRUE(Logged("1|读到了老rowid文件，转存为新的rowid文件 \n"));
    EXPECT_FALSE(FileExists(root_ + "/TableRowid.cfg"));
    EXPECT_EQ(File("Table.cfg"),
              "[main_friend]\ndb_name=main\ntable_name=friend\ncontact=default:42\nmsg=default:7\n");
    EXPECT_EQ(File("IndexGroup.cfg"), "[default]\nindex_path=default\ngroup_name=default\n");
    EXPECT_EQ(darray_length(m->getIndexInfo("contact")->groups), 1u);
    EXPECT_EQ(darray_length(m->getIndexInfo("msg")->groups), 1u);
    EXPECT_EQ(Scan(m.get(), "message", "chat", "msg"), "default:0");
  }
  // Another section name: the old file stays and the new one is read.
  const std::string other = "[other]\nmain_friend_contact=42\n";
  Write("TableRowid.cfg", other);
  Write("Table.cfg", "[main_friend]\ndb_name=main\ntable_name=friend\ncontact=g9:3\n");
  auto m = Open();
  ASSERT_TRUE(m->isOk());
  EXPECT_EQ(File("TableRowid.cfg"), other);
  EXPECT_EQ(Scan(m.get(), "friend", "main", "contact"), "g9:3");
  // The group had to be created while loading, so it is not linked yet.
  EXPECT_NE(m->getGroup("g9"), nullptr);
  EXPECT_EQ(darray_length(m->getIndexInfo("contact")->groups), 0u);
}

TEST_F(ConfigManagerTest, MalformedFilesLoadWhatIsValid) {
  const std::string long_line = "contact=" + std::string(1500, 'x') + ":1\n";
  Prepare({{"IndexGroup.cfg",
            "[a]\nindex_path=a\ngroup_name=a\n[p]\nindex_path=p\n[c]\ngroup_name=c\n"
            "index_path=\n[a]\nindex_path=z\ngroup_name=z\n[d]\nindex_path=d\ngroup_name=d\n"},
           {"MobileSearch.cfg",
            "garbage before any section\n[contact_main_friend]\nindex_name=contact\n"
            "sqlite_db=main\nsqlite_table=friend\ntable_key_field=id\ntable_index_field=name\n"
            "[broken]\nindex_name=contact\nsqlite_db=main\nsqlite_table=other\n"
            "table_key_field=id\n"},
           {"Table.cfg",
            "[main_friend]\ndb_name=main\ntable_name=friend\ncontact= a:1 , b : 2 ,x:1:2\n"
            "no equals sign here\n" +
                long_line +
                "[main_friend]\ndb_name=main\ntable_name=friend\ncontact=z:9\n"
                "[no_db]\ntable_name=t\ncontact=a:1\n[no_index]\ndb_name=d\ntable_name=t\n"
                "[bad_pieces]\ndb_name=d\ntable_name=u\ncontact=x:1:2,:4\n"}});
  auto m = Open();
  ASSERT_TRUE(m->isOk());
  EXPECT_TRUE(Logged("1|分组配置文件配置项（section:1）格式不正确: index_path为空或者group_name为空 \n"));
  EXPECT_TRUE(Logged("1|分组配置文件配置项（section:2）格式不正确: index_path为空或者group_name为空 \n"));
  EXPECT_EQ(m->getGroup("p"), nullptr);
  EXPECT_EQ(m->getGroup("c"), nullptr);
  EXPECT_EQ(m->getGroup("z"), nullptr);
  ASSERT_NE(m->getGroup("d"), nullptr);
  EXPECT_EQ(m->getGroup("d")->tuning[0], 0);

  // The section without index fields is kept in the document but not registered.
  EXPECT_NE(m->getTableInfo("contact", "main", "friend"), nullptr);
  EXPECT_EQ(m->getTableInfo("contact", "main", "other"), nullptr);
  const char* fields = "unset";
  EXPECT_EQ(m->getConfigSection(1, nullptr, nullptr, nullptr, nullptr, &fields, nullptr,
                                nullptr, nullptr),
            -1);
  EXPECT_EQ(fields, nullptr);

  // Pieces of an overlong line are read as lines of their own and dropped;
  // the repeated section is ignored; incomplete sections are dropped.
  EXPECT_EQ(Groups(m.get(), "friend", "main", "contact"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(Scan(m.get(), "friend", "main", "contact"), "b:2");
  EXPECT_EQ(Scan(m.get(), "t", "d", "contact"), "default:0");
  EXPECT_EQ(Scan(m.get(), "u", "d", "contact"), "default:0");
  m->saveTableConfigFile();
  EXPECT_EQ(File("Table.cfg"), "[main_friend]\ndb_name=main\ntable_name=friend\ncontact=a:1,b:2\n");
}

TEST_F(ConfigManagerTest, NullAndEmptyArguments) {
  auto m = Open();
  EXPECT_EQ(m->addIndex(nullptr, "d", "t", "k", "f", nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(m->addIndex("i", "d", "t", nullptr, "k", nullptr, nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(m->addIndex("i", "", "t", "k", "f", nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(m->getConfigSectionNum(), 0);
  EXPECT_EQ(m->getIndexInfo(nullptr), nullptr);
  EXPECT_EQ(m->getTableInfo("i", nullptr, "t"), nullptr);
  EXPECT_EQ(m->getTableInfo("i", "d", ""), nullptr);
  EXPECT_EQ(m->getFieldId("", "f"), -1);
  EXPECT_EQ(m->getFieldId("i", nullptr), -1);
  EXPECT_EQ(m->delTableOfIndex(nullptr, "d", "t"), -1);
  EXPECT_EQ(m->delTableOfIndex("i", "d", "t"), 0);
  EXPECT_EQ(m->getConfigSection(-1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
            -1);
  EXPECT_EQ(m->getGroup(nullptr), nullptr);
  EXPECT_EQ(m->getRecentGroup(nullptr, nullptr, nullptr), nullptr);  // no "default" group yet
  m->addGroup(nullptr);
  m->addGroup("");
  m->getAllGroup(nullptr, "t", "d", "i");
  m->setScanMaxRowid(nullptr, "d", "i", "g", 1);
  m->updateIndexGroup(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(darray_length(m->getAllGroupConfig()), 1u);  // the update created "default"
  EXPECT_EQ(m->getScanMaxRowid(nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(ConfigManager::getConfigManager(nullptr), nullptr);
  EXPECT_EQ(ConfigManager::getConfigManager(""), nullptr);
}

TEST_F(ConfigManagerTest, RemovingATable) {
  {
    auto m = Open();
    m->addIndex("i", "d", "t", nullptr, "id", "f", nullptr, nullptr, nullptr, nullptr);
    m->addIndex("i", "d", "u", nullptr, "id", "f", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(m->delTableOfIndex("i", "d", "t"), 0);
    EXPECT_EQ(m->getTableInfo("i", "d", "t"), nullptr);
    EXPECT_EQ(File("MobileSearch.cfg").find("[i_d_t]"), std::string::npos);
    // The scan history stays.
    EXPECT_EQ(Scan(m.get(), "t", "d", "i"), "default:0");
  }
  // In a fresh process the document is unmodified, so the removal stays in
  // memory only and the section remains in the file.
  auto m = Open();
  ASSERT_NE(m->getTableInfo("i", "d", "u"), nullptr);
  EXPECT_EQ(m->getTableInfo("i", "d", "t"), nullptr);
  EXPECT_EQ(m->delTableOfIndex("i", "d", "u"), 0);
  EXPECT_EQ(m->getTableInfo("i", "d", "u"), nullptr);
  EXPECT_NE(File("MobileSearch.cfg").find("[i_d_u]"), std::string::npos);
  // A table registered after all tables of its index are gone still gets
  // the index's layout.
  m->addIndex("i", "d", "v", nullptr, "id", "other", nullptr, nullptr, nullptr, nullptr);
  EXPECT_STREQ(m->getTableInfo("i", "d", "v")->field_list->data, "f");
  EXPECT_EQ(m->getTableInfo("i", "d", "v")->field_num, 1);
}

TEST_F(ConfigManagerTest, RegistryKeepsOneManagerPerRoot) {
  ks_test::TempDir other_dir;
  std::string other = other_dir.path() + "/index";
  ConfigManager* first = ConfigManager::getConfigManager(root_.c_str());
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->getVersionResult(), 1);
  EXPECT_EQ(ConfigManager::getConfigManager(root_.c_str()), first);
  EXPECT_STREQ(first->getRootIndexPath(), root_.c_str());

  // Switching roots deletes the idle manager: coming back builds a new one,
  // which now finds a valid index.
  ConfigManager* second = ConfigManager::getConfigManager(other.c_str());
  ASSERT_NE(second, nullptr);
  EXPECT_STREQ(second->getRootIndexPath(), other.c_str());
  ConfigManager* again = ConfigManager::getConfigManager(root_.c_str());
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->getVersionResult(), 0);
}

}  // namespace
