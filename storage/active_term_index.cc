#include "storage/active_term_index.h"

#include <new>

namespace mobile_search {

namespace {

// Term signs of short terms are their own bytes (a Han character's first
// byte is one of a few values): the high bits of a 64-bit product mix them.
size_t SlotOf(unsigned int sign, size_t mask) {
  return static_cast<size_t>((static_cast<unsigned long long>(sign) * 0x9E3779B97F4A7C15ull) >> 40) & mask;
}

}  // namespace

void ActiveTermIndex::clear() {
  std::vector<Slot>().swap(slots_);
  std::vector<unsigned int>().swap(next_);
  used_ = 0;
  ok_ = true;
}

const ActiveTermIndex::Slot* ActiveTermIndex::find(unsigned int sign) const {
  if (slots_.empty()) return nullptr;
  const size_t mask = slots_.size() - 1;
  for (size_t i = SlotOf(sign, mask);; i = (i + 1) & mask) {
    const Slot& s = slots_[i];
    if (s.count == 0) return nullptr;
    if (s.sign == sign) return &s;
  }
}

bool ActiveTermIndex::grow() {
  try {
    std::vector<Slot> old(slots_.empty() ? 1024 : slots_.size() * 2, Slot{0, kNone, kNone, 0});
    old.swap(slots_);
    const size_t mask = slots_.size() - 1;
    for (const Slot& s : old) {
      if (s.count == 0) continue;
      size_t i = SlotOf(s.sign, mask);
      while (slots_[i].count != 0) i = (i + 1) & mask;
      slots_[i] = s;
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void ActiveTermIndex::add(unsigned int sign, unsigned int index) {
  if (!ok_) return;
  try {
    // Linear probing stays short up to three quarters full.
    if ((used_ + 1) * 4 > slots_.size() * 3 && !grow()) throw std::bad_alloc();
    if (index >= next_.size()) next_.resize(index + 1, kNone);
  } catch (const std::bad_alloc&) {
    clear();
    ok_ = false;
    return;
  }
  const size_t mask = slots_.size() - 1;
  size_t i = SlotOf(sign, mask);
  while (slots_[i].count != 0 && slots_[i].sign != sign) i = (i + 1) & mask;
  Slot& s = slots_[i];
  if (s.count == 0) {
    s = Slot{sign, index, index, 1};
    ++used_;
    return;
  }
  next_[s.tail] = index;
  s.tail = index;
  ++s.count;
}

unsigned int ActiveTermIndex::first(unsigned int sign) const {
  const Slot* s = find(sign);
  return s == nullptr ? kNone : s->head;
}

unsigned int ActiveTermIndex::count(unsigned int sign) const {
  const Slot* s = find(sign);
  return s == nullptr ? 0 : s->count;
}

size_t ActiveTermIndex::memoryBytes() const {
  return slots_.capacity() * sizeof(Slot) + next_.capacity() * sizeof(unsigned int);
}

}  // namespace mobile_search
