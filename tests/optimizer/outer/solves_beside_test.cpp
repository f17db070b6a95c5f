// Continuous solves beside each other: the answers are those of solves in turn, a stop ends all of
// them, and trials of integers take what was solved for them.
#include <gtest/gtest.h>

#include <algorithm>

#include "cone_points.h"
#include "conic_models.h"
#include "solve/conic/dense_algebra.h"
#include "solve/outer/derived_models.h"
#include "solve/outer/integer_trials.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

constexpr size_t kVariables = 40;
constexpr size_t kSwitches = 10;
constexpr size_t kRows = 30;

// Covers random rows at little cost and risk; some of the variables have a switch with a price.
Model covering(uint32_t seed) {
  test::Random random(seed);
  const size_t head = kVariables + kSwitches;
  Model model = test::free_variables(std::vector<double>(head + 1, 0.0));
  model.var_lower.assign(head + 1, 0.0);
  model.cost[head] = 1.0;
  Cone norm{ConeKind::kQuadratic, {static_cast<int32_t>(head)}, {}};
  for (size_t j = 0; j < kVariables; ++j) {
    model.cost[j] = random.between(1.0, 2.0);
    norm.vars.push_back(static_cast<int32_t>(j));
  }
  for (size_t k = 0; k < kSwitches; ++k) {
    const size_t z = kVariables + k;
    model.cost[z] = random.between(0.1, 0.2);
    model.var_upper[z] = 1.0;
    model.var_kind[z] = VarKind::kInteger;
    std::vector<double> row(head + 1, 0.0);
    row[k] = 1.0;
    row[z] = -2.0;
    test::add_constraint(&model, -kInfinity, 0.0, row);
  }
  for (size_t i = 0; i < kRows; ++i) {
    std::vector<double> row(head + 1, 0.0);
    for (size_t j = 0; j < kVariables; ++j) row[j] = random.between(0.1, 1.0);
    test::add_constraint(&model, 1.0, kInfinity, row);
  }
  model.cones = {norm};
  return model;
}

// Stops whatever asks after so many calls.
class StopAfter : public BackendMonitor {
 public:
  explicit StopAfter(int most_calls) : most_calls_(most_calls) {}
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return num_calls_++ >= most_calls_; }
  void incumbent(std::span<const double>, std::span<const double>) override {}

 private:
  int most_calls_;
  int num_calls_ = 0;
};
constexpr int kNever = 1 << 30;

class SolvesInThreads : public testing::Test {
 protected:
  void SetUp() override {
    Status failure;
    const conic::DenseAlgebra* const algebra = conic::DenseAlgebra::load(&failure);
    if (algebra == nullptr || !algebra->bears_threads()) {
      GTEST_SKIP() << "a BLAS for one thread solves in turn";
    }
    for (const uint32_t seed : {1U, 2U, 3U}) {
      models_.push_back(outer::without_integers(covering(seed)));
    }
    for (const Model& model : models_) all_.push_back(&model);
  }

  static Parameters with_threads(int32_t threads) {
    Parameters parameters;
    parameters.set(IntParam::kNumThreads, threads);
    return parameters;
  }

  // What so many threads find, and the iterations of all.
  std::vector<BackendResult> solve(int32_t threads, BackendMonitor* monitor, int64_t* iterations) {
    const Parameters parameters = with_threads(threads);
    const MinimizeProblem problem(models_[0]);
    outer::OptimumBounds bounds(problem, parameters);
    outer::InnerSolver solver(parameters, kInfinity, monitor, &bounds);
    EXPECT_EQ(solver.solves_beside(all_), threads > 1);
    std::vector<BackendResult> found;
    EXPECT_TRUE(solver.solve_conics(all_, &found).ok());
    *iterations = solver.progress().interior_iterations;
    return found;
  }

  std::vector<Model> models_;
  std::vector<const Model*> all_;
};

TEST_F(SolvesInThreads, AnswerAsInTurn) {
  StopAfter never(kNever);
  int64_t in_turn_iterations = 0;
  int64_t iterations = 0;
  const std::vector<BackendResult> in_turn = solve(1, &never, &in_turn_iterations);
  const std::vector<BackendResult> beside = solve(2, &never, &iterations);
  EXPECT_GT(iterations, 0);
  EXPECT_EQ(iterations, in_turn_iterations);
  for (size_t k = 0; k < all_.size(); ++k) {
    EXPECT_EQ(beside[k].outcome, Outcome::kOptimal);
    EXPECT_EQ(beside[k].x, in_turn[k].x);
    EXPECT_EQ(beside[k].y, in_turn[k].y);
  }
}

TEST_F(SolvesInThreads, AStopEndsAll) {
  StopAfter soon(3);
  int64_t iterations = 0;
  for (const BackendResult& found : solve(2, &soon, &iterations)) {
    EXPECT_EQ(found.outcome, Outcome::kStopped);
    EXPECT_EQ(found.termination, Code::kTrmUserCallback);
  }
}

TEST_F(SolvesInThreads, ArePointlessForTinyModelsAndUnderALimitOfMemory) {
  StopAfter never(kNever);
  Parameters parameters = with_threads(2);
  const MinimizeProblem problem(models_[0]);
  outer::OptimumBounds bounds(problem, parameters);
  const Model tiny = test::free_variables({1.0});
  EXPECT_TRUE(outer::InnerSolver(parameters, kInfinity, &never, &bounds).solves_beside(all_));
  EXPECT_FALSE(
      outer::InnerSolver(parameters, kInfinity, &never, &bounds).solves_beside({&tiny, &tiny}));
  EXPECT_FALSE(
      outer::InnerSolver(parameters, kInfinity, &never, &bounds).solves_beside({&models_[0]}));
  parameters.set(DoubleParam::kMemoryLimit, 1000.0);
  EXPECT_FALSE(outer::InnerSolver(parameters, kInfinity, &never, &bounds).solves_beside(all_));
}

TEST_F(SolvesInThreads, TrialsTakeWhatWasPrepared) {
  const Model model = covering(4);
  std::vector<std::vector<double>> points;
  for (size_t k = 0; k < 4; ++k) {
    points.emplace_back(model.cost.size(), 0.0);
    std::fill_n(points.back().begin() + kVariables, 2 * k, 1.0);
  }
  double incumbents[2] = {};
  std::vector<double> best[2];
  for (const int32_t threads : {1, 2}) {
    const Parameters parameters = with_threads(threads);
    const MinimizeProblem problem(model);
    StopAfter never(kNever);
    outer::OptimumBounds bounds(problem, parameters);
    outer::InnerSolver solver(parameters, kInfinity, &never, &bounds);
    outer::Relaxation relaxation(problem);
    outer::IntegerTrials trials(problem, parameters, &never, &solver, &bounds, &relaxation);
    trials.prepare(points);
    const int64_t before = solver.progress().interior_iterations;
    EXPECT_EQ(before > 0, threads > 1) << "one thread prepares nothing";
    for (const std::vector<double>& point : points) EXPECT_TRUE(trials.try_integers(point));
    EXPECT_EQ(solver.progress().interior_iterations == before, threads > 1);
    incumbents[threads - 1] = bounds.incumbent();
    best[threads - 1] = trials.best().x;
  }
  EXPECT_LT(incumbents[0], kInfinity);
  EXPECT_EQ(incumbents[0], incumbents[1]);
  EXPECT_EQ(best[0], best[1]);
}

}  // namespace
}  // namespace vorlan
