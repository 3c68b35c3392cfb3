// A message index whose table moved to a second group half way through its
// history (the host re-registers the index under a new group name): every
// search then merges the older group's result into the newer one's, settling
// the keys both return and merging the entries by weight.
//
//   BM_TwoGroups/<class>/<num>   single characters and two-character words,
//                                first page (20) or every hit (65535)
//
// KS_GROUPS_DOCS sets the messages per group (default 50,000).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_clock.h"
#include "bench/search_corpus.h"
#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "search/searcher.h"

namespace ks_bench {
namespace {

constexpr const char* kDb = "chat.db";

struct TwoGroups {
  std::string root = MakeTempDir("kestrin-groups");
  mobile_search::Searcher searcher;
  size_t per_group = 50000;

  TwoGroups() {
    if (const char* docs = getenv("KS_GROUPS_DOCS")) per_group = strtoul(docs, nullptr, 10);
    searcher.open(root.c_str(), 0);
    MessageGenerator messages(kMessageSeed);
    size_t key = 0;
    for (const char* group : {"message_2025", "message_2026"}) {
      searcher.addIndex("message", kDb, "message", "msgId", "content", "", "", "", "", group);
      searcher.setAutoSave("message", false);
      for (size_t i = 0; i < per_group; ++i) {
        const std::string text = messages.Next(), id = std::to_string(key++);
        const char* values[] = {text.c_str()};
        searcher.addDoc("message", kDb, "message", id.c_str(), 1, const_cast<char**>(values));
        if (i % kSaveEvery == 0) searcher.save();
      }
      searcher.save();
    }
  }
  ~TwoGroups() { remove_dir(root.c_str()); }
};

TwoGroups& Index() {
  static TwoGroups index;
  return index;
}

void BM_TwoGroups(benchmark::State& state, QueryClass cls) {
  TwoGroups& index = Index();
  const int num = static_cast<int>(state.range(0));
  const std::vector<std::string> queries = MakeQueries(cls, 50, kMessageSeed, index.per_group, 1, 0);
  std::vector<double> ms;
  double returned = 0;
  for (auto _ : state) {
    for (const std::string& q : queries) {
      const double t0 = Seconds(CLOCK_MONOTONIC);
      char* json = index.searcher.doSearch("message", nullptr, q.c_str(), 0, num, false);
      ms.push_back((Seconds(CLOCK_MONOTONIC) - t0) * 1000.0);
      const char* at = json == nullptr ? nullptr : strstr(json, "\"docs_return\":");
      if (at != nullptr) returned += atof(at + 14);
      free(json);
    }
  }
  std::sort(ms.begin(), ms.end());
  if (ms.empty()) return;
  state.counters["p50_ms"] = ms[ms.size() / 2];
  state.counters["p99_ms"] = ms[std::min(ms.size() - 1, ms.size() * 99 / 100)];
  state.counters["mean_returned"] = returned / static_cast<double>(ms.size());
}

BENCHMARK_CAPTURE(BM_TwoGroups, chinese_single, kChineseSingle)->Arg(20)->Arg(65535)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TwoGroups, chinese_2, kChinese2)->Arg(20)->Arg(65535)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ks_bench

BENCHMARK_MAIN();
