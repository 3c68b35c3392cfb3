// DocRecordCursor: reads the records of many documents in a row, as result
// building does for every returned hit. It remembers where the data file of
// the last id is mapped, so ids of one file cost an index computation each
// instead of a store lookup.
//
// A cursor answers exactly as DocIdManager::getDocInfoById and getPKeyView
// do. It is valid while the id store adds no data file: use it within one
// search, under the group's index lock. Threads: one cursor per thread.
#ifndef KS_STORAGE_DOC_RECORD_CURSOR_H_
#define KS_STORAGE_DOC_RECORD_CURSOR_H_

#include "storage/doc_id_manager.h"

namespace mobile_search {

class DocRecordCursor {
 public:
  explicit DocRecordCursor(DocIdManager* docs) : docs_(docs) {}

  // The record of `docid` in mapped memory, or null (as getDocInfoById).
  const pkey_docid_t* record(unsigned int docid) {
    if (docid > 0x7FFFFFFFu) return nullptr;
    const unsigned int file = docid / DocIdManager::kRecordsPerFile;
    if (file != file_) {
      base_ = docs_->recordFile(file);
      file_ = file;
    }
    if (base_ == nullptr) return nullptr;
    const unsigned int pos = (docid % DocIdManager::kRecordsPerFile) * pkey_docid_t::kSize;
    return reinterpret_cast<const pkey_docid_t*>(base_ + pos);
  }

  // The key bytes of `docid` (as getPKeyView): 0, or -1.
  int keyView(unsigned int docid, const char** text, unsigned int* len) {
    const pkey_docid_t* rec = record(docid);
    if (rec == nullptr || rec->longKey()) return docs_->getPKeyView(static_cast<int>(docid), text, len);
    *text = reinterpret_cast<const char*>(rec->inlineKey());
    *len = rec->keyLen();
    return 0;
  }

  // Asks the CPU for the record of `docid` ahead of its use.
  void prefetch(unsigned int docid) {
    const pkey_docid_t* rec = record(docid);
    if (rec != nullptr) __builtin_prefetch(rec->bytes);
  }

 private:
  DocIdManager* docs_;
  unsigned int file_ = ~0u;
  const unsigned char* base_ = nullptr;
};

}  // namespace mobile_search

#endif  // KS_STORAGE_DOC_RECORD_CURSOR_H_
