// Extended precision: its numbers, its method, and models whose answers doubles miss.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "conic_solve.h"
#include "proved_answer.h"
#include "random_conic_model.h"
#include "small_problem.h"
#include "solve/conic/double_double.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/extended_algebra.h"
#include "solve/conic/extended_method.h"
#include "solve/conic/interior_point.h"

namespace vorlan::conic {
namespace {

using test::faults_of_proof;
using test::Proved;
using test::solve_conic;
using test::Solved;

// The compiler's numbers of 113 bits are the referee.
__extension__ using Referee = __float128;

Referee exact(DoubleDouble value) {
  return static_cast<Referee>(static_cast<double>(value)) + static_cast<Referee>(value.low());
}

// The error relative to the size.
double error(DoubleDouble value, Referee right, Referee size) {
  return std::fabs(static_cast<double>((exact(value) - right) / size));
}

// Numbers whose digits go beyond those of a double.
DoubleDouble random_number(std::mt19937* engine) {
  const auto part = [&] { return static_cast<double>((*engine)() % 2000001) / 1e6 - 1.0; };
  const double size = std::ldexp(1.0, static_cast<int>((*engine)() % 80) - 40);
  return DoubleDouble(size * (part() + 2.0)) * DoubleDouble(part() + 3.0);
}

TEST(DoubleDouble, OperationsAreExactTo106Bits) {
  constexpr double kRounding = 0x1p-102;
  std::mt19937 engine(1);
  for (int k = 0; k < 10000; ++k) {
    const DoubleDouble a = random_number(&engine);
    const DoubleDouble b = k % 2 == 0 ? random_number(&engine) : -random_number(&engine);
    const Referee x = exact(a);
    const Referee y = exact(b);
    const Referee larger =
        std::fabs(static_cast<double>(a)) > std::fabs(static_cast<double>(b)) ? x : y;
    EXPECT_LE(error(a + b, x + y, larger), kRounding);
    EXPECT_LE(error(a - b, x - y, larger), kRounding);
    EXPECT_LE(error(a * b, x * y, x * y), kRounding);
    EXPECT_LE(error(a / b, x / y, x / y), kRounding);
    EXPECT_LE(error(sqrt(a) * sqrt(a), x, x), kRounding);
    EXPECT_EQ(a < b, x < y);
    EXPECT_EQ(abs(b) == b, y >= 0);
  }
}

TEST(DoubleDouble, KeepsWhatADoubleLeavesOut) {
  const DoubleDouble sum = DoubleDouble(1.0) + DoubleDouble(0x1p-80);
  EXPECT_EQ(static_cast<double>(sum), 1.0);
  EXPECT_EQ(sum.low(), 0x1p-80);
  EXPECT_TRUE(sum > DoubleDouble(1.0));
  EXPECT_EQ(sum - DoubleDouble(1.0), DoubleDouble(0x1p-80));
}

// Where the processor has no fast way, both are the same one.
TEST(ExtendedAlgebra, FastSumsAreThoseOfSingleElementsToTheLastBit) {
  std::mt19937 engine(2);
  for (Eigen::Index count = 0; count < 40; ++count) {
    ExtendedVector from(count + 1), fast(count + 1);
    for (Eigen::Index i = 0; i <= count; ++i) {
      from[i] = random_number(&engine);
      fast[i] = i % 3 == 0 ? -random_number(&engine) : random_number(&engine);
    }
    ExtendedVector slow = fast;
    const DoubleDouble beyond = fast[count];
    const DoubleDouble factor = count % 2 == 0 ? random_number(&engine) : -random_number(&engine);
    add_multiple(factor, from.data(), count, fast.data());
    add_multiple_by_elements(factor, from.data(), count, slow.data());
    EXPECT_EQ(fast, slow) << count;
    EXPECT_EQ(fast[count], beyond);
  }
}

ExtendedMatrix random_matrix(Eigen::Index rows, Eigen::Index cols, std::mt19937* engine) {
  ExtendedMatrix matrix(rows, cols);
  for (DoubleDouble& value : matrix.reshaped()) {
    value = DoubleDouble(static_cast<double>((*engine)() % 2001) / 1e3 - 1.0) / DoubleDouble(3.0);
  }
  return matrix;
}

double largest(const ExtendedMatrix& matrix) {
  return static_cast<double>(matrix.cwiseAbs().maxCoeff());
}

TEST(ExtendedAlgebra, ProductsAndFactorsAreExactTo100Bits) {
  constexpr double kRounding = 0x1p-95;  // times a condition of some hundreds
  std::mt19937 engine(3);
  for (const Eigen::Index size : {1, 2, 7, 24}) {
    const ExtendedMatrix a = random_matrix(size, size + 2, &engine);
    const ExtendedMatrix square = multiply(a, a.transpose());
    EXPECT_LE(largest(square - a.lazyProduct(a.transpose())), kRounding);

    ExtendedMatrix definite = square;
    definite.diagonal().array() += DoubleDouble(0.25);
    ExtendedCholesky cholesky;
    ASSERT_TRUE(cholesky.compute(definite));
    const ExtendedMatrix half = cholesky.divide(ExtendedMatrix::Identity(size, size));
    const ExtendedMatrix inverse = multiply(half.transpose(), half);
    const ExtendedMatrix identity = ExtendedMatrix::Identity(size, size);
    EXPECT_LE(largest(multiply(inverse, definite) - identity), kRounding);
    definite(size - 1, size - 1) -= DoubleDouble(1.0) / inverse(size - 1, size - 1) + 0x1p-60;
    EXPECT_FALSE(cholesky.compute(definite));

    ExtendedMatrix general = random_matrix(size, size, &engine);
    general(0, 0) = 0.0;  // a pivot from another row
    if (size == 1) general(0, 0) = 3.0;
    const ExtendedVector x = random_matrix(size, 1, &engine);
    ExtendedLu lu;
    lu.compute(general);
    EXPECT_LE(largest(lu.solve(multiply(general, x)) - x), kRounding);
  }
}

// Asks for a stop at the given question.
class Stopper : public BackendMonitor {
 public:
  explicit Stopper(int stop_at) : left_(stop_at) {}
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return --left_ == 0; }
  void incumbent(std::span<const double>, std::span<const double>) override {}

 private:
  int left_;
};

InteriorPoint solved(ConicProblem problem, const Tolerances& tolerances, int stop_at = -1) {
  const Equilibration scaling = equilibrate(ScalingRule::kByNorms, &problem);
  Stopper stopper(stop_at);
  InteriorPoint point;
  EXPECT_TRUE(ExtendedMethod::can_solve(problem));
  ExtendedMethod(problem, scaling, tolerances, &stopper).run(&point);
  return point;
}

// minimize x^2 / 2 + <C, X> subject to x + X(0,0) = 3, X(1,0) = 1, x >= 1/4, -x >= -5 with C = I.
// With X(1,1) = 1 / X(0,0) = 1 / (3 - x) the optimum has x + 1 / (3 - x)^2 = 1.
ConicProblem problem_with_curvature() {
  ConicProblem problem;
  problem.cost = {0.0};
  problem.quadratic = {1, {0, 1}, {0}, {1.0}};
  problem.matrix = {2, {0, 1}, {0}, {1.0}};
  problem.rhs = {3.0, 1.0};
  problem.rhs_size = problem.rhs;
  problem.bounds = {{0, 1.0, 0.25}, {0, -1.0, -5.0}};
  problem.matrices = {{2, {{0, 0, 1.0}, {1, 1, 1.0}}, {{0, {{0, 0, 1.0}}}, {1, {{1, 0, 0.5}}}}}};
  return problem;
}

TEST(ExtendedMethod, SolvesAProblemOfAllParts) {
  const InteriorPoint point = solved(problem_with_curvature(), {});
  EXPECT_EQ(point.outcome, Outcome::kOptimal);
  EXPECT_LE(point.measures.worst({}), 1.0);
  double x = 0.8;
  for (int k = 0; k < 100; ++k) x = 1.0 - 1.0 / ((3.0 - x) * (3.0 - x));
  EXPECT_NEAR(point.measures.primal_objective, 0.5 * x * x + (3.0 - x) + 1.0 / (3.0 - x), 1e-8);
}

TEST(ExtendedMethod, SolvesProblemsWithQuadraticCones) {
  for (const ConeKind kind : {ConeKind::kQuadratic, ConeKind::kRotatedQuadratic}) {
    ConicProblem problem = test::problem_of_all_kinds();
    problem.cones[0].kind = kind;
    const InteriorPoint point = solved(problem, {});
    EXPECT_EQ(point.outcome, Outcome::kOptimal);
    EXPECT_LE(point.measures.worst({}), 1.0);
    const Equilibration scaling = equilibrate(ScalingRule::kByNorms, &problem);
    Stopper never(-1);
    const auto no_ray = [](const InteriorPoint&) { return false; };
    InteriorPoint by_doubles;
    InteriorPointMethod method(problem, scaling, {}, no_ray, &never);
    ASSERT_TRUE(method.run(&by_doubles).ok());
    EXPECT_NEAR(point.measures.primal_objective, by_doubles.measures.primal_objective, 1e-7);
  }
}

// The last iterate of doubles before rounding shows, and where more digits lead from there.
TEST(ExtendedMethod, GoesOnFromAnIterateOfDoubles) {
  for (const ConicProblem& model : {problem_with_curvature(), test::problem_of_all_kinds()}) {
    ConicProblem problem = model;
    for (ConeBlock& cone : problem.cones) cone.kind = ConeKind::kRotatedQuadratic;
    const InteriorPoint from_start = solved(problem, {});
    const Equilibration scaling = equilibrate(ScalingRule::kByNorms, &problem);
    Stopper never(-1);
    const auto no_ray = [](const InteriorPoint&) { return false; };
    InteriorPointMethod doubles(problem, scaling, {}, no_ray, &never);
    EXPECT_EQ(doubles.sound_iterate(), nullptr);
    doubles.prepare_successor();
    InteriorPoint point;
    ASSERT_TRUE(doubles.run(&point).ok());
    ASSERT_NE(doubles.sound_iterate(), nullptr);
    ExtendedMethod further(problem, scaling, {}, &never);
    ASSERT_TRUE(further.begin_at(*doubles.sound_iterate()));
    further.run(&point);
    EXPECT_EQ(point.outcome, Outcome::kOptimal);
    EXPECT_LT(2 * point.iterations, from_start.iterations);
    EXPECT_NEAR(point.measures.primal_objective, from_start.measures.primal_objective, 1e-9);
  }
}

TEST(ExtendedMethod, BeginsAtTheFirstIterateWhereAnotherOneIsOutside) {
  ConicProblem problem = problem_with_curvature();
  const InteriorPoint from_start = solved(problem, {});
  const Equilibration scaling = equilibrate(ScalingRule::kByNorms, &problem);
  Stopper never(-1);
  Iterate outside;
  outside.x = {1.0};
  outside.y = {0.0, 0.0};
  outside.s = outside.z = {1.0, 1.0};
  outside.cone_dual = {0.0};
  outside.tau = outside.kappa = 1.0;
  outside.matrices.push_back({DenseMatrix(2, 2), DenseMatrix(2, 2)});
  ExtendedMethod method(problem, scaling, {}, &never);
  EXPECT_FALSE(method.begin_at(outside));
  InteriorPoint point;
  method.run(&point);
  EXPECT_EQ(point.iterations, from_start.iterations);
  EXPECT_EQ(point.measures.primal_objective, from_start.measures.primal_objective);
}

TEST(ExtendedMethod, LeavesOtherConesAlone) {
  ConicProblem problem = test::problem_of_all_kinds();
  problem.cones[0].kind = ConeKind::kExponential;
  EXPECT_FALSE(ExtendedMethod::can_solve(problem));
}

TEST(ExtendedMethod, StopsWhenAskedAndAtItsLimit) {
  const InteriorPoint stopped = solved(problem_with_curvature(), {}, 3);
  EXPECT_EQ(stopped.outcome, Outcome::kStopped);
  EXPECT_EQ(stopped.termination, Code::kOk);
  EXPECT_EQ(stopped.iterations, 2);
  const InteriorPoint limited = solved(problem_with_curvature(), {1e-8, 1e-8, 3});
  EXPECT_EQ(limited.outcome, Outcome::kStopped);
  EXPECT_EQ(limited.termination, Code::kTrmIterationLimit);
  EXPECT_EQ(limited.iterations, 3);
}

TEST(ExtendedMethod, LeavesLargeProblemsAlone) {
  ConicProblem problem = problem_with_curvature();
  problem.matrices[0].dimension = 200;
  EXPECT_FALSE(ExtendedMethod::can_solve(problem));
}

using Integers = std::vector<std::vector<int>>;

// M becomes T'MT with the product T of additions of a row to another one.
void transform(const std::vector<std::pair<size_t, size_t>>& additions, Integers* matrix) {
  const size_t n = matrix->size();
  for (const auto& [from, to] : additions) {
    for (size_t k = 0; k < n; ++k) (*matrix)[k][from] += (*matrix)[k][to];
    for (size_t k = 0; k < n; ++k) (*matrix)[from][k] += (*matrix)[to][k];
  }
}

struct KnownModel {
  Model model;
  double optimum = 0.0;
};

// Maximizes over matrices whose first two rows are 0, because their diagonal elements have the sum
// 0, and whose other diagonal elements are given. That bounds the objective's terms in the first
// two rows, which have no multipliers. A transformation by integers hides it, and rounds nothing.
KnownModel model_without_multipliers(uint32_t seed) {
  constexpr size_t kOrder = 5;
  constexpr size_t kZero = 2;
  std::mt19937 engine(seed);
  const auto pick = [&](uint32_t count) { return static_cast<int>(engine() % count); };
  std::vector<std::pair<size_t, size_t>> additions;
  while (additions.size() < 2 * kOrder) {
    const size_t from = engine() % kOrder;
    const size_t to = engine() % kOrder;
    if (from != to) additions.emplace_back(from, to);
  }
  KnownModel known;
  Model& model = known.model;
  model.maximize = true;
  model.matrix_vars = {{kOrder}};
  const auto for_elements = [&](Integers matrix, const auto& take) {
    transform(additions, &matrix);
    for (int32_t col = 0; col < static_cast<int32_t>(kOrder); ++col) {
      for (int32_t row = col; row < static_cast<int32_t>(kOrder); ++row) {
        const int value = matrix[index(row)][index(col)];
        if (value != 0) take(TriangleEntry{row, col, static_cast<double>(value)});
      }
    }
  };
  const auto add_equation = [&](const Integers& matrix, double side) {
    const int32_t con = static_cast<int32_t>(model.con_lower.size());
    for_elements(matrix, [&](const TriangleEntry& entry) {
      model.matrix_coefficients.push_back({con, 0, entry});
    });
    model.con_lower.push_back(side);
    model.con_upper.push_back(side);
  };
  const Integers zero(kOrder, std::vector<int>(kOrder, 0));
  Integers cost = zero;
  Integers sum = zero;
  for (size_t i = 0; i < kZero; ++i) sum[i][i] = 1;
  add_equation(sum, 0.0);
  for (size_t i = kZero; i < kOrder; ++i) {
    const int side = 1 + pick(4);
    Integers element = zero;
    element[i][i] = 1;
    add_equation(element, side);
    cost[i][i] = pick(7) - 3;
    known.optimum += cost[i][i] * side;
    for (size_t j = 0; j < kZero; ++j) cost[i][j] = cost[j][i] = 1 + pick(3);
    for (size_t j = i + 1; j < kOrder; ++j) {
      Integers beside = zero;
      beside[i][j] = beside[j][i] = 1;
      add_equation(beside, 0.0);
    }
  }
  for_elements(cost, [&](const TriangleEntry& entry) { model.matrix_cost.push_back({0, entry}); });
  return known;
}

// Doubles leave errors of 1e-3 and more of these objectives.
TEST(ExtendedMethod, FindsOptimaThatDoublesMiss) {
  int extended = 0;
  Proved proved;
  for (uint32_t seed = 0; seed < 20; ++seed) {
    const KnownModel known = model_without_multipliers(seed);
    Solved solved;
    solved.task.model = known.model;
    solve_conic(&solved);
    const Solution& s = solved.solution();
    const double most = 1e-5 * std::max(1.0, std::fabs(known.optimum));
    EXPECT_EQ(s.status, SolutionStatus::kOptimal) << seed << "\n" << solved.log;
    EXPECT_NEAR(s.primal_objective, known.optimum, most) << seed;
    EXPECT_NEAR(s.dual_objective, known.optimum, most) << seed;
    EXPECT_EQ(faults_of_proof(known.model, s, {}, &proved), "") << seed;
    if (solved.log.find("extended precision") != std::string::npos) ++extended;
  }
  EXPECT_GE(extended, 15);
  EXPECT_EQ(proved.optimal, 20);
}

// Quadratic rows of hardly any curvature: doubles meet the tolerances in scaled terms, but not in
// those of the model.
TEST(ExtendedMethod, MeetsTolerancesInTheTermsOfTheModel) {
  for (const uint32_t seed : {770335U, 771244U}) {
    const test::KnownConicModel known = make_conic_model(test::ConicFamily::kNoInterior, seed);
    Solved solved;
    solved.task.model = known.model;
    solve_conic(&solved);
    EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
    EXPECT_EQ(solved.log.find("misses its tolerance"), std::string::npos) << solved.log;
    EXPECT_NEAR(solved.solution().primal_objective, known.objective, 1e-7 * known.size);
  }
}

}  // namespace
}  // namespace vorlan::conic
