// Ctrl-C handling for long-running commands (index, watch, demo).
//
// While an InterruptGuard lives, SIGINT and SIGTERM only set a flag that the
// command polls at safe points (between scan batches, between statements);
// system calls are not restarted, so a blocking read returns early. A second
// signal ends the program at once with the default action. The guard
// restores the previous handlers when it goes away.
#ifndef KS_TOOLS_KESTRIN_SEARCH_INTERRUPT_H_
#define KS_TOOLS_KESTRIN_SEARCH_INTERRUPT_H_

#include <signal.h>

namespace kestrin_tool {

class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  // True once a signal arrived.
  static bool interrupted();

 private:
  struct sigaction old_int_;
  struct sigaction old_term_;
};

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_INTERRUPT_H_
