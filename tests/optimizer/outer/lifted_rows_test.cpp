// Rows that binary variables make stronger: they lose no point of integers.
#include "solve/outer/lifted_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "cone_points.h"
#include "conic_models.h"

namespace vorlan {
namespace {

std::vector<outer::LinearRow> rows_of(const Model& model) {
  std::vector<outer::LinearRow> rows;
  for (size_t i = 0; i < model.con_lower.size(); ++i) {
    rows.push_back({model.con_lower[i], model.con_upper[i], {}});
  }
  for (int32_t j = 0; j < model.num_var(); ++j) {
    const auto end = static_cast<size_t>(model.matrix.start[index(j) + 1]);
    for (auto k = static_cast<size_t>(model.matrix.start[index(j)]); k < end; ++k) {
      rows[index(model.matrix.row[k])].terms.emplace_back(j, model.matrix.value[k]);
    }
  }
  return rows;
}

double violation(const std::vector<outer::LinearRow>& rows, const std::vector<double>& x) {
  double most = 0.0;
  for (const outer::LinearRow& row : rows) {
    double sum = 0.0;
    for (const auto& [column, value] : row.terms) sum += value * x[index(column)];
    most = std::max({most, row.lower - sum, sum - row.upper});
  }
  return most;
}

double coefficient(const outer::LinearRow& row, int32_t var) {
  double sum = 0.0;
  for (const auto& [column, value] : row.terms) sum += column == var ? value : 0.0;
  return sum;
}

// x <= 4 z, y <= 5 z and x - y <= 1 - z, x and y not negative. While z is 0, x - y is 0.
Model switched_pair() {
  Model model = test::free_variables({0.0, 0.0, 0.0});
  model.var_lower = {0.0, 0.0, 0.0};
  model.var_upper = {kInfinity, kInfinity, 1.0};
  model.var_kind[2] = VarKind::kInteger;
  test::add_constraint(&model, -kInfinity, 0.0, {1.0, 0.0, -4.0});
  test::add_constraint(&model, -kInfinity, 0.0, {0.0, 1.0, -5.0});
  test::add_constraint(&model, -kInfinity, 1.0, {1.0, -1.0, 1.0});
  return model;
}

TEST(LiftedRows, TakeWhatOtherRowsImply) {
  const Model model = switched_pair();
  auto rows = rows_of(model);
  EXPECT_EQ(outer::lift_rows(model, &rows), 1);
  EXPECT_NEAR(rows[2].upper, 0.0, 1e-4) << "x - y <= 0, whatever z is";
  EXPECT_NEAR(coefficient(rows[2], 2), 0.0, 1e-4);
  EXPECT_EQ(rows[0].upper, 0.0) << "there is no room in x <= 4 z";
  EXPECT_EQ(coefficient(rows[0], 2), -4.0);
}

TEST(LiftedRows, TakeItOfRowsWithALowerSideAndOfTheOtherValue) {
  // The same with 1 - z for z, and the last row turned around.
  Model model = test::free_variables({0.0, 0.0, 0.0});
  model.var_lower = {0.0, 0.0, 0.0};
  model.var_upper = {kInfinity, kInfinity, 1.0};
  model.var_kind[2] = VarKind::kInteger;
  test::add_constraint(&model, -kInfinity, 4.0, {1.0, 0.0, 4.0});
  test::add_constraint(&model, -kInfinity, 5.0, {0.0, 1.0, 5.0});
  test::add_constraint(&model, 0.0, kInfinity, {-1.0, 1.0, 1.0});
  auto rows = rows_of(model);
  EXPECT_EQ(outer::lift_rows(model, &rows), 1);
  EXPECT_NEAR(rows[2].lower, 0.0, 1e-4);
  EXPECT_NEAR(coefficient(rows[2], 2), 0.0, 1e-4);
}

TEST(LiftedRows, LeaveRowsWithTwoSidesRowsOfIntegersAndIntegersOfMoreValues) {
  Model model = switched_pair();
  model.con_lower[2] = -9.0;
  auto rows = rows_of(model);
  EXPECT_EQ(outer::lift_rows(model, &rows), 0);
  model = switched_pair();
  model.var_kind[0] = model.var_kind[1] = VarKind::kInteger;
  rows = rows_of(model);
  EXPECT_EQ(outer::lift_rows(model, &rows), 0);
  model = switched_pair();
  model.var_upper[2] = 2.0;
  rows = rows_of(model);
  EXPECT_EQ(outer::lift_rows(model, &rows), 0);
}

constexpr int32_t kSwitches = 4;

// Continuous variables x_k <= u z_k, and rows of all variables.
Model random_switches(test::Random* random) {
  Model model = test::free_variables(std::vector<double>(2 * index(kSwitches), 0.0));
  for (size_t k = 0; k < index(kSwitches); ++k) {
    const size_t z = index(kSwitches) + k;
    model.var_kind[z] = VarKind::kInteger;
    model.var_lower[k] = model.var_lower[z] = 0.0;
    model.var_upper[z] = 1.0;
    std::vector<double> row(model.cost.size(), 0.0);
    row[k] = 1.0;
    row[z] = -random->between(1.0, 20.0);
    test::add_constraint(&model, -kInfinity, 0.0, row);
  }
  for (int i = 0; i < 4; ++i) {
    std::vector<double> row(model.cost.size(), 0.0);
    for (double& value : row) {
      if (random->chance(50)) value = random->whole(-3, 3);
    }
    const double side = random->whole(-2, 8);
    const bool upper = random->chance(50);
    test::add_constraint(&model, upper ? -kInfinity : -side, upper ? side : kInfinity, row);
  }
  return model;
}

// A point with integers, most of whose switched variables are at a bound.
std::vector<double> random_point(const Model& model, test::Random* random) {
  std::vector<double> x(model.cost.size(), 0.0);
  for (size_t k = 0; k < index(kSwitches); ++k) {
    const size_t z = index(kSwitches) + k;
    x[z] = random->whole(0, 1);
    const auto first = static_cast<size_t>(model.matrix.start[z]);
    const double most = -model.matrix.value[first] * x[z];
    x[k] = random->chance(60) ? most * random->whole(0, 1) : random->between(0.0, 1.0) * most;
  }
  return x;
}

TEST(LiftedRows, HoldAtAllPointsOfIntegers) {
  int changed = 0;
  int points = 0;
  for (uint32_t seed = 0; seed < 200; ++seed) {
    test::Random random(seed);
    const Model model = random_switches(&random);
    const auto before = rows_of(model);
    auto rows = before;
    changed += outer::lift_rows(model, &rows);
    for (int k = 0; k < 200; ++k) {
      const std::vector<double> x = random_point(model, &random);
      if (violation(before, x) > 0.0) continue;
      ++points;
      EXPECT_LE(violation(rows, x), 1e-7) << "seed " << seed;
    }
  }
  EXPECT_GT(changed, 100);
  EXPECT_GT(points, 1000);
}

}  // namespace
}  // namespace vorlan
