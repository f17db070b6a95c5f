// One log a solve: where a model is solved again on the way to its answer, by other rules, in other
// units or for a proof, the log has one line of that and no second table.
#include <gtest/gtest.h>

#include <string>

#include "log_words.h"
#include "small_models.h"
#include "task_support.h"

namespace {

// The optimum is at 1e22, where the linear term is all that is left of the quadratic one.
constexpr const char* kFarQuadratic = R"(minimize
 obj: -1e+11 x0 + 1e-29 x1 + [ 1e-11 x0 ^ 2 + 1e+09 x1 ^ 2 ] / 2
subject to
 r0: -10 x0 - 10 x1 >= -1e-20
bounds
 x0 free
 x1 free
end
)";

constexpr const char* kTinySides = R"(minimize
 obj: x + y
subject to
 a: x + 2 y >= 3e-9
 b: 2 x + y >= 3e-9
end
)";

constexpr const char* kHugeSides = R"(minimize
 obj: x + y
subject to
 a: x + 1e-12 y >= 1
 b: 1e12 x + y >= 1e20
 c: y <= 1e25
end
)";

// With b and c as near to 0 as the tolerance of integers lets them be, x and y are bought for less.
constexpr const char* kLargeSwitches = R"(minimize
 obj: 100 b + 3 c + x + 0.5 y
subject to
 s1: x - 1e8 b <= 0
 s2: y - 1e9 c <= 0
 d: x + y >= 10
binary
 b c
end
)";

// HiGHS 1.10 presolves it to a point outside its bounds and gives up.
constexpr const char* kPresolveFails = R"(maximize
 obj: - 2 x1 + 4 x2 + 4 x3 + x4
subject to
 r1: -1e30 <= - 4 x2 + 2 x4 + 3 x5 <= 5
 r2: 4 x1 - 3 x2 - 4 x3 + 4 x4 = 2
 r3: -4 <= 2 x1 + x3 - 4 x4 <= -1
bounds
 x5 <= 2
binary
 x1 x2 x3 x4
general
 x5
end
)";

// The primal simplex method finds the ray with perturbed costs, and begins again without.
constexpr const char* kPerturbed = R"(maximize
 obj: 1.5 x1 - x3 + 2 x4 - 3 x2 + 10000
subject to
 r0: 2 x4 + x0 + 1.5 x3 - 2 x2 + 4 x1 <= 14
 r1: 0.001 x0 - 2 x1 - x3 >= 8
 r2: 10 x0 + 10 x4 + 1.5 x1 + 1000 x2 <= 15
bounds
 x3 free
 x4 free
end
)";

constexpr const char* kMixedConic = R"(Minimize ] extended problem 1
Minimize
 obj: t - 3 b
Subject To
 c: x + y + b >= 2.5
 d: x - y = 0.5
Bounds
 t >= 0
Binary
 b
Cones
 k: quadratic t x y
End
)";

std::string in_ptf(const std::string& text) { return "Minimize ] extended problem 1" + text; }

struct SecondSolveCase {
  const char* what;
  const char* file;
  std::string model;
  const char* line;  // how the line of the second solve begins
  size_t tables;     // of the method that solves it
};

const SecondSolveCase kCases[] = {
    {"units of exponentials", "m.ptf", in_ptf(kLargeExponentials),
     "Solved again in units of the exponentials' values: ", 1},
    {"another scaling", "m.ptf", in_ptf(kLargeExponentials),
     "Solved again with another scaling: ", 1},
    {"another scaling of a quadratic model", "m.lp", kFarQuadratic,
     "Solved again with another scaling: ", 1},
    {"own units", "m.lp", kTinySides, "Solved again in units of the model's own: ", 1},
    {"extreme numbers", "m.lp", kHugeSides,
     "Solved again with very large and very small numbers taken as they are: ", 1},
    {"large switches", "m.lp", kLargeSwitches, "Solved again with whole integers, ", 1},
    {"presolve that fails", "m.lp", kPresolveFails, "Solved again without presolve, ", 1},
    {"certificate", "m.mps", kContradictionOfOne, "Solved again for a certificate: ", 1},
    {"a method that begins anew", "m.lp", kPerturbed, nullptr, 1},
    {"outer approximation", "m.ptf", kMixedConic, nullptr, 0},
};

TEST(SecondSolve, IsALineOfTheLogAndNoSecondTable) {
  for (const SecondSolveCase& c : kCases) {
    SCOPED_TRACE(c.what);
    TestTask task;
    ASSERT_EQ(task.read_as(c.file, c.model), VLN_RES_OK) << task.last_message();
    task.solve();
    const std::string& log = task.log();
    for (const char* heading :
         {"Optimizer library ", "Interior-point method: ", " iteration   primal objective",
          "Presolving model\n", "  Iteration        Objective", "Solving MIP model",
          "      time      nodes ", "Optimization ended"}) {
      EXPECT_LE(occurrences(log, heading), 1u) << heading << log;
    }
    const size_t tables =
        occurrences(log, "Interior-point method: ") + occurrences(log, "Running HiGHS ");
    EXPECT_EQ(tables, c.tables) << log;
    if (c.line != nullptr) {
      EXPECT_NE(log.find(c.line), std::string::npos) << log;
    }
    EXPECT_EQ(occurrences(log, "Solving again"), 0u) << log;
  }
}

// A point is no incumbent while its objective needs integers that are not whole.
TEST(SecondSolve, TheTableOfASearchHasObjectivesOfWholeIntegersAlone) {
  TestTask task;
  ASSERT_EQ(task.read_as("m.lp", kLargeSwitches), VLN_RES_OK);
  ASSERT_EQ(VLN_putparam(task, "VLN_IPAR_REPRODUCIBLE", "on"), VLN_RES_OK);
  task.solve();
  EXPECT_DOUBLE_EQ(task.objective(kInteger), 8.0) << task.log();
  EXPECT_NE(task.log().find(", integers not whole\n"), std::string::npos) << task.log();
  const size_t better = task.log().find("\n*");
  ASSERT_NE(better, std::string::npos) << task.log();
  const std::string row = task.log().substr(better + 1, task.log().find('\n', better + 1) - better);
  EXPECT_NE(row.find(" 8 "), std::string::npos) << row;
  EXPECT_EQ(occurrences(task.log(), "\n*"), 1u) << task.log();
}

}  // namespace
