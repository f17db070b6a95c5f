// Scratch folders: no two are the same, and each is gone with its object unless it is to be kept.
#include "scratch_folder.h"

#include <gtest/gtest.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): setenv is POSIX

#include <filesystem>
#include <string>
#include <vector>

namespace vorlan::test {
namespace {

TEST(ScratchFolder, HoldsFilesUntilItsEnd) {
  std::string path;
  {
    const ScratchFolder folder;
    const ScratchFolder other;
    path = folder.path();
    EXPECT_NE(path, other.path());
    folder.write("b", "first");
    EXPECT_EQ(folder.write("b", std::string("\0second", 7)), path + "/b");
    folder.write("a", "");
    EXPECT_EQ(folder.files(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(folder.read("b"), std::string("\0second", 7));
    EXPECT_TRUE(other.files().empty());
    EXPECT_ANY_THROW(folder.write("missing/a", "text"));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScratchFolder, StaysWhenItIsToBeKept) {
  std::string path;
  testing::internal::CaptureStderr();
  ASSERT_EQ(::setenv("VORLAN_KEEP_SCRATCH", "1", 1), 0);
  {
    const ScratchFolder folder;
    path = folder.path();
  }
  ::unsetenv("VORLAN_KEEP_SCRATCH");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "kept: " + path + "\n");
  EXPECT_TRUE(std::filesystem::remove(path));
}

}  // namespace
}  // namespace vorlan::test
