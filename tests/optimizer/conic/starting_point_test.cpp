// What linear models have of their own: the point from which the method starts, the correction of
// steps that leave products of pairs far apart, and steps that are as exact as need be.
#include "solve/conic/starting_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <vector>

#include "small_problem.h"
#include "solve/check/vectors.h"
#include "solve/conic/direction.h"

namespace vorlan::conic {
namespace {

// minimize 1 x0 + 20 x1 + 300 x2 subject to x0 + x1 + x2 = 4, x0 - x2 = 1, x >= 0.
ConicProblem three_costs() {
  ConicProblem problem;
  problem.cost = {1.0, 20.0, 300.0};
  problem.quadratic = {3, {0, 0, 0, 0}, {}, {}};
  problem.matrix = {2, {0, 2, 3, 5}, {0, 1, 0, 0, 1}, {1.0, 1.0, 1.0, 1.0, -1.0}};
  problem.rhs = {4.0, 1.0};
  problem.rhs_size = {4.0, 1.0};
  problem.bounds = {{0, 1.0, 0.0}, {1, 1.0, 0.0}, {2, 1.0, 0.0}};
  return problem;
}

TEST(StartingPoint, SolvesTheEquationsInsideTheBounds) {
  const ConicProblem problem = three_costs();
  const Scalings scalings(problem, nullptr);
  NewtonSystem system(problem, scalings, nullptr);
  Iterate at = scalings.start();
  improve_start(problem, scalings, &system, &at);
  std::vector<double> left = problem.rhs;
  add_product(problem.matrix, -1.0, at.x, left);
  EXPECT_LT(largest(left), 1e-12);
  EXPECT_GT(*std::min_element(at.s.begin(), at.s.end()), 0.0);
  EXPECT_GT(*std::min_element(at.z.begin(), at.z.end()), 0.0);
  EXPECT_GT(largest(at.y), 0.0);
  EXPECT_EQ(at.tau, 1.0);
  EXPECT_DOUBLE_EQ(at.kappa * 3.0, dot(at.s, at.z));
}

TEST(StartingPoint, StaysWhereAModelHasCones) {
  const ConicProblem problem = test::problem_of_all_kinds();
  Status failure;
  const DenseAlgebra* const algebra = DenseAlgebra::load(&failure);
  const Scalings scalings(problem, algebra);
  NewtonSystem system(problem, scalings, algebra);
  Iterate at = scalings.start();
  improve_start(problem, scalings, &system, &at);
  EXPECT_EQ(at.x, scalings.start().x);
  EXPECT_EQ(at.s, scalings.start().s);
}

// To first order the sum of products of each pair changes by what brings it within 0.1 and 10 of
// mu.
TEST(Direction, ACorrectedStepLeadsProductsBack) {
  const ConicProblem problem = three_costs();
  Scalings scalings(problem, nullptr);
  NewtonSystem system(problem, scalings, nullptr);
  Iterate at = scalings.start();
  at.s[0] = 1e3;
  ASSERT_TRUE(scalings.update(at));
  const Residuals residuals = find_residuals(problem, at);
  system.factor(scalings);
  const AllowedResiduals none_allowed;
  Direction direction(problem, at, residuals, none_allowed, &scalings, &system,
                      Direction::Tau::kFree);
  const double mu = 0.1 * scalings.mu(at);
  const double length = 0.5;
  const Step step = direction.find(0.9, mu, direction.find_affine());
  const Step corrected = direction.correct_centrality(step, length, mu);
  bool is_any_changed = false;
  for (size_t k = 0; k < at.s.size(); ++k) {
    const double product = (at.s[k] + length * step.s[k]) * (at.z[k] + length * step.z[k]);
    const double change = std::max(std::clamp(product, 0.1 * mu, 10.0 * mu) - product, -10.0 * mu);
    const double first_order =
        at.s[k] * (corrected.z[k] - step.z[k]) + at.z[k] * (corrected.s[k] - step.s[k]);
    EXPECT_NEAR(first_order, change, 1e-8 * mu) << k;
    is_any_changed = is_any_changed || change != 0.0;
  }
  EXPECT_TRUE(is_any_changed);
  EXPECT_EQ(corrected.reduction, step.reduction);
}

// What the solution leaves of the equations. The factor's shift of 1e-12 leaves about as much,
// which further rounds take back.
double residual_of_solution(const NewtonSystem::Excess& excess) {
  const ConicProblem problem = three_costs();
  const Scalings scalings(problem, nullptr);
  NewtonSystem system(problem, scalings, nullptr);
  system.factor(scalings);
  NewtonVector rhs(problem);
  rhs.x = problem.cost;
  rhs.y = problem.rhs;
  NewtonVector solution(problem);
  system.solve(rhs, &solution, excess);
  std::vector<double> left = problem.rhs;
  add_product(problem.matrix, -1.0, solution.x, left);
  return largest(left);
}

TEST(NewtonSystem, IsAsExactAsItsCallerAsks) {
  constexpr double kExact = 2e-13;
  EXPECT_LT(residual_of_solution({}), kExact);
  const auto allow = [](double size) {
    return [size](std::span<const double> /*of_f*/, std::span<const double> of_g) {
      EXPECT_EQ(of_g.size(), 2U);
      return largest(of_g) / size;
    };
  };
  const double left = residual_of_solution(allow(1e-6));
  EXPECT_GT(left, 1e-11);
  EXPECT_LT(left, 1e-8);
  EXPECT_LT(residual_of_solution(allow(1e-12)), 1e-12);
}

TEST(Direction, StepsOfLinearModelsLeaveWhatIsAllowed) {
  const ConicProblem problem = three_costs();
  Scalings scalings(problem, nullptr);
  NewtonSystem system(problem, scalings, nullptr);
  Iterate at = scalings.start();
  improve_start(problem, scalings, &system, &at);
  ASSERT_TRUE(scalings.update(at));
  system.factor(scalings);
  const Residuals residuals = find_residuals(problem, at);
  ASSERT_LT(largest(residuals.primal), 1e-12);
  // What a step, which should leave the equations as they are, makes of them.
  const auto left_by_step = [&](double size) {
    const Equilibration unscaled = identity_scaling(problem, 2);
    const AllowedResiduals allowed = {&unscaled, size, size};
    Direction direction(problem, at, residuals, allowed, &scalings, &system, Direction::Tau::kFree);
    Iterate next = at;
    next.take(problem, direction.find(1.0, 0.0, direction.find_affine()), 1.0);
    return largest(find_residuals(problem, next).primal);
  };
  EXPECT_LT(left_by_step(1e-15), 1e-12);
  const double left = left_by_step(1e-3);
  EXPECT_GT(left, 1e-11);
  EXPECT_LT(left, 1e-3);
}

}  // namespace
}  // namespace vorlan::conic
