// Our half of the side-by-side comparison with SQLite FTS5 that
// bench/side_by_side.py drives: it indexes the rows and answers the query
// files that the script generated, so that both engines see exactly the same
// texts and queries. Run the script, not this program, for the comparison.
//
// Input directory (KS_SBS_DIR): messages.txt and contacts.txt, one row per
// line; queries/<class>.txt, one query per line. Classes whose name starts
// with "name" or "pinyin" run against the contacts, the rest against the
// messages; classes ending in "_all" ask for every hit (num 65535), the
// others for the first page of 20.
//
//   BM_Build            indexes both tables (auto-save off, a save every 50
//                       rows, as a table scan does): rows_per_s (wall),
//                       rows_per_cpu_s (this thread's CPU time; the machine
//                       is shared, so this is the figure to compare),
//                       bytes_per_row of the message group, directory_mb
//                       (postings directories and document states of both
//                       groups), directory_pct (of the message group's bytes)
//                       With KS_SBS_ROOT set, the index is kept there and a
//                       later run opens it instead (open_s: seconds to open
//                       both groups, postings directories included).
//   BM_Query/<class>    every query of the class KS_SBS_REPEAT times (default
//                       5): p50_ms, p99_ms over all calls; p50_first_ms,
//                       p99_first_ms over the first call of each query (the
//                       figures to hold against a target: nothing the engine
//                       kept from an earlier call of the same query helps
//                       them) and p50_repeat_ms, p99_repeat_ms over the
//                       others; mean_found; peak_rss_mb
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "bench/bench_clock.h"
#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "search/group_searcher.h"
#include "search/searcher.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"

namespace ks_bench {
namespace {

using mobile_search::Searcher;

constexpr const char* kDb = "chat.db";


std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::string InputDir() {
  const char* dir = getenv("KS_SBS_DIR");
  return dir == nullptr ? std::string() : std::string(dir);
}

Searcher* g_searcher = nullptr;
std::string g_root;

size_t DirectoryBytes(const char* group) {
  mobile_search::GroupSearcher* g = g_searcher->getGroupSearcher(group);
  if (g == nullptr || g->getIndexMgr() == nullptr) return 0;
  return g->getIndexMgr()->index_mgr->directoryBytes() + g->getIndexMgr()->doc_mgr->docState().memoryBytes();
}

// Adds every row of `path` as one document of `table` (key: row number).
size_t AddRows(const std::string& path, const char* table) {
  size_t n = 0;
  for (const std::string& row : ReadLines(path)) {
    const std::string key = std::to_string(n);
    const char* values[] = {row.c_str()};
    g_searcher->addDoc(table, kDb, table, key.c_str(), 1, const_cast<char**>(values));
    if (++n % 50 == 0) g_searcher->save();
  }
  g_searcher->save();
  return n;
}

void BM_Build(benchmark::State& state) {
  const std::string in = InputDir();
  for (auto _ : state) {
    const char* keep = getenv("KS_SBS_ROOT");
    g_root = keep != nullptr ? std::string(keep) : MakeTempDir("ks-sbs");
    g_searcher = new Searcher();
    const std::string marker = g_root + "/built.marker";
    if (keep != nullptr && access(marker.c_str(), F_OK) == 0) {
      // A kept index: open it and only query (profiling runs).
      const double t0 = Seconds(CLOCK_MONOTONIC);
      g_searcher->open(g_root.c_str(), 0);
      g_searcher->getGroupSearcher("message");
      g_searcher->getGroupSearcher("contact");
      state.counters["open_s"] = Seconds(CLOCK_MONOTONIC) - t0;
      state.counters["directory_mb"] = (DirectoryBytes("message") + DirectoryBytes("contact")) / 1048576.0;
      state.counters["peak_rss_mb"] = PeakRssMb();
      continue;
    }
    if (keep != nullptr) make_dir(g_root.c_str(), 0755);
    g_searcher->open(g_root.c_str(), 0);
    g_searcher->addIndex("message", kDb, "message", "id", "content", "", "", "", "", "message");
    g_searcher->addIndex("contact", kDb, "contact", "id", "name", "", "name", "", "", "contact");
    g_searcher->setAutoSave("message", false);
    g_searcher->setAutoSave("contact", false);
    const double t0 = Seconds(CLOCK_MONOTONIC), c0 = Seconds(CLOCK_THREAD_CPUTIME_ID);
    const size_t rows = AddRows(in + "/messages.txt", "message");
    const double t1 = Seconds(CLOCK_MONOTONIC), c1 = Seconds(CLOCK_THREAD_CPUTIME_ID);
    state.counters["rows_per_cpu_s"] = rows / (c1 - c0);
    AddRows(in + "/contacts.txt", "contact");
    const double bytes = static_cast<double>(get_dir_total_bytes((g_root + "/allin_message").c_str()));
    const double dir = static_cast<double>(DirectoryBytes("message") + DirectoryBytes("contact"));
    state.counters["rows_per_s"] = rows / (t1 - t0);
    state.counters["bytes_per_row"] = bytes / rows;
    state.counters["directory_mb"] = dir / 1048576.0;
    state.counters["directory_pct"] = 100.0 * dir / bytes;
    state.counters["peak_rss_mb"] = PeakRssMb();
    if (keep != nullptr) fclose(fopen(marker.c_str(), "w"));
  }
}

void BM_Query(benchmark::State& state, const std::string& cls) {
  const std::vector<std::string> queries = ReadLines(InputDir() + "/queries/" + cls + ".txt");
  const char* index = cls.rfind("name", 0) == 0 || cls.rfind("pinyin", 0) == 0 ? "contact" : "message";
  const int num = cls.size() > 4 && cls.compare(cls.size() - 4, 4, "_all") == 0 ? 65535 : 20;
  const char* repeat_env = getenv("KS_SBS_REPEAT");
  const int repeat = repeat_env != nullptr ? atoi(repeat_env) : 5;
  std::vector<double> ms, first, again;
  std::vector<double> perQuery(queries.size() * static_cast<size_t>(std::max(repeat, 0)));
  std::vector<double> foundOf(queries.size());
  double found = 0;
  for (auto _ : state) {
    for (int r = 0; r < repeat; ++r) {
      for (size_t i = 0; i < queries.size(); ++i) {
        const double t0 = Seconds(CLOCK_MONOTONIC);
        char* json = g_searcher->doSearch(index, nullptr, queries[i].c_str(), 0, num, false);
        ms.push_back((Seconds(CLOCK_MONOTONIC) - t0) * 1000.0);
        (r == 0 ? first : again).push_back(ms.back());
        perQuery[i * repeat + r] = ms.back();
        if (json != nullptr && r == 0) {
          const char* at = strstr(json, "\"docs_found\":");
          for (; at != nullptr; at = strstr(at + 1, "\"docs_found\":")) foundOf[i] += atof(at + 13);
          found += foundOf[i];
        }
        free(json);
      }
    }
  }
  if (getenv("KS_SBS_DETAIL") != nullptr) {
    // One line per query on stderr: class, first call, median of the calls,
    // documents found, the query.
    for (size_t i = 0; i < queries.size() && repeat > 0; ++i) {
      std::vector<double> t(perQuery.begin() + i * repeat, perQuery.begin() + (i + 1) * repeat);
      const double firstMs = t[0];
      std::sort(t.begin(), t.end());
      fprintf(stderr, "%s\t%.4f\t%.4f\t%.0f\t%s\n", cls.c_str(), firstMs, t[t.size() / 2], foundOf[i], queries[i].c_str());
    }
  }
  if (ms.empty()) return;
  auto percentiles = [&state](std::vector<double>& v, const std::string& suffix) {
    if (v.empty()) return;
    std::sort(v.begin(), v.end());
    state.counters["p50" + suffix] = v[v.size() / 2];
    state.counters["p99" + suffix] = v[std::min(v.size() - 1, v.size() * 99 / 100)];
  };
  percentiles(ms, "_ms");
  percentiles(first, "_first_ms");
  percentiles(again, "_repeat_ms");
  state.counters["mean_found"] = queries.empty() ? 0 : found / queries.size();
  state.counters["peak_rss_mb"] = PeakRssMb();
}

}  // namespace
}  // namespace ks_bench

int main(int argc, char** argv) {
  using namespace ks_bench;
  const std::string in = InputDir();
  if (in.empty()) {
    fprintf(stderr, "set KS_SBS_DIR (bench/side_by_side.py does)\n");
    return 2;
  }
  benchmark::RegisterBenchmark("BM_Build", BM_Build)->Iterations(1)->Unit(benchmark::kSecond);
  std::vector<std::string> classes;
  if (DIR* d = opendir((in + "/queries").c_str())) {
    while (dirent* e = readdir(d)) {
      const std::string name = e->d_name;
      if (name.size() > 4 && name.compare(name.size() - 4, 4, ".txt") == 0) classes.push_back(name.substr(0, name.size() - 4));
    }
    closedir(d);
  }
  std::sort(classes.begin(), classes.end());
  for (const std::string& cls : classes) {
    benchmark::RegisterBenchmark(("BM_Query/" + cls).c_str(), [cls](benchmark::State& s) { BM_Query(s, cls); })
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  delete g_searcher;
  if (!g_root.empty() && getenv("KS_SBS_ROOT") == nullptr) remove_dir(g_root.c_str());
  return 0;
}
