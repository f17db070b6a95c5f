// False optima of a backend that is made to give them, which the checker lets pass: a row is missed
// by less than its tolerance, and with it all of the objective. The continuous relaxation shows it.
#include "solve/relaxation_check.h"

#include <gtest/gtest.h>

#include <string>

#include "solve/find_answer.h"
#include "solve/highs/highs_backend.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// minimize 1e9 x + 1000 y, x >= 5e-6 and x + y >= 1 as rows, y integer: 6000 at y = 1.
Model make_model() {
  Model model;
  model.cost = {1e9, 1000.0};
  model.var_lower = {0.0, 0.0};
  model.var_upper = {kInfinity, 3.0};
  model.var_kind = {VarKind::kContinuous, VarKind::kInteger};
  model.con_lower = {5e-6, 1.0};
  model.con_upper = {kInfinity, kInfinity};
  model.matrix.start = {0, 2, 3};
  model.matrix.row = {0, 1, 1};
  model.matrix.value = {1.0, 1.0, 1.0};
  return model;
}

Status answer_falsely(const MinimizeProblem&, const Parameters&, double, BackendMonitor*,
                      BackendResult* result) {
  result->outcome = Outcome::kOptimal;
  result->x = {0.0, 1.0};
  result->progress.objective = result->progress.bound = 1000.0;
  result->progress.relative_gap = 0.0;
  return {};
}

// Right where it is asked for strict tolerances.
Status answer_carelessly(const MinimizeProblem& problem, const Parameters& parameters,
                         double seconds, BackendMonitor* monitor, BackendResult* result) {
  const bool is_strict = parameters.get(DoubleParam::kFeasibilityTolerance) < 1e-8;
  const auto solve = is_strict ? kHighsBackend.solve : answer_falsely;
  return solve(problem, parameters, seconds, monitor, result);
}

class LogMonitor : public BackendMonitor {
 public:
  void log(std::string_view text) override { text_ += text; }
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

Answer answer_of(decltype(Backend::solve) solve, LogMonitor* monitor) {
  const Model model = make_model();
  const Parameters parameters;
  const Backend backend = {"test", solve};
  const SolvePlan plan = {&backend,
                          SolveMethod::kBranchAndCut,
                          SolutionKind::kInteger,
                          false,
                          false,
                          ClaimTolerances(model, parameters),
                          Cutoffs{}};
  Answer answer;
  const MinimizeProblem problem(model);
  EXPECT_TRUE(find_answer(problem, plan, parameters, 60.0, monitor, &answer).ok());
  return answer;
}

TEST(RelaxationCheck, ARightOptimumPassesInSilence) {
  LogMonitor monitor;
  const Answer answer = answer_of(kHighsBackend.solve, &monitor);
  EXPECT_EQ(answer.result.outcome, Outcome::kOptimal);
  EXPECT_NEAR(answer.result.progress.objective, 6000.0, 1e-3);
  EXPECT_EQ(monitor.text().find("relaxation"), std::string::npos) << monitor.text();
}

TEST(RelaxationCheck, AFalseOptimumIsSolvedAgain) {
  LogMonitor monitor;
  const Answer answer = answer_of(answer_carelessly, &monitor);
  EXPECT_EQ(answer.result.outcome, Outcome::kOptimal);
  EXPECT_NEAR(answer.result.progress.objective, 6000.0, 1e-3);
  EXPECT_NE(monitor.text().find("Solved again with strict tolerances: optimal"), std::string::npos)
      << monitor.text();
}

TEST(RelaxationCheck, AFalseOptimumThatStaysIsNotClaimed) {
  LogMonitor monitor;
  const Answer answer = answer_of(answer_falsely, &monitor);
  EXPECT_EQ(answer.result.outcome, Outcome::kStopped);
  EXPECT_EQ(answer.result.termination, Code::kTrmStall);
}

}  // namespace
}  // namespace vorlan
