// A stop reaches the work that surrounds a backend's: the check of what is held and of what is
// found.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cmath>

#include "solve/optimize.h"
#include "solve/run/listener.h"
#include "task/task.h"

namespace vorlan {
namespace {

// minimize 1/2 x'Qx with the Laplacian of a grid of size^3 points, whose factor has far more
// elements than Q: whether Q is positive definite, which an optimum needs, takes minutes to tell.
Model grid_model(int32_t size) {
  const int32_t num_var = size * size * size;
  Model model;
  model.cost.assign(static_cast<size_t>(num_var), 0.0);
  model.var_lower.assign(static_cast<size_t>(num_var), -kInfinity);
  model.var_upper.assign(static_cast<size_t>(num_var), kInfinity);
  model.var_kind.assign(static_cast<size_t>(num_var), VarKind::kContinuous);
  model.matrix.start.assign(static_cast<size_t>(num_var) + 1, 0);
  for (int32_t col = 0; col < num_var; ++col) {
    model.quadratic_cost.push_back({col, col, 6.5});
    for (const int32_t step : {1, size, size * size}) {
      const bool is_neighbour = (col / step) % size + 1 < size;
      if (is_neighbour) model.quadratic_cost.push_back({col + step, col, -1.0});
    }
  }
  return model;
}

Solution invented_optimum(const Model& model) {
  Solution solution;
  solution.defined = true;
  solution.status = SolutionStatus::kOptimal;
  solution.problem_status = ProblemStatus::kPrimalAndDualFeasible;
  for (auto array : {&Solution::xx, &Solution::slx, &Solution::sux}) {
    (solution.*array).assign(model.cost.size(), 0.0);
  }
  solution.skx.assign(model.cost.size(), StatusKey::kSuperBasic);
  return solution;
}

int stop_at_once(vlntaskt*, void*, VLNcallbackcode_enum, const double*, const int*, const long*) {
  return 1;
}

// While this is set, child processes come to nothing: they are as late as on the busiest machine.
bool g_children_are_late = false;

void be_late() {
  if (g_children_are_late) pause();
}

class LongCheck : public testing::Test {
 protected:
  LongCheck() {
    task_.model = grid_model(56);
    task_.solutions[kInterior] = invented_optimum(task_.model);
  }

  // Solves; the seconds that it took.
  double solve() {
    const double start = monotonic_seconds();
    EXPECT_TRUE(optimize(&task_, &termination_).ok());
    return monotonic_seconds() - start;
  }

  static constexpr size_t kInterior = static_cast<size_t>(SolutionKind::kInterior);
  // Half a second is promised. A busy machine takes longer, the check of this model a minute.
  static constexpr double kGenerousSeconds = 15.0;

  vlntaskt task_;
  Code termination_ = Code::kOk;
};

TEST_F(LongCheck, OfWhatIsHeldEndsByTheTimeLimit) {
  ASSERT_TRUE(task_.parameters.put_by_name("VLN_DPAR_TIME_LIMIT", "1").ok());
  EXPECT_LT(solve(), kGenerousSeconds);
  EXPECT_EQ(termination_, Code::kTrmTimeLimit);
  const Solution& left = task_.solutions[kInterior];
  EXPECT_TRUE(left.defined) << "the point that was held stands";
  EXPECT_EQ(left.status, SolutionStatus::kPrimalFeasible) << "which is all that was proven of it";
}

TEST_F(LongCheck, IsNotBegunWhenTheSolveIsToStopAtOnce) {
  task_.callback = {stop_at_once, nullptr};
  EXPECT_LT(solve(), kGenerousSeconds);
  EXPECT_EQ(termination_, Code::kTrmUserCallback);
  EXPECT_TRUE(task_.solutions[kInterior].defined);
}

TEST_F(LongCheck, OfWhichNoStepIsDoneLosesNothingThatIsHeld) {
  pthread_atfork(nullptr, nullptr, be_late);
  g_children_are_late = true;
  task_.callback = {stop_at_once, nullptr};
  EXPECT_LT(solve(), kGenerousSeconds);
  g_children_are_late = false;
  EXPECT_EQ(termination_, Code::kTrmUserCallback);
  const Solution& left = task_.solutions[kInterior];
  EXPECT_TRUE(left.defined);
  EXPECT_EQ(left.xx.size(), task_.model.cost.size());
}

}  // namespace
}  // namespace vorlan
