// TableResult: the documents one search (or one table listing) returns for a
// single table, with the table's description and its found count.
//
// Ownership: the six lists and every primary-key buffer in pkey_arr belong to
// the TableResult. Keys that add() and insert() make live in a slab of the
// result (one allocation for many keys); keys are read-only once added. The table's names and field list are borrowed from its
// configuration record (table_info_t) and the group names from the group
// searchers, so a result must not outlive the configuration it was made from.
//
// Layout: five parallel lists hold one entry per returned document (key text,
// document id, field id, weight, group name); pkey_hash_array exists but no
// operation fills it.
//
// Threads: none inside; a result is filled and read by one thread.
//
// Failures: operations return -1 (or 0 / null where stated) and leave the
// result unchanged; nothing throws.
#ifndef KS_SEARCH_TABLE_RESULT_H_
#define KS_SEARCH_TABLE_RESULT_H_

#include <array>
#include <cstdint>

#include "config/config_records.h"
#include "foundation/dynamic_array.h"
#include "foundation/string_buffer.h"
#include "foundation/string_buffer_slab.h"
#include "storage/index_term.h"

namespace mobile_search {

class DocIdManager;

class TableResult {
 public:
  // All lists empty, counters 0, names null. The owning flag is kept for
  // callers that ask for it; see the destructor for what it decides.
  explicit TableResult(bool owning);
  // Frees the six lists and every key buffer in pkey_arr.
  ~TableResult();

  TableResult(const TableResult&) = delete;
  TableResult& operator=(const TableResult&) = delete;

  // Copies the table id and borrows the names, key field and field list of
  // `info`. A null record is ignored.
  void readTableInfo(const table_info_t* info);

  // Appends one hit: its primary key read from `ids` into a new buffer of
  // capacity 32, its field byte, weight byte, 24-bit doc id and the text of
  // `group_name`. Returns 0; -1 (nothing added) when `ids` is null or the
  // key buffer cannot be made.
  int add(DocIdManager* ids, doc_union_t hit, _str_buffer_t* group_name);
  // The same with the key already read (`key` null: an empty key, as when
  // the key cannot be read). -1 when the key buffer cannot be made.
  int add(const char* key, int key_len, doc_union_t hit, _str_buffer_t* group_name);

  // Makes room for `n` more documents in every list and for their keys, so
  // that adding them allocates nothing more. False when memory runs out
  // (adding still works, growing as it goes).
  bool reserve(unsigned int n);

  // Inserts one document at `position` (clamped to the count) with a fresh
  // copy of `pkey`. Returns 0, or -1 when the copy cannot be made.
  int insert(int position, _str_buffer_t* pkey, unsigned char weight,
             unsigned char field_id, unsigned char doc_id, const char* group);

  // Removes entry `i` from the five filled lists and lowers docs_found by
  // one. Returns 0, or -1 for an index out of range.
  int deleteDoc(int i);

  // Number of returned documents (entries of pkey_arr).
  int getCount() const;
  // Entry `i` of the lists; null / 0 when `i` is out of range.
  _str_buffer_t* getPkey(int i) const;
  unsigned char getWeight(int i) const;
  unsigned char getFieldId(int i) const;
  const char* getGroupName(int i) const;
  // Only the low 8 bits of the stored doc id: this is the width the
  // interface has always had, so documents moved by a merge keep only the
  // low byte of their id.
  unsigned char getDocId(int i) const;

  void sumDocFound(int n) { docs_found_ += n; }
  int getDocsFound() const { return docs_found_; }
  unsigned int getTableMD5() const { return table_id_; }
  bool isOwning() const { return owning_; }
  // The key list itself; table listings append `_str_buffer_t*` keys to it
  // directly and the result then frees them.
  ArrayList* getPkeyArray() {
    heap_keys_ = true;
    return pkey_arr_;
  }

  // Removes every document that this result and `other` both hold (same key
  // text), keeping the better one: lower field id, then higher weight, then
  // this result's. Returns the number removed from either side. Large
  // results with unique keys are matched through a hash table; the outcome
  // is the pairwise scan's.
  int filterSamePkeyInTableResult(TableResult* other);

  // Merges `other`'s entries (weight order, higher first) into this result's
  // (same order); on equal weight this result's entries stay first. Returns
  // the number of entries of `other`. Large results are merged in one pass
  // into new lists, with the order the one-by-one insertion gives.
  int mergeAndSortTableResult(TableResult* other);

  // Bytes serialize() appends at most (a bound, for sizing the output once).
  size_t serializedBound() const;

  // Appends this table's JSON object to `out`. Strings are written as they
  // are, without escaping.
  void serialize(StringBuffer* out) const;

  // ,"name":[...] with the entries as signed decimals; nothing for an
  // absent or empty list.
  static void appendIntArray(const char* name, const ArrayList* list,
                             StringBuffer* out);
  // ,"name":["...",...] over `const char*` entries; empty entries are
  // skipped together with their separator.
  static void appendStrArray(const char* name, const ArrayList* list,
                             StringBuffer* out);
  // The same over `_str_buffer_t*` entries.
  static void appendStrBufferArray(const char* name, const ArrayList* list,
                                   StringBuffer* out);

 private:
  // The pairwise forms of the two merge steps above (small results, or keys
  // repeating within one side, or no memory for the fast forms).
  int filterSamePkeyPairwise(TableResult* other);
  int mergeAndSortByInsertion(TableResult* other);
  // The one-pass forms; false (nothing changed) when they cannot run.
  bool filterSamePkeyHashed(TableResult* other, int* removed);
  bool mergeAndSortInOnePass(TableResult* other);
  // Removes the entries whose mark is set (one mark per entry), keeping the
  // order of the others, as deleteDoc on each would.
  void removeMarked(const unsigned char* marks);
  // The five lists holding one entry per returned document (key, document
  // id, field id, weight, group name), in that order.
  std::array<ArrayList**, 5> entryLists() {
    return {&pkey_arr_, &offset_arr_, &field_id_arr_, &weight_arr_, &group_arr_};
  }

  // A key buffer holding the `len` bytes at `text` (null: empty), or null.
  _str_buffer_t* newKey(const char* text, int len);
  // A key buffer holding a copy of `key`'s bytes (null: empty), or null.
  _str_buffer_t* copyKey(const _str_buffer_t* key) {
    return key != nullptr && key->data != nullptr ? newKey(key->data, key->len) : newKey(nullptr, 0);
  }
  // Frees a key of pkey_arr unless the slab holds it.
  void freeKey(_str_buffer_t* key);

  ArrayList* pkey_arr_;
  ArrayList* offset_arr_;
  ArrayList* field_id_arr_;
  ArrayList* weight_arr_;
  ArrayList* group_arr_;
  ArrayList* pkey_hash_array_;
  StrBufferSlab keys_;  // storage of the keys add() and insert() made
  bool heap_keys_ = false;  // whether pkey_arr may hold keys outside the slab

  int docs_found_;
  unsigned int table_id_;
  const char* index_name_;
  const char* db_name_;
  const char* table_name_;
  const char* key_field_;
  const char* field_list_;
  int field_num_;
  bool owning_;
};

}  // namespace mobile_search

#endif  // KS_SEARCH_TABLE_RESULT_H_
