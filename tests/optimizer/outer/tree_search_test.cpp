// One tree with lazy cuts: portfolios whose risk is a norm of many members, against the trying of all
// integers.
#include "solve/outer/tree_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "cone_points.h"
#include "conic_models.h"
#include "mixed_solve.h"
#include "random_mixed_model.h"
#include "solve/highs/dynamic_lp.h"

namespace vorlan {
namespace {

constexpr size_t kShares = 8;
constexpr size_t kFactors = 12;
constexpr double kMostShares = 3.0;

// max gain'x with sum x <= 1, x <= z, at most three shares, and |F x| <= 0.3. The variables are x, z,
// w = F x, and the head of the norm.
Model portfolio(uint32_t seed) {
  test::Random random(seed);
  const size_t count = 2 * kShares + kFactors + 1;
  Model model = test::free_variables(std::vector<double>(count, 0.0));
  model.maximize = true;
  for (size_t k = 0; k < kShares; ++k) {
    model.cost[k] = random.between(0.02, 0.2);
    model.var_lower[k] = 0.0;
    model.var_lower[kShares + k] = 0.0;
    model.var_upper[kShares + k] = 1.0;
    model.var_kind[kShares + k] = VarKind::kInteger;
    std::vector<double> row(count, 0.0);
    row[k] = 1.0;
    row[kShares + k] = -1.0;
    test::add_constraint(&model, -kInfinity, 0.0, row);
  }
  std::vector<double> sum(count, 0.0);
  std::vector<double> number(count, 0.0);
  for (size_t k = 0; k < kShares; ++k) sum[k] = number[kShares + k] = 1.0;
  test::add_constraint(&model, -kInfinity, 1.0, sum);
  test::add_constraint(&model, -kInfinity, kMostShares, number);
  const auto head = static_cast<int32_t>(count - 1);
  model.var_lower.back() = model.var_upper.back() = 0.3;
  Cone cone{ConeKind::kQuadratic, {head}, {}};
  for (size_t f = 0; f < kFactors; ++f) {
    std::vector<double> row(count, 0.0);
    for (size_t k = 0; k < kShares; ++k) row[k] = random.between(-0.3, 0.3);
    row[2 * kShares + f] = -1.0;
    test::add_constraint(&model, 0.0, 0.0, row);
    cone.vars.push_back(static_cast<int32_t>(2 * kShares + f));
  }
  model.cones = {cone};
  return model;
}

TEST(TreeSearch, FindsTheBestPortfolio) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    test::MixedSolve mixed(portfolio(seed));
    mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
    mixed.solve();
    const test::Enumeration best = test::enumerate(mixed.task().model);
    ASSERT_TRUE(best.feasible);
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    EXPECT_NEAR(mixed.solution().primal_objective, best.objective, 1e-5) << mixed.log();
    // Round 1 is the tree. Without it the rounds need several solves of the relaxation.
    EXPECT_EQ(mixed.log().find("\n     2  "), std::string::npos) << mixed.log();
  }
}

// Fewer cuts and another order of branching lead to the same portfolio.
TEST(TreeSearch, ObeysCutsOffAndPriorities) {
  double nodes[3] = {0.0, 0.0, 0.0};
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    const double best = test::enumerate(portfolio(seed)).objective;
    for (size_t way = 0; way < 3; ++way) {
      Model model = portfolio(seed);
      for (size_t k = 0; way == 2 && k < kShares; ++k) {
        model.branching_priority.resize(kShares + k + 1, 0);
        model.branching_priority.back() = static_cast<int32_t>(k);
      }
      test::MixedSolve mixed(model);
      mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-6");
      if (way == 1) mixed.put("VLN_IPAR_MIP_CUTS", "off");
      mixed.solve();
      EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
      EXPECT_NEAR(mixed.solution().primal_objective, best, 1e-5);
      nodes[way] += mixed.figure("nodes");
    }
  }
  EXPECT_GT(nodes[1], nodes[0]);
  EXPECT_NE(nodes[2], nodes[0]);
}

// A limit on nodes holds for the tree as well, and its bound stays one.
TEST(TreeSearch, ObeysTheNodeLimit) {
  test::MixedSolve mixed(portfolio(3));
  const test::Enumeration best = test::enumerate(mixed.task().model);
  mixed.put("VLN_IPAR_MIP_NODE_LIMIT", "2");
  mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-9");
  mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
  mixed.solve();
  EXPECT_LE(mixed.figure("nodes"), 3.0) << mixed.log();
  EXPECT_GE(mixed.figure("bound"), best.objective - 1e-6) << mixed.log();
}

// Nodes that cannot reach the caller's cutoff are not searched, whatever the incumbent is, and the
// end says that the cutoff is out of reach.
TEST(TreeSearch, LeavesOutWhatCannotReachTheCutoff) {
  double nodes[2] = {0.0, 0.0};
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    const double best = test::enumerate(portfolio(seed)).objective;
    for (const bool is_cut : {false, true}) {
      test::MixedSolve mixed(portfolio(seed));
      mixed.put("VLN_DPAR_MIP_RELATIVE_GAP", "1e-9");
      mixed.put("VLN_DPAR_MIP_ABSOLUTE_GAP", "0");
      mixed.put("VLN_IPAR_MIP_CUTS", "off");
      const double reach = 1.01 * best;  // of a maximization
      if (is_cut) mixed.put("VLN_DPAR_LOWER_OBJECTIVE_CUTOFF", std::to_string(reach).c_str());
      mixed.solve();
      nodes[is_cut ? 1 : 0] += mixed.figure("nodes");
      if (!is_cut) continue;
      EXPECT_EQ(mixed.termination(), Code::kTrmObjectiveCutoff) << mixed.log();
      EXPECT_LT(mixed.figure("bound"), reach) << mixed.log();
      EXPECT_GE(mixed.figure("bound"), best - 1e-6) << mixed.log();
    }
  }
  // It is three quarters where the nodes are searched until the bound has come down to the cutoff.
  EXPECT_LT(nodes[1], 0.5 * nodes[0]);
}

// A row of progress has how many nodes are open, as that of branch and cut.
TEST(TreeSearch, TellsHowManyNodesAreOpen) {
  std::string logs;
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    test::MixedSolve mixed(portfolio(seed));
    mixed.put("VLN_DPAR_LOG_INTERVAL", "0");
    mixed.put("VLN_IPAR_MIP_CUTS", "off");
    mixed.solve();
    logs += mixed.log();
  }
  // time, nodes, open
  EXPECT_TRUE(std::regex_search(logs, std::regex("[0-9] s +[1-9][0-9]* +[1-9][0-9]* "))) << logs;
}

// The binary points of a linear model whose objective is less than a value.
std::vector<std::vector<double>> points_below(const Model& model, double value) {
  std::vector<std::vector<double>> points;
  const size_t count = model.cost.size();
  for (size_t number = 0; number < size_t{1} << count; ++number) {
    std::vector<double> x(count);
    std::vector<double> rows(model.con_lower.size(), 0.0);
    double objective = 0.0;
    for (size_t j = 0; j < count; ++j) {
      x[j] = static_cast<double>(number >> j & 1U);
      objective += model.cost[j] * x[j];
      for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
        rows[index(model.matrix.row[k])] += model.matrix.value[k] * x[j];
      }
    }
    bool inside = objective < value;
    for (size_t i = 0; i < rows.size(); ++i) inside = inside && rows[i] >= model.con_lower[i];
    if (inside) points.push_back(std::move(x));
  }
  return points;
}

// What reduced costs say of integers, against all points of linear models.
TEST(TreeSearch, KeepsAtTheirBoundsWhatIsThereInAllBetterPoints) {
  constexpr int32_t kVars = 8;
  constexpr int kRows = 4;
  int held = 0;
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    std::vector<double> cost(kVars, 0.0);
    for (double& value : cost) value = random.between(-1.0, 4.0);
    Model model = test::free_variables(cost);
    model.var_lower.assign(kVars, 0.0);
    model.var_upper.assign(kVars, 1.0);
    for (int i = 0; i < kRows; ++i) {
      std::vector<double> row(kVars, 0.0);
      for (double& value : row) value = random.between(-1.0, 3.0);
      test::add_constraint(&model, random.between(0.5, 3.0), kInfinity, row);
    }
    DynamicLp lp(model, 1.0);
    if (lp.solve(kInfinity, -1, kInfinity) != DynamicLp::Answer::kOptimal) continue;
    const double room = random.between(0.05, 2.0);
    std::vector<double> bounds;
    for (int32_t j = 0; j < kVars; ++j) {
      bounds.push_back(
          outer::bound_to_stay_at(lp.x()[index(j)], 0.0, 1.0, lp.reduced_cost(j), room));
      held += std::isnan(bounds.back()) ? 0 : 1;
    }
    for (const std::vector<double>& x : points_below(model, lp.objective() + room)) {
      for (size_t j = 0; j < x.size(); ++j) {
        EXPECT_TRUE(std::isnan(bounds[j]) || bounds[j] == x[j]) << j;
      }
    }
  }
  EXPECT_GT(held, 100);
}

}  // namespace
}  // namespace vorlan
