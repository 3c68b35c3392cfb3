// What reaches the disk: synchronous writes change no byte of the files; a
// full disk fails a save or a compaction without touching what is on disk,
// and the next save after space returns succeeds; damaged stores found at
// open are mended to their last consistent state without wrong answers.
#include <sys/mount.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "search/reopen_probe.h"
#include "search/group_recovery.h"
#include "search/group_searcher.h"
#include "search/searcher_fixture.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"

namespace mobile_search {
namespace {

// Every file below `dir` by its path from there ("/allin/id-0"), with its bytes.
std::map<std::string, std::string> Tree(const std::string& dir) {
  std::map<std::string, std::string> out;
  for (const auto& e : std::filesystem::recursive_directory_iterator(dir)) {
    if (e.is_regular_file()) {
      out["/" + std::filesystem::relative(e.path(), dir).string()] = ks_test::ReadFile(e.path());
    }
  }
  return out;
}

std::string Token(int i) {
  std::string t = "w";
  for (int v = i, k = 0; k < 6; ++k, v /= 26) t += static_cast<char>('a' + v % 26);
  return t;
}

// Opens `root` in a fresh process and gives, per query, the keys found
// ("key,key;" per query).
std::string Found(const std::string& root, const std::vector<std::string>& queries) {
  std::string commands;
  for (const std::string& q : queries) commands += "q " + q + "\n";
  ks_test::Reopened r = ks_test::Reopen(root, kIndex, commands);
  if (!r.ok) return "<reopen failed>";
  std::string out;
  for (const std::string& q : queries) out += r.found[q] + ";";
  return out;
}

// What Found gives when documents 0 .. n-1 (key "d<i>", token Token(i)) are
// the live ones among `total`.
std::string Expect(int total, const std::vector<bool>& live) {
  std::string out;
  for (int i = 0; i < total; ++i) out += (live[static_cast<size_t>(i)] ? "d" + std::to_string(i) + "," : "") + ";";
  return out;
}

std::vector<std::string> Tokens(int n) {
  std::vector<std::string> v;
  for (int i = 0; i < n; ++i) v.push_back(Token(i));
  return v;
}

TEST(DurabilityTest, SynchronousWritesLeaveTheSameFiles) {
  ks_test::TempDir dir;
  for (bool sync : {false, true}) {
    Searcher s;
    std::string root = dir.file(sync ? "on" : "off");
    ASSERT_EQ(0, s.open(root.c_str(), 0));
    // Through the engine option, as a host sets it ("/Options.cfg" aside).
    if (sync) {
      ASSERT_EQ(0, s.setOption("sync", "on"));
    }
    EXPECT_EQ(sync, s.isSyncWrites());
    ASSERT_EQ(0, RegisterMessages(&s));
    for (int i = 0; i < 60; ++i) ASSERT_EQ(0, PutMessage(&s, "d" + std::to_string(i), Token(i) + " 同步写入测试"));
    for (int i = 0; i < 60; i += 3) ASSERT_EQ(0, PutMessage(&s, "d" + std::to_string(i), Token(i) + " 改过的内容"));
    for (int i = 1; i < 60; i += 4) ASSERT_EQ(0, s.delDoc(kIndex, kDb, "message", ("d" + std::to_string(i)).c_str()));
    s.setAutoSave("default", false);
    for (int i = 60; i < 80; ++i) PutMessage(&s, "d" + std::to_string(i), Token(i));
    EXPECT_EQ(1, s.save("default"));
    s.setAutoSave("default", true);
    EXPECT_EQ(0, s.ellipse_index("default", true));
  }
  {
    // Opening another root releases the last one's manager, as opening "on"
    // released "off": both groups are then closed the same way.
    Searcher other;
    ASSERT_EQ(0, other.open(dir.file("other").c_str(), 0));
  }
  std::map<std::string, std::string> off = Tree(dir.file("off")), on = Tree(dir.file("on"));
  EXPECT_EQ("[options]\nsync=on\n", on["/Options.cfg"].substr(on["/Options.cfg"].find("[options]")));
  on.erase("/Options.cfg");
  EXPECT_GT(off.size(), 8u);
  for (const auto& f : off) EXPECT_TRUE(on.count(f.first) && on[f.first] == f.second) << f.first;
  EXPECT_EQ(off.size(), on.size());
}

// A small ext4 file system of its own (a loop-mounted image), filled up on
// purpose. ext4, not tmpfs: on tmpfs a page read through a private mapping
// is already allocated, so writing it back never runs out of space.
class DiskFullTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mnt_ = dir_.file("mnt");
    std::string img = dir_.file("fs.img");
    std::string cmd = "truncate -s 24M " + img + " && mkfs.ext4 -q -F " + img + " >/dev/null 2>&1 && mkdir " +
                      mnt_ + " && mount -o loop " + img + " " + mnt_ + " 2>/dev/null";
    if (system(cmd.c_str()) != 0) GTEST_SKIP() << "mounting a loop file system needs root and a loop device";
    mounted_ = true;
    root_ = mnt_ + "/root";
  }
  void TearDown() override {
    if (mounted_ && system(("umount " + mnt_).c_str()) != 0) umount2(mnt_.c_str(), MNT_DETACH);
  }

  // Takes every free byte of the file system.
  void Fill() {
    int fd = open((mnt_ + "/filler").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    ASSERT_GE(fd, 0);
    std::string block(4096, 'z');
    while (write(fd, block.data(), block.size()) > 0) {
    }
    ASSERT_EQ(ENOSPC, errno);
    close(fd);
  }
  void Free() { ASSERT_EQ(0, unlink((mnt_ + "/filler").c_str())); }

  ks_test::TempDir dir_;
  std::string mnt_, root_;
  bool mounted_ = false;
};

TEST_F(DiskFullTest, FailedSavesAndCompactionsKeepTheIndexAndTheNextSaveSucceeds) {
  const int kSaved = 40, kAll = 240;
  std::vector<bool> live(kAll, false);
  Searcher s;
  ASSERT_EQ(0, s.open(root_.c_str(), 0));
  ASSERT_EQ(0, RegisterMessages(&s));
  for (int i = 0; i < kSaved; ++i, live[static_cast<size_t>(i - 1)] = true) {
    ASSERT_EQ(0, PutMessage(&s, "d" + std::to_string(i), Token(i) + " 磁盘写满之前保存的消息"));
  }
  std::string before = Expect(kAll, live);
  ASSERT_EQ(before, Found(root_, Tokens(kAll)));

  // A bulk save that runs out of space: -1, the disk keeps the last save.
  s.setAutoSave("default", false);
  std::mt19937 rng(5);
  for (int i = kSaved; i < kAll; ++i) PutMessage(&s, "d" + std::to_string(i), Token(i) + " " + HanText(rng, 120));
  Fill();
  EXPECT_EQ(-1, s.save("default"));
  EXPECT_EQ(before, Found(root_, Tokens(kAll)));

  // With auto-save on, an add that cannot be saved reports it.
  s.setAutoSave("default", true);
  EXPECT_EQ(-1, PutMessage(&s, "d0", Token(0) + " 新的内容"));
  EXPECT_EQ(before, Found(root_, Tokens(kAll)));

  // Space returns: the next save writes everything, the change of d0 too.
  Free();
  EXPECT_EQ(1, s.save("default"));
  for (int i = 0; i < kAll; ++i) live[static_cast<size_t>(i)] = true;
  EXPECT_EQ(Expect(kAll, live), Found(root_, Tokens(kAll)));
  EXPECT_EQ("d0,;", Found(root_, {"新的内容"}));

  // A compaction that runs out of space keeps the group; with space it runs.
  for (int i = 1; i < kAll; i += 2, live[static_cast<size_t>(i - 2)] = false) {
    ASSERT_EQ(0, s.delDoc(kIndex, kDb, "message", ("d" + std::to_string(i)).c_str()));
  }
  std::string kept = Expect(kAll, live);
  Fill();
  int rc = s.ellipse_index("default", true);
  EXPECT_TRUE(rc == GroupSearcher::kEllipseCopyDocsFailed || rc == GroupSearcher::kEllipseCopyIndexFailed) << rc;
  EXPECT_EQ(kept, Found(root_, Tokens(kAll)));
  Free();
  EXPECT_EQ(0, s.ellipse_index("default", true));
  EXPECT_EQ(kept, Found(root_, Tokens(kAll)));
}

// Damage a power cut can leave, made by hand on a closed group; each reopen
// must answer with the right documents only and say what it dropped.
TEST(GroupRecoveryTest, DamagedStoresOpenAtTheirLastConsistentState) {
  ks_test::TempDir dir;
  std::string root = dir.file("root");
  const int kDocs = 30;
  {
    Searcher s;
    ASSERT_EQ(0, s.open(root.c_str(), 0));
    ASSERT_EQ(0, RegisterMessages(&s));
    for (int i = 0; i < kDocs; ++i) ASSERT_EQ(0, PutMessage(&s, "d" + std::to_string(i), Token(i) + " 断电"));
  }
  std::vector<bool> live(kDocs, true);
  std::string group = root + "/allin";
  std::string all = Expect(kDocs, live);
  ASSERT_EQ(all, Found(root, Tokens(kDocs)));

  // Opens the root in a fresh process (adding a document when asked); the
  // log lines it wrote.
  auto reopen = [&](const std::string& add) {
    ks_test::Reopened r = ks_test::Reopen(root, kIndex, add.empty() ? "" : "add " + add + "\n");
    EXPECT_TRUE(r.ok);
    for (int rc : r.adds) EXPECT_EQ(0, rc);
    return r.log;
  };

  // The last two document records never reached the disk (zeros), while
  // their postings did: the records are cut and the postings dropped.
  std::string ids = ks_test::ReadFile(group + "/id-0");
  ids.replace(19 * (kDocs - 2), 38, std::string(38, '\0'));
  ASSERT_TRUE(ks_test::WriteFile(group + "/id-0", ids));
  // A document added after the repair takes a freed id and none of the
  // dropped words.
  std::string log = reopen(std::string(kDb) + " message late |晚到的消息||");
  EXPECT_NE(std::string::npos, log.find("dropped 2 unwritten document records")) << log;
  EXPECT_NE(std::string::npos, log.find("postings of documents never saved")) << log;
  live[kDocs - 2] = live[kDocs - 1] = false;
  EXPECT_EQ(Expect(kDocs, live), Found(root, Tokens(kDocs)));
  EXPECT_EQ("late,;", Found(root, {"晚到的消息"}));

  // The info file claims more postings than the data file holds.
  std::string info = ks_test::ReadFile(group + "/idx_0/allin-info");
  std::string big = info;
  big[3] = 0x10;  // about 256 MiB
  ASSERT_TRUE(ks_test::WriteFile(group + "/idx_0/allin-info", big));
  log = reopen("");
  EXPECT_NE(std::string::npos, log.find("postings length")) << log;
  EXPECT_NE(std::string::npos, log.find("unwritten postings")) << log;
  EXPECT_EQ(Expect(kDocs, live), Found(root, Tokens(kDocs)));
  EXPECT_EQ("late,;", Found(root, {"晚到的消息"}));
}

TEST(GroupRecoveryTest, PostingsOfUnsavedDocumentsInAFullFileGetDeletedOwners) {
  // Postings reach a full (sorted) file ahead of their document records when
  // a file fills during unsaved bulk work; such ids must never be handed out.
  ks_test::TempDir dir;
  std::string group = dir.file("g");
  {
    DocIdManager docs;
    IndexManager index;
    ASSERT_EQ(0, docs.open(group.c_str()));
    ASSERT_EQ(0, index.open(group.c_str(), "allin"));
    index.setAutoSave(false);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(i, docs.addPKey(7, ("k" + std::to_string(i)).c_str(), 5, 0));
    // 190,651 postings: ids 0-2 saved, ids 3-9 never got records.
    for (unsigned int p = 0; p < 190651; ++p) index.addTerm(1000 + p % 50, p % 10, 0, 1, 1);
    index.save();
  }
  DocIdManager docs;
  IndexManager index;
  ASSERT_EQ(0, docs.open(group.c_str()));
  ASSERT_EQ(0, index.open(group.c_str(), "allin"));
  ASSERT_EQ(0, recover_group_stores(group.c_str(), &docs, &index));
  EXPECT_EQ(10u, docs.getDocNumber());
  for (unsigned int d = 3; d < 10; ++d) EXPECT_EQ(1, docs.isDocidDel(d)) << d;
  EXPECT_EQ(0, docs.isDocidDel(2));
  EXPECT_EQ(10, docs.addPKey(7, "next", 5, 0));
}

}  // namespace
}  // namespace mobile_search
