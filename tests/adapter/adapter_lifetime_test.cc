// What a running change hook or scan batch reads must outlive the calls of
// other threads: a table removed or registered again, a stopScan, the adapter's
// destruction. Each test parks a hook or a batch inside its processing
// function (a gate), does the dangerous call from another thread, then lets it
// go on; ASan and TSan see any record freed under it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "adapter_fixture.h"

namespace adapter_test {
namespace {

// A point where processing functions stop until the test opens it.
class Gate {
 public:
  // Called by the processing function: counts itself in, waits for Open().
  void Pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    ++inside_;
    max_inside_ = std::max(max_inside_, inside_);
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
    --inside_;
  }
  void WaitInside(int n) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return inside_ >= n; });
  }
  void Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  int MaxInside() {
    std::lock_guard<std::mutex> lock(mutex_);
    return max_inside_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int inside_ = 0, max_inside_ = 0;
  bool open_ = false;
};

// The processing function of every index here: rows pass the gate while one
// is set, and are kept.
struct Processing {
  std::atomic<Gate*> gate{nullptr};
  std::atomic<int> rows{0};
};

int PassGate(const char*, int, const char**, char**, const int*, const int*, void* user) {
  Processing* p = static_cast<Processing*>(user);
  ++p->rows;
  if (Gate* gate = p->gate.load()) gate->Pass();
  return 0;
}

// Sleeps so that a call that should be waiting has time to return wrongly,
// then reports whether it did.
bool ReturnedMeanwhile(const std::atomic<bool>& returned) {
  usleep(100 * 1000);
  return returned.load();
}

class AdapterLifetimeConcurrency : public HostedEngineTest {
 protected:
  void SetUp() override {
    SetUpHosted("lifetime-key",
                {"PRAGMA journal_mode=WAL;", "CREATE TABLE msgs(mid TEXT, body TEXT)",
                 "CREATE TABLE notes(mid TEXT, body TEXT)"},
                true);
    for (const char* table : {"msgs", "notes"}) {
      host_->Exec("BEGIN");
      for (int i = 1; i <= 120; ++i) {
        host_->Exec(std::string("INSERT INTO ") + table + "(rowid, mid, body) VALUES(" +
                    std::to_string(i) + ",'" + table + Word(i) + "','" + Word(i) + "')");
      }
      host_->Exec("COMMIT");
    }
    ASSERT_EQ(0, Register("idx", "app", "msgs", "body"));
    ASSERT_EQ(0, Register("notes_idx", "app", "notes", "body"));
    ASSERT_EQ(0, adapter_->addDataProcFunc("idx", PassGate, &processing_));
    ASSERT_EQ(0, adapter_->addDataProcFunc("notes_idx", PassGate, &notes_processing_));
  }
  void SetGate(Gate* gate) { processing_.gate = notes_processing_.gate = gate; }

  Processing processing_, notes_processing_;
};

TEST_F(AdapterLifetimeConcurrency, TablesRemovedOrRegisteredAgainUnderAHookAndABatch) {
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  Gate gate;
  SetGate(&gate);
  // A hooked insert and a scan batch both stop inside their processing call,
  // holding the table record they read.
  std::thread writer([&] {
    host_->Exec("INSERT INTO msgs(rowid, mid, body) VALUES(500, 'hooked', 'zzhooked')");
  });
  std::thread scanner([&] { EXPECT_EQ(50, Scan("idx")); });
  gate.WaitInside(2);
  EXPECT_EQ(0, adapter_->delTable("idx", "app", "msgs"));
  EXPECT_EQ(nullptr, adapter_->getTabConfig("app", "msgs", "idx"));
  EXPECT_EQ(0, adapter_->addTable("idx", "app", "msgs", "mid", "body", "rowid < 90", "", 0));
  gate.Open();
  writer.join();
  scanner.join();

  // Both finished their row with the record they started with.
  EXPECT_TRUE(Finds("idx", "zzhooked", "hooked"));
  EXPECT_TRUE(Finds("idx", Word(50), "msgs" + Word(50)));
  // The new registration is the one in use now: its batch starts where the
  // old one stopped and keeps to its where condition.
  SetGate(nullptr);
  EXPECT_EQ(40, Scan("idx"));
  EXPECT_TRUE(Finds("idx", Word(89), "msgs" + Word(89)));
  EXPECT_FALSE(Finds("idx", Word(90), "msgs" + Word(90)));
}

TEST_F(AdapterLifetimeConcurrency, BatchesOfOneTableTakeTurnsAndStopScanWaitsForAll) {
  Gate gate;
  SetGate(&gate);
  auto scan = [&](const char* table, const char* index) {
    return std::thread([=] {
      EXPECT_EQ(-1, adapter_->scanTable("app", table, index));  // stopped in the middle
    });
  };
  std::thread msgs_a = scan("msgs", "idx"), msgs_b = scan("msgs", "idx");
  std::thread notes = scan("notes", "notes_idx");
  gate.WaitInside(2);  // one batch per table; the second msgs scan waits for the first
  // Scans that fail early leave the running batches counted.
  EXPECT_EQ(-1, adapter_->scanTable("app", "missing", "idx"));
  EXPECT_EQ(-5, adapter_->scanTable("nodb", "msgs", "idx"));

  std::atomic<bool> stopped{false};
  std::thread stopper([&] {
    EXPECT_EQ(0, adapter_->stopScan());
    stopped = true;
  });
  EXPECT_FALSE(ReturnedMeanwhile(stopped));
  gate.Open();
  stopper.join();
  // When stopScan returns no batch runs any more, and the waiting one never
  // starts.
  const int rows = processing_.rows + notes_processing_.rows;
  msgs_a.join();
  msgs_b.join();
  notes.join();
  EXPECT_EQ(rows, processing_.rows + notes_processing_.rows);
  EXPECT_EQ(2, gate.MaxInside());
  EXPECT_EQ(0, MaxRowid("idx"));  // a stopped batch records no progress
}

TEST_F(AdapterLifetimeConcurrency, TheAdapterGoesOnlyAfterTheHookAndTheBatchUnderWay) {
  ASSERT_EQ(0, adapter_->startHook("app", host_->conn));
  Gate hook_gate, scan_gate;
  notes_processing_.gate = &hook_gate;
  processing_.gate = &scan_gate;
  std::thread writer([&] {
    host_->Exec("INSERT INTO notes(rowid, mid, body) VALUES(500, 'late', 'zzlate')");
  });
  std::thread scanner([&] { EXPECT_EQ(-1, Scan("idx")); });
  hook_gate.WaitInside(1);
  scan_gate.WaitInside(1);
  EXPECT_EQ(-1, adapter_->scanTable("app", "missing", "idx"));  // ends early, beside the batch

  std::atomic<bool> destroyed{false};
  std::thread destroyer([&] {
    adapter_.reset();
    destroyed = true;
  });
  EXPECT_FALSE(ReturnedMeanwhile(destroyed));
  // With the hook done, the batch alone holds the adapter up.
  hook_gate.Open();
  writer.join();
  EXPECT_FALSE(ReturnedMeanwhile(destroyed));
  scan_gate.Open();
  destroyer.join();
  scanner.join();
  // Nothing of the adapter runs any more (the stop flag dropped the hooked row).
  const int rows = processing_.rows;
  usleep(20 * 1000);
  EXPECT_EQ(rows, processing_.rows.load());
}

}  // namespace
}  // namespace adapter_test
