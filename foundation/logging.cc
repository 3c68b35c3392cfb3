#include "foundation/logging.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

namespace mobile_search {

namespace {

const size_t kLogBufferBytes = 1025;
const size_t kLogTextBytes = 1024;

}  // namespace

log_call_back_func_t g_log_call_back_func = nullptr;
char* g_log_str_buf = nullptr;
log_level_call_back_func_t g_log_level_call_back_func = nullptr;
SEARCH_LOG_LEVEL g_log_level = SEARCH_LOG_WARN;

void set_log_cb_func(log_call_back_func_t cb) {
  g_log_call_back_func = cb;
  // The call is made once at start-up; a repeated call keeps the existing
  // buffer rather than leaking it.
  if (g_log_str_buf == nullptr) g_log_str_buf = static_cast<char*>(calloc(kLogBufferBytes, 1));
}

void set_log_level_func(log_level_call_back_func_t cb) { g_log_level_call_back_func = cb; }

void set_log_level(SEARCH_LOG_LEVEL level) { g_log_level = level; }

void log_printf(const char* format, ...) {
  log_call_back_func_t sink = g_log_call_back_func;
  if (sink == nullptr || g_log_str_buf == nullptr || format == nullptr) return;
  // One buffer per thread instead of one shared buffer: the same texts, but
  // threads logging at once cannot garble each other.
  thread_local char text[kLogBufferBytes];
  va_list args;
  va_start(args, format);
  vsnprintf(text, kLogTextBytes, format, args);
  va_end(args);
  sink(text);
}

void log_level_printf(SEARCH_LOG_LEVEL level, const char* format, ...) {
  log_level_call_back_func_t sink = g_log_level_call_back_func;
  if (g_log_level > level || sink == nullptr || format == nullptr) return;
  char* text = static_cast<char*>(calloc(kLogBufferBytes, 1));
  if (text == nullptr) return;
  va_list args;
  va_start(args, format);
  vsnprintf(text, kLogTextBytes, format, args);
  va_end(args);
  sink(level, text);
  free(text);
}

}  // namespace mobile_search
