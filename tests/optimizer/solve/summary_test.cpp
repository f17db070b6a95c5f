// The end summary of a solve in the log says what the JSON solution says.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

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
     "dual infeasible certificate", true},
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

// A person who follows a long solve sees how far it is, at most once a second.
TEST(Summary, ProgressLinesHaveNodesIncumbentBoundGapAndTime) {
  TestTask task;
  ASSERT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "2.5"), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_TIME_LIMIT");
  const std::string heading =
      "      time         nodes         incumbent             bound        gap\n";
  const size_t table = task.log().find(heading);
  ASSERT_NE(table, std::string::npos) << task.log();
  EXPECT_EQ(task.log().find(heading, table + 1), std::string::npos) << "one heading is enough";
  const char* line = task.log().c_str() + table + heading.size();
  double last = 0.0;
  int lines = 0;
  double time = 0.0;
  double incumbent = 0.0;
  double bound = 0.0;
  double gap = 0.0;
  long long nodes = -1;
  int length = 0;
  if (*line == '*') ++line;  // a better incumbent
  while (std::sscanf(line, "%lf s %lld %lf %lf %lf%%\n%n", &time, &nodes, &incumbent, &bound, &gap,
                     &length) == 5) {
    EXPECT_GE(time, last + 0.9);  // shown with one digit
    EXPECT_GE(nodes, 0);
    EXPECT_GE(incumbent, bound);
    EXPECT_NEAR(gap, 100.0 * (incumbent - bound) / incumbent, 0.01);
    last = time;
    line += length;
    if (*line == '*') ++line;
    ++lines;
  }
  EXPECT_GE(lines, 1) << task.log();
  EXPECT_LE(lines, 2) << task.log();
}

}  // namespace
