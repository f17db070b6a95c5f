// Problem files through the C interface: formats and compressions by name, what a failure leaves.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "small_models.h"
#include "task_support.h"

namespace {

double solved_objective(TestTask& task) {
  task.solve();
  EXPECT_TRUE(task.defined(kBasic));
  return task.objective(kBasic);
}

TEST(ProblemFile, WhatIsWrittenReadsBackWithTheSameOptimum) {
  TestTask original;
  ASSERT_EQ(original.read(two_products(-1)), VLN_RES_OK);
  const double expected = solved_objective(original);
  for (const char* name : {"a.mps", "A.MPS", "a.qps", "a.mps.gz", "a.mps.zst", "a.jtask",
                           "a.json.gz", "a.task", "a.task.zst", "a.lp", "a.lp.gz", "a.ptf",
                           "a.opf.zst", "a.cbf", "a.cbf.gz", "a.dat-s", "a.dat-s.zst"}) {
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
  EXPECT_EQ(read_all(plain).substr(0, 4), "NAME");
  EXPECT_EQ(read_all(gzip).substr(0, 2), "\x1f\x8b");
  EXPECT_EQ(read_all(zstd).substr(0, 4), "\x28\xb5\x2f\xfd");
}

TEST(ProblemFile, TheContentSaysTheCompressionOnReading) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const std::string gzip = test_file_path("c.mps.gz");
  ASSERT_EQ(VLN_writedata(task, gzip.c_str()), VLN_RES_OK);
  const std::string misnamed = write_test_file("c.mps", read_all(gzip));
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

struct SolutionFileKind {
  const char* name;
  int32_t switch_param;  // off: no solutions
};

// Files that can carry solutions do unless their parameter is off, and the parameters that were
// changed in any case.
TEST(ProblemFile, TaskAndPtfFilesCarrySolutionsAndParameters) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const double expected = solved_objective(task);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_RANDOM_SEED", "17"), VLN_RES_OK);
  constexpr SolutionFileKind kKinds[] = {
      {"d.jtask", 109}, {"d.json", 109}, {"d.task", 109}, {"d.ptf", 125}, {"d.opf", 125}};
  for (const auto& [name, switch_param] : kKinds) {
    const std::string path = test_file_path(name);
    TestTask copy;
    ASSERT_EQ(VLN_writedata(task, path.c_str()), VLN_RES_OK) << task.last_message();
    ASSERT_EQ(VLN_readdata(copy, path.c_str()), VLN_RES_OK) << copy.last_message();
    ASSERT_TRUE(copy.defined(kBasic)) << name;
    EXPECT_EQ(copy.objective(kBasic), expected);
    EXPECT_EQ(copy.var_doubles(VLN_getxx, 1), task.var_doubles(VLN_getxx, 1));
    int32_t seed = 0;
    ASSERT_EQ(VLN_getintparam(copy, 3, &seed), VLN_RES_OK);
    EXPECT_EQ(seed, 17);

    ASSERT_EQ(VLN_putintparam(task, switch_param, 0), VLN_RES_OK);
    ASSERT_EQ(VLN_writedata(task, path.c_str()), VLN_RES_OK) << task.last_message();
    ASSERT_EQ(VLN_putintparam(task, switch_param, 1), VLN_RES_OK);
    ASSERT_EQ(VLN_readdata(copy, path.c_str()), VLN_RES_OK) << copy.last_message();
    EXPECT_FALSE(copy.defined(kBasic)) << name;
  }
}

int32_t int_parameter(vlntaskt* task, int32_t param) {
  int32_t value = -1;
  EXPECT_EQ(VLN_getintparam(task, param, &value), VLN_RES_OK);
  return value;
}

constexpr int32_t kNumThreads = 2;
constexpr int32_t kRandomSeed = 3;
constexpr int32_t kLogLevel = 9;
constexpr int32_t kChildProcess = 10;

// A file from elsewhere must not decide about this machine: its threads, its memory, the process
// that can be stopped, the log.
TEST(ProblemFile, WhatBelongsToTheRunIsNotTakenFromAFile) {
  TestTask task;
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_NUM_THREADS", "2"), VLN_RES_OK);
  ASSERT_EQ(task.read_as("foreign.ptf", R"(Minimize ] extended problem 1
Minimize
 o: x
Subject To
 c: x >= 1
Parameters
 VLN_IPAR_NUM_THREADS = 64
 VLN_IPAR_LOG = off
 VLN_IPAR_CHILD_PROCESS = 0
 VLN_DPAR_MEMORY_LIMIT = no number
 VLN_IPAR_RANDOM_SEED = 17
End
)"),
            VLN_RES_OK)
      << task.last_message();
  EXPECT_EQ(int_parameter(task, kNumThreads), 2);
  EXPECT_EQ(int_parameter(task, kLogLevel), 2);
  EXPECT_EQ(int_parameter(task, kChildProcess), 2);
  EXPECT_EQ(int_parameter(task, kRandomSeed), 17);
  for (const char* name : {"VLN_IPAR_NUM_THREADS", "VLN_IPAR_LOG", "VLN_IPAR_CHILD_PROCESS",
                           "VLN_DPAR_MEMORY_LIMIT"}) {
    const std::string note = std::string("warning: ") + name + " is not taken from the file";
    EXPECT_NE(task.log().find(note), std::string::npos) << task.log();
  }
  EXPECT_EQ(task.log().find("SEED"), std::string::npos) << task.log();
}

TEST(ProblemFile, AMisspeltParameterNamesTheFile) {
  TestTask task;
  EXPECT_NE(task.read_as("slip.ptf",
                         "Minimize ] extended problem 1\nMinimize\n o: x\nSubject To\n c: x >= 1\n"
                         "Parameters\n VLN_IPAR_PRESOLV = off\nEnd\n"),
            VLN_RES_OK);
  EXPECT_NE(task.last_message().find(
                "slip.ptf: there is no parameter 'VLN_IPAR_PRESOLV'; the nearest name is "
                "VLN_IPAR_PRESOLVE"),
            std::string::npos)
      << task.last_message();
}

TEST(ProblemFile, WhatBelongsToTheRunIsNotWrittenToAFile) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_NUM_THREADS", "2"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "1000"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "1000"), VLN_RES_OK);
  const std::string path = test_file_path("own.jtask");
  ASSERT_EQ(VLN_writedata(task, path.c_str()), VLN_RES_OK);
  const std::string content = read_all(path);
  EXPECT_EQ(content.find("NUM_THREADS"), std::string::npos) << content;
  EXPECT_EQ(content.find("MEMORY_LIMIT"), std::string::npos) << content;
  EXPECT_NE(content.find("TIME_LIMIT"), std::string::npos) << content;
}

TEST(SolutionFile, ABSolutionReadsBackAndTheSelectorAloneCompresses) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const double expected = solved_objective(task);
  for (const uint32_t compression : {0U, 2U, 3U}) {
    const std::string path = test_file_path("solution.gz");
    ASSERT_EQ(VLN_writebsolution(task, path.c_str(), compression), VLN_RES_OK);
    EXPECT_EQ(read_all(path).substr(0, 2) == "\x1f\x8b", compression == 2);
    TestTask copy;
    ASSERT_EQ(copy.read(two_products(-1)), VLN_RES_OK);
    ASSERT_EQ(VLN_readbsolution(copy, path.c_str(), compression), VLN_RES_OK)
        << copy.last_message();
    ASSERT_TRUE(copy.defined(kBasic));
    EXPECT_EQ(copy.objective(kBasic), expected);
    EXPECT_EQ(copy.con_doubles(VLN_gety, 1), task.con_doubles(VLN_gety, 1));
  }
}

TEST(SolutionFile, ABSolutionThatDoesNotFitIsRefusedWhole) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  const std::string path = test_file_path("other.b");
  ASSERT_EQ(VLN_writebsolution(task, path.c_str(), 0), VLN_RES_OK);
  TestTask other;
  ASSERT_EQ(other.read(kOneVariable), VLN_RES_OK);
  EXPECT_NE(VLN_readbsolution(other, path.c_str(), 0), VLN_RES_OK);
  EXPECT_FALSE(other.defined(kBasic));
}

TEST(SolutionFile, JsonAndSolverResultSayWhatTheSolveGave) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  const std::string json = test_file_path("s.json");
  ASSERT_EQ(VLN_writejsonsol(task, json.c_str()), VLN_RES_OK);
  EXPECT_NE(read_all(json).find("\"solutions\": {}"), std::string::npos);
  task.solve();
  ASSERT_EQ(VLN_writejsonsol(task, json.c_str()), VLN_RES_OK);
  EXPECT_NE(read_all(json).find("\"basic\""), std::string::npos);
  const std::string result = test_file_path("s.task");
  ASSERT_EQ(VLN_writetasksolverresult_file(task, result.c_str(), 0), VLN_RES_OK);
  const std::string bytes = read_all(result);
  for (const char* word : {"VLN_RES_OK", "simplex iterations", "dual violation", "time"}) {
    EXPECT_NE(bytes.find(word), std::string::npos) << word;
  }
}

TEST(ProblemFile, TheLogSaysWhatWasRead) {
  TestTask task;
  ASSERT_EQ(task.read_as("a.ptf", R"(Minimize ] extended problem 1
Matrix Variables
 X(2)
Maximize
 o: X(1,1) + x + [ y ^ 2 ] / 2
Subject To
 c: x + y >= 1
Bounds
 y <= 3
Cones
 k: quadratic x y
General
 x
Semi-continuous
 y
End
)"),
            VLN_RES_OK)
      << task.last_message();
  EXPECT_NE(task.log().find("Read 1 constraint, 2 variables, 2 matrix elements, 1 integer, 1 "
                            "semi-continuous, 1 quadratic element, 1 cone, 1 matrix variable, "
                            "maximize in "),
            std::string::npos)
      << task.log();
}

TEST(ProblemFile, AnErrorIsOneLineWhateverTheFileIsCalled) {
  TestTask task;
  EXPECT_NE(VLN_readdata(task, "/nonexistent/a\n\x1b[31m.mps"), VLN_RES_OK);
  EXPECT_NE(task.last_message().find("a\\x0a\\x1b[31m.mps"), std::string::npos)
      << task.last_message();
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
