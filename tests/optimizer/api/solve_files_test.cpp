// The files that string parameters ask of an optimization, through the C interface: when they come,
// what is in them, and what becomes of a solve whose files cannot be written.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "task_support.h"

namespace {

constexpr std::pair<const char*, const char*> kFiles[] = {
    {"VLN_SPAR_LOG_FILE", "solve.log"},
    {"VLN_SPAR_PROBLEM_FILE", "problem.mps.gz"},
    {"VLN_SPAR_B_SOLUTION_FILE", "solution.b.zst"},
    {"VLN_SPAR_JSON_SOLUTION_FILE", "solution.json"},
    {"VLN_SPAR_SOLVER_RESULT_FILE", "result.task"},
};

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// A path in the test's folder, without an earlier run's file.
std::string fresh_path(const char* name) {
  std::string path = test_file_path(name);
  ::unlink(path.c_str());
  return path;
}

void put(const TestTask& task, const char* name, const std::string& value) {
  ASSERT_EQ(VLN_putparam(task, name, value.c_str()), VLN_RES_OK) << task.last_message();
}

class SolveFiles : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(task_.read(two_products(-1)), VLN_RES_OK); }

  void ask_for_all() {
    for (const auto& [name, file] : kFiles) put(task_, name, fresh_path(file));
  }

  std::string solve(VLNrescode_enum* termination) {
    return code_name(VLN_optimizetrm(task_, termination));
  }
  std::string solve() {
    VLNrescode_enum termination = VLN_RES_OK;
    return solve(&termination);
  }

  TestTask task_;
};

TEST_F(SolveFiles, TheyComeWithASolveAndNotBefore) {
  ask_for_all();
  for (const auto& [name, file] : kFiles) EXPECT_FALSE(exists(test_file_path(file))) << name;
  EXPECT_EQ(solve(), "VLN_RES_OK");
  for (const auto& [name, file] : kFiles) EXPECT_TRUE(exists(test_file_path(file))) << name;
}

TEST_F(SolveFiles, AClearedParameterAsksForNothing) {
  ask_for_all();
  for (int32_t i = 0; i < VLN_NUM_FILE_SPAR; ++i) {
    ASSERT_EQ(VLN_putstrparam(task_, i, ""), VLN_RES_OK);
  }
  EXPECT_EQ(solve(), "VLN_RES_OK");
  for (const auto& [name, file] : kFiles) EXPECT_FALSE(exists(test_file_path(file))) << name;
}

TEST_F(SolveFiles, TheLogFileHasTheSolvesPartOfTheLogAndBeginsAnew) {
  put(task_, "VLN_SPAR_LOG_FILE", fresh_path("solve.log"));
  for (int round = 0; round < 2; ++round) {
    const size_t begin = task_.log().size();
    EXPECT_EQ(solve(), "VLN_RES_OK");
    const std::string logged = read_all(test_file_path("solve.log"));
    EXPECT_NE(logged.find("Optimization ended"), std::string::npos);
    EXPECT_EQ(logged, task_.log().substr(begin));
  }
  ASSERT_EQ(VLN_echotask(task_, 0, "later\n"), VLN_RES_OK);
  EXPECT_EQ(read_all(test_file_path("solve.log")).find("later"), std::string::npos);
}

TEST_F(SolveFiles, TheProblemFileHasTheModelAsItWasSolved) {
  put(task_, "VLN_SPAR_PROBLEM_FILE", fresh_path("problem.lp.gz"));
  ASSERT_EQ(VLN_putobjsense(task_, 1), VLN_RES_OK);
  EXPECT_EQ(solve(), "VLN_RES_OK");
  const std::string path = test_file_path("problem.lp.gz");
  EXPECT_EQ(read_all(path).substr(0, 2), "\x1f\x8b");
  TestTask copy;
  ASSERT_EQ(VLN_readdata(copy, path.c_str()), VLN_RES_OK) << copy.last_message();
  copy.solve();
  EXPECT_EQ(copy.objective(kBasic), task_.objective(kBasic));
}

TEST_F(SolveFiles, TheSolutionFilesHaveTheSolution) {
  ask_for_all();
  EXPECT_EQ(solve(), "VLN_RES_OK");
  TestTask copy;
  ASSERT_EQ(copy.read(two_products(-1)), VLN_RES_OK);
  const std::string b = test_file_path("solution.b.zst");
  ASSERT_EQ(VLN_readbsolution(copy, b.c_str(), 3), VLN_RES_OK) << copy.last_message();
  EXPECT_EQ(copy.objective(kBasic), -11.0);
  const std::string json = test_file_path("expected.json");
  ASSERT_EQ(VLN_writejsonsol(task_, json.c_str()), VLN_RES_OK);
  EXPECT_EQ(read_all(test_file_path("solution.json")), read_all(json));
  const std::string result = test_file_path("expected.task");
  ASSERT_EQ(VLN_writetasksolverresult_file(task_, result.c_str(), 0), VLN_RES_OK);
  EXPECT_EQ(read_all(test_file_path("result.task")), read_all(result));
}

// A wrong name is told before the hours of a solve, not after them.
TEST_F(SolveFiles, AFileThatCannotBeOpenedKeepsTheSolveFromBeginning) {
  for (const auto& [name, file] : kFiles) {
    put(task_, name, std::string("/nonexistent/") + file);
    const std::string result = fresh_path("why.task");
    const bool is_result = std::string(name) == "VLN_SPAR_SOLVER_RESULT_FILE";
    if (!is_result) put(task_, "VLN_SPAR_SOLVER_RESULT_FILE", result);
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_EQ(solve(&termination), "VLN_RES_ERR_FILE_OPEN") << name;
    EXPECT_EQ(code_name(termination), "VLN_RES_TRM_FAILED") << name;
    EXPECT_NE(task_.last_message().find(file), std::string::npos) << task_.last_message();
    EXPECT_FALSE(task_.defined(kBasic)) << name;
    EXPECT_EQ(exists(result), !is_result);
    if (!is_result) {
      EXPECT_NE(read_all(result).find("VLN_RES_ERR_FILE_OPEN"), std::string::npos);
    }
    put(task_, name, "");
  }
}

TEST_F(SolveFiles, AModelThatItsFileCannotHoldKeepsTheSolveFromBeginning) {
  put(task_, "VLN_SPAR_PROBLEM_FILE", test_file_path("problem.xyz"));
  EXPECT_EQ(solve(), "VLN_RES_ERR_FILE_FORMAT");
  EXPECT_FALSE(task_.defined(kBasic));
}

// A result that cannot be written is told by the response, is not lost, and does not take others
// with it.
TEST_F(SolveFiles, AFileThatCannotBeWrittenLeavesTheSolutionInTheTask) {
  ask_for_all();
  put(task_, "VLN_SPAR_B_SOLUTION_FILE", "/dev/full");
  VLNrescode_enum termination = VLN_RES_ERR_SERVER_PROBLEM_SIZE;
  EXPECT_EQ(solve(&termination), "VLN_RES_ERR_FILE_WRITE");
  EXPECT_EQ(termination, VLN_RES_OK) << "the solve ran to its end";
  EXPECT_NE(task_.last_message().find("No space left"), std::string::npos) << task_.last_message();
  EXPECT_EQ(task_.objective(kBasic), -11.0);
  EXPECT_TRUE(exists(test_file_path("solution.json")));
  EXPECT_NE(read_all(test_file_path("result.task")).find("VLN_RES_ERR_FILE_WRITE"),
            std::string::npos);
  EXPECT_NE(read_all(test_file_path("solve.log")).find("VLN_RES_ERR_FILE_WRITE (1305): "),
            std::string::npos);
}

TEST_F(SolveFiles, ASecondFileThatCannotBeWrittenIsToldInTheLog) {
  put(task_, "VLN_SPAR_B_SOLUTION_FILE", "/dev/full");
  put(task_, "VLN_SPAR_JSON_SOLUTION_FILE", "/dev/full");
  EXPECT_EQ(solve(), "VLN_RES_ERR_FILE_WRITE");
  const size_t first = task_.log().find("VLN_RES_ERR_FILE_WRITE");
  EXPECT_NE(task_.log().find("VLN_RES_ERR_FILE_WRITE", first + 1), std::string::npos);
}

// The task still holds the solutions of an earlier solve.
TEST_F(SolveFiles, AFailedSolveLeavesOnlyASolverResult) {
  task_.solve();
  ask_for_all();
  const std::string json = write_test_file("solution.json", "earlier");
  const std::string nan =
      write_test_file("nan.jtask",
                      R"({"format": "vorlan task", "version": 1, "objective": {"sense": "minimize",
       "linear": [1], "quadratic": {"row": [0], "col": [0], "value": [-1]}},
       "variables": {"lower": [0], "upper": [1]}, "constraints": {"lower": [], "upper": []}})");
  ASSERT_EQ(VLN_readdata(task_, nan.c_str()), VLN_RES_OK) << task_.last_message();
  ask_for_all();
  write_test_file("solution.json", "earlier");
  const std::string response = solve();
  EXPECT_NE(response, "VLN_RES_OK");
  EXPECT_EQ(read_all(json), "earlier");
  EXPECT_FALSE(exists(test_file_path("solution.b.zst")));
  EXPECT_NE(read_all(test_file_path("result.task")).find(response), std::string::npos);
  EXPECT_NE(read_all(test_file_path("solve.log")).find(response), std::string::npos);
}

TEST_F(SolveFiles, ASilentTaskTellsNoFileName) {
  ask_for_all();
  ASSERT_EQ(VLN_putintparam(task_, 45, 0), VLN_RES_OK);
  EXPECT_EQ(solve(), "VLN_RES_OK");
  EXPECT_NE(task_.log().find("Wrote the JSON solution to '<filename>'"), std::string::npos);
  EXPECT_EQ(task_.log().find("solution.json"), std::string::npos);
  put(task_, "VLN_SPAR_LOG_FILE", "/nonexistent/secret.log");
  EXPECT_EQ(solve(), "VLN_RES_ERR_FILE_OPEN");
  EXPECT_EQ(task_.last_message().find("secret"), std::string::npos) << task_.last_message();
}

// Names with bytes that a format has to write in a way of its own.
TEST_F(SolveFiles, ProblemFilesCarryTheParameters) {
  const std::string name = " 50% \"caf\xc3\xa9\"\\ \n.json";
  for (const char* file : {"carry.task", "carry.jtask", "carry.ptf", "carry.opf.gz"}) {
    TestTask copy;
    put(task_, "VLN_SPAR_JSON_SOLUTION_FILE", fresh_path(name.c_str()));
    const std::string path = test_file_path(file);
    ASSERT_EQ(VLN_writedata(task_, path.c_str()), VLN_RES_OK) << task_.last_message();
    ASSERT_EQ(VLN_readdata(copy, path.c_str()), VLN_RES_OK) << copy.last_message();
    EXPECT_FALSE(exists(test_file_path(name)));
    copy.solve();
    EXPECT_TRUE(exists(test_file_path(name))) << file;
  }
}

struct Declaring {
  const char* name;
  const char* content;  // declares a matrix variable of dimension 400: 1.2 MiB in a solution
};

constexpr Declaring kDeclaring[] = {
    {"a.jtask",
     R"({"format": "vorlan task", "version": 1, "objective": {"sense": "minimize", "linear": []},
         "variables": {"lower": [], "upper": []}, "constraints": {"lower": [], "upper": []},
         "matrix variables": {"dimension": [400]}})"},
    {"a.ptf", R"(Minimize ] extended problem 1
Matrix Variables
 X(400)
Minimize
 o: X(1,1)
Subject To
 c: X(2,2) >= 1
End
)"},
    {"a.dat-s", R"(1
1
400
1
1 1 1 1 1
)"},
    {"a.cbf", R"(VER
1
OBJSENSE
MIN
PSDVAR
1
400
)"},
};

// Just enough is taken, a MiB less is refused by name.
TEST(ReadLimit, DecidesWhatAFileMayDeclare) {
  for (const auto& [name, content] : kDeclaring) {
    const std::string path = write_test_file(name, content);
    TestTask task;
    EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
    put(task, "VLN_IPAR_READ_DECLARED_LIMIT", "1");
    EXPECT_EQ(code_name(VLN_readdata(task, path.c_str())), "VLN_RES_ERR_FILE_CONTENT") << name;
    EXPECT_NE(task.last_message().find("VLN_IPAR_READ_DECLARED_LIMIT"), std::string::npos)
        << task.last_message();
    EXPECT_NE(task.last_message().find(" 1 MiB "), std::string::npos) << task.last_message();
    put(task, "VLN_IPAR_READ_DECLARED_LIMIT", "2");
    EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
  }
}

// Sixty bytes that would fill memory are refused unless the limit is raised.
TEST(ReadLimit, CanBeRaisedAboveItsDefault) {
  const std::string matrix = write_test_file("large.dat-s", R"(1
1
14000
1
1 1 1 1 1
)");
  TestTask task;
  EXPECT_EQ(code_name(VLN_readdata(task, matrix.c_str())), "VLN_RES_ERR_FILE_CONTENT");
  EXPECT_NE(task.last_message().find(" 512 MiB "), std::string::npos) << task.last_message();
  put(task, "VLN_IPAR_READ_DECLARED_LIMIT", "1495");
  EXPECT_NE(VLN_readdata(task, matrix.c_str()), VLN_RES_OK);
  put(task, "VLN_IPAR_READ_DECLARED_LIMIT", "1496");
  EXPECT_EQ(VLN_readdata(task, matrix.c_str()), VLN_RES_OK) << task.last_message();

  const std::string scalars = write_test_file("large.cbf", R"(VER
1
OBJSENSE
MIN
VAR
10000000 1
F 10000000
)");
  TestTask other;
  EXPECT_EQ(code_name(VLN_readdata(other, scalars.c_str())), "VLN_RES_ERR_FILE_CONTENT");
}

std::string too_long(const std::string& name, int line) {
  return name + ":" + std::to_string(line) +
         ": a line or a text of more than 1 MiB, which is VLN_IPAR_READ_TOKEN_LIMIT";
}

// Blanks do not count. A long name does.
TEST(ReadLimit, DecidesHowLongALineMayBe) {
  const std::string two(size_t{2} << 20, 'x');
  const std::string blanks(size_t{3} << 20, ' ');
  struct File {
    const char* name;
    int line;
    std::string content;
  };
  const File files[] = {
      {"long.lp", 2, "Minimize\n" + two + blanks + "\nSubject To\n c: y >= 1\nEnd\n"},
      {"long.mps", 1, "NAME " + two + "\nROWS\n N o\nCOLUMNS\n x" + blanks + " o 1\nENDATA\n"},
      {"long.jtask", 2,
       "{\"format\": \"vorlan task\", \"version\": 1,\n\"modelname\": \"" + two + "\"," + blanks +
           R"("objective": {"sense": "minimize", "linear": []}, "variables": {"lower": [], "upper": []},
           "constraints": {"lower": [], "upper": []}})"},
  };
  for (const auto& [name, line, content] : files) {
    const std::string path = write_test_file(name, content);
    TestTask task;
    put(task, "VLN_IPAR_READ_TOKEN_LIMIT", "3");
    EXPECT_EQ(VLN_readdata(task, path.c_str()), VLN_RES_OK) << task.last_message();
    put(task, "VLN_IPAR_READ_TOKEN_LIMIT", "1");
    EXPECT_EQ(code_name(VLN_readdata(task, path.c_str())), "VLN_RES_ERR_FILE_CONTENT") << name;
    EXPECT_NE(task.last_message().find(too_long(name, line)), std::string::npos)
        << task.last_message();
  }
}

// A first line that does not end took LP and PTF files for empty ones.
TEST(ReadLimit, TellsATooLongFirstLine) {
  const std::string two(size_t{2} << 20, 'x');
  for (const char* name : {"first.lp", "first.ptf", "first.mps", "first.cbf", "first.dat-s"}) {
    const std::string path = write_test_file(name, two);
    TestTask task;
    put(task, "VLN_IPAR_READ_TOKEN_LIMIT", "1");
    EXPECT_EQ(code_name(VLN_readdata(task, path.c_str())), "VLN_RES_ERR_FILE_CONTENT") << name;
    EXPECT_NE(task.last_message().find(too_long(name, 1)), std::string::npos)
        << task.last_message();
  }
}

}  // namespace
