// Norms of what follows from switched variables: their squares as quadratic forms.
#include <gtest/gtest.h>

#include <cmath>

#include "cone_points.h"
#include "conic_models.h"
#include "mixed_solve.h"
#include "random_mixed_model.h"
#include "solve/check/checker.h"
#include "solve/outer/norm_forms.h"
#include "solve/outer/relaxation.h"

namespace vorlan {
namespace {

constexpr size_t kShares = 6;
constexpr double kRisk = 0.6;
constexpr double kPrice = 0.5;

// The factor F of the risk |F x|, with much of each share's risk its own.
std::vector<std::vector<double>> factor_of(uint32_t seed) {
  test::Random random(seed);
  std::vector<std::vector<double>> rows(kShares, std::vector<double>(kShares, 0.0));
  for (size_t i = 0; i < kShares; ++i) {
    for (size_t k = 0; k < kShares; ++k) rows[i][k] = random.between(-0.2, 0.2);
    rows[i][i] = random.between(0.5, 1.0);
  }
  return rows;
}

// max gain'x - price t with sum x = 1, x <= z, sum z <= 3, |F x| <= 0.6 and |F x| <= 2 t. The variables
// are x, z, y = F x, a copy v of y, w = F x / 2, the fixed head of (head, v), and t, the head of w.
Model priced_portfolio(uint32_t seed) {
  test::Random random(seed + 100);
  const auto factor = factor_of(seed);
  const size_t count = 5 * kShares + 2;
  Model model = test::free_variables(std::vector<double>(count, 0.0));
  model.maximize = true;
  const auto add = [&](double lower, double upper,
                       const std::vector<std::pair<size_t, double>>& terms) {
    std::vector<double> row(count, 0.0);
    for (const auto& [var, value] : terms) row[var] = value;
    test::add_constraint(&model, lower, upper, row);
  };
  Cone limit{ConeKind::kQuadratic, {static_cast<int32_t>(count - 2)}, {}};
  Cone price{ConeKind::kQuadratic, {static_cast<int32_t>(count - 1)}, {}};
  std::vector<std::pair<size_t, double>> sum;
  std::vector<std::pair<size_t, double>> number;
  for (size_t k = 0; k < kShares; ++k) {
    model.cost[k] = random.between(0.05, 0.3);
    model.var_lower[k] = 0.0;
    model.var_lower[kShares + k] = 0.0;
    model.var_upper[kShares + k] = 1.0;
    model.var_kind[kShares + k] = VarKind::kInteger;
    add(-kInfinity, 0.0, {{k, 1.0}, {kShares + k, -1.0}});
    sum.emplace_back(k, 1.0);
    number.emplace_back(kShares + k, 1.0);
    std::vector<std::pair<size_t, double>> whole = {{2 * kShares + k, -1.0}};
    std::vector<std::pair<size_t, double>> half = {{4 * kShares + k, 1.0}};
    for (size_t j = 0; j < kShares; ++j) {
      whole.emplace_back(j, factor[k][j]);
      half.emplace_back(j, -0.5 * factor[k][j]);
    }
    add(0.0, 0.0, whole);
    add(0.0, 0.0, half);
    add(0.0, 0.0, {{2 * kShares + k, 1.0}, {3 * kShares + k, -1.0}});
    limit.vars.push_back(static_cast<int32_t>(3 * kShares + k));
    price.vars.push_back(static_cast<int32_t>(4 * kShares + k));
  }
  add(1.0, 1.0, sum);
  add(-kInfinity, 3.0, number);
  model.var_lower[count - 2] = model.var_upper[count - 2] = kRisk;
  model.cost[count - 1] = -kPrice;
  model.cones = {price, limit};
  return model;
}

TEST(NormForms, AreSharedByMultiples) {
  const Model model = priced_portfolio(1);
  const outer::RowView rows(model);
  const auto forms = outer::find_norm_forms(model, rows, outer::find_switches(model, rows));
  ASSERT_EQ(forms.size(), 1U);
  ASSERT_EQ(forms[0].heads.size(), 2U);
  // Half of F makes the form; its own head is the free one.
  EXPECT_NEAR(forms[0].most, 0.5 * kRisk, 1e-12);
  EXPECT_FALSE(forms[0].heads[0].is_fixed);
  EXPECT_TRUE(forms[0].heads[1].is_fixed);
  EXPECT_NEAR(forms[0].heads[1].factor, 0.5, 1e-12);
  const auto factor = factor_of(1);
  for (const TriangleEntry& e : forms[0].square) {
    double product = 0.0;
    for (const auto& row : factor) product += 0.25 * row[index(e.row)] * row[index(e.col)];
    EXPECT_NEAR(e.value, product, 1e-12);
  }
}

// All that follows from the shares.
std::vector<double> complete(uint32_t seed, const std::vector<double>& x, bool whole) {
  const auto factor = factor_of(seed);
  std::vector<double> point(5 * kShares + 2, 0.0);
  double square = 0.0;
  for (size_t k = 0; k < kShares; ++k) {
    point[k] = x[k];
    point[kShares + k] = whole ? std::ceil(x[k]) : x[k];
    double y = 0.0;
    for (size_t j = 0; j < kShares; ++j) y += factor[k][j] * x[j];
    point[2 * kShares + k] = point[3 * kShares + k] = y;
    point[4 * kShares + k] = 0.5 * y;
    square += y * y;
  }
  point[5 * kShares] = kRisk;
  point[5 * kShares + 1] = 0.5 * std::sqrt(square);
  return point;
}

TEST(NormForms, CutsHoldAtWholePointsAndNotBetweenThem) {
  for (uint32_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = priced_portfolio(seed);
    const MinimizeProblem problem(model);
    outer::Relaxation relaxation(problem);
    test::Random random(seed);
    const std::vector<double> spread(kShares, 1.0 / kShares);
    const std::vector<double> between = relaxation.lift(complete(seed, spread, false), {});
    EXPECT_GT(relaxation.separate(between), 0);
    for (int trial = 0; trial < 20; ++trial) {
      std::vector<double> x(kShares, 0.0);
      for (double& share : x) share = random.between(0.0, 0.5);
      relaxation.separate(relaxation.lift(complete(seed, x, false), {}));
    }
    Model linear = relaxation.make_model();
    linear.var_kind.assign(linear.var_kind.size(), VarKind::kContinuous);
    int inside = 0;
    for (int trial = 0; trial < 200; ++trial) {
      std::vector<double> x(kShares, 0.0);
      double rest = 1.0;
      for (size_t k : {0U, 1U}) {
        const double share = k == 1 ? rest : random.between(0.0, rest);
        x[static_cast<size_t>(random.between(0.0, kShares - 0.01))] += share;
        rest -= share;
      }
      const std::vector<double> point = complete(seed, x, true);
      if (primal_violation(model, point) > 1e-9) continue;
      ++inside;
      EXPECT_LE(primal_violation(linear, relaxation.lift(point, {})), 1e-9);
    }
    EXPECT_GT(inside, 0);
  }
}

TEST(NormForms, PortfoliosAgreeWithEnumeration) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = priced_portfolio(seed);
    test::MixedSolve mixed(model);
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-7");
    mixed.solve();
    const test::Enumeration best = test::enumerate(model);
    ASSERT_TRUE(best.feasible);
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    EXPECT_NEAR(mixed.solution().primal_objective, best.objective, 1e-6);
  }
}

}  // namespace
}  // namespace vorlan
