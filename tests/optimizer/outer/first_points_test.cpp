// Bounds that follow from linear constraints, and integers to try first.
#include "solve/outer/first_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "cone_points.h"
#include "conic_models.h"
#include "solve/check/cone_violation.h"
#include "solve/outer/bound_propagation.h"
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
