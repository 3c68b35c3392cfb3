// DocIdManager: dense, never reused document ids of one group, with one
// fixed-size record per id, and the map from (table, primary key) to ids.
//
// Files under the group directory D (created 0755 if missing):
//   D/id-info, D/id-0, D/id-1, ...    document records (BlockFiles, 2 MiB files)
//   D/pKey-info, D/pKey-0, ...        bytes of keys longer than 8 bytes, in
//                                     doc-id order, no terminator
//
// Document record pkey_docid_t, 19 bytes, little-endian:
//   offset size field
//   0      4    table id (never 0 for a mapped record)
//   4      2    key length (strlen cut to 16 bits)
//   6      4    content checksum (computed by the caller)
//   10     1    deleted: 0 live, 1 deleted
//   11     8    key length <= 8: key bytes zero-padded;
//               else: u32 offset of the key in the key store (11-14) and
//               u32 CRC-32 of the key, seed 0 (15-18)
// Doc id d lies in id data file d / 110376 at byte (d mod 110376) * 19; the
// last 8 bytes of every id data file hold no record.
//
// Key map: crc32 of the table id, continued over the key CRC (long keys) or
// the 8 inline key bytes, to the ids that share it, in the order added. The
// hash is trusted: ids in one bucket count as the same key.
//
// Crash safety: a deletion mark is written back alone (its one byte), never
// with records appended since the last save, so the id store on disk only
// names documents whose postings were saved before them; reviving a
// document writes its own mark before retiring the others. open() mends
// what an interrupted process can leave: records at the end that were never
// written (all zero, or naming a key the key store does not hold) are cut
// off, and of two live records of one key the older is retired.
//
// Ownership: the manager owns both stores, the map and its buckets.
// Threads: the internal mutex guards the map and the document count; record
// bytes (and the deleted count) are read and written without it: the group
// searcher changes them only under its exclusive lock, and reads them under
// its shared one. Failures: return values only (-1, null, 0 as listed),
// nothing is logged.
#ifndef KS_STORAGE_DOC_ID_MANAGER_H_
#define KS_STORAGE_DOC_ID_MANAGER_H_

#include "foundation/binary_set.h"
#include "foundation/dynamic_array.h"
#include "foundation/hash_map.h"
#include "foundation/string_buffer.h"
#include "foundation/thread_lock.h"
#include "storage/block_files.h"
#include "storage/byte_order.h"
#include "storage/doc_state_table.h"

namespace mobile_search {

// The stored document record; a view of 19 packed bytes (alignment 1, so a
// pointer into mapped memory is always valid).
struct pkey_docid_t {
  static constexpr unsigned int kSize = 19;
  static constexpr unsigned int kInlineKey = 8;
  unsigned char bytes[kSize];

  unsigned int tableId() const { return DecodeFixed32(bytes); }
  unsigned int keyLen() const { return DecodeFixed16(bytes + 4); }
  unsigned int contentSum() const { return DecodeFixed32(bytes + 6); }
  unsigned char deleted() const { return bytes[10]; }
  bool longKey() const { return keyLen() > kInlineKey; }
  unsigned int keyOffset() const { return DecodeFixed32(bytes + 11); }
  unsigned int keyCrc() const { return DecodeFixed32(bytes + 15); }
  const unsigned char* inlineKey() const { return bytes + 11; }
};

class DocIdManager {
 public:
  static constexpr unsigned int kRecordsPerFile = 110376;

  DocIdManager();
  virtual ~DocIdManager();
  DocIdManager(const DocIdManager&) = delete;
  DocIdManager& operator=(const DocIdManager&) = delete;

  // Opens (creating if needed) both stores in `dir` and rebuilds the key
  // map. 0 on success or when already open; -1 for a null/empty dir or when
  // the directory or a store cannot be opened (the object stays closed).
  int open(const char* dir);

  // Allocates the next doc id for a new record and returns it; -1 when not
  // open, pkey is null, empty or longer than 65,535 bytes (the record keeps
  // 16 bits of length), or a store cannot take the record (no id is used up
  // then). keyCrc is stored for keys longer than 8 bytes.
  int addPKey(unsigned int tableId, const char* pkey, unsigned int contentSum, unsigned int keyCrc);

  // Last live doc id of (tableId, pkey), or -1. Also: delDocid = a deleted id
  // whose checksum equals contentSum, liveSum = the live id's checksum,
  // keyCrc = CRC-32 of a long key; each is left untouched when not found.
  int getDocid(unsigned int tableId, const char* pkey, int& delDocid, unsigned int contentSum,
               unsigned int& liveSum, unsigned int& keyCrc);
  int getDocid(unsigned int tableId, const char* pkey);

  // Restores the key of `docid` into `out` (a short key resets it first, a
  // long key is appended). 0; -1 when not open, out is null, there is no
  // record (getDocInfoById), or a long key cannot be resolved.
  int getPKey(int docid, _str_buffer_t* out);
  // The key bytes of `docid` where they are stored (the record's inline
  // bytes or the key store's map), without a copy: 0 with `text` and `len`
  // set, or -1 where getPKey fails. Valid until the stores change.
  int getPKeyView(int docid, const char** text, unsigned int* len);
  // Where data file `file` of the records is mapped, or null when it does
  // not exist or is empty (getDocInfoById reads records through it).
  unsigned char* recordFile(unsigned int file);
  // Table id of the record; 0 when there is none.
  unsigned int getTabMD5Id(int docid);
  // 1 when the record is marked deleted; 0 otherwise or without a record.
  int isDocidDel(unsigned int docid);
  // The record in mapped memory, or null when not open or the id's data
  // file does not exist or is empty.
  pkey_docid_t* getDocInfoById(int docid);

  // Mark / unmark deleted, apply the rules of the key's bucket and write the
  // change back at once (whatever the autosave flag). 0, or -1 without a
  // record (getDocInfoById; an id past the count in an existing data file
  // has one, its mark stays in memory until the id is allocated).
  int delDocid(unsigned int docid);
  int unDelDocid(unsigned int docid);
  // delDocid whose mark, with writeBack false, waits for the next save: for
  // a replaced document whose successor is not on disk yet.
  int delDocid(unsigned int docid, bool writeBack);

  // Appends deleted records without a key or table until `upTo` has a
  // record, and saves: at open, postings found for ids whose records were
  // never written are thereby owned by deleted documents. 0, or -1.
  int reserveDeletedIds(unsigned int upTo);

  // What open() mended: records cut off the end, live duplicates retired.
  unsigned int openCutRecords() const { return cutRecords; }
  unsigned int openRetiredDuplicates() const { return retiredDuplicates; }
  const BlockFiles::OpenRepairs& idStoreRepairs() const { return idStore->openRepairs(); }

  // Flush saves and marks to the device (see BlockFiles::setDurable).
  void setDurable(bool on);

  // Every deleted id, ascending, into `out`.
  void getAllDelDocid(BinarySet* out);
  // Every live id of the table, ascending, appended to `out`.
  void getDocidByTable(_DArray* out, unsigned int tableId);
  // A new _str_buffer_t with the key of every live record of the table,
  // appended to `out` (the caller frees them). -1 when not open, else 0.
  int getPKeyByTable(unsigned int tableId, ArrayList* out);

  unsigned int getDocNumber() const { return docCount; }
  // Number of records whose deleted byte is 1 (what getAllDelDocid collects),
  // kept as marks change.
  unsigned int getDeletedNumber() const { return deletedCount; }
  // Writes the deletion mark of `docid` back alone (see delDocid with
  // writeBack false). 0, or -1.
  int writeBackMark(unsigned int docid);
  void setAutoSave(bool on);
  bool isAutoSave() const { return autoSave; }
  bool isOpened() const { return opened; }
  // Deletion marks and table ids of every record, kept equal to the records
  // (see DocStateTable); for query evaluation.
  const DocStateTable& docState() const { return docState_; }

  // Writes back both stores, keys first so that no saved record names a key
  // that is not on disk. 0, or -1 when not open or a store fails.
  int save();
  // Closes both stores without writing back. 0, or -1 when not open.
  int close();
  // Writes back the id data file that holds `docid`.
  int syncToFile(int docid);

  // Compaction, first step (run on the old manager): copies the records of
  // ids below `count` that delSource reports live into `dst`, renumbering
  // densely, then saves dst. 0; 1 when this is not open or dst has no store.
  int copyBlock(DocIdManager* dst, unsigned int count, DocIdManager* delSource);
  // Compaction, second step (run on the new manager): appends the records of
  // `src` from `start` on that `keep` holds, replays the deletions of `log`
  // (pairs doc id, operation) renumbered through `removed`, and saves.
  int composeByLog(DocIdManager* src, unsigned int start, _DArray* log, BinarySet* keep,
                   BinarySet* removed);

 private:
  static unsigned int mapHash(const pkey_docid_t* rec);
  void addMapValue(const pkey_docid_t* rec, unsigned int docid);
  void setMapValue(const pkey_docid_t* rec, unsigned int docid, unsigned char deleted, bool writeBack);
  int setDeleted(unsigned int docid, unsigned char deleted, bool writeBack);
  // open(): cut records that were never written off the end.
  void cutUnwrittenTail();
  // open(): adds a record to the map, retiring an older live one of its key.
  void mapRecordAtOpen(pkey_docid_t* rec, unsigned int docid);
  void setDeletedByte(unsigned int docid, pkey_docid_t* rec, unsigned char deleted);
  _DArray* bucketOf(unsigned int hash);
  void freeMap();
  int appendCopy(const pkey_docid_t* rec, DocIdManager* from, unsigned int id, _str_buffer_t* work);
  // Keep docState_ equal to the records: one record, or all of them.
  void noteRecord(unsigned int docid);
  void rebuildDocState();

  BlockFiles* idStore;
  BlockFiles* keyStore;
  _str_buffer_t* dirPath;
  ThreadMutex* mutex;
  hashmap<_DArray*>* keyMap;
  unsigned int docCount;
  bool autoSave;
  bool opened;
  unsigned int deletedCount = 0;  // guarded like the records: by the searcher's locks
  unsigned int cutRecords = 0;
  unsigned int retiredDuplicates = 0;
  DocStateTable docState_;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_DOC_ID_MANAGER_H_
