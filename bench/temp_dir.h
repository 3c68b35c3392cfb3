// A fresh directory for a benchmark's files, made with mkdtemp under $TMPDIR
// (or /tmp when it is unset or empty). The caller removes it when done.
#ifndef KESTRIN_BENCH_TEMP_DIR_H_
#define KESTRIN_BENCH_TEMP_DIR_H_

#include <stdlib.h>

#include <string>
#include <vector>

namespace ks_bench {

// The path of a new directory named "<prefix>-XXXXXX", or an empty string
// when it cannot be made.
inline std::string MakeTempDir(const char* prefix) {
  const char* base = getenv("TMPDIR");
  const std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + prefix + "-XXXXXX";
  std::vector<char> path(pattern.begin(), pattern.end());
  path.push_back('\0');
  return mkdtemp(path.data()) == nullptr ? std::string() : std::string(path.data());
}

}  // namespace ks_bench

#endif  // KESTRIN_BENCH_TEMP_DIR_H_
