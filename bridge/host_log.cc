#include "bridge/host_log.h"

#ifndef __ANDROID__

#include <stdarg.h>
#include <stdio.h>

#include <string>

namespace kestrinSearch {

int host_log_print(int priority, const char* tag, const char* format, ...) {
  if (format == nullptr) return -1;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int length = vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (length < 0) {
    va_end(again);
    return -1;
  }
  std::string message(static_cast<size_t>(length) + 1, '\0');
  vsnprintf(&message[0], message.size(), format, again);
  va_end(again);
  message.resize(static_cast<size_t>(length));
  if (!message.empty() && message.back() == '\n') message.pop_back();

  std::string line =
      std::to_string(priority) + " " + (tag != nullptr ? tag : "") + ": " + message + "\n";
  // One write per line keeps lines of concurrent callers whole.
  size_t written = fwrite(line.data(), 1, line.size(), stderr);
  fflush(stderr);
  return static_cast<int>(written);
}

}  // namespace kestrinSearch

#endif  // __ANDROID__
