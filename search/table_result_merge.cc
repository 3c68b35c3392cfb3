// Merging a group's table result into the running one: duplicate keys are
// settled, then the entries are merged by weight. Both steps have a
// pairwise form, quadratic in the sizes, and a one-pass form used for large
// results (a search over several groups returning tens of thousands of hits
// from each would otherwise take seconds); both give the same entries in the
// same order.
#include <new>
#include <string_view>
#include <functional>
#include <vector>

#include "search/table_result.h"

namespace mobile_search {

namespace {

// Below this many key pairs the pairwise forms are cheaper than building a
// hash table or new lists.
constexpr long long kPairwiseLimit = 1 << 14;

bool Small(const TableResult* a, const TableResult* b) {
  return static_cast<long long>(a->getCount()) * b->getCount() < kPairwiseLimit;
}

// Every key of `t` as text; false when a key is missing.
bool KeysOf(const TableResult* t, std::vector<std::string_view>* keys) {
  keys->reserve(static_cast<size_t>(t->getCount()));
  for (int i = 0; i < t->getCount(); ++i) {
    const _str_buffer_t* key = t->getPkey(i);
    if (key == nullptr || key->data == nullptr || key->len < 0) return false;
    keys->emplace_back(key->data, static_cast<size_t>(key->len));
  }
  return true;
}

// Keys by their text: an open-addressing table of entry positions, one
// flat array (a node per key would cost an allocation per hit).
class KeyTable {
 public:
  explicit KeyTable(const std::vector<std::string_view>& keys) : keys_(keys) {
    size_t size = 16;
    while (size < keys.size() * 2) size *= 2;
    slots_.assign(size, -1);
    mask_ = size - 1;
  }
  // Adds entry `i`; false when its key is already there.
  bool add(int i) {
    size_t at = std::hash<std::string_view>()(keys_[static_cast<size_t>(i)]) & mask_;
    for (; slots_[at] >= 0; at = (at + 1) & mask_) {
      if (keys_[static_cast<size_t>(slots_[at])] == keys_[static_cast<size_t>(i)]) return false;
    }
    slots_[at] = i;
    return true;
  }
  // The entry holding `key`, or -1.
  int find(std::string_view key) const {
    for (size_t at = std::hash<std::string_view>()(key) & mask_; slots_[at] >= 0; at = (at + 1) & mask_) {
      if (keys_[static_cast<size_t>(slots_[at])] == key) return slots_[at];
    }
    return -1;
  }

 private:
  const std::vector<std::string_view>& keys_;
  std::vector<int> slots_;
  size_t mask_ = 0;
};

// Whether `other`'s entry beats `mine`'s for one key.
bool OtherWins(unsigned char my_field, unsigned char my_weight, unsigned char their_field,
               unsigned char their_weight) {
  if (my_field != their_field) return their_field < my_field;
  return their_weight > my_weight;
}

}  // namespace

int TableResult::filterSamePkeyInTableResult(TableResult* other) {
  if (other == nullptr) return 0;
  int removed = 0;
  if (!Small(this, other) && filterSamePkeyHashed(other, &removed)) return removed;
  return filterSamePkeyPairwise(other);
}

int TableResult::filterSamePkeyPairwise(TableResult* other) {
  int removed = 0;
  int i = 0;
  while (i < other->getCount()) {
    _str_buffer_t* key = other->getPkey(i);
    int j = 0;
    const int mine = getCount();
    while (j < mine && str_buffer_compare(getPkey(j), key) != 0) ++j;
    if (j == mine) {
      ++i;
      continue;
    }
    ++removed;
    if (OtherWins(getFieldId(j), getWeight(j), other->getFieldId(i), other->getWeight(i))) {
      deleteDoc(j);
      ++i;
    } else {
      // The entry now at `i` is the next one of `other`: examine it again.
      other->deleteDoc(i);
    }
  }
  return removed;
}

// With every key unique within each side, each shared key is settled once
// and on its own, whatever order the pairwise scan would visit it in.
bool TableResult::filterSamePkeyHashed(TableResult* other, int* removed) {
  try {
    std::vector<std::string_view> mine, theirs;
    if (!KeysOf(this, &mine) || !KeysOf(other, &theirs)) return false;
    KeyTable where(mine), seen(theirs);
    for (size_t j = 0; j < mine.size(); ++j) {
      if (!where.add(static_cast<int>(j))) return false;
    }
    for (size_t i = 0; i < theirs.size(); ++i) {
      if (!seen.add(static_cast<int>(i))) return false;
    }
    std::vector<unsigned char> drop_mine(mine.size(), 0), drop_theirs(theirs.size(), 0);
    int count = 0;
    for (size_t i = 0; i < theirs.size(); ++i) {
      const int j = where.find(theirs[i]);
      if (j < 0) continue;
      const int at = static_cast<int>(i);
      ++count;
      if (OtherWins(getFieldId(j), getWeight(j), other->getFieldId(at), other->getWeight(at))) {
        drop_mine[static_cast<size_t>(j)] = 1;
      } else {
        drop_theirs[i] = 1;
      }
    }
    removeMarked(drop_mine.data());
    other->removeMarked(drop_theirs.data());
    *removed = count;
    return true;
  } catch (const std::bad_alloc&) {
    return false;  // nothing was changed before the tables were made
  }
}

void TableResult::removeMarked(const unsigned char* marks) {
  const unsigned int n = pkey_arr_->length();
  const auto lists = entryLists();
  unsigned int kept = 0;
  for (unsigned int i = 0; i < n; ++i) {
    if (marks[i] != 0) {
      freeKey(static_cast<_str_buffer_t*>(slot_to_ptr(pkey_arr_->items[i])));
      --docs_found_;
      continue;
    }
    for (ArrayList** list : lists) (*list)->items[kept] = (*list)->items[i];
    ++kept;
  }
  for (ArrayList** list : lists) {
    for (unsigned int i = kept; i < n; ++i) (*list)->items[i] = 0;
    (*list)->count = kept;
  }
}

int TableResult::mergeAndSortTableResult(TableResult* other) {
  if (other == nullptr) return 0;
  if (!Small(this, other) && mergeAndSortInOnePass(other)) return other->getCount();
  return mergeAndSortByInsertion(other);
}

int TableResult::mergeAndSortByInsertion(TableResult* other) {
  const int n = other->getCount();
  int j = 0;
  for (int i = 0; i < n; ++i) {
    const unsigned char weight = other->getWeight(i);
    while (j < getCount() && getWeight(j) >= weight) ++j;
    insert(j, other->getPkey(i), weight, other->getFieldId(i),
           other->getDocId(i), other->getGroupName(i));
    ++j;
  }
  return n;
}

// Each entry of `other` goes after every entry of this result that the
// insertion would have stepped over (weight not lower than its own) and
// before the rest; the entries it inserted earlier stay before it.
bool TableResult::mergeAndSortInOnePass(TableResult* other) {
  const unsigned int m = pkey_arr_->length();
  const unsigned int n = static_cast<unsigned int>(other->getCount());
  ArrayList* merged[5] = {};  // in entryLists() order
  std::vector<_str_buffer_t*> copies;
  bool ready = true;
  try {
    copies.reserve(n);
  } catch (const std::bad_alloc&) {
    return false;
  }
  keys_.reserve(n);
  for (unsigned int i = 0; i < n && ready; ++i) {
    copies.push_back(copyKey(other->getPkey(static_cast<int>(i))));
    ready = copies.back() != nullptr;
  }
  for (ArrayList*& list : merged) {
    list = ready ? new (std::nothrow) ArrayList(nullptr) : nullptr;
    ready = ready && list != nullptr && list->reserve(m + n) == RET_OK;
  }
  if (!ready) {
    for (_str_buffer_t* key : copies) freeKey(key);
    for (ArrayList* list : merged) delete list;
    return false;
  }
  const auto mine = entryLists();
  auto take_mine = [&](unsigned int p) {
    for (size_t l = 0; l < mine.size(); ++l) merged[l]->add((*mine[l])->items[p]);
  };
  unsigned int p = 0;
  for (unsigned int i = 0; i < n; ++i) {
    const int at = static_cast<int>(i);
    const unsigned char weight = other->getWeight(at);
    while (p < m && getWeight(static_cast<int>(p)) >= weight) take_mine(p++);
    merged[0]->add(static_cast<const void*>(copies[i]));
    merged[1]->add(static_cast<unsigned long long>(other->getDocId(at)));
    merged[2]->add(static_cast<unsigned long long>(other->getFieldId(at)));
    merged[3]->add(static_cast<unsigned long long>(weight));
    merged[4]->add(static_cast<const void*>(other->getGroupName(at)));
  }
  while (p < m) take_mine(p++);
  for (size_t l = 0; l < mine.size(); ++l) {
    delete *mine[l];
    *mine[l] = merged[l];
  }
  return true;
}

}  // namespace mobile_search
