// Open-addressing map from 32-bit keys to values, as kept in memory by the
// document id store (values there are _DArray* buckets of doc ids).
//
// Layout: `capacity` entries, zero-filled; each entry is {key, value, used}.
// A key's home slot is |key mod capacity| with the key read as a signed 32-bit
// integer (truncating remainder); probing steps to (slot + 1) mod capacity and
// never runs longer than kProbeLength slots.
//
// Ownership: the map owns its entry array, not the values; the owner frees the
// values (hash_value_free for _DArray* buckets) before destroying the map.
// Entries are never removed. `size` counts puts since the last rehash
// (overwrites included), which drives rehashing at half capacity.
//
// Failure: put returns -1 when the entry array cannot be grown (the map is left
// as it was); get returns a value-initialised T when the key is absent.
// Threads: no locking inside; the owner serialises access.
#ifndef KS_FOUNDATION_HASH_MAP_H_
#define KS_FOUNDATION_HASH_MAP_H_

#include <new>

namespace mobile_search {

template <typename T>
class hashmap {
 public:
  static const int kProbeLength = 32;

  struct entry {
    unsigned int key;
    T value;
    bool used;
  };

  explicit hashmap(int initial_capacity) : capacity(0), size(0), entries(nullptr) {
    if (initial_capacity < 1) initial_capacity = 1;
    entries = new (std::nothrow) entry[initial_capacity]();
    if (entries != nullptr) capacity = initial_capacity;
  }
  ~hashmap() { delete[] entries; }
  hashmap(const hashmap&) = delete;
  hashmap& operator=(const hashmap&) = delete;

  bool valid() const { return entries != nullptr; }

  int home_slot(unsigned int key) const {
    int r = static_cast<int>(key) % capacity;
    return r < 0 ? -r : r;
  }

  // Stores value under key (overwriting an equal key found within the probe
  // run). Rehashes first at half capacity, and again whenever the whole probe
  // run is taken by other keys. 0, or -1 when growing failed.
  int put(unsigned int key, const T& value) {
    if (entries == nullptr) return -1;
    for (;;) {
      if (size >= capacity / 2 && rehash() != 0) return -1;
      int slot = find_put_slot(key);
      if (slot < 0) {
        if (rehash() != 0) return -1;
        continue;
      }
      entries[slot].key = key;
      entries[slot].value = value;
      entries[slot].used = true;
      ++size;
      return 0;
    }
  }

  // Looks at exactly kProbeLength slots from the home slot, not stopping at
  // unused ones, and returns the value of the first used slot holding key.
  T get(unsigned int key) const {
    if (entries == nullptr) return T();
    int slot = home_slot(key);
    for (int i = 0; i < kProbeLength; ++i) {
      if (entries[slot].used && entries[slot].key == key) return entries[slot].value;
      slot = (slot + 1) % capacity;
    }
    return T();
  }

  // Doubles the capacity and puts every used entry again, in slot order.
  // 0, or -1 (map unchanged) when the new array cannot be allocated.
  int rehash() {
    int new_capacity = capacity * 2;
    entry* fresh = new (std::nothrow) entry[new_capacity]();
    if (fresh == nullptr) return -1;
    entry* old = entries;
    int old_capacity = capacity;
    entries = fresh;
    capacity = new_capacity;
    size = 0;
    for (int i = 0; i < old_capacity; ++i) {
      if (old[i].used) put(old[i].key, old[i].value);
    }
    delete[] old;
    return 0;
  }

  int capacity;     // number of entries
  int size;         // puts since the last rehash
  entry* entries;   // capacity entries

 private:
  // First slot of the probe run that is unused or holds key; -1 if none.
  int find_put_slot(unsigned int key) const {
    int slot = home_slot(key);
    for (int i = 0; i < kProbeLength; ++i) {
      if (!entries[slot].used || entries[slot].key == key) return slot;
      slot = (slot + 1) % capacity;
    }
    return -1;
  }
};

// Release callback for a map of _DArray* buckets: destroys the array.
void hash_value_free(void* value);

}  // namespace mobile_search

#endif  // KS_FOUNDATION_HASH_MAP_H_
