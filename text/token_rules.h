// Character classes, run splitting and the one-byte weight model of the
// text-analysis subsystem.
//
// TokenRules decides what kind of character a piece of UTF-8 text holds (Han,
// Latin letter, digit, kept punctuation, separator, other script), cuts a text
// into runs of one kind (worldSplit) and owns the arithmetic with which every
// index term and every hit is weighted:
//
//   match bits (low five bits of a term's weight-extension byte)
//     1  kMatchAll              the term is the whole field text / whole word
//     2  kMatchFirst            begins at the text's first character, or is an
//                               initial-letter form
//     4  kMatchPinYin           produced by pinyin conversion
//     8  kMatchAccurate         matches a complete word exactly
//     16 kMatchFirstAndAccurate first and exact (replaces 2 and 8 when merged)
//
//   base weight  1..20, the share of the field a term covers (mathBaseWeight)
//   sort weight  base weight plus bonuses for the match bits, at most 180
//                (mathSortWeight)
//
// Kept punctuation (ac_is_in_white): ! " # $ % & ' ( ) * + - / : ; = ? @ [ ] _ . Every other
// ASCII byte that is neither letter nor digit separates words.
//
// Every member is static and the class holds no data; instances exist only
// because the tokenizers and the token parser keep a TokenRules*. Safe from any
// thread. Nothing fails loudly: failures are 0 / false / -1 results, and null
// inputs yield the empty result.
#ifndef KS_TEXT_TOKEN_RULES_H_
#define KS_TEXT_TOKEN_RULES_H_

#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "text/text_options.h"

namespace mobile_search {

// Character class of a word. -1: none yet, separator or undecodable.
enum WordType : int {
  kWordNone = -1,
  kWordChina = 1,    // Han, U+4E00..U+9FA5
  kWordNumber = 2,   // '0'..'9'
  kWordZiMu = 3,     // Latin letter
  kWordPunct = 4,    // kept punctuation
  kWordOther = 5,    // decodable non-ASCII outside the ranges below
  kWordKorea = 6,
  kWordJapan = 7,
  kWordEmoji = 8,
  kWordArab = 9,
};

enum MatchBits : unsigned char {
  kMatchAll = 1,
  kMatchFirst = 2,
  kMatchPinYin = 4,
  kMatchAccurate = 8,
  kMatchFirstAndAccurate = 16,
};

class TokenRules {
 public:
  TokenRules() = default;
  virtual ~TokenRules() = default;

  // ---- Byte classes (one byte of UTF-8 text) ----
  static bool isZiMu(unsigned char c);    // 'A'..'Z', 'a'..'z'
  // Every byte >= 0x80, lead or continuation; the script test is getWordType.
  static bool isHanZi(unsigned char c);
  static bool isNumber(unsigned char c);  // '0'..'9'
  // True for a separator byte: not a Han byte, letter, digit or kept
  // punctuation. (The name says stop word; it tests separators.)
  static bool isStopWord(char c);

  // ---- Code point classes (inclusive ranges) ----
  static bool isChina(unsigned long long cp);       // U+4E00..U+9FA5
  static bool isJapan(unsigned long long cp);
  static bool isKorea(unsigned long long cp);
  static bool isEmoji(unsigned long long cp);
  static bool isShortEmoji(unsigned long long cp);  // surrogates, private use
  static bool isArab(unsigned long long cp);
  // a + b + 15300 when b > 0xDEFF (or has upper bits set), else a + b + 16323.
  static unsigned long long matchEmojiValue(unsigned long long a, unsigned long long b);

  // ---- Conversions ----
  // Decodes one character of `len` bytes into *out (cleared first); 1 on
  // success, 0 on failure. len 0: one ASCII byte as is; len 1 always fails;
  // len 2..6: continuation bytes are checked. A two-byte character must have
  // its second byte in 0x80..0x9F (so é, C3 A9, fails); longer ones need
  // 0x80..0xBF. Fails for null p / out or len > 6.
  static int utf8ToUnicode(const char* p, unsigned char len, unsigned long long* out);
  // Encodes cp in 1..6 bytes at out (no terminator, `size` not checked);
  // returns the byte count, 0 for cp >= 0x80000000.
  static int unicodeToUtf8(unsigned long long cp, char* out, int size);

  // ---- Classification and splitting ----
  // type = -1, then for a non-empty character of len bytes decodes it and sets
  // type by the first test that holds: China 1, Korea 6, Japan 7, Emoji 8,
  // Arab 9, else 5. Returns the code point, or -1 (all ones) when nothing was
  // decoded.
  static unsigned long long getWordType(const char* p, int len, WordType& type);
  // Records the class of a text's first significant character: changes
  // `first` only while it is -1 or 4; 1, 2, 3 are stored as they are, 6, 7, 8
  // as 5; 4, 5, 9 leave it unchanged.
  static void setFirstType(WordType& first, WordType t);
  // Appends len bytes at s to a new buffer in arr when last != t (returning
  // the new buffer), else to cur (returning cur). Sets last = t. Returns null
  // when a new buffer cannot be created.
  static _str_buffer_t* appendStr(const char* s, int len, _DArray* arr, _str_buffer_t* cur,
                                  WordType t, WordType& last);
  // Cuts text into runs of one class: Han runs to cn, other scripts to
  // foreign, letters to en, digits to num, kept punctuation to other;
  // separators end a run. A type change also starts a new run, so 中1中 gives
  // two runs in cn. Everything from the first undecodable non-ASCII character
  // to the end of the text is dropped (deliberately). `first` receives the
  // class of the first significant character (setFirstType). The arrays
  // receive new _str_buffer_t* that they own (create them with
  // str_buffer_free). Nothing happens for a null / empty text or a null cn,
  // en or num; a null other or foreign drops those runs. `flag` has no effect.
  // Returns 0.
  static int worldSplit(bool flag, const char* text, _DArray* cn, _DArray* en, _DArray* num,
                        _DArray* other, _DArray* foreign, WordType& first);
  // The same as `options` say. With utf8Full every well-formed UTF-8
  // character is decoded (fullWordType); symbols, emoji and each malformed
  // byte separate runs instead of ending the text:
  //   text          default             utf8Full
  //   中é文abc      cn [中]              cn [中, 文], en [abc], foreign [é]
  //   列夫·托尔     cn [列夫]            cn [列夫, 托尔]
  //   x\xC3y        en [x]              en [x, y]
  static int worldSplit(bool flag, const char* text, _DArray* cn, _DArray* en, _DArray* num,
                        _DArray* other, _DArray* foreign, WordType& first,
                        const TextOptions& options);
  // Strict UTF-8 decoding of the character at p (RFC 3629: no overlong
  // forms, surrogates or values past U+10FFFF): its byte length, 0 when the
  // bytes at p are malformed. Reads no byte past a terminator.
  static int decodeUtf8(const char* p, unsigned long long* cp);
  // Class of a decoded non-ASCII code point under utf8Full: Han (the
  // unified ideographs, Extensions A to H and the compatibility blocks) 1;
  // punctuation, symbols, emoji, private use and variation selectors -1
  // (separators); otherwise Korea 6, Japan 7, Arab 9 or other 5.
  static WordType fullWordType(unsigned long long cp);

  // ---- Weights ----
  // w = max(1, trunc(min(1, w / len) * 20)) in single precision: on entry w is
  // the term length and len the field length.
  static void mathBaseWeight(unsigned char& w, const int& len);
  // Base weight (capped at 20) plus 40 for bit 1; 80 for bit 16, else 40 for
  // bit 8 and 20 for bit 2; 20 without bit 4, and 20 more then with bit 16.
  static void mathSortWeight(unsigned char& w, unsigned char bits);
  // w |= merger of a and b: bit 1 of either; bit 16 of either (dropping 2 and
  // 8), else bits 2 and 8 of either; bit 4 only when both have it.
  static void mergeWeigthExt(unsigned char& w, unsigned char a, unsigned char b);

  // ---- Match-bit setters: OR one bit into w ----
  static void matchAll(unsigned char& w) { w |= kMatchAll; }
  static void matchFirst(unsigned char& w) { w |= kMatchFirst; }
  static void matchPinYin(unsigned char& w) { w |= kMatchPinYin; }
  static void matchAccurate(unsigned char& w) { w |= kMatchAccurate; }
  static void matchFirstAndAccurate(unsigned char& w) { w |= kMatchFirstAndAccurate; }
};

}  // namespace mobile_search

#endif  // KS_TEXT_TOKEN_RULES_H_
