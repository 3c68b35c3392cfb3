// Deterministic corpus for the search benchmarks: chat-like messages and
// contacts with Chinese names, plus the query sets run against them.
//
// Messages average about 30 characters of Chinese words and characters,
// Latin words, digits and punctuation. Single characters are drawn by their
// frequency in modern written Chinese (Xiandai Hanyu Pinlu counts), so 的, 我,
// 是 turn up in a large share of messages as they do in real chat. Contact
// names are a common surname and one or two given-name characters; each comes
// with its full pinyin and initials so that name queries are known to hit.
//
// The same seed always yields the same corpus and the same queries. Nothing
// here touches the engine; the classes are not thread-safe.
#ifndef KESTRIN_BENCH_SEARCH_CORPUS_H_
#define KESTRIN_BENCH_SEARCH_CORPUS_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace ks_bench {

// The seed of the message stream every benchmark indexes, and how many
// messages bulk indexing adds between saves (as a table scan batch does).
constexpr uint32_t kMessageSeed = 20261122;
constexpr int kSaveEvery = 50;

struct Contact {
  std::string name;      // 张伟
  std::string pinyin;    // zhangwei
  std::string initials;  // zw
};

class MessageGenerator {
 public:
  explicit MessageGenerator(uint32_t seed);

  // The next message of the stream.
  std::string Next();

 private:
  void AppendChars(std::string* text, int count);

  std::mt19937 rng_;
  std::discrete_distribution<size_t> char_dist_;
  std::discrete_distribution<size_t> phrase_dist_;
  std::geometric_distribution<int> length_dist_;
};

class ContactGenerator {
 public:
  explicit ContactGenerator(uint32_t seed);

  Contact Next();

 private:
  std::mt19937 rng_;
  std::discrete_distribution<size_t> surname_dist_;
};

// The query classes measured, in report order.
enum QueryClass {
  kFullPinyin,     // whole name spelled in pinyin: zhangwei
  kPinyinPrefix,   // the spelling cut short: zhangw
  kInitials,       // zw
  kLatinPrefix,    // mee, revi
  kChinese2,       // two adjacent Han characters taken from an indexed message
  kChinese3,
  kChinese4,
  kChineseSingle,  // one character, the most common first
  kQueryClassCount
};

const char* QueryClassName(QueryClass cls);

// True for the classes run against the contact index.
bool IsNameClass(QueryClass cls);

// `count` queries of class `cls`. Name classes are taken from the first
// `contacts` contacts of ContactGenerator(contact_seed), text classes from
// the first `messages` messages of MessageGenerator(message_seed), so every
// query comes from something that is indexed.
std::vector<std::string> MakeQueries(QueryClass cls, size_t count, uint32_t message_seed,
                                     size_t messages, uint32_t contact_seed, size_t contacts);

}  // namespace ks_bench

#endif  // KESTRIN_BENCH_SEARCH_CORPUS_H_
