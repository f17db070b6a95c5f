// Interior solutions of models with quadratic terms, cones and matrix variables: values, duals and
// statuses in the task's own sense, and their way out of the child process.
#include <gtest/gtest.h>

#include <cmath>

#include "conic_models.h"
#include "solve/make_solution.h"
#include "solve/run/shared_result.h"
#include "solve/solve_log.h"
#include "solve/solve_plan.h"

namespace vorlan {
namespace {

using test::add_constraint;
using test::free_variables;
using test::solved_models;
using test::SolvedModel;

constexpr double kInf = kInfinity;

Solution interior(const Model& model, BackendResult answer) {
  const MinimizeProblem problem(model);
  const ClaimTolerances tolerances(model, Parameters());
  const Verdict verdict = check_answer(problem, SolutionKind::kInterior, &answer);
  return make_interior_solution(problem, std::move(answer), tolerances, verdict);
}

SolvedModel solved_model(const std::string& name) {
  for (SolvedModel& solved : solved_models()) {
    if (solved.name == name) return solved;
  }
  ADD_FAILURE() << name;
  return {};
}

// The same model as a maximization.
Model maximized(Model model) {
  model.maximize = true;
  for (double& c : model.cost) c = -c;
  for (TriangleEntry& q : model.quadratic_cost) q.value = -q.value;
  for (MatrixCostEntry& c : model.matrix_cost) c.entry.value = -c.entry.value;
  return model;
}

TEST(InteriorSolution, IsOptimalInEitherSense) {
  for (const SolvedModel& solved : solved_models()) {
    for (const double sign : {1.0, -1.0}) {
      const Model model = sign > 0.0 ? solved.model : maximized(solved.model);
      const Solution s = interior(model, solved.answer);
      ASSERT_TRUE(s.defined) << solved.name;
      EXPECT_EQ(s.status, SolutionStatus::kOptimal) << solved.name;
      EXPECT_EQ(s.problem_status, ProblemStatus::kPrimalAndDualFeasible) << solved.name;
      EXPECT_NEAR(s.primal_objective, sign * solved.objective + model.constant, 1e-12)
          << solved.name;
      EXPECT_NEAR(s.dual_objective, s.primal_objective, 1e-12) << solved.name;
      EXPECT_EQ(s.xx, solved.answer.x);
      EXPECT_EQ(s.barx, solved.answer.barx);
      ASSERT_EQ(s.snx.size(), model.cones.empty() ? 0 : s.xx.size());
      for (size_t j = 0; j < s.snx.size(); ++j) EXPECT_EQ(s.snx[j], sign * solved.answer.snx[j]);
      for (size_t k = 0; k < s.bars.size(); ++k) EXPECT_EQ(s.bars[k], sign * solved.answer.bars[k]);
      for (size_t i = 0; i < s.y.size(); ++i) EXPECT_EQ(s.y[i], sign * solved.answer.y[i]);
    }
  }
}

TEST(InteriorSolution, DualsAndActivitiesOfAMaximization) {
  const SolvedModel solved = solved_model("quadratic constraint");
  const Solution s = interior(maximized(solved.model), solved.answer);
  EXPECT_EQ(s.xc, (std::vector<double>{1.0}));  // x^2 + y^2
  EXPECT_EQ(s.slc, (std::vector<double>{0.0}));
  EXPECT_EQ(s.suc, (std::vector<double>{-0.5}));  // as of any upper side in a maximization
  EXPECT_EQ(s.y, (std::vector<double>{0.5}));
}

TEST(InteriorSolution, ActivitiesOfMatrixVariables) {
  const SolvedModel solved = solved_model("mixed matrices");
  const Solution s = interior(solved.model, solved.answer);
  EXPECT_EQ(s.xc, (std::vector<double>{1.0, 2.0}));
  EXPECT_EQ(s.slx, (std::vector<double>{1.0}));
  EXPECT_EQ(s.skx, (std::vector<StatusKey>{StatusKey::kAtLower}));
  EXPECT_EQ(s.skc, (std::vector<StatusKey>{StatusKey::kFixed, StatusKey::kFixed}));
}

TEST(InteriorSolution, KeysComeFromValuesAndDuals) {
  // minimize x - y + 0 z, 0 <= x, y, z <= 1, near the optimum as an interior point is
  Model model = free_variables({1.0, -1.0, 0.0});
  model.var_lower = {0.0, 0.0, 0.0};
  model.var_upper = {1.0, 1.0, 1.0};
  BackendResult answer;
  answer.outcome = Outcome::kOptimal;
  answer.x = {1e-9, 1.0 - 1e-9, 0.5};
  answer.d = {1.0, -1.0, 1e-9};
  EXPECT_EQ(
      interior(model, answer).skx,
      (std::vector<StatusKey>{StatusKey::kAtLower, StatusKey::kAtUpper, StatusKey::kSuperBasic}));
}

TEST(InteriorSolution, WhatDoesNotHoldIsNotClaimed) {
  SolvedModel solved = solved_model("semidefinite");
  solved.answer.bars[0] += 1e-3;
  EXPECT_EQ(interior(solved.model, solved.answer).status, SolutionStatus::kPrimalFeasible);
  solved = solved_model("quadratic cone");
  solved.answer.x[0] -= 1e-3;
  EXPECT_EQ(interior(solved.model, solved.answer).status, SolutionStatus::kDualFeasible);
  solved = solved_model("quadratic cone");
  solved.answer.x[0] += 1e-3;
  EXPECT_EQ(interior(solved.model, solved.answer).status, SolutionStatus::kPrimalAndDualFeasible);
  solved.answer.outcome = Outcome::kUnknown;
  EXPECT_FALSE(interior(solved.model, solved.answer).defined);
}

TEST(InteriorSolution, StoppedWithAPointAlone) {
  SolvedModel solved = solved_model("semidefinite");
  solved.answer.outcome = Outcome::kStopped;
  solved.answer.y = solved.answer.d = solved.answer.bars = {};
  const Solution s = interior(solved.model, solved.answer);
  ASSERT_TRUE(s.defined);
  EXPECT_EQ(s.status, SolutionStatus::kPrimalFeasible);
  EXPECT_EQ(s.bars, (std::vector<double>{0.0, 0.0, 0.0}));
  EXPECT_TRUE(std::isnan(s.dual_objective));
}

TEST(InteriorSolution, DualRayInTheTasksSense) {
  // x0 >= |x1|, x0 <= -1
  Model model = free_variables({0.0, 0.0});
  model.var_upper[0] = -1.0;
  model.cones = {{ConeKind::kQuadratic, {0, 1}, {}}};
  model.maximize = true;
  BackendResult answer;
  answer.outcome = Outcome::kInfeasible;
  answer.certificate = Certificate::kDualRay;
  answer.snx = {5.0, 0.0};
  const Solution s = interior(model, answer);
  EXPECT_EQ(s.problem_status, ProblemStatus::kPrimalInfeasible);
  EXPECT_EQ(s.status, SolutionStatus::kPrimalInfeasibleCertificate);
  EXPECT_EQ(s.snx, (std::vector<double>{-1.0, 0.0}));
  EXPECT_EQ(s.sux, (std::vector<double>{-1.0, 0.0}));
  EXPECT_EQ(s.dual_objective, -1.0);
  EXPECT_EQ(s.xx, (std::vector<double>{0.0, 0.0}));
  answer.snx = {-5.0, 0.0};
  const Solution unproven = interior(model, answer);
  EXPECT_EQ(unproven.problem_status, ProblemStatus::kPrimalInfeasible);
  EXPECT_EQ(unproven.status, SolutionStatus::kUnknown);
  EXPECT_EQ(unproven.snx, (std::vector<double>{0.0, 0.0}));
}

TEST(InteriorSolution, DualRayOfAQuadraticConstraintNamesItsPoint) {
  // x^2 - 2 x <= -2
  Model model = free_variables({0.0});
  add_constraint(&model, -kInf, -2.0, {-2.0});
  model.quadratic_coefficients = {{0, {0, 0, 2.0}}};
  BackendResult answer;
  answer.outcome = Outcome::kInfeasible;
  answer.certificate = Certificate::kDualRay;
  answer.y = {-4.0};
  answer.x = {1.0};
  const Solution s = interior(model, answer);
  EXPECT_EQ(s.status, SolutionStatus::kPrimalInfeasibleCertificate);
  EXPECT_EQ(s.y, (std::vector<double>{-1.0}));
  EXPECT_EQ(s.xx, (std::vector<double>{1.0}));
  EXPECT_EQ(s.dual_objective, 1.0);
}

TEST(InteriorSolution, PrimalRay) {
  // maximize 2 X(2,1) + x, x <= 0
  Model model = free_variables({1.0});
  model.var_upper = {0.0};
  model.maximize = true;
  model.constant = 7.0;
  model.matrix_vars = {{2}};
  model.matrix_cost = {{0, {1, 0, 1.0}}};
  BackendResult answer;
  answer.outcome = Outcome::kUnbounded;
  answer.certificate = Certificate::kPrimalRay;
  answer.x = {0.0};
  answer.barx = {3.0, 3.0, 3.0};
  const Solution s = interior(model, answer);
  EXPECT_EQ(s.problem_status, ProblemStatus::kDualInfeasible);
  EXPECT_EQ(s.status, SolutionStatus::kDualInfeasibleCertificate);
  EXPECT_EQ(s.barx, (std::vector<double>{1.0, 1.0, 1.0}));
  EXPECT_EQ(s.primal_objective, 2.0);
}

TEST(InteriorSolution, CrossedBounds) {
  SolvedModel solved = solved_model("quadratic objective");
  solved.model.var_lower[1] = 3.0;
  solved.model.var_upper[1] = 2.0;
  BackendResult answer;
  answer.outcome = Outcome::kInfeasible;
  answer.certificate = Certificate::kCrossedBounds;
  const Solution s = interior(solved.model, answer);
  EXPECT_EQ(s.status, SolutionStatus::kPrimalInfeasibleCertificate);
  EXPECT_EQ(s.slx, (std::vector<double>{0.0, 1.0}));
  EXPECT_EQ(s.sux, (std::vector<double>{0.0, 1.0}));
}

TEST(InteriorSolution, IntegerSolutionsHaveMatrixVariablesToo) {
  SolvedModel solved = solved_model("quadratic cone");
  solved.model.var_kind[1] = VarKind::kInteger;
  const MinimizeProblem problem(solved.model);
  const ClaimTolerances tolerances(solved.model, Parameters());
  const Verdict verdict = check_answer(problem, SolutionKind::kInteger, &solved.answer);
  const Solution s = make_integer_solution(problem, std::move(solved.answer), tolerances, verdict);
  EXPECT_EQ(s.status, SolutionStatus::kIntegerOptimal);
  EXPECT_EQ(s.snx, (std::vector<double>{0.0, 0.0, 0.0}));
  EXPECT_EQ(s.primal_objective, 5.0);
}

TEST(ConicTolerances, FollowTheParameters) {
  const Model model = solved_models()[0].model;
  Parameters parameters;
  EXPECT_DOUBLE_EQ(ClaimTolerances(model, parameters).gap, 1e-6);
  ASSERT_TRUE(parameters.put_by_name("VLN_DPAR_CONIC_FEASIBILITY_TOLERANCE", "1e-10").ok());
  ASSERT_TRUE(parameters.put_by_name("VLN_DPAR_CONIC_GAP_TOLERANCE", "1e-11").ok());
  EXPECT_DOUBLE_EQ(ClaimTolerances(model, parameters).primal, 1e-8);
  EXPECT_DOUBLE_EQ(ClaimTolerances(model, parameters).dual, 1e-8);
  EXPECT_DOUBLE_EQ(ClaimTolerances(model, parameters).gap, 1e-9);
  EXPECT_DOUBLE_EQ(ClaimTolerances(free_variables({1.0}), parameters).gap, 1e-6);
}

// An optimum may be worse than what was asked, but not in silence.
TEST(ConicTolerances, AMissedOneIsToldInTheLog) {
  const auto log_of = [](const Residuals& residuals, SolutionStatus status) {
    Task task;
    task.model = solved_models()[0].model;
    std::string log;
    task.log.link_function(
        &log, [](void* text, const char* more) { static_cast<std::string*>(text)->append(more); });
    SolveEnd end;
    end.kind = SolutionKind::kInterior;
    end.outcome = Outcome::kOptimal;
    end.solution.defined = true;
    end.solution.status = status;
    end.residuals = residuals;
    log_end(task, end);
    return log;
  };
  const std::string missed = "misses its tolerance";
  const auto is_told = [&](const Residuals& residuals) {
    return log_of(residuals, SolutionStatus::kOptimal).find(missed) != std::string::npos;
  };
  EXPECT_FALSE(is_told({1e-8, 1e-8, 1e-8}));
  EXPECT_TRUE(is_told({1.1e-8, 0.0, 0.0}));
  EXPECT_TRUE(is_told({0.0, 1.1e-8, 0.0}));
  EXPECT_TRUE(is_told({0.0, 0.0, 1.1e-8}));
  EXPECT_NE(
      log_of({1.4e-7, 0.0, 0.0}, SolutionStatus::kOptimal)
          .find("The optimum misses its tolerance: primal violation 1.4e-07, where 1.0e-08 is "
                "asked\n"),
      std::string::npos);
  EXPECT_EQ(log_of({1.4e-7, 0.0, 0.0}, SolutionStatus::kPrimalAndDualFeasible).find(missed),
            std::string::npos);
}

TEST(ConicChoice, TheConicMethodIsForContinuousModels) {
  Parameters parameters;
  const Model linear = free_variables({1.0});
  EXPECT_FALSE(wants_conic_method(linear, parameters));
  for (const SolvedModel& solved : solved_models()) {
    EXPECT_TRUE(wants_conic_method(solved.model, parameters)) << solved.name;
  }
  ASSERT_TRUE(parameters.put_by_name("VLN_IPAR_OPTIMIZER", "conic").ok());
  EXPECT_TRUE(wants_conic_method(linear, parameters));
  Model integer = linear;
  integer.var_kind[0] = VarKind::kInteger;
  EXPECT_FALSE(wants_conic_method(integer, parameters));
}

// Every array arrives with its own values, also where others are missing.
TEST(SharedResult, HandsOverConesAndMatrices) {
  for (const SolvedModel& solved : solved_models()) {
    SharedResult shared(solved.model);
    ASSERT_TRUE(shared.mapped());
    Answer answer;
    answer.result = solved.answer;
    shared.finish({}, answer);
    Answer handed_over;
    ASSERT_TRUE(shared.take(&handed_over).ok());
    const BackendResult& taken = handed_over.result;
    for (auto array : {&BackendResult::x, &BackendResult::y, &BackendResult::d, &BackendResult::snx,
                       &BackendResult::barx, &BackendResult::bars}) {
      EXPECT_EQ(taken.*array, solved.answer.*array) << solved.name;
    }
  }
}

}  // namespace
}  // namespace vorlan
