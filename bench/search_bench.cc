// Search engine benchmarks through Searcher on a generated chat-like corpus:
// short messages (about 30 characters) of mixed Chinese, Latin words and
// digits, skewed toward the most common characters, with a pinyin-searchable
// sender name per message.
//
//   BM_BulkAdd        addDoc with auto-save off, the group saved every 50 rows
//   BM_AddAutoSave    addDoc with auto-save on (every row written back)
//   BM_Query/<class>  query latency over a 20,000-row corpus, per query class
//
// Everything lives under one temporary root (the configuration registry keeps
// one manager per root): each benchmark uses its own index and group.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "foundation/file_util.h"
#include "search/searcher.h"

namespace mobile_search {
namespace {

constexpr int kCorpusRows = 20000;
constexpr int kSaveEvery = 50;

// Characters of everyday chat, most frequent first; drawn with weight
// 1 / (rank + 1) so that 的, 我, 是 dominate as they do in real messages.
const char* const kCommonChars[] = {
    "的", "我", "是", "了", "你", "不", "在", "有", "人", "这", "一", "个", "们", "好",
    "来", "到", "说", "就", "去", "要", "也", "上", "看", "会", "吗", "吧", "呢", "他",
    "她", "什", "么", "没", "天", "时", "候", "还", "能", "想", "知", "道", "今", "明",
    "晚", "饭", "吃", "家", "工", "作", "开", "发", "下", "班", "点", "过", "给", "等",
    "对", "那", "多", "少", "很", "再", "见", "车", "路", "钱", "买", "东", "西", "周",
    "末", "早", "回", "事", "情", "问", "题", "谢", "朋", "友", "话", "电", "快", "慢"};
// Whole phrases mixed in so that multi-character queries have real hits.
const char* const kPhrases[] = {"我们", "今天晚上", "开会", "吃饭", "明天", "周末",
                                "好的", "谢谢", "没问题", "下班", "电话"};
const char* const kLatinWords[] = {"ok", "hi", "hello", "meeting", "lunch", "zoom",
                                   "wechat", "pdf", "ppt", "email", "link", "bug",
                                   "review", "deploy", "iphone", "taxi"};
const char* const kSurnames[] = {"张", "王", "李", "刘", "陈", "杨", "赵", "黄", "周", "吴"};
const char* const kGivenNames[] = {"伟", "芳", "娜", "敏", "静", "丽", "强", "磊", "军",
                                   "洋", "勇", "艳", "杰", "涛", "明"};

template <typename T, size_t N>
constexpr size_t Count(const T (&)[N]) {
  return N;
}

class CorpusGenerator {
 public:
  explicit CorpusGenerator(uint32_t seed) : rng_(seed) {
    std::vector<double> weights;
    for (size_t i = 0; i < Count(kCommonChars); ++i) weights.push_back(1.0 / (i + 1));
    char_dist_ = std::discrete_distribution<size_t>(weights.begin(), weights.end());
  }

  std::string Name() {
    std::string name = kSurnames[Pick(Count(kSurnames))];
    const int given = 1 + static_cast<int>(Pick(2));
    for (int i = 0; i < given; ++i) name += kGivenNames[Pick(Count(kGivenNames))];
    return name;
  }

  // About 30 characters of runs of Chinese, Latin words, digits, spaces.
  std::string Message() {
    std::string text;
    int chars = 0;
    const int target = 24 + static_cast<int>(Pick(13));
    while (chars < target) {
      const size_t kind = Pick(20);
      if (kind < 12) {
        const int run = 2 + static_cast<int>(Pick(5));
        for (int i = 0; i < run; ++i) text += kCommonChars[char_dist_(rng_)];
        chars += run;
      } else if (kind < 15) {
        const std::string phrase = kPhrases[Pick(Count(kPhrases))];
        text += phrase;
        chars += static_cast<int>(phrase.size() / 3);
      } else if (kind < 18) {
        const std::string word = kLatinWords[Pick(Count(kLatinWords))];
        text += " " + word + " ";
        chars += static_cast<int>(word.size()) + 2;
      } else {
        const std::string digits = std::to_string(Pick(2400));
        text += digits;
        chars += static_cast<int>(digits.size());
      }
    }
    return text;
  }

 private:
  size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

  std::mt19937 rng_;
  std::discrete_distribution<size_t> char_dist_;
};

class BenchRoot {
 public:
  BenchRoot() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kestrin-search-XXXXXX";
    path_.assign(pattern.begin(), pattern.end());
    path_.push_back('\0');
    if (mkdtemp(&path_[0]) == nullptr) path_[0] = '\0';
    ok_ = path_[0] != '\0' && searcher_.open(path(), 0) == 0;
  }
  ~BenchRoot() {
    searcher_.save();
    remove_dir(path());
  }
  const char* path() const { return path_.data(); }
  Searcher& searcher() { return searcher_; }
  bool ok() const { return ok_; }

  // Registers index `name` (one table "msg" of database "chat.db") in the
  // group of the same name.
  bool Register(const char* name) {
    return ok_ && searcher_.addIndex(name, "chat.db", "msg", "id", "sender,content",
                                     "", "sender", "", "", name) == 0;
  }

  int Add(const char* index, int key, const std::string& sender,
          const std::string& content) {
    const std::string pkey = std::to_string(key);
    const char* values[] = {sender.c_str(), content.c_str()};
    return searcher_.addDoc(index, "chat.db", "msg", pkey.c_str(), 2,
                            const_cast<char**>(values));
  }

 private:
  std::vector<char> path_;
  Searcher searcher_;
  bool ok_ = false;
};

BenchRoot& Root() {
  static BenchRoot root;
  return root;
}

struct Row {
  std::string sender;
  std::string content;
};

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = [] {
    CorpusGenerator gen(20261122);
    std::vector<Row> out;
    for (int i = 0; i < kCorpusRows; ++i) out.push_back({gen.Name(), gen.Message()});
    return out;
  }();
  return rows;
}

void BM_BulkAdd(benchmark::State& state) {
  BenchRoot& root = Root();
  static bool registered = root.Register("bulk");
  if (!registered) {
    state.SkipWithError("cannot register the index");
    return;
  }
  root.searcher().setAutoSave("bulk", false);
  static int next_key = 0;
  const std::vector<Row>& rows = Rows();
  for (auto _ : state) {
    const Row& row = rows[next_key % rows.size()];
    if (root.Add("bulk", next_key, row.sender, row.content) != 0) {
      state.SkipWithError("addDoc failed");
      break;
    }
    if (++next_key % kSaveEvery == 0) root.searcher().save("bulk");
  }
  root.searcher().save("bulk");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BulkAdd)->Unit(benchmark::kMicrosecond);

void BM_AddAutoSave(benchmark::State& state) {
  BenchRoot& root = Root();
  static bool registered = root.Register("single");
  if (!registered) {
    state.SkipWithError("cannot register the index");
    return;
  }
  static int next_key = 0;
  const std::vector<Row>& rows = Rows();
  for (auto _ : state) {
    const Row& row = rows[next_key % rows.size()];
    if (root.Add("single", next_key++, row.sender, row.content) != 0) {
      state.SkipWithError("addDoc failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AddAutoSave)->Unit(benchmark::kMicrosecond);

// The query corpus: every generated row, added once in bulk.
bool QueryCorpus() {
  static const bool ready = [] {
    BenchRoot& root = Root();
    if (!root.Register("query")) return false;
    root.searcher().setAutoSave("query", false);
    const std::vector<Row>& rows = Rows();
    for (size_t i = 0; i < rows.size(); ++i) {
      if (root.Add("query", static_cast<int>(i), rows[i].sender, rows[i].content) != 0) {
        return false;
      }
    }
    return root.searcher().save("query") != -1;
  }();
  return ready;
}

struct QueryClass {
  const char* name;
  std::vector<const char*> queries;
};

const QueryClass kQueryClasses[] = {
    {"full_pinyin", {"zhangwei", "wangfang", "liuqiang", "chenjing"}},
    {"pinyin_prefix", {"zhangw", "wangf", "liuq", "chenj"}},
    {"initials", {"zw", "wf", "lq", "cj"}},
    {"latin_prefix", {"mee", "lun", "hel", "rev"}},
    {"chinese_2to4", {"我们", "开会", "今天晚上", "没问题"}},
    {"chinese_single", {"的", "我", "是", "吃"}},
};

void BM_Query(benchmark::State& state) {
  if (!QueryCorpus()) {
    state.SkipWithError("cannot build the query corpus");
    return;
  }
  const QueryClass& cls = kQueryClasses[state.range(0)];
  state.SetLabel(cls.name);
  Searcher& searcher = Root().searcher();
  size_t i = 0;
  size_t bytes = 0;
  for (auto _ : state) {
    char* json = searcher.doSearch("query", nullptr, cls.queries[i++ % cls.queries.size()],
                                   0, 20, false);
    if (json != nullptr) {
      bytes += strlen(json);
      free(json);
    }
  }
  state.counters["json_bytes"] =
      benchmark::Counter(static_cast<double>(bytes), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_Query)->DenseRange(0, 5)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace mobile_search

BENCHMARK_MAIN();
