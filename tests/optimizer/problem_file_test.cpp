// Problem files through the C interface: formats and compressions by name, what a failure leaves.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "task_support.h"

namespace {

double solved_objective(TestTask& task) {
  task.solve();
  EXPECT_TRUE(task.defined(1));
  return task.objective(1);
}

TEST(ProblemFile, WhatIsWrittenReadsBackWithTheSameOptimum) {
  TestTask original;
  ASSERT_EQ(original.read(two_products(-1)), VLN_RES_OK);
  const double expected = solved_objective(original);
  for (const char* name : {"a.mps", "A.MPS", "a.qps", "a.mps.gz", "a.mps.zst"}) {
    const std::string path = test_file_path(name);
    ASSERT_EQ(VLN_writedata(original, path.c_str()), VLN_RES_OK) << original.last_message();
    TestTask copy;
    ASSERT_EQ(VLN_readdata(copy, path.c_str()), VLN_RES_OK) << copy.last_message();
    EXPECT_EQ(solved_objective(copy), expected) << name;
  }
}

TEST(ProblemFile, TheNameSaysTheCompression) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const std::string plain = test_file_path("b.mps");
  const std::string gzip = test_file_path("b.mps.gz");
  const std::string zstd = test_file_path("b.mps.zst");
  for (const std::string& path : {plain, gzip, zstd}) {
    ASSERT_EQ(VLN_writedata(task, path.c_str()), VLN_RES_OK);
  }
  EXPECT_EQ(read_whole_file(plain).substr(0, 4), "NAME");
  EXPECT_EQ(read_whole_file(gzip).substr(0, 2), "\x1f\x8b");
  EXPECT_EQ(read_whole_file(zstd).substr(0, 4), "\x28\xb5\x2f\xfd");
}

TEST(ProblemFile, TheContentSaysTheCompressionOnReading) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const std::string gzip = test_file_path("c.mps.gz");
  ASSERT_EQ(VLN_writedata(task, gzip.c_str()), VLN_RES_OK);
  const std::string misnamed = write_test_file("c.mps", read_whole_file(gzip));
  EXPECT_EQ(VLN_readdata(task, misnamed.c_str()), VLN_RES_OK) << task.last_message();
}

TEST(ProblemFile, FilesThatCannotBeWrittenSayWhyAndLeaveNothing) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  EXPECT_EQ(code_name(VLN_writedata(task, "/nonexistent/a.mps")), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_NE(task.last_message().find("No such file or directory"), std::string::npos)
      << task.last_message();
  EXPECT_EQ(code_name(VLN_writedata(task, "-")), "VLN_RES_ERR_FILE_FORMAT");
  EXPECT_NE(task.last_message().find("no suffix"), std::string::npos);
  const std::string unknown = test_file_path("a.xyz");
  EXPECT_EQ(code_name(VLN_writedata(task, unknown.c_str())), "VLN_RES_ERR_FILE_FORMAT");
  EXPECT_NE(::access(unknown.c_str(), F_OK), 0);
}

TEST(ProblemFile, ASilentTaskTellsNoFileName) {
  TestTask task;
  ASSERT_EQ(VLN_putintparam(task, 45, 0), VLN_RES_OK);
  EXPECT_NE(VLN_readdata(task, "/nonexistent/secret.mps"), VLN_RES_OK);
  EXPECT_EQ(task.last_message().find("secret"), std::string::npos) << task.last_message();
  EXPECT_NE(task.last_message().find("<filename>"), std::string::npos) << task.last_message();
  EXPECT_NE(VLN_writedata(task, "/nonexistent/secret.mps"), VLN_RES_OK);
  EXPECT_EQ(task.last_message().find("secret"), std::string::npos) << task.last_message();
}

}  // namespace
