// Starts, bases, better points and progress as files: what a solve takes from them and leaves in
// them, through the C interface.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "small_models.h"
#include "task_support.h"

namespace {

void put(const TestTask& task, const char* name, const std::string& value) {
  ASSERT_EQ(VLN_putparam(task, name, value.c_str()), VLN_RES_OK) << task.last_message();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The value behind a name in a file of lines `name value`.
double value_in(const std::string& file, const std::string& name) {
  for (const std::string& line : lines_of(file)) {
    if (line.rfind(name + ' ', 0) == 0) return std::stod(line.substr(name.size() + 1));
  }
  ADD_FAILURE() << name << " is not in\n" << file;
  return 0.0;
}

// Three integers and a continuous variable: the optimum is 25.5 at a = 2, b = 0, c = 3, r = 0.5.
constexpr char kSmallMix[] = R"(Maximize
 obj: 5 a + 4 b + 4 c + 3 r + 2
Subject To
 weight: 4 a + 4 b + 3 c + r <= 17.5
 pair: a + b <= 2
Bounds
 a <= 3
 b <= 3
 c <= 3
 r <= 1.5
General
 a b c
End
)";

TEST(ExchangeFiles, EachBetterPointTakesTheFilesPlace) {
  for (const char* child : {"on", "off"}) {
    TestTask task;
    ASSERT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
    const std::string path = test_file_path("better.sol");
    ::unlink(path.c_str());
    put(task, "VLN_SPAR_IMPROVING_SOLUTION_FILE", path);
    put(task, "VLN_IPAR_MIP_SOLUTION_LIMIT", "2");
    put(task, "VLN_IPAR_CHILD_PROCESS", child);
    task.solve();
    const std::string file = read_all(path);
    EXPECT_EQ(lines_of(file)[0], "solution status: primal feasible");
    EXPECT_NEAR(std::stod(lines_of(file)[1].substr(sizeof "objective value:")),
                task.objective(kInteger), 1e-9)
        << child;
  }
}

TEST(ExchangeFiles, TheProgressFileHasAnObjectALine) {
  for (const bool integer : {false, true}) {
    TestTask task;
    ASSERT_EQ(task.read(integer ? hard_integer_model() : two_products(-1)), VLN_RES_OK);
    const std::string path = test_file_path("progress");
    put(task, "VLN_SPAR_PROGRESS_FILE", path);
    put(task, "VLN_IPAR_MIP_SOLUTION_LIMIT", "1");
    task.solve();
    const std::vector<std::string> lines = lines_of(read_all(path));
    ASSERT_GE(lines.size(), 2u);
    for (const std::string& line : lines) {
      EXPECT_EQ(line.rfind("{\"time\": ", 0), 0u) << line;
      for (const char* key :
           {"phase", "iterations", "nodes", "open", "incumbent", "bound", "gap"}) {
        EXPECT_NE(line.find(std::string("\"") + key + "\": "), std::string::npos) << line;
      }
      EXPECT_EQ(line.back(), '}');
      EXPECT_EQ(line.find("inf"), std::string::npos) << "JSON has no infinity: " << line;
      EXPECT_EQ(line.find("nan"), std::string::npos) << line;
    }
    EXPECT_NE(lines.front().find("\"presolve\""), std::string::npos) << lines.front();
    EXPECT_NE(lines.back().find("\"end\""), std::string::npos) << lines.back();
    EXPECT_EQ(lines.back().find("\"incumbent\": null"), std::string::npos) << lines.back();
  }
}

// Solves with a start and gives the log.
std::string log_with_start(const std::string& start, const char* limit = nullptr) {
  TestTask task;
  EXPECT_EQ(task.read_as("mix.lp", kSmallMix), VLN_RES_OK) << task.last_message();
  EXPECT_EQ(VLN_putparam(task, "VLN_SPAR_START_FILE", write_test_file("start", start).c_str()),
            VLN_RES_OK);
  if (limit != nullptr) {
    EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_SOLUTION_LIMIT", limit), VLN_RES_OK);
  }
  VLNrescode_enum termination = VLN_RES_OK;
  (void)VLN_optimizetrm(task, &termination);
  return task.log();
}

TEST(ExchangeFiles, AStartIsCompletedAndUsed) {
  // With a = 1 the best is b = 1, c = 3, r = 0.5: 5 + 4 + 12 + 1.5 + 2.
  const std::string log = log_with_start("# what is known\na 1\n");
  EXPECT_NE(log.find("Start: 1 of 4 variables given; a feasible point with objective 24.5"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("objective         2.55"), std::string::npos) << log;
  // The log of HiGHS on the start is about its own tolerances.
  EXPECT_EQ(log.find("Integer infeasibilities"), std::string::npos) << log;
}

TEST(ExchangeFiles, AStartThatFitsNothingIsSaidToBeUseless) {
  const std::string log = log_with_start("a 2\nb 1\n");
  EXPECT_NE(log.find("no feasible point with these values was found"), std::string::npos) << log;
  EXPECT_NE(log.find("objective         2.55"), std::string::npos) << log;
}

// It would be a search of its own to complete them.
TEST(ExchangeFiles, AStartWithoutIntegersIsNotCompleted) {
  EXPECT_NE(log_with_start("r 0.5\n").find("none of them is an integer\n"), std::string::npos);
  EXPECT_NE(log_with_start("# nothing\n").find("Start: the file gives no value of a variable\n"),
            std::string::npos);
  const std::string half = log_with_start("b 1\nc 1.5\n");
  EXPECT_NE(half.find("it is not used: c = 1.5 is no whole number from 0 to "), std::string::npos)
      << half;
}

TEST(ExchangeFiles, AStartWithAnUnknownNameOrNoNumberKeepsTheSolveFromBeginning) {
  const std::string unknown = log_with_start("a 1\nweigt 2\n");
  EXPECT_NE(unknown.find("start:2:1: there is no variable of this name"), std::string::npos)
      << unknown;
  EXPECT_EQ(unknown.find("Optimization ended"), std::string::npos) << unknown;
  EXPECT_NE(log_with_start("a one\n").find("start:1:3: a finite number was expected"),
            std::string::npos);
  EXPECT_NE(log_with_start("a 1 2 3 4\n").find("start:1:5: "), std::string::npos);
}

TEST(ExchangeFiles, ARemoteSolveSaysThatItUsesNone) {
  for (const char* parameter : {"", "VLN_SPAR_START_FILE", "VLN_SPAR_PROGRESS_FILE"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("mix.lp", kSmallMix), VLN_RES_OK);
    const std::string name(parameter);
    if (!name.empty()) put(task, parameter, test_file_path("file"));
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_NE(VLN_optimizermt(task, "no address", "", &termination), VLN_RES_OK);
    EXPECT_EQ(task.log().find("A remote solve uses no files") == std::string::npos, name.empty())
        << task.log();
  }
}

// What is made to be long costs no more than its bytes.
TEST(ExchangeFiles, HostileLinesOfStartsAreRefusedAtOnce) {
  std::string name = "&lt;&amp;lt;";
  for (int i = 0; i < 1 << 19; ++i) name += "&quot;";
  const std::string entities = log_with_start("<variable name=\"" + name + "\" value=\"1\"/>\n");
  EXPECT_NE(entities.find("start:1:17: there is no variable of this name"), std::string::npos)
      << entities.substr(0, 1000);
  std::string words = "a";
  for (int i = 0; i < 1 << 20; ++i) words += " 1";
  EXPECT_NE(log_with_start(words + "\n").find("start:1:5: a line with the name of a variable"),
            std::string::npos);
}

TEST(ExchangeFiles, NamesInXmlAreDecodedOnce) {
  TestTask task;
  ASSERT_EQ(
      task.read_as("names.lp", "min\n o: a&lt; + b&\nst\n c: a&lt; + b& >= 1\nint\n a&lt;\nend\n"),
      VLN_RES_OK)
      << task.last_message();
  put(task, "VLN_SPAR_START_FILE",
      write_test_file("start",
                      "<variable name=\"a&amp;lt;\" value=\"3\"/>\n"
                      "<variable name=\"b&\" value=\"0\"/>\n"));
  task.solve();
  EXPECT_NE(task.log().find("2 of 2 variables given; a feasible point with objective 3"),
            std::string::npos)
      << task.log();
}

// What stands for a name that such a file cannot hold is never the name of another variable.
TEST(ExchangeFiles, StandInsForNamesAreReadBack) {
  const std::string model =
      "\\ Dialect: encoded names\nmax\n o: %20a + 2 x1 + 3 x1_ + 4 c%7f%c2%9b + 5 _%3dobj%3d\n"
      "st\n c: %20a >= 0\nbounds\n %20a <= 1\n x1 <= 2\n x1_ <= 3\n c%7f%c2%9b <= 4\n"
      " _%3dobj%3d <= 5\nint\n x1\nend\n";
  TestTask task;
  ASSERT_EQ(task.read_as("names.lp", model), VLN_RES_OK) << task.last_message();
  const std::string path = test_file_path("names.sol");
  put(task, "VLN_SPAR_SOLUTION_FILE", path);
  task.solve();
  const std::string file = read_all(path);
  EXPECT_NE(file.find("\nx1__ 1\nx1 2\nx1_ 3\nx4 4\nx5 5\n"), std::string::npos) << file;
  put(task, "VLN_SPAR_SOLUTION_FILE", "");
  put(task, "VLN_SPAR_START_FILE", path);
  task.solve();
  EXPECT_NE(task.log().find("5 of 5 variables given; a feasible point with objective 55"),
            std::string::npos)
      << task.log();
}

TEST(ExchangeFiles, TheLimitOfALineHoldsForStartsAndBases) {
  const std::string two(size_t{2} << 20, 'x');
  for (const char* parameter : {"VLN_SPAR_START_FILE", "VLN_SPAR_BASIS_IN_FILE"}) {
    TestTask task;
    ASSERT_EQ(task.read_as("mix.lp", kSmallMix), VLN_RES_OK);
    put(task, parameter, write_test_file("long", two));
    put(task, "VLN_IPAR_READ_TOKEN_LIMIT", "1");
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_EQ(code_name(VLN_optimizetrm(task, &termination)), "VLN_RES_ERR_FILE_CONTENT");
    EXPECT_NE(task.last_message().find("long:1: a line or a text of more than 1 MiB"),
              std::string::npos)
        << task.last_message();
  }
}

TEST(ExchangeFiles, StartsOfEveryFormAreRead) {
  struct Form {
    const char* what;
    const char* text;
    const char* given;
  };
  const Form forms[] = {
      {"HiGHS",
       "Model status\nOptimal\n\n# Primal solution values\nFeasible\nObjective 24.5\n# Columns 4\n"
       "a 1\nb 1\nc 3\nr 0.5\n# Rows 2\nweight 17.5\npair 2\n\n# Dual solution values\nNone\n"
       "# Basis\nHiGHS v1\nNone\n",
       "4 of 4"},
      {"CBC",
       "Optimal - objective value 24.50000000\n      0 a                       1                   "
       "    5\n      1 b                       1                       4\n      2 c               "
       "        3                       4\n**    3 r                     0.5                      "
       " 3\n",
       "4 of 4"},
      {"SCIP",
       "solution status: optimal solution found\nobjective value:                     24.5\na    "
       "                                    1 \t(obj:5)\nb                                       "
       " 1 \t(obj:4)\nc                                        3 \t(obj:4)\nr  0.5 \t(obj:3)\n",
       "4 of 4"},
      {".mst", "# MIP start\na 1\nb 1\nc 3\n", "3 of 4"},
      {".mst in XML",
       "<?xml version = \"1.0\"?>\n<Solution>\n <variables>\n  <variable name=\"a\" index=\"0\" "
       "value=\"1\"/>\n  <variable name=\"b\" index=\"1\" value=\"1\"/>\n  <variable name=\"c\" "
       "index=\"2\" value=\"3\"/>\n </variables>\n</Solution>\n",
       "3 of 4"},
  };
  for (const Form& form : forms) {
    const std::string log = log_with_start(form.text);
    EXPECT_NE(log.find("Start: " + std::string(form.given) +
                       " variables given; a feasible point with objective 24.5"),
              std::string::npos)
        << form.what << '\n'
        << log;
  }
}

TEST(ExchangeFiles, TheSolutionFileIsAStart) {
  TestTask task;
  ASSERT_EQ(task.read_as("mix.lp", kSmallMix), VLN_RES_OK);
  const std::string path = test_file_path("left.sol");
  put(task, "VLN_SPAR_SOLUTION_FILE", path);
  task.solve();
  const std::string file = read_all(path);
  EXPECT_EQ(lines_of(file)[0], "solution status: integer optimal");
  EXPECT_EQ(lines_of(file)[1], "objective value: 25.5");
  EXPECT_NEAR(value_in(file, "c"), 3.0, 1e-9);
  const std::string log = log_with_start(file);
  EXPECT_NE(log.find("4 of 4 variables given; a feasible point with objective 25.5"),
            std::string::npos)
      << log;
}

TEST(ExchangeFiles, ABasisTakesNoIterations) {
  TestTask first;
  ASSERT_EQ(first.read_as("w.lp", kWorkshop), VLN_RES_OK);
  const std::string path = test_file_path("w.bas");
  put(first, "VLN_SPAR_BASIS_OUT_FILE", path);
  first.solve();
  EXPECT_EQ(read_all(path), "NAME\n XU x wood\n XU y work\nENDATA\n");
  TestTask second;
  ASSERT_EQ(second.read_as("w.lp", kWorkshop), VLN_RES_OK);
  put(second, "VLN_SPAR_BASIS_IN_FILE", path);
  second.solve();
  EXPECT_EQ(second.objective(kBasic), first.objective(kBasic));
  EXPECT_NE(second.log().find("  iterations        0\n"), std::string::npos) << second.log();
  EXPECT_EQ(first.log().find("  iterations        0\n"), std::string::npos) << first.log();
}

// Rows and columns enough that the simplex method has something to do.
std::string many_products() {
  constexpr int kProducts = 30;
  constexpr int kMachines = 20;
  std::ostringstream lp;
  lp << "Maximize\n profit:";
  for (int j = 0; j < kProducts; ++j) lp << " + " << 10 + j * 7 % 11 << " p" << j;
  lp << "\nSubject To\n";
  for (int i = 0; i < kMachines; ++i) {
    lp << " m" << i << ":";
    for (int j = 0; j < kProducts; ++j) lp << " + " << 1 + (i * 5 + j * 3) % 9 << " p" << j;
    lp << " <= " << 200 + i * 13 % 50 << '\n';
  }
  lp << "Bounds\n";
  for (int j = 0; j < kProducts; ++j) lp << " p" << j << " <= " << 4 + j % 5 << '\n';
  lp << "End\n";
  return lp.str();
}

double iterations_of(const TestTask& task) {
  const std::string& log = task.log();
  return std::stod(log.substr(log.find("\n  iterations ") + sizeof "\n  iterations"));
}

// Solves the products with a start, and looks for the optimum.
void solve_from(const std::string& start, double optimum, TestTask* task) {
  ASSERT_EQ(task->read_as("products.lp", many_products()), VLN_RES_OK) << task->last_message();
  put(*task, "VLN_SPAR_START_FILE", write_test_file("start.sol", start));
  task->solve();
  EXPECT_NEAR(task->objective(kBasic), optimum, 1e-6 * optimum);
  EXPECT_EQ(task->solution_status(kBasic), solsta::kOptimal);
}

TEST(ExchangeFiles, APointIsWhereTheSimplexMethodBegins) {
  TestTask cold;
  ASSERT_EQ(cold.read_as("products.lp", many_products()), VLN_RES_OK) << cold.last_message();
  const std::string path = test_file_path("left.sol");
  put(cold, "VLN_SPAR_SOLUTION_FILE", path);
  put(cold, "VLN_IPAR_PRESOLVE", "off");
  cold.solve();
  ASSERT_GT(iterations_of(cold), 5.0);
  TestTask warm;
  solve_from(read_all(path), cold.objective(kBasic), &warm);
  EXPECT_NE(warm.log().find("Start: 30 of 30 variables given; the simplex method begins near that "
                            "point\n"),
            std::string::npos)
      << warm.log();
  EXPECT_EQ(iterations_of(warm), 0.0) << warm.log();
}

TEST(ExchangeFiles, APointFarAwayOrOutsideLeadsToTheSameOptimum) {
  TestTask cold;
  ASSERT_EQ(cold.read_as("products.lp", many_products()), VLN_RES_OK);
  cold.solve();
  for (const char* start : {"p3 2\n", "p0 1000\np1 -5\n", "p7 0.5\np8 0.25\np9 3\np10 3.75\n"}) {
    TestTask task;
    solve_from(start, cold.objective(kBasic), &task);
  }
}

TEST(ExchangeFiles, AStartThatTheMethodCannotUseIsSaidToBeOfNoUse) {
  struct Case {
    const char* parameter;
    std::string value;
    const char* line;
  };
  const std::string basis = write_test_file("none.bas", "NAME\nENDATA\n");
  const Case cases[] = {
      {"VLN_IPAR_OPTIMIZER", "conic", "an interior-point method cannot begin at a point"},
      {"VLN_IPAR_OPTIMIZER", "interior_point", "an interior-point method cannot begin at a point"},
      {"VLN_SPAR_BASIS_IN_FILE", basis, "the basis file says where to begin"}};
  for (const Case& entry : cases) {
    TestTask task;
    ASSERT_EQ(task.read_as("w.lp", kWorkshop), VLN_RES_OK);
    put(task, "VLN_SPAR_START_FILE", write_test_file("start.sol", "x 1\n"));
    put(task, entry.parameter, entry.value);
    task.solve();
    EXPECT_NE(task.log().find(std::string("The start file is not used: ") + entry.line),
              std::string::npos)
        << task.log();
  }
}

// The iterations of CBC's dual simplex method, without presolve.
double peer_iterations(const std::string& arguments) {
  const std::string model = write_test_file("peer.lp", many_products());
  const std::string log = test_file_path("peer.log");
  const std::string command =
      "cbc " + model + " -presolve off " + arguments + " -quit >" + log + " 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << read_all(log);
  const std::string text = read_all(log);
  const size_t begin = text.rfind("Optimal objective ");
  const size_t dash = text.find(" - ", begin);
  if (begin == std::string::npos || dash == std::string::npos) ADD_FAILURE() << text;
  return dash == std::string::npos ? -1.0 : std::stod(text.substr(dash + 3));
}

TEST(ExchangeFiles, AnotherProgramBeginsAtOurBasisAndWeAtIts) {
  if (std::system("command -v cbc >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no cbc";
  TestTask ours;
  ASSERT_EQ(ours.read_as("products.lp", many_products()), VLN_RES_OK);
  const std::string basis = test_file_path("ours.bas");
  const std::string back = test_file_path("theirs.bas");
  put(ours, "VLN_SPAR_BASIS_OUT_FILE", basis);
  ours.solve();
  EXPECT_GT(peer_iterations("-dualsimplex"), 0.0);
  EXPECT_EQ(peer_iterations("-basisI " + basis + " -dualsimplex -basisO " + back), 0.0);
  TestTask again;
  ASSERT_EQ(again.read_as("products.lp", many_products()), VLN_RES_OK);
  put(again, "VLN_SPAR_BASIS_IN_FILE", back);
  again.solve();
  EXPECT_NEAR(again.objective(kBasic), ours.objective(kBasic), 1e-9);
  EXPECT_EQ(iterations_of(again), 0.0) << again.log();
}

// The values that CBC adds, and the name that it has for no constraint.
TEST(ExchangeFiles, ABasisMayHaveValues) {
  TestTask task;
  ASSERT_EQ(task.read_as("w.lp", kWorkshop), VLN_RES_OK);
  put(task, "VLN_SPAR_BASIS_IN_FILE",
      write_test_file("v.bas",
                      "NAME          BLANK      VALUES\n XU x   wood     12.5\n"
                      " UL y      _dummy_     3.\nENDATA\n"));
  task.solve();
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
  for (const char* bad : {"NAME\n XU x wood work\nENDATA\n", "NAME\n UL x y z\nENDATA\n",
                          "NAME\n XU x wood 1 2\nENDATA\n"}) {
    put(task, "VLN_SPAR_BASIS_IN_FILE", write_test_file("v.bas", bad));
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_NE(VLN_optimizetrm(task, &termination), VLN_RES_OK) << bad;
    EXPECT_NE(task.last_message().find("the end of the line was expected"), std::string::npos)
        << task.last_message();
  }
}

TEST(ExchangeFiles, ABasisOfAnotherModelIsRefused) {
  TestTask task;
  ASSERT_EQ(task.read_as("w.lp", kWorkshop), VLN_RES_OK);
  put(task, "VLN_SPAR_BASIS_IN_FILE", write_test_file("b.bas", "NAME\n XU x woud\nENDATA\n"));
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_NE(VLN_optimizetrm(task, &termination), VLN_RES_OK);
  EXPECT_NE(task.last_message().find("b.bas:2:7: "), std::string::npos) << task.last_message();
  EXPECT_NE(task.last_message().find("did you mean 'wood'"), std::string::npos)
      << task.last_message();
}

TEST(ExchangeFiles, WhatIsNotThereIsNotWritten) {
  TestTask task;
  ASSERT_EQ(task.read_as("mix.lp", kSmallMix), VLN_RES_OK);
  for (const char* name :
       {"VLN_SPAR_BASIS_OUT_FILE", "VLN_SPAR_RANGING_FILE", "VLN_SPAR_CONFLICT_FILE"}) {
    const std::string path = write_test_file("earlier.lp", "earlier");
    put(task, name, path);
    task.solve();
    EXPECT_EQ(read_all(path), "earlier") << name;
    EXPECT_NE(task.log().find("There is no "), std::string::npos) << name;
    put(task, name, "");
  }
}

TEST(ExchangeFiles, AShortSolutionInPtfIsAStart) {
  TestTask task;
  const std::string lp = kSmallMix;
  const std::string ptf = "Minimize ] extended problem 1\n" + lp.substr(0, lp.find("End\n")) +
                          "Solution integer\n status primal_feasible\n variable a = 1\n"
                          " variable b = 1\n variable c = at_upper 3\n variable r = 0.5\nEnd\n";
  ASSERT_EQ(task.read_as("mix.ptf", ptf), VLN_RES_OK) << task.last_message();
  ASSERT_TRUE(task.defined(kInteger));
  EXPECT_EQ(task.var_doubles(VLN_getxx, kInteger), (std::vector<double>{1, 1, 3, 0.5}));
}

}  // namespace
