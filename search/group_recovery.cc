#include "search/group_recovery.h"

#include "foundation/logging.h"
#include "storage/doc_id_manager.h"
#include "storage/index_manager.h"

namespace mobile_search {

namespace {

void reportStore(const char* dir, const char* store, const BlockFiles::OpenRepairs& r) {
  if (r.lengthCut) {
    log_printf("index recovery %s: %s length %u reached past its files, cut back", dir, store, r.claimedLen);
  }
  if (r.sealFinished) log_printf("index recovery %s: %s finished replacing a full file", dir, store);
  if (r.sealDropped) log_printf("index recovery %s: %s dropped an unrecorded copy of a full file", dir, store);
}

}  // namespace

int recover_group_stores(const char* dir, DocIdManager* docs, IndexManager* index) {
  if (dir == nullptr || docs == nullptr || index == nullptr) return -1;
  reportStore(dir, "document store", docs->idStoreRepairs());
  reportStore(dir, "postings", index->storeRepairs());
  if (docs->openCutRecords() > 0) {
    log_printf("index recovery %s: dropped %u unwritten document records", dir, docs->openCutRecords());
  }
  if (docs->openRetiredDuplicates() > 0) {
    log_printf("index recovery %s: retired %u older live duplicates of a key", dir,
               docs->openRetiredDuplicates());
  }
  IndexManager::IndexRepairs r;
  int rc = index->repairAtOpen(docs->getDocNumber(), &r);
  if (r.resorted) log_printf("index recovery %s: sorted an out-of-order postings file again", dir);
  if (r.unwritten > 0) log_printf("index recovery %s: dropped %u unwritten postings", dir, r.unwritten);
  if (r.orphans > 0) {
    log_printf("index recovery %s: dropped %u postings of documents never saved", dir, r.orphans);
  }
  if (r.reserveUpTo >= 0) {
    unsigned int first = docs->getDocNumber();
    if (docs->reserveDeletedIds(static_cast<unsigned int>(r.reserveUpTo)) != 0) rc = -1;
    log_printf("index recovery %s: doc ids %u-%lld of documents never saved marked deleted", dir, first,
               r.reserveUpTo);
  }
  return rc;
}

}  // namespace mobile_search
