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
#include "mixed_solve.h"
#include "random_count.h"
#include "random_mixed_model.h"
#include "solve/check/checker.h"
#include "solve/outer/relaxation.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

using test::Enumeration;
using test::MixedFamily;
using test::MixedSolve;
using test::number_from;

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kDefaultCount = 10;
#else
constexpr uint32_t kDefaultCount = 50;
#endif

struct Counts {
  int feasible = 0, infeasible = 0, unbounded = 0, doubtful = 0;
  int proved = 0, unproved = 0;  // continuous parts of them, in exact arithmetic
};

// Where the enumeration is in doubt about some integers, the others bound the answer.
void compare(const Enumeration& expected, const MixedSolve& mixed, Counts* counts) {
  const Solution& s = mixed.solution();
  if (expected.doubtful) {
    ++counts->doubtful;
    if (!expected.feasible || expected.unbounded) return;
    EXPECT_EQ(s.status, SolutionStatus::kIntegerOptimal);
    const double worse = mixed.task().model.maximize ? expected.objective - s.primal_objective
                                                     : s.primal_objective - expected.objective;
    EXPECT_LE(worse, 1e-5 * std::max(1.0, std::fabs(expected.objective)));
    return;
  }
  ASSERT_EQ(mixed.termination(), Code::kOk);
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
    EXPECT_LE(mixed.task().model.sense_factor() * (mixed.figure("bound") - expected.objective),
              tolerance);
  }
}

// A solve that ends as early as it can has a bound that holds.
void check_early_bound(const Enumeration& expected, MixedSolve* mixed) {
  if (!expected.feasible || expected.unbounded) return;
  mixed->put("VLN_IPAR_MIP_NODE_LIMIT", "0");
  mixed->put("VLN_IPAR_WARM_START", "off");
  mixed->solve();
  ASSERT_TRUE(mixed->status().ok());
  const double bound = mixed->figure("bound");
  if (std::isnan(bound)) return;
  const double sense = mixed->task().model.maximize ? -1.0 : 1.0;
  EXPECT_LE(sense * (bound - expected.objective),
            1e-6 * std::max(1.0, std::fabs(expected.objective)));
}

// Cuts at random points never cut off the optimum.
void check_cuts(const MixedSolve& mixed, uint32_t seed) {
  const Solution& s = mixed.solution();
  const Model& model = mixed.task().model;
  if (s.status != SolutionStatus::kIntegerOptimal) return;
  // Divided by next to nothing, tolerances are as large as the point.
  constexpr double kNothing = 1e-3;
  for (const Cone& cone : model.cones) {
    for (size_t k = 0; k < std::min<size_t>(2, cone.vars.size()); ++k) {
      if (std::fabs(s.xx[index(cone.vars[k])]) < kNothing) return;
    }
  }
  const MinimizeProblem problem(model);
  outer::Relaxation relaxation(problem);
  test::Random random(seed);
  for (int k = 0; k < 10; ++k) {
    std::vector<double> anywhere(relaxation.num_columns());
    for (double& value : anywhere) value = random.between(-1.0, 3.0);
    for (size_t j = 0; j < model.cost.size(); ++j) {
      if (model.var_upper[j] == 1.0) anywhere[j] = random.between(0.0, 1.0);
    }
    relaxation.separate(anywhere);
  }
  Model linear = relaxation.make_model();
  linear.var_kind.assign(linear.cost.size(), VarKind::kContinuous);
  for (size_t j = 0; j < model.cost.size(); ++j) {
    linear.var_lower[j] = linear.var_upper[j] = s.xx[j];  // which may be 0 and semi-continuous
  }
  EXPECT_LE(primal_violation(linear, relaxation.lift(s.xx, s.barx)), 1e-6);
}

// Of a third of the models by default, and of all where their number is given.
test::Proofs proofs_of(uint32_t seed) {
  constexpr uint32_t kShare = 3;
  const bool all = std::getenv("VORLAN_RANDOM_MODELS") != nullptr;
  return all || seed % kShare == 0 ? test::Proofs::kYes : test::Proofs::kNo;
}

class RandomMixed : public testing::TestWithParam<int> {};

TEST_P(RandomMixed, AgreesWithEnumeration) {
  const auto family = static_cast<MixedFamily>(GetParam());
  const uint32_t first = number_from("VORLAN_RANDOM_FIRST", 1);
  const uint32_t count = number_from("VORLAN_RANDOM_MODELS", kDefaultCount);
  Counts counts;
  for (uint32_t seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE(seed);
    MixedSolve mixed(test::make_mixed_model(family, seed));
    mixed.put("VLN_IPAR_CHILD_PROCESS", "off");
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
    mixed.write_where_asked();
    mixed.solve();
    ASSERT_TRUE(mixed.status().ok()) << mixed.status().message();
    const Enumeration expected = test::enumerate(mixed.task().model, proofs_of(seed));
    counts.proved += expected.proved;
    counts.unproved += expected.unproved;
    compare(expected, mixed, &counts);
    check_cuts(mixed, seed);
    if (!HasFailure()) check_early_bound(expected, &mixed);
    if (HasFailure()) FAIL() << mixed.log();
  }
  RecordProperty("feasible", counts.feasible);
  std::printf("%d feasible, %d infeasible, %d unbounded, %d in doubt\n", counts.feasible,
              counts.infeasible, counts.unbounded, counts.doubtful);
  std::printf("%d continuous parts proved, %d not\n", counts.proved, counts.unproved);
  EXPECT_LE(counts.doubtful, static_cast<int>(count / 4 + 1));
  // The method's rays of quadratic constraints may lack the point that their proof needs.
  EXPECT_GE(counts.proved, static_cast<int>(count));
  EXPECT_LE(counts.unproved, counts.proved / 20);
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
