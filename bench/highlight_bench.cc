// Cost of highlighting on the worst inputs we can construct.
//
// The pinyin search compares every way of spelling the query with the
// characters' readings: on a text of one repeated character read "a" and a
// query of "a"s, the plain recursion would branch at every character. The
// dynamic program does characters x letters work, within the cell budget.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "text/highlight.h"

namespace mobile_search {
namespace {

std::string Repeat(const std::string& s, size_t bytes) {
  std::string r;
  while (r.size() < bytes) r += s;
  return r;
}

// highlight_pinyins_en alone: N characters read "a", a word of W "a"s.
void BM_PinyinSearchAllSame(benchmark::State& state) {
  const int n = (int)state.range(0);
  const std::string word(state.range(1), 'a');
  char reading[] = "a";
  std::vector<hl_pinyin_char_t> chars;
  for (int i = 0; i < n; ++i) chars.push_back({reading, 1, i * 3, 3});
  for (auto _ : state) {
    _DArray* pos = darray_create(nullptr, false);
    benchmark::DoNotOptimize(highlight_pinyins_en(chars.data(), n, 0, word.c_str(), 0, pos));
    darray_destroy(pos);
  }
}
BENCHMARK(BM_PinyinSearchAllSame)
    ->Args({30, 30})
    ->Args({1000, 200})
    ->Args({4096, 200})
    ->Unit(benchmark::kMillisecond);

// The whole abstract on 100 KB of one character and a 200-letter query.
// 啊 reads "a": 199 "a"s and a "b" make the best-spelling stage fill its whole
// table. 庄 reads "zhuang", and a query starting "zhua" that no reading
// starts sends both calls through every stage, the last being the loose one,
// whose table it also fills because six leading parts of the reading match
// at every syllable start; the final "x" leaves it without a spelling.
void BM_AbstractPinyinWorstCase(benchmark::State& state) {
  const bool longReading = state.range(1) != 0;
  const std::string text = Repeat(longReading ? "庄" : "啊", (size_t)state.range(0));
  const std::string query =
      longReading ? "zhua" + Repeat("zhuang", 32) + "zx" : std::string(199, 'a') + "b";
  for (auto _ : state) {
    int hit = 0;
    char* s = highLight_Abstract(text.c_str(), query.c_str(), 50, hit);
    benchmark::DoNotOptimize(s);
    free(s);
  }
}
BENCHMARK(BM_AbstractPinyinWorstCase)
    ->Args({1024, 0})
    ->Args({100 * 1024, 0})
    ->Args({100 * 1024, 1})
    ->Unit(benchmark::kMillisecond);

// A Chinese query of 200 or 2,000 characters found only at the end of a
// 100 KB text made of the same phrase with its last character changed: every
// piece of up to six characters occurs at once, every longer one only at the
// end, so many searches scan the whole text. Runs of more than 256 characters
// are matched 256 at a time.
void BM_AbstractChineseRunWorstCase(benchmark::State& state) {
  const std::string filler = Repeat("天安门北京上说", 100 * 1024);
  const size_t queryBytes = (size_t)state.range(0) * 3;
  const std::string query = Repeat("天安门北京上海", queryBytes).substr(0, queryBytes);
  const std::string text = filler + query;
  for (auto _ : state) {
    int hit = 0;
    char* s = highLight_Abstract(text.c_str(), query.c_str(), 50, hit);
    benchmark::DoNotOptimize(s);
    free(s);
  }
}
BENCHMARK(BM_AbstractChineseRunWorstCase)->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond);

// A typical call: a chat message and a short initials query.
void BM_AbstractTypical(benchmark::State& state) {
  const char* text = "明天下午三点我和张三丰在公司楼下的咖啡店见面，记得带上合同和发票。";
  for (auto _ : state) {
    int hit = 0;
    char* s = highLight_Abstract(text, "zsf", 20, hit);
    benchmark::DoNotOptimize(s);
    free(s);
  }
}
BENCHMARK(BM_AbstractTypical)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace mobile_search

BENCHMARK_MAIN();
