// Log lines the bridge writes for the developer, outside the engine's own
// log channels: on Android through the system logger, elsewhere as one line
// on standard error.
//
// KS_HOST_LOG(priority, tag, format, ...) is __android_log_print on Android
// and host_log_print (below) on every other platform; both take the same
// arguments. Priorities follow Android's numbering (kHostLogInfo is 4).
//
// Thread-safe: each line is formatted first and written with one call, so
// lines from several threads do not interleave. Nothing fails visibly.
#ifndef KS_BRIDGE_HOST_LOG_H_
#define KS_BRIDGE_HOST_LOG_H_

#ifdef __ANDROID__
#include <android/log.h>
#define KS_HOST_LOG __android_log_print
#else
#define KS_HOST_LOG ::kestrinSearch::host_log_print
#endif

namespace kestrinSearch {

// Android's ANDROID_LOG_INFO.
const int kHostLogInfo = 4;

#ifndef __ANDROID__
// Writes "<priority> <tag>: <message>" and one newline to standard error; a
// newline that ends the message is not doubled. Returns the bytes written,
// or -1 when the format is null or the line cannot be formatted.
int host_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
#endif

}  // namespace kestrinSearch

#endif  // KS_BRIDGE_HOST_LOG_H_
