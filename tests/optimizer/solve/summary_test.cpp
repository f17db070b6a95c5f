// The end summary of a solve in the log says what the JSON solution says.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "small_models.h"
#include "task_support.h"

namespace {

// The text behind the name in the end summary, such as "optimal" of "  solution status   optimal".
std::string in_summary(const std::string& log, const std::string& name) {
  const size_t end = log.rfind("Optimization ended");
  const size_t line = end == std::string::npos ? end : log.find("\n  " + name + " ", end);
  if (line == std::string::npos) return "";
  const size_t value = log.find_first_not_of(' ', line + 3 + name.size());
  return log.substr(value, log.find('\n', value) - value);
}

// The value of a key that a JSON solution has once, without its quotes.
std::string in_json(const std::string& json, const std::string& key) {
  const size_t at = json.find('"' + key + "\": ");
  if (at == std::string::npos) return "";
  const size_t value = at + key.size() + 4;
  const std::string text = json.substr(value, json.find_first_of(",\n", value) - value);
  return text.front() == '"' ? text.substr(1, text.size() - 2) : text;
}

std::string with_ten_digits(const std::string& number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.10e", std::stod(number));
  return text;
}

// Numbers that greedy rounding gets wrong, with the constant 10 in the objective.
std::string knapsack(bool maximize) {
  const int weights[] = {31, 41, 59, 26, 53, 58, 97, 93, 23, 84, 62, 64};
  std::string mps = maximize ? "OBJSENSE\n MAX\n" : "";
  mps += "ROWS\n N C\n L R\n L S\nCOLUMNS\n M1 'MARKER' 'INTORG'\n";
  for (size_t j = 0; j < std::size(weights); ++j) {
    const std::string name = "X" + std::to_string(j);
    const int value = weights[j] + static_cast<int>(j % 5) + 3;
    mps += ' ' + name + " C " + std::to_string(maximize ? value : -value) + " R " +
           std::to_string(weights[j]) + "\n " + name + " S " +
           std::to_string(100 - weights[j] / 2) + '\n';
  }
  mps += " M2 'MARKER' 'INTEND'\nRHS\n B R 331 S 501\n";
  mps += maximize ? " B C -10\n" : " B C 10\n";
  mps += "BOUNDS\n";
  for (size_t j = 0; j < std::size(weights); ++j) mps += " UP B X" + std::to_string(j) + " 1\n";
  return mps + "ENDATA\n";
}

struct SummaryCase {
  const char* what;
  std::string mps;
  const char* parameter;
  const char* value;
  const char* solution_status;
  bool has_objective;
};

const SummaryCase kCases[] = {
    {"optimum", two_products(-1), nullptr, nullptr, "optimal", true},
    {"maximum with a constant",
     R"(OBJSENSE
 MAX
NAME A
ROWS
 N C
 L R
COLUMNS
 X C 2 R 3
RHS
 B C -10 R 4
ENDATA
)",
     nullptr, nullptr, "optimal", true},
    {"integer optimum", kSmallInteger, nullptr, nullptr, "integer optimal", true},
    {"incumbent of a stopped solve", hard_integer_model(), "VLN_IPAR_MIP_SOLUTION_LIMIT", "1",
     "primal feasible", true},
    {"no feasible point", kContradictionOfOne, nullptr, nullptr, "primal infeasible certificate",
     false},
    {"no integer point", kInfeasibleInteger, nullptr, nullptr, "unknown", false},
    {"no bound on the objective", kUnboundedDirection, nullptr, nullptr,
     "dual infeasible certificate", false},
};

TEST(Summary, SaysWhatTheJsonSolutionSays) {
  for (const SummaryCase& c : kCases) {
    TestTask task;
    ASSERT_EQ(task.read(c.mps), VLN_RES_OK);
    if (c.parameter != nullptr) {
      ASSERT_EQ(VLN_putparam(task, c.parameter, c.value), VLN_RES_OK);
    }
    task.solve();
    const std::string path = test_file_path("solution.json");
    ASSERT_EQ(VLN_writejsonsol(task, path.c_str()), VLN_RES_OK);
    const std::string json = read_all(path);
    EXPECT_EQ(in_summary(task.log(), "solution status"), c.solution_status) << c.what;
    for (const char* name : {"problem status", "solution status"}) {
      EXPECT_NE(in_json(json, name), "") << c.what;
      EXPECT_EQ(in_summary(task.log(), name), in_json(json, name)) << c.what;
    }
    const std::string objective = in_json(json, "primal objective");
    EXPECT_EQ(in_summary(task.log(), "objective"),
              c.has_objective ? with_ten_digits(objective) : "")
        << c.what;
    const bool is_ray = std::string(c.solution_status).ends_with("certificate");
    const std::string along_ray = in_json(json, "ray objective");
    EXPECT_EQ(along_ray.empty(), !is_ray) << c.what;
    EXPECT_EQ(in_summary(task.log(), "ray objective"), is_ray ? with_ten_digits(along_ray) : "")
        << c.what;
    EXPECT_EQ(in_json(json, "primal objective").empty(), is_ray) << c.what;
  }
}

TEST(Summary, SaysTheBoundThatTheJsonSolutionSays) {
  for (const bool maximize : {false, true}) {
    TestTask task;
    ASSERT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
    ASSERT_EQ(VLN_putobjsense(task, maximize ? 1 : 0), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_SOLUTION_LIMIT", "1"), VLN_RES_OK);
    task.solve();
    const std::string path = test_file_path("solution.json");
    ASSERT_EQ(VLN_writejsonsol(task, path.c_str()), VLN_RES_OK);
    const std::string bound = in_json(read_all(path), "dual objective");
    if (maximize) {
      EXPECT_EQ(bound, "") << "the relaxation is unbounded";
      continue;
    }
    ASSERT_NE(bound, "") << task.log();
    EXPECT_EQ(in_summary(task.log(), "bound"), with_ten_digits(bound));
  }
}

// Binary variables whose sums by several weights must all be half of the whole, which takes long to
// find (G. Cornuejols, M. Dawande, A class of hard small 0-1 programs, INFORMS Journal on Computing 11,
// 1999). The objective is the number of ones, and their squares where it is quadratic.
std::string halving_model(bool quadratic) {
  constexpr int kNumRows = 4;
  constexpr int kNumColumns = 24;
  std::string rows = "NAME\nROWS\n N C\n";
  std::string columns = "COLUMNS\n M1 'MARKER' 'INTORG'\n";
  std::string sides = "RHS\n";
  std::string bounds = "BOUNDS\n";
  std::string squares = "QUADOBJ\n";
  int sum[kNumRows] = {};
  uint32_t state = 1;
  for (int j = 0; j < kNumColumns; ++j) {
    const std::string name = "X" + std::to_string(j);
    columns += " " + name + " C 1\n";
    bounds += " BV B " + name + "\n";
    squares += " " + name + " " + name + " 2\n";
    for (int i = 0; i < kNumRows; ++i) {
      state = state * 1664525U + 1013904223U;
      const int weight = static_cast<int>((state >> 16) % 100);
      sum[i] += weight;
      columns += " " + name + " R" + std::to_string(i) + " " + std::to_string(weight) + "\n";
    }
  }
  for (int i = 0; i < kNumRows; ++i) {
    rows += " E R" + std::to_string(i) + "\n";
    sides += " B R" + std::to_string(i) + " " + std::to_string(sum[i] / 2) + "\n";
  }
  return rows + columns + " M2 'MARKER' 'INTEND'\n" + sides + bounds + (quadratic ? squares : "") +
         "ENDATA\n";
}

// A stopped solve without a point leaves what it has proved of the objective.
TEST(Summary, KeepsTheBoundWhereNoPointIsFound) {
  for (const bool quadratic : {false, true}) {
    SCOPED_TRACE(quadratic);
    TestTask task;
    ASSERT_EQ(task.read(halving_model(quadratic)), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_NODE_LIMIT", "1"), VLN_RES_OK);
    EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT") << task.log();
    EXPECT_NE(task.log().find("no integer solution found"), std::string::npos) << task.log();
    const std::string path = test_file_path("solution.json");
    ASSERT_EQ(VLN_writejsonsol(task, path.c_str()), VLN_RES_OK);
    const std::string bound = in_json(read_all(path), "bound");
    ASSERT_NE(bound, "") << task.log();
    EXPECT_EQ(in_summary(task.log(), "bound"), with_ten_digits(bound));
    // No half of the weights takes fewer than a third of the ones, or more than all.
    EXPECT_GT(std::stod(bound), 8.0);
    EXPECT_LT(std::stod(bound), 48.0);
  }
}

// The lines of the table of a mixed-integer solve, without its headings.
struct Row {
  bool better = false;
  double time = 0.0;
  long long nodes = -1;
  std::string open;
  long long iterations = -1;
  std::string incumbent, bound, gap, origin;
};

std::vector<Row> rows_of(const std::string& log) {
  std::vector<Row> rows;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(line.empty() ? 0 : 1));
    Row row;
    std::string unit;
    words >> row.time >> unit >> row.nodes >> row.open >> row.iterations >> row.incumbent >>
        row.bound >> row.gap;
    if (!words || unit != "s") continue;
    std::getline(words >> std::ws, row.origin);
    row.better = line[0] == '*';
    rows.push_back(row);
  }
  return rows;
}

bool has_gap_without_news(const Row& row) { return row.origin.empty() && row.gap != "-"; }

int stop_after_line_without_news(vlntaskt*, void* task, VLNcallbackcode_enum, const double*,
                                 const int*, const long*) {
  const std::vector<Row> rows = rows_of(static_cast<const TestTask*>(task)->log());
  return std::any_of(rows.begin(), rows.end(), has_gap_without_news);
}

// A person who follows a long solve sees how far it is: lines without news once a second at most.
TEST(Summary, ProgressLinesHaveNodesIncumbentBoundGapAndTime) {
  TestTask task;
  ASSERT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_REPRODUCIBLE", "on"), VLN_RES_OK);
  ASSERT_EQ(VLN_putcallbackfunc(task, stop_after_line_without_news, &task), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_USER_CALLBACK");
  const std::vector<Row> rows = rows_of(task.log());
  double last = -1.0;
  int periodic = 0;
  for (const Row& row : rows) {
    EXPECT_GE(row.nodes, 0);
    EXPECT_GE(row.iterations, 0);
    if (!row.origin.empty()) continue;
    EXPECT_GE(row.time, last + 0.9);  // shown with two digits
    last = row.time;
    if (!has_gap_without_news(row)) continue;
    const double incumbent = std::stod(row.incumbent);
    const double bound = std::stod(row.bound);
    EXPECT_GE(incumbent, bound);
    EXPECT_NEAR(std::stod(row.gap), 100.0 * (incumbent - bound) / incumbent, 0.01);
    ++periodic;
  }
  EXPECT_GE(periodic, 1) << task.log();
  const auto is_root = [](const Row& row) { return row.origin == "root"; };
  EXPECT_EQ(std::count_if(rows.begin(), rows.end(), is_root), 1) << task.log();
}

// Each better point has a line, at once, in the sense of the model and with its constant; the last
// one is the answer.
TEST(Summary, EachBetterPointHasALineWithItsOrigin) {
  for (const bool maximize : {false, true}) {
    TestTask task;
    ASSERT_EQ(task.read(knapsack(maximize)), VLN_RES_OK);
    task.solve();
    std::vector<Row> better = rows_of(task.log());
    std::erase_if(better, [](const Row& row) { return !row.better; });
    ASSERT_FALSE(better.empty()) << task.log();
    for (const Row& row : better) EXPECT_FALSE(row.origin.empty()) << task.log();
    EXPECT_NEAR(std::stod(better.back().incumbent), task.objective(kInteger), 1e-6) << task.log();
    EXPECT_EQ(std::signbit(task.objective(kInteger)), !maximize);
  }
}

// HiGHS tells of a start in a line with the objective that it was given, which is another one.
TEST(Summary, AStartIsTheOriginOfItsPointAndHasNoOtherObjective) {
  TestTask task;
  ASSERT_EQ(task.read(knapsack(true)), VLN_RES_OK);
  const std::string start = write_test_file("start.mst",
                                            "X0 1\nX1 0\nX2 0\nX3 0\nX4 0\nX5 0\n"
                                            "X6 0\nX7 0\nX8 0\nX9 0\nX10 0\nX11 0\n");
  ASSERT_EQ(VLN_putparam(task, "VLN_SPAR_START_FILE", start.c_str()), VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find("\nMIP start solution is feasible\n"), std::string::npos) << task.log();
  const std::vector<Row> rows = rows_of(task.log());
  const auto first = std::find_if(rows.begin(), rows.end(), [](const Row& r) { return r.better; });
  ASSERT_NE(first, rows.end()) << task.log();
  EXPECT_EQ(first->origin, "start") << task.log();
  EXPECT_EQ(std::stod(first->incumbent), 44.0) << "31 + 3 and the constant 10";
}

TEST(Summary, PresolveIsTheOriginOfThePointThatItEndsWith) {
  TestTask task;
  ASSERT_EQ(task.read(kSmallInteger), VLN_RES_OK);
  task.solve();
  const std::vector<Row> rows = rows_of(task.log());
  ASSERT_EQ(rows.size(), 1u) << task.log();
  EXPECT_EQ(rows[0].origin, "presolve") << task.log();
}

// A caller may have limits that the library does not know.
TEST(Summary, TheHeaderNamesNoTimeLimitWhereTheParameterIsNotSet) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  task.solve();
  const size_t header = task.log().find("Optimizer library ");
  ASSERT_NE(header, std::string::npos) << task.log();
  const std::string line = task.log().substr(header, task.log().find('\n', header) - header);
  EXPECT_EQ(line.find("limit"), std::string::npos) << line;
}

TEST(Summary, TheTableOfALinearModelIsInTheModelsSense) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putobjsense(task, 1), VLN_RES_OK);
  for (const char* method : {"dual_simplex", "interior_point", "conic"}) {
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", method), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_WARM_START", "off"), VLN_RES_OK);
    const size_t begin = task.log().size();
    task.solve();
    const std::string log = task.log().substr(begin);
    EXPECT_EQ(log.find("negated"), std::string::npos) << log;
    EXPECT_EQ(log.find("-1.1"), std::string::npos) << log;
    EXPECT_NE(log.find(" 1.1000000"), std::string::npos) << method << '\n' << log;
  }
}

TEST(Summary, TheHeaderNamesTheLibraryTheParametersAndTheModel) {
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "60"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
  task.solve();
  for (const char* line :
       {"Optimizer library ", " cores, 1 thread, time limit 60 s\n",
        "Parameters: VLN_IPAR_PRESOLVE = 0 (off), VLN_DPAR_TIME_LIMIT = 60\n", "  name: "}) {
    const std::string one_core = "1 core, 1 thread, time limit 60 s\n";
    const bool found = task.log().find(line) != std::string::npos ||
                       (line[1] == 'c' && task.log().find(one_core) != std::string::npos);
    EXPECT_TRUE(found) << line << '\n' << task.log();
  }
}

TEST(Summary, AnEmptyTaskIsSaidToBeEmpty) {
  TestTask task;
  task.solve();
  EXPECT_NE(task.log().find("The task is empty"), std::string::npos) << task.log();
}

TEST(Summary, CountsOfOneHaveNoPlural) {
  TestTask task;
  ASSERT_EQ(task.read("ROWS\n N C\n L R\nCOLUMNS\n X C -1 R 1\nRHS\n B R 4\nENDATA\n"), VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find(": 1 constraint, 1 variable, 1 matrix element; "), std::string::npos)
      << task.log();
}

TEST(Summary, BadScalingGetsAdvice) {
  TestTask task;
  ASSERT_EQ(task.read("ROWS\n N C\n L R\n L S\nCOLUMNS\n X C -1 R 1e-7 S 1e4\nRHS\n B R 4 S 5\n"
                      "ENDATA\n"),
            VLN_RES_OK);
  task.solve();
  EXPECT_NE(task.log().find("    matrix            [1e-07, 1e+04]\n"), std::string::npos)
      << task.log();
  EXPECT_NE(task.log().find("Advice: the matrix elements span 11 powers of ten"), std::string::npos)
      << task.log();
}

// Another solve, for a certificate, is told in a line and not by a log of its own.
TEST(Summary, AFurtherSolveIsALine) {
  TestTask task;
  ASSERT_EQ(task.read(kContradictionOfOne), VLN_RES_OK);
  task.solve();
  size_t logs = 0;
  for (size_t at = 0; (at = task.log().find("Presolving model", at)) != std::string::npos; ++at)
    ++logs;
  EXPECT_LE(logs, 1u) << task.log();
  EXPECT_EQ(task.log().find("to compute dual ray"), std::string::npos) << task.log();
}

}  // namespace
