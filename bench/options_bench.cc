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
//   BM_IndexContactsWithOptions/<options>
//                                   the same for 100,000 contact names in a
//                                   pinyin field (search_corpus's contacts,
//                                   one in 20 with a polyphone surname: 曾,
//                                   单, 解 ...)
//   BM_NameQueries/<class>          median and p99 latency of name queries
//                                   on those contacts indexed with
//                                   syllable_mix=on, name_readings=surname
//                                   and every fuzzy rule:
//                                   full pinyin (zhangwei), prefix (zhangw),
//                                   initials (zw), mixed (zwei: the surname's
//                                   initial, the given name spelled) and
//                                   fuzzy (zhangwei typed zangwei)
//
// Counters: docs_per_cpu_s, bytes_per_doc (the group directory),
// postings_per_doc, and growth_pct / postings_growth_pct: bytes and postings
// against the run without options (run first). Files grow in blocks of 2 MiB,
// so postings measure small differences better than bytes. KS_BENCH_MESSAGES sets the corpus size (default
// 100000), KS_BENCH_CONTACTS the contacts (default 100000).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_clock.h"
#include "bench/search_corpus.h"
#include "bench/temp_dir.h"
#include "foundation/file_util.h"
#include "search/group_searcher.h"
#include "search/searcher.h"
#include "storage/index_manager.h"
#include "text/pinyin.h"
#include "text/pinyin_fuzzy.h"

namespace ks_bench {
namespace {

using mobile_search::Searcher;

constexpr uint32_t kPhoneSeed = 11;
constexpr const char* kIndex = "message";

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

constexpr uint32_t kContactSeed = 7;
constexpr const char* kAllFuzzy = "z-zh,c-ch,s-sh,n-l,l-r,f-h,an-ang,en-eng,in-ing";

size_t EnvCount(const char* name, size_t fallback) {
  const char* env = getenv(name);
  return env != nullptr ? strtoul(env, nullptr, 10) : fallback;
}

// Letters of the contact's pinyin that spell its one-character surname.
size_t SurnameLetters(const Contact& c) {
  char* py = mobile_search::hz2pyConvertSingle(c.name.c_str(), 3);
  const size_t n = py != nullptr ? strlen(py) : 0;
  free(py);
  return n;
}

// Contacts of search_corpus; one in 20 gets a surname read otherwise as a
// name (曾 zeng, not ceng), which the corpus's common surnames lack.
struct NameContact {
  Contact contact;
  size_t surname;  // letters of its pinyin that spell the surname
};

const std::vector<NameContact>& Contacts() {
  static const std::vector<NameContact> contacts = [] {
    static const char* const kPolyphones[][2] = {{"曾", "zeng"}, {"单", "shan"}, {"解", "xie"},
                                                 {"仇", "qiu"},  {"区", "ou"},   {"朴", "piao"},
                                                 {"查", "zha"},  {"翟", "zhai"}, {"盖", "ge"},
                                                 {"乐", "yue"}};
    const size_t n = EnvCount("KS_BENCH_CONTACTS", 100000);
    ContactGenerator gen(kContactSeed);
    std::vector<NameContact> out;
    out.reserve(n);
    for (size_t i = 0; i < n; ++i) {
      Contact c = gen.Next();
      size_t surname = SurnameLetters(c);
      if (i % 20 == 19) {
        const auto& p = kPolyphones[(i / 20) % 10];
        c = Contact{p[0] + c.name.substr(3), p[1] + c.pinyin.substr(surname),
                    std::string(1, p[1][0]) + c.initials.substr(1)};
        surname = strlen(p[1]);
      }
      out.push_back(NameContact{std::move(c), surname});
    }
    return out;
  }();
  return contacts;
}

struct Totals {
  double bytes = 0;
  double postings = 0;
};
Totals g_plain[2];  // messages, contacts: the runs without options

// Indexes `texts` into a fresh root with `options`, into a pinyin field when
// `names`; reports the counters.
void IndexCorpus(benchmark::State& state, const std::vector<std::pair<const char*, const char*>>& options,
                 const std::vector<const std::string*>& texts, bool names) {
  for (auto _ : state) {
    const std::string root = MakeTempDir("kestrin-options");
    double cpu = 0;
    Totals t;
    {
      Searcher searcher;
      bool ok = !root.empty() && searcher.open(root.c_str(), 0) == 0;
      for (const auto& o : options) ok = ok && searcher.setOption(o.first, o.second) == 0;
      ok = ok && searcher.addIndex(kIndex, "chat.db", "message", "msgId", "content", "",
                                   names ? "content" : "", "", "", kIndex) == 0;
      if (!ok) {
        state.SkipWithError("engine refused the set-up");
        break;
      }
      searcher.setAutoSave(kIndex, false);
      const double cpu0 = Seconds(CLOCK_THREAD_CPUTIME_ID);
      for (size_t i = 0; i < texts.size(); ++i) {
        const std::string key = std::to_string(i);
        const char* values[] = {texts[i]->c_str()};
        searcher.addDoc(kIndex, "chat.db", "message", key.c_str(), 1, const_cast<char**>(values));
        if ((i + 1) % kSaveEvery == 0) searcher.save(kIndex);
      }
      searcher.save(kIndex);
      cpu = Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu0;
      t.bytes = static_cast<double>(get_dir_total_bytes((root + "/allin_" + kIndex).c_str()));
      t.postings = searcher.getGroupSearcher(kIndex)->getIndexMgr()->index_mgr->get_max_pos();
      searcher.close();
    }
    remove_dir(root.c_str());
    state.SetIterationTime(cpu);
    const double n = static_cast<double>(texts.size());
    Totals& plain = g_plain[names ? 1 : 0];
    if (options.empty()) plain = t;
    state.counters["docs_per_cpu_s"] = n / cpu;
    state.counters["bytes_per_doc"] = t.bytes / n;
    state.counters["postings_per_doc"] = t.postings / n;
    if (plain.bytes > 0) {
      state.counters["growth_pct"] = (t.bytes / plain.bytes - 1) * 100;
      state.counters["postings_growth_pct"] = (t.postings / plain.postings - 1) * 100;
    }
  }
}

void BM_IndexWithOptions(benchmark::State& state,
                         std::vector<std::pair<const char*, const char*>> options) {
  std::vector<const std::string*> texts;
  for (const std::string& m : Messages()) texts.push_back(&m);
  IndexCorpus(state, options, texts, false);
}

void BM_IndexContactsWithOptions(benchmark::State& state,
                                 std::vector<std::pair<const char*, const char*>> options) {
  std::vector<const std::string*> texts;
  for (const NameContact& c : Contacts()) texts.push_back(&c.contact.name);
  IndexCorpus(state, options, texts, true);
}

// The contacts indexed once with syllable_mix=on, name_readings=surname (so
// that the polyphone surnames are found as spelled) and every fuzzy rule, kept
// for the query benchmarks of the process.
Searcher* NameIndex() {
  static std::string root;
  static Searcher* searcher = [] {
    root = MakeTempDir("kestrin-names");
    Searcher* s = new Searcher();
    if (root.empty() || s->open(root.c_str(), 0) != 0 || s->setOption("syllable_mix", "on") != 0 ||
        s->setOption("name_readings", "surname") != 0 ||
        s->setOption("fuzzy", kAllFuzzy) != 0 ||
        s->addIndex(kIndex, "chat.db", "contact", "id", "name", "", "name", "", "", kIndex) != 0) {
      return static_cast<Searcher*>(nullptr);
    }
    s->setAutoSave(kIndex, false);
    const std::vector<NameContact>& contacts = Contacts();
    for (size_t i = 0; i < contacts.size(); ++i) {
      const std::string key = std::to_string(i);
      const char* values[] = {contacts[i].contact.name.c_str()};
      s->addDoc(kIndex, "chat.db", "contact", key.c_str(), 1, const_cast<char**>(values));
      if ((i + 1) % kSaveEvery == 0) s->save(kIndex);
    }
    s->save(kIndex);
    atexit([] {
      if (searcher != nullptr) searcher->close();
      remove_dir(root.c_str());
    });
    return s;
  }();
  return searcher;
}

enum NameClass { kNameFull, kNamePrefix, kNameInitials, kNameMixed, kNameFuzzy };

// 50 queries of a class, from contacts spread over the corpus.
std::vector<std::string> NameQueries(NameClass cls) {
  const std::vector<NameContact>& contacts = Contacts();
  std::mt19937 rng(kContactSeed);
  unsigned rules = 0;
  mobile_search::parsePinyinFuzzy(kAllFuzzy, &rules);
  std::vector<std::string> out;
  while (out.size() < 50) {
    const NameContact& pick = contacts[rng() % contacts.size()];
    const Contact& c = pick.contact;
    const size_t given = pick.surname;
    switch (cls) {
      case kNameFull: out.push_back(c.pinyin); break;
      case kNamePrefix: out.push_back(c.pinyin.substr(0, given + 1)); break;
      case kNameInitials: out.push_back(c.initials); break;
      case kNameMixed: out.push_back(c.pinyin.substr(0, 1) + c.pinyin.substr(given)); break;
      case kNameFuzzy: {
        char variants[1][mobile_search::kFuzzyWordBytes];
        if (mobile_search::pinyinFuzzyVariants(c.pinyin.c_str(), rules, variants, 1) == 1) {
          out.push_back(variants[0]);
        }
        break;
      }
    }
  }
  return out;
}

double Percentile(std::vector<double>* samples, double p) {
  if (samples->empty()) return 0;
  std::sort(samples->begin(), samples->end());
  const size_t rank = static_cast<size_t>(std::ceil(p / 100.0 * static_cast<double>(samples->size())));
  return (*samples)[std::min(samples->size(), std::max<size_t>(rank, 1)) - 1];
}

void BM_NameQueries(benchmark::State& state, NameClass cls) {
  Searcher* searcher = NameIndex();
  if (searcher == nullptr) {
    state.SkipWithError("engine refused the set-up");
    return;
  }
  const std::vector<std::string> queries = NameQueries(cls);
  std::vector<double> seconds;
  size_t i = 0;
  double hits = 0;
  for (auto _ : state) {
    const std::string& q = queries[i++ % queries.size()];
    const auto t0 = std::chrono::steady_clock::now();
    char* json = searcher->doSearch(kIndex, nullptr, q.c_str(), 0, 20, false);
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (json != nullptr) ++hits;
    free(json);
    seconds.push_back(s);
  }
  state.counters["hit_pct"] = 100.0 * hits / static_cast<double>(seconds.size());
  state.counters["p50_ms"] = Percentile(&seconds, 50) * 1e3;
  state.counters["p99_ms"] = Percentile(&seconds, 99) * 1e3;
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

BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, none, {})->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, name_readings_surname, {{"name_readings", "surname"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, name_readings_all_common,
                  {{"name_readings", "all_common"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, syllable_mix, {{"syllable_mix", "on"}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, fuzzy, {{"fuzzy", kAllFuzzy}})
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_IndexContactsWithOptions, all_name_options,
                  {{"name_readings", "all_common"}, {"syllable_mix", "on"}, {"fuzzy", kAllFuzzy}})
    ->Iterations(1)
    ->UseManualTime();

BENCHMARK_CAPTURE(BM_NameQueries, full_pinyin, kNameFull)->Iterations(1000);
BENCHMARK_CAPTURE(BM_NameQueries, pinyin_prefix, kNamePrefix)->Iterations(1000);
BENCHMARK_CAPTURE(BM_NameQueries, initials, kNameInitials)->Iterations(1000);
BENCHMARK_CAPTURE(BM_NameQueries, mixed, kNameMixed)->Iterations(1000);
BENCHMARK_CAPTURE(BM_NameQueries, fuzzy, kNameFuzzy)->Iterations(1000);

}  // namespace
}  // namespace ks_bench

BENCHMARK_MAIN();
