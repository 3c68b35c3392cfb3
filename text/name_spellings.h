// Name spellings: the pinyin terms of one Han run of a name, as text with the
// characters each covers, for one choice of reading per character.
//
// The short-word tokenizer indexes a run by its plain spellings (initials
// and full-spelling prefixes, one reading per character); the name options
// add spellings under other readings (name_readings) and mixed spellings
// (syllable_mix). The highlighter enumerates the same spellings to find the
// characters a Latin query word covered, so both agree by construction.
//
// A run is read as the tokenizer reads it: its first 10 characters that have
// a reading (NameRun). A NamePass gives each of them one reading. Passes of
// a run: pass 0 the plain readings (hz2py); with name_readings=surname also
// the run's surname readings when the run begins the name (isFirst) and its
// first character or two are a surname of text/surname_readings.h; with
// all_common also, character by character, each further reading of the
// pinyin table (one character differs from pass 0 in each such pass, so the
// passes grow with the characters, not with their product). At most
// kMaxNamePasses.
//
// Spellings of a pass (upper-case; count and bits as token_unit_t's):
//   plain  initials: substrings of up to 5 letters of the initials, count =
//          letters, bit 4, bit 2 from character 0 when isFirst, bit 1 when
//          spanning the run;
//          full: from each syllable s, the prefixes of syllables s..s+4 (L = 1
//          only for a one-letter syllable), exactly as the tokenizer makes
//          them (text/short_word_tokenizer.h);
//   mix    from each syllable s over 2 to 4 syllables: every syllable but the
//          last written in full, by its initial, or by zh/ch/sh; the last by
//          any prefix; the forms that plain spellings already are left out.
//          count = syllables written in full; bit 4; bit 8 when the last
//          syllable is whole; from syllable 0: bit 2 when isFirst, bit 1 when
//          it spells the whole run with its last syllable whole.
//
//   run 张三, isFirst   mix: ZS.. excluded, ZSA (0, 4|2), ZSAN (1, 4|8|2|1),
//                      ZHS (0, 4|2), ZHSAN (1, 4|8|2|1), ZHANGS is plain
//
// Pure functions over caller-owned records; no state, no allocation.
#ifndef KS_TEXT_NAME_SPELLINGS_H_
#define KS_TEXT_NAME_SPELLINGS_H_

namespace mobile_search {

const int kNameRunChars = 10;
const int kNameReadingBytes = 12;
const int kMaxNamePasses = 12;
const int kNameSpellingBytes = 64;

struct NameRun {
  int n;                                         // characters with a reading
  int offset[kNameRunChars];                     // byte offset in the run
  int length[kNameRunChars];                     // byte length
  char plain[kNameRunChars][kNameReadingBytes];  // hz2py reading, upper-case
  const char* table[kNameRunChars];              // pinyin table entry (r1|r2...)
};

struct NamePass {
  char reading[kNameRunChars][kNameReadingBytes];  // upper-case
};

struct NameSpelling {
  char text[kNameSpellingBytes];
  int len;
  int first;  // characters covered, indexes into NameRun
  int last;
  unsigned char count;
  unsigned char bits;
};

// Reads the run's bytes [begin, end).
void nameRunBuild(const char* begin, const char* end, NameRun* run);

// Fills passes (room for max) as described above; returns how many (0 for a
// run without readings). nameReadings is a NameReadings value; `name` is the
// run's bytes, for the surname lookup.
int namePasses(const NameRun& run, const char* name, int bytes, bool isFirst, int nameReadings,
               NamePass* passes, int max);

// Calls fn(spelling, ctx) for the plain spellings (when plain) and then the
// mixed ones (when mix) of pass p over n characters; stops, returning false,
// as soon as fn returns false. True when all were visited.
typedef bool (*NameSpellingFn)(const NameSpelling& spelling, void* ctx);
bool forEachNameSpelling(const NamePass& p, int n, bool isFirst, bool plain, bool mix,
                         NameSpellingFn fn, void* ctx);

}  // namespace mobile_search

#endif  // KS_TEXT_NAME_SPELLINGS_H_
