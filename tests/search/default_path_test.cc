// The engine with no option set, pinned byte for byte on a corpus full of the
// text the engine options treat differently: characters the decoder rejects
// (é, ·, °), symbols, emoji, CJK Extension B, malformed bytes, phone
// numbers, traditional and full-width characters. Every file of the root,
// every JSON text, abstract and log line is digested; the digests were taken
// before the options existed, so an option leaking into the default path
// shows up here. The failure message prints the digests.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "foundation/hash.h"
#include "foundation/logging.h"
#include "searcher_fixture.h"
#include "text/highlight.h"

namespace mobile_search {
namespace {

// clang-format off
const char* const kPieces[] = {
    "我们", "今天", "列夫·托尔斯泰", "爱", "愛", "國家", "国家", "電話", "张三", "張三", "café", "naïve", "hello",
    "meeting", "13812345678", "5678", "2024", "10086", "25°C", "«ok»", "ñandú", "①", "℃", "，",
    "。", "（注）", "ＡＢＣ", "１２３", "！", "👍", "😀", "𠀀𠀁", "привет", "한국", "かな", ("x\xC3" "y"), "\xFF",
    ("a\x80" "b"), "Ａｌｉｃｅ", "#tag", "e-mail", "138-1234-5678"};
const int kPieceCount = sizeof(kPieces) / sizeof(kPieces[0]);
const char* const kNames[] = {
    "张三", "張三", "列夫·托尔斯泰", "李四", "José", "Ａｌｉｃｅ", "王五"};

const char* const kQueries[] = {
    "张三", "張三", "爱", "愛", "托尔斯泰", "列夫·托", "café", "caf", "5678", "138", "1381", "ＡＢＣ", "abc",
    "123", "zhangsan", "zs", "👍", "𠀀", "привет", "naïve", "25°C", "°", "·", "國家", "电话", "alice",
    "e-mail", ("x\xC3" "y")};
// clang-format on

uint32_t Crc(const std::string& s, uint32_t seed = 0) {
  return crc32(s.data(), static_cast<unsigned int>(s.size()), seed);
}

// Relative path -> "size:crc" of every file below dir.
void Files(const std::string& root, const std::string& rel,
           std::map<std::string, std::string>* out) {
  DIR* d = opendir((root + rel).c_str());
  if (d == nullptr) return;
  while (dirent* e = readdir(d)) {
    const std::string name = e->d_name;
    if (name == "." || name == "..") continue;
    struct stat st;
    const std::string path = rel + "/" + name;
    if (stat((root + path).c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode)) {
      Files(root, path, out);
    } else {
      const std::string bytes = ks_test::ReadFile(root + path);
      (*out)[path] = std::to_string(bytes.size()) + ":" + std::to_string(Crc(bytes));
    }
  }
  closedir(d);
}

std::string g_log;

class DefaultPathTest : public SearcherFixture {
 protected:
  void SetUp() override {
    g_log.clear();
    set_log_cb_func([](const char* text) { return g_log += text, 0; });
    set_log_level_func(
        [](SEARCH_LOG_LEVEL level, const char* text) { g_log += std::to_string(level) + text; });
    set_log_level(SEARCH_LOG_INFO);
    SearcherFixture::SetUp();
  }
  void TearDown() override {
    set_log_cb_func(nullptr);
    set_log_level_func(nullptr);
    set_log_level(SEARCH_LOG_WARN);
  }
};

TEST_F(DefaultPathTest, FilesJsonAbstractsAndLogLinesAreUnchanged) {
  uint32_t state = 2463534242u;
  auto below = [&state](int n) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<int>(state % static_cast<uint32_t>(n));
  };
  std::vector<std::string> texts;
  for (int i = 0; i < 400; ++i) {
    std::string text;
    for (int j = 0, n = 1 + below(10); j < n; ++j) {
      // One draw per statement: the order of draws within an expression
      // would be the compiler's choice.
      const char* piece = kPieces[below(kPieceCount)];
      text += std::string(below(3) == 0 ? " " : "") + piece;
    }
    texts.push_back(text);
    const std::string key = std::to_string(i);
    const char* tag = below(4) ? "" : kPieces[below(kPieceCount)];
    const char* name = kNames[below(7)];
    ASSERT_EQ(0, Add(i % 3 ? "message" : "contact", key, name, text, tag));
  }
  // Changes and deletions, so that both touch the same text.
  for (int i = 0; i < 400; i += 7)
    Add(i % 3 ? "message" : "contact", std::to_string(i), "李四", texts[399 - i]);
  for (int i = 0; i < 400; i += 11)
    searcher_.delDoc(kIndex, kDb, i % 3 ? "message" : "contact", std::to_string(i).c_str());
  ASSERT_EQ(0, searcher_.save());

  uint32_t json = 0;
  uint32_t abstracts = 0;
  for (const char* q : kQueries) {
    json = Crc(Search(q) + Search(q, "name", 0, 5) + Search(q, "content", 3, 4), json);
    for (int t = 0; t < 40; ++t) {
      int hit = -1;
      const std::string a = Take(highLight_Abstract(texts[t].c_str(), q, 12, hit));
      abstracts = Crc(a + std::to_string(hit), abstracts);
    }
  }
  std::map<std::string, std::string> files;
  Files(dir_.path(), "", &files);
  std::string listing;
  // The log and key info files hold no data here and come out empty or as
  // four zero bytes depending on the compiler: left out.
  files.erase("/allin/log-info");
  files.erase("/allin/pKey-info");
  for (const auto& f : files) listing += f.first + "=" + f.second + "\n";
  // The root's name is the only thing that differs between runs.
  for (size_t at; (at = g_log.find(dir_.path())) != std::string::npos;) {
    g_log.replace(at, dir_.path().size(), "<root>");
  }

  EXPECT_EQ(
      "/IndexGroup.cfg=48:2431455772\n/IndexVersion.cfg=29:1092305919\n"
      "/MobileSearch.cfg=417:2536469871\n/Table.cfg=136:773811706\n"
      "/allin/id-0=2097152:4078860045\n/allin/id-info=4:1597394243\n"
      "/allin/idx_0/allin-0=2097152:2081715064\n/allin/idx_0/allin-info=4:747531831\n",
      listing)
      << "json " << json << " abstracts " << abstracts << " log " << Crc(g_log);
  EXPECT_EQ(1944694307u, json);
  EXPECT_EQ(4191054717u, abstracts);
  EXPECT_EQ(2643048150u, Crc(g_log)) << g_log;
}

}  // namespace
}  // namespace mobile_search
