// Helpers shared by the test programs: a temporary directory that is removed
// with everything below it when the object goes out of scope, and whole-file
// reads and writes for comparing stored bytes.
#ifndef KS_TESTS_TEST_UTIL_H_
#define KS_TESTS_TEST_UTIL_H_

#include <string>

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

}  // namespace ks_test

#endif  // KS_TESTS_TEST_UTIL_H_
