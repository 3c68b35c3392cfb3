// Search engine speed and memory through Searcher, on the generated chat
// corpus of bench/search_corpus.h: a message index (one long-text field) and
// a contact index (one pinyin-searchable name field), each in its own group
// under one root (the process keeps one configuration manager per root, and
// opening a second root would release the first).
//
//   BM_IndexContacts              the contacts, added in bulk
//   BM_BulkIndex/messages:N       grows the message index to N messages with
//                                 auto-save off and a save every 50 messages
//                                 (what a table scan does)
//   BM_AddAutoSave/messages:N     one message with auto-save on (what the
//                                 change hook does), at an index of N
//   BM_QueryWhileAdding/messages:N        p99 of searches while 2,000 messages
//   BM_QueryWhileHookedInserts/messages:N arrive (addDoc, or host inserts
//                                 through the change hook) against none
//   BM_Query/<class>/messages:N   search latency per query class (names run
//                                 against the contacts, the rest against the
//                                 messages), first page of 20 hits
//
// The sizes come from the environment, so that the default run takes a few
// minutes and the million-message run is asked for explicitly:
//   KS_BENCH_SIZES     message index sizes, ascending (default "100000")
//   KS_BENCH_CONTACTS  contacts (default 100000)
//   KS_BENCH_QUERIES   distinct queries per class (default 50)
//   KS_BENCH_REPEAT    runs of each query (default 3)
//   KS_BENCH_AUTOSAVE  auto-saved messages per size (default 2000)
//   KS_BENCH_SYNC      1: synchronous writes (every save flushed to the device)
//   KS_BENCH_ROOT      keep the indexes in this directory instead of a
//                      temporary one; when it already holds a finished corpus,
//                      open it and run only the queries (peak_rss_mb then
//                      covers opening the index and querying it)
//
// Latency figures are wall clock per call; the counters p50/p99 are
// percentiles over all calls of the benchmark, cpu_* counters are the
// benchmark thread's CPU time.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_clock.h"
#include "bench/hooked_chat.h"
#include "bench/search_corpus.h"
#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "search/searcher.h"

namespace ks_bench {
namespace {

using mobile_search::Searcher;

constexpr uint32_t kContactSeed = 7;
constexpr size_t kGenerateBatch = 10000;
constexpr int kPageSize = 20;
constexpr const char* kMessageIndex = "message";
constexpr const char* kContactIndex = "contact";
constexpr const char* kDb = "chat.db";
constexpr const char* kCorpusMarker = "/corpus.txt";

struct Settings {
  std::vector<size_t> sizes;
  size_t contacts = 100000;
  size_t queries = 50;
  size_t repeat = 3;
  size_t autosave = 2000;
  bool sync = false;
  std::string keep_root;
};

size_t EnvSize(const char* name, size_t fallback) {
  const char* v = getenv(name);
  return v != nullptr && *v != '\0' ? strtoull(v, nullptr, 10) : fallback;
}

Settings ReadSettings() {
  Settings s;
  const char* sizes = getenv("KS_BENCH_SIZES");
  std::string list = sizes != nullptr && *sizes != '\0' ? sizes : "100000";
  for (size_t pos = 0; pos < list.size();) {
    const size_t comma = std::min(list.find(',', pos), list.size());
    const size_t n = strtoull(list.substr(pos, comma - pos).c_str(), nullptr, 10);
    if (n > 0 && (s.sizes.empty() || n > s.sizes.back())) s.sizes.push_back(n);
    pos = comma + 1;
  }
  s.contacts = EnvSize("KS_BENCH_CONTACTS", s.contacts);
  s.queries = std::max<size_t>(1, EnvSize("KS_BENCH_QUERIES", s.queries));
  s.repeat = std::max<size_t>(1, EnvSize("KS_BENCH_REPEAT", s.repeat));
  s.autosave = std::max<size_t>(1, EnvSize("KS_BENCH_AUTOSAVE", s.autosave));
  s.sync = EnvSize("KS_BENCH_SYNC", 0) != 0;
  const char* root = getenv("KS_BENCH_ROOT");
  if (root != nullptr) s.keep_root = root;
  return s;
}

// Nearest-rank percentile of `samples` (sorted in place).
double Percentile(std::vector<double>* samples, double p) {
  if (samples->empty()) return 0;
  std::sort(samples->begin(), samples->end());
  const size_t rank = static_cast<size_t>(std::ceil(p / 100.0 * static_cast<double>(samples->size())));
  return (*samples)[std::min(samples->size(), std::max<size_t>(rank, 1)) - 1];
}

void ReportLatency(benchmark::State& state, std::vector<double> seconds, double unit,
                   const char* suffix) {
  const std::string p50 = std::string("p50_") + suffix;
  const std::string p99 = std::string("p99_") + suffix;
  const std::string max = std::string("max_") + suffix;
  state.counters[p50] = Percentile(&seconds, 50) * unit;
  state.counters[p99] = Percentile(&seconds, 99) * unit;
  state.counters[max] = seconds.empty() ? 0 : seconds.back() * unit;
}

// The docs_found total of a result text (0 for none): the first table's
// count, which is all of them since each index here has one table.
long DocsFound(const char* json) {
  if (json == nullptr) return 0;
  const char* p = strstr(json, "\"docs_found\":");
  return p == nullptr ? 0 : strtol(p + strlen("\"docs_found\":"), nullptr, 10);
}

// Both indexes and what they hold so far.
class Corpus {
 public:
  explicit Corpus(const Settings& settings)
      : settings_(settings), messages_gen_(kMessageSeed), contacts_gen_(kContactSeed) {}

  ~Corpus() {
    if (!ok_) return;
    searcher_.save();
    if (settings_.keep_root.empty()) remove_dir(root_.c_str());
  }

  // Opens (or creates) the root and, unless it holds a finished corpus,
  // registers both indexes. Returns false when the engine refuses (also for
  // a kept root left unfinished by an interrupted run: remove it).
  bool Open() {
    root_ = settings_.keep_root.empty() ? MakeTempDir("kestrin-search") : settings_.keep_root;
    if (root_.empty() || (!is_dir(root_.c_str()) && make_dir(root_.c_str(), 0755) != 0)) {
      return false;
    }
    reopened_ = ReadMarker();
    ok_ = searcher_.open(root_.c_str(), 0) == 0 && searcher_.setSyncWrites(settings_.sync) == 0;
    if (ok_ && !reopened_) {
      ok_ = searcher_.addIndex(kMessageIndex, kDb, "message", "msgId", "content", "", "", "", "",
                               kMessageIndex) == 0 &&
            searcher_.addIndex(kContactIndex, kDb, "contact", "username", "nickname", "",
                               "nickname", "", "", kContactIndex) == 0;
    }
    return ok_;
  }

  bool reopened() const { return reopened_; }
  size_t messages() const { return messages_indexed_; }
  size_t contacts() const { return contacts_indexed_; }
  Searcher& searcher() { return searcher_; }

  // Bytes of a group's directory divided by the documents in it.
  double MessageBytesPerDoc() { return GroupBytes(kMessageIndex, messages_indexed_ + autosaved_); }
  double ContactBytesPerDoc() { return GroupBytes(kContactIndex, contacts_indexed_); }

  struct BulkTiming {
    size_t added = 0;
    double wall = 0;
    double cpu = 0;
    size_t chars = 0;
    size_t with_de = 0;
    size_t with_wo = 0;
    size_t with_shi = 0;
    bool ok = true;
  };

  // Adds messages until the index holds `target`, timing only the engine
  // calls (the texts are generated in batches beforehand).
  BulkTiming GrowMessages(size_t target) {
    BulkTiming t;
    searcher_.setAutoSave(kMessageIndex, false);
    std::vector<std::string> batch;
    while (t.ok && messages_indexed_ < target) {
      batch.clear();
      const size_t n = std::min(kGenerateBatch, target - messages_indexed_);
      for (size_t i = 0; i < n; ++i) batch.push_back(messages_gen_.Next());
      for (const std::string& m : batch) Tally(m, &t);
      const double wall0 = Seconds(CLOCK_MONOTONIC);
      const double cpu0 = Seconds(CLOCK_THREAD_CPUTIME_ID);
      for (const std::string& m : batch) {
        if (AddDoc(kMessageIndex, "message", std::to_string(messages_indexed_), m) != 0) {
          t.ok = false;
          break;
        }
        if (++messages_indexed_ % kSaveEvery == 0) searcher_.save(kMessageIndex);
      }
      searcher_.save(kMessageIndex);
      t.wall += Seconds(CLOCK_MONOTONIC) - wall0;
      t.cpu += Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu0;
      t.added += n;
    }
    if (t.ok) WriteMarker();
    return t;
  }

  BulkTiming GrowContacts(size_t target) {
    BulkTiming t;
    searcher_.setAutoSave(kContactIndex, false);
    std::vector<Contact> batch;
    for (; contacts_indexed_ < target; ++contacts_indexed_) batch.push_back(contacts_gen_.Next());
    const double wall0 = Seconds(CLOCK_MONOTONIC);
    const double cpu0 = Seconds(CLOCK_THREAD_CPUTIME_ID);
    size_t key = contacts_indexed_ - batch.size();
    for (const Contact& c : batch) {
      if (AddDoc(kContactIndex, "contact", "wxid_" + std::to_string(key), c.name) != 0) {
        t.ok = false;
        break;
      }
      if (++key % kSaveEvery == 0) searcher_.save(kContactIndex);
    }
    searcher_.save(kContactIndex);
    t.wall = Seconds(CLOCK_MONOTONIC) - wall0;
    t.cpu = Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu0;
    t.added = batch.size();
    if (t.ok) WriteMarker();
    return t;
  }

  // The key of the next message added live (counted in MessageBytesPerDoc).
  std::string NextLiveKey() { return "live_" + std::to_string(autosaved_++); }

  // Switches the message group to what the change hook runs with.
  void SetLive(bool on) {
    searcher_.setAutoSave(kMessageIndex, on);
    if (!on) WriteMarker();
  }

  // One new message (under a key of its own); returns the wall time of the
  // call or a negative value when it failed.
  double AddLiveMessage(const std::string& text) {
    const std::string pkey = NextLiveKey();
    const double wall0 = Seconds(CLOCK_MONOTONIC);
    const int rc = AddDoc(kMessageIndex, "message", pkey, text);
    const double wall = Seconds(CLOCK_MONOTONIC) - wall0;
    return rc == 0 ? wall : -1;
  }

  MessageGenerator& message_generator() { return messages_gen_; }

 private:
  // A group's files live in <root>/allin_<group>.
  double GroupBytes(const char* group, size_t docs) {
    const std::string dir = root_ + "/allin_" + group;
    return docs == 0 ? 0 : static_cast<double>(get_dir_total_bytes(dir.c_str())) / docs;
  }

  static void Tally(const std::string& m, BulkTiming* t) {
    for (unsigned char c : m) t->chars += (c & 0xC0) != 0x80;
    t->with_de += m.find("的") != std::string::npos;
    t->with_wo += m.find("我") != std::string::npos;
    t->with_shi += m.find("是") != std::string::npos;
  }

  // One document whose only field is `text`.
  int AddDoc(const char* index, const char* table, const std::string& pkey,
             const std::string& text) {
    const char* values[] = {text.c_str()};
    return searcher_.addDoc(index, kDb, table, pkey.c_str(), 1, const_cast<char**>(values));
  }

  // The marker records what a kept root holds, so a later run can reopen it.
  bool ReadMarker() {
    std::ifstream in(root_ + kCorpusMarker);
    size_t messages = 0;
    size_t contacts = 0;
    size_t autosaved = 0;
    if (!(in >> messages >> contacts >> autosaved)) return false;
    messages_indexed_ = messages;
    contacts_indexed_ = contacts;
    autosaved_ = autosaved;
    return true;
  }

  void WriteMarker() {
    if (settings_.keep_root.empty()) return;
    std::ofstream out(root_ + kCorpusMarker, std::ios::trunc);
    out << messages_indexed_ << " " << contacts_indexed_ << " " << autosaved_ << "\n";
  }

  const Settings& settings_;
  std::string root_;
  bool ok_ = false;
  bool reopened_ = false;
  Searcher searcher_;
  MessageGenerator messages_gen_;
  ContactGenerator contacts_gen_;
  size_t messages_indexed_ = 0;
  size_t contacts_indexed_ = 0;
  size_t autosaved_ = 0;
};

Corpus* g_corpus = nullptr;
const Settings* g_settings = nullptr;

void SetBulkCounters(benchmark::State& state, const Corpus::BulkTiming& t) {
  state.SetIterationTime(t.wall);
  state.counters["docs"] = static_cast<double>(t.added);
  state.counters["docs_per_s"] = t.wall > 0 ? t.added / t.wall : 0;
  state.counters["docs_per_cpu_s"] = t.cpu > 0 ? t.added / t.cpu : 0;
  if (t.added > 0 && t.chars > 0) {
    state.counters["avg_chars"] = static_cast<double>(t.chars) / t.added;
    state.counters["share_de"] = static_cast<double>(t.with_de) / t.added;
    state.counters["share_wo"] = static_cast<double>(t.with_wo) / t.added;
    state.counters["share_shi"] = static_cast<double>(t.with_shi) / t.added;
  }
}

void BM_IndexContacts(benchmark::State& state) {
  for (auto _ : state) {
    const Corpus::BulkTiming t = g_corpus->GrowContacts(g_settings->contacts);
    if (!t.ok) state.SkipWithError("addDoc failed");
    SetBulkCounters(state, t);
  }
  state.counters["bytes_per_doc"] = g_corpus->ContactBytesPerDoc();
}

void BM_BulkIndex(benchmark::State& state, size_t size) {
  for (auto _ : state) {
    const Corpus::BulkTiming t = g_corpus->GrowMessages(size);
    if (!t.ok) state.SkipWithError("addDoc failed");
    SetBulkCounters(state, t);
  }
  state.counters["bytes_per_doc"] = g_corpus->MessageBytesPerDoc();
  state.counters["peak_rss_mb"] = PeakRssMb();
}

void BM_AddAutoSave(benchmark::State& state, size_t size) {
  if (g_corpus->messages() < size) g_corpus->GrowMessages(size);
  std::vector<double> samples;
  g_corpus->SetLive(true);
  for (auto _ : state) {
    state.PauseTiming();
    const std::string text = g_corpus->message_generator().Next();
    state.ResumeTiming();
    const double wall = g_corpus->AddLiveMessage(text);
    if (wall < 0) {
      state.SkipWithError("addDoc failed");
      break;
    }
    state.SetIterationTime(wall);
    samples.push_back(wall);
  }
  g_corpus->SetLive(false);
  ReportLatency(state, samples, 1e3, "ms");
}

void BM_Query(benchmark::State& state, QueryClass cls, size_t size) {
  if (g_corpus->messages() < size) g_corpus->GrowMessages(size);
  if (IsNameClass(cls) && g_corpus->contacts() < g_settings->contacts) {
    g_corpus->GrowContacts(g_settings->contacts);
  }
  const std::vector<std::string> queries =
      MakeQueries(cls, g_settings->queries, kMessageSeed, g_corpus->messages(), kContactSeed,
                  g_corpus->contacts());
  Searcher& searcher = g_corpus->searcher();
  const char* index = IsNameClass(cls) ? kContactIndex : kMessageIndex;
  std::vector<double> samples;
  double found = 0;
  double cpu = 0;
  size_t i = 0;
  for (auto _ : state) {
    const std::string& q = queries[i++ % queries.size()];
    const double wall0 = Seconds(CLOCK_MONOTONIC);
    const double cpu0 = Seconds(CLOCK_THREAD_CPUTIME_ID);
    char* json = searcher.doSearch(index, nullptr, q.c_str(), 0, kPageSize, false);
    const double wall = Seconds(CLOCK_MONOTONIC) - wall0;
    cpu += Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu0;
    state.SetIterationTime(wall);
    samples.push_back(wall);
    found += static_cast<double>(DocsFound(json));
    free(json);
  }
  state.SetLabel(queries.empty() ? "" : "e.g. " + queries[0]);
  const double calls = static_cast<double>(std::max<size_t>(1, samples.size()));
  ReportLatency(state, samples, 1e3, "ms");
  state.counters["cpu_mean_ms"] = cpu / calls * 1e3;
  state.counters["mean_found"] = found / calls;
  state.counters["peak_rss_mb"] = PeakRssMb();
}

// Searches of one group while the change hook's inserts arrive: a writer
// thread adds 2,000 messages with auto-save on (each saved before the call
// returns) while this thread runs two-character queries; then the same
// number of queries with no writer. p99 of both and their ratio.
// Two-character queries while a writer thread adds 2,000 messages with
// auto-save on, then as many queries with no writer. The writer calls addDoc
// itself or, `hooked`, inserts rows into an encrypted chat database whose
// change hook indexes them, as in the app.
void BM_QueryWhileAdding(benchmark::State& state, size_t size, bool hooked) {
  if (g_corpus->messages() < size) g_corpus->GrowMessages(size);
  const std::vector<std::string> queries = MakeQueries(kChinese2, g_settings->queries, kMessageSeed,
                                                       g_corpus->messages(), kContactSeed, g_corpus->contacts());
  Searcher& searcher = g_corpus->searcher();
  std::unique_ptr<HookedChat> chat;
  if (hooked) {
    chat.reset(new HookedChat(&searcher, kMessageIndex, kDb, "message"));
    if (!chat->ok()) {
      state.SkipWithError("cannot set up the hooked chat database");
      return;
    }
  }
  auto query = [&](size_t i) {
    const double wall0 = Seconds(CLOCK_MONOTONIC);
    free(searcher.doSearch(kMessageIndex, nullptr, queries[i % queries.size()].c_str(), 0, kPageSize, false));
    return Seconds(CLOCK_MONOTONIC) - wall0;
  };
  auto add = [&](const std::string& text) {
    return hooked ? chat->Insert(g_corpus->NextLiveKey(), text) : g_corpus->AddLiveMessage(text) >= 0;
  };
  for (auto _ : state) {
    std::vector<std::string> texts;
    for (int i = 0; i < 2000; ++i) texts.push_back(g_corpus->message_generator().Next());
    g_corpus->SetLive(true);
    std::atomic<bool> done{false};
    std::atomic<int> failed{0};
    std::thread writer([&] {
      for (const std::string& t : texts) failed += !add(t);
      done = true;
    });
    std::vector<double> busy, idle;
    while (!done) busy.push_back(query(busy.size()));
    writer.join();
    g_corpus->SetLive(false);
    for (size_t i = 0; i < busy.size(); ++i) idle.push_back(query(i));
    if (failed > 0) state.SkipWithError("adding a message failed");
    const double p99_busy = Percentile(&busy, 99), p99_idle = Percentile(&idle, 99);
    state.counters["queries"] = static_cast<double>(busy.size());
    state.counters["p99_busy_ms"] = p99_busy * 1e3;
    state.counters["p99_idle_ms"] = p99_idle * 1e3;
    state.counters["p50_busy_ms"] = Percentile(&busy, 50) * 1e3;
    state.counters["p50_idle_ms"] = Percentile(&idle, 50) * 1e3;
    state.counters["p99_ratio"] = p99_idle > 0 ? p99_busy / p99_idle : 0;
  }
}

std::string SizeSuffix(size_t size) { return "/messages:" + std::to_string(size); }

void RegisterQueries(size_t size) {
  const size_t calls = g_settings->queries * g_settings->repeat;
  for (int c = 0; c < kQueryClassCount; ++c) {
    const QueryClass cls = static_cast<QueryClass>(c);
    const std::string name = std::string("BM_Query/") + QueryClassName(cls) + SizeSuffix(size);
    benchmark::RegisterBenchmark(name.c_str(), BM_Query, cls, size)
        ->Iterations(static_cast<benchmark::IterationCount>(calls))
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
}

void RegisterAll() {
  if (g_corpus->reopened()) {
    RegisterQueries(g_corpus->messages());
    return;
  }
  benchmark::RegisterBenchmark("BM_IndexContacts", BM_IndexContacts)
      ->Iterations(1)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
  for (size_t size : g_settings->sizes) {
    benchmark::RegisterBenchmark(("BM_BulkIndex" + SizeSuffix(size)).c_str(), BM_BulkIndex, size)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("BM_AddAutoSave" + SizeSuffix(size)).c_str(), BM_AddAutoSave,
                                 size)
        ->Iterations(static_cast<benchmark::IterationCount>(g_settings->autosave))
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
    for (bool hooked : {false, true}) {
      const std::string name = hooked ? "BM_QueryWhileHookedInserts" : "BM_QueryWhileAdding";
      benchmark::RegisterBenchmark((name + SizeSuffix(size)).c_str(), BM_QueryWhileAdding, size,
                                   hooked)
          ->Iterations(1)
          ->Unit(benchmark::kMillisecond);
    }
    RegisterQueries(size);
  }
}

}  // namespace
}  // namespace ks_bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const ks_bench::Settings settings = ks_bench::ReadSettings();
  std::unique_ptr<ks_bench::Corpus> corpus(new ks_bench::Corpus(settings));
  const double open0 = ks_bench::Seconds(CLOCK_MONOTONIC);
  if (settings.sizes.empty() || !corpus->Open()) {
    fprintf(stderr, "cannot open the benchmark indexes (KS_BENCH_SIZES, KS_BENCH_ROOT?)\n");
    return 1;
  }
  if (corpus->reopened()) {
    fprintf(stderr, "opened %zu messages and %zu contacts in %.0f ms, peak resident memory %.1f MB\n",
            corpus->messages(), corpus->contacts(),
            (ks_bench::Seconds(CLOCK_MONOTONIC) - open0) * 1e3, ks_bench::PeakRssMb());
  }
  ks_bench::g_settings = &settings;
  ks_bench::g_corpus = corpus.get();
  ks_bench::RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  fprintf(stderr, "peak resident memory: %.1f MB\n", ks_bench::PeakRssMb());
  benchmark::Shutdown();
  return 0;
}
