// Mixed-integer models with quadratic terms and cones whose optimum is known, and the ends of such
// solves before their natural end.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <string>

#include "cone_points.h"
#include "conic_models.h"
#include "mixed_solve.h"
#include "random_mixed_model.h"
#include "solve/optimize.h"
#include "solve/run/listener.h"
#include "task/task.h"

namespace vorlan {
namespace {

using test::MixedSolve;

void expect_optimum(const MixedSolve& mixed, double objective) {
  ASSERT_TRUE(mixed.status().ok()) << mixed.status().message();
  EXPECT_EQ(mixed.termination(), Code::kOk);
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
  EXPECT_NEAR(mixed.solution().primal_objective, objective,
              1e-6 * std::max(1.0, std::fabs(objective)));
  EXPECT_LE(mixed.figure("relative gap"), 1e-6);
}

// Solves with a gap that is smaller than the digits that the tests compare.
void solve_to_the_end(MixedSolve* mixed) {
  mixed->put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-7");
  mixed->solve();
}

// (x - 1.4)^2 + (y - 2.6)^2 without its constant 8.72, by columns and with a constant.
TEST(MixedConic, NearestIntegers) {
  MixedSolve mixed;
  mixed.read(R"(
Minimize
 o: [ 2 x^2 + 2 y^2 ] / 2 - 2.8 x - 5.2 y + 8.72
Subject To
 c: x + y <= 10
Generals
 x y
End
)");
  solve_to_the_end(&mixed);
  expect_optimum(mixed, 0.32);
  EXPECT_EQ(mixed.value(0), 1.0);
  EXPECT_EQ(mixed.value(1), 3.0);
}

TEST(MixedConic, AHeldPointIsToldAsTheStart) {
  MixedSolve mixed;
  mixed.read(R"(
Minimize
 o: [ 2 x^2 + 2 y^2 ] / 2 - 2.8 x - 5.2 y
Subject To
 c: x + y <= 10
Generals
 x y
End
)");
  mixed.solve();
  EXPECT_EQ(mixed.log().find("%  start\n"), std::string::npos) << mixed.log();
  mixed.solve();
  EXPECT_NE(mixed.log().find("%  start\n"), std::string::npos) << mixed.log();
}

// The box of the largest volume with whole sides of sum 10: 3, 3 and 4.
TEST(MixedConic, BoxOfWholeSides) {
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: v
Subject To
 c: a + b + d <= 10
Bounds
 v free
Generals
 a b d
Cones
 k: power 1 1 1 a b d v
End
)");
  solve_to_the_end(&mixed);
  expect_optimum(mixed, std::cbrt(36.0));
}

// Seven units over two uses whose worth grows as a logarithm: 3 log(1 + n) + 2 log(1 + m).
// Shares for 75 million, where each thousandth that stays beside the zeros of the other shares
// misses their equations.
TEST(MixedConic, SharesOfALargeBudget) {
  MixedSolve mixed;
  mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-7");
  mixed.read(R"(
Maximize
 o: 0.08 x0 + 0.11 x1 + 0.23 x2
Subject To
 all: x0 + x1 + x2 <= 75000000
 s0: x0 - 75000000 z0 <= 0
 s1: x1 - 75000000 z1 <= 0
 s2: x2 - 75000000 z2 <= 0
 few: z0 + z1 + z2 <= 3
 d0: 0.08 x0 - v0 = 0
 d1: 0.05 x1 - v1 = 0
 d2: 0.06 x2 - v2 = 0
Bounds
 v0 free
 v1 free
 v2 free
 risk = 4500000
Binary
 z0 z1 z2
Cones
 k: quadratic risk v0 v1 v2
End
)");
  mixed.solve();
  ASSERT_TRUE(mixed.status().ok()) << mixed.status().message();
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
  EXPECT_NEAR(mixed.solution().primal_objective / 17250000.0, 1.0, 1e-7);
}

TEST(MixedConic, LogarithmicWorth) {
  double best = 0.0;
  for (int n = 0; n <= 7; ++n) best = std::max(best, 3.0 * std::log1p(n) + 2.0 * std::log1p(7 - n));
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: 3 u + 2 w
Subject To
 c: n + m <= 7
 a: p - n = 1
 b: q - m = 1
 d: one = 1
 e: two = 1
Bounds
 u free
 w free
Generals
 n m
Cones
 k: exponential p one u
 l: exponential q two w
End
)");
  solve_to_the_end(&mixed);
  expect_optimum(mixed, best);
  // Eight tangents along each logarithm are there before the first round.
  std::smatch found;
  const std::string log = mixed.log();
  ASSERT_TRUE(std::regex_search(log, found, std::regex("round 1, ([0-9]+) cuts"))) << log;
  EXPECT_GE(std::stoi(found[1]), 16) << log;
}

// No point with whole coordinates is within 0.6 of (0.5, 0.5); the continuous relaxation has many.
TEST(MixedConic, NothingWholeInTheCircle) {
  MixedSolve mixed;
  mixed.read(R"(
Minimize
 o: x
Subject To
 c: x - a = 0.5
 d: y - b = 0.5
 e: r = 0.6
Bounds
 a free
 b free
Generals
 x y
Cones
 k: quadratic r a b
End
)");
  solve_to_the_end(&mixed);
  EXPECT_EQ(mixed.solution().problem_status, ProblemStatus::kPrimalInfeasible) << mixed.log();
}

// The largest 10 n with 2 n^2 <= s, s <= 2 * 3.7^2.
TEST(MixedConic, SemiContinuousAndQuadraticRow) {
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: 10 n - s
Subject To
 c: - s + [ 2 n^2 ] <= 0
Bounds
 3 <= s <= 27.38
Generals
 n
Semi-Continuous
 s
End
)");
  solve_to_the_end(&mixed);
  // n = 2: s = 8; n = 3: s = 18; n = 1: s = 3 at least; n = 0: s = 0.
  expect_optimum(mixed, 12.0);
}

// A factor of a rotated cone that an integer variable switches off: x^2 <= 2 s z, cost 3 z + s - 4
// x.
TEST(MixedConic, SwitchedSquare) {
  MixedSolve mixed;
  mixed.read(R"(
Minimize
 o: 3 z + s - 4 x
Bounds
 x <= 10
Binary
 z
Cones
 k: rotated_quadratic s z x
End
)");
  solve_to_the_end(&mixed);
  // z = 1: s = x^2 / 2, 3 + 8 - 16 at x = 4.
  expect_optimum(mixed, -5.0);
}

// The least trace of a matrix with 1 at its corners' places and n more of the diagonal: integer n.
TEST(MixedConic, MatrixVariable) {
  MixedSolve mixed;
  mixed.read(R"(
Matrix Variables
 X(2)
Minimize
 o: X(1,1) + X(2,2) + 3 n
Subject To
 c: X(2,1) + n >= 2.5
Generals
 n
End
)");
  solve_to_the_end(&mixed);
  // The trace is twice the element beside the diagonal: 2 (2.5 - n) + 3 n is least at n = 0.
  expect_optimum(mixed, 5.0);
  ASSERT_EQ(mixed.solution().barx.size(), 3U);
  EXPECT_NEAR(mixed.solution().barx[1], 2.5, 1e-6);
}

// Half of the given vectors, so that the least eigenvalue of the sum of their v v' is largest. Most
// integers are tried on the way to a relaxation's optimum here, and the optimum then brings nothing
// new by itself.
Model design_model(int dimension, int num_vectors) {
  Model model = test::free_variables({1.0});
  model.maximize = true;
  model.matrix_vars = {{dimension}};
  const auto n = static_cast<size_t>(dimension);
  test::Random random(2);
  std::vector<std::vector<double>> vectors(static_cast<size_t>(num_vectors));
  for (auto& vector : vectors) {
    for (size_t k = 0; k < n; ++k) vector.push_back(random.between(-1.0, 1.0));
    model.cost.push_back(0.0);
    model.var_lower.push_back(0.0);
    model.var_upper.push_back(1.0);
    model.var_kind.push_back(VarKind::kInteger);
    model.matrix.start.push_back(model.matrix.start.back());
  }
  std::vector<double> row(model.cost.size(), 1.0);
  row[0] = 0.0;
  test::add_constraint(&model, -kInfinity, num_vectors / 2, row);
  for (int32_t i = 0; i < dimension; ++i) {
    for (int32_t j = 0; j <= i; ++j) {
      row[0] = i == j ? -1.0 : 0.0;
      for (size_t v = 0; v < vectors.size(); ++v) {
        row[v + 1] = vectors[v][static_cast<size_t>(i)] * vectors[v][static_cast<size_t>(j)];
      }
      const double factor = i == j ? -1.0 : -0.5;  // an element off the diagonal counts twice
      model.matrix_coefficients.push_back({model.num_con(), 0, {i, j, factor}});
      test::add_constraint(&model, 0.0, 0.0, row);
    }
  }
  return model;
}

TEST(MixedConic, DesignOfExperiments) {
  for (const int num_vectors : {10, 14, 18}) {
    SCOPED_TRACE(num_vectors);
    MixedSolve mixed(design_model(5, num_vectors));
    mixed.solve();
    EXPECT_EQ(mixed.termination(), Code::kOk);
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
  }
}

TEST(MixedConic, NotConvex) {
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: [ x^2 ] / 2
Bounds
 x <= 3
Generals
 x
End
)");
  mixed.solve();
  EXPECT_EQ(mixed.status().code(), Code::kErrNotConvex);
}

TEST(MixedConic, Unbounded) {
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: x + n
Subject To
 c: n - y = 0
Generals
 n
Bounds
 y free
Cones
 k: quadratic x y
End
)");
  solve_to_the_end(&mixed);
  EXPECT_EQ(mixed.solution().problem_status, ProblemStatus::kDualInfeasible) << mixed.log();
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kDualInfeasibleCertificate) << mixed.log();
  EXPECT_NE(mixed.log().find("Unbounded: the objective improves for ever along "),
            std::string::npos)
      << mixed.log();
}

// Unbounded if it were feasible: 2 n = 1.
TEST(MixedConic, InfeasibleThoughTheRelaxationIsUnbounded) {
  MixedSolve mixed;
  mixed.read(R"(
Maximize
 o: x
Subject To
 c: 2 n + 2 m = 1
Bounds
 n <= 5
 m <= 5
 y free
Generals
 n m
Cones
 k: quadratic x y
End
)");
  solve_to_the_end(&mixed);
  EXPECT_EQ(mixed.solution().problem_status, ProblemStatus::kPrimalInfeasible) << mixed.log();
}

// ---- Early ends -----------------------------------------------------------------------------

// The nearest point of a lattice in the given number of dimensions, which takes for ever.
Model hard_model(int dimension) {
  Model model;
  uint32_t state = 12345;
  const auto next = [&state] {
    state = state * 1664525U + 1013904223U;
    return static_cast<double>(state >> 8) / 16777216.0 - 0.5;
  };
  const auto n = static_cast<size_t>(dimension);
  std::vector<std::vector<double>> factor(n, std::vector<double>(n));
  for (auto& row : factor) {
    for (double& value : row) value = next();
  }
  model.matrix.start.assign(n + 1, 0);
  model.var_lower.assign(n, -20.0);
  model.var_upper.assign(n, 20.0);
  model.var_kind.assign(n, VarKind::kInteger);
  for (size_t col = 0; col < n; ++col) {
    model.cost.push_back(10.0 * next());
    for (size_t row = col; row < n; ++row) {
      double sum = 0.0;
      for (const auto& f : factor) sum += f[row] * f[col];
      model.quadratic_cost.push_back({static_cast<int32_t>(row), static_cast<int32_t>(col), sum});
    }
  }
  return model;
}

TEST(MixedConicStop, ByTheTimeLimit) {
  MixedSolve mixed(hard_model(40));
  mixed.put("VLN_DPAR_TIME_LIMIT", "1");
  const double start = monotonic_seconds();
  mixed.solve();
  EXPECT_LT(monotonic_seconds() - start, 3.0);  // promised within 0.5 s of the limit
  EXPECT_EQ(mixed.termination(), Code::kTrmTimeLimit);
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kPrimalFeasible) << mixed.log();
  EXPECT_TRUE(std::isfinite(mixed.figure("bound")));
}

// The best point comes with its matrix, killed or not.
TEST(MixedConicStop, ByTheTimeLimitWithAMatrix) {
  MixedSolve mixed(design_model(8, 60));
  mixed.put("VLN_DPAR_TIME_LIMIT", "2");
  mixed.solve();
  EXPECT_EQ(mixed.termination(), Code::kTrmTimeLimit) << mixed.log();
  ASSERT_EQ(mixed.solution().status, SolutionStatus::kPrimalFeasible) << mixed.log();
  EXPECT_EQ(mixed.solution().barx.size(), 36U);
  EXPECT_TRUE(std::isfinite(mixed.figure("bound")));
}

struct Watch {
  int calls = 0;
  double after = 0.5;
  bool gap_seen = false;
};

int watch(vlntaskt*, void* handle, VLNcallbackcode_enum, const double* doubles, const int*,
          const long*) {
  auto* state = static_cast<Watch*>(handle);
  ++state->calls;
  const bool known =
      std::isfinite(doubles[kFigureObjective]) && std::isfinite(doubles[kFigureBound]);
  if (known && doubles[kFigureObjective] >= doubles[kFigureBound]) state->gap_seen = true;
  return doubles[kFigureElapsedSeconds] >= state->after ? 1 : 0;
}

class MixedConicCallback : public testing::TestWithParam<const char*> {};

TEST_P(MixedConicCallback, Stops) {
  vlntaskt handle;
  handle.model = hard_model(40);
  ASSERT_TRUE(handle.parameters.put_by_name("VLN_IPAR_CHILD_PROCESS", GetParam()).ok());
  Watch state;
  handle.callback = {watch, &state};
  Code termination = Code::kOk;
  const double start = monotonic_seconds();
  ASSERT_TRUE(optimize(&handle, &termination).ok());
  EXPECT_LT(monotonic_seconds() - start, 3.0);
  EXPECT_EQ(termination, Code::kTrmUserCallback);
  EXPECT_TRUE(state.gap_seen);
  EXPECT_EQ(handle.solutions[index(VLN_SOLUTION_INTEGER)].status, SolutionStatus::kPrimalFeasible);
}

INSTANTIATE_TEST_SUITE_P(Processes, MixedConicCallback, testing::Values("off", "on"),
                         [](const auto& test) { return std::string("Child_") + test.param; });

TEST(MixedConicStop, ByTheNodeLimit) {
  MixedSolve mixed(hard_model(30));
  mixed.put("VLN_IPAR_MIP_NODE_LIMIT", "3");
  mixed.put("VLN_DPAR_TIME_LIMIT", "60");
  mixed.solve();
  EXPECT_EQ(mixed.termination(), Code::kTrmNodeLimit) << mixed.log();
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kPrimalFeasible);
}

TEST(MixedConicStop, ByTheSolutionLimit) {
  MixedSolve mixed(hard_model(30));
  mixed.put("VLN_IPAR_MIP_SOLUTION_LIMIT", "1");
  mixed.solve();
  EXPECT_EQ(mixed.termination(), Code::kTrmSolutionLimit);
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kPrimalFeasible);
}

TEST(MixedConicStop, ByACutoff) {
  MixedSolve mixed(hard_model(30));
  mixed.put("VLN_DPAR_UPPER_OBJECTIVE_CUTOFF", "-1e6");
  mixed.solve();
  EXPECT_EQ(mixed.termination(), Code::kTrmObjectiveCutoff) << "nothing is as good as that";
}

// The task's integer solution is the first incumbent.
TEST(MixedConicStop, StartsFromTheSolutionHeld) {
  MixedSolve mixed(hard_model(12));
  mixed.put("VLN_DPAR_TIME_LIMIT", "2");
  mixed.solve();
  ASSERT_TRUE(mixed.solution().defined);
  const double held = mixed.solution().primal_objective;
  mixed.put("VLN_IPAR_MIP_NODE_LIMIT", "0");
  mixed.solve();
  EXPECT_LE(mixed.solution().primal_objective, held + 1e-9);
}

// Where the fixed models end by the limit, the rounds do not begin again and again with the same
// integers.
TEST(MixedConicStop, ByTheIterationLimitOfAFixedModel) {
  for (const char* limit : {"9", "10", "11"}) {
    SCOPED_TRACE(limit);
    MixedSolve mixed;
    mixed.read(R"(
Maximize
 o: 3.9 u - 0.9 y - 0.3 a + 5.5 v - 0.5 z - 0.5 b
Subject To
 p: p - a = 1
 q: q - b = 1
 i: i = 1
 j: j = 1
 f: a - 10 y <= 0
 g: b - 10 z <= 0
 most: 1.4 a + 0.6 b <= 2
 one: y + z <= 1
Bounds
 u free
 v free
Binary
 y z
Cones
 d: exponential p i u
 e: exponential q j v
End
)");
    mixed.put("VLN_IPAR_INTERIOR_ITERATION_LIMIT", limit);
    mixed.put("VLN_DPAR_TIME_LIMIT", "5");
    solve_to_the_end(&mixed);
    EXPECT_NE(mixed.termination(), Code::kTrmTimeLimit) << mixed.log();
  }
}

// The conic method stalls on the continuous models of these.
TEST(MixedConic, InfeasibleWithoutAContinuousAnswer) {
  for (const auto& [family, seed] : {std::pair{test::MixedFamily::kRotatedCone, 6350U},
                                     std::pair{test::MixedFamily::kExponentialCone, 6339U}}) {
    MixedSolve mixed(test::make_mixed_model(family, seed));
    mixed.solve();
    EXPECT_EQ(mixed.termination(), Code::kOk) << mixed.log();
    EXPECT_EQ(mixed.solution().problem_status, ProblemStatus::kPrimalInfeasible) << mixed.log();
  }
}

// While the factor z or q of the cone is 0 so is u. Tangents do not say so, however steep they are,
// and a point with u = 0.008 violates the cone by less than 1e-6. Where z itself is the factor, rows
// say so (integer_faces.h). Behind an equation it is what the trials of the integers prove.
class FactorAtZero : public testing::TestWithParam<const char*> {};

TEST_P(FactorAtZero, LeavesNoMore) {
  const struct {
    const char* objective;
    const char* rows;
    double optimum;
  } cases[] = {
      {"u - 5 z + 1", "u <= 1", 1.0},
      {"u - 5 z + 1", "0.005 <= u <= 1", -3.0},                                // none with z = 0
      {"u - 5 z + 0.1 w", "u <= 1\n d: w <= 2.7", 0.2},                        // w inside
      {"u - 5 z + 0.1 w + 0.01 s", "u <= 1\n d: w + s <= 3.7", 0.3},           // s off
      {"u - 5 z + 0.1 w + 0.1 s - y", "u <= 1\n d: w + s + y <= 4.7", 0.47},   // s on
      {"u - 5 z + 0.1 w - 0.1 s + y", "u <= 1\n d: 2 w + s + y <= 7.9", 1.3},  // y at 1
  };
  for (const auto& c : cases) {
    MixedSolve mixed;
    mixed.read(std::string("Maximize\n o: ") + c.objective + "\nSubject To\n c: " + c.rows + R"(
 f: q - z = 0
Bounds
 p <= 100
 u free
 w <= 4
 1 <= s <= 3
 q free
Generals
 w
Binary
 z y
Semi-Continuous
 s
Cones
 k: rotated_quadratic p )" +
               GetParam() + " u\nEnd\n");
    solve_to_the_end(&mixed);
    SCOPED_TRACE(c.objective + mixed.log());
    expect_optimum(mixed, c.optimum);
  }
}

INSTANTIATE_TEST_SUITE_P(Factors, FactorAtZero, testing::Values("z", "q"));

// Random models of the same kind, against the trying of all integers.
TEST(MixedConic, RandomFactorsAtZero) {
  for (const auto& [family, seed] : {std::pair{test::MixedFamily::kEverything, 1000U},
                                     std::pair{test::MixedFamily::kRotatedCone, 3101U}}) {
    const Model model = test::make_mixed_model(family, seed);
    MixedSolve mixed(model);
    solve_to_the_end(&mixed);
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    EXPECT_NEAR(mixed.solution().primal_objective, test::enumerate(model).objective, 2e-5)
        << mixed.log();
  }
}

// One answer whatever the process, and whenever it is asked.
// A knapsack of several rows, whose cone leaves everything as it is.
Model knapsack(uint32_t seed) {
  constexpr size_t kItems = 30;
  constexpr int kRows = 4;
  test::Random random(seed);
  Model model = test::free_variables(std::vector<double>(kItems + 2, 0.0));
  model.maximize = true;
  for (size_t j = 0; j < kItems; ++j) {
    model.cost[j] = random.whole(20, 60);
    model.var_lower[j] = 0.0;
    model.var_upper[j] = 1.0;
    model.var_kind[j] = VarKind::kInteger;
  }
  for (int row = 0; row < kRows; ++row) {
    std::vector<double> terms(kItems + 2, 0.0);
    double sum = 0.0;
    for (size_t j = 0; j < kItems; ++j) sum += terms[j] = random.whole(10, 60);
    test::add_constraint(&model, -kInfinity, std::floor(sum / 3.0), terms);
  }
  model.var_lower[kItems] = model.var_upper[kItems] = 1.0;
  const auto head = static_cast<int32_t>(kItems);
  model.cones = {Cone{ConeKind::kQuadratic, {head, head + 1}, {}}};
  return model;
}

// Once branch and cut has a point that no cut takes away, the round is the last: it goes on to the gap
// that is asked for, where another round would begin the tree anew.
TEST(MixedConic, TheRoundWithTheOptimumIsTheLast) {
  for (uint32_t seed = 1; seed <= 5; ++seed) {
    MixedSolve mixed(knapsack(seed));
    mixed.solve();
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    EXPECT_EQ(mixed.log().find("round 2"), std::string::npos) << mixed.log();
  }
}

TEST(MixedConic, IsDeterministic) {
  const Model model = test::make_mixed_model(test::MixedFamily::kEverything, 7);
  MixedSolve here(model);
  MixedSolve in_child(model);
  here.put("VLN_IPAR_CHILD_PROCESS", "off");
  in_child.put("VLN_IPAR_CHILD_PROCESS", "on");
  for (MixedSolve* mixed : {&here, &in_child}) {
    mixed->put("VLN_IPAR_NUM_THREADS", "1");
    mixed->solve();
  }
  EXPECT_EQ(here.solution().xx, in_child.solution().xx);
}

}  // namespace
}  // namespace vorlan
