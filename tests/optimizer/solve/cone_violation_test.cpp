// Cone membership and definiteness, against distances worked out by hand and against duality.
#include "solve/check/cone_violation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "solve/check/definiteness.h"

namespace vorlan {
namespace {

constexpr double kE = 2.718281828459045;

Cone cone_of(ConeKind kind, size_t size) {
  Cone cone;
  cone.kind = kind;
  for (size_t k = 0; k < size; ++k) cone.vars.push_back(static_cast<int32_t>(k));
  if (kind == ConeKind::kPower || kind == ConeKind::kDualPower) cone.exponents = {1.0, 3.0};
  return cone;
}

double violation(ConeKind kind, const std::vector<double>& x) {
  return cone_violation(cone_of(kind, x.size()), x);
}

// The least t by which every member must move, worked out from the definition.
struct Distance {
  ConeKind kind;
  std::vector<double> x;
  double expected;
};

TEST(ConeViolation, IsTheLeastRelativeChange) {
  const Distance distances[] = {
      {ConeKind::kQuadratic, {5.0, 3.0, 4.0}, 0.0},
      {ConeKind::kQuadratic, {4.9, 3.0, 4.0}, 0.1 / 9.9},  // 4.9 + 4.9 t = 5 - 5 t
      {ConeKind::kQuadratic, {-0.25}, 0.25},
      {ConeKind::kQuadratic, {-8.0, 0.0}, 1.0},
      {ConeKind::kRotatedQuadratic, {1.0, 2.0, -2.0}, 0.0},
      {ConeKind::kRotatedQuadratic, {1e6, 0.5e-6, 1.0}, 0.0},
      {ConeKind::kRotatedQuadratic, {1e6, 0.5e-6, 1.5}, 0.625e-6},  // 1 + 2e6 t = 1.5^2
      {ConeKind::kRotatedQuadratic, {-1e-3, 1.0, 0.0}, 1e-3},
      {ConeKind::kExponential, {kE, 1.0, 1.0}, 0.0},
      {ConeKind::kExponential, {2.0, 1.0, 1.0}, (kE - 2.0) / (kE + 2.0)},  // 2 + 2 t = e (1 - t)
      {ConeKind::kExponential, {0.0, 0.0, -1.0}, 0.0},
      {ConeKind::kExponential, {0.0, 0.0, 1e-9}, 1e-9 * kE / (1.0 + kE)},  // t = e (1e-9 - t)
      {ConeKind::kExponential, {1.0, -0.5, -1.0}, 0.5},
      {ConeKind::kExponential, {-1e-4, 1.0, -800.0}, 1e-4},
      {ConeKind::kDualExponential, {1.0 / kE, 0.0, -1.0}, 0.0},
      {ConeKind::kDualExponential, {1.0, -1.0, -1.0}, 0.0},
      {ConeKind::kDualExponential, {0.0, 0.0, 0.0}, 0.0},
      {ConeKind::kDualExponential, {1.0, 1.0, 1e-3}, 1e-3},
      {ConeKind::kPower, {16.0, 1.0, 2.0}, 0.0},
      {ConeKind::kPower, {16.0, 1.0, 1.2, -1.6}, 0.0},
      {ConeKind::kPower, {16.0, 1.0, 3.0}, 0.2},  // 2 (1 + t) = 3 (1 - t)
      {ConeKind::kPower, {-1e-7, 1.0, 0.0}, 1e-7},
      {ConeKind::kDualPower, {4.0, 0.75, 2.0}, 0.0},
  };
  for (const Distance& distance : distances) {
    EXPECT_NEAR(violation(distance.kind, distance.x), distance.expected,
                1e-14 + 1e-5 * distance.expected)
        << static_cast<int>(distance.kind) << ' ' << distance.x[0];
  }
}

TEST(ConeViolation, OfTheDualPowerCone) {
  // 2 (1 + t)^(1/4) (1 + t / 0.75)^(3/4) = 3 (1 - t)
  const double t = violation(ConeKind::kDualPower, {4.0, 0.75, 3.0});
  EXPECT_GT(t, 0.1);
  EXPECT_NEAR(2.0 * std::pow(1.0 + t, 0.25) * std::pow(1.0 + t / 0.75, 0.75), 3.0 * (1.0 - t),
              1e-5);
}

// Units make no difference when the sizes scale as the members do.
TEST(ConeViolation, IsRelativeToGivenSizes) {
  const Cone cone = cone_of(ConeKind::kQuadratic, 2);
  EXPECT_NEAR(cone_violation(cone, {1e-6, 1.5e-6}, {1e-6, 1.5e-6}), 0.2, 1e-6);
  EXPECT_NEAR(cone_violation(cone, {1e6, 1.5e6}, {1e6, 1.5e6}), 0.2, 1e-6);
  EXPECT_LT(cone_violation(cone, {1e-6, 1.5e-6}), 1e-6);
  // A head without a size of its own cannot move.
  EXPECT_EQ(cone_violation(cone, {0.0, 1.0}, {0.0, 1.0}), 1.0);
  EXPECT_NEAR(cone_violation(cone, {0.0, 1e-6}, {0.0, 1.0}), 1e-6, 1e-11);
  const Cone rotated = cone_of(ConeKind::kRotatedQuadratic, 3);
  EXPECT_EQ(dual_cone_violation(rotated, {1e9, 0.5e-9, 1.0}, {1e9, 0.5e-9, 1.0}), 0.0);
  EXPECT_NEAR(dual_cone_violation(rotated, {1e9, 0.0, 1.0}, {1e9, 1e-9, 1.0}), 0.236068, 1e-6);
}

// The first member raised or lowered until the point is on the border of the set; empty where no
// first member does it.
template <class Violation>
std::vector<double> on_the_border(std::vector<double> x, Violation&& violation) {
  double outside = 0.0;
  double inside = 1e4;
  x[0] = inside;
  if (violation(x) > 0.0) return {};
  while (inside - outside > 1e-12 * inside) {
    x[0] = 0.5 * (inside + outside);
    (violation(x) > 0.0 ? outside : inside) = x[0];
  }
  x[0] = inside;
  return x;
}

// A point of the cone and one of the dual cone never form an obtuse angle, and at the border there
// are pairs with nearly a right one: neither cone is too large, and neither much too small.
TEST(ConeViolation, DualConesAreDual) {
  std::mt19937 random(5);
  std::normal_distribution<double> number;
  for (const ConeKind kind :
       {ConeKind::kQuadratic, ConeKind::kRotatedQuadratic, ConeKind::kExponential,
        ConeKind::kDualExponential, ConeKind::kPower, ConeKind::kDualPower}) {
    const Cone cone = cone_of(kind, 3);
    int pairs = 0;
    double least = 1.0;
    for (int k = 0; k < 500; ++k) {
      const std::vector<double> start = {0.0, number(random), number(random)};
      const std::vector<double> end = {0.0, number(random), number(random)};
      const auto x =
          on_the_border(start, [&](const auto& point) { return cone_violation(cone, point); });
      const auto s =
          on_the_border(end, [&](const auto& point) { return dual_cone_violation(cone, point); });
      if (x.empty() || s.empty()) continue;
      ++pairs;
      const double lengths = std::sqrt(std::inner_product(x.begin(), x.end(), x.begin(), 0.0) *
                                       std::inner_product(s.begin(), s.end(), s.begin(), 0.0));
      least = std::min(least, std::inner_product(x.begin(), x.end(), s.begin(), 0.0) / lengths);
    }
    EXPECT_GT(pairs, 60) << static_cast<int>(kind);
    EXPECT_GE(least, -1e-9) << static_cast<int>(kind);
    EXPECT_LE(least, 1e-2) << static_cast<int>(kind);
  }
}

TEST(Definiteness, IsTheLeastShift) {
  const auto measured = [](std::vector<double> packed) {
    const auto dimension = packed.size() == 1 ? size_t{1} : size_t{2};
    return indefiniteness(packed, dimension);
  };
  EXPECT_EQ(measured({2.0, -1.0, 2.0}), 0.0);
  EXPECT_EQ(measured({1.0, 1.0, 1.0}), 0.0);
  EXPECT_EQ(measured({0.0, 0.0, 0.0}), 0.0);
  EXPECT_EQ(measured({1e12, 1.0, 1e-12}), 0.0);
  // Twofold steps: the answer is between the shift that is needed and twice that.
  const auto expect_shift = [](double value, double shift) {
    EXPECT_GE(value, shift * (1.0 - 1e-12));
    EXPECT_LE(value, 2.0 * shift);
  };
  expect_shift(measured({1.0, 1.1, 1.0}), 0.1);
  expect_shift(measured({-1e-9}), 1e-9);
  expect_shift(measured({1e6, 0.0, -1e-3}), 1e-3);  // not relative to the other element
  EXPECT_EQ(measured({0.0, 5.0, 0.0}), 1.0);
  const std::vector<double> sizes = {1e-6, 1e6};
  expect_shift(indefiniteness(std::vector<double>{1e-6, 1.1, 1e6}, sizes), 0.1);
  const std::vector<double> none = {1e-6, 0.0};
  EXPECT_EQ(indefiniteness(std::vector<double>{1e-6, 1.0, 0.0}, none), 0.0);
}

TEST(Definiteness, OfSparseMatrices) {
  EXPECT_EQ(indefiniteness({}), 0.0);
  EXPECT_EQ(indefiniteness({{7, 7, 2.0}, {100000, 100000, 0.0}}), 0.0);
  EXPECT_EQ(indefiniteness({{3, 3, 1.0}, {9, 3, -1.0}, {9, 9, 1.0}}), 0.0);
  EXPECT_EQ(indefiniteness({{3, 3, 1.0}, {3, 3, -2.0}}), 1.0);  // summed: -1
  EXPECT_GE(indefiniteness({{3, 3, 1.0}, {9, 3, -1.2}, {9, 9, 1.0}}), 0.2 - 1e-12);
  EXPECT_GE(indefiniteness({{4, 4, 1e-3}, {5, 4, 1.0}}), 0.9);
}

}  // namespace
}  // namespace vorlan
