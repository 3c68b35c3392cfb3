// TextOptions: the engine options that change text analysis, as one value
// handed to each tokenizer, query-parser and highlighter call.
//
// A default-constructed value is the engine with no option set: every
// analysis then behaves exactly as it does without options. The value is
// copied per call (a document, a query, an abstract), so text analysis keeps
// no state and a change of options never reaches a call already running.
// The options of a root are kept by config/engine_options.h; this is only
// what text analysis reads.
//
//   field            option              effect
//   utf8Full         utf8=full           every well-formed UTF-8 character is
//                                        decoded; symbols and malformed bytes
//                                        separate words instead of ending the
//                                        text
//   infixDigits      infix_digits=N      digit runs of 4+ digits are also
//                                        indexed by their suffixes of at
//                                        least N digits; 0 = off
//   foldSimplified   fold=simplified     traditional Han folded to simplified,
//                                        full-width ASCII to ASCII, at index
//                                        and query time
//   nameReadings     name_readings=      names (pinyin fields) are also
//                    surname|all_common  indexed by the surname reading of
//                                        their first character(s), or also
//                                        by every common reading of each
//                                        character (text/name_terms.h)
//   syllableMix      syllable_mix=on     names are also indexed by spellings
//                                        mixing full syllables, initials
//                                        (zh/ch/sh included) and a last
//                                        syllable's prefix: zsan, zhsan
//   fuzzy            fuzzy=z-zh,...      query words are also looked up with
//                                        confusable initials and finals
//                                        swapped (text/pinyin_fuzzy.h);
//                                        query side only
#ifndef KS_TEXT_TEXT_OPTIONS_H_
#define KS_TEXT_TEXT_OPTIONS_H_

namespace mobile_search {

enum NameReadings : int {
  kNameReadingsOff = 0,
  kNameReadingsSurname = 1,
  kNameReadingsAllCommon = 2,
};

struct TextOptions {
  bool utf8Full = false;
  int infixDigits = 0;
  bool foldSimplified = false;
  int nameReadings = kNameReadingsOff;
  bool syllableMix = false;
  unsigned int fuzzy = 0;  // PinyinFuzzyRule bits

  // True when names get terms beyond their one plain reading.
  bool extraNameTerms() const { return nameReadings != kNameReadingsOff || syllableMix; }
  // True when the highlighter matches Latin words as the name terms do.
  bool nameMatching() const { return extraNameTerms() || fuzzy != 0; }
};

}  // namespace mobile_search

#endif  // KS_TEXT_TEXT_OPTIONS_H_
