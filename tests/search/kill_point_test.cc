// Kill-point test: a worker process adds, changes, deletes, saves and
// compacts documents on one root while the test kills it with SIGKILL at a
// random moment; a fresh process then reopens the root and searches every
// document by the unique token each version holds. Each kill is checked
// against the worker's record of the calls it began and finished:
//   - a call that returned (with auto-save on, or followed by a finished
//     save) is in effect;
//   - the interrupted call left its key in the old or the new state;
//   - no token finds a document other than the one version that holds it.
// KS_KILLS sets the number of kills (default 150; 40 in sanitizer builds,
// which run several times slower), KS_KILL_SEED the seed; a failure prints
// the seed, the kill and the operation in progress, and keeps the root for
// inspection.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "gtest/gtest.h"
#include "search/group_searcher.h"
#include "search/reopen_probe.h"
#include "search/searcher_fixture.h"
#include "storage/index_manager.h"

namespace mobile_search {
namespace {

#if defined(__SANITIZE_ADDRESS__)
const int kDefaultKills = 40;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
const int kDefaultKills = 40;
#else
const int kDefaultKills = 150;
#endif
#else
const int kDefaultKills = 150;
#endif

const int kTrackedKeys = 24;
const unsigned int kPostingsPerFile = 190650;

enum OpKind { kPut, kDel, kFiller, kSave, kCompact, kBulkBegin, kBulkEnd };

struct Op {
  OpKind kind;
  std::string key;
  std::string token;  // the version's unique word (kPut, kFiller)
};

// The worker's operations, a pure function of its seed so that the test can
// replay what the worker's record names.
class OpStream {
 public:
  explicit OpStream(unsigned int seed) : rng_(seed), seed_(seed) {}
  Op next() {
    Op op;
    int r = static_cast<int>(rng_() % 100);
    if (inBulk_ && ++bulkOps_ > 15) {
      inBulk_ = false;
      op.kind = kBulkEnd;
    } else if (r < 40) {
      op = {kPut, "k" + std::to_string(rng_() % kTrackedKeys), token()};
    } else if (r < 52) {
      op = {kDel, "k" + std::to_string(rng_() % kTrackedKeys), ""};
    } else if (r < 90) {
      op = {kFiller, "f" + std::to_string(seed_) + "_" + std::to_string(count_), token()};
    } else if (r < 94) {
      op.kind = kSave;
    } else if (r < 96) {
      op.kind = kCompact;
    } else if (!inBulk_) {
      inBulk_ = true;
      bulkOps_ = 0;
      op.kind = kBulkBegin;
    } else {
      op.kind = kSave;
    }
    ++count_;
    return op;
  }

 private:
  // Two words: terms are 32-bit signs, and one word's sign can equal the
  // sign of some other text's term; both at once in one document cannot.
  std::string token() {
    std::string t = "x";
    for (int i = 0; i < 19; ++i) t += i == 9 ? ' ' : static_cast<char>('a' + rng_() % 26);
    return t;
  }
  std::mt19937 rng_;
  unsigned int seed_;
  unsigned int count_ = 0;
  bool inBulk_ = false;
  int bulkOps_ = 0;
};

// Postings in the active (unsorted) postings file.
unsigned int ActivePostings(Searcher* s) {
  GroupSearcher* g = s->getGroupSearcher("default");
  index_mgr_t* mgr = g == nullptr ? nullptr : g->getIndexMgr();
  if (mgr == nullptr) return 0;
  return (mgr->index_mgr->getStore()->getContentLen() & ((1u << 21) - 1)) / _idx2_unit_t::kSize;
}

void Record(int fd, int index, char phase) {
  char line[32];
  int n = snprintf(line, sizeof(line), "%c %d\n", phase, index);
  if (write(fd, line, static_cast<size_t>(n)) != n) _exit(3);
}

// Runs operations until killed. With `killAtFill`, a thread kills the process
// a few milliseconds after a document starts that will fill a postings file.
[[noreturn]] void RunWorker(const std::string& root, unsigned int seed, int logFd, int readyFd,
                            bool killAtFill) {
  Searcher s;
  if (s.open(root.c_str(), 0) != 0 || RegisterMessages(&s) != 0) _exit(2);
  std::mt19937 rng(seed ^ 0x9E3779B9u);
  if (write(readyFd, "r", 1) != 1) _exit(3);
  OpStream ops(seed);
  bool armed = false;
  for (int i = 0;; ++i) {
    Op op = ops.next();
    if (killAtFill && !armed && op.kind == kFiller &&
        ActivePostings(&s) > kPostingsPerFile - 1500) {
      armed = true;
      unsigned int delay = rng() % 8000;
      std::thread([delay] {
        std::this_thread::sleep_for(std::chrono::microseconds(delay));
        kill(getpid(), SIGKILL);
      }).detach();
    }
    // Heading for a fill, only documents change: the ops skipped change
    // nothing the test checks, and a compaction would make the run long.
    bool skip = killAtFill && op.kind != kPut && op.kind != kFiller && op.kind != kDel;
    Record(logFd, i, 'B');
    // About 300 Han characters of filler text fill a postings file every few
    // hundred documents.
    const std::string content = op.token + " " + (op.kind == kFiller ? HanText(rng, 300) : "短消息");
    switch (skip ? kSave : op.kind) {
      case kPut:
      case kFiller:
        PutMessage(&s, op.key, content);
        break;
      case kDel:
        s.delDoc(kIndex, kDb, "message", op.key.c_str());
        break;
      case kSave:
        if (!skip) s.save("default");
        break;
      case kCompact:
        s.ellipse_index("default", true);
        break;
      case kBulkBegin:
        s.setAutoSave("default", false);
        break;
      case kBulkEnd:
        s.save("default");
        s.setAutoSave("default", true);
        break;
    }
    Record(logFd, i, 'E');
  }
}

// What the test knows of every key: the states it may be found in (a token,
// or "" for absent) and the tokens to search for it.
struct KeyModel {
  std::set<std::string> candidates{""};
  std::string current;
  std::set<std::string> tokens;
};

class KillPointTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* kills = getenv("KS_KILLS");
    const char* seed = getenv("KS_KILL_SEED");
    kills_ = kills != nullptr ? atoi(kills) : kDefaultKills;
    seed_ = seed != nullptr ? static_cast<unsigned int>(strtoul(seed, nullptr, 10))
                            : static_cast<unsigned int>(std::random_device{}());
    root_ = dir_.path() + "/root";
  }

  // Replays the worker's record onto the model; returns the description of
  // the interrupted operation.
  std::string Replay(unsigned int workerSeed, const std::string& log) {
    int last = -1;
    bool open = false;
    for (size_t at = 0; at < log.size();) {
      size_t nl = log.find('\n', at);
      if (nl == std::string::npos) break;
      open = log[at] == 'B';
      last = atoi(log.c_str() + at + 2);
      at = nl + 1;
    }
    OpStream ops(workerSeed);
    std::string interrupted = "none";
    for (int i = 0; i <= last; ++i) {
      Op op = ops.next();
      bool done = !(i == last && open);
      if (op.kind == kPut || op.kind == kFiller || op.kind == kDel) {
        KeyModel& m = keys_[op.key];
        if (!op.token.empty()) {
          m.tokens.insert(op.token);
          recent_.insert(op.key);
        }
        std::string next = op.kind == kDel ? "" : op.token;
        if (done) {
          m.current = next;
          if (!bulk_) m.candidates.clear();
        }
        m.candidates.insert(next);
      } else if (op.kind == kBulkBegin && done) {
        bulk_ = true;
      } else if ((op.kind == kBulkEnd || op.kind == kSave) && done && bulk_) {
        if (op.kind == kBulkEnd) bulk_ = false;
        for (auto& kv : keys_) kv.second.candidates = {kv.second.current};
      }
      if (!done) interrupted = "op " + std::to_string(i) + " kind " + std::to_string(op.kind) + " key " + op.key;
    }
    // A worker killed inside a bulk section leaves auto-save off only in its
    // own memory: the next worker starts with auto-save on.
    bulk_ = false;
    return interrupted;
  }

  // Checks the reopened root against the model and settles every key on the
  // state found. Returns an empty string or what went wrong.
  std::string Check() {
    std::vector<std::string> tokens;
    std::map<std::string, std::string> owner;
    for (auto& kv : keys_) {
      bool tracked = kv.first[0] == 'k' || recent_.count(kv.first) != 0;
      if (!tracked) continue;
      for (const std::string& t : kv.second.tokens) {
        tokens.push_back(t);
        owner[t] = kv.first;
      }
    }
    std::string commands;
    for (const std::string& t : tokens) commands += "q " + t + "\n";
    ks_test::Reopened r = ks_test::Reopen(root_, kIndex, commands);
    if (!r.ok) return "reopening the root failed";

    std::map<std::string, std::set<std::string>> found;  // key -> tokens that find it
    for (const auto& q : r.found) {
      const std::string& token = q.first;
      const std::string& keys = q.second;
      for (size_t p = 0; p < keys.size();) {
        size_t comma = keys.find(',', p);
        std::string key = keys.substr(p, comma - p);
        p = comma + 1;
        if (key != owner[token]) return "token " + token + " of " + owner[token] + " finds " + key;
        found[key].insert(token);
      }
    }
    for (auto& kv : keys_) {
      bool tracked = kv.first[0] == 'k' || recent_.count(kv.first) != 0;
      if (!tracked) continue;
      const std::set<std::string>& f = found[kv.first];
      if (f.size() > 1) return kv.first + " is found in two versions";
      std::string state = f.empty() ? "" : *f.begin();
      if (kv.second.candidates.count(state) == 0) {
        std::string want;
        for (const std::string& c : kv.second.candidates) want += (c.empty() ? "<absent>" : c) + " ";
        return kv.first + " found as " + (state.empty() ? "<absent>" : state) + ", expected one of " + want;
      }
      kv.second.current = state;
      kv.second.candidates = {state};
    }
    return "";
  }

  ks_test::TempDir dir_;
  std::string root_;
  int kills_ = kDefaultKills;
  unsigned int seed_ = 0;
  std::map<std::string, KeyModel> keys_;
  std::set<std::string> recent_;  // filler keys checked until a later round forgets them
  bool bulk_ = false;
};

TEST_F(KillPointTest, EveryKillLeavesEachDocumentOldOrNewAndNothingMislabelled) {
  std::mt19937 rng(seed_);
  int fillKills = 0;
  for (int round = 0; round < kills_; ++round) {
    unsigned int workerSeed = rng();
    bool killAtFill = round % 6 == 5;
    std::string logPath = dir_.file("log");
    int logFd = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    int ready[2];
    ASSERT_TRUE(logFd >= 0 && pipe(ready) == 0);
    pid_t pid = fork();
    if (pid == 0) {
      close(ready[0]);
      RunWorker(root_, workerSeed, logFd, ready[1], killAtFill);
    }
    close(ready[1]);
    close(logFd);
    char c = 0;
    bool started = read(ready[0], &c, 1) == 1;
    close(ready[0]);
    if (started && !killAtFill) {
      // Short delays land in the first operations (and a postings file being
      // sorted), long ones deep into a run.
      unsigned int us = rng() % 2 == 0 ? rng() % 30000 : 30000 + rng() % 200000;
      std::this_thread::sleep_for(std::chrono::microseconds(us));
    } else if (started) {
      // The worker kills itself at the fill; a bound in case it never gets there.
      for (int i = 0; i < 400 && waitpid(pid, nullptr, WNOHANG) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
      }
    }
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(started) << "worker failed to open the root; seed " << seed_ << " round " << round;
    if (killAtFill) ++fillKills;
    if (round % 3 == 0) recent_.clear();
    std::string interrupted = Replay(workerSeed, ks_test::ReadFile(logPath));
    std::string failure = Check();
    if (!failure.empty()) {
      dir_.keep();
      FAIL() << failure << "\n  seed " << seed_ << " (KS_KILL_SEED), round " << round << ", worker seed "
             << workerSeed << ", interrupted " << interrupted << "\n  root kept at " << root_;
    }
  }
  RecordProperty("kills", kills_);
  RecordProperty("fill_kills", fillKills);
}

}  // namespace
}  // namespace mobile_search
