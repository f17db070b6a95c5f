// Norms of binary variables, and the planes below them.
#include <gtest/gtest.h>

#include <cmath>

#include "cone_points.h"
#include "conic_models.h"
#include "mixed_solve.h"
#include "random_mixed_model.h"
#include "solve/check/checker.h"
#include "solve/outer/binary_norms.h"
#include "solve/outer/relaxation.h"

namespace vorlan {
namespace {

using outer::AffineBound;
using outer::BinaryNorm;

constexpr size_t kNumBinaries = 6;

double value_at(const AffineBound& plane, const std::vector<double>& x) {
  double sum = plane.constant;
  for (const auto& [var, value] : plane.terms) sum += value * x[index(var)];
  return sum;
}

double norm_at(const BinaryNorm& norm, const std::vector<double>& x) {
  double sum = norm.constant;
  for (const BinaryNorm::Literal& literal : norm.literals) sum += literal.square * literal.value(x);
  return std::sqrt(sum);
}

std::vector<double> digits(int number) {
  std::vector<double> x(kNumBinaries);
  for (size_t k = 0; k < x.size(); ++k) x[k] = (number >> k) % 2;
  return x;
}

TEST(BinaryNorms, PlanesAreBelowAndTouch) {
  for (uint32_t seed = 1; seed <= 50; ++seed) {
    SCOPED_TRACE(seed);
    test::Random random(seed);
    BinaryNorm norm;
    norm.constant = seed % 2 == 0 ? 0.0 : random.between(0.0, 2.0);
    for (size_t k = 0; k < kNumBinaries; ++k) {
      norm.literals.push_back(
          {static_cast<int32_t>(k), random.between(0.0, 1.0) < 0.3, random.between(0.1, 3.0)});
    }
    std::vector<double> fractional(kNumBinaries);
    for (double& value : fractional) value = random.between(0.0, 1.0);
    const AffineBound plane = highest_plane(norm, fractional);
    for (int number = 0; number < 1 << kNumBinaries; ++number) {
      const std::vector<double> x = digits(number);
      EXPECT_LE(value_at(plane, x), norm_at(norm, x) + 1e-12);
      const AffineBound own = highest_plane(norm, x);
      EXPECT_NEAR(value_at(own, x), norm_at(norm, x), 1e-12);
      EXPECT_LE(value_at(own, fractional), value_at(plane, fractional) + 1e-12);
    }
  }
}

// Binary variables z, then heads, then members y = a + b z, one of which is fixed and one free. The
// last binary variable is a member itself.
Model norm_model(uint32_t seed, ConeKind kind) {
  test::Random random(seed);
  const size_t heads = kind == ConeKind::kQuadratic ? 1 : 2;
  const size_t count = 2 * kNumBinaries + heads + 1;
  Model model = test::free_variables(std::vector<double>(count, 0.0));
  Cone cone{kind, {}, {}};
  for (size_t k = 0; k < heads; ++k) cone.vars.push_back(static_cast<int32_t>(kNumBinaries + k));
  for (size_t k = 0; k < kNumBinaries; ++k) {
    model.var_lower[k] = 0.0;
    model.var_upper[k] = 1.0;
    model.var_kind[k] = VarKind::kInteger;
    const size_t y = kNumBinaries + heads + k;
    std::vector<double> row(count, 0.0);
    row[y] = random.between(0.5, 2.0);
    row[k] = random.between(-2.0, 2.0);
    const double rhs = k % 2 == 0 ? 0.0 : random.between(-1.0, 1.0);
    test::add_constraint(&model, rhs, rhs, row);
    cone.vars.push_back(static_cast<int32_t>(y));
  }
  cone.vars.push_back(static_cast<int32_t>(count - 1));
  if (seed % 2 == 0) model.var_lower.back() = model.var_upper.back() = 0.5;
  model.cones = {cone};
  return model;
}

// The members that follow from the binary variables, and heads of which the cone just allows.
std::vector<double> complete(const Model& model, std::vector<double> x, double share) {
  const bool rotated = model.cones[0].kind == ConeKind::kRotatedQuadratic;
  const size_t heads = rotated ? 2 : 1;
  x.resize(model.cost.size(), 0.0);
  double sum = 0.0;
  for (size_t k = 0; k < kNumBinaries; ++k) {
    const size_t y = kNumBinaries + heads + k;
    x[y] = (model.con_lower[k] - model.matrix.value[index(model.matrix.start[k])] * x[k]) /
           model.matrix.value[index(model.matrix.start[y])];
    sum += x[y] * x[y];
  }
  x.back() = std::isfinite(model.var_lower.back()) ? model.var_lower.back() : 0.25;
  sum += x.back() * x.back();
  if (rotated) {
    x[kNumBinaries] = 0.5 * share * sum;
    x[kNumBinaries + 1] = 1.0 / share;
    if (sum == 0.0) x[kNumBinaries] = 0.0;
  } else {
    x[kNumBinaries] = std::sqrt(sum);
  }
  return x;
}

TEST(BinaryNorms, CutsHoldAtAllIntegerPoints) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    for (const ConeKind kind : {ConeKind::kQuadratic, ConeKind::kRotatedQuadratic}) {
      SCOPED_TRACE(seed);
      const Model model = norm_model(seed, kind);
      const MinimizeProblem problem(model);
      outer::Relaxation relaxation(problem);
      test::Random random(seed + 1000);
      for (int trial = 0; trial < 10; ++trial) {
        std::vector<double> z(kNumBinaries);
        for (double& value : z) value = random.between(0.0, 1.0);
        std::vector<double> x = complete(model, z, random.between(0.1, 10.0));
        relaxation.cut_by_curvature(x);
        x[kNumBinaries] *= 0.5;
        relaxation.separate(relaxation.lift(x, {}));
      }
      EXPECT_GT(relaxation.num_cuts(), 0);
      Model linear = relaxation.make_model();
      linear.var_kind.assign(linear.var_kind.size(), VarKind::kContinuous);
      for (int number = 0; number < 1 << kNumBinaries; ++number) {
        const std::vector<double> x = complete(model, digits(number), random.between(0.1, 10.0));
        EXPECT_LE(primal_violation(linear, relaxation.lift(x, {})), 1e-9);
      }
    }
  }
}

// max gain'z with weight'z + |(s1 z1, s2 z2, ...)| <= room: a knapsack of uncertain weights. Without
// the planes the search takes many nodes.
Model uncertain_knapsack(uint32_t seed, size_t count) {
  test::Random random(seed);
  Model model = test::free_variables(std::vector<double>(2 * count + 1, 0.0));
  model.maximize = true;
  std::vector<double> knapsack(2 * count + 1, 0.0);
  Cone cone{ConeKind::kQuadratic, {static_cast<int32_t>(2 * count)}, {}};
  double room = 0.0;
  for (size_t k = 0; k < count; ++k) {
    model.cost[k] = random.between(1.0, 10.0);
    model.var_lower[k] = 0.0;
    model.var_upper[k] = 1.0;
    model.var_kind[k] = VarKind::kInteger;
    knapsack[k] = random.between(1.0, 10.0);
    room += 0.5 * knapsack[k];
    std::vector<double> row(2 * count + 1, 0.0);
    row[k] = random.between(1.0, 10.0);
    row[count + k] = -1.0;
    test::add_constraint(&model, 0.0, 0.0, row);
    cone.vars.push_back(static_cast<int32_t>(count + k));
  }
  knapsack.back() = 1.0;
  test::add_constraint(&model, -kInfinity, room, knapsack);
  model.cones = {cone};
  return model;
}

TEST(BinaryNorms, KnapsacksOfUncertainWeightsAgreeWithEnumeration) {
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = uncertain_knapsack(seed, 8);
    test::MixedSolve mixed(model);
    mixed.solve();
    const test::Enumeration best = test::enumerate(model);
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    EXPECT_NEAR(mixed.solution().primal_objective, best.objective, 1e-6 * best.objective);
  }
}

// The planes, not branching, bring the bound down.
TEST(BinaryNorms, KnapsacksOfUncertainWeightsTakeFewNodes) {
  double nodes = 0.0;
  for (uint32_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    test::MixedSolve mixed(uncertain_knapsack(seed, 30));
    mixed.solve();
    EXPECT_EQ(mixed.solution().status, SolutionStatus::kIntegerOptimal) << mixed.log();
    nodes += mixed.figure("nodes");
  }
  EXPECT_LT(nodes, 200.0);
}

}  // namespace
}  // namespace vorlan
