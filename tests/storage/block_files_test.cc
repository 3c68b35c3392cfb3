#include "storage/block_files.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "storage/byte_order.h"
#include "test_util.h"

namespace mobile_search {
namespace {

unsigned int InfoValue(const std::string& path) {
  std::string s = ks_test::ReadFile(path);
  return s.size() < 4 ? 0 : DecodeFixed32(reinterpret_cast<const unsigned char*>(s.data()));
}

TEST(BlockFilesTest, AppendOffsetsInfoFileAndFileBoundary) {
  ks_test::TempDir dir;
  BlockFiles store(21, nullptr, false, false);
  ASSERT_EQ(1, store.openFiles(dir.path().c_str(), "s"));

  char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  EXPECT_EQ(0, store.append(ten, 10));
  EXPECT_EQ(10, store.append(ten, 10));
  EXPECT_EQ(-1, store.append(nullptr, 3));
  EXPECT_EQ(-1, store.append(ten, 0));

  std::vector<char> big(2097150 - 20, 'b');
  EXPECT_EQ(20, store.append(big.data(), static_cast<unsigned int>(big.size())));
  // 8 bytes do not fit in the 2 left in file 0: the record starts file 1.
  EXPECT_EQ(2097152, store.append("12345678", 8));

  // Offsets past data file 0 do not resolve (deliberate clamping); walks
  // use getBlockAddress.
  EXPECT_EQ(nullptr, store.offset2Addr(2097152));
  unsigned int len = 0;
  const char* f1 = static_cast<const char*>(store.getBlockAddress(1, len));
  ASSERT_NE(nullptr, f1);
  EXPECT_EQ(8u, len);
  EXPECT_EQ(0, memcmp(f1, "12345678", 8));
  store.getBlockAddress(0, len);
  EXPECT_EQ(2097152u, len);
  EXPECT_EQ(nullptr, store.getBlockAddress(2, len));
  char out[4];
  int n = 4;
  EXPECT_EQ(4, store.read(12, out, n));
  EXPECT_EQ(0, memcmp(out, ten + 2, 4));
  EXPECT_EQ(-1, store.read(2097160, out, n));  // past the content
  EXPECT_EQ(-1, store.append(big.data(), 2097153));  // larger than a data file
}

std::string Record(int i) { return "rec" + std::to_string(1000000 + i); }  // 10 bytes

// In a child process: appends 1000 records to store `name` (with autosave
// on or off, saving the last ones if asked) and dies without closing or
// saving anything, as a crash would.
void AppendAndCrash(const char* dir, const char* name, bool autosave, bool save) {
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    BlockFiles s(12, nullptr, false, false);
    if (!s.openFiles(dir, name)) _exit(1);
    s.setAutoSave(autosave);
    for (int i = 0; i < 999; ++i) s.append(Record(i).data(), 10);
    if (save) s.sync();
    s.append(Record(999).data(), 10);
    if (save) s.saveLastBytes(10);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(pid, waitpid(pid, &status, 0));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(BlockFilesTest, DurabilityWithAndWithoutAutosaveAcrossACrash) {
  ks_test::TempDir dir;
  const char* d = dir.path().c_str();
  AppendAndCrash(d, "on", true, false);
  AppendAndCrash(d, "off", false, false);
  AppendAndCrash(d, "saved", false, true);

  for (const char* name : {"on", "saved"}) {
    BlockFiles s(12, nullptr, false, false);
    ASSERT_EQ(1, s.openFiles(d, name));
    ASSERT_EQ(2u * 4096 + 182 * 10, s.getContentLen()) << name;
    for (int i = 0; i < 1000; ++i) {  // 409 records of 10 bytes per 4 KiB file
      unsigned int len = 0;
      const char* base = static_cast<const char*>(s.getBlockAddress(i / 409, len));
      ASSERT_NE(nullptr, base);
      ASSERT_EQ(Record(i), std::string(base + (i % 409) * 10, 10)) << name << " " << i;
    }
  }
  BlockFiles off(12, nullptr, false, false);
  ASSERT_EQ(1, off.openFiles(d, "off"));
  EXPECT_EQ(0u, off.getContentLen());  // appended, never saved
}

// Reverses the byte order of a full file: an in-place rewrite like the sort
// of the postings store.
int ReverseFile(MMapFile* f, unsigned int size) {
  char* p = static_cast<char*>(f->safeOffset2Addr(0));
  std::reverse(p, p + size);
  return 0;
}

// Random appends, in-place edits and saves; after every save the files must
// hold exactly what writing back every range the save names in full would.
void CheckWriteBackMatchesWholeRanges(bool clearFull, block_full_fn full) {
  ks_test::TempDir dir;
  const unsigned int kSize = 1u << 14;
  BlockFiles s(14, full, clearFull, false);
  ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "w"));
  s.setAutoSave(false);
  std::vector<std::string> disk;  // model of the data files
  unsigned int diskLen = 0;       // model of the info file
  auto writeBack = [&](int i, unsigned int off, unsigned int n) {
    unsigned int used = 0;
    disk[i].replace(off, n, static_cast<const char*>(s.getBlockAddress(i, used)) + off, n);
  };
  std::mt19937 rng(11);
  for (int step = 0; step < 2500; ++step) {
    unsigned int r = rng() % 100, len = s.getContentLen();
    if (r < 70) {
      std::string rec(1 + rng() % 200, static_cast<char>('a' + rng() % 26));
      int before = s.blockNumber();
      ASSERT_GE(s.append(rec.data(), static_cast<unsigned int>(rec.size())), 0);
      disk.resize(static_cast<size_t>(s.blockNumber()), std::string(kSize, '\0'));
      if (s.blockNumber() > before && before > 0 && (len & (kSize - 1)) != 0) {
        writeBack(before - 1, 0, kSize);  // a filled file is written back whole
        if (full != nullptr) diskLen = s.getContentLen() - static_cast<unsigned int>(rec.size());
      }
    } else if (r < 85 && len > 0) {
      unsigned int at = rng() % len, used = 0;
      char* base = static_cast<char*>(s.getBlockAddress(static_cast<int>(at >> 14), used));
      if ((at & (kSize - 1)) < used) {
        base[at & (kSize - 1)] ^= 0x5A;
        s.markDirty(static_cast<int>(at >> 14), at & (kSize - 1), 1);
      }
    } else if (r < 93) {
      s.sync();  // full files whole unless settled, the last one up to the content end
      int last = s.blockNumber() - 1;
      for (int i = 0; i < last && !clearFull; ++i) writeBack(i, 0, kSize);
      if (last >= 0) writeBack(last, 0, len - (static_cast<unsigned int>(last) << 14));
      diskLen = len;
    } else if (len > 0) {
      unsigned int n = 1 + rng() % std::min(400u, len);
      s.saveLastBytes(n);
      for (unsigned int x = len - n; x < len; ++x) writeBack(static_cast<int>(x >> 14), x & (kSize - 1), 1);
      diskLen = len;
    }
    if (r < 85) continue;
    for (int i = 0; i < s.blockNumber(); ++i) {
      ASSERT_EQ(disk[i], ks_test::ReadFile(dir.file("w-" + std::to_string(i)))) << "file " << i << " step " << step;
    }
    ASSERT_EQ(diskLen, InfoValue(dir.file("w-info"))) << "step " << step;
  }
  EXPECT_GE(s.blockNumber(), 5);
}

TEST(BlockFilesTest, SavesWriteExactlyWhatWholeRangeWriteBackWould) {
  CheckWriteBackMatchesWholeRanges(false, nullptr);
  CheckWriteBackMatchesWholeRanges(true, ReverseFile);
}

void ReplaceWithDir(const std::string& path) {
  ASSERT_EQ(0, remove(path.c_str()));
  ASSERT_EQ(0, mkdir(path.c_str(), 0755));
}

TEST(BlockFilesTest, BadInputFailsWithoutCrashing) {
  ks_test::TempDir dir;
  BlockFiles missing(14, nullptr, false, false);
  EXPECT_EQ(0, missing.openFiles(dir.file("no/such/dir").c_str(), "s"));
  EXPECT_EQ(0, missing.openFiles(nullptr, "s"));
  EXPECT_EQ(-1, missing.append("x", 1));

  // A store of three files (40,000 bytes), then damaged copies of it.
  {
    BlockFiles s(14, nullptr, false, false);
    ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "s"));
    std::string rec(1000, 'r');
    for (int i = 0; i < 40; ++i) s.append(rec.data(), 1000);
  }
  typedef void (*Damage)(const std::string& base);
  const struct {
    const char* name;
    Damage damage;
    int want;
  } cases[] = {
      {"ok", [](const std::string&) {}, 1},
      // An info file claiming more than the files hold is cut back to them.
      {"claims", [](const std::string& b) { remove((b + "-2").c_str()); }, 1},
      {"short", [](const std::string& b) { EXPECT_EQ(0, truncate((b + "-1").c_str(), 5000)); }, 0},
      {"empty", [](const std::string& b) { EXPECT_EQ(0, truncate((b + "-0").c_str(), 0)); }, 0},
      {"isdir", [](const std::string& b) { ReplaceWithDir(b + "-1"); }, 0},
      {"infodir", [](const std::string& b) { ReplaceWithDir(b + "-info"); }, 0},
  };
  for (const auto& c : cases) {
    for (std::string suffix : {"-info", "-0", "-1", "-2"}) {
      ks_test::WriteFile(dir.file(c.name + suffix), ks_test::ReadFile(dir.file("s" + suffix)));
    }
    c.damage(dir.file(c.name));
    BlockFiles s(14, nullptr, false, false);
    EXPECT_EQ(c.want, s.openFiles(dir.path().c_str(), c.name)) << c.name;
    if (std::string(c.name) == "claims") {
      EXPECT_TRUE(s.openRepairs().lengthCut);
      EXPECT_EQ(2u << 14, s.getContentLen());
    }
  }

  // An empty file beyond the content is what an interrupted expand leaves:
  // it is brought to full size and the store opens.
  ks_test::WriteFile(dir.file("s-3"), "");
  BlockFiles s(14, nullptr, false, false);
  ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "s"));
  unsigned int len = 0;
  s.getBlockAddress(2, len);
  EXPECT_EQ(8000u, len);  // the content ends in file 2, not in the spare file
  s.getBlockAddress(3, len);
  EXPECT_EQ(0u, len);
  std::string rec(16000, 'z');
  EXPECT_EQ(3 << 14, s.append(rec.data(), 16000));
  EXPECT_EQ(4, s.blockNumber());
}

}  // namespace
}  // namespace mobile_search
