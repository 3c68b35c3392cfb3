#include "test_util.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/logging.h"

namespace ks_test {

namespace {
int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
  return ::remove(path);
}

// The sinks are plain functions, so what they capture is process-wide.
std::mutex g_log_mutex;
std::vector<std::string> g_log_lines;

void AddLine(const std::string& line) {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  g_log_lines.push_back(line);
}
}  // namespace

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/kestrin-test-XXXXXX";
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back('\0');
  if (::mkdtemp(buf.data()) != nullptr) path_ = buf.data();
}

TempDir::~TempDir() {
  if (!path_.empty() && !keep_) ::nftw(path_.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

bool FileExists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

std::string Take(char* text) {
  if (text == nullptr) return "<null>";
  std::string s(text);
  free(text);
  return s;
}

std::string Untagged(std::string text) {
  for (const std::string tag : {"<red>", "</red>"}) {
    for (size_t at; (at = text.find(tag)) != std::string::npos;) text.erase(at, tag.size());
  }
  return text;
}

std::vector<unsigned long long> Slots(const mobile_search::_DArray* arr) {
  return std::vector<unsigned long long>(arr->items, arr->items + arr->count);
}

bool IsValidUtf8(const std::string& s) {
  const unsigned char* u = reinterpret_cast<const unsigned char*>(s.data());
  const size_t n = s.size();
  for (size_t i = 0; i < n;) {
    const unsigned c = u[i];
    size_t len = c < 0x80 ? 1 : c >= 0xC2 && c <= 0xDF ? 2 : c >= 0xE0 && c <= 0xEF ? 3
                 : c >= 0xF0 && c <= 0xF4 ? 4 : 0;
    if (len == 0 || i + len > n) return false;
    unsigned cp = len == 1 ? c : c & (0x7F >> len);
    for (size_t k = 1; k < len; ++k) {
      if ((u[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (u[i + k] & 0x3F);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF))) return false;
    i += len;
  }
  return true;
}

size_t CodePoints(const std::string& s) {
  size_t n = 0;
  for (unsigned char c : s) n += (c & 0xC0) != 0x80;
  return n;
}

LogCapture::LogCapture() {
  clear();
  mobile_search::set_log_cb_func([](const char* text) {
    AddLine(std::string("plain|") + text);
    return 0;
  });
  mobile_search::set_log_level_func([](mobile_search::SEARCH_LOG_LEVEL level, const char* text) {
    AddLine(std::to_string(static_cast<int>(level)) + "|" + text);
  });
}

LogCapture::~LogCapture() {
  mobile_search::set_log_cb_func(nullptr);
  mobile_search::set_log_level_func(nullptr);
}

std::vector<std::string> LogCapture::lines() const {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  return g_log_lines;
}

std::string LogCapture::plain() const {
  std::string text;
  for (const std::string& line : lines()) {
    if (line.compare(0, 6, "plain|") == 0) text += line.substr(6);
  }
  return text;
}

void LogCapture::clear() {
  std::lock_guard<std::mutex> lock(g_log_mutex);
  g_log_lines.clear();
}

size_t LogCapture::count(const std::string& text) const {
  size_t n = 0;
  for (const std::string& line : lines()) n += line.find(text) != std::string::npos;
  return n;
}

}  // namespace ks_test
