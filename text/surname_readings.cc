// Surnames whose reading as a family name differs from the character's usual
// reading.
//
// Source: the polyphonic surnames of the Hundred Family Surnames (百家姓, a
// public-domain text), each with the reading that the Xiandai Hanyu Cidian
// (现代汉语词典; Unihan's kXHC1983 indexes the same dictionary) gives for its
// surname sense. Curated for this project; add a surname by adding a row
// (a test checks every reading against the character's readings in the
// pinyin table). Two-character surnames come first so that the lookup finds
// them before the single character they begin with.
#include "text/surname_readings.h"

#include <string.h>

namespace mobile_search {

const SurnameReading kSurnameReadings[] = {
    // Compound surnames.
    {"万俟", {"mo", "qi"}},
    {"尉迟", {"yu", "chi"}},
    {"长孙", {"zhang", "sun"}},
    {"单于", {"chan", "yu"}},
    {"澹台", {"tan", "tai"}},
    {"乐正", {"yue", "zheng"}},
    {"中行", {"zhong", "hang"}},
    // One-character surnames.
    {"曾", {"zeng", nullptr}},
    {"单", {"shan", nullptr}},
    {"解", {"xie", nullptr}},
    {"仇", {"qiu", nullptr}},
    {"区", {"ou", nullptr}},
    {"朴", {"piao", nullptr}},
    {"查", {"zha", nullptr}},
    {"翟", {"zhai", nullptr}},
    {"盖", {"ge", nullptr}},
    {"覃", {"qin", nullptr}},
    {"长", {"zhang", nullptr}},
    {"乐", {"yue", nullptr}},
    {"缪", {"miao", nullptr}},
    {"种", {"chong", nullptr}},
    {"重", {"chong", nullptr}},
    {"宿", {"su", nullptr}},
    {"秘", {"bi", nullptr}},
    {"繁", {"po", nullptr}},
    {"员", {"yun", nullptr}},
    {"召", {"shao", nullptr}},
    {"句", {"gou", nullptr}},
    {"薄", {"bo", nullptr}},
    {"都", {"du", nullptr}},
    {"便", {"pian", nullptr}},
    {"折", {"she", nullptr}},
    {"隗", {"wei", nullptr}},
    {"郇", {"huan", nullptr}},
    {"颉", {"xie", nullptr}},
    {"洗", {"xian", nullptr}},
    {"祭", {"zhai", nullptr}},
    {"尉", {"wei", nullptr}},
};

const int kSurnameReadingCount = static_cast<int>(sizeof(kSurnameReadings) / sizeof(kSurnameReadings[0]));

const SurnameReading* findSurname(const char* name, int bytes) {
  if (name == nullptr) return nullptr;
  for (int i = 0; i < kSurnameReadingCount; ++i) {
    const char* s = kSurnameReadings[i].surname;
    const int n = static_cast<int>(strlen(s));
    if (n <= bytes && memcmp(name, s, static_cast<size_t>(n)) == 0) return &kSurnameReadings[i];
  }
  return nullptr;
}

}  // namespace mobile_search
