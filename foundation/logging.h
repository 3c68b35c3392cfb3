// The engine's two process-wide logging channels.
//
// Plain channel: enabled once the host bridge calls set_log_cb_func(). Each
// message is formatted (at most 1023 bytes, longer text is cut) and handed to
// the sink as it is: no level, prefix or time stamp; the format supplies any
// trailing "\n". A fixed text goes through log_printf("%s \n", "text").
// Messages are formatted into a per-thread buffer, so threads logging at once
// do not garble each other; g_log_str_buf only marks the channel as set up.
//
// Levelled channel: a message of level L reaches the levelled sink when
// g_log_level <= L and a sink is installed. Nothing in the library installs
// one, so by default levelled messages are dropped.
//
// The setters are plain stores meant for start-up, before other threads log.
// Logging never fails visibly: a missing sink drops the message.
#ifndef KS_FOUNDATION_LOGGING_H_
#define KS_FOUNDATION_LOGGING_H_

namespace mobile_search {

// Larger is more severe; messages use 1, 2 and 4, thresholds may also be 0, 3.
enum SEARCH_LOG_LEVEL : int {
  SEARCH_LOG_INFO = 1,   // progress notes
  SEARCH_LOG_WARN = 2,   // significant automatic actions
  SEARCH_LOG_ERROR = 4,  // failures
};

typedef int (*log_call_back_func_t)(const char* text);
typedef void (*log_level_call_back_func_t)(SEARCH_LOG_LEVEL level, const char* text);

extern log_call_back_func_t g_log_call_back_func;              // plain sink, null
extern char* g_log_str_buf;                                    // 1025 bytes once set up
extern log_level_call_back_func_t g_log_level_call_back_func;  // levelled sink, null
extern SEARCH_LOG_LEVEL g_log_level;                           // threshold, 2

// Installs the plain sink and allocates the channel's 1025-byte buffer (a
// former buffer is kept alive: the call is meant to be made once).
void set_log_cb_func(log_call_back_func_t cb);
void set_log_level_func(log_level_call_back_func_t cb);
void set_log_level(SEARCH_LOG_LEVEL level);

// Plain channel.
void log_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Levelled channel.
void log_level_printf(SEARCH_LOG_LEVEL level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace mobile_search

#endif  // KS_FOUNDATION_LOGGING_H_
