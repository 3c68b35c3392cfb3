// Reading "/Options.cfg" when a root is opened: what it sets, what it skips,
// and a version change that wipes it with the rest of the root.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "config/config_manager.h"
#include "foundation/file_util.h"
#include "test_util.h"

namespace mobile_search {
namespace {

TEST(EngineOptionsFile, ReadAtStartSkippingWhatItCannotTake) {
  ks_test::TempDir dir;
  const std::string root = dir.path() + "/index";
  ASSERT_EQ(0, make_dir(root.c_str(), 0755));
  ASSERT_TRUE(ks_test::WriteFile(root + "/IndexVersion.cfg", "[config]\nindex_version=0.1.0\n"));
  ASSERT_TRUE(ks_test::WriteFile(
      root + "/Options.cfg", "[options]\nutf8=full\nnosuch=1\ninfix_digits=99\nfold=simplified\n"));
  {
    ks_test::LogCapture log;
    ConfigManager manager(root.c_str());
    ASSERT_TRUE(manager.isOk());
    const TextOptions text = manager.getEngineOptions()->textOptions();
    EXPECT_TRUE(text.utf8Full);
    EXPECT_EQ(0, text.infixDigits);
    EXPECT_TRUE(text.foldSimplified);
    std::unique_ptr<char, decltype(&free)> value(manager.getEngineOptions()->get("infix_digits"),
                                                 free);
    EXPECT_STREQ("off", value.get());
    EXPECT_EQ(
        "option nosuch=1 in Options.cfg ignored \noption infix_digits=99 in Options.cfg ignored \n",
        log.plain());
  }

  // Another engine version wipes the root, and the options with it.
  ASSERT_TRUE(ks_test::WriteFile(root + "/IndexVersion.cfg", "[config]\nindex_version=0.0.9\n"));
  ConfigManager wiped(root.c_str());
  EXPECT_FALSE(wiped.getEngineOptions()->textOptions().utf8Full);
  EXPECT_FALSE(ks_test::FileExists(root + "/Options.cfg"));
}

}  // namespace
}  // namespace mobile_search
