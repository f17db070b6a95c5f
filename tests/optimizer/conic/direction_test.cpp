// Steps: what they are to do to the equations, whatever rounding the linear algebra has.
#include "solve/conic/direction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "small_problem.h"

namespace vorlan::conic {
namespace {

constexpr double kRounding = 1e-10;

// A problem at the method's first iterate, ready for steps.
class FirstIterate {
 public:
  FirstIterate()
      : problem_(test::problem_of_all_kinds()),
        algebra_(DenseAlgebra::load(&failure_)),
        scalings_(problem_, algebra_),
        system_(problem_, scalings_, algebra_),
        at_(scalings_.start()),
        residuals_(find_residuals(problem_, at_)) {
    EXPECT_TRUE(scalings_.update(at_));
    system_.factor(scalings_);
  }

  const ConicProblem& problem() const { return problem_; }
  const Iterate& at() const { return at_; }
  const Residuals& residuals() const { return residuals_; }
  const Scalings& scalings() const { return scalings_; }
  Direction direction(Direction::Tau tau = Direction::Tau::kFree) {
    return {problem_, at_, residuals_, none_allowed_, &scalings_, &system_, tau};
  }

 private:
  Status failure_;
  ConicProblem problem_;
  const DenseAlgebra* algebra_;
  Scalings scalings_;
  NewtonSystem system_;
  Iterate at_;
  Residuals residuals_;
  AllowedResiduals none_allowed_;
};

void expect_multiple(const std::vector<double>& values, double factor,
                     const std::vector<double>& of) {
  ASSERT_EQ(values.size(), of.size());
  for (size_t i = 0; i < of.size(); ++i) EXPECT_NEAR(values[i], factor * of[i], kRounding) << i;
}

// The equations are linear without P, so that a step of the length t leaves exactly 1 - t * share.
TEST(Direction, AStepTakesItsShareOffAllResiduals) {
  FirstIterate first;
  Direction direction = first.direction();
  const Step affine = direction.find_affine();
  const Step step = direction.find(0.6, 0.4, affine);
  EXPECT_EQ(step.reduction, 0.6);
  constexpr double kLength = 0.5;
  Iterate next = first.at();
  next.take(first.problem(), step, kLength);
  const Residuals left = find_residuals(first.problem(), next);
  const double factor = 1.0 - kLength * 0.6;
  expect_multiple(left.dual, factor, first.residuals().dual);
  expect_multiple(left.primal, factor, first.residuals().primal);
  expect_multiple(left.bound, factor, first.residuals().bound);
  EXPECT_NEAR(left.gap, factor * first.residuals().gap, kRounding);
  EXPECT_NEAR(next.matrix_residual, factor, kRounding);
}

// Each pair's product becomes 0 to first order: v + dv + w + dw = 0 where both start at 1.
TEST(Direction, TheAffineStepGoesToTheBoundaryInAllPairs) {
  FirstIterate first;
  const Step affine = first.direction().find_affine();
  EXPECT_NEAR(affine.tau + affine.kappa, -1.0, kRounding);
  EXPECT_NEAR(affine.s[0] + affine.z[0], -1.0, kRounding);
  // A matrix variable's part, of which the half in X says so by being left out.
  EXPECT_TRUE(affine.matrices[0].scaled.x.values().empty());
  EXPECT_EQ(affine.matrices[0].scaled.z.rows(), 2U);
  // The cone starts at (1, 0, 0) with its dual there too.
  EXPECT_NEAR(affine.x[0] + affine.cone_dual[0], -1.0, kRounding);
  EXPECT_NEAR(affine.x[1] + affine.cone_dual[1], 0.0, kRounding);
  EXPECT_EQ(affine.cone_dual[3], 0.0);
}

// The second-order terms of the affine step are taken off, to the target mu.
TEST(Direction, AStepAimsAtTheCentralPath) {
  FirstIterate first;
  Direction direction = first.direction();
  const Step affine = direction.find_affine();
  constexpr double kMu = 0.3;
  const Step step = direction.find(0.7, kMu, affine);
  EXPECT_NEAR(step.tau + step.kappa, kMu - 1.0 - affine.tau * affine.kappa, kRounding);
  EXPECT_NEAR(step.s[0] + step.z[0], kMu - 1.0 - affine.s[0] * affine.z[0], kRounding);
}

TEST(Direction, AHeldTauStays) {
  FirstIterate first;
  Direction direction = first.direction(Direction::Tau::kHeld);
  const Step step = direction.find(1.0, 0.1, zero_step(first.problem()));
  EXPECT_EQ(step.tau, 0.0);
  EXPECT_EQ(step.kappa, 0.0);
  Iterate next = first.at();
  next.take(first.problem(), step, 1.0);
  const Residuals left = find_residuals(first.problem(), next);
  expect_multiple(left.primal, 0.0, first.residuals().primal);
  expect_multiple(left.dual, 0.0, first.residuals().dual);
  // From the cone's first point, at mu 1, to the path at 0.1.
  EXPECT_NEAR(direction.distance_of_cones(), 0.9, kRounding);
}

// What a step leaves of an equation that it should leave as it is, where the system is that of a point
// nearby.
double residual_of_step(double feasibility) {
  FirstIterate first;
  Status failure;
  const DenseAlgebra* const algebra = DenseAlgebra::load(&failure);
  Iterate nearby = first.at();
  nearby.matrices[0].z(0, 0) += 1e-6;
  Scalings scalings(first.problem(), algebra);
  EXPECT_TRUE(scalings.update(nearby));
  NewtonSystem system(first.problem(), scalings, algebra);
  system.factor(scalings);
  EXPECT_TRUE(scalings.update(first.at()));
  const Equilibration unscaled = identity_scaling(first.problem(), first.problem().rhs.size());
  const AllowedResiduals allowed = {&unscaled, feasibility, 0.0};
  Direction direction(first.problem(), first.at(), first.residuals(), allowed, &scalings, &system,
                      Direction::Tau::kFree);
  const Step step = direction.find(0.0, 0.5, direction.find_affine());
  Iterate next = first.at();
  next.take(first.problem(), step, 1.0);
  const std::vector<double> left = find_residuals(first.problem(), next).primal;
  double largest = 0.0;
  for (size_t i = 0; i < left.size(); ++i) {
    largest = std::max(largest, std::fabs(left[i] - first.residuals().primal[i]));
  }
  return largest;
}

TEST(Direction, StepsAreCorrectedUnlessTheirResidualIsAllowed) {
  EXPECT_LT(residual_of_step(0.0), 1e-11);
  EXPECT_LT(residual_of_step(1e-9), 1e-11);
  const double left = residual_of_step(1e-3);
  EXPECT_GT(left, 1e-8);
  EXPECT_LT(left, 1e-5);
}

TEST(Scalings, TheFirstIterateIsOnThePath) {
  FirstIterate first;
  EXPECT_EQ(first.scalings().degree(), 1.0 + 1.0 + 1.0 + 2.0);  // tau, bound, cone, matrix
  EXPECT_EQ(first.scalings().mu(first.at()), 1.0);
}

TEST(Scalings, AStepEndsAtTheFirstBoundary) {
  FirstIterate first;
  Step step = zero_step(first.problem());
  EXPECT_DOUBLE_EQ(first.scalings().step_length(first.at(), step), 1.0 / 0.9);
  step.tau = -1.25;
  EXPECT_DOUBLE_EQ(first.scalings().step_length(first.at(), step), 0.8);
  step.z = {-2.0};
  EXPECT_DOUBLE_EQ(first.scalings().step_length(first.at(), step), 0.5);
  step.x = {0.0, 3.0, 4.0, 0.0};  // the cone's tail is as long as its head at 1/5
  EXPECT_DOUBLE_EQ(first.scalings().step_length(first.at(), step), 0.2);
  step.matrices[0].scaled.x(1, 1) = -10.0;
  EXPECT_DOUBLE_EQ(first.scalings().step_length(first.at(), step), 0.1);
}

TEST(Scalings, RefuseAPointOnTheBoundary) {
  FirstIterate first;
  Status failure;
  Scalings scalings(first.problem(), DenseAlgebra::load(&failure));
  Iterate at = first.at();
  EXPECT_TRUE(scalings.update(at));
  at.s = {0.0};
  EXPECT_FALSE(scalings.update(at));
  at = first.at();
  at.x[1] = 1.0;
  EXPECT_FALSE(scalings.update(at));
  at = first.at();
  at.matrices[0].z(1, 1) = 0.0;
  EXPECT_FALSE(scalings.update(at));
}

// The system's answer put back into the system.
TEST(NewtonSystem, SolvesForBothParts) {
  FirstIterate first;
  Status failure;
  NewtonSystem system(first.problem(), first.scalings(), DenseAlgebra::load(&failure));
  system.factor(first.scalings());
  NewtonVector rhs(first.problem());
  rhs.x = {1.0, 2.0, 3.0, 4.0};
  rhs.y = {5.0, 6.0, 7.0};
  NewtonVector d(first.problem());
  system.solve(rhs, &d);
  // At the first iterate all scalings are 1 and W = I. A has the columns 0, e1, e2, e3; the rows
  // of the matrix variable have products <A_i, A_j> of 1/2 and 2.
  EXPECT_NEAR(d.x[0], 1.0, kRounding);
  EXPECT_NEAR(d.x[1] - d.y[0], 2.0, kRounding);
  EXPECT_NEAR(d.x[2] - d.y[1], 3.0, kRounding);
  EXPECT_NEAR(d.x[3] - d.y[2], 4.0, kRounding);
  EXPECT_NEAR(d.x[1], 5.0, kRounding);
  EXPECT_NEAR(d.x[2] + 0.5 * d.y[1], 6.0, kRounding);
  EXPECT_NEAR(d.x[3] + 2.0 * d.y[2], 7.0, kRounding);
}

}  // namespace
}  // namespace vorlan::conic
