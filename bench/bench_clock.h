// Clocks and the memory figure every benchmark reports: seconds of a POSIX
// clock (CLOCK_MONOTONIC for wall time, CLOCK_THREAD_CPUTIME_ID for the
// calling thread's CPU time) and the process's peak resident memory.
#ifndef KESTRIN_BENCH_BENCH_CLOCK_H_
#define KESTRIN_BENCH_BENCH_CLOCK_H_

#include <sys/resource.h>
#include <time.h>

namespace ks_bench {

inline double Seconds(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Peak resident set size in MiB (ru_maxrss is in KiB).
inline double PeakRssMb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

}  // namespace ks_bench

#endif  // KESTRIN_BENCH_BENCH_CLOCK_H_
