// What a user may say about the search for integers: whether it takes cuts, and on which variables it
// branches first. The tree changes, the answers do not.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "random_count.h"
#include "task_support.h"

namespace {

void put(const TestTask& task, const char* name, const std::string& value) {
  ASSERT_EQ(VLN_putparam(task, name, value.c_str()), VLN_RES_OK) << task.last_message();
}

// The number behind a text of the log; -1 where the text is not there.
double figure(const std::string& log, const std::string& text) {
  const size_t begin = log.find(text);
  return begin == std::string::npos ? -1.0 : std::stod(log.substr(begin + text.size()));
}

constexpr char kNodes[] = "\n  nodes ";

// The most cuts that the relaxation had; 0 where the log tells of none.
double most_cuts(const std::string& log) {
  const size_t end = log.find(" cuts at most\n");
  if (end == std::string::npos) return 0.0;
  return std::stod(log.substr(log.rfind(' ', end - 1), end));
}

// Plants to open, each with a capacity, and customers whose demand is met in whole lots. The columns
// in front are fixed: presolve takes them out, so that the others change their numbers.
std::string plants(uint32_t seed, int num_fixed) {
  constexpr int kPlants = 7;
  constexpr int kCustomers = 6;
  std::mt19937 random(seed);
  const auto between = [&random](unsigned low, unsigned high) {
    return static_cast<int>(low + random() % (high - low + 1));
  };
  std::ostringstream lp;
  lp << "Minimize\n cost:";
  for (int k = 0; k < num_fixed; ++k) lp << " + 3 fixed" << k;
  for (int i = 0; i < kPlants; ++i) lp << " + " << between(40, 90) << " open" << i;
  for (int i = 0; i < kPlants; ++i) {
    for (int j = 0; j < kCustomers; ++j) lp << " + " << between(3, 20) << " lot" << i << j;
  }
  lp << "\nSubject To\n";
  for (int j = 0; j < kCustomers; ++j) {
    lp << " demand" << j << ":";
    for (int i = 0; i < kPlants; ++i) lp << " + lot" << i << j;
    lp << " >= " << between(3, 8) << '\n';
  }
  for (int i = 0; i < kPlants; ++i) {
    lp << " capacity" << i << ":";
    for (int j = 0; j < kCustomers; ++j) lp << " + " << between(3, 7) << " lot" << i << j;
    lp << " - " << between(30, 60) << " open" << i << " <= 0\n";
  }
  lp << "Bounds\n";
  for (int k = 0; k < num_fixed; ++k) lp << " fixed" << k << " = 1\n";
  for (int i = 0; i < kPlants; ++i) {
    for (int j = 0; j < kCustomers; ++j) lp << " lot" << i << j << " <= 8\n";
  }
  lp << "Binary\n";
  for (int i = 0; i < kPlants; ++i) lp << " open" << i;
  lp << "\nGeneral\n";
  for (int k = 0; k < num_fixed; ++k) lp << " fixed" << k;
  for (int i = 0; i < kPlants; ++i) {
    for (int j = 0; j < kCustomers; ++j) lp << " lot" << i << j;
  }
  lp << "\nEnd\n";
  return lp.str();
}

// A search whose tree depends on the branching alone.
void keep_to_the_tree(const TestTask& task) {
  put(task, "VLN_IPAR_MIP_CUTS", "off");
  put(task, "VLN_IPAR_MIP_RESTART", "off");
  put(task, "VLN_DPAR_MIP_HEURISTIC_EFFORT", "0");
  put(task, "VLN_IPAR_NUM_THREADS", "1");
  put(task, "VLN_DPAR_MIP_RELATIVE_GAP", "0");
}

constexpr uint32_t kSeeds = 5;

TEST(SearchControls, CutsOffLeavesTheRelaxationWithoutCuts) {
  double nodes_with = 0.0;
  double nodes_without = 0.0;
  for (uint32_t seed = 1; seed <= kSeeds; ++seed) {
    TestTask with;
    ASSERT_EQ(with.read_as("plants.lp", plants(seed, 0)), VLN_RES_OK) << with.last_message();
    put(with, "VLN_IPAR_REPRODUCIBLE", "on");
    with.solve();
    EXPECT_GT(most_cuts(with.log()), 0.0) << with.log();
    TestTask without;
    ASSERT_EQ(without.read_as("plants.lp", plants(seed, 0)), VLN_RES_OK);
    put(without, "VLN_IPAR_MIP_CUTS", "off");
    put(without, "VLN_IPAR_REPRODUCIBLE", "on");
    without.solve();
    EXPECT_EQ(most_cuts(without.log()), 0.0) << without.log();
    EXPECT_EQ(without.solution_status(kInteger), solsta::kIntegerOptimal);
    EXPECT_NEAR(without.objective(kInteger), with.objective(kInteger), 1e-6);
    nodes_with += figure(with.log(), kNodes);
    nodes_without += figure(without.log(), kNodes);
  }
  // What cuts are for.
  EXPECT_GT(nodes_without, nodes_with);
}

// At most nine and a half of twenty: whoever branches on their number is done at once, and whoever
// branches on them one by one has thousands of nodes.
std::string nine_and_a_half() {
  constexpr int kItems = 20;
  std::ostringstream lp;
  const auto items = [&lp](const char* sign) {
    for (int i = 0; i < kItems; ++i) lp << sign << " y" << i;
  };
  lp << "Maximize\n gain:";
  for (int i = 0; i < kItems; ++i) lp << " + " << 1.0 + (i * 37 % 101) / 1009.0 << " y" << i;
  lp << "\nSubject To\n half:";
  items(" + 2");
  lp << " <= 19\n sum: number";
  items(" -");
  lp << " = 0\nBounds\n number <= 20\nBinary\n";
  items("");
  lp << "\nGeneral\n number\nEnd\n";
  return lp.str();
}

double nodes_of_half(const std::string& priority) {
  TestTask task;
  EXPECT_EQ(task.read_as("half.lp", nine_and_a_half()), VLN_RES_OK) << task.last_message();
  put(task, "VLN_IPAR_MIP_CUTS", "off");
  put(task, "VLN_IPAR_PRESOLVE", "off");
  put(task, "VLN_IPAR_MIP_NODE_LIMIT", "300");
  put(task, "VLN_SPAR_BRANCHING_PRIORITY_FILE",
      write_test_file("half.prio", "number " + priority + '\n'));
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_EQ(VLN_optimizetrm(task, &termination), VLN_RES_OK);
  return figure(task.log(), kNodes);
}

TEST(SearchControls, TheHighestPriorityIsBranchedOnFirst) {
  EXPECT_LT(nodes_of_half("1"), 10.0);
  EXPECT_GE(nodes_of_half("-1"), 300.0);
}

struct Tree {
  double nodes, objective;
};

Tree search(uint32_t seed, int num_fixed, const std::string& priorities) {
  TestTask task;
  EXPECT_EQ(task.read_as("plants.lp", plants(seed, num_fixed)), VLN_RES_OK) << task.last_message();
  keep_to_the_tree(task);
  if (!priorities.empty()) {
    put(task, "VLN_SPAR_BRANCHING_PRIORITY_FILE", write_test_file("first.prio", priorities));
  }
  task.solve();
  EXPECT_EQ(task.solution_status(kInteger), solsta::kIntegerOptimal) << task.log();
  return {figure(task.log(), kNodes), task.objective(kInteger)};
}

// By their names, whatever numbers presolve gives the variables.
TEST(SearchControls, PrioritiesFollowTheirVariablesThroughPresolve) {
  std::string lots_first = "# lots before plants\n";
  for (int i = 0; i < 7; ++i) lots_first += "open" + std::to_string(i) + " -10\n";
  int num_changed = 0;
  for (uint32_t seed = 1; seed <= kSeeds; ++seed) {
    const Tree free = search(seed, 0, "");
    const Tree plain = search(seed, 0, lots_first);
    const Tree shifted = search(seed, 9, lots_first);
    EXPECT_EQ(shifted.nodes, plain.nodes);
    EXPECT_NEAR(plain.objective, free.objective, 1e-6);
    EXPECT_NEAR(shifted.objective, plain.objective + 27.0, 1e-6);
    num_changed += plain.nodes != free.nodes ? 1 : 0;
  }
  EXPECT_GE(num_changed, 2);
}

// Whole variables from 0 to 3 in random rows, and the best of all points.
struct SmallModel {
  static constexpr size_t kVars = 5;
  static constexpr size_t kRows = 3;
  std::array<int, kVars> cost{};
  std::array<std::array<int, kVars>, kRows> row{};
  std::array<int, kRows> most{};

  explicit SmallModel(uint32_t seed) {
    std::mt19937 random(seed);
    const auto between = [&random](int low, int high) {
      return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    for (int& c : cost) c = between(-3, 12);
    for (auto& coefficients : row) {
      for (int& a : coefficients) a = between(-2, 9);
    }
    for (int& side : most) side = between(-2, 25);
  }

  std::string text() const {
    std::ostringstream lp;
    lp << "Maximize\n obj:" << terms(cost) << "\nSubject To\n";
    for (size_t i = 0; i < kRows; ++i)
      lp << " r" << i << ":" << terms(row[i]) << " <= " << most[i] << '\n';
    lp << "Bounds\n";
    for (size_t j = 0; j < kVars; ++j) lp << " x" << j << " <= 3\n";
    lp << "General\n x0 x1 x2 x3 x4\nEnd\n";
    return lp.str();
  }

  // -1000 where there is no feasible point.
  int best() const {
    int best = -1000;
    std::array<int, kVars> x{};
    for (int code = 0; code < 1024; ++code) {
      for (size_t j = 0; j < kVars; ++j) x[j] = (code >> (2 * j)) & 3;
      bool feasible = true;
      for (size_t i = 0; i < kRows; ++i) feasible = feasible && dot(row[i], x) <= most[i];
      if (feasible) best = std::max(best, dot(cost, x));
    }
    return best;
  }

 private:
  static int dot(const std::array<int, kVars>& a, const std::array<int, kVars>& x) {
    int sum = 0;
    for (size_t j = 0; j < kVars; ++j) sum += a[j] * x[j];
    return sum;
  }
  static std::string terms(const std::array<int, kVars>& a) {
    std::string text;
    for (size_t j = 0; j < kVars; ++j) {
      text +=
          (a[j] < 0 ? " - " : " + ") + std::to_string(std::abs(a[j])) + " x" + std::to_string(j);
    }
    return text;
  }
};

TEST(SearchControls, RandomModelsHaveTheBestOfAllPoints) {
  const uint32_t count = vorlan::test::number_from("VORLAN_RANDOM_MODELS", 60);
  int num_feasible = 0;
  for (uint32_t seed = 1; seed <= count; ++seed) {
    SCOPED_TRACE(seed);
    const SmallModel model(seed);
    TestTask task;
    ASSERT_EQ(task.read_as("m.lp", model.text()), VLN_RES_OK) << task.last_message();
    put(task, "VLN_IPAR_CHILD_PROCESS", "off");
    if (seed % 3 != 0) put(task, "VLN_IPAR_MIP_CUTS", "off");
    if (seed % 2 == 0) put(task, "VLN_IPAR_PRESOLVE", "off");
    std::string priorities;
    for (uint32_t j = 0; j < SmallModel::kVars; ++j) {
      if ((seed + j) % 4 != 0) {
        priorities += "x" + std::to_string(j) + ' ' + std::to_string((seed * 7 + j * 3) % 5) + '\n';
      }
    }
    put(task, "VLN_SPAR_BRANCHING_PRIORITY_FILE", write_test_file("m.prio", priorities));
    task.solve();
    const int best = model.best();
    if (best == -1000) {
      EXPECT_EQ(task.problem_status(kInteger), prosta::kPrimalInfeasible) << model.text();
      continue;
    }
    ++num_feasible;
    ASSERT_EQ(task.solution_status(kInteger), solsta::kIntegerOptimal) << model.text();
    EXPECT_NEAR(task.objective(kInteger), best, 1e-6) << model.text();
  }
  if (count >= 60) {
    EXPECT_GT(num_feasible, 30);
  }
}

VLNrescode_enum solve_with(TestTask* task, const std::string& priorities) {
  EXPECT_EQ(task->read_as("plants.lp", plants(1, 0)), VLN_RES_OK);
  put(*task, "VLN_SPAR_BRANCHING_PRIORITY_FILE", write_test_file("p.prio", priorities));
  VLNrescode_enum termination = VLN_RES_OK;
  return VLN_optimizetrm(*task, &termination);
}

TEST(SearchControls, ABadPriorityKeepsTheSolveFromBeginning) {
  struct Case {
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"open0 1\nopne1 2\n", "p.prio:2:1: there is no variable of this name, found 'opne1'"},
      {"open0 high\n", "p.prio:1:7: a whole number was expected"},
      {"open0 1.5\n", "p.prio:1:7: a whole number was expected"},
      {"open0\n", "p.prio:1:6: a whole number was expected"},
      {"open0 99999999999\n", "p.prio:1:7: a whole number was expected"},
      {"open0 1 2\n", "p.prio:1:9: the end of the line was expected, found '2'"},
  };
  for (const Case& bad : cases) {
    TestTask task;
    EXPECT_NE(solve_with(&task, bad.text), VLN_RES_OK) << bad.text;
    EXPECT_NE(task.last_message().find(bad.message), std::string::npos) << task.last_message();
    EXPECT_EQ(task.log().find("Optimization ended"), std::string::npos) << task.log();
  }
  TestTask task;
  put(task, "VLN_SPAR_BRANCHING_PRIORITY_FILE", "/nowhere/p.prio");
  EXPECT_EQ(task.read_as("plants.lp", plants(1, 0)), VLN_RES_OK);
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_EQ(code_name(VLN_optimizetrm(task, &termination)), "VLN_RES_ERR_FILE_OPEN");
}

TEST(SearchControls, PrioritiesMayHaveCommentsAndEmptyLines) {
  TestTask task;
  EXPECT_EQ(solve_with(&task, "# the plants\n\n  \n#open0 none\nopen1 3\n"), VLN_RES_OK)
      << task.last_message();
}

TEST(SearchControls, PrioritiesOfALinearModelAreSaidToBeOfNoUse) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.lp", "Maximize\n x\nSubject To\n r: x + y <= 4\nEnd\n"), VLN_RES_OK);
  put(task, "VLN_SPAR_BRANCHING_PRIORITY_FILE", write_test_file("m.prio", "x 1\n"));
  put(task, "VLN_IPAR_MIP_CUTS", "off");
  task.solve();
  EXPECT_NE(task.log().find("The branching priorities are not used: the model has no integers\n"),
            std::string::npos)
      << task.log();
  EXPECT_NE(task.log().find("Set, but not used by the method (simplex): VLN_IPAR_MIP_CUTS"),
            std::string::npos)
      << task.log();
}

}  // namespace
