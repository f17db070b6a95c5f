// The checker on models with quadratic terms, cones and matrix variables: it accepts what holds and
// notices every single number that is wrong.
#include <gtest/gtest.h>

#include <cmath>

#include "conic_models.h"
#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"

namespace vorlan {
namespace {

using test::add_constraint;
using test::free_variables;
using test::solved_models;
using test::SolvedModel;

constexpr double kInf = kInfinity;

double worst_residual(const Model& model, const BackendResult& answer) {
  const MinimizeProblem problem(model);
  return std::max({primal_violation(model, answer.x, answer.barx), dual_violation(problem, answer),
                   duality_gap(problem, answer)});
}

TEST(ConicChecker, AcceptsOptima) {
  for (const SolvedModel& solved : solved_models()) {
    EXPECT_LE(worst_residual(solved.model, solved.answer), 1e-12) << solved.name;
    EXPECT_NEAR(dual_objective(MinimizeProblem(solved.model), solved.answer), solved.objective,
                1e-12)
        << solved.name;
  }
}

TEST(ConicChecker, NoticesEveryWrongNumber) {
  for (const SolvedModel& solved : solved_models()) {
    for (auto array : {&BackendResult::x, &BackendResult::y, &BackendResult::d, &BackendResult::snx,
                       &BackendResult::barx, &BackendResult::bars}) {
      for (size_t k = 0; k < (solved.answer.*array).size(); ++k) {
        for (const double change : {0.1, -0.1}) {
          BackendResult wrong = solved.answer;
          (wrong.*array)[k] += change;
          EXPECT_GT(worst_residual(solved.model, wrong), 1e-3) << solved.name << ' ' << k;
        }
      }
    }
  }
}

TEST(ConicChecker, NoticesWhatIsMissingOrNoNumber) {
  for (const SolvedModel& solved : solved_models()) {
    for (auto array : {&BackendResult::x, &BackendResult::y, &BackendResult::snx,
                       &BackendResult::barx, &BackendResult::bars}) {
      BackendResult wrong = solved.answer;
      if ((wrong.*array).empty()) continue;
      (wrong.*array)[0] = std::nan("");
      EXPECT_EQ(worst_residual(solved.model, wrong), kInf) << solved.name;
    }
    if (solved.answer.bars.empty()) continue;
    BackendResult wrong = solved.answer;
    wrong.bars.clear();
    EXPECT_EQ(worst_residual(solved.model, wrong), kInf) << solved.name;
  }
}

TEST(ConicChecker, DualsOutsideConesMustBeZero) {
  Model model = free_variables({1.0});
  add_constraint(&model, 0.0, kInf, {1.0});
  BackendResult answer;
  answer.x = {0.0};
  answer.y = {0.0};
  answer.d = {0.0};
  answer.snx = {1.0};  // as if x >= 0 were a cone
  EXPECT_EQ(dual_violation(MinimizeProblem(model), answer), 1.0);
}

// The answer of the same model with the objective negated to be maximized is the same.
TEST(ConicChecker, MaximizationIsTheSameMinimization) {
  for (SolvedModel& solved : solved_models()) {
    solved.model.maximize = true;
    for (double& c : solved.model.cost) c = -c;
    for (TriangleEntry& q : solved.model.quadratic_cost) q.value = -q.value;
    for (MatrixCostEntry& c : solved.model.matrix_cost) c.entry.value = -c.entry.value;
    EXPECT_LE(worst_residual(solved.model, solved.answer), 1e-12) << solved.name;
  }
}

// At x = 0 all first-order conditions of "minimize -x^2, -1 <= x <= 1" hold, but it is the worst.
TEST(ConicChecker, StationarityWithoutConvexityIsNoProof) {
  Model model = free_variables({0.0});
  model.var_lower = {-1.0};
  model.var_upper = {1.0};
  model.quadratic_cost = {{0, 0, -2.0}};
  BackendResult answer;
  answer.x = answer.d = {0.0};
  EXPECT_EQ(duality_gap(MinimizeProblem(model), answer), 0.0);
  EXPECT_EQ(dual_violation(MinimizeProblem(model), answer), 1.0);
  model.maximize = true;
  EXPECT_EQ(dual_violation(MinimizeProblem(model), answer), 0.0);
}

TEST(ConicChecker, DualRaysOfCones) {
  // x0 >= |x1| and x0 <= -1
  Model model = free_variables({0.0, 0.0});
  model.var_upper[0] = -1.0;
  model.cones = {{ConeKind::kQuadratic, {0, 1}, {}}};
  BackendResult ray;
  ray.snx = {1.0, 0.0};
  EXPECT_TRUE(complete_dual_ray(model, &ray));
  EXPECT_EQ(ray.d, (std::vector<double>{-1.0, 0.0}));
  ray.snx = {1.0, 2.0};  // not in the dual cone; but x1 has no terms and no bound to balance it
  EXPECT_TRUE(complete_dual_ray(model, &ray));
  EXPECT_EQ(ray.snx, (std::vector<double>{1.0, 0.0}));
  ray.snx = {-1.0, 0.0};
  EXPECT_FALSE(complete_dual_ray(model, &ray));
  model.var_upper[0] = 1.0;
  ray.snx = {1.0, 0.0};
  EXPECT_FALSE(complete_dual_ray(model, &ray));
}

TEST(ConicChecker, DualRaysOfMatrixVariables) {
  // X(2,2) + 0 X(1,1) = -1
  Model model;
  model.matrix_vars = {{2}};
  model.con_lower = model.con_upper = {-1.0};
  model.matrix_coefficients = {{0, 0, {1, 1, 1.0}}};
  BackendResult ray;
  ray.y = {-1.0};
  EXPECT_TRUE(complete_dual_ray(model, &ray));
  EXPECT_EQ(ray.bars, (std::vector<double>{0.0, 0.0, 1.0}));
  ray.y = {1.0};
  EXPECT_FALSE(complete_dual_ray(model, &ray));
  ray.y = {-1.0};
  model.matrix_coefficients[0].entry = {1, 0, 1.0};  // 2 X(2,1) = -1 is possible
  EXPECT_FALSE(complete_dual_ray(model, &ray));
}

TEST(ConicChecker, DualRaysOfQuadraticConstraints) {
  // x^2 - 2 x <= -2, where the left side is -1 at least
  Model model = free_variables({0.0});
  add_constraint(&model, -kInf, -2.0, {-2.0});
  model.quadratic_coefficients = {{0, {0, 0, 2.0}}};
  BackendResult ray;
  ray.y = {-1.0};
  ray.x = {1.0};
  EXPECT_TRUE(complete_dual_ray(model, &ray));
  ray.x = {};
  EXPECT_FALSE(complete_dual_ray(model, &ray));  // -A'y is left over
  ray.x = {1.0};
  model.con_upper[0] = -0.5;  // possible at x = 1
  EXPECT_FALSE(complete_dual_ray(model, &ray));

  // -x^2 <= -1 is possible; its left side has no least value
  Model concave = free_variables({0.0});
  add_constraint(&concave, -kInf, -1.0, {0.0});
  concave.quadratic_coefficients = {{0, {0, 0, -2.0}}};
  ray.x = {};
  EXPECT_FALSE(complete_dual_ray(concave, &ray));
  concave.quadratic_coefficients = {{0, {0, 0, 2.0}}};  // x^2 <= -1 is not
  EXPECT_TRUE(complete_dual_ray(concave, &ray));
}

TEST(ConicChecker, RaysOfOneRowLeaveOtherTermsAlone) {
  Model model = free_variables({0.0});
  add_constraint(&model, 1.0, kInf, {0.0});
  EXPECT_EQ(find_single_row_ray(model), (std::vector<double>{1.0}));
  Model quadratic = model;
  quadratic.quadratic_coefficients = {{0, {0, 0, -2.0}}};
  EXPECT_TRUE(find_single_row_ray(quadratic).empty());
  Model matrix = model;
  matrix.matrix_vars = {{1}};
  matrix.matrix_coefficients = {{0, 0, {0, 0, 1.0}}};
  EXPECT_TRUE(find_single_row_ray(matrix).empty());
}

TEST(ConicChecker, PrimalRaysStayInCones) {
  Model model = free_variables({0.0, -1.0});
  model.cones = {{ConeKind::kQuadratic, {0, 1}, {}}};
  const MinimizeProblem problem(model);
  EXPECT_TRUE(is_primal_ray(problem, {1.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(problem, {1.0, 1.1}));
  EXPECT_FALSE(is_primal_ray(problem, {1.0, -1.0}));  // the cost rises
  EXPECT_FALSE(is_primal_ray(problem, {1e-9, 1.1e-9}));
}

TEST(ConicChecker, PrimalRaysChangeNoQuadraticTerm) {
  Model model = free_variables({0.0, -1.0});
  model.quadratic_cost = {{0, 0, 2.0}};
  EXPECT_TRUE(is_primal_ray(MinimizeProblem(model), {0.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(MinimizeProblem(model), {1.0, 1.0}));
  Model constrained = free_variables({0.0, -1.0});
  add_constraint(&constrained, -kInf, 0.0, {0.0, -1.0});  // x^2 <= y
  add_constraint(&constrained, -kInf, 5.0, {1.0, 0.0});
  constrained.quadratic_coefficients = {{0, {0, 0, 2.0}}, {1, {0, 0, 2.0}}};
  EXPECT_TRUE(is_primal_ray(MinimizeProblem(constrained), {0.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(MinimizeProblem(constrained), {-1.0, 1.0}));
  // A constraint without sides may curve as it likes.
  constrained.con_upper = {kInf, kInf};
  EXPECT_TRUE(is_primal_ray(MinimizeProblem(constrained), {-1.0, 1.0}));
}

TEST(ConicChecker, PrimalRaysOfMatrixVariables) {
  Model model;
  model.matrix_vars = {{2}};
  model.matrix_cost = {{0, {1, 0, -1.0}}};
  const MinimizeProblem problem(model);
  EXPECT_TRUE(is_primal_ray(problem, {}, {1.0, 1.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(problem, {}, {1.0, 1.0, 0.9}));
  EXPECT_FALSE(is_primal_ray(problem, {}, {1.0, -1.0, 1.0}));
  EXPECT_FALSE(is_primal_ray(problem, {}, {}));
  add_constraint(&model, -kInf, 3.0, {});
  model.matrix_coefficients = {{0, 0, {0, 0, 1.0}}};  // X(1,1) <= 3
  EXPECT_FALSE(is_primal_ray(MinimizeProblem(model), {}, {1.0, 1.0, 1.0}));
}

}  // namespace
}  // namespace vorlan
