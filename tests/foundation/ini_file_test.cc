#include "foundation/ini_file.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "test_util.h"

namespace mobile_search {
namespace {

using ks_test::FileExists;
using ks_test::ReadFile;
using ks_test::TempDir;
using ks_test::WriteFile;

// The document as "[section]key=value;..." text, for compact comparisons.
std::string dump(const ini_ctx_t* ctx) {
  std::string out;
  for (int i = 0; i < ini_ctx_section_num(ctx); ++i) {
    const ini_section_t* s = ini_ctx_get_section(ctx, i);
    out += "[" + std::string(s->name->data, s->name->len) + "]";
    for (unsigned j = 0; j < s->items->count; ++j) {
      const ini_item_t* item = slot_as<ini_item_t>(s->items->items[j]);
      out += std::string(item->key->data) + "=" + item->value->data + ";";
    }
  }
  return out;
}

ini_ctx_t* load_text(const TempDir& dir, const std::string& text) {
  std::string path = dir.file("doc.cfg");
  EXPECT_TRUE(WriteFile(path, text));
  return ini_load_from_file(path.c_str());
}

TEST(IniFile, LoaderRules) {
  TempDir dir;
  const std::string long_value(1021, 'v');
  const std::string text =
      "orphan=1\n[a]\nx=1\n"       // before any header: dropped
      "  k = v  \t\n"               // trimmed on both sides of the '='
      "=v\nk2=\na=b=c\n"            // empty key, empty value: dropped
      ";c=1\n# plain words\n"       // no comment syntax
      "k=dup\n"                     // duplicate key, kept
      "[a]\ny=2\n"                  // repeated header: its lines are dropped
      "[ b ]\n"                     // the name keeps its blanks
      "z=" + long_value + "j=w\n"   // 1023-byte piece, then "j=w\n"
      "[c]\nm=1\nn=2";              // three bytes without a newline: dropped
  ini_ctx_t* ctx = load_text(dir, text);
  ASSERT_NE(nullptr, ctx);
  EXPECT_EQ("[a]x=1;k=v;a=b=c;;c=1;k=dup;[ b ]z=" + long_value + ";j=w;[c]m=1;", dump(ctx));
  EXPECT_STREQ("v", ini_ctx_get_val(ctx, "a", "k"));  // first of the duplicates
  EXPECT_EQ(0, ctx->modified);
  ini_ctx_free(ctx);
  // The same short last line with a newline is read; a header naming an empty
  // section cannot be created, so that load fails.
  ctx = load_text(dir, "[c]\nn=2\n");
  EXPECT_STREQ("2", ini_ctx_get_val(ctx, "c", "n"));
  ini_ctx_free(ctx);
  EXPECT_EQ(nullptr, load_text(dir, "[c]\n[]  \nn=2\n"));
}

TEST(IniFile, SettingMarksTheDocumentAndOnlyAMarkedOrForcedSaveWrites) {
  TempDir dir;
  const std::string path = dir.file("doc.cfg");
  ini_ctx_t* ctx = ini_load_from_file(path.c_str());  // missing: an empty document
  ASSERT_NE(nullptr, ctx);
  EXPECT_EQ(-1, ini_ctx_section_add_item(ctx, "a", "k", ""));  // new key, empty value
  EXPECT_EQ(1, ini_ctx_section_num(ctx));  // the section was made on the way
  EXPECT_EQ(1, ini_ctx_section_add_item(ctx, "a", "k", "1"));
  EXPECT_EQ(1, ini_ctx_add_section(ctx, "bare"));
  EXPECT_EQ(0, ini_ctx_add_section(ctx, "bare"));
  EXPECT_EQ(1, ini_ctx_add_section(ctx, "gone"));
  EXPECT_EQ(1, ini_ctx_section_add_item(ctx, "b", "x", "y"));
  EXPECT_EQ(1, ini_ctx_section_add_item(ctx, "n", "i", -17));
  EXPECT_EQ(1, ini_ctx_section_add_item(ctx, "n", "ll", 9000000000LL));
  // The raw append does not look for the key; it, an equal value and removals
  // leave the document unmarked, so an unforced save writes nothing.
  ctx->modified = 0;
  EXPECT_EQ(0, ini_section_add_item(ini_ctx_get_section(ctx, 0), "k", "2"));
  EXPECT_EQ(0, ini_ctx_section_add_item(ctx, "b", "x", "y"));
  EXPECT_EQ(0, ini_ctx_remove_section(ctx, "gone"));
  EXPECT_EQ(0, ini_ctx_remove_section(ctx, "never"));
  EXPECT_EQ(0, ini_ctx_save(ctx, false));
  EXPECT_FALSE(FileExists(path));
  EXPECT_EQ(0, ini_ctx_save(ctx, true));
  EXPECT_EQ("[a]\nk=1\nk=2\n[bare]\n[b]\nx=y\n[n]\ni=-17\nll=9000000000\n", ReadFile(path));
  EXPECT_EQ(1, ini_ctx_section_add_item(ctx, "b", "x", ""));  // emptied
  EXPECT_EQ(0, ini_ctx_save(ctx, false));
  EXPECT_EQ(1, ctx->modified);  // saving does not clear it
  EXPECT_EQ("[a]\nk=1\nk=2\n[bare]\n[b]\nx=\n[n]\ni=-17\nll=9000000000\n", ReadFile(path));
  EXPECT_EQ(nullptr, ini_ctx_get_val(ctx, "B", "x"));  // case-sensitive
  ini_ctx_free(ctx);
  ctx = ini_load_from_file(path.c_str());
  EXPECT_EQ("[a]k=1;k=2;[bare][b][n]i=-17;ll=9000000000;", dump(ctx));  // x= is dropped
  ini_ctx_free(ctx);
  // A directory cannot be opened for update: it loads empty and cannot be saved.
  ctx = ini_load_from_file(dir.path().c_str());
  EXPECT_EQ(0, ini_ctx_section_num(ctx));
  EXPECT_EQ(-1, ini_ctx_save(ctx, true));
  ini_ctx_free(ctx);
}

// A process killed while it saves leaves the old text or the new one, never a
// truncated or empty file, and nothing beside it but a stale temporary file.
TEST(IniFile, AKilledSaveLeavesTheOldOrTheNewText) {
  TempDir dir;
  const std::string path = dir.file("Table.cfg");
  auto text = [](int version) {
    std::string t;
    for (int s = 0; s < 400; ++s) {
      t += "[table_" + std::to_string(s) + "]\nmax_rowid=" + std::to_string(version * 1000 + s) + "\n";
    }
    return t;
  };
  const std::string a = text(1), b = text(2);
  ASSERT_TRUE(WriteFile(path, a));
  std::mt19937 rng(7);
  for (int round = 0; round < 40; ++round) {
    pid_t pid = fork();
    if (pid == 0) {
      ini_ctx_t* ctx = ini_load_from_file(path.c_str());
      for (int v = 0;; v ^= 1) {
        for (int s = 0; s < 400; ++s) {
          ini_ctx_section_add_item(ctx, ("table_" + std::to_string(s)).c_str(), "max_rowid", (v + 1) * 1000 + s);
        }
        ini_ctx_save(ctx, false);
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200 + rng() % 20000));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    std::string now = ReadFile(path);
    ASSERT_TRUE(now == a || now == b) << "round " << round << ": " << now.size() << " bytes";
  }
}

}  // namespace
}  // namespace mobile_search
