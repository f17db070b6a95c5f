// The conic method's optima with a basis: as good as those of the simplex method, also where optima
// are many and vertices degenerate.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "solve/check/checker.h"
#include "solve/check/terms.h"
#include "solve/crossover_backend.h"
#include "solve/highs/highs_backend.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

class NoMonitor : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

Parameters conic_parameters() {
  Parameters parameters;
  parameters.set(IntParam::kOptimizer, kConicMethod);
  parameters.set(IntParam::kNumThreads, 1);
  return parameters;
}

BackendResult solve_by(const Backend& backend, const Model& model, const Parameters& parameters) {
  NoMonitor monitor;
  BackendResult result;
  const Status status =
      backend.solve(MinimizeProblem(model), parameters, kInfinity, &monitor, &result);
  EXPECT_TRUE(status.ok()) << status.message();
  return result;
}

void add_column(double cost, double lower, double upper, Model* model) {
  model->cost.push_back(cost);
  model->var_lower.push_back(lower);
  model->var_upper.push_back(upper);
  model->var_kind.push_back(VarKind::kContinuous);
  model->matrix.start.push_back(static_cast<int64_t>(model->matrix.row.size()));
}

// Sides of every kind around the activity of a point within its bounds, whole numbers everywhere:
// costs are equal and vertices degenerate time and again.
Model make_model(uint32_t seed) {
  std::mt19937 random(seed);
  const auto draw = [&](int from, int to) {
    return static_cast<double>(from +
                               static_cast<int>(random() % static_cast<uint32_t>(to - from + 1)));
  };
  Model model;
  const int num_con = 12;
  std::vector<double> activity(num_con, 0.0);
  for (int j = 0; j < 30; ++j) {
    const double value = draw(0, 3);
    for (int i = 0; i < num_con; ++i) {
      if (random() % 4 != 0) continue;
      const double element = draw(1, 3) * (random() % 3 == 0 ? -1.0 : 1.0);
      model.matrix.row.push_back(i);
      model.matrix.value.push_back(element);
      activity[index(i)] += element * value;
    }
    const bool is_free_above = random() % 2 == 0;
    add_column(draw(0, 4), 0.0, is_free_above ? kInfinity : 3.0, &model);
  }
  for (const double value : activity) {
    const auto kind = random() % 4;  // equality, range, at least, at most
    model.con_lower.push_back(kind == 3 ? -kInfinity : value);
    model.con_upper.push_back(kind == 2 ? kInfinity : value + (kind == 1 ? 2.0 : 0.0));
  }
  return model;
}

TEST(Crossover, MakesABasicOptimum) {
  const Parameters parameters = conic_parameters();
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = make_model(seed);
    const MinimizeProblem problem(model);
    const BackendResult right = solve_by(kHighsBackend, model, Parameters());
    ASSERT_EQ(right.outcome, Outcome::kOptimal);
    const BackendResult found = solve_by(kCrossoverBackend, model, parameters);
    ASSERT_EQ(found.outcome, Outcome::kOptimal);
    EXPECT_NEAR(objective_sum(problem, found.x, {}).value,
                objective_sum(problem, right.x, {}).value, 1e-6);
    EXPECT_LE(primal_violation(model, found.x), 1e-7);
    EXPECT_LE(dual_violation(problem, found), 1e-7);
    EXPECT_LE(duality_gap(problem, found), 1e-7);
    const auto num_basic =
        std::count(found.var_key.begin(), found.var_key.end(), StatusKey::kBasic) +
        std::count(found.con_key.begin(), found.con_key.end(), StatusKey::kBasic);
    EXPECT_EQ(num_basic, model.num_con());
    EXPECT_GT(found.progress.interior_iterations, 0) << "the conic method has been at work";
  }
}

// Whether they have a ray is for other methods to say.
TEST(Crossover, LeavesModelsWithoutOptimumToOthers) {
  Model model;
  model.con_lower = {3.0};
  model.con_upper = {kInfinity};
  model.matrix.row = {0};
  model.matrix.value = {1.0};
  add_column(1.0, 0.0, 2.0, &model);
  for (const double cost : {1.0, -1.0}) {
    model.cost[0] = cost;
    model.var_upper[0] = cost > 0.0 ? 2.0 : kInfinity;
    const BackendResult found = solve_by(kCrossoverBackend, model, conic_parameters());
    EXPECT_EQ(found.outcome, Outcome::kStopped) << cost;
    EXPECT_EQ(found.termination, Code::kTrmStall) << cost;
    EXPECT_EQ(found.certificate, Certificate::kNone) << cost;
  }
}

}  // namespace
}  // namespace vorlan
