// ScanProgress: reports how far the indexing of one table has come.
//
// On a terminal it redraws one line in place, at most ten times a second:
//   message  [=========>          ]  1,250/3,000 rows  2,400 rows/s  ETA 0:01
// Elsewhere (a pipe, a log file) it writes a plain line after the first batch
// and then at most one a second, so that logs stay short:
//   message: 1250 of 3000 rows (41%), 2400 rows/s
// Counts are estimates while the scan runs (a batch re-reads its first row);
// finish() prints the final line.
#ifndef KS_TOOLS_KESTRIN_SEARCH_PROGRESS_H_
#define KS_TOOLS_KESTRIN_SEARCH_PROGRESS_H_

#include <chrono>
#include <cstdio>
#include <string>

namespace kestrin_tool {

class ScanProgress {
 public:
  // `done` rows of `total` were indexed by earlier runs.
  ScanProgress(std::FILE* out, std::string label, long long total, long long done);
  // Reports `done` rows of the total.
  void update(long long done);
  // Ends the report: the bar's line is closed, `note` (e.g. "interrupted")
  // is printed after the counts when not empty.
  void finish(const std::string& note);

  long long done() const { return done_; }
  long long total() const { return total_; }
  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;
  void draw();
  void writeLine();
  double rate() const;

  std::FILE* out_;
  std::string label_;
  long long total_;
  long long done_;
  long long done_at_start_;
  bool terminal_;
  int width_;
  bool wrote_line_ = false;
  long long last_written_ = -1;  // rows shown by the last plain line
  Clock::time_point start_;
  Clock::time_point last_report_;
};

// "12,345": a count with thousands separators.
std::string withCommas(long long value);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_PROGRESS_H_
