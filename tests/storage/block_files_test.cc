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
#include "test_util.h"

namespace mobile_search {
namespace {

unsigned int InfoValue(const std::string& path) {
  std::string s = ks_test::ReadFile(path);
  if (s.size() < 4) return 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s.data());
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<unsigned int>(p[3]) << 24);
}

MMapFile* g_fullFile = nullptr;
unsigned int g_fullSize = 0;
int RecordFull(MMapFile* f, unsigned int size) {
  g_fullFile = f;
  g_fullSize = size;
  return 0;
}

TEST(BlockFilesTest, AppendOffsetsInfoFileAndFileBoundary) {
  ks_test::TempDir dir;
  g_fullFile = nullptr;
  BlockFiles store(21, RecordFull, false, false);
  ASSERT_EQ(1, store.openFiles(dir.path().c_str(), "s"));
  EXPECT_TRUE(ks_test::FileExists(dir.file("s-info")));
  EXPECT_FALSE(ks_test::FileExists(dir.file("s-0")));

  char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  EXPECT_EQ(0, store.append(ten, 10));
  EXPECT_EQ(10, store.append(ten, 10));
  EXPECT_EQ(20u, InfoValue(dir.file("s-info")));
  EXPECT_EQ(2u, store.itemNumber(8));
  EXPECT_EQ(-1, store.append(nullptr, 3));
  EXPECT_EQ(-1, store.append(ten, 0));

  std::vector<char> big(2097150 - 20, 'b');
  EXPECT_EQ(20, store.append(big.data(), static_cast<unsigned int>(big.size())));
  ASSERT_EQ(2097150u, store.getContentLen());
  EXPECT_EQ(nullptr, g_fullFile);
  EXPECT_EQ(2097152, store.append("12345678", 8));
  ASSERT_NE(nullptr, g_fullFile);
  EXPECT_EQ(2097152u, g_fullSize);
  EXPECT_EQ(2097160u, store.getContentLen());
  EXPECT_EQ(2, store.blockNumber());

  // Offsets past data file 0 do not resolve (deliberate clamping); walks
  // use getBlockAddress.
  EXPECT_EQ(nullptr, store.offset2Addr(2097152));
  EXPECT_NE(nullptr, store.offset2Addr(5));
  unsigned int len = 0;
  const char* f1 = static_cast<const char*>(store.getBlockAddress(1, len));
  ASSERT_NE(nullptr, f1);
  EXPECT_EQ(8u, len);
  EXPECT_EQ(0, memcmp(f1, "12345678", 8));
  EXPECT_NE(nullptr, store.getBlockAddress(0, len));
  EXPECT_EQ(2097152u, len);
  EXPECT_EQ(nullptr, store.getBlockAddress(2, len));
  char out[4];
  int n = 4;
  EXPECT_EQ(4, store.read(12, out, n));
  EXPECT_EQ(0, memcmp(out, ten + 2, 4));
  EXPECT_EQ(-1, store.read(2097160, out, n));
  EXPECT_EQ(-1, store.append(big.data(), 2097153));  // larger than a data file

  store.closeFiles();
  BlockFiles again(21, nullptr, false, false);
  ASSERT_EQ(1, again.openFiles(dir.path().c_str(), "s"));
  EXPECT_EQ(2097160u, again.getContentLen());
  EXPECT_EQ(2, again.blockNumber());
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
    // 409 records of 10 bytes per 4 KiB file.
    for (int i = 0; i < 1000; ++i) {
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
// hold exactly what writing back every described range in full would give.
void CheckWriteBackMatchesWholeRanges(bool clearFull, block_full_fn full) {
  ks_test::TempDir dir;
  const unsigned int fileSize = 1u << 14;
  BlockFiles s(14, full, clearFull, false);
  ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "w"));
  s.setAutoSave(false);
  std::vector<std::string> disk;  // model of the data files on disk
  unsigned int diskLen = 0;       // model of the info file
  std::mt19937 rng(11);
  auto mapped = [&](int i, unsigned int off, unsigned int n) {
    unsigned int len = 0;
    const char* base = static_cast<const char*>(s.getBlockAddress(i, len));
    return std::string(base + off, n);
  };
  auto writeBack = [&](int i, unsigned int off, unsigned int n) {
    disk[i].replace(off, n, mapped(i, off, n));
  };
  auto usedOfLast = [&]() { return s.getContentLen() - (static_cast<unsigned int>(s.blockNumber() - 1) << 14); };
  for (int step = 0; step < 4000; ++step) {
    unsigned int r = rng() % 100;
    if (r < 70) {
      std::string rec(1 + rng() % 300, static_cast<char>('a' + rng() % 26));
      int before = s.blockNumber();
      unsigned int lenBefore = s.getContentLen();
      ASSERT_GE(s.append(rec.data(), static_cast<unsigned int>(rec.size())), 0);
      while (static_cast<int>(disk.size()) < s.blockNumber()) disk.push_back(std::string(fileSize, '\0'));
      if (s.blockNumber() > before && before > 0 && (lenBefore & (fileSize - 1)) != 0) {
        writeBack(before - 1, 0, fileSize);  // a filled file is written back whole
        if (full != nullptr) diskLen = s.getContentLen() - static_cast<unsigned int>(rec.size());
      }
    } else if (r < 85 && s.getContentLen() > 0) {
      unsigned int at = rng() % s.getContentLen();
      int i = static_cast<int>(at >> 14);
      unsigned int len = 0;
      char* base = static_cast<char*>(s.getBlockAddress(i, len));
      if ((at & (fileSize - 1)) < len) {
        base[at & (fileSize - 1)] ^= 0x5A;
        s.markDirty(i, at & (fileSize - 1), 1);
      }
    } else if (r < 92) {
      s.sync();
      for (int i = 0; i + 1 < s.blockNumber(); ++i) {
        if (!clearFull) writeBack(i, 0, fileSize);
      }
      if (s.blockNumber() > 0) writeBack(s.blockNumber() - 1, 0, usedOfLast());
      diskLen = s.getContentLen();
    } else if (r < 96 && s.getContentLen() > 0) {
      unsigned int n = 1 + rng() % std::min(400u, s.getContentLen());
      s.saveLastBytes(n);
      unsigned int from = s.getContentLen() - n;
      for (unsigned int x = from; x < s.getContentLen(); ++x) {
        writeBack(static_cast<int>(x >> 14), x & (fileSize - 1), 1);
      }
      diskLen = s.getContentLen();
    } else if (s.blockNumber() > 0) {
      int i = static_cast<int>(rng() % static_cast<unsigned int>(s.blockNumber()));
      s.syncFile(i);
      if (i == s.blockNumber() - 1) {
        writeBack(i, 0, usedOfLast());
        diskLen = s.getContentLen();
      } else if (!clearFull) {
        writeBack(i, 0, fileSize);
      }
    }
    if (r >= 85) {
      for (int i = 0; i < s.blockNumber(); ++i) {
        ASSERT_EQ(disk[i], ks_test::ReadFile(dir.file("w-" + std::to_string(i)))) << "file " << i << " step " << step;
      }
      ASSERT_EQ(diskLen, InfoValue(dir.file("w-info"))) << "step " << step;
    }
  }
  EXPECT_GE(s.blockNumber(), 5);
}

TEST(BlockFilesTest, SavesWriteExactlyWhatWholeRangeWriteBackWould) {
  CheckWriteBackMatchesWholeRanges(false, nullptr);
  CheckWriteBackMatchesWholeRanges(true, ReverseFile);
}

TEST(BlockFilesTest, BadInputFailsWithoutCrashing) {
  ks_test::TempDir dir;
  BlockFiles missing(14, nullptr, false, false);
  EXPECT_EQ(0, missing.openFiles(dir.file("no/such/dir").c_str(), "s"));
  EXPECT_EQ(0, missing.openFiles(nullptr, "s"));
  EXPECT_EQ(-1, missing.append("x", 1));

  // Build a store of three files, then damage copies of it.
  {
    BlockFiles s(14, nullptr, false, false);
    ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "s"));
    std::string rec(1000, 'r');
    for (int i = 0; i < 40; ++i) s.append(rec.data(), 1000);
  }
  auto fresh = [&](const char* name) {
    for (const char* suffix : {"-info", "-0", "-1", "-2"}) {
      ks_test::WriteFile(dir.file(std::string(name) + suffix), ks_test::ReadFile(dir.file(std::string("s") + suffix)));
    }
  };
  auto opens = [&](const char* name) {
    BlockFiles s(14, nullptr, false, false);
    return s.openFiles(dir.path().c_str(), name);
  };
  fresh("ok");
  EXPECT_EQ(1, opens("ok"));

  fresh("claims");
  remove(dir.file("claims-2").c_str());  // the info file now claims more
  EXPECT_EQ(0, opens("claims"));

  fresh("short");
  truncate(dir.file("short-1").c_str(), 5000);
  EXPECT_EQ(0, opens("short"));

  fresh("empty");
  truncate(dir.file("empty-0").c_str(), 0);
  EXPECT_EQ(0, opens("empty"));

  fresh("isdir");
  remove(dir.file("isdir-1").c_str());
  mkdir(dir.file("isdir-1").c_str(), 0755);
  EXPECT_EQ(0, opens("isdir"));

  mkdir(dir.file("infodir-info").c_str(), 0755);
  EXPECT_EQ(0, opens("infodir"));

  // An empty file beyond the content is what an interrupted expand leaves:
  // it is brought to full size and the store opens.
  fresh("leftover");
  ks_test::WriteFile(dir.file("leftover-3"), "");
  {
    BlockFiles s(14, nullptr, false, false);
    ASSERT_EQ(1, s.openFiles(dir.path().c_str(), "leftover"));
    EXPECT_EQ(4, s.blockNumber());
    unsigned int len = 0;
    s.getBlockAddress(2, len);
    EXPECT_EQ(8000u, len);  // the content ends in file 2, not in the spare file
    s.getBlockAddress(3, len);
    EXPECT_EQ(0u, len);
    std::string rec(16000, 'z');
    EXPECT_EQ(3 << 14, s.append(rec.data(), 16000));
    EXPECT_EQ(4, s.blockNumber());
  }
}

}  // namespace
}  // namespace mobile_search
