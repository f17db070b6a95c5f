// Linear models that are solved again and again, with the variables that equations of two determine
// replaced.
#include "solve/highs/dynamic_lp.h"

#include <gtest/gtest.h>

#include <cmath>

#include "cone_points.h"
#include "conic_models.h"
#include "solve/backend.h"
#include "solve/check/checker.h"
#include "solve/check/vectors.h"
#include "solve/highs/highs_backend.h"
#include "solve/highs/pair_substitution.h"

namespace vorlan {
namespace {

constexpr size_t kVariables = 10;

class Silent : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

BackendResult solve_linear(const Model& model) {
  Silent monitor;
  BackendResult result;
  const Status status =
      kHighsBackend.solve(MinimizeProblem(model), Parameters(), kInfinity, &monitor, &result);
  EXPECT_TRUE(status.ok()) << status.message();
  return result;
}

// Bounded variables, some of which are multiples of others, through chains and a cycle, and rows of
// several of them.
Model linked_model(uint32_t seed) {
  test::Random random(seed);
  Model model = test::free_variables(std::vector<double>(kVariables, 0.0));
  for (size_t j = 0; j < kVariables; ++j) {
    model.cost[j] = random.between(-1.0, 1.0);
    model.var_lower[j] = random.between(-4.0, -1.0);
    model.var_upper[j] = random.between(1.0, 4.0);
  }
  const size_t links[][2] = {{0, 1}, {1, 2}, {2, 0}, {3, 4}, {5, 4}};
  for (const auto& [a, b] : links) {
    std::vector<double> row(kVariables, 0.0);
    row[a] = random.between(0.5, 2.0);
    row[b] = random.between(-2.0, -0.5);
    const double rhs = b == 4 ? random.between(-0.5, 0.5) : 0.0;
    test::add_constraint(&model, rhs, rhs, row);
  }
  for (int i = 0; i < 4; ++i) {
    std::vector<double> row(kVariables, 0.0);
    for (double& value : row) value = random.between(-1.0, 1.0);
    test::add_constraint(&model, -1.0, i == 0 ? kInfinity : 2.0, row);
  }
  return model;
}

TEST(PairSubstitution, LeavesOneColumnForEachClass) {
  Model model = linked_model(1);
  model.var_kind[1] = VarKind::kInteger;
  const PairSubstitution pairs(model);
  EXPECT_EQ(pairs.num_columns(), static_cast<int32_t>(kVariables) - 4);
  EXPECT_EQ(pairs.image(1).factor, 1.0);
  EXPECT_EQ(pairs.image(0).column, pairs.image(1).column);
  EXPECT_EQ(pairs.image(2).column, pairs.image(1).column);
  EXPECT_FALSE(pairs.is_used(2));  // the equation that closes the cycle
}

TEST(DynamicLp, AgreesWithTheModelThroughChanges) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    Model model = linked_model(seed);
    DynamicLp lp(model, 8.0);
    for (int change = 0; change < 6; ++change) {
      const BackendResult expected = solve_linear(model);
      const auto answer = lp.solve(kInfinity, -1, kInfinity);
      if (expected.outcome == Outcome::kInfeasible) {
        EXPECT_EQ(answer, DynamicLp::Answer::kInfeasible);
        break;
      }
      ASSERT_EQ(answer, DynamicLp::Answer::kOptimal);
      EXPECT_NEAR(lp.objective(), dot(model.cost, expected.x), 1e-6);
      EXPECT_LE(primal_violation(model, lp.x()), 1e-7);
      const auto var = static_cast<int32_t>(random.between(0.0, kVariables - 0.01));
      model.var_upper[index(var)] = lp.x()[index(var)] - 0.2;
      model.var_lower[index(var)] -= 2.0;
      lp.set_bounds(var, model.var_lower[index(var)], model.var_upper[index(var)]);
      std::vector<double> row(kVariables, 0.0);
      PairSubstitution::Terms terms;
      for (int32_t j = 0; j < static_cast<int32_t>(kVariables); ++j) {
        row[index(j)] = random.between(-1.0, 1.0);
        terms.emplace_back(j, row[index(j)]);
      }
      test::add_constraint(&model, -2.0, kInfinity, row);
      lp.add_row(-2.0, kInfinity, terms);
    }
  }
}

// What a variable costs by its reduced cost is a bound of the optimum where it moves.
TEST(DynamicLp, ReducedCostsAreThoseOfTheVariable) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    Model model = linked_model(seed);
    DynamicLp lp(model, 4.0);
    if (lp.solve(kInfinity, -1, kInfinity) != DynamicLp::Answer::kOptimal) continue;
    const std::vector<double> x = lp.x();
    const double objective = lp.objective();
    for (int32_t j = 0; j < static_cast<int32_t>(kVariables); ++j) {
      const double cost = lp.reduced_cost(j);
      if (cost == 0.0) continue;
      Model moved = model;
      const double step = cost > 0.0 ? 0.01 : -0.01;
      moved.var_lower[index(j)] = moved.var_upper[index(j)] = x[index(j)] + step;
      const BackendResult found = solve_linear(moved);
      if (found.outcome != Outcome::kOptimal) continue;
      EXPECT_GE(dot(model.cost, found.x), objective + std::fabs(cost * step) - 1e-7);
    }
  }
}

}  // namespace
}  // namespace vorlan
