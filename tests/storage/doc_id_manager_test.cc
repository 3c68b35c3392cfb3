#include "storage/doc_id_manager.h"
#include "storage/doc_record_cursor.h"

#include <sys/types.h>
#include <unistd.h>

#include <string>

#include "foundation/hash.h"
#include "gtest/gtest.h"
#include "test_util.h"

namespace mobile_search {
namespace {

std::string PKey(DocIdManager& m, int id) {
  _str_buffer_t* buf = str_buffer_create(16);
  std::string s = m.getPKey(id, buf) == 0 ? std::string(buf->data, static_cast<size_t>(buf->len)) : "<none>";
  str_buffer_free(buf);
  return s;
}

unsigned int Crc(const std::string& s) { return crc32(s.data(), static_cast<unsigned int>(s.size()), 0); }

// Raw bytes of record `id` as stored in the file (not through a mapping).
std::string StoredRecord(const ks_test::TempDir& dir, unsigned int id) {
  std::string file = ks_test::ReadFile(dir.file("id-" + std::to_string(id / 110376)));
  return file.substr((id % 110376) * 19, 19);
}

// Hand-made records, then enough numbered ones to fill two id data files;
// everything is found again after a reopen rebuilds the key map.
TEST(DocIdManagerTest, KeysAndRecordsAcrossIdFilesAreFoundAfterReopen) {
  ks_test::TempDir dir;
  const unsigned int n = 2 * 110376 + 10;
  {
    DocIdManager m;
    ASSERT_EQ(0, m.open(dir.path().c_str()));
    EXPECT_EQ(0, m.addPKey(7, "12345678", 11, 0));
    EXPECT_EQ(1, m.addPKey(7, "123456789", 12, Crc("123456789")));
    EXPECT_EQ(2, m.addPKey(7, "zero-sum-key", 0, Crc("zero-sum-key")));
    EXPECT_EQ(3, m.addPKey(8, "12345678", 13, 0));  // same key, other table
    EXPECT_EQ(-1, m.addPKey(7, "", 1, 0));
    EXPECT_EQ(-1, m.addPKey(7, nullptr, 1, 0));
    m.setAutoSave(false);
    for (unsigned int i = 4; i < n; ++i) {
      std::string key = (i % 1000 == 0) ? "long-key-number-" + std::to_string(i) : std::to_string(i);
      unsigned int sum = (i % 1000 == 0 || i == 110376) ? i + 1 : 0;
      ASSERT_EQ(static_cast<int>(i), m.addPKey(9, key.c_str(), sum, Crc(key)));
    }
    m.save();
  }
  EXPECT_EQ("123456789zero-sum-keylong-key-number-1000", ks_test::ReadFile(dir.file("pKey-0")).substr(0, 41));
  std::string r0 = StoredRecord(dir, 0), r1 = StoredRecord(dir, 1);
  // Key length 8, checksum 11, live, the key inline.
  EXPECT_EQ(std::string("\x08\0", 2) + "\x0B" + std::string(3, '\0') + '\0' + "12345678", r0.substr(4));
  unsigned int crc = Crc("123456789");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&crc), 4), r1.substr(15, 4));  // x86: little-endian
  EXPECT_EQ("110376", StoredRecord(dir, 110376).substr(11, 6));  // record 0 of id-1

  DocIdManager m;
  ASSERT_EQ(0, m.open(dir.path().c_str()));
  EXPECT_EQ(n, m.getDocNumber());
  EXPECT_EQ("12345678", PKey(m, 0));
  EXPECT_EQ("123456789", PKey(m, 1));
  EXPECT_EQ("long-key-number-220000", PKey(m, 220000));
  EXPECT_EQ(0, m.getDocid(7, "12345678"));
  EXPECT_EQ(3, m.getDocid(8, "12345678"));
  EXPECT_EQ(110376, m.getDocid(9, "110376"));
  EXPECT_EQ(220000, m.getDocid(9, "long-key-number-220000"));
  int del = -1;
  unsigned int sum = 0, keyCrc = 0;
  EXPECT_EQ(1, m.getDocid(7, "123456789", del, 0, sum, keyCrc));
  EXPECT_EQ(12u, sum);
  EXPECT_EQ(crc, keyCrc);
  EXPECT_EQ(-1, del);
  EXPECT_EQ(-1, m.getDocid(7, "zero-sum-key"));  // a checksum of 0 is never mapped
  EXPECT_EQ(-1, m.getDocid(7, "other"));
  EXPECT_EQ(7u, m.getTabMD5Id(2));
  // A cursor reading many ids in a row answers as the manager does, within
  // a file, across files, past the count and past the last file.
  DocRecordCursor cursor(&m);
  for (unsigned int id : {0u, 1u, 2u, 1000u, 110375u, 110376u, 220000u, 5u, n - 1, n, n + 50, 3 * 110376u}) {
    EXPECT_EQ(m.getDocInfoById(static_cast<int>(id)), cursor.record(id)) << id;
    const char* text = nullptr;
    unsigned int len = 0;
    const std::string expected = PKey(m, static_cast<int>(id));
    const int found = cursor.keyView(id, &text, &len);
    EXPECT_EQ(expected, found == 0 ? std::string(text, len) : "<none>") << id;
  }
  EXPECT_EQ(static_cast<int>(n), m.addPKey(9, "next", 1, 0));
  EXPECT_EQ(0, m.delDocid(220000));
  EXPECT_EQ(1, StoredRecord(dir, 220000)[10]);
  EXPECT_EQ(-1, m.delDocid(3 * 110376));  // no data file holds it

  // A long key past the first key file cannot be restored; its copy gets
  // key offset -1 rather than an offset naming some other key of the copy.
  DocIdManager wide, wideCopy;
  ASSERT_EQ(0, wide.open(dir.file("wide").c_str()));
  ASSERT_EQ(0, wideCopy.open(dir.file("wide-copy").c_str()));
  for (int i = 0; i < 33; ++i) {  // 32 keys of 65,535 bytes fill key file 0
    std::string key(65535, static_cast<char>('a' + i % 26));
    ASSERT_EQ(i, wide.addPKey(4, key.c_str(), 1, Crc(key)));
  }
  EXPECT_EQ("<none>", PKey(wide, 32));
  ASSERT_EQ(0, wide.copyBlock(&wideCopy, 33, &wide));
  ASSERT_NE(nullptr, wideCopy.getDocInfoById(32));
  EXPECT_EQ(0xFFFFFFFFu, wideCopy.getDocInfoById(32)->keyOffset());
  EXPECT_EQ(Crc(std::string(65535, 'g')), wideCopy.getDocInfoById(32)->keyCrc());
}

TEST(DocIdManagerTest, DeletionRevivalAndTheirWriteBack) {
  ks_test::TempDir dir;
  DocIdManager m;
  ASSERT_EQ(0, m.open(dir.path().c_str()));
  m.setAutoSave(false);  // deletion marks are written back regardless
  ASSERT_EQ(0, m.addPKey(5, "row-1", 100, 0));
  m.save();
  ASSERT_EQ(0, m.delDocid(0));
  EXPECT_EQ(1, StoredRecord(dir, 0)[10]);
  int del = -1;
  unsigned int sum = 0, crc = 0;
  EXPECT_EQ(-1, m.getDocid(5, "row-1", del, 200, sum, crc));
  EXPECT_EQ(-1, del);  // checksum differs
  EXPECT_EQ(-1, m.getDocid(5, "row-1", del, 100, sum, crc));
  EXPECT_EQ(0, del);

  ASSERT_EQ(1, m.addPKey(5, "row-1", 200, 0));
  ASSERT_EQ(2, m.addPKey(5, "row-1", 300, 0));
  EXPECT_EQ(2, m.getDocid(5, "row-1"));  // the last live id wins
  // Reviving one document of a key retires every other one of it.
  ASSERT_EQ(0, m.unDelDocid(0));
  EXPECT_EQ(0, m.getDocid(5, "row-1"));
  m.save();
  EXPECT_EQ(0, StoredRecord(dir, 0)[10]);
  EXPECT_EQ(1, StoredRecord(dir, 2)[10]);
}

TEST(DocIdManagerTest, BadDirectoriesAndDamagedStoresFail) {
  ks_test::TempDir dir;
  DocIdManager m;
  EXPECT_EQ(-1, m.open(""));
  EXPECT_EQ(-1, m.open(nullptr));
  ASSERT_TRUE(ks_test::WriteFile(dir.file("plain"), "x"));
  EXPECT_EQ(-1, m.open(dir.file("plain").c_str()));
  EXPECT_EQ(-1, m.addPKey(1, "k", 1, 0));
  EXPECT_EQ(-1, m.getDocid(1, "k"));
  EXPECT_EQ(nullptr, m.getDocInfoById(0));
  EXPECT_EQ(-1, m.save());
  EXPECT_EQ(-1, m.close());

  // Damaged stores: the open fails and nothing is read from them.
  {
    DocIdManager good;
    ASSERT_EQ(0, good.open(dir.file("g").c_str()));
    for (int i = 0; i < 100; ++i) good.addPKey(1, ("key-longer-than-8-" + std::to_string(i)).c_str(), 1, 0);
  }
  const std::string id0 = dir.file("g/id-0");
  for (int size : {1000, 0}) {  // truncated, empty
    ASSERT_EQ(0, truncate(id0.c_str(), size));
    DocIdManager damaged;
    EXPECT_EQ(-1, damaged.open(dir.file("g").c_str())) << size;
    EXPECT_EQ(-1, damaged.getPKey(0, nullptr));
  }
  // A missing file (the info file claims 1,900 bytes): the store opens with
  // what the files hold, nothing.
  ASSERT_EQ(0, remove(id0.c_str()));
  DocIdManager cut;
  ASSERT_EQ(0, cut.open(dir.file("g").c_str()));
  EXPECT_EQ(0u, cut.getDocNumber());
}

// The dense states cover ids set with one of the first 127 table ids; the
// rest stay uncovered (callers read the record) whatever happens to them.
TEST(DocStateTableTest, CoversTheFirst127TablesAndLeavesTheRestToTheRecords) {
  DocStateTable t;
  for (unsigned int d = 0; d < 130; ++d) t.set(d, 1000 + d, d % 2 == 1);
  t.set(140, 1000, false);  // 130-139 were never set
  EXPECT_EQ(0x80u | 5u, t.state(5));
  EXPECT_EQ(1005u, t.tableOf(5));
  EXPECT_EQ(DocStateTable::kUncovered, t.state(127));
  EXPECT_EQ(DocStateTable::kUncovered, t.state(135));
  EXPECT_EQ(0u, t.state(140));
  EXPECT_EQ(DocStateTable::kUncovered, t.state(141));
  t.setDeleted(127, true);
  t.setDeleted(140, true);
  t.setDeleted(5, false);
  EXPECT_EQ(DocStateTable::kUncovered, t.state(127));
  EXPECT_EQ(0x80u, t.state(140));
  EXPECT_EQ(5u, t.state(5));
}

}  // namespace
}  // namespace mobile_search
