// Surname readings: the reading a character takes when it is a family name,
// for the surnames whose reading as a name differs from the character's
// usual one (曾 zeng, not ceng; 单 shan, not dan), and the two-character
// compound surnames among them (万俟 mo qi, 尉迟 yu chi).
//
// The list is curated and checked in (surname_readings.cc names its
// source); every reading in it is one of the character's readings in the
// pinyin table, which a test checks. Read-only static data: safe from any
// thread.
#ifndef KS_TEXT_SURNAME_READINGS_H_
#define KS_TEXT_SURNAME_READINGS_H_

namespace mobile_search {

struct SurnameReading {
  const char* surname;      // UTF-8, one or two Han characters
  const char* readings[2];  // lower-case, one per character (second null for one)
};

extern const SurnameReading kSurnameReadings[];
extern const int kSurnameReadingCount;

// The entry for the surname that `name` (UTF-8, `bytes` long) begins with:
// a two-character surname before a one-character one; null when there is
// none.
const SurnameReading* findSurname(const char* name, int bytes);

}  // namespace mobile_search

#endif  // KS_TEXT_SURNAME_READINGS_H_
