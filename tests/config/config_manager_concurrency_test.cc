#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "config/config_manager.h"
#include "test_util.h"

using namespace mobile_search;

namespace {

const int kThreads = 6;
const int kTablesPerThread = 12;
const char* const kGroups[] = {"default", "g1", "g2"};

std::string TableName(int thread, int i) {
  return "t" + std::to_string(thread) + "_" + std::to_string(i);
}

// Everything a manager knows about the registered tables, as text.
std::string Describe(ConfigManager* m) {
  std::string text;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kTablesPerThread; ++i) {
      std::string table = TableName(t, i);
      std::string index = "idx" + std::to_string(i % 2);
      const table_info_t* info = m->getTableInfo(index.c_str(), "db", table.c_str());
      char group[32] = "";
      int rowid = m->getScanMaxRowid(table.c_str(), "db", index.c_str(), group);
      text += table + " " + (info != nullptr ? info->field_list->data : "missing") + " " + group +
              ":" + std::to_string(rowid) + "\n";
    }
  }
  for (unsigned int g = 0; g < darray_length(m->getAllGroupConfig()); ++g) {
    text += slot_as<SGroupConfig>(darray_get_by_index(m->getAllGroupConfig(), g))->group_name->data;
    text += "\n";
  }
  return text;
}

}  // namespace

TEST(ConfigManagerConcurrency, ParallelRegistrationsReachTheFiles) {
  ks_test::TempDir dir;
  std::string root = dir.path() + "/index";
  std::string before;
  {
    ConfigManager* m = ConfigManager::getConfigManager(root.c_str());
    ASSERT_NE(m, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([m, t, &root] {
        // Every thread also asks the registry, which must hand out the same manager.
        EXPECT_EQ(ConfigManager::getConfigManager(root.c_str()), m);
        for (int i = 0; i < kTablesPerThread; ++i) {
          std::string table = TableName(t, i);
          std::string index = "idx" + std::to_string(i % 2);
          EXPECT_EQ(m->addIndex(index.c_str(), "db", table.c_str(), kGroups[(t + i) % 3], "id",
                                i % 2 ? "title,body" : "name", nullptr, nullptr, nullptr, nullptr),
                    0);
        }
      });
    }
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(m->getConfigSectionNum(), kThreads * kTablesPerThread);
    EXPECT_EQ(darray_length(m->getIndexInfo("idx0")->tables) +
                  darray_length(m->getIndexInfo("idx1")->tables),
              static_cast<unsigned int>(kThreads * kTablesPerThread));
    EXPECT_EQ(darray_length(m->getAllGroupConfig()), 3u);
    before = Describe(m);
    EXPECT_EQ(before.find("missing"), std::string::npos);
  }
  // A manager reading the files back sees the same state.
  ConfigManager reread(root.c_str());
  ASSERT_TRUE(reread.isOk());
  EXPECT_EQ(Describe(&reread), before);
  EXPECT_EQ(reread.getConfigSectionNum(), kThreads * kTablesPerThread);
}

// Scans of several tables record their progress (new table records, group
// moves) and groups are added while other threads route documents by the same
// histories and group list and clear tables: nothing is read while it changes.
TEST(ConfigManagerConcurrency, ScanProgressAndGroupsChangeWhileDocumentsAreRouted) {
  ks_test::TempDir dir;
  ConfigManager manager((dir.path() + "/index").c_str());
  ASSERT_TRUE(manager.isOk());
  manager.addGroup("default");
  manager.addGroup("g1");
  const int kTables = 40, kRounds = 30;
  std::atomic<bool> done{false};
  std::vector<std::thread> scanners;
  for (int t = 0; t < 2; ++t) {
    scanners.emplace_back([&, t] {
      for (int round = 1; round <= kRounds; ++round) {
        for (int i = t; i < kTables; i += 2) {
          const std::string table = "t" + std::to_string(i);
          manager.setScanMaxRowid(table.c_str(), "db", "idx", round % 3 ? "default" : "g1",
                                  round * 50);
        }
      }
    });
  }
  std::thread group_adder([&] {
    for (int n = 0; n < 40; ++n) manager.addGroup(("extra" + std::to_string(n)).c_str());
  });
  std::thread router([&] {
    while (!done) {
      _DArray* all = manager.getAllGroupConfig();
      for (unsigned int g = 0; g < darray_length(all); ++g) {
        SGroupConfig* group = slot_as<SGroupConfig>(darray_get_by_index(all, g));
        EXPECT_EQ(group, manager.getGroup(group->group_name->data));
      }
      for (int i = 0; i < kTables; ++i) {
        const std::string table = "t" + std::to_string(i);
        SGroupConfig* recent = manager.getRecentGroup(table.c_str(), "db", "idx");
        EXPECT_NE(nullptr, recent);
        _DArray* groups = darray_create(nullptr, false);
        manager.getAllGroup(groups, table.c_str(), "db", "idx");
        EXPECT_GE(darray_length(groups), 1u);
        darray_destroy(groups);
      }
    }
  });
  std::thread clearer([&] {
    for (int n = 0; !done; ++n) {
      char group[64] = "";
      manager.getScanMaxRowid("t0", "db", "idx", group);
      manager.resetScanMaxRowid(("t" + std::to_string(n % kTables)).c_str(), "db", "idx");
    }
  });
  for (std::thread& t : scanners) t.join();
  group_adder.join();
  done = true;
  router.join();
  clearer.join();
  // Every table has its record and every group its entry; a reread of the
  // files agrees.
  EXPECT_EQ(42u, darray_length(manager.getAllGroupConfig()));
  ConfigManager reread((dir.path() + "/index").c_str());
  EXPECT_EQ(42u, darray_length(reread.getAllGroupConfig()));
  for (int i = 0; i < kTables; ++i) {
    const std::string table = "t" + std::to_string(i);
    char a[64] = "", b[64] = "";
    const int rowid = manager.getScanMaxRowid(table.c_str(), "db", "idx", a);
    EXPECT_TRUE(rowid == 0 || rowid == kRounds * 50) << table;
    EXPECT_EQ(rowid, reread.getScanMaxRowid(table.c_str(), "db", "idx", b)) << table;
    EXPECT_STREQ(a, b);
  }
}
