// The table of response codes as data.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "task/response_codes.h"
#include "vorlan.h"

namespace vorlan {
namespace {

TEST(ResponseTable, IsSortedByNumberWithoutDuplicates) {
  int32_t last = -1;
  for (const CodeEntry& entry : response_codes()) {
    EXPECT_GT(static_cast<int32_t>(entry.code), last) << entry.name;
    last = static_cast<int32_t>(entry.code);
  }
}

TEST(ResponseTable, NamesAreUniqueAndFormedAlike) {
  std::set<std::string> names;
  for (const CodeEntry& entry : response_codes()) {
    const std::string name = entry.name;
    EXPECT_TRUE(names.insert(name).second) << name;
    const int32_t number = static_cast<int32_t>(entry.code);
    const char* prefix = number == 0     ? "VLN_RES_OK"
                         : number < 9000 ? "VLN_RES_ERR_"
                                         : "VLN_RES_TRM_";
    EXPECT_EQ(name.rfind(prefix, 0), 0u) << name;
    EXPECT_EQ(name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_"), std::string::npos) << name;
  }
}

TEST(ResponseTable, EveryCodeIsDescribedWithinTheCallersBuffers) {
  for (const CodeEntry& entry : response_codes()) {
    const std::string text = entry.text;
    EXPECT_GT(text.size(), 5u) << entry.name;
    EXPECT_EQ(text.back(), '.') << entry.name;
    EXPECT_LT(text.size(), 1024u) << entry.name;
  }
}

// Numbers that callers outside know; they can never change.
TEST(ResponseTable, PinnedNumbersStay) {
  EXPECT_STREQ(find_code(0)->name, "VLN_RES_OK");
  EXPECT_STREQ(find_code(VLN_RES_ERR_SERVER_PROBLEM_SIZE)->name, "VLN_RES_ERR_SERVER_PROBLEM_SIZE");
  EXPECT_STREQ(find_code(1301)->name, "VLN_RES_ERR_FILE_OPEN");
  EXPECT_STREQ(find_code(9001)->name, "VLN_RES_TRM_TIME_LIMIT");
  EXPECT_STREQ(find_code(9002)->name, "VLN_RES_TRM_USER_CALLBACK");
}

TEST(ResponseTable, UnknownNumbersAreNotFound) {
  for (const int32_t number : {-1, 1, 1000, 8007, 8012, 1000000, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(find_code(number), nullptr) << number;
  }
}

}  // namespace
}  // namespace vorlan
