// The checker must accept what holds and refuse what does not, for points, multipliers and rays.
#include "solve/check/checker.h"

#include <gtest/gtest.h>

#include <cmath>

#include "solve/check/rays.h"

namespace vorlan {
namespace {

constexpr double kInf = kInfinity;

// minimize -3x - 2y, x + y <= 4, x + 3y <= 6, 0 <= x <= 3, 0 <= y.
Model two_products_model() {
  Model model;
  model.cost = {-3.0, -2.0};
  model.var_lower = {0.0, 0.0};
  model.var_upper = {3.0, kInf};
  model.var_kind = {VarKind::kContinuous, VarKind::kContinuous};
  model.con_lower = {-kInf, -kInf};
  model.con_upper = {4.0, 6.0};
  model.matrix.start = {0, 2, 4};
  model.matrix.row = {0, 1, 0, 1};
  model.matrix.value = {1.0, 1.0, 1.0, 3.0};
  return model;
}

BackendResult right_answer() {
  BackendResult result;
  result.x = {3.0, 1.0};
  result.y = {-2.0, 0.0};
  result.d = {-1.0, 0.0};
  return result;
}

TEST(Checker, AcceptsTheOptimum) {
  const Model model = two_products_model();
  const MinimizeProblem problem(model);
  const BackendResult result = right_answer();
  EXPECT_LE(primal_violation(model, result.x), 1e-12);
  EXPECT_LE(dual_violation(problem, result), 1e-12);
  EXPECT_LE(duality_gap(problem, result), 1e-12);
}

TEST(Checker, RefusesWrongPoints) {
  Model model = two_products_model();
  EXPECT_GT(primal_violation(model, {3.1, 0.0}), 1e-2);   // above a bound
  EXPECT_GT(primal_violation(model, {-0.1, 0.0}), 1e-2);  // below a bound
  EXPECT_GT(primal_violation(model, {3.0, 1.1}), 1e-2);   // outside a constraint
  EXPECT_EQ(primal_violation(model, {std::nan(""), 0.0}), kInf);
  model.var_kind[1] = VarKind::kInteger;
  EXPECT_GT(primal_violation(model, {0.0, 0.5}), 0.4);
  EXPECT_LE(primal_violation(model, {0.0, 1.0}), 1e-12);
}

// min x + y, x + 2 y >= 3 size, 2 x + y >= 3 size, which meet at (size, size).
Model small_model(double size) {
  Model model = two_products_model();
  model.cost = {1.0, 1.0};
  model.var_upper = {kInf, kInf};
  model.con_lower = {3.0 * size, 3.0 * size};
  model.con_upper = {kInf, kInf};
  model.matrix.value = {1.0, 2.0, 2.0, 1.0};
  return model;
}

TEST(Checker, DataFarBelowOneAreWhatViolationsAreRelativeTo) {
  for (const double size : {1e-9, 1e-15}) {
    Model model = small_model(size);
    EXPECT_GT(primal_violation(model, {0.0, 0.0}), 0.4);
    EXPECT_GT(primal_violation(model, {-0.1 * size, 2.0 * size}), 0.01);
    EXPECT_LE(primal_violation(model, {size, size}), 1e-12);
    model.con_lower[0] = 3.0;  // beside which the other constraint is nothing
    EXPECT_LE(primal_violation(model, {3.0, 0.0}), 1e-12);
    EXPECT_LE(primal_violation(model, {3.0, -size}), 1e-8);
  }
}

TEST(Checker, CostsFarBelowOneAreWhatMultipliersAreRelativeTo) {
  Model model = two_products_model();
  for (double& c : model.cost) c *= 1e-9;
  BackendResult result = right_answer();
  for (auto* values : {&result.y, &result.d}) {
    for (double& value : *values) value *= 1e-9;
  }
  const MinimizeProblem problem(model);
  EXPECT_LE(dual_violation(problem, result), 1e-12);
  EXPECT_LE(duality_gap(problem, result), 1e-12);
  result.y = {0.0, 0.0};
  EXPECT_GT(dual_violation(problem, result), 0.1);
  result.d = model.cost;  // nothing holds it
  EXPECT_GT(dual_violation(problem, result), 0.1);
  result = right_answer();
  result.x = {0.0, 0.0};
  result.y = result.d = {0.0, 0.0};
  EXPECT_GT(dual_violation(problem, result), 0.1);
}

TEST(Checker, IntegersHaveTheUnitOne) {
  Model model = small_model(1e-9);
  model.var_kind = {VarKind::kInteger, VarKind::kInteger};
  model.matrix.value = {1e-9, 2e-9, 2e-9, 1e-9};
  EXPECT_LE(primal_violation(model, {1.0, 1.0}), 1e-12);
  EXPECT_LE(primal_violation(model, {1.0, -1e-9}), 1e-8);
  model.var_kind[0] = VarKind::kContinuous;
  EXPECT_GT(primal_violation(model, {0.0, 1.0}), 0.3);
}

// A bound far away on one side makes nothing of the other.
TEST(Checker, AViolationIsRelativeToTheBoundThatIsMissed) {
  Model model = two_products_model();
  model.var_upper[0] = 1e9;
  model.con_lower[0] = -1e9;
  EXPECT_GT(primal_violation(model, {-0.1, 0.0}), 1e-2);
  EXPECT_GT(primal_violation(model, {2.0, 2.1}), 1e-2);
  // Against its own size a bound may be missed by more.
  model.var_lower[0] = 1e9;
  model.con_upper = {2e9, 2e9};
  EXPECT_LE(primal_violation(model, {1e9 - 1.0, 0.0}), 2e-9);
  model.var_upper[0] = model.var_lower[0] = kInf;
  EXPECT_EQ(primal_violation(model, {0.0, 0.0}), kInf);
}

TEST(Checker, SemiContinuousIsZeroOrWithinBounds) {
  Model model = two_products_model();
  model.var_kind[0] = VarKind::kSemiContinuous;
  model.var_lower[0] = 2.0;
  EXPECT_LE(primal_violation(model, {0.0, 0.0}), 1e-12);
  EXPECT_LE(primal_violation(model, {2.5, 0.0}), 1e-12);
  EXPECT_GT(primal_violation(model, {1.0, 0.0}), 0.3);
}

TEST(Checker, RefusesWrongMultipliers) {
  const Model model = two_products_model();
  const MinimizeProblem problem(model);
  BackendResult result = right_answer();
  result.y = {2.0, 0.0};  // a positive multiplier where there is no lower side
  EXPECT_GT(dual_violation(problem, result), 0.1);
  result = right_answer();
  result.d = {-1.5, 0.0};  // not cost - A'y
  EXPECT_GT(dual_violation(problem, result), 0.1);
  result = right_answer();
  result.x = {3.0, 0.5};  // feasible, but not optimal
  EXPECT_GT(duality_gap(problem, result), 1e-2);
}

// minimize (x - y)^2 / 2 - x falls for ever along (1, 1). Far out, the terms of the square dwarf
// what is between the objective and any bound.
TEST(Checker, LargeTermsCloseNoGap) {
  Model model;
  model.cost = {-1.0, 0.0};
  model.var_lower = {-kInf, -kInf};
  model.var_upper = {kInf, kInf};
  model.var_kind = {VarKind::kContinuous, VarKind::kContinuous};
  model.matrix.start = {0, 0, 0};
  model.quadratic_cost = {{0, 0, 1.0}, {1, 0, -1.0}, {1, 1, 1.0}};
  BackendResult result;
  result.x = {1e12, 1e12};
  result.d = {0.0, 0.0};
  EXPECT_GT(duality_gap(MinimizeProblem(model), result), 0.1);
}

TEST(Checker, DualRays) {
  Model model = two_products_model();
  model.con_lower[1] = 5.0;  // x + 3y >= 5 with
  model.con_upper[0] = 1.0;  // x +  y <= 1: infeasible, since 3(x + y) <= 3
  std::vector<double> d;
  EXPECT_TRUE(is_dual_ray(model, {-3.0, 1.0}, &d));
  EXPECT_EQ(d, (std::vector<double>{2.0, 0.0}));
  EXPECT_FALSE(is_dual_ray(model, {3.0, -1.0}, &d));
  EXPECT_FALSE(is_dual_ray(model, {0.0, 0.0}, &d));
  EXPECT_FALSE(is_dual_ray(model, {-1.0, 1.0}, &d));  // y then has d < 0 and no upper bound
  model.con_upper[0] = 2.0;                           // feasible: x = 0, y = 2
  EXPECT_FALSE(is_dual_ray(model, {-3.0, 1.0}, &d));
}

TEST(Checker, CrossedBounds) {
  Model model = two_products_model();
  EXPECT_FALSE(find_crossed_bounds(model).found());
  model.var_lower[0] = 4.0;  // above its upper bound 3
  EXPECT_EQ(find_crossed_bounds(model).var, 0);
  model.var_kind[0] = VarKind::kSemiContinuous;  // may be 0
  EXPECT_FALSE(find_crossed_bounds(model).found());
  model.con_lower[1] = 7.0;  // above its upper side 6
  EXPECT_EQ(find_crossed_bounds(model).con, 1);
}

TEST(Checker, PrimalRays) {
  Model model = two_products_model();
  model.con_upper = {kInf, kInf};
  const MinimizeProblem problem(model);
  EXPECT_TRUE(is_primal_ray(problem, {0.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(problem, {1.0, 0.0}));   // x has an upper bound
  EXPECT_FALSE(is_primal_ray(problem, {0.0, -1.0}));  // leaves through y's lower bound
  EXPECT_FALSE(is_primal_ray(problem, {0.0, 0.0}));
  EXPECT_FALSE(is_primal_ray(MinimizeProblem(two_products_model()), {0.0, 1.0}));
}

}  // namespace
}  // namespace vorlan
