// What linear models have of their own: the point from which the method starts, and the correction of
// steps that leave products of pairs far apart.
#include "solve/conic/starting_point.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// To first order the sum of products of each pair changes by what brings it within 0.1 and 10 of mu.
TEST(Direction, ACorrectedStepLeadsProductsBack) {
  const ConicProblem problem = three_costs();
  Scalings scalings(problem, nullptr);
  NewtonSystem system(problem, scalings, nullptr);
  Iterate at = scalings.start();
  at.s[0] = 1e3;
  ASSERT_TRUE(scalings.update(at));
  const Residuals residuals = find_residuals(problem, at);
  system.factor(scalings);
  Direction direction(problem, at, residuals, &scalings, &system, Direction::Tau::kFree);
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

}  // namespace
}  // namespace vorlan::conic
