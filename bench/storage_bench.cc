// Index storage benchmarks: posting appends with and without autosave, term
// lookups over several postings files, and the cost of saving the document
// id store after one new document as the store grows.
#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"

namespace mobile_search {
namespace {

class BenchDir {
 public:
  BenchDir() : path_(ks_bench::MakeTempDir("kestrin-bench")) {}
  ~BenchDir() { remove_dir(path()); }
  const char* path() const { return path_.c_str(); }
  std::string sub(const std::string& name) const { return std::string(path()) + "/" + name; }

 private:
  std::string path_;
};

void BM_AppendPostings(benchmark::State& state) {
  BenchDir dir;
  IndexManager idx;
  if (idx.open(dir.path(), "allin") != 0) {
    state.SkipWithError("cannot open the index");
    return;
  }
  idx.setAutoSave(state.range(0) != 0);
  unsigned int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(idx.addTerm(1000 + (i * 2654435761u) % 50000, i / 16, 0, 5, 1));
    ++i;
  }
  idx.save();
  state.SetItemsProcessed(state.iterations());
  state.counters["files"] = idx.getStore()->blockNumber();
}
BENCHMARK(BM_AppendPostings)->ArgName("autosave")->Arg(1)->Arg(0);

// One index of 700,000 postings (three full files and an active one) in which
// sign 10 has 10 postings, sign 1000 has 1,000 and sign 100000 has 100,000,
// spread evenly over all files.
IndexManager* LookupIndex() {
  static BenchDir dir;
  static std::unique_ptr<IndexManager> idx;
  if (idx) return idx.get();
  idx.reset(new IndexManager());
  if (idx->open(dir.path(), "allin") != 0) return nullptr;
  idx->setAutoSave(false);
  const unsigned int total = 700000;
  for (unsigned int i = 0; i < total; ++i) {
    unsigned int sign = 200000 + (i * 2654435761u) % 100000;
    if (i % (total / 10) == 0) sign = 10;
    else if (i % (total / 1000) == 1) sign = 1000;
    else if (i % 7 == 2) sign = 100000;
    idx->addTerm(sign, i / 8, static_cast<unsigned char>(i % 3), 5, 1);
  }
  idx->save();
  return idx.get();
}

void BM_GetTerm(benchmark::State& state) {
  IndexManager* idx = LookupIndex();
  if (idx == nullptr) {
    state.SkipWithError("cannot build the index");
    return;
  }
  unsigned int sign = static_cast<unsigned int>(state.range(0));
  int found = 0;
  for (auto _ : state) {
    IndexTerm term(sign, 0, nullptr, nullptr, nullptr);
    idx->getTerm(sign, &term, -1);
    found = term.getDocCount();
    benchmark::DoNotOptimize(found);
  }
  state.counters["postings"] = found;
  state.counters["files"] = idx->getStore()->blockNumber();
}
BENCHMARK(BM_GetTerm)->ArgName("term")->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

// Document id stores of 1, 10 and 50 id data files, built once each.
DocIdManager* DocStore(int files) {
  static BenchDir dir;
  static std::map<int, std::unique_ptr<DocIdManager>> stores;
  auto it = stores.find(files);
  if (it != stores.end()) return it->second.get();
  std::unique_ptr<DocIdManager> m(new DocIdManager());
  if (m->open(dir.sub("ids" + std::to_string(files)).c_str()) != 0) return nullptr;
  m->setAutoSave(false);
  unsigned int n = static_cast<unsigned int>(files - 1) * DocIdManager::kRecordsPerFile + 1000;
  for (unsigned int i = 0; i < n; ++i) {
    std::string key = std::to_string(i);
    // Checksum 0 keeps the bulk out of the key map; the store size is what
    // matters here.
    m->addPKey(1, key.c_str(), i % 1000 == 0 ? i + 1 : 0, 0);
  }
  m->save();
  m->setAutoSave(true);
  DocIdManager* out = m.get();
  stores[files] = std::move(m);
  return out;
}

void BM_DocIdSaveAfterOneAdd(benchmark::State& state) {
  DocIdManager* m = DocStore(static_cast<int>(state.range(0)));
  if (m == nullptr) {
    state.SkipWithError("cannot build the store");
    return;
  }
  m->setAutoSave(false);  // as the group searcher does around one document
  unsigned int i = 0;
  for (auto _ : state) {
    std::string key = "new-" + std::to_string(i++);
    m->addPKey(2, key.c_str(), i, 0);
    auto start = std::chrono::steady_clock::now();
    m->save();
    auto end = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
  }
  m->setAutoSave(true);
  state.counters["id_files"] = static_cast<double>((m->getDocNumber() + DocIdManager::kRecordsPerFile - 1) /
                                                   DocIdManager::kRecordsPerFile);
}
BENCHMARK(BM_DocIdSaveAfterOneAdd)
    ->ArgName("id_files")
    ->Arg(1)
    ->Arg(10)
    ->Arg(50)
    ->Iterations(20000)  // keeps the 1-file store within its one file
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace mobile_search

BENCHMARK_MAIN();
