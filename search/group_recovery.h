// Recovery of a group's stores at open: brings the document records and the
// postings of one group directory back to one consistent state after the
// process was stopped (or the device lost power) in the middle of a change.
//
// What it mends, each reported through the plain log channel:
//   - a content length pointing past the data files (cut back to them), and
//     a full postings file left half replaced (finished or dropped);
//   - document records at the end that were never completely written (cut);
//   - two live records of one key (the older is retired);
//   - postings of documents whose records never reached the disk: cut off the
//     end of the active postings file, or, where they already went into a
//     sorted full file, given deleted placeholder records so that no later
//     document takes their ids;
//   - a full postings file found out of order (sorted again).
// Runs of the engine that were not interrupted leave nothing to mend, and
// then nothing is written or logged.
//
// Threads: called while the group is being opened, before anyone else sees
// its stores. Failures: -1 when a repair could not be written; the stores are
// then still usable but may keep the damage until the next open.
#ifndef KS_SEARCH_GROUP_RECOVERY_H_
#define KS_SEARCH_GROUP_RECOVERY_H_

namespace mobile_search {

class DocIdManager;
class IndexManager;

// `dir` names the group in the log lines. 0, or -1.
int recover_group_stores(const char* dir, DocIdManager* docs, IndexManager* index);

}  // namespace mobile_search

#endif  // KS_SEARCH_GROUP_RECOVERY_H_
