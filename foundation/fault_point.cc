#include "foundation/fault_point.h"

#include <atomic>
#include <cstring>
#include <new>

namespace {
std::atomic<const char*> g_armed{nullptr};
}  // namespace

void ks_fault_arm(const char* name) { g_armed.store(name); }

void ks_fault_point(const char* name) {
  const char* armed = g_armed.load(std::memory_order_relaxed);
  if (armed == nullptr || strcmp(armed, name) != 0) return;
  if (g_armed.compare_exchange_strong(armed, nullptr)) throw std::bad_alloc();
}
