#include "interrupt.h"

#include <cstring>

namespace kestrin_tool {
namespace {

volatile sig_atomic_t g_interrupted = 0;

void onSignal(int) { g_interrupted = 1; }

void install(int signal_number, struct sigaction* old) {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a blocking read returns with EINTR. SA_RESETHAND: the
  // second signal takes the default action.
  action.sa_flags = SA_RESETHAND;
  sigaction(signal_number, &action, old);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  g_interrupted = 0;
  install(SIGINT, &old_int_);
  install(SIGTERM, &old_term_);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &old_int_, nullptr);
  sigaction(SIGTERM, &old_term_, nullptr);
}

bool InterruptGuard::interrupted() { return g_interrupted != 0; }

}  // namespace kestrin_tool
