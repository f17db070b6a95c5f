// Reading MPS files: sizes, names, bounds as the solves show them, and what bad files give.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "small_models.h"
#include "task_support.h"

namespace {

std::string var_name(vlntaskt* task, int32_t j) {
  char name[64] = "unset";
  EXPECT_EQ(VLN_getvarname(task, j, sizeof name, name), VLN_RES_OK);
  return name;
}

TEST(MpsRead, SizesNamesAndSense) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  int32_t number = -1;
  EXPECT_EQ(VLN_getnumvar(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(VLN_getnumcon(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(VLN_getnumcone(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(VLN_getnumbarvar(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(VLN_getmaxnamelen(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(VLN_getobjsense(task, &number), VLN_RES_OK);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(var_name(task, 0), "X");
  EXPECT_EQ(var_name(task, 1), "Y");
  char name[64] = "";
  EXPECT_EQ(VLN_getconname(task, 1, sizeof name, name), VLN_RES_OK);
  EXPECT_STREQ(name, "M2");
  EXPECT_NE(task.log().find("Read 2 constraints, 2 variables, 4 matrix elements, minimize"),
            std::string::npos)
      << task.log();
}

TEST(MpsRead, LongNamesAreCutToTheBufferWithACode) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  char name[2] = "?";
  EXPECT_EQ(code_name(VLN_getconname(task, 0, 2, name)), "VLN_RES_ERR_BUFFER_SIZE");
  EXPECT_STREQ(name, "M");
  EXPECT_EQ(VLN_getvarname(task, 0, 2, name), VLN_RES_OK);
  EXPECT_STREQ(name, "X");
}

struct BadFile {
  const char* what;
  const char* name;
  const char* content;
  const char* code;
};

TEST(MpsRead, BadFilesAreRefusedAndTheTaskStays) {
  constexpr BadFile kBadFiles[] = {
      {"no section", "garbage.mps", "this is no model\n", "VLN_RES_ERR_FILE_CONTENT"},
      {"empty", "empty.mps", "", "VLN_RES_ERR_FILE_CONTENT"},
      {"unknown row type", "type.mps", "NAME A\nROWS\n Q R1\nENDATA\n", "VLN_RES_ERR_FILE_CONTENT"},
      {"unknown bound type", "bound.mps",
       R"(NAME A
ROWS
 N C
COLUMNS
 X C 1
BOUNDS
 ZZ B X 1
ENDATA
)",
       "VLN_RES_ERR_FILE_CONTENT"},
      {"no suffix", "model", "hello\n", "VLN_RES_ERR_FILE_FORMAT"},
      {"unknown suffix", "model.xyz", "hello\n", "VLN_RES_ERR_FILE_FORMAT"},
      {"known by its content only", "model.abc", "NAME A\n", "VLN_RES_ERR_FILE_CONTENT"},
  };
  for (const BadFile& bad : kBadFiles) {
    TestTask task;
    ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
    task.solve();
    const std::string path = write_test_file(bad.name, bad.content);
    EXPECT_EQ(code_name(VLN_readdata(task, path.c_str())), bad.code) << bad.what;
    EXPECT_NE(task.last_message().find(bad.name), std::string::npos) << task.last_message();
    EXPECT_NE(task.log().find(task.last_message()), std::string::npos) << bad.what;
    EXPECT_EQ(var_name(task, 1), "Y") << bad.what;
    EXPECT_TRUE(task.defined(kBasic)) << bad.what;
  }
}

TEST(MpsRead, FilesThatCannotBeOpenedSayWhy) {
  TestTask task;
  EXPECT_EQ(code_name(VLN_readdata(task, "/nonexistent/a.mps")), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_NE(task.last_message().find("No such file or directory"), std::string::npos);
  EXPECT_EQ(code_name(VLN_readdata(task, "/tmp")), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_NE(task.last_message().find("Is a directory"), std::string::npos);
}

TEST(MpsRead, ANewModelReplacesTheOldOneAndItsSolutions) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  ASSERT_TRUE(task.defined(kBasic));
  ASSERT_EQ(task.read(kOneVariable), VLN_RES_OK);
  EXPECT_FALSE(task.defined(kBasic));
  EXPECT_EQ(var_name(task, 0), "Z");
  task.solve();
  EXPECT_DOUBLE_EQ(task.objective(kBasic), 2.0);
}

}  // namespace
