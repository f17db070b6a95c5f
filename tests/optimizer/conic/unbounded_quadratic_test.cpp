// Quadratic programs that are unbounded by construction, with quadratic terms of all sizes. The data
// are small integers times powers of two, so that the direction in which the objective falls for
// ever is exact. More of them: VORLAN_RANDOM_MODELS=5000.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "cone_points.h"
#include "conic_models.h"
#include "conic_solve.h"
#include "random_count.h"

namespace vorlan {
namespace {

using test::number_from;
using test::proves_unbounded;
using test::Random;
using test::solve_conic;
using test::Solved;

std::vector<double> whole_vector(size_t n, Random* random) {
  std::vector<double> values(n);
  for (double& value : values) value = random->whole(-3, 3);
  return values;
}

double product(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (size_t j = 0; j < a.size(); ++j) sum += a[j] * b[j];
  return sum;
}

// A row that is orthogonal to the direction.
std::vector<double> orthogonal_row(const std::vector<double>& direction, Random* random) {
  std::vector<double> row(direction.size(), 0.0);
  const int last = static_cast<int>(direction.size()) - 1;
  const auto i = static_cast<size_t>(random->whole(0, last - 1));
  const auto j = static_cast<size_t>(random->whole(static_cast<int>(i) + 1, last));
  row[i] = direction[j];
  row[j] = -direction[i];
  return row;
}

// minimize 1/2 x'F'F x + c'x over a'x >= side, with a direction d: F d = 0, c'd < 0, a'd > 0.
Model make_model(uint32_t seed) {
  Random random(seed);
  const auto n = static_cast<size_t>(random.whole(2, 5));
  std::vector<double> direction;
  std::vector<double> cost;
  do {
    direction = whole_vector(n, &random);
    cost = whole_vector(n, &random);
  } while (product(cost, direction) >= 0.0);
  std::vector<double> row = whole_vector(n, &random);
  if (product(row, direction) <= 0.0) row = direction;
  Model model = test::free_variables(cost);
  const int exponent = random.whole(-6, 2);
  for (double& c : model.cost) c = std::ldexp(c, exponent);
  test::add_constraint(&model, -std::ldexp(1.0, random.whole(0, 13)), kInfinity, row);
  std::vector<std::vector<double>> factor(static_cast<size_t>(random.whole(1, 4)));
  for (auto& f : factor) f = orthogonal_row(direction, &random);
  const double scale = std::ldexp(1.0, random.whole(-6, 26));
  for (size_t col = 0; col < n; ++col) {
    for (size_t below = col; below < n; ++below) {
      double sum = 0.0;
      for (const auto& f : factor) sum += f[below] * f[col];
      if (sum == 0.0) continue;
      model.quadratic_cost.push_back(
          {static_cast<int32_t>(below), static_cast<int32_t>(col), scale * sum});
    }
  }
  return model;
}

TEST(UnboundedQuadratics, AreNeverCalledFeasibleInBothSenses) {
  const uint32_t first = number_from("VORLAN_RANDOM_FIRST", 1);
  const uint32_t count = number_from("VORLAN_RANDOM_MODELS", 500);
  uint32_t proved = 0;
  for (uint32_t seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE(seed);
    Solved solved;
    solved.task.model = make_model(seed);
    solve_conic(&solved);
    ASSERT_TRUE(solved.status.ok()) << solved.status.message();
    const ProblemStatus status = solved.solution().problem_status;
    EXPECT_NE(status, ProblemStatus::kPrimalAndDualFeasible) << solved.log;
    EXPECT_NE(status, ProblemStatus::kDualFeasible) << solved.log;
    EXPECT_NE(status, ProblemStatus::kPrimalInfeasible) << solved.log;
    if (proves_unbounded(solved)) ++proved;
    if (HasFailure()) return;
  }
  std::printf("%u of %u proved\n", proved, count);
  EXPECT_GE(proved, count - count / 20);
}

}  // namespace
}  // namespace vorlan
