// DocStateTable: the deletion mark and table id of every document of one
// group, one byte per doc id, so that query evaluation can tell whether a
// posting's document is live and which table it belongs to without reading
// its 19-byte record from the id store (records of hits lie scattered over
// the whole store; this table stays in cache).
//
// Byte of a doc id: bit 7 the deletion mark, bits 0-6 an index into a small
// palette of table ids. Palette index 127 means "not covered": ids never set,
// ids set while the palette was full (more than 127 tables in one group) and
// everything after a failed allocation. Callers read the record for an id
// that is not covered, so the table is a cache that is never wrong, only
// sometimes absent.
//
// Per block of 1024 doc ids it also keeps whether every id set in the block
// has had one and the same byte, so that a query can tell a whole range of
// documents live (and of one table) without reading a byte per document. A
// block once mixed stays mixed until clear().
//
// The owner (DocIdManager) keeps it equal to the records: it sets every
// record at open and when one is appended, and every change of a deletion
// mark. Threads: none inside; written under the group's exclusive lock, read
// by searches under the shared lock. Failures: an allocation failure leaves
// the table empty (nothing covered).
#ifndef KS_STORAGE_DOC_STATE_TABLE_H_
#define KS_STORAGE_DOC_STATE_TABLE_H_

#include <cstddef>
#include <vector>

namespace mobile_search {

class DocStateTable {
 public:
  static constexpr unsigned char kUncovered = 0x7F;
  static constexpr unsigned char kDeletedBit = 0x80;

  // Forgets every document.
  void clear();
  // Records the table id and mark of `docid`; ids between the last one set
  // and `docid` stay uncovered. An id 0 table is kept like any other.
  void set(unsigned int docid, unsigned int tableId, bool deleted);
  // Changes the mark of a covered id; others are left alone.
  void setDeleted(unsigned int docid, bool deleted);
  // The byte of `docid`, kUncovered past the last id set.
  unsigned char state(unsigned int docid) const {
    return docid < states_.size() ? states_[docid] : kUncovered;
  }
  // The byte every id of [first, last] has, or -1 when they differ, when an
  // id of a block they share has differed, or when last was never set.
  int uniformState(unsigned int first, unsigned int last) const;
  // Table id of a palette index below kUncovered.
  unsigned int tableOf(unsigned char index) const { return palette_[index]; }
  unsigned int paletteSize() const { return static_cast<unsigned int>(palette_.size()); }
  // Bytes held (capacity of both arrays).
  size_t memoryBytes() const;

 private:
  static constexpr unsigned int kBlockShift = 10;
  static constexpr unsigned short kFresh = 0x100;  // block summary: no id set yet
  static constexpr unsigned short kMixed = 0x200;  // ids of the block have differed
  unsigned char paletteIndex(unsigned int tableId);
  void note(unsigned int docid, unsigned char state);

  std::vector<unsigned char> states_;
  std::vector<unsigned short> blocks_;  // per block: the one state, kFresh or kMixed
  std::vector<unsigned int> palette_;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_DOC_STATE_TABLE_H_
