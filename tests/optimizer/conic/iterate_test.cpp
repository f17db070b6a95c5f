// Iterates, what they leave of the equations, and how far they are from a solution or a ray: values
// by hand.
#include "solve/conic/iterate.h"

#include <gtest/gtest.h>

#include <memory>

#include "small_problem.h"
#include "solve/conic/best_point.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/measures.h"
#include "solve/conic/ray_claims.h"
#include "solve/conic/residuals.h"
#include "solve/conic/stall_watch.h"

namespace vorlan::conic {
namespace {

using test::one_variable;

// minimize 3 x, 2 x = 8, x >= 1. The optimum is x = 4 with y = 1.5 and z = 0.
ConicProblem small_problem() { return one_variable(3.0, 2.0, 8.0, {0, 1.0, 1.0}); }

Iterate iterate(double x, double y, double s, double z, double tau, double kappa) {
  Iterate at;
  at.x = {x};
  at.y = {y};
  at.s = {s};
  at.z = {z};
  at.cone_dual = {0.0};
  at.tau = tau;
  at.kappa = kappa;
  return at;
}

TEST(Iterate, ComplementarityIsTheSumOfProductsOfPairs) {
  Iterate at = iterate(5.0, 7.0, 2.0, 3.0, 4.0, 0.5);
  at.cone_dual = {0.25};
  EXPECT_EQ(at.complementarity(), 2.0 * 3.0 + 5.0 * 0.25 + 4.0 * 0.5);
  MatrixPoint matrix{DenseMatrix(2, 2), DenseMatrix(2, 2)};
  for (size_t k = 0; k < 4; ++k) {
    matrix.x.values()[k] = static_cast<double>(k);
    matrix.z.values()[k] = 2.0;
  }
  at.matrices = {matrix};
  EXPECT_EQ(at.complementarity(), 9.25 + 2.0 * (1.0 + 2.0 + 3.0));
}

TEST(Iterate, TakesAPartOfAStep) {
  const ConicProblem problem = small_problem();
  Iterate at = iterate(1.0, 1.0, 1.0, 1.0, 1.0, 1.0);
  Step step = zero_step(problem);
  step.x = {2.0};
  step.z = {-1.0};
  step.tau = 4.0;
  step.reduction = 0.5;
  at.take(problem, step, 0.5);
  EXPECT_EQ(at.x[0], 2.0);
  EXPECT_EQ(at.y[0], 1.0);
  EXPECT_EQ(at.z[0], 0.5);
  EXPECT_EQ(at.tau, 3.0);
  EXPECT_EQ(at.matrix_residual, 0.75);
}

// Z = tau C - sum_i y_i A_i - residual (C - I), with tau 2, y = (., 2, 3) and the residual 1/2.
TEST(Iterate, TheDualMatrixFollowsFromTauAndTheMultipliers) {
  const ConicProblem problem = test::problem_of_all_kinds();
  Iterate at;
  static_cast<ScalarVariables&>(at) = zero_step(problem);
  at.matrices = {{DenseMatrix(2, 2), DenseMatrix(2, 2)}};
  Step step = zero_step(problem);
  step.y = {5.0, 2.0, 3.0};
  step.tau = 2.0;
  step.reduction = 0.5;
  step.matrices[0].x(1, 0) = 7.0;
  at.take(problem, step, 1.0);
  EXPECT_EQ(at.matrices[0].x(1, 0), 7.0);
  EXPECT_EQ(at.matrices[0].z(0, 0), 1.5 * 2.0 - 3.0 + 0.5);
  EXPECT_EQ(at.matrices[0].z(1, 1), 1.5 * 3.0 - 3.0 + 0.5);
  EXPECT_EQ(at.matrices[0].z(1, 0), 1.5 * 1.0 - 2.0 * 0.5);
  EXPECT_EQ(at.matrices[0].z(0, 1), at.matrices[0].z(1, 0));
}

TEST(Residuals, AreTheLeftHandSidesOfTheEmbedding) {
  const Residuals r = find_residuals(small_problem(), iterate(5.0, 7.0, 2.0, 1.0, 3.0, 0.5));
  EXPECT_EQ(r.dual[0], 3.0 * 3.0 - 2.0 * 7.0 - 1.0);
  EXPECT_EQ(r.primal[0], 2.0 * 5.0 - 8.0 * 3.0);
  EXPECT_EQ(r.bound[0], 5.0 - 1.0 * 3.0 - 2.0);
  EXPECT_EQ(r.cost, 15.0);
  EXPECT_EQ(r.value, 8.0 * 7.0 + 1.0 * 1.0);
  EXPECT_EQ(r.gap, 0.5 + 15.0 - 57.0);
}

TEST(Residuals, AQuadraticTermEntersTheDualAndTheGap) {
  ConicProblem problem = small_problem();
  problem.quadratic = {1, {0, 1}, {0}, {4.0}};
  const Residuals r = find_residuals(problem, iterate(5.0, 7.0, 2.0, 1.0, 2.0, 0.5));
  EXPECT_EQ(r.px[0], 20.0);
  EXPECT_EQ(r.quadratic, 100.0);
  EXPECT_EQ(r.dual[0], 20.0 + 2.0 * 3.0 - 14.0 - 1.0);
  EXPECT_EQ(r.gap, 0.5 + 15.0 + 50.0 - 57.0);
}

TEST(Residuals, MatrixVariablesEnterRowsAndCost) {
  const ConicProblem problem = test::problem_of_all_kinds();
  Iterate at;
  static_cast<ScalarVariables&>(at) = zero_step(problem);
  at.tau = 1.0;
  at.matrices = {{DenseMatrix(2, 2), DenseMatrix::identity(2)}};
  at.matrices[0].x(0, 0) = 2.0;
  at.matrices[0].x(1, 0) = at.matrices[0].x(0, 1) = 0.5;
  at.matrices[0].x(1, 1) = 1.0;
  const Residuals r = find_residuals(problem, at);
  EXPECT_EQ(r.primal, (std::vector<double>{-1.0, 0.5 - 2.0, 3.0 - 4.0}));
  EXPECT_EQ(r.cost, 2.0 * 2.0 + 2.0 * 0.5 + 3.0 * 1.0);
}

Measures measures_of(const ConicProblem& problem, const Iterate& at) {
  const Equilibration scaling = identity_scaling(problem, problem.rhs.size());
  return measure(problem, scaling, at, find_residuals(problem, at));
}

TEST(Measures, VanishAtASolutionWhateverTauIs) {
  for (const double tau : {1.0, 0.25}) {
    const Measures m =
        measures_of(small_problem(), iterate(4.0 * tau, 1.5 * tau, 3.0 * tau, 0.0, tau, 0.0));
    EXPECT_EQ(m.primal, 0.0);
    EXPECT_EQ(m.dual, 0.0);
    EXPECT_EQ(m.gap, 0.0);
    EXPECT_EQ(m.primal_objective, 12.0);
    EXPECT_EQ(m.dual_objective, 12.0);
  }
}

// The row is 2 x - 8 with x = 5, so that its largest term is 10; the column is 3 - 2 y with y = 1.
TEST(Measures, AreRelativeToTheLargestTermThatCancels) {
  const Measures m = measures_of(small_problem(), iterate(5.0, 1.0, 4.0, 0.0, 1.0, 0.0));
  EXPECT_DOUBLE_EQ(m.primal, 2.0 / 10.0);
  EXPECT_DOUBLE_EQ(m.dual, 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(m.gap, (15.0 - 8.0) / 15.0);
}

// A row and a column of small data count as of the size 1, but no more than in the model's terms.
TEST(Measures, AreRelativeToOneOrToTheUnitOfTheModel) {
  const ConicProblem problem = one_variable(1e-3, 1e-3, 1e-3, {0, 1.0, 0.0});
  const Iterate at = iterate(0.0, 0.0, 0.0, 0.0, 1.0, 0.0);
  EXPECT_DOUBLE_EQ(measures_of(problem, at).primal, 1e-3);
  Equilibration scaling = identity_scaling(problem, 1);
  scaling.row = {0.01};  // 1 of the scaled row is 100 of the model's
  EXPECT_DOUBLE_EQ(measure(problem, scaling, at, find_residuals(problem, at)).primal, 0.1);
}

// x = -1 with x >= 0 and 1 x = -1 has the dual ray y = -1, z = 1: b'y = 1.
TEST(Measures, FindADualRay) {
  const ConicProblem problem = one_variable(0.0, 1.0, -1.0, {0, 1.0, 0.0});
  const Measures m = measures_of(problem, iterate(0.0, -2.0, 0.0, 2.0, 1e-9, 1.0));
  EXPECT_EQ(m.dual_ray, 0.0);
  EXPECT_EQ(m.primal_ray, kInfinity);
  EXPECT_EQ(measures_of(problem, iterate(0.0, -2.0, 0.0, 1.0, 1e-9, 1.0)).dual_ray, 0.5);
}

// minimize -x with x >= 0 and the row 0 x = 0.
TEST(Measures, FindAPrimalRayUnlessCurvatureStopsIt) {
  ConicProblem problem = one_variable(-1.0, 0.0, 0.0, {0, 1.0, 0.0});
  const Iterate at = iterate(4.0, 0.0, 4.0, 0.0, 1e-9, 1.0);
  EXPECT_EQ(measures_of(problem, at).primal_ray, 0.0);
  problem.quadratic = {1, {0, 1}, {0}, {1e-3}};
  const Measures curved = measures_of(problem, at);
  EXPECT_DOUBLE_EQ(curved.fall, 16.0 / (2.0 * 16e-3));
  EXPECT_EQ(curved.primal_ray, kInfinity);
}

TEST(BestPoint, TellsWhatIsNearer) {
  BestPoint best(Tolerances{});
  EXPECT_EQ(best.worst(), kInfinity);
  Measures near;
  near.primal = near.dual = near.gap = 1e-6;
  Measures nearer = near;
  nearer.primal = nearer.dual = nearer.gap = 1e-7;
  const auto hold = [&best](double x, const Measures& measures) {
    best.hold(std::make_shared<const Iterate>(iterate(x, 0.0, 1.0, 1.0, 1.0, 1.0)), measures);
  };
  EXPECT_TRUE(best.is_farther_than(near));
  hold(1.0, nearer);
  EXPECT_EQ(best.iterate().x[0], 1.0);
  EXPECT_DOUBLE_EQ(best.worst(), 10.0);
  EXPECT_FALSE(best.is_farther_than(near));
  EXPECT_FALSE(best.is_less_feasible_than(near));
  hold(3.0, near);
  EXPECT_EQ(best.iterate().x[0], 3.0);
  EXPECT_DOUBLE_EQ(best.worst(), 100.0);
  EXPECT_TRUE(best.is_farther_than(nearer));
  EXPECT_TRUE(best.is_less_feasible_than(nearer));
}

// A ray that was no proof is not proven again before it is ten times better; the other kind is.
TEST(RayClaims, LookAgainOnlyAtMuchBetterRays) {
  int proofs = 0;
  bool holds = false;
  const ConicProblem problem = small_problem();
  RayClaims claims(problem, [&](const InteriorPoint&) {
    ++proofs;
    return holds;
  });
  const Iterate at = iterate(1.0, 0.0, 1.0, 1.0, 0.5, 1.0);
  InteriorPoint result;
  EXPECT_FALSE(claims.claim(Certificate::kDualRay, 1e-8, at, &result));
  EXPECT_FALSE(claims.claim(Certificate::kDualRay, 2e-9, at, &result));
  EXPECT_EQ(proofs, 1);
  EXPECT_EQ(result.outcome, Outcome::kUnknown);
  holds = true;
  EXPECT_TRUE(claims.claim(Certificate::kPrimalRay, 1e-8, at, &result));
  EXPECT_EQ(result.outcome, Outcome::kUnbounded);
  EXPECT_TRUE(claims.claim(Certificate::kDualRay, 0.9e-9, at, &result));
  EXPECT_EQ(result.certificate, Certificate::kDualRay);
  EXPECT_EQ(proofs, 3);
}

TEST(StallWatch, EndsFifteenIterationsAfterTheNearestOne) {
  StallWatch watch;
  for (int32_t k = 0; k <= 15; ++k) EXPECT_FALSE(watch.is_stalled(k, 1e6, 1e-13)) << k;
  EXPECT_TRUE(watch.is_stalled(16, 1e6, 1e-13));
}

TEST(StallWatch, EndsSoonerNearAClaim) {
  StallWatch watch;
  for (int32_t k = 0; k <= 5; ++k) EXPECT_FALSE(watch.is_stalled(k, 50.0, 1e-3)) << k;
  EXPECT_TRUE(watch.is_stalled(6, 50.0, 1e-13));
}

TEST(StallWatch, AFallingMuIsProgressFarFromAClaim) {
  StallWatch watch;
  double mu = 1.0;
  for (int32_t k = 0; k < 100; ++k, mu *= 0.8) EXPECT_FALSE(watch.is_stalled(k, 1e6, mu)) << k;
}

}  // namespace
}  // namespace vorlan::conic
