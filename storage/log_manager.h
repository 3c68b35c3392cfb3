// LogManager: the operation log of one group, recording every document change
// made while a compaction may be running, so the compacted copy can replay
// them.
//
// Files: D/log-info, D/log-0, D/log-1, ... (BlockFiles, 512 KiB data files).
// Log record, 8 bytes, little-endian:
//   offset size field
//   0      4    doc id
//   4      4    operation: 1 deleted, 2 added under a new id, 3 revived
// As a 64-bit value a record is (operation << 32) | doc id. The log lives only
// within one process run: open() deletes the previous one.
//
// Ownership: the manager owns its store, path and set. Threads: none inside;
// the group searcher's lock serialises add_log with compaction reads.
// Failures: return values only (-1, 1, null), nothing logged.
#ifndef KS_STORAGE_LOG_MANAGER_H_
#define KS_STORAGE_LOG_MANAGER_H_

#include "foundation/binary_set.h"
#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "storage/block_files.h"

namespace mobile_search {

class LogManager {
 public:
  static constexpr unsigned int kRecordSize = 8;

  LogManager();
  virtual ~LogManager();
  LogManager(const LogManager&) = delete;
  LogManager& operator=(const LogManager&) = delete;

  // Creates dir if needed, deletes the previous log and opens an empty one.
  // 0 (also when already open); -1 for a null dir or any failure.
  int open(const char* dir);
  // Appends (docid, op); the record count afterwards, or -1 when not open.
  int add_log(unsigned int docid, unsigned int op);
  // A malloc'ed copy of the record at the cursor as its 64-bit value (the
  // caller frees it), advancing the cursor; null at the end or when the
  // record cannot be addressed (the cursor stays).
  unsigned long long* read_next_log();
  // Index i in from, from - 2, ..., 0 of the first pair of `pairs` equal to
  // (docid, op), or -1.
  int reverse_find_log(_DArray* pairs, int from, int docid, int op);
  // Reduces the unread log to the pairs a compaction must replay, appended
  // to `out` oldest first. 0; 1 when fewer records than the whole count
  // could be read (also when some were read before).
  int log_pretreat(_DArray* out, int limit, BinarySet* set);

  // 0 when open and written back, else -1.
  int save();
  // save() and close the store; 0, or -1 when not open. The opened flag
  // stays set.
  int close();
  void setAutoSave(bool on);

  unsigned int getCount() const { return count; }
  static unsigned long long compose_log_t(unsigned int docid, unsigned int op) {
    return (static_cast<unsigned long long>(op) << 32) | docid;
  }

 private:
  void removeOldLog();
  int reduce(_DArray* pairs, _DArray* out, int limit, BinarySet* set);

  BinarySet* set_;
  unsigned int count;
  unsigned int cursor;
  BlockFiles* store;
  _str_buffer_t* dirPath;
  bool opened;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_LOG_MANAGER_H_
