#include "storage/index_manager.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "foundation/file_util.h"
#include "foundation/radix_sort.h"
#include "foundation/shell_sort.h"
#include "storage/doc_id_manager.h"

namespace mobile_search {

namespace {

const unsigned int kRec = _idx2_unit_t::kSize;
static_assert(sizeof(_idx2_unit_t) == _idx2_unit_t::kSize, "records are viewed in place as _idx2_unit_t arrays");
const unsigned int kFullFile = 1u << 21;

const _idx2_unit_t* RecordAt(const unsigned char* base, unsigned int i) {
  return reinterpret_cast<const _idx2_unit_t*>(base + static_cast<size_t>(i) * kRec);
}

// (sign, doc id) of a is greater than that of b.
bool Greater(const unsigned char* a, const unsigned char* b) {
  unsigned int sa = DecodeFixed32(a), sb = DecodeFixed32(b);
  if (sa != sb) return sa > sb;
  return DecodeFixed32(a + 4) > DecodeFixed32(b + 4);
}

template <typename Fn>
void ForEachRecord(BlockFiles* store, int firstFile, Fn fn) {
  for (int f = firstFile; f < store->blockNumber(); ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    if (base == nullptr) continue;
    unsigned int n = len / kRec;
    for (unsigned int i = 0; i < n; ++i) fn(RecordAt(base, i));
  }
}

// The shell sort straight on the file's records; used when no scratch
// memory can be had.
void ShellSortRecords(unsigned char* base, unsigned int n) {
  shell_sort(reinterpret_cast<_idx2_unit_t*>(base), n,
             [](const _idx2_unit_t& a, const _idx2_unit_t& b) { return Greater(a.bytes, b.bytes); });
}

// A record's (sign, doc id) as one number, and where the record sits. The
// shell sort moves these exactly as it would move the records.
struct SortItem {
  unsigned long long key;
  unsigned int at;
};

bool HasEqualNeighbours(const SortItem* items, unsigned int n) {
  for (unsigned int i = 1; i < n; ++i) {
    if (items[i - 1].key == items[i].key) return true;
  }
  return false;
}

void LoadItems(const unsigned char* base, SortItem* items, unsigned int n) {
  for (unsigned int i = 0; i < n; ++i) {
    const unsigned char* r = base + static_cast<size_t>(i) * kRec;
    items[i].key = (static_cast<unsigned long long>(DecodeFixed32(r)) << 32) | DecodeFixed32(r + 4);
    items[i].at = i;
  }
}

// Sorts the keys aside, then moves every record once. Without two equal keys
// the ascending order is unique, so the radix sort finds the shell sort's;
// with equal keys the shell sort itself runs on the keys as they were, which
// moves them exactly as it would move the records. False without memory.
bool SortByKeys(unsigned char* base, unsigned int n) {
  SortItem* items = new (std::nothrow) SortItem[n];
  SortItem* work = new (std::nothrow) SortItem[n];
  bool ok = items != nullptr && work != nullptr;
  if (ok) {
    LoadItems(base, items, n);
    SortItem* order = radix_sort(items, work, n, 8, [](const SortItem& s) { return s.key; });
    if (HasEqualNeighbours(order, n)) {
      order = items;
      LoadItems(base, order, n);
      shell_sort(order, n, [](const SortItem& a, const SortItem& b) { return a.key > b.key; });
    }
    // The buffer not holding the order is free, and larger than the records.
    unsigned char* sorted = reinterpret_cast<unsigned char*>(order == items ? work : items);
    for (unsigned int i = 0; i < n; ++i) {
      memcpy(sorted + static_cast<size_t>(i) * kRec, base + static_cast<size_t>(order[i].at) * kRec, kRec);
    }
    memcpy(base, sorted, static_cast<size_t>(n) * kRec);
  }
  delete[] items;
  delete[] work;
  return ok;
}

}  // namespace

int idx_sort_full_file(MMapFile* file, unsigned int size) {
  unsigned char* base = file == nullptr ? nullptr : static_cast<unsigned char*>(file->safeOffset2Addr(0));
  if (base == nullptr) return 0;
  if (size > file->getMapSize()) size = file->getMapSize();
  unsigned int n = size / kRec;
  if (n > 1 && !SortByKeys(base, n)) ShellSortRecords(base, n);
  return 0;
}

IndexManager::IndexManager()
    : dirPath(nullptr),
      baseName(nullptr),
      store(new (std::nothrow) BlockFiles(21, idx_sort_full_file, true, false)),
      opened(false),
      writable(false),
      autoSave(true) {}

IndexManager::~IndexManager() {
  str_buffer_free(dirPath);
  str_buffer_free(baseName);
  delete store;
}

int IndexManager::open(const char* dir, const char* name) {
  if (dir == nullptr || dir[0] == '\0' || name == nullptr || name[0] == '\0' || store == nullptr) return -1;
  if (opened) return 0;
  str_buffer_free(dirPath);
  str_buffer_free(baseName);
  dirPath = str_buffer_create(dir);
  baseName = str_buffer_create(name);
  if (dirPath == nullptr || baseName == nullptr) return -1;
  char sub[4096];
  if (snprintf(sub, sizeof(sub), "%s/idx_0", dir) >= static_cast<int>(sizeof(sub))) return -1;
  if (!is_dir(dir) && make_dir(dir, 0755) != 0) return -1;
  if (!is_dir(sub) && make_dir(sub, 0755) != 0) return -1;
  if (!store->openFiles(sub, name)) return -1;
  rebuildDirectory();
  store->setAutoSave(autoSave);
  opened = writable = true;
  return 0;
}

int IndexManager::addTerm(unsigned int sign, unsigned int docid, unsigned char field, unsigned char weight,
                          unsigned char bits) {
  if (!writable) return -1;
  _idx2_unit_t rec;
  rec.set(sign, docid, field, weight, bits);
  const int at = store->append(rec.bytes, kRec);
  if (at >= 0) directory_.noteAppend(store, static_cast<unsigned int>(at), docid);
  return at;
}

void IndexManager::addToTerm(IndexTerm* term, const _idx2_unit_t* rec, int field) {
  if (term == nullptr || rec == nullptr) return;
  if (field == -1 || field == rec->field()) {
    term->addDoc(rec->docid(), rec->field(), rec->weight(), rec->bits(), field == -1);
  }
}

namespace {

// getTerm's visitor: visitTerm has applied the field filter already.
struct TermTarget {
  IndexTerm* term;
  bool allFields;
};

void AddToTarget(void* user, const _idx2_unit_t* rec) {
  TermTarget* t = static_cast<TermTarget*>(user);
  t->term->addDoc(rec->docid(), rec->field(), rec->weight(), rec->bits(), t->allFields);
}

}  // namespace

int IndexManager::fullFileHit(const unsigned char* base, unsigned int count, unsigned int sign) {
  int lo = 0, hi = static_cast<int>(count) - 1;
  while (lo <= hi) {
    int mid = lo + (hi - lo) / 2;
    unsigned int s = RecordAt(base, static_cast<unsigned int>(mid))->sign();
    if (s == sign) return mid;
    if (s < sign) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return -1;
}

void IndexManager::visitFullFile(unsigned int sign, int field, const unsigned char* base, unsigned int count,
                                 posting_visit_fn visit, void* user) {
  const int hit = fullFileHit(base, count, sign);
  if (hit < 0) return;
  for (unsigned int i = static_cast<unsigned int>(hit); i < count && RecordAt(base, i)->sign() == sign; ++i) {
    const _idx2_unit_t* rec = RecordAt(base, i);
    if (field == -1 || field == rec->field()) visit(user, rec);
  }
  for (int i = hit - 1; i >= 0 && RecordAt(base, static_cast<unsigned int>(i))->sign() == sign; --i) {
    const _idx2_unit_t* rec = RecordAt(base, static_cast<unsigned int>(i));
    if (field == -1 || field == rec->field()) visit(user, rec);
  }
}

int IndexManager::visitTerm(unsigned int sign, int field, posting_visit_fn visit, void* user) {
  if (!opened || store == nullptr || visit == nullptr) return -1;
  for (int f = 0; f < store->blockNumber(); ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    if (base == nullptr) continue;
    if (len == kFullFile) {
      visitFullFile(sign, field, base, len / kRec, visit, user);
      continue;
    }
    for (unsigned int i = 0; i < len / kRec; ++i) {
      const _idx2_unit_t* rec = RecordAt(base, i);
      if (rec->sign() == sign && (field == -1 || field == rec->field())) visit(user, rec);
    }
  }
  return 0;
}

int IndexManager::getTerm(unsigned int sign, IndexTerm* term, int field) {
  if (!opened || store == nullptr) return -1;
  if (term == nullptr) return 0;
  TermTarget target{term, field == -1};
  return visitTerm(sign, field, AddToTarget, &target);
}

int IndexManager::save() {
  if (store == nullptr || store->blockNumber() == 0) return 0;
  // The file holding the end of the content; a spare file after it (left by
  // an interrupted expand) holds nothing.
  int active = static_cast<int>(store->getContentLen() >> 21);
  if (active >= store->blockNumber()) active = store->blockNumber() - 1;
  return store->syncFile(active) == 0 ? 0 : -1;
}

namespace {

bool AllZero(const _idx2_unit_t* rec) {
  for (unsigned char b : rec->bytes) {
    if (b != 0) return false;
  }
  return true;
}

bool InOrder(const unsigned char* base, unsigned int count) {
  for (unsigned int i = 1; i < count; ++i) {
    if (Greater(base + static_cast<size_t>(i - 1) * kRec, base + static_cast<size_t>(i) * kRec)) return false;
  }
  return true;
}

}  // namespace

// Postings are appended in doc-id order, document after document, and the
// document store is saved after the postings: after a stop, postings of
// documents whose records never reached the disk sit at the end of the
// content. Those still in the active file are cut off; those that went into
// a full file (sorted, so they cannot be cut) are reported for the caller to
// cover with deleted documents.
int IndexManager::repairAtOpen(unsigned int docCount, IndexRepairs* out) {
  IndexRepairs r;
  if (!opened || store == nullptr) return -1;
  int rc = 0;
  int files = store->blockNumber();
  const unsigned int lengthBefore = store->getContentLen();
  int lastFull = -1;
  for (int f = 0; f < files; ++f) {
    unsigned int len = 0;
    if (store->getBlockAddress(f, len) != nullptr && len == kFullFile) lastFull = f;
  }
  // Only the most recently filled file can have been cut short by a power
  // cut while it was being replaced; an earlier one was settled long before.
  // Out of order, it is either the active file that a damaged length made
  // look full (it then ends in unwritten records, and is cut back to its
  // last record) or a full file whose sorted copy was lost (sorted again).
  if (lastFull >= 0) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(lastFull, len));
    unsigned int n = len / kRec;
    if (!InOrder(base, n)) {
      unsigned int written = n;
      while (written > 0 && AllZero(RecordAt(base, written - 1))) --written;
      if (written < n && lastFull == files - 1) {
        if (store->truncateContent((static_cast<unsigned int>(lastFull) << 21) + written * kRec) != 0) rc = -1;
        r.unwritten += n - written;
        lastFull -= 1;
      } else {
        if (store->rewriteFullFile(lastFull, idx_sort_full_file) != 0) rc = -1;
        r.resorted = true;
      }
    }
  }
  for (int f = lastFull; f >= 0; --f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    long long highest = -1;
    for (unsigned int i = 0; base != nullptr && i < len / kRec; ++i) {
      unsigned int d = RecordAt(base, i)->docid();
      if (d >= docCount && static_cast<long long>(d) > highest) highest = d;
    }
    if (highest < 0) break;  // earlier files hold older documents only
    if (highest > r.reserveUpTo) r.reserveUpTo = highest;
  }
  unsigned long long covered = r.reserveUpTo >= 0 ? static_cast<unsigned long long>(r.reserveUpTo) + 1 : docCount;
  unsigned int end = store->getContentLen();
  unsigned int activeStart = lastFull >= 0 ? static_cast<unsigned int>(lastFull + 1) << 21 : 0;
  unsigned int keep = end;
  int active = static_cast<int>(activeStart >> 21);
  unsigned int len = 0;
  const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(active, len));
  if (base != nullptr && end > activeStart) {
    unsigned int n = len / kRec;
    while (n > 0 && AllZero(RecordAt(base, n - 1))) {
      --n;
      ++r.unwritten;
    }
    while (n > 0 && RecordAt(base, n - 1)->docid() >= covered) {
      --n;
      ++r.orphans;
    }
    keep = activeStart + n * kRec;
  }
  if (keep < end && store->truncateContent(keep) != 0) rc = -1;
  if (r.resorted || store->getContentLen() != lengthBefore) rebuildDirectory();
  if (out != nullptr) *out = r;
  return rc;
}

void IndexManager::rebuildDirectory() {
  char sub[4096];
  snprintf(sub, sizeof(sub), "%s/idx_0", dirPath == nullptr ? "" : dirPath->data);
  directory_.build(store, sub, baseName == nullptr ? nullptr : baseName->data);
}

int IndexManager::close() {
  save();
  if (store != nullptr) store->closeFiles();
  directory_.clear();
  // A closed index takes no postings: an append would recreate data file 0
  // over the postings already in it.
  opened = writable = false;
  return 0;
}

int IndexManager::saveRecentTerms(int n) {
  if (store == nullptr || n < 0 || store->itemNumber(kRec) < static_cast<unsigned int>(n)) return -1;
  store->saveLastBytes(static_cast<unsigned int>(n) * kRec);
  return 0;
}

void IndexManager::setAutoSave(bool on) {
  autoSave = on;
  if (store != nullptr) store->setAutoSave(on);
}

unsigned int IndexManager::get_max_pos() { return store == nullptr ? 0 : store->itemNumber(kRec); }

int IndexManager::copy_block(IndexManager* dst, int count, int limit, BinarySet* removed, DocIdManager* delInfo) {
  if (store == nullptr || dst == nullptr || dst->store == nullptr) return 1;
  long long walked = 0;
  bool ok = true;
  // Whole files are walked; the count is only tested between files.
  for (int f = 0; f < store->blockNumber() && walked < count; ++f) {
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(store->getBlockAddress(f, len));
    if (base == nullptr) continue;
    unsigned int n = len / kRec;
    for (unsigned int i = 0; i < n; ++i) {
      const _idx2_unit_t* r = RecordAt(base, i);
      long long d = r->docid();
      long long k = 0;
      if (removed != nullptr) {
        if (delInfo != nullptr && delInfo->isDocidDel(r->docid())) continue;
        k = removed->nearest_less(static_cast<int>(d));
      }
      if (d < limit &&
          dst->addTerm(r->sign(), static_cast<unsigned int>(d - k), r->field(), r->weight(), r->bits()) < 0) {
        ok = false;
      }
    }
    walked += n;
  }
  // A copy missing a posting must not replace the group: -1.
  if (dst->save() != 0) ok = false;
  return ok ? 0 : -1;
}

int IndexManager::compose_rest_by_log(IndexManager* src, int start, int maxPos, BinarySet* keep, int base) {
  if (src == nullptr || src->store == nullptr) return -1;
  long long s = start;
  int firstFile = 0;
  if (keep != nullptr && !keep->is_empty() && keep->get_value_index(0) < start) {
    s = keep->get_value_index(0);
  } else {
    int q = maxPos / static_cast<int>(kRecordsPerFile);
    firstFile = q > 0 ? q - 1 : 0;
  }
  bool ok = true;
  if (keep != nullptr && !keep->is_empty()) {
    ForEachRecord(src->store, firstFile, [this, s, keep, base, &ok](const _idx2_unit_t* r) {
      if (static_cast<long long>(r->docid()) < s) return;
      int i = keep->is_in_set(static_cast<int>(r->docid()));
      if (i >= 0 && addTerm(r->sign(), static_cast<unsigned int>(base + i), r->field(), r->weight(), r->bits()) < 0) {
        ok = false;
      }
    });
  }
  return save() == 0 && ok ? 0 : -1;
}

}  // namespace mobile_search
