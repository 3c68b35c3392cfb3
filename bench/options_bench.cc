// What the text options cost at indexing: bytes per message on disk,
// postings per message and messages indexed per CPU second, per option, on
// the chat corpus of search_bench (bench/search_corpus.h) with a phone number
// in 10% of the messages.
//
//   BM_IndexWithOptions/<options>   one fresh root per option set, the
//                                   messages added like a table scan does
//                                   (auto-save off, a save every 50); only the
//                                   engine calls are timed
//
// Counters: docs_per_cpu_s, bytes_per_doc (the group directory),
// postings_per_doc, and growth_pct / postings_growth_pct: bytes and postings
// against the run without options (run first). Files grow in blocks of 2 MiB,
// so postings measure small differences better than bytes. KS_BENCH_MESSAGES sets the corpus size (default
// 100000).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/search_corpus.h"
#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "search/group_searcher.h"
#include "search/searcher.h"
#include "storage/index_manager.h"

namespace ks_bench {
namespace {

using mobile_search::Searcher;

constexpr uint32_t kMessageSeed = 20261122;
constexpr uint32_t kPhoneSeed = 11;
constexpr int kSaveEvery = 50;
constexpr const char* kIndex = "message";

double CpuSeconds() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// The corpus, made once: one message in ten ends with a mobile number.
const std::vector<std::string>& Messages() {
  static const std::vector<std::string> messages = [] {
    const char* env = getenv("KS_BENCH_MESSAGES");
    const size_t n = env != nullptr ? strtoul(env, nullptr, 10) : 100000;
    MessageGenerator gen(kMessageSeed);
    std::mt19937 rng(kPhoneSeed);
    std::vector<std::string> out;
    out.reserve(n);
    for (size_t i = 0; i < n; ++i) {
      std::string m = gen.Next();
      if (rng() % 10 == 0)
        m += " 1" + std::to_string(30 + rng() % 60) + std::to_string(10000000 + rng() % 90000000);
      out.push_back(std::move(m));
    }
    return out;
  }();
  return messages;
}

double g_plain_bytes = 0;
double g_plain_postings = 0;

void BM_IndexWithOptions(benchmark::State& state,
                         std::vector<std::pair<const char*, const char*>> options) {
  const std::vector<std::string>& messages = Messages();
  for (auto _ : state) {
    const std::string root = MakeTempDir("kestrin-options");
    double cpu = 0;
    double bytes = 0;
    double postings = 0;
    {
      Searcher searcher;
      bool ok = !root.empty() && searcher.open(root.c_str(), 0) == 0;
      for (const auto& o : options) ok = ok && searcher.setOption(o.first, o.second) == 0;
      ok = ok && searcher.addIndex(kIndex, "chat.db", "message", "msgId", "content", "", "", "", "",
                                   kIndex) == 0;
      if (!ok) {
        state.SkipWithError("engine refused the set-up");
        break;
      }
      searcher.setAutoSave(kIndex, false);
      const double cpu0 = CpuSeconds();
      for (size_t i = 0; i < messages.size(); ++i) {
        const std::string key = std::to_string(i);
        const char* values[] = {messages[i].c_str()};
        searcher.addDoc(kIndex, "chat.db", "message", key.c_str(), 1, const_cast<char**>(values));
        if ((i + 1) % kSaveEvery == 0) searcher.save(kIndex);
      }
      searcher.save(kIndex);
      cpu = CpuSeconds() - cpu0;
      bytes = static_cast<double>(get_dir_total_bytes((root + "/allin_" + kIndex).c_str()));
      postings = searcher.getGroupSearcher(kIndex)->getIndexMgr()->index_mgr->get_max_pos();
      searcher.close();
    }
    remove_dir(root.c_str());
    state.SetIterationTime(cpu);
    const double n = static_cast<double>(messages.size());
    if (options.empty()) {
      g_plain_bytes = bytes;
      g_plain_postings = postings;
    }
    state.counters["docs_per_cpu_s"] = n / cpu;
    state.counters["bytes_per_doc"] = bytes / n;
    state.counters["postings_per_doc"] = postings / n;
    if (g_plain_bytes > 0) {
      state.counters["growth_pct"] = (bytes / g_plain_bytes - 1) * 100;
      state.counters["postings_growth_pct"] = (postings / g_plain_postings - 1) * 100;
    }
  }
}

BENCHMARK_CAPTURE(BM_IndexWithOptions, none, {})->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexWithOptions, utf8_full, {{"utf8", "full"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexWithOptions, infix_digits_4, {{"infix_digits", "4"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexWithOptions, fold_simplified, {{"fold", "simplified"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexWithOptions, all_three,
                  {{"utf8", "full"}, {"infix_digits", "4"}, {"fold", "simplified"}})
    ->Iterations(1)
    ->UseManualTime();

}  // namespace
}  // namespace ks_bench

BENCHMARK_MAIN();
