// Helpers shared by the test programs: a temporary directory that is removed
// with everything below it when the object goes out of scope, whole-file
// reads and writes for comparing stored bytes, engine texts taken over as
// strings, highlighter tags taken out, an array's slots, UTF-8 checks, and a
// capture of the engine's log channels.
#ifndef KS_TESTS_TEST_UTIL_H_
#define KS_TESTS_TEST_UTIL_H_

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/dynamic_array.h"

namespace ks_test {

class TempDir {
 public:
  TempDir();   // creates a fresh directory under $TMPDIR (or /tmp)
  ~TempDir();  // removes it recursively
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // Leaves the directory in place (to inspect after a failure).
  void keep() { keep_ = true; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
  bool keep_ = false;
};

// Whole file as bytes; empty string when it cannot be read.
std::string ReadFile(const std::string& path);
// Replaces the file's content; returns false on any I/O error.
bool WriteFile(const std::string& path, const std::string& bytes);
bool FileExists(const std::string& path);

// Takes over a malloc'd engine text; "<null>" for null.
std::string Take(char* text);

// `text` without any "<red>" or "</red>" (the highlighter's tags).
std::string Untagged(std::string text);

// The slots of an array, in order.
std::vector<unsigned long long> Slots(const mobile_search::_DArray* arr);

// Well-formed UTF-8: shortest forms only, at most U+10FFFF. Surrogates pass:
// text from the host's VM (modified UTF-8) writes a supplementary character
// as two three-byte surrogates.
bool IsValidUtf8(const std::string& s);
// Code points of a string already known to be valid UTF-8.
size_t CodePoints(const std::string& s);

// Both log channels of the engine (process-wide: one capture at a time),
// captured from construction until destruction, which removes the sinks.
// Plain lines are kept as "plain|text", levelled ones as "<level>|text".
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines() const;
  // The plain channel's texts alone, one after the other.
  std::string plain() const;
  void clear();
  // How many lines contain `text`.
  size_t count(const std::string& text) const;
};

}  // namespace ks_test

#endif  // KS_TESTS_TEST_UTIL_H_
