// Tokenizer throughput: tokens per second for long chat-like messages (the
// long-word tokenizer) and for contact names (the short-word tokenizer with
// pinyin), plus whole field indexing into a real index in a temp directory.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "foundation/dynamic_array.h"
#include "foundation/file_util.h"
#include "storage/index_manager.h"
#include "text/token_parser.h"

namespace {

using mobile_search::_DArray;

const char* const kChatLines[] = {
    "明天下午三点在公司楼下的咖啡店见面，记得带上合同和发票。",
    "ok see you at 3pm, don't forget the contract!",
    "今天的会议改到周五了，@所有人 请注意时间安排 😀",
    "我已经把文件发到你的邮箱 zhang.san@example.com 了，查收一下",
    "Flight CA1234 delayed 2 hours 航班延误两小时，晚上九点才到",
    "周末一起去爬山吗？天气预报说是晴天，温度二十度左右。",
};

const char* const kNames[] = {
    "张三", "李四", "王小明", "欧阳娜娜", "Tom 汤姆", "陈思思", "刘德华", "诸葛孔明",
    "Alice Wang", "黄晓明", "赵丽颖", "司马相如", "周杰伦", "林俊杰", "Bob", "曾小贤",
};

std::string ChatText(size_t chars) {
  std::string text;
  for (size_t i = 0; text.size() < chars * 2; ++i) {
    text += kChatLines[i % (sizeof(kChatLines) / sizeof(kChatLines[0]))];
    text += ' ';
  }
  return text;
}

void RunTokenizer(benchmark::State& state, const std::vector<std::string>& texts,
                  mobile_search::TokenStyle style) {
  mobile_search::TokenParser parser;
  _DArray* out = mobile_search::darray_create(nullptr, false);
  size_t tokens = 0;
  for (auto _ : state) {
    for (const std::string& t : texts) {
      mobile_search::darray_clean(out);
      parser.wordTokenizer(t.c_str(), out, style);
      tokens += mobile_search::darray_length(out);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(tokens));
  state.counters["tokens/s"] = benchmark::Counter(static_cast<double>(tokens),
                                                  benchmark::Counter::kIsRate);
  mobile_search::darray_destroy(out);
}

void BM_LongChatText(benchmark::State& state) {
  RunTokenizer(state, {ChatText(static_cast<size_t>(state.range(0)))},
               mobile_search::TOKEN_STYLE_LONG);
}
BENCHMARK(BM_LongChatText)->Arg(200)->Arg(1500);

void BM_Names(benchmark::State& state) {
  RunTokenizer(state, std::vector<std::string>(std::begin(kNames), std::end(kNames)),
               mobile_search::TOKEN_STYLE_SHORT);
}
BENCHMARK(BM_Names);

// Tokenizing plus merging and adding the postings (autosave off).
void BM_FieldIndexing(benchmark::State& state) {
  char dir[] = "/tmp/ks_tokenizer_bench_XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    state.SkipWithError("mkdtemp failed");
    return;
  }
  {
    mobile_search::IndexManager index;
    index.open(dir, "idx");
    index.setAutoSave(false);
    mobile_search::TokenParser parser;
    const std::string chat = ChatText(300);
    int doc = 0;
    for (auto _ : state) {
      parser.fieldTokenizer(doc, 0, chat.c_str(), false, false, false, &index);
      parser.fieldTokenizer(doc, 1, kNames[doc % 16], true, false, false, &index);
      ++doc;
    }
    state.SetItemsProcessed(doc);
    index.close();
  }
  remove_dir(dir);
}
BENCHMARK(BM_FieldIndexing);

}  // namespace

BENCHMARK_MAIN();
