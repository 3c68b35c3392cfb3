#!/usr/bin/env python3
"""Generates text/pinyin_tables.cc, the three language tables of the pinyin
converter, from Unicode's Unihan database (Debian package unicode-data).

    tools/gen_pinyin_tables.py [--unihan DIR] [--out FILE | --check FILE]

DIR defaults to /usr/share/unicode (Unihan_Readings.txt.bz2 and
Unihan_OtherMappings.txt.bz2), FILE to text/pinyin_tables.cc next to this
script. With --out - the file goes to standard output. The output depends
only on the input files: re-running on the same Unihan release reproduces it
byte for byte. With --check FILE nothing is written: the exit status is 0
when FILE equals what would be generated, 1 otherwise (a CTest test runs
this against the checked-in file).

Readings are written toneless and lower case, with u-umlaut as "v" (lv, nv,
lve, nve: what users type on a keyboard).

Pinyin table (one entry per code point U+4E00..U+9FA5): every modern
reading of the character, the most common first.
  * Modern readings come from kHanyuPinlu (a frequency count over a corpus of
    contemporary texts), kMandarin (the customary reading) and the two
    modern dictionaries kTGHZ2013 and kXHC1983.
  * kHanyuPinyin (Hanyu Da Zidian) also lists classical and obsolete
    readings (it gives tong for 重); it is used only for characters that
    neither modern dictionary covers, which are rare characters whose
    only source it is.
  * Order: kMandarin's reading (the customary reading for the mainland),
    then the other kHanyuPinlu readings by falling frequency, then the rest
    of kMandarin and the dictionaries in their own order. kMandarin comes
    first because the corpus also counts particle uses: by kHanyuPinlu alone
    呵 would read a (the sentence particle) rather than he.
  * PREFERRED_FIRST below overrides the first reading of the few characters
    whose established reading neither guide gives first.
  * The erhua suffix "r" that kHanyuPinlu counts for 儿 is not a reading.
  * A character without any Mandarin reading gets the empty string, so no
    entry is null and lookups never need a null check.

Common-character table: the characters of levels 1 and 2 of the Table of
General Standard Chinese Characters (kTGH, 2013), 6,500 characters in
general use, each with its usual reading (the first entry of the pinyin
table). kTGH is chosen over GB 2312 (kGB0) because it is the current
standard list: GB 2312 dates from 1980, misses characters now in everyday
use and carries obsolete ones. Characters outside U+4E00..U+9FA5 are left
out, because rows hold a three-byte UTF-8 form. Rows are sorted by pinyin,
then by code point; a second array lists the row numbers in code point order
for lookups by character.

Syllable table: the toneless syllables that occur among all readings of the
common characters, sorted in byte order.
"""

import os
import sys
import unicodedata

import generator_cli

FIRST_CP = 0x4E00
LAST_CP = 0x9FA5
WORK_BUFFER = 30          # the converter copies an entry into 30 bytes
COMMON_ROW_PINYIN = 8     # bytes 8..15 of a common-character row
SYLLABLE_ROW = 7


def toneless(reading):
    """Strips tone marks: zhōng -> zhong, lǚ -> lv, ê̄ -> e."""
    out = []
    for ch in unicodedata.normalize("NFD", reading.lower()):
        if unicodedata.combining(ch):
            if ch == "\u0308":  # diaeresis: u-umlaut becomes v
                if out and out[-1] == "u":
                    out[-1] = "v"
            continue
        out.append(ch)
    text = "".join(out)
    if not text.isascii() or not text.isalpha():
        raise ValueError("unexpected reading %r" % reading)
    return text


def dictionary_readings(value):
    """kTGHZ2013 / kXHC1983 / kHanyuPinyin: 'loc:r1,r2 loc:r3' -> [r1, r2, r3]."""
    out = []
    for item in value.split():
        out.extend(item.split(":", 1)[1].split(","))
    return out


def pinlu_readings(value):
    """kHanyuPinlu: 'zhǎng(1879) cháng(1179)' -> [(zhang, 1879), (chang, 1179)]."""
    counts = {}
    for item in value.split():
        reading, count = item[:-1].split("(")
        syl = toneless(reading)
        if syl == "r":      # erhua suffix, not a reading of its own
            continue
        counts[syl] = counts.get(syl, 0) + int(count)
    return sorted(counts.items(), key=lambda kv: -kv[1])


def append_unique(seq, items):
    for item in items:
        if item not in seq:
            seq.append(item)


# Established first readings that neither guide gives. 长 (長) is read chang,
# its citation reading ("long"); the corpus counts zhang higher because of
# titles such as 校长 and 部长, and kMandarin follows the corpus there.
PREFERRED_FIRST = {0x957F: ["chang"], 0x9577: ["chang"]}


def readings_of(cp, f):
    dictionaries = []
    for field in ("kTGHZ2013", "kXHC1983"):
        if cp in f[field]:
            append_unique(dictionaries,
                          [toneless(r) for r in dictionary_readings(f[field][cp])])
    mandarin = [toneless(r) for r in f["kMandarin"].get(cp, "").split()]

    pinlu = [syl for syl, _ in pinlu_readings(f["kHanyuPinlu"].get(cp, ""))]
    out = []
    append_unique(out, PREFERRED_FIRST.get(cp, []))
    append_unique(out, mandarin[:1])
    append_unique(out, pinlu)
    append_unique(out, mandarin)
    append_unique(out, dictionaries)
    if not dictionaries and cp in f["kHanyuPinyin"]:
        append_unique(out, [toneless(r) for r in dictionary_readings(f["kHanyuPinyin"][cp])])
    return out


def fit_work_buffer(readings):
    """Keeps the most common readings that fit the converter's work buffer."""
    kept = []
    for r in readings:
        if len("|".join(kept + [r])) < WORK_BUFFER:
            kept.append(r)
    return kept


def c_string(s):
    return '"' + s + '"'


def generate(unihan_dir):
    read = generator_cli.read_unihan_fields
    readings = read(os.path.join(unihan_dir, "Unihan_Readings.txt.bz2"),
                    ["kHanyuPinlu", "kMandarin", "kTGHZ2013", "kXHC1983", "kHanyuPinyin"])
    other = read(os.path.join(unihan_dir, "Unihan_OtherMappings.txt.bz2"), ["kTGH"])

    table = []
    for cp in range(FIRST_CP, LAST_CP + 1):
        table.append("|".join(fit_work_buffer(readings_of(cp, readings))))

    common = []
    for cp, value in other["kTGH"].items():
        level_index = int(value.split(":")[1])
        if level_index > 6500 or not FIRST_CP <= cp <= LAST_CP:
            continue
        usual = table[cp - FIRST_CP].split("|")[0]
        if usual and len(usual) < COMMON_ROW_PINYIN - 1:
            common.append((usual, cp))
    common.sort()

    syllables = sorted({r for _, cp in common for r in table[cp - FIRST_CP].split("|")})

    lines = []
    w = lines.append
    w("// Generated by tools/gen_pinyin_tables.py from Unihan_Readings.txt and")
    w("// Unihan_OtherMappings.txt (Unicode Character Database). Do not edit.")
    w("// %d pinyin entries, %d with several readings; %d common characters;"
      % (len(table), sum(1 for s in table if "|" in s), len(common)))
    w("// %d syllables." % len(syllables))
    w("")
    w('#include "text/pinyin_tables.h"')
    w("")
    w("const char* const _pinyin_table_[kPinyinTableSize] = {")
    for cp, s in zip(range(FIRST_CP, LAST_CP + 1), table):
        w("    %s,  // U+%04X %s" % (c_string(s), cp, chr(cp)))
    w("};")
    w("")
    w("namespace mobile_search {")
    w("")
    w("const unsigned char kCommonHanziTable[%d][kCommonHanziRow] = {" % len(common))
    for pinyin, cp in common:
        utf8 = chr(cp).encode("utf-8")
        row = list(utf8) + [0] * (8 - len(utf8)) + list(pinyin.encode()) + [0] * (8 - len(pinyin))
        w("    {%s},  // %s %s" % (", ".join("0x%02X" % b for b in row), chr(cp), pinyin))
    w("};")
    w("")
    w("const char kPinyinSyllables[%d][kPinyinSyllableRow] = {" % len(syllables))
    for s in syllables:
        w("    %s," % c_string(s))
    w("};")
    w("")
    w("const unsigned short kCommonHanziByCode[%d] = {" % len(common))
    by_code = sorted(range(len(common)), key=lambda i: common[i][1])
    for start in range(0, len(by_code), 12):
        w("    " + " ".join("%d," % i for i in by_code[start:start + 12]))
    w("};")
    w("")
    w("const int kCommonHanziCount = %d;" % len(common))
    w("const int kPinyinSyllableCount = %d;" % len(syllables))
    w("")
    w("}  // namespace mobile_search")
    return "\n".join(lines) + "\n"


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    return generator_cli.run(__file__, __doc__.split("\n")[0],
                             os.path.join(here, "..", "text", "pinyin_tables.cc"), generate)

if __name__ == "__main__":
    sys.exit(main())
