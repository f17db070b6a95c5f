// Bounds that follow from linear constraints, and integers to try first.
#include "solve/outer/first_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "cone_points.h"
#include "conic_models.h"
#include "mixed_solve.h"
#include "solve/check/cone_violation.h"
#include "solve/outer/bound_propagation.h"
#include "solve/outer/continuous_relaxation.h"
#include "solve/outer/inner_approximation.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

using outer::BoundPropagation;

// Binary variables without a constraint.
Model binaries(size_t count) {
  Model model = test::free_variables(std::vector<double>(count, 0.0));
  model.var_lower.assign(count, 0.0);
  model.var_upper.assign(count, 1.0);
  model.var_kind.assign(count, VarKind::kInteger);
  return model;
}

TEST(BoundPropagation, FollowsAChain) {
  Model model = binaries(3);
  test::add_constraint(&model, -kInfinity, 0.0, {1.0, -1.0, 0.0});  // x0 <= x1
  test::add_constraint(&model, 1.0, 1.0, {0.0, 1.0, 1.0});          // x1 + x2 = 1
  BoundPropagation bounds(model);
  const size_t mark = bounds.mark();
  ASSERT_TRUE(bounds.tighten(0, 1.0, 1.0));
  EXPECT_EQ(bounds.lower(1), 1.0);
  EXPECT_EQ(bounds.upper(2), 0.0);
  EXPECT_FALSE(bounds.tighten(2, 1.0, 1.0));
  bounds.undo(mark);
  EXPECT_EQ(bounds.lower(0), 0.0);
  EXPECT_EQ(bounds.lower(1), 0.0);
  EXPECT_EQ(bounds.upper(2), 1.0);
}

// A bound can be a constraint of one variable, and an infinite one helps nothing.
TEST(BoundPropagation, ReadsConstraintsOfOneVariable) {
  Model model = test::free_variables({0.0, 0.0});
  model.var_kind[0] = VarKind::kInteger;
  test::add_constraint(&model, -1.0, 5.0, {2.0, 0.0});
  test::add_constraint(&model, -kInfinity, 3.0, {1.0, 1.0});
  BoundPropagation bounds(model);
  ASSERT_TRUE(bounds.tighten_all());
  EXPECT_EQ(bounds.lower(0), 0.0);
  EXPECT_EQ(bounds.upper(0), 2.0);
  EXPECT_EQ(bounds.lower(1), -kInfinity);
}

bool satisfies(const Model& model, const std::vector<double>& x) {
  std::vector<double> sums(model.con_lower.size(), 0.0);
  for (size_t j = 0; j < x.size(); ++j) {
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      sums[index(model.matrix.row[k])] += model.matrix.value[k] * x[j];
    }
  }
  for (size_t i = 0; i < sums.size(); ++i) {
    if (sums[i] < model.con_lower[i] || sums[i] > model.con_upper[i]) return false;
  }
  return true;
}

// Propagation never loses an integer point of a random model.
TEST(BoundPropagation, KeepsEveryIntegerPoint) {
  constexpr size_t kVariables = 5;
  int tightened = 0;
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    Model model = binaries(kVariables);
    for (int row = 0; row < 4; ++row) {
      std::vector<double> terms;
      for (size_t k = 0; k < kVariables; ++k) terms.push_back(random.whole(-3, 3));
      const double rhs = random.whole(-3, 4);
      test::add_constraint(&model, random.chance(30) ? rhs - 2.0 : -kInfinity, rhs, terms);
    }
    BoundPropagation bounds(model);
    const bool possible = bounds.tighten_all() && bounds.tighten(0, 1.0, 1.0);
    tightened += possible ? static_cast<int>(bounds.mark()) : 1;
    for (uint32_t code = 0; code < 1U << kVariables; ++code) {
      std::vector<double> x;
      for (size_t j = 0; j < kVariables; ++j) x.push_back(code >> j & 1U);
      if (x[0] != 1.0 || !satisfies(model, x)) continue;
      EXPECT_TRUE(possible) << code;
      for (int32_t j = 0; possible && index(j) < kVariables; ++j) {
        EXPECT_LE(bounds.lower(j), x[index(j)]) << code;
        EXPECT_GE(bounds.upper(j), x[index(j)]) << code;
      }
    }
  }
  EXPECT_GT(tightened, 300);
}

// All of six shares are on a little, and three may be: the three largest are.
TEST(FirstPoints, TakeTheLargestThatMayBeOn) {
  Model model = binaries(6);
  test::add_constraint(&model, -kInfinity, 3.0, std::vector<double>(6, 1.0));
  test::add_constraint(&model, 2.0, kInfinity, std::vector<double>(6, 1.0));
  const std::vector<double> x = {0.3, 0.1, 0.4, 0.2, 0.35, 0.15};
  const auto points = outer::first_points(model, x);
  ASSERT_FALSE(points.empty());
  EXPECT_EQ(points[0], (std::vector<double>{1.0, 0.0, 1.0, 0.0, 1.0, 0.0}));
  for (const std::vector<double>& point : points) {
    const double sum = std::accumulate(point.begin(), point.end(), 0.0);
    EXPECT_GE(sum, 2.0);
    EXPECT_LE(sum, 3.0);
  }
}

// The two largest together are impossible, which only the continuous model knows.
TEST(FirstPoints, DiveAsksTheContinuousModel) {
  Model model = binaries(4);
  test::add_constraint(&model, 2.0, 2.0, std::vector<double>(4, 1.0));
  int solves = 0;
  const auto solve = [&](const std::vector<double>& lower, const std::vector<double>& upper) {
    ++solves;
    EXPECT_EQ(lower[0], 1.0) << "the largest is on";
    EXPECT_EQ(upper[1], solves == 1 ? 1.0 : 0.0);
    return std::vector<double>{1.0, 0.1, 0.2, 0.7};
  };
  const std::vector<double> x = outer::dive(model, {0.7, 0.6, 0.4, 0.3}, solve);
  EXPECT_EQ(x, (std::vector<double>{1.0, 0.0, 0.0, 1.0}));
  EXPECT_EQ(solves, 2);
  const auto fails = [](const std::vector<double>&, const std::vector<double>&) {
    return std::vector<double>();
  };
  EXPECT_TRUE(outer::dive(model, {0.7, 0.6, 0.4, 0.3}, fails).empty());
}

// The largest cannot be on at all: a dive goes on with the others.
TEST(FirstPoints, DiveTakesBackWhatFails) {
  Model model = binaries(4);
  test::add_constraint(&model, 2.0, 2.0, std::vector<double>(4, 1.0));
  const auto solve = [](const std::vector<double>& lower, const std::vector<double>&) {
    if (lower[0] == 1.0 || lower[2] == 1.0) return std::vector<double>();
    return std::vector<double>{0.0, 0.9, 0.2, 0.9};
  };
  const std::vector<double> x = outer::dive(model, {0.7, 0.6, 0.4, 0.3}, solve);
  EXPECT_EQ(x, (std::vector<double>{0.0, 1.0, 0.0, 1.0}));
}

// Where no further variable can be on, a dive leaves the rest off.
TEST(FirstPoints, DiveEndsWithTheRestOff) {
  const Model model = binaries(30);
  const auto solve = [](const std::vector<double>& lower, const std::vector<double>&) {
    const double sum = std::accumulate(lower.begin(), lower.end(), 0.0);
    return sum > 1.0 ? std::vector<double>() : std::vector<double>(30, 0.01);
  };
  const std::vector<double> x = outer::dive(model, std::vector<double>(30, 0.03), solve);
  EXPECT_EQ(std::accumulate(x.begin(), x.end(), 0.0), 1.0);
}

// The rows allow the first variable no other value than 1, and the continuous model not that one.
TEST(FirstPoints, DiveEndsWhereAVariableHasNoValueLeft) {
  Model model = binaries(2);
  test::add_constraint(&model, 1.0, kInfinity, {1.0, 1.0});
  test::add_constraint(&model, -kInfinity, 0.0, {-1.0, 1.0});
  int solves = 0;
  const auto solve = [&](const std::vector<double>& lower, const std::vector<double>&) {
    ++solves;
    return lower[0] == 1.0 ? std::vector<double>() : std::vector<double>{0.9, 0.1};
  };
  EXPECT_TRUE(outer::dive(model, {0.9, 0.1}, solve).empty());
  EXPECT_EQ(solves, 2) << "one with all others off";
}

// The value nearest to the point fails: a dive goes on below it, or above it where there is none
// below.
TEST(FirstPoints, DiveLeavesAnIntegerTheValuesBesideTheOneThatFails) {
  for (const double nearest : {2.0, 0.0}) {
    Model model = binaries(1);
    model.var_upper[0] = 3.0;
    const auto solve = [nearest](const std::vector<double>& lower,
                                 const std::vector<double>& upper) {
      return lower[0] == nearest && upper[0] == nearest ? std::vector<double>() : lower;
    };
    EXPECT_EQ(outer::dive(model, {nearest + 0.2}, solve), (std::vector<double>{1.0})) << nearest;
  }
}

// x0 <= 2 z0 and x1 <= z1, and z2 has no row of its own: an interior point has all three larger than
// they need to be.
TEST(FirstPoints, IntegersAreNoLargerThanTheirRowsNeed) {
  Model model = binaries(5);
  model.var_kind[0] = model.var_kind[1] = VarKind::kContinuous;
  test::add_constraint(&model, -kInfinity, 0.0, {1.0, 0.0, -2.0, 0.0, 0.0});
  test::add_constraint(&model, 0.0, kInfinity, {0.0, -1.0, 0.0, 1.0, 0.0});
  test::add_constraint(&model, -kInfinity, 2.0, {0.0, 0.0, 1.0, 1.0, 1.0});
  const std::vector<double> x = {0.5, 0.75, 0.6, 0.8, 0.6};
  EXPECT_EQ(outer::with_least_integers(model, x),
            (std::vector<double>{0.5, 0.75, 0.25, 0.75, 0.0}));
}

class Silent : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

// The head is from 1 to 5 and x1 from 3 to 4: deepest are the largest head and the smallest x1.
TEST(FirstPoints, DeepestPointHasTheMostRoomInItsCone) {
  Model model = test::free_variables({1.0, -2.0});
  model.var_lower = {1.0, 3.0};
  model.var_upper = {5.0, 4.0};
  model.cones = {Cone{ConeKind::kQuadratic, {0, 1}, {}}};
  const MinimizeProblem problem(model);
  const Parameters parameters;
  Silent monitor;
  outer::OptimumBounds bounds(problem, parameters);
  outer::InnerSolver solver(parameters, kInfinity, &monitor, &bounds);
  outer::ContinuousRelaxation relaxation(model);
  ASSERT_TRUE(relaxation.solve(&solver).ok());
  ASSERT_TRUE(relaxation.is_optimal());
  EXPECT_NEAR(relaxation.answer().x[1], 4.0, 1e-5) << "the optimum has no room";
  const std::vector<double> deepest = relaxation.deepest_point(&solver);
  ASSERT_EQ(deepest.size(), 2U);
  EXPECT_NEAR(deepest[0], 5.0, 1e-5);
  EXPECT_NEAR(deepest[1], 3.0, 1e-5);
}

// Two risky shares have too much risk, and the relaxation takes many of them but no cash: the first
// point needs the cash that is deep inside the cone, with one of the shares. There are too many for
// a dive, and the exponential cone leaves no linear model inside of the cones.
TEST(FirstPoints, ShareWithCashWhereTheLargestHaveTooMuchRisk) {
  constexpr size_t kRisky = 30;
  constexpr size_t kShares = kRisky + 1;
  constexpr size_t kHead = 2 * kShares;
  constexpr size_t kCount = kHead + 4;
  Model model = test::free_variables(std::vector<double>(kCount, 0.0));
  model.maximize = true;
  std::vector<double> sum(kCount, 0.0);
  std::vector<double> number = sum;
  Cone norm{ConeKind::kQuadratic, {kHead}, {}};
  for (size_t k = 0; k < kShares; ++k) {
    const bool risky = k < kRisky;
    model.cost[k] = risky ? 1.1 + 0.001 * static_cast<double>(k) : 1.0;
    model.var_lower[k] = model.var_lower[kShares + k] = 0.0;
    model.var_upper[kShares + k] = 1.0;
    model.var_kind[kShares + k] = VarKind::kInteger;
    std::vector<double> row(kCount, 0.0);
    row[k] = 1.0;
    row[kShares + k] = -1.0;
    test::add_constraint(&model, -kInfinity, 0.0, row);
    sum[k] = number[kShares + k] = 1.0;
    if (risky) norm.vars.push_back(static_cast<int32_t>(k));
  }
  test::add_constraint(&model, 1.0, 1.0, sum);
  test::add_constraint(&model, -kInfinity, 2.0, number);
  // The relaxation has the cash off, but some of the shares even more.
  model.cost[kShares + kRisky] = -0.001;
  for (size_t k = 0; k < 3; ++k) model.cost[kShares + k] = -0.01;
  model.var_lower[kHead] = model.var_upper[kHead] = 0.5;
  model.var_lower[kHead + 2] = model.var_upper[kHead + 2] = 1.0;
  model.var_lower[kHead + 3] = model.var_upper[kHead + 3] = 0.0;
  model.cones = {norm, Cone{ConeKind::kExponential, {kHead + 1, kHead + 2, kHead + 3}, {}}};
  test::MixedSolve mixed(model);
  mixed.put("VLN_IPAR_MIP_NODE_LIMIT", "0");
  mixed.solve();
  ASSERT_TRUE(mixed.solution().defined) << mixed.log();
  const std::vector<double>& x = mixed.solution().xx;
  const double gain = std::inner_product(x.begin(), x.end(), model.cost.begin(), 0.0);
  EXPECT_NEAR(gain, 0.5 * 1.0 + 0.5 * 1.129 - 0.001, 1e-5) << mixed.log();
}

// The continuous relaxation of a model with many elements takes long: a point comes before it.
TEST(FirstPoints, ComeBeforeTheRelaxationOfALargeModel) {
  constexpr size_t kVariables = 2000;
  constexpr size_t kRows = 60;
  constexpr size_t kSwitches = 10;
  test::Random random(1);
  Model model = test::free_variables(std::vector<double>(kVariables + kSwitches + 1, 0.0));
  model.var_lower.assign(model.cost.size(), 0.0);
  model.cost.back() = 1.0;
  Cone cone{ConeKind::kQuadratic, {static_cast<int32_t>(model.cost.size()) - 1}, {}};
  for (size_t k = 0; k < kSwitches; ++k) {
    const size_t z = kVariables + k;
    model.cost[z] = random.between(0.5, 1.0);
    model.var_upper[z] = 1.0;
    model.var_kind[z] = VarKind::kInteger;
    std::vector<double> row(model.cost.size(), 0.0);
    row[k] = 1.0;
    row[z] = -1.0;
    test::add_constraint(&model, -kInfinity, 0.0, row);
    cone.vars.push_back(static_cast<int32_t>(k));
  }
  for (size_t i = 0; i < kRows; ++i) {
    std::vector<double> row(model.cost.size(), 0.0);
    for (size_t j = 0; j < kVariables; ++j) row[j] = random.between(0.1, 1.0);
    test::add_constraint(&model, 1.0, kInfinity, row);
  }
  for (size_t j = kSwitches; j < kVariables; ++j) model.cost[j] = random.between(1.0, 2.0);
  model.cones = {cone};
  test::MixedSolve mixed(model);
  mixed.solve();
  EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
  EXPECT_LT(mixed.log().find("integers tried"), mixed.log().find("continuous relaxation"))
      << mixed.log();
}

TEST(FirstPoints, HaveAsManyOnAsWanted) {
  Model model = binaries(4);
  test::add_constraint(&model, 0.0, 3.0, std::vector<double>(4, 1.0));
  const std::vector<double> x = {0.1, 0.4, 0.2, 0.3};
  EXPECT_EQ(outer::count_integers(model, 4), 4U);
  EXPECT_EQ(outer::count_on(model, x), 1U);
  EXPECT_EQ(outer::with_largest_on(model, x, 0), std::vector<double>(4, 0.0));
  EXPECT_EQ(outer::with_largest_on(model, x, 2), (std::vector<double>{0.0, 1.0, 0.0, 1.0}));
  EXPECT_EQ(outer::with_largest_on(model, x, 4), (std::vector<double>{0.0, 1.0, 1.0, 1.0}))
      << "three is the most";
}

// Each column of the polyhedron is a member of the cone.
TEST(InnerApproximation, LiesInsideOfTheCones) {
  for (const ConeKind kind : {ConeKind::kQuadratic, ConeKind::kRotatedQuadratic}) {
    for (uint32_t seed = 1; seed <= 50; ++seed) {
      SCOPED_TRACE(seed);
      test::Random random(seed);
      const Cone cone = test::random_cone(kind, 0, &random);
      Model model = test::free_variables(std::vector<double>(cone.vars.size(), 0.0));
      model.cones = {cone};
      ASSERT_TRUE(outer::has_inner_approximation(model));
      const Model linear =
          outer::approximate_within(model, test::interior_point(cone, false, &random));
      const size_t size = cone.vars.size();
      ASSERT_GT(linear.cost.size(), size);
      for (size_t j = size; j < linear.cost.size(); ++j) {
        std::vector<double> member(size, 0.0);
        for (size_t k = index(linear.matrix.start[j]); k < index(linear.matrix.start[j + 1]); ++k) {
          member[index(linear.matrix.row[k])] = linear.matrix.value[k];
        }
        EXPECT_LE(cone_violation(cone, member), 1e-12);
        EXPECT_GT(*std::max_element(member.begin(), member.end()), 0.0);
      }
    }
  }
  Model other = test::free_variables({0.0, 0.0, 0.0});
  other.cones = {{ConeKind::kExponential, {0, 1, 2}, {}}};
  EXPECT_FALSE(outer::has_inner_approximation(other));
}

}  // namespace
}  // namespace vorlan
