#include "storage/doc_state_table.h"

#include <new>

namespace mobile_search {

void DocStateTable::clear() {
  std::vector<unsigned char>().swap(states_);
  std::vector<unsigned short>().swap(blocks_);
  palette_.clear();
}

void DocStateTable::note(unsigned int docid, unsigned char state) {
  const size_t b = docid >> kBlockShift;
  if (b >= blocks_.size()) blocks_.resize(b + 1, kFresh);
  if (blocks_[b] == kFresh) {
    blocks_[b] = state;
  } else if (blocks_[b] != state) {
    blocks_[b] = kMixed;
  }
}

int DocStateTable::uniformState(unsigned int first, unsigned int last) const {
  if (first > last || last >= states_.size()) return -1;
  const unsigned short s = blocks_[first >> kBlockShift];
  if (s > 0xFF) return -1;
  for (size_t b = (first >> kBlockShift) + 1; b <= (last >> kBlockShift); ++b) {
    if (blocks_[b] != s) return -1;
  }
  return s;
}

unsigned char DocStateTable::paletteIndex(unsigned int tableId) {
  for (size_t i = 0; i < palette_.size(); ++i) {
    if (palette_[i] == tableId) return static_cast<unsigned char>(i);
  }
  if (palette_.size() >= kUncovered) return kUncovered;
  palette_.push_back(tableId);
  return static_cast<unsigned char>(palette_.size() - 1);
}

void DocStateTable::set(unsigned int docid, unsigned int tableId, bool deleted) {
  try {
    if (docid >= states_.size()) {
      // Doubling keeps appends in doc-id order amortised constant.
      if (docid >= states_.capacity()) states_.reserve(docid + 1 + states_.size());
      if ((docid >> kBlockShift) >= blocks_.capacity()) blocks_.reserve((docid >> kBlockShift) + 1 + blocks_.size());
      for (unsigned int gap = static_cast<unsigned int>(states_.size()); gap < docid; ++gap) note(gap, kUncovered);
      states_.resize(docid + 1, kUncovered);
    }
    const unsigned char index = paletteIndex(tableId);
    states_[docid] = index == kUncovered ? kUncovered
                                         : static_cast<unsigned char>(index | (deleted ? kDeletedBit : 0));
    note(docid, states_[docid]);
  } catch (const std::bad_alloc&) {
    clear();
  }
}

void DocStateTable::setDeleted(unsigned int docid, bool deleted) {
  if (docid >= states_.size() || states_[docid] == kUncovered) return;
  states_[docid] = static_cast<unsigned char>((states_[docid] & ~kDeletedBit) | (deleted ? kDeletedBit : 0));
  note(docid, states_[docid]);
}

size_t DocStateTable::memoryBytes() const {
  return states_.capacity() + blocks_.capacity() * sizeof(unsigned short) +
         palette_.capacity() * sizeof(unsigned int);
}

}  // namespace mobile_search
