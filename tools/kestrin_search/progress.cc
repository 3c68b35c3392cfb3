#include "progress.h"

#include <algorithm>

#include "terminal.h"

namespace kestrin_tool {

std::string withCommas(long long value) {
  std::string digits = std::to_string(value < 0 ? -value : value);
  std::string out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return value < 0 ? "-" + out : out;
}

ScanProgress::ScanProgress(std::FILE* out, std::string label, long long total, long long done)
    : out_(out),
      label_(std::move(label)),
      total_(total),
      done_(done),
      done_at_start_(done),
      terminal_(isTerminal(out)),
      width_(terminalWidth(out)),
      start_(Clock::now()),
      last_report_(start_) {}

double ScanProgress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

double ScanProgress::rate() const {
  double elapsed = seconds();
  return elapsed > 0 ? (done_ - done_at_start_) / elapsed : 0;
}

void ScanProgress::update(long long done) {
  done_ = std::min(done, total_);
  Clock::time_point now = Clock::now();
  double since = std::chrono::duration<double>(now - last_report_).count();
  if (terminal_) {
    if (since < 0.1 && done_ < total_) return;
    last_report_ = now;
    draw();
  } else if (!wrote_line_ || since >= 1.0) {
    last_report_ = now;
    writeLine();
  }
}

void ScanProgress::draw() {
  char counts[160];
  std::string eta = "";
  double per_second = rate();
  if (per_second > 0 && done_ < total_) {
    long long left = static_cast<long long>((total_ - done_) / per_second);
    eta = "  ETA " + std::to_string(left / 60) + ":" + (left % 60 < 10 ? "0" : "") +
          std::to_string(left % 60);
  }
  std::snprintf(counts, sizeof counts, "  %s/%s rows  %s rows/s%s", withCommas(done_).c_str(),
                withCommas(total_).c_str(), withCommas(static_cast<long long>(per_second)).c_str(),
                eta.c_str());
  std::string label = fitWidth(label_, 20, false);
  int bar = width_ - displayWidth(label) - displayWidth(counts) - 5;
  bar = std::max(10, std::min(bar, 40));
  int filled = total_ > 0 ? static_cast<int>(bar * done_ / total_) : bar;
  std::string line = label + "  [" + std::string(filled, '=') +
                     (filled < bar ? ">" + std::string(bar - filled - 1, ' ') : "") + "]" + counts;
  std::fprintf(out_, "\r%s\033[K", line.c_str());
  std::fflush(out_);
}

void ScanProgress::writeLine() {
  wrote_line_ = true;
  last_written_ = done_;
  int percent = total_ > 0 ? static_cast<int>(100 * done_ / total_) : 100;
  std::fprintf(out_, "%s: %lld of %lld rows (%d%%)", label_.c_str(), done_, total_, percent);
  if (done_ > done_at_start_) std::fprintf(out_, ", %lld rows/s", static_cast<long long>(rate()));
  std::fputc('\n', out_);
  std::fflush(out_);
}

void ScanProgress::finish(const std::string& note) {
  if (terminal_) {
    draw();
    std::fprintf(out_, "%s\n", note.empty() ? "" : ("  " + note).c_str());
  } else {
    if (last_written_ != done_) writeLine();
    if (!note.empty()) std::fprintf(out_, "%s: %s\n", label_.c_str(), note.c_str());
  }
  std::fflush(out_);
}

}  // namespace kestrin_tool
