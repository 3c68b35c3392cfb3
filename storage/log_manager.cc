#include "storage/log_manager.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <unordered_map>
#include <vector>

#include "foundation/file_util.h"
#include "storage/byte_order.h"

namespace mobile_search {

namespace {

const int kPathMax = 4096;
const int kMaxOldLogFiles = 100;
const unsigned long long kCancelled = 4;

}  // namespace

LogManager::LogManager()
    : set_(new (std::nothrow) BinarySet()),
      count(0),
      cursor(0),
      store(new (std::nothrow) BlockFiles(19, nullptr, false, false)),
      dirPath(nullptr),
      opened(false) {}

LogManager::~LogManager() {
  delete set_;
  delete store;
  str_buffer_free(dirPath);
}

void LogManager::removeOldLog() {
  char path[kPathMax];
  for (int k = 0; k <= kMaxOldLogFiles; ++k) {
    snprintf(path, sizeof(path), "%s/log-%d", dirPath->data, k);
    if (!file_exist(path)) break;
    remove(path);
  }
  snprintf(path, sizeof(path), "%s/log-info", dirPath->data);
  if (file_exist(path)) remove(path);
}

int LogManager::open(const char* dir) {
  if (opened) return 0;
  if (dir == nullptr || store == nullptr) return -1;
  str_buffer_free(dirPath);
  dirPath = str_buffer_create(dir);
  if (dirPath == nullptr) return -1;
  if (!is_dir(dir) && make_dir(dir, 0755) != 0) return -1;
  removeOldLog();
  if (!store->openFiles(dir, "log")) return -1;
  count = store->itemNumber(kRecordSize);
  cursor = 0;
  opened = true;
  return 0;
}

int LogManager::add_log(unsigned int docid, unsigned int op) {
  if (!opened) return -1;
  unsigned char rec[kRecordSize];
  EncodeFixed32(rec, docid);
  EncodeFixed32(rec + 4, op);
  if (store->append(rec, kRecordSize) >= 0) count += 1;
  return static_cast<int>(count);
}

unsigned long long* LogManager::read_next_log() {
  if (cursor >= count) return nullptr;
  const unsigned char* rec = static_cast<const unsigned char*>(store->offset2Addr(cursor * kRecordSize));
  if (rec == nullptr) return nullptr;
  unsigned long long* out = static_cast<unsigned long long*>(malloc(sizeof(unsigned long long)));
  if (out == nullptr) return nullptr;
  *out = compose_log_t(DecodeFixed32(rec), DecodeFixed32(rec + 4));
  cursor += 1;
  return out;
}

int LogManager::reverse_find_log(_DArray* pairs, int from, int docid, int op) {
  unsigned long long d = static_cast<unsigned long long>(static_cast<long long>(docid));
  unsigned long long o = static_cast<unsigned long long>(static_cast<long long>(op));
  for (int i = from; i >= 0; i -= 2) {
    if (static_cast<unsigned int>(i) + 1 >= darray_length(pairs)) continue;
    if (darray_get_by_index(pairs, static_cast<unsigned int>(i)) == d &&
        darray_get_by_index(pairs, static_cast<unsigned int>(i) + 1) == o) {
      return i;
    }
  }
  return -1;
}

int LogManager::log_pretreat(_DArray* out, int limit, BinarySet* set) {
  _DArray* pairs = darray_create(nullptr, false);
  if (pairs == nullptr) return 1;
  unsigned int read = 0;
  for (unsigned long long* rec = read_next_log(); rec != nullptr; rec = read_next_log()) {
    darray_append(pairs, *rec & 0xFFFFFFFFull);
    darray_append(pairs, *rec >> 32);
    free(rec);
    read += 1;
  }
  unsigned int n = darray_length(pairs);
  // Measured against the whole count, not what lay past the cursor: a log
  // already partly read counts as not read whole.
  if (read < count || n % 2 != 0 || n != 2 * read) {
    darray_destroy(pairs);
    return 1;
  }
  // Newest pair first, so the oldest is taken from the end and a later
  // pair of the same document lies at a lower index.
  for (unsigned int a = 0, b = n - 2; n > 0 && a < b; a += 2, b -= 2) {
    for (unsigned int k = 0; k < 2; ++k) {
      unsigned long long t = darray_get_by_index(pairs, a + k);
      darray_set_by_index(pairs, a + k, darray_get_by_index(pairs, b + k));
      darray_set_by_index(pairs, b + k, t);
    }
  }
  int rc = 1;
  try {
    rc = reduce(pairs, out, limit, set);
  } catch (...) {
    rc = 1;  // out of memory for the lookup index
  }
  darray_destroy(pairs);
  return rc;
}

// The reduction, oldest pair first. reverse_find_log(pairs, i, d, op) asks for
// the highest index <= i holding (d, op); all pairs above i are already gone,
// so that is the last index of (d, op) still on record. Keeping those indices
// per (doc id, operation) answers it without rescanning the log each time.
int LogManager::reduce(_DArray* pairs, _DArray* out, int limit, BinarySet* set) {
  std::unordered_map<unsigned long long, std::vector<unsigned int>> where;
  auto key = [](unsigned long long d, unsigned long long op) { return (d << 3) | op; };
  unsigned int n = darray_length(pairs);
  for (unsigned int i = 0; i < n; i += 2) {
    unsigned long long op = darray_get_by_index(pairs, i + 1);
    if (op == 1 || op == 3) where[key(darray_get_by_index(pairs, i), op)].push_back(i);
  }
  auto latest = [&](unsigned long long d, unsigned long long op) {
    auto it = where.find(key(d, op));
    return (it == where.end() || it->second.empty()) ? -1 : static_cast<int>(it->second.back());
  };
  auto rewrite = [&](unsigned int r, unsigned long long d, unsigned long long from, unsigned long long to) {
    where[key(d, from)].pop_back();  // r is the last index of (d, from)
    darray_set_by_index(pairs, r + 1, to);
  };
  while (darray_length(pairs) >= 2) {
    unsigned int i = darray_length(pairs) - 2;
    unsigned long long dv = darray_get_by_index(pairs, i);
    unsigned long long p = darray_get_by_index(pairs, i + 1);
    int d = static_cast<int>(dv);
    if (p == 1 || p == 3) where[key(dv, p)].pop_back();  // the pair being handled
    if (p == 2 || p == 3) {
      // An addition followed by its deletion cancels out.
      int r = latest(dv, 1);
      if (r < 0) {
        darray_append(out, dv);
        darray_append(out, p);
      } else {
        rewrite(static_cast<unsigned int>(r), dv, 1, kCancelled);
      }
    } else if (p == 1) {
      int r = latest(dv, 3);
      int at = set == nullptr ? -1 : set->is_in_set(d);
      if (r < 0) {
        // Exactly index 0 of the set, not "found anywhere": kept as it is.
        if (d < limit && at == 0) {
          darray_append(out, dv);
          darray_append(out, 1ull);
        }
      } else if (!(d < limit && at < 0)) {
        rewrite(static_cast<unsigned int>(r), dv, 3, 2ull);  // the revive becomes an addition
      }
    }
    darray_delete(pairs, i, 2);
  }
  return 0;
}

int LogManager::save() {
  if (!opened || store->sync() != 1) return -1;
  return 0;
}

int LogManager::close() {
  if (!opened) return -1;
  save();
  return store->closeFiles() == 1 ? 0 : -1;
}

void LogManager::setAutoSave(bool on) {
  if (opened) store->setAutoSave(on);
}

}  // namespace mobile_search
