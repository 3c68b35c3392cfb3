// Name terms: the terms the name options add to a name (pinyin) field, on
// top of what ShortWordTokenizer indexes without them.
//
// For each Han run of the value the spellings of text/name_spellings.h are
// made: the mixed spellings of the plain readings (syllable_mix), then the
// plain and mixed spellings of each further pass (name_readings). A term is
// appended once per field value, and never when the plain tokens already
// hold it, so an extra reading neither repeats nor outweighs a plain term:
// a surname reading gets exactly the weight its plain reading would get.
// At most kMaxExtraNameTerms terms are added per field value, whatever its
// length and readings.
//
// NameTermBudget is per field value and per call: not shared between
// threads. appendExtraNameTerms returns the number appended, or -1 when out
// cannot grow or memory runs out.
#ifndef KS_TEXT_NAME_TERMS_H_
#define KS_TEXT_NAME_TERMS_H_

#include <unordered_set>

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "text/text_options.h"

namespace mobile_search {

const int kMaxExtraNameTerms = 256;

struct NameTermBudget {
  std::unordered_set<unsigned int> seen;  // signs of the value's pinyin terms
  int left = kMaxExtraNameTerms;
};

int appendExtraNameTerms(const _str_buffer_t* run, bool isFirst, const TextOptions& options,
                         NameTermBudget* budget, _DArray* out);

}  // namespace mobile_search

#endif  // KS_TEXT_NAME_TERMS_H_
