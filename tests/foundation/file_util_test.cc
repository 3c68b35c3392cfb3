#include "foundation/file_util.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "test_util.h"

namespace {

using ks_test::FileExists;
using ks_test::TempDir;
using ks_test::WriteFile;

TEST(FileUtil, MakeDirCreatesEveryMissingLevel) {
  TempDir dir;
  const std::string deep = dir.file("a/b/c");
  const std::string made[] = {deep, deep, deep + "/d/", "/"};  // again, trailing slash, root
  for (const std::string& p : made) EXPECT_EQ(0, make_dir(p.c_str(), 0755)) << p;
  EXPECT_EQ(1, is_dir(dir.file("a").c_str()) & is_dir((deep + "/d").c_str()));
  // A file in the way makes mkdir fail.
  ASSERT_TRUE(WriteFile(dir.file("plain"), "x"));
  EXPECT_EQ(-1, make_dir(dir.file("plain/sub").c_str(), 0755));
  EXPECT_EQ(0, is_dir(dir.file("plain").c_str()));
  EXPECT_EQ(1, file_exist(dir.file("plain").c_str()));
  EXPECT_EQ(0, file_exist(dir.file("nothing").c_str()));
}

TEST(FileUtil, RemoveDirAndSizesWalkTheWholeTree) {
  TempDir dir;
  const std::string root = dir.file("tree"), outside = dir.file("outside");
  ASSERT_EQ(0, make_dir((root + "/x/y").c_str(), 0755) | make_dir((root + "/empty").c_str(), 0755) |
                   make_dir(outside.c_str(), 0755));
  ASSERT_TRUE(WriteFile(root + "/x/three", "abc") && WriteFile(root + "/x/y/five", "abcde") &&
              WriteFile(outside + "/keep", "k"));
  EXPECT_EQ(8u, get_dir_total_bytes(root.c_str()));
  EXPECT_EQ(5u, get_dir_total_bytes((root + "/x/y/five").c_str()));
  EXPECT_EQ(0u, get_dir_total_bytes(dir.file("missing").c_str()));
  // A link to a directory outside the tree is removed, not followed.
  ASSERT_EQ(0, symlink(outside.c_str(), (root + "/link").c_str()));
  EXPECT_EQ(0, remove_dir(dir.file("missing").c_str()));
  EXPECT_EQ(0, remove_dir((root + "/x/three").c_str()));
  EXPECT_FALSE(FileExists(root + "/x/three"));
  EXPECT_EQ(0, remove_dir(root.c_str()));
  EXPECT_FALSE(FileExists(root));
  EXPECT_TRUE(FileExists(outside + "/keep"));
}

}  // namespace
