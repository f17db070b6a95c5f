// Random mixed-integer models with quadratic terms and cones against the trying of all integers.
//
// More of them: VORLAN_RANDOM_MODELS=1000 vorlan_outer_tests --gtest_filter='RandomMixed*'
// One of them: VORLAN_RANDOM_FIRST=4711 VORLAN_RANDOM_MODELS=1 likewise, and with
// VORLAN_RANDOM_FILE=model.ptf it is written to a file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "cone_points.h"
#include "format/problem_file.h"
#include "random_count.h"
#include "random_mixed_model.h"
#include "solve/check/checker.h"
#include "solve/optimize.h"
#include "solve/outer/relaxation.h"
#include "task/task.h"

namespace vorlan {
namespace {

using test::Enumeration;
using test::MixedFamily;
using test::number_from;

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kDefaultCount = 10;
#else
constexpr uint32_t kDefaultCount = 50;
#endif

struct Counts {
  int feasible = 0, infeasible = 0, unbounded = 0, doubtful = 0;
};

// Where the enumeration is in doubt about some integers, the others bound the answer.
void compare(const Enumeration& expected, const Task& task, Code termination, Counts* counts) {
  const Solution& s = task.solutions[2];
  if (expected.doubtful) {
    ++counts->doubtful;
    if (!expected.feasible || expected.unbounded) return;
    EXPECT_EQ(s.status, SolutionStatus::kIntegerOptimal);
    const double worse = task.model.maximize ? expected.objective - s.primal_objective
                                             : s.primal_objective - expected.objective;
    EXPECT_LE(worse, 1e-5 * std::max(1.0, std::fabs(expected.objective)));
    return;
  }
  ASSERT_EQ(termination, Code::kOk);
  ASSERT_TRUE(s.defined);
  if (expected.unbounded) {
    ++counts->unbounded;
    EXPECT_TRUE(s.problem_status == ProblemStatus::kDualInfeasible ||
                s.problem_status == ProblemStatus::kPrimalInfeasibleOrUnbounded);
  } else if (!expected.feasible) {
    ++counts->infeasible;
    EXPECT_EQ(s.problem_status, ProblemStatus::kPrimalInfeasible);
  } else {
    ++counts->feasible;
    EXPECT_EQ(s.status, SolutionStatus::kIntegerOptimal);
    const double tolerance = 1e-5 * std::max(1.0, std::fabs(expected.objective));
    EXPECT_NEAR(s.primal_objective, expected.objective, tolerance);
  }
}

// Ended as early as can be, the bound is one all the same.
void check_early_bound(const Enumeration& expected, Task* task) {
  if (!expected.feasible || expected.unbounded) return;
  ASSERT_TRUE(task->parameters.put_by_name("VLN_IPAR_MIP_NODE_LIMIT", "0").ok());
  ASSERT_TRUE(task->parameters.put_by_name("VLN_IPAR_WARM_START", "off").ok());
  Code termination = Code::kOk;
  ASSERT_TRUE(optimize(task, &termination).ok());
  for (const Figure& figure : task->solver_result.figures) {
    if (figure.name != "bound") continue;
    const double sense = task->model.maximize ? -1.0 : 1.0;
    EXPECT_LE(sense * (figure.value - expected.objective),
              1e-6 * std::max(1.0, std::fabs(expected.objective)));
  }
}

// Cuts from anywhere leave the optimum where it is.
void check_cuts(const Task& task, uint32_t seed) {
  const Solution& s = task.solutions[2];
  if (s.status != SolutionStatus::kIntegerOptimal) return;
  // Divided by next to nothing, tolerances are as large as the point.
  constexpr double kNothing = 1e-3;
  for (const Cone& cone : task.model.cones) {
    for (size_t k = 0; k < std::min<size_t>(2, cone.vars.size()); ++k) {
      if (std::fabs(s.xx[static_cast<size_t>(cone.vars[k])]) < kNothing) return;
    }
  }
  const MinimizeProblem problem(task.model);
  outer::Relaxation relaxation(problem);
  test::Random random(seed);
  for (int k = 0; k < 10; ++k) {
    std::vector<double> anywhere(relaxation.num_columns());
    for (double& value : anywhere) value = random.between(-1.0, 3.0);
    for (size_t j = 0; j < task.model.cost.size(); ++j) {
      if (task.model.var_upper[j] == 1.0) anywhere[j] = random.between(0.0, 1.0);
    }
    relaxation.separate(anywhere);
  }
  Model linear = relaxation.make_model();
  linear.var_kind.assign(linear.cost.size(), VarKind::kContinuous);
  for (size_t j = 0; j < task.model.cost.size(); ++j) {
    linear.var_lower[j] = linear.var_upper[j] = s.xx[j];  // which may be 0 and semi-continuous
  }
  EXPECT_LE(primal_violation(linear, relaxation.lift(s.xx, s.barx)), 1e-6);
}

class RandomMixed : public testing::TestWithParam<int> {};

TEST_P(RandomMixed, AgreesWithEnumeration) {
  const auto family = static_cast<MixedFamily>(GetParam());
  const uint32_t first = number_from("VORLAN_RANDOM_FIRST", 1);
  const uint32_t count = number_from("VORLAN_RANDOM_MODELS", kDefaultCount);
  Counts counts;
  for (uint32_t seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE(seed);
    Task task;
    std::string log;
    task.log.link_function(
        &log, [](void* text, const char* more) { static_cast<std::string*>(text)->append(more); });
    for (const auto& [name, value] : {std::pair{"VLN_IPAR_CHILD_PROCESS", "off"},
                                      std::pair{"VLN_DPAR_MIP_RELATIVE_GAP", "1e-6"}}) {
      ASSERT_TRUE(task.parameters.put_by_name(name, value).ok());
    }
    task.model = test::make_mixed_model(family, seed);
    if (const char* file = std::getenv("VORLAN_RANDOM_FILE"); file != nullptr) {
      EXPECT_TRUE(write_problem_file(&task, file).ok());
    }
    Code termination = Code::kOk;
    const Status status = optimize(&task, &termination);
    ASSERT_TRUE(status.ok()) << status.message();
    const Enumeration expected = test::enumerate(task.model);
    compare(expected, task, termination, &counts);
    check_cuts(task, seed);
    if (!HasFailure()) check_early_bound(expected, &task);
    if (HasFailure()) FAIL() << log;
  }
  RecordProperty("feasible", counts.feasible);
  std::printf("%d feasible, %d infeasible, %d unbounded, %d in doubt\n", counts.feasible,
              counts.infeasible, counts.unbounded, counts.doubtful);
  EXPECT_LE(counts.doubtful, static_cast<int>(count / 4 + 1));
}

std::string name_of_family(const testing::TestParamInfo<int>& info) {
  static constexpr const char* kNames[] = {
      "QuadraticObjective",  "QuadraticRow", "QuadraticCone", "RotatedCone", "ExponentialCone",
      "DualExponentialCone", "PowerCone",    "DualPowerCone", "Matrix",      "Everything"};
  return kNames[info.param];
}

INSTANTIATE_TEST_SUITE_P(Families, RandomMixed, testing::Range(0, test::kNumMixedFamilies),
                         name_of_family);

}  // namespace
}  // namespace vorlan
