#include "storage/doc_state_table.h"

#include <new>

namespace mobile_search {

void DocStateTable::clear() {
  std::vector<unsigned char>().swap(states_);
  palette_.clear();
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
      states_.resize(docid + 1, kUncovered);
    }
    const unsigned char index = paletteIndex(tableId);
    states_[docid] = index == kUncovered ? kUncovered
                                         : static_cast<unsigned char>(index | (deleted ? kDeletedBit : 0));
  } catch (const std::bad_alloc&) {
    clear();
  }
}

void DocStateTable::setDeleted(unsigned int docid, bool deleted) {
  if (docid >= states_.size() || states_[docid] == kUncovered) return;
  states_[docid] = static_cast<unsigned char>((states_[docid] & ~kDeletedBit) | (deleted ? kDeletedBit : 0));
}

size_t DocStateTable::memoryBytes() const {
  return states_.capacity() + palette_.capacity() * sizeof(unsigned int);
}

}  // namespace mobile_search
