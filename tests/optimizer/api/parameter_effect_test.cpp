// Every parameter that reaches an optimizer does what its text says: each test shows a difference
// that the parameter makes.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "small_models.h"
#include "task_support.h"

namespace {

// The figure of a line of the log's end summary, such as "  iterations        7".
double summary_figure(const std::string& log, const std::string& name) {
  const size_t end = log.rfind("Optimization ended");
  const size_t line = end == std::string::npos ? end : log.find("\n  " + name + " ", end);
  if (line == std::string::npos) return -1.0;
  return std::stod(log.substr(line + 3 + name.size()));
}

// A linear model with coefficients from 1e-2 to 1e3, feasible and bounded.
std::string badly_scaled_model(int size) {
  std::mt19937 random(11);
  const auto coefficient = [&random] {
    return std::pow(10.0, static_cast<double>(random() % 5) - 2.0) *
           (1.0 + static_cast<double>(random() % 9));
  };
  std::string rows = R"(NAME S
ROWS
 N C
)";
  std::string columns = "COLUMNS\n";
  std::string sides = "RHS\n";
  for (int i = 0; i < size; ++i) {
    rows += " G R" + std::to_string(i) + "\n";
    sides += " B R" + std::to_string(i) + " " + std::to_string(coefficient()) + "\n";
  }
  for (int j = 0; j < size; ++j) {
    const std::string name = " X" + std::to_string(j);
    columns += name + " C " + std::to_string(coefficient()) + "\n";
    for (int i = j % 3; i < size; i += 3) {
      columns += name + " R" + std::to_string(i) + " " + std::to_string(coefficient()) + "\n";
    }
  }
  return rows + columns + sides + "ENDATA\n";
}

// maximize or minimize 5x + 4y + 100, 6x + 4y <= 24, x + 2y <= 6 or the mirror image, integer; the
// best value is 120 for max, 80 for the mirrored min.
std::string knapsack(bool maximize) {
  const std::string sign = maximize ? "" : "-";
  return "OBJSENSE\n " + std::string(maximize ? "MAX" : "MIN") +
         "\nNAME A\nROWS\n N C\n L R\n L S\nCOLUMNS\n M 'MARKER' 'INTORG'\n X C " + sign +
         "5 R 6\n X S 1\n Y C " + sign +
         "4 R 4\n Y S 2\n M 'MARKER' 'INTEND'\nRHS\n B R 24 S 6\n B C -100\n"
         "BOUNDS\n PL B X\n PL B Y\nENDATA\n";
}

TEST(ParameterEffect, ScalingChangesThePathOfTheSimplexMethod) {
  std::set<double> iterations;
  for (const char* scaling : {"off", "free", "equilibrate", "forced", "max_value"}) {
    TestTask task;
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_SCALING", scaling), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
    ASSERT_EQ(task.read(badly_scaled_model(40)), VLN_RES_OK);
    task.solve();
    EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal) << scaling;
    iterations.insert(summary_figure(task.log(), "iterations"));
  }
  EXPECT_GE(iterations.size(), 2u);
  EXPECT_GT(*iterations.begin(), 0.0);
}

TEST(ParameterEffect, WithoutCrossoverTheResultIsAnInteriorPoint) {
  for (const bool crossover : {true, false}) {
    TestTask task;
    ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", "interior_point"), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_CROSSOVER", crossover ? "on" : "off"), VLN_RES_OK);
    EXPECT_EQ(task.solve(), VLN_RES_OK);
    const int32_t kind = crossover ? kBasic : kInterior;
    EXPECT_EQ(task.defined(kBasic), crossover);
    EXPECT_EQ(task.defined(kInterior), !crossover);
    ASSERT_TRUE(task.defined(kind));
    EXPECT_EQ(task.solution_status(kind), solsta::kOptimal);
    EXPECT_NEAR(task.objective(kind), -11.0, 1e-5);
  }
}

// Arcs of capacity 1 between nodes that give, take or pass on; mostly infeasible.
std::string network(uint32_t seed) {
  constexpr int kNodes = 19;
  constexpr int kArcs = 66;
  std::mt19937 random(seed);
  const auto below = [&random](int end) {
    return static_cast<int>(random() % static_cast<uint32_t>(end));
  };
  std::string rows = R"(NAME N
ROWS
 N C
)";
  std::string sides = "RHS\n";
  for (int i = 0; i < kNodes; ++i) {
    rows += " E R" + std::to_string(i) + "\n";
    sides += " B R" + std::to_string(i) + " " + std::to_string(below(3) - 1) + "\n";
  }
  std::string columns = "COLUMNS\n";
  std::string bounds = "BOUNDS\n";
  for (int j = 0; j < kArcs; ++j) {
    const std::string name = " X" + std::to_string(j);
    const int from = below(kNodes);
    const int to = (from + 1 + below(kNodes - 1)) % kNodes;
    columns += name + " C " + std::to_string(2 + below(4)) + "\n";
    columns += name + " R" + std::to_string(from) + " 1\n";
    columns += name + " R" + std::to_string(to) + " -1\n";
    bounds += " UP B" + name + " 1\n";
  }
  return rows + columns + sides + bounds + "ENDATA\n";
}

// Interior-point methods fail on some infeasible models, and without a crossover they miss the
// tolerances on many feasible ones: the simplex method takes over from them.
TEST(ParameterEffect, TheInteriorPointMethodAnswersWhatItCannotSolve) {
  for (const bool crossover : {true, false}) {
    const int32_t kind = crossover ? kBasic : kInterior;
    int num_infeasible = 0;
    for (uint32_t seed = 0; seed < 60; ++seed) {
      TestTask task;
      ASSERT_EQ(task.read(network(seed)), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", "interior_point"), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_CROSSOVER", crossover ? "on" : "off"), VLN_RES_OK);
      EXPECT_EQ(task.solve(), VLN_RES_OK) << seed;
      ASSERT_TRUE(task.defined(kind)) << seed;
      const int32_t status = task.solution_status(kind);
      EXPECT_TRUE(status == solsta::kOptimal || status == solsta::kPrimalInfeasibleCertificate)
          << seed << '\n'
          << task.log();
      num_infeasible += status == solsta::kPrimalInfeasibleCertificate ? 1 : 0;
    }
    EXPECT_GT(num_infeasible, 0);
    EXPECT_LT(num_infeasible, 60);
  }
  TestTask task;
  ASSERT_EQ(task.read(badly_scaled_model(80)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_OPTIMIZER", "interior_point"), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_CROSSOVER", "off"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kInterior), solsta::kOptimal) << task.log();
}

TEST(ParameterEffect, RestartsChangeTheTree) {
  const auto iterations = [](const char* restart) {
    TestTask task;
    EXPECT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
    EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_RESTART", restart), VLN_RES_OK);
    EXPECT_EQ(VLN_putparam(task, "VLN_IPAR_MIP_NODE_LIMIT", "1500"), VLN_RES_OK);
    EXPECT_EQ(VLN_putparam(task, "VLN_DPAR_MIP_HEURISTIC_EFFORT", "0"), VLN_RES_OK);
    EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_NODE_LIMIT");
    return summary_figure(task.log(), "iterations");
  };
  const double with_restarts = iterations("on");
  EXPECT_EQ(with_restarts, iterations("on")) << "the same run twice";
  EXPECT_NE(with_restarts, iterations("off"));
}

// The times at which the log's progress lines begin, as "    1.60 s". Those that an event has brought
// end with its origin and not with a gap.
std::vector<double> progress_times(const std::string& log) {
  std::vector<double> times;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    const bool is_row = line.size() > 10 && line.substr(8, 2) == " s";
    if (is_row && (line.back() == '%' || line.back() == '-'))
      times.push_back(std::stod(line.substr(1)));
  }
  return times;
}

// When the progress callback ends a solve: with so many progress lines, or after so many seconds.
struct Patience {
  const std::string* log;
  size_t lines;
  double seconds;
};

int is_over(vlntaskt* /*task*/, void* handle, VLNcallbackcode_enum /*code*/, const double* doubles,
            const int* /*ints*/, const long* /*longs*/) {
  const auto* patience = static_cast<const Patience*>(handle);
  const bool enough = progress_times(*patience->log).size() >= patience->lines;
  return enough || doubles[VLN_DINF_ELAPSED_SECONDS] > patience->seconds ? 1 : 0;
}

std::vector<double> progress_times_of_solve(const char* interval, size_t lines, double seconds) {
  TestTask task;
  Patience patience = {&task.log(), lines, seconds};
  EXPECT_EQ(task.read(hard_integer_model()), VLN_RES_OK);
  EXPECT_EQ(VLN_putparam(task, "VLN_DPAR_LOG_INTERVAL", interval), VLN_RES_OK);
  EXPECT_EQ(VLN_putcallbackfunc(task, is_over, &patience), VLN_RES_OK);
  EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_USER_CALLBACK");
  return progress_times(task.log());
}

// A busy machine may delay a line but never brings it early. That lines come often when they may is
// tested in listener_test.cpp.
TEST(ParameterEffect, LogIntervalSpacesTheProgressLines) {
  const double interval = 1.6;  // the default is 1
  const std::vector<double> times = progress_times_of_solve("1.6", 2, 300.0);
  ASSERT_GE(times.size(), 2u);
  const double shown_digits = 0.11;
  EXPECT_GE(times[0], interval - shown_digits);
  EXPECT_GE(times[1] - times[0], interval - shown_digits);
  EXPECT_TRUE(progress_times_of_solve("inf", 1, 1.2).empty());
}

// No point is as good as the cutoff: nobody needs to know the best.
TEST(ParameterEffect, CutoffEndsAMixedIntegerSolveWithoutAGoodPoint) {
  for (const bool maximize : {true, false}) {
    const double best = maximize ? 120.0 : 80.0;
    const char* name =
        maximize ? "VLN_DPAR_LOWER_OBJECTIVE_CUTOFF" : "VLN_DPAR_UPPER_OBJECTIVE_CUTOFF";
    for (const double offset : {-15.0, 15.0}) {
      TestTask task;
      ASSERT_EQ(task.read(knapsack(maximize)), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, name, std::to_string(best + offset).c_str()), VLN_RES_OK);
      if (maximize == (offset > 0.0)) {
        EXPECT_EQ(code_name(task.solve()), "VLN_RES_TRM_OBJECTIVE_CUTOFF") << name;
        EXPECT_FALSE(task.defined(kInteger));
      } else {
        EXPECT_EQ(task.solve(), VLN_RES_OK) << name;
        EXPECT_NEAR(task.objective(kInteger), best, 1e-9) << name;
      }
    }
  }
}

// A model whose solve takes minutes, with objectives about 1000.
std::string hard_model_about_1000(bool maximize) {
  std::string mps = hard_integer_model();
  for (size_t at = mps.find(" COST 1 "); maximize && at != std::string::npos;
       at = mps.find(" COST 1 ", at)) {
    mps.replace(at, 8, " COST -1 ");
  }
  mps.replace(mps.find("\nRHS\n"), 5, R"(
RHS
 RHS COST -1000
)");
  return maximize ? "OBJSENSE\n MAX\n" + mps : mps;
}

// A point beyond the cutoff is found: the best is further still. A target says the same without a
// word on the sense, and the log says which of them it was.
TEST(ParameterEffect, CutoffEndsAMixedIntegerSolveWithAGoodPoint) {
  for (const bool maximize : {true, false}) {
    const char* cutoff =
        maximize ? "VLN_DPAR_UPPER_OBJECTIVE_CUTOFF" : "VLN_DPAR_LOWER_OBJECTIVE_CUTOFF";
    for (const std::string name : {cutoff, "VLN_DPAR_MIP_TARGET_OBJECTIVE"}) {
      const bool is_target = name != cutoff;
      TestTask task;
      ASSERT_EQ(task.read(hard_model_about_1000(maximize)), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, name.c_str(), maximize ? "900" : "1100"), VLN_RES_OK);
      ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "20"), VLN_RES_OK);
      EXPECT_EQ(code_name(task.solve()),
                is_target ? "VLN_RES_TRM_OBJECTIVE_TARGET" : "VLN_RES_TRM_OBJECTIVE_CUTOFF");
      EXPECT_NE(task.log().find(is_target ? "ended: A point was found that is as good as the target"
                                          : "ended: The optimal objective is beyond a cutoff"),
                std::string::npos)
          << task.log();
      const double distance = std::fabs(task.objective(kInteger) - 1000.0);
      EXPECT_LE(distance, 100.0);
      EXPECT_EQ(task.solution_status(kInteger), solsta::kPrimalFeasible);
    }
  }
}

// No point is as good, and a continuous model has no target.
TEST(ParameterEffect, ATargetThatIsNotReachedChangesNothing) {
  for (const bool maximize : {true, false}) {
    TestTask task;
    ASSERT_EQ(task.read(knapsack(maximize)), VLN_RES_OK);
    const char* target = maximize ? "121" : "79";
    ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MIP_TARGET_OBJECTIVE", target), VLN_RES_OK);
    EXPECT_EQ(task.solve(), VLN_RES_OK);
    EXPECT_NEAR(task.objective(kInteger), maximize ? 120.0 : 80.0, 1e-9);
  }
  TestTask task;
  ASSERT_EQ(task.read(two_products(-1)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MIP_TARGET_OBJECTIVE", "1e9"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
}

TEST(ParameterEffect, CutoffEndsADualSimplexSolve) {
  TestTask whole;
  ASSERT_EQ(whole.read(badly_scaled_model(40)), VLN_RES_OK);
  whole.solve();
  const double best = whole.objective(kBasic);
  ASSERT_GT(best, 0.0);
  for (const double share : {0.1, 10.0}) {
    TestTask task;
    ASSERT_EQ(task.read(badly_scaled_model(40)), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_PRESOLVE", "off"), VLN_RES_OK);
    char value[40];
    std::snprintf(value, sizeof value, "%.17g", share * best);
    ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_UPPER_OBJECTIVE_CUTOFF", value), VLN_RES_OK);
    EXPECT_EQ(code_name(task.solve()), share < 1.0 ? "VLN_RES_TRM_OBJECTIVE_CUTOFF" : "VLN_RES_OK");
  }
}

TEST(ParameterEffect, MemoryLimitIsACodeAndTheTaskLivesOn) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer ends the process when the system refuses memory";
#endif
  TestTask task;
  ASSERT_EQ(task.read(badly_scaled_model(300)), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "1"), VLN_RES_OK);
  VLNrescode_enum termination = VLN_RES_OK;
  EXPECT_EQ(code_name(VLN_optimizetrm(task, &termination)), "VLN_RES_ERR_MEMORY");
  EXPECT_EQ(code_name(termination), "VLN_RES_TRM_FAILED");
  EXPECT_NE(task.last_message().find("1 MiB"), std::string::npos) << task.last_message();
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "500"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
  EXPECT_EQ(task.solution_status(kBasic), solsta::kOptimal);
}

// OpenBLAS asks for its working memory again and again for ever where it does not get it.
TEST(ParameterEffect, MemoryLimitEndsASolveThatNeedsDenseAlgebra) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer ends the process when the system refuses memory";
#endif
  TestTask task;
  ASSERT_EQ(task.read_as("m.dat-s", dense_matrix_model(30)), VLN_RES_OK) << task.last_message();
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_TIME_LIMIT", "20"), VLN_RES_OK);
  for (const char* limit : {"8", "20", "40", "64", "100"}) {
    ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", limit), VLN_RES_OK);
    VLNrescode_enum termination = VLN_RES_OK;
    EXPECT_EQ(code_name(VLN_optimizetrm(task, &termination)), "VLN_RES_ERR_MEMORY")
        << limit << " MiB: " << code_name(termination) << ' ' << task.last_message();
  }
  ASSERT_EQ(VLN_putparam(task, "VLN_DPAR_MEMORY_LIMIT", "1000"), VLN_RES_OK);
  EXPECT_EQ(task.solve(), VLN_RES_OK);
}

// Page faults of children that have ended: each child has some.
int64_t faults_of_children() {
  rusage usage{};
  EXPECT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
  return usage.ru_minflt;
}

struct ChildCase {
  const char* name;
  const char* value;
  bool tiny;
  bool in_child;
};

TEST(ParameterEffect, ATinyLinearModelNeedsNoChildUnlessAskedFor) {
  constexpr ChildCase kCases[] = {
      {"VLN_IPAR_CHILD_PROCESS", "automatic", true, false},
      {"VLN_IPAR_CHILD_PROCESS", "automatic", false, true},
      {"VLN_IPAR_CHILD_PROCESS", "on", true, true},
      {"VLN_IPAR_CHILD_PROCESS", "off", false, false},
      {"VLN_DPAR_MEMORY_LIMIT", "500", true, true},
      {"VLN_IPAR_OPTIMIZER", "interior_point", true, true},
  };
  for (const ChildCase& c : kCases) {
    TestTask task;
    ASSERT_EQ(task.read(c.tiny ? two_products(-1) : badly_scaled_model(80)), VLN_RES_OK);
    ASSERT_EQ(VLN_putparam(task, c.name, c.value), VLN_RES_OK);
    const int64_t before = faults_of_children();
    EXPECT_EQ(task.solve(), VLN_RES_OK);
    EXPECT_EQ(faults_of_children() > before, c.in_child) << c.name << ' ' << c.value;
  }
}

}  // namespace
