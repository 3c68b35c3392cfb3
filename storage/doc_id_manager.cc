#include "storage/doc_id_manager.h"

#include <cstring>
#include <new>

#include "foundation/file_util.h"
#include "foundation/hash.h"

namespace mobile_search {

namespace {

const int kMapCapacity = 2048;
const unsigned int kMaxKeyLen = 0xFFFF;  // the record keeps 16 bits of length

// Calls fn(docid, record) for every record of the id store, ascending.
template <typename Fn>
void ForEachRecord(BlockFiles* store, unsigned int firstFile, Fn fn) {
  for (int f = static_cast<int>(firstFile); f < store->blockNumber(); ++f) {
    unsigned int len = 0;
    unsigned char* base = static_cast<unsigned char*>(store->getBlockAddress(f, len));
    if (base == nullptr) continue;
    unsigned int n = len / pkey_docid_t::kSize;
    for (unsigned int pos = 0; pos < n; ++pos) {
      unsigned int id = static_cast<unsigned int>(f) * DocIdManager::kRecordsPerFile + pos;
      if (!fn(id, reinterpret_cast<pkey_docid_t*>(base + pos * pkey_docid_t::kSize))) return;
    }
  }
}

// Records hold raw key bytes; a view of the record is all that is needed to
// know whether its key lives in the key store.
void BuildRecord(pkey_docid_t* rec, unsigned int tableId, const char* pkey, unsigned int len,
                 unsigned int contentSum) {
  memset(rec->bytes, 0, sizeof(rec->bytes));
  EncodeFixed32(rec->bytes, tableId);
  EncodeFixed16(rec->bytes + 4, static_cast<uint16_t>(len));
  EncodeFixed32(rec->bytes + 6, contentSum);
  if (len <= pkey_docid_t::kInlineKey) memcpy(rec->bytes + 11, pkey, len);
}

}  // namespace

DocIdManager::DocIdManager()
    : idStore(new (std::nothrow) BlockFiles(21, nullptr, false, false)),
      keyStore(new (std::nothrow) BlockFiles(21, nullptr, true, false)),
      dirPath(nullptr),
      mutex(new (std::nothrow) ThreadMutex()),
      keyMap(nullptr),
      docCount(0),
      autoSave(true),
      opened(false) {}

DocIdManager::~DocIdManager() {
  if (opened) close();
  str_buffer_free(dirPath);
  {
    MutexLock guard(mutex);
    freeMap();
  }
  delete idStore;
  delete keyStore;
  delete mutex;
}

void DocIdManager::freeMap() {
  if (keyMap == nullptr) return;
  for (int i = 0; i < keyMap->capacity; ++i) {
    if (keyMap->entries[i].used) hash_value_free(keyMap->entries[i].value);
  }
  delete keyMap;
  keyMap = nullptr;
}

unsigned int DocIdManager::mapHash(const pkey_docid_t* rec) {
  const char* b = reinterpret_cast<const char*>(rec->bytes);
  unsigned int h = crc32(b, 4, 0);
  return rec->longKey() ? crc32(b + 15, 4, h) : crc32(b + 11, 8, h);
}

_DArray* DocIdManager::bucketOf(unsigned int hash) {
  return keyMap == nullptr ? nullptr : keyMap->get(hash);
}

// Records without a key, a content checksum or a table id stay out of the
// map, so a row whose checksum is 0 is never found again; this is intended.
void DocIdManager::addMapValue(const pkey_docid_t* rec, unsigned int docid) {
  if (rec == nullptr || keyMap == nullptr || rec->keyLen() == 0 || rec->contentSum() == 0 ||
      rec->tableId() == 0) {
    return;
  }
  unsigned int h = mapHash(rec);
  _DArray* bucket = keyMap->get(h);
  if (bucket == nullptr) {
    bucket = darray_create(nullptr, true);
    if (bucket == nullptr) return;
    if (keyMap->put(h, bucket) != 0) {
      darray_destroy(bucket);
      return;
    }
  }
  if (darray_find(bucket, comp, docid) < 0) darray_append(bucket, static_cast<unsigned long long>(docid));
}

int DocIdManager::open(const char* dir) {
  if (opened) return 0;
  if (dir == nullptr || dir[0] == '\0' || idStore == nullptr || keyStore == nullptr || mutex == nullptr) {
    return -1;
  }
  str_buffer_free(dirPath);
  dirPath = str_buffer_create(dir);
  if (dirPath == nullptr) return -1;
  if (!is_dir(dir) && make_dir(dir, 0755) != 0) return -1;
  if (!idStore->openFiles(dir, "id") || !keyStore->openFiles(dir, "pKey")) return -1;

  MutexLock guard(mutex);
  freeMap();
  keyMap = new (std::nothrow) hashmap<_DArray*>(kMapCapacity);
  if (keyMap == nullptr || !keyMap->valid()) {
    delete keyMap;
    keyMap = nullptr;
    return -1;
  }
  // The count comes from the walk: content length / 19 overcounts once the
  // spare bytes at the end of several files add up to a whole record.
  cutUnwrittenTail();
  retiredDuplicates = 0;
  unsigned int walked = 0;
  opened = true;  // records are looked up by id while the map is rebuilt
  deletedCount = 0;
  ForEachRecord(idStore, 0, [this, &walked](unsigned int id, pkey_docid_t* rec) {
    mapRecordAtOpen(rec, id);
    if (rec->deleted() == 1) ++deletedCount;
    walked = id + 1;
    return true;
  });
  docCount = walked;
  rebuildDocState();
  return 0;
}

namespace {

// Content length of a store holding n records.
unsigned int LengthOfRecords(unsigned int n) {
  if (n == 0) return 0;
  unsigned int last = n - 1;
  return ((last / DocIdManager::kRecordsPerFile) << 21) +
         (last % DocIdManager::kRecordsPerFile + 1) * pkey_docid_t::kSize;
}

}  // namespace

// A record is never all zero (its key is not empty), and a long key is
// written to the key store before its record: a record at the end that
// breaks either rule was never completely written.
void DocIdManager::cutUnwrittenTail() {
  cutRecords = 0;
  unsigned int n = 0;
  ForEachRecord(idStore, 0, [&n](unsigned int id, pkey_docid_t*) {
    n = id + 1;
    return true;
  });
  unsigned int keep = n;
  while (keep > 0) {
    unsigned int d = keep - 1;
    unsigned int len = 0;
    const unsigned char* base = static_cast<const unsigned char*>(
        idStore->getBlockAddress(static_cast<int>(d / kRecordsPerFile), len));
    if (base == nullptr) break;
    pkey_docid_t rec;
    memcpy(rec.bytes, base + (d % kRecordsPerFile) * pkey_docid_t::kSize, pkey_docid_t::kSize);
    bool unwritten = rec.tableId() == 0 && rec.keyLen() == 0 && rec.deleted() == 0;
    bool keyMissing = rec.longKey() && static_cast<unsigned long long>(rec.keyOffset()) + rec.keyLen() >
                                           keyStore->getContentLen();
    if (!unwritten && !keyMissing) break;
    --keep;
  }
  if (keep < n && idStore->truncateContent(LengthOfRecords(keep)) == 0) cutRecords = n - keep;
}

void DocIdManager::mapRecordAtOpen(pkey_docid_t* rec, unsigned int docid) {
  addMapValue(rec, docid);
  if (rec->deleted() != 0 || rec->keyLen() == 0 || rec->contentSum() == 0 || rec->tableId() == 0) return;
  _DArray* bucket = bucketOf(mapHash(rec));
  // The engine keeps at most one live record per key; two are what a process
  // stopped between writing a successor and retiring its predecessor leaves.
  for (unsigned int i = 0; bucket != nullptr && i < darray_length(bucket); ++i) {
    unsigned int e = static_cast<unsigned int>(darray_get_by_index(bucket, i));
    pkey_docid_t* other = e == docid ? nullptr : getDocInfoById(static_cast<int>(e));
    if (other == nullptr || other->deleted() != 0) continue;
    setDeletedByte(e, other, 1);
    writeBackMark(e);
    ++retiredDuplicates;
  }
}

int DocIdManager::reserveDeletedIds(unsigned int upTo) {
  if (!opened) return -1;
  pkey_docid_t rec;
  memset(rec.bytes, 0, sizeof(rec.bytes));
  rec.bytes[10] = 1;
  int rc = 0;
  {
    MutexLock guard(mutex);
    while (rc == 0 && docCount <= upTo) {
      if (idStore->append(rec.bytes, pkey_docid_t::kSize) < 0) {
        rc = -1;
      } else {
        ++docCount;
        ++deletedCount;
      }
    }
  }
  return rc == 0 && idStore->sync() == 1 ? 0 : -1;
}

void DocIdManager::setDurable(bool on) {
  idStore->setDurable(on);
  keyStore->setDurable(on);
}

int DocIdManager::addPKey(unsigned int tableId, const char* pkey, unsigned int contentSum,
                          unsigned int keyCrc) {
  if (!opened || pkey == nullptr || pkey[0] == '\0') return -1;
  size_t len = strlen(pkey);
  if (len > kMaxKeyLen) return -1;
  pkey_docid_t rec;
  BuildRecord(&rec, tableId, pkey, static_cast<unsigned int>(len), contentSum);

  // The id is taken only once both stores accepted their bytes, so a failed
  // append never leaves a hole between doc ids and record positions.
  MutexLock guard(mutex);
  if (rec.longKey()) {
    int off = keyStore->append(pkey, static_cast<unsigned int>(len));
    if (off < 0) return -1;
    EncodeFixed32(rec.bytes + 11, static_cast<unsigned int>(off));
    EncodeFixed32(rec.bytes + 15, keyCrc);
  }
  if (idStore->append(rec.bytes, pkey_docid_t::kSize) < 0) return -1;
  unsigned int d = docCount++;
  addMapValue(getDocInfoById(static_cast<int>(d)), d);
  noteRecord(d);
  return static_cast<int>(d);
}

int DocIdManager::getDocid(unsigned int tableId, const char* pkey, int& delDocid, unsigned int contentSum,
                           unsigned int& liveSum, unsigned int& keyCrc) {
  if (!opened || pkey == nullptr) return -1;
  size_t len = strlen(pkey);
  if (len > kMaxKeyLen) return -1;
  pkey_docid_t probe;
  BuildRecord(&probe, tableId, pkey, static_cast<unsigned int>(len), 0);
  if (probe.longKey()) {
    keyCrc = crc32(pkey, static_cast<unsigned int>(len), 0);
    EncodeFixed32(probe.bytes + 15, keyCrc);
  }
  unsigned int h = mapHash(&probe);
  int result = -1;
  MutexLock guard(mutex);
  _DArray* bucket = bucketOf(h);
  for (unsigned int i = 0; bucket != nullptr && i < darray_length(bucket); ++i) {
    unsigned int e = static_cast<unsigned int>(darray_get_by_index(bucket, i));
    const pkey_docid_t* rec = getDocInfoById(static_cast<int>(e));
    if (rec == nullptr) continue;
    if (rec->contentSum() == contentSum && rec->deleted()) delDocid = static_cast<int>(e);
    if (!rec->deleted()) {
      result = static_cast<int>(e);
      liveSum = rec->contentSum();
    }
  }
  return result;
}

int DocIdManager::getDocid(unsigned int tableId, const char* pkey) {
  int del = -1;
  unsigned int sum = 0, crc = 0;
  return getDocid(tableId, pkey, del, 0, sum, crc);
}

int DocIdManager::getPKeyView(int docid, const char** text, unsigned int* len) {
  if (!opened || text == nullptr || len == nullptr) return -1;
  // Like every lookup by id, only the id's data file bounds the record: an
  // id past the count reads the zero record there (an empty key).
  const pkey_docid_t* rec = getDocInfoById(docid);
  if (rec == nullptr) return -1;
  const unsigned int n = rec->keyLen();
  if (!rec->longKey()) {
    *text = reinterpret_cast<const char*>(rec->inlineKey());
    *len = n;
    return 0;
  }
  // Resolved through offset2Addr, so only keys in the first key file are
  // found (see BlockFiles::getSafeOffset). The key store holds keys back to
  // back without terminators: exactly the key's bytes belong to it.
  const char* addr = static_cast<const char*>(keyStore->offset2Addr(rec->keyOffset()));
  if (addr == nullptr) return -1;
  unsigned long long end = static_cast<unsigned long long>(rec->keyOffset()) + n;
  if (end > keyStore->getContentLen() || end > keyStore->getFileSize()) return -1;
  *text = addr;
  *len = n;
  return 0;
}

int DocIdManager::getPKey(int docid, _str_buffer_t* out) {
  if (!opened || out == nullptr) return -1;
  const char* text = nullptr;
  unsigned int len = 0;
  if (getPKeyView(docid, &text, &len) != 0) return -1;
  // An inline key replaces the content; a long one is appended to it.
  if (len <= pkey_docid_t::kInlineKey) str_buffer_reset(out);
  str_buffer_append(out, text, static_cast<int>(len));
  return 0;
}

unsigned int DocIdManager::getTabMD5Id(int docid) {
  const pkey_docid_t* rec = getDocInfoById(docid);
  return rec == nullptr ? 0 : rec->tableId();
}

int DocIdManager::isDocidDel(unsigned int docid) {
  if (docid > 0x7FFFFFFFu) return 0;
  const pkey_docid_t* rec = getDocInfoById(static_cast<int>(docid));
  return (rec != nullptr && rec->deleted() != 0) ? 1 : 0;
}

unsigned char* DocIdManager::recordFile(unsigned int file) {
  if (!opened || file >= static_cast<unsigned int>(idStore->blockNumber())) return nullptr;
  unsigned int len = 0;
  unsigned char* base = static_cast<unsigned char*>(idStore->getBlockAddress(static_cast<int>(file), len));
  return len == 0 ? nullptr : base;
}

pkey_docid_t* DocIdManager::getDocInfoById(int docid) {
  if (docid < 0) return nullptr;
  unsigned char* base = recordFile(static_cast<unsigned int>(docid) / kRecordsPerFile);
  if (base == nullptr) return nullptr;
  unsigned int pos = (static_cast<unsigned int>(docid) % kRecordsPerFile) * pkey_docid_t::kSize;
  return reinterpret_cast<pkey_docid_t*>(base + pos);
}

void DocIdManager::setDeletedByte(unsigned int docid, pkey_docid_t* rec, unsigned char deleted) {
  if ((rec->bytes[10] == 1) != (deleted == 1)) deletedCount += deleted == 1 ? 1 : -1;
  rec->bytes[10] = deleted;
  docState_.setDeleted(docid, deleted != 0);
  idStore->markDirty(static_cast<int>(docid / kRecordsPerFile),
                     (docid % kRecordsPerFile) * pkey_docid_t::kSize + 10, 1);
}

// Only the mark's byte goes to the file, so records appended since the last
// save (whose postings may not be on disk) are not written with it.
int DocIdManager::writeBackMark(unsigned int docid) {
  if (!opened) return -1;
  return idStore->writeThrough(static_cast<int>(docid / kRecordsPerFile),
                               (docid % kRecordsPerFile) * pkey_docid_t::kSize + 10, 1);
}

// Reviving one document of a key retires every other document of that key;
// a deletion touches only the document itself. The document's own mark is
// written first, so a process stopped in between leaves two live records of
// the key (which open() resolves), never none.
void DocIdManager::setMapValue(const pkey_docid_t* rec, unsigned int docid, unsigned char deleted,
                               bool writeBack) {
  MutexLock guard(mutex);
  _DArray* bucket = bucketOf(mapHash(rec));
  unsigned int n = bucket == nullptr ? 0 : darray_length(bucket);
  for (unsigned int i = 0; i < n; ++i) {
    unsigned int e = static_cast<unsigned int>(darray_get_by_index(bucket, i));
    pkey_docid_t* self = e == docid ? getDocInfoById(static_cast<int>(e)) : nullptr;
    if (self != nullptr && self->contentSum() == rec->contentSum()) setDeletedByte(e, self, deleted);
  }
  if (writeBack) writeBackMark(docid);
  for (unsigned int i = 0; deleted == 0 && i < n; ++i) {
    unsigned int e = static_cast<unsigned int>(darray_get_by_index(bucket, i));
    pkey_docid_t* other = e != docid ? getDocInfoById(static_cast<int>(e)) : nullptr;
    if (other == nullptr || other->deleted() == 1) continue;
    setDeletedByte(e, other, 1);
    if (writeBack) writeBackMark(e);
  }
}

int DocIdManager::setDeleted(unsigned int docid, unsigned char deleted, bool writeBack) {
  if (docid > 0x7FFFFFFFu) return -1;
  pkey_docid_t* rec = getDocInfoById(static_cast<int>(docid));
  if (rec == nullptr) return -1;
  setDeletedByte(docid, rec, deleted);
  // A record without a bucket (checksum 0) still gets its own mark written.
  setMapValue(rec, docid, deleted, writeBack);
  return 0;
}

int DocIdManager::delDocid(unsigned int docid) { return setDeleted(docid, 1, true); }

int DocIdManager::delDocid(unsigned int docid, bool writeBack) { return setDeleted(docid, 1, writeBack); }

int DocIdManager::unDelDocid(unsigned int docid) { return setDeleted(docid, 0, true); }

void DocIdManager::getAllDelDocid(BinarySet* out) {
  if (!opened || out == nullptr) return;
  ForEachRecord(idStore, 0, [out](unsigned int id, pkey_docid_t* rec) {
    if (rec->deleted() == 1) out->add(static_cast<int>(id));
    return true;
  });
}

void DocIdManager::getDocidByTable(_DArray* out, unsigned int tableId) {
  if (!opened || out == nullptr) return;
  ForEachRecord(idStore, 0, [out, tableId](unsigned int id, pkey_docid_t* rec) {
    if (rec->tableId() == tableId && rec->deleted() == 0) darray_append(out, static_cast<unsigned long long>(id));
    return true;
  });
}

int DocIdManager::getPKeyByTable(unsigned int tableId, ArrayList* out) {
  if (!opened) return -1;
  if (out == nullptr) return 0;
  ForEachRecord(idStore, 0, [this, out, tableId](unsigned int id, pkey_docid_t* rec) {
    if (rec->tableId() != tableId || rec->deleted() != 0) return true;
    _str_buffer_t* key = str_buffer_create(8);
    if (key == nullptr) return true;
    getPKey(static_cast<int>(id), key);
    if (out->add(static_cast<const void*>(key)) != RET_OK) str_buffer_free(key);
    return true;
  });
  return 0;
}

void DocIdManager::setAutoSave(bool on) {
  if (!opened) return;
  autoSave = on;
  idStore->setAutoSave(on);
  keyStore->setAutoSave(on);
}

int DocIdManager::save() {
  if (!opened || keyStore->sync() != 1) return -1;
  return idStore->sync() == 1 ? 0 : -1;
}

int DocIdManager::close() {
  if (!opened) return -1;
  int a = idStore->closeFiles();
  int b = keyStore->closeFiles();
  opened = false;
  docState_.clear();
  return (a == 1 && b == 1) ? 0 : -1;
}

int DocIdManager::syncToFile(int docid) {
  if (!opened || docid < 0) return -1;
  return idStore->syncFile(static_cast<int>(static_cast<unsigned int>(docid) / kRecordsPerFile));
}

// Appends a copy of `rec` (doc id `id` of `from`) to this manager, moving a
// long key into this manager's key store.
int DocIdManager::appendCopy(const pkey_docid_t* rec, DocIdManager* from, unsigned int id,
                             _str_buffer_t* work) {
  pkey_docid_t copy;
  memcpy(copy.bytes, rec->bytes, sizeof(copy.bytes));
  str_buffer_reset(work);
  from->getPKey(static_cast<int>(id), work);
  MutexLock guard(mutex);
  if (copy.longKey()) {
    // A key that cannot be restored (or stored) gets offset -1, which never
    // resolves, rather than its old offset, which could name another key here.
    int off = work->len > 0 ? keyStore->append(work->data, static_cast<unsigned int>(work->len)) : -1;
    EncodeFixed32(copy.bytes + 11, static_cast<unsigned int>(off));
  }
  int rc = idStore->append(copy.bytes, pkey_docid_t::kSize);
  if (rc >= 0) {
    unsigned int d = docCount++;
    if (copy.deleted() == 1) ++deletedCount;
    addMapValue(getDocInfoById(static_cast<int>(d)), d);
    noteRecord(d);
  }
  return rc < 0 ? -1 : 0;
}

int DocIdManager::copyBlock(DocIdManager* dst, unsigned int count, DocIdManager* delSource) {
  if (!opened || dst == nullptr || dst->idStore == nullptr) return 1;
  _str_buffer_t* work = str_buffer_create(256);
  if (work == nullptr) return 1;
  bool ok = true;
  ForEachRecord(idStore, 0, [this, dst, count, delSource, work, &ok](unsigned int id, pkey_docid_t* rec) {
    if (id >= count) return false;
    if ((delSource == nullptr || delSource->isDocidDel(id) == 0) && dst->appendCopy(rec, this, id, work) != 0) {
      ok = false;
    }
    return true;
  });
  str_buffer_free(work);
  // A copy missing a record must not replace the group: 1.
  if (dst->save() != 0) ok = false;
  return ok ? 0 : 1;
}

int DocIdManager::composeByLog(DocIdManager* src, unsigned int start, _DArray* log, BinarySet* keep,
                               BinarySet* removed) {
  if (src == nullptr || !src->opened) return -1;
  if (keep != nullptr && !keep->is_empty() && keep->get_value_index(0) >= 0 &&
      static_cast<unsigned int>(keep->get_value_index(0)) < start) {
    start = static_cast<unsigned int>(keep->get_value_index(0));
  }
  _str_buffer_t* work = str_buffer_create(256);
  if (work == nullptr) return -1;
  bool ok = true;
  ForEachRecord(src->idStore, start / kRecordsPerFile,
                [this, src, start, keep, work, &ok](unsigned int id, pkey_docid_t* rec) {
                  if (id >= start && keep != nullptr && keep->is_in_set(static_cast<int>(id)) >= 0 &&
                      appendCopy(rec, src, id, work) != 0) {
                    ok = false;
                  }
                  return true;
                });
  str_buffer_free(work);
  unsigned int pairs = darray_length(log) / 2;
  for (unsigned int i = 0; i < pairs; ++i) {
    unsigned long long op = darray_get_by_index(log, 2 * i + 1);
    if (op != 1) continue;
    int d = static_cast<int>(darray_get_by_index(log, 2 * i));
    int k = removed != nullptr ? removed->nearest_less(d) : 0;
    if (d - k >= 0 && static_cast<unsigned int>(d - k) < docCount) delDocid(static_cast<unsigned int>(d - k));
  }
  return save() == 0 && ok ? 0 : -1;
}

void DocIdManager::noteRecord(unsigned int docid) {
  const pkey_docid_t* rec = getDocInfoById(static_cast<int>(docid));
  if (rec != nullptr) docState_.set(docid, rec->tableId(), rec->deleted() != 0);
}

void DocIdManager::rebuildDocState() {
  docState_.clear();
  ForEachRecord(idStore, 0, [this](unsigned int id, pkey_docid_t* rec) {
    if (id >= docCount) return false;
    docState_.set(id, rec->tableId(), rec->deleted() != 0);
    return true;
  });
}

}  // namespace mobile_search
