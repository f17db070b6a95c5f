// The rule of rays.h: right rays are proofs and wrong ones are not, in all units, and what is
// accepted holds in exact arithmetic. VORLAN_RANDOM_MODELS says how many random models each test
// tries.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "conic_models.h"
#include "random_count.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/exact_referee.h"
#include "solve/scaled_ray.h"

namespace vorlan {
namespace {

using test::add_constraint;
using test::free_variables;
using test::in_random_units;
using test::number_from;
using test::RayCase;

constexpr uint32_t kDefaultCount = 200;

uint32_t count() { return number_from("VORLAN_RANDOM_MODELS", kDefaultCount); }

bool is_proof(RayCase c) {
  if (c.is_dual) return judge_dual_ray(c.model, &c.ray).is_proof();
  return is_primal_ray(MinimizeProblem(c.model), c.ray.x, c.ray.barx);
}

// ---- Random linear models ----------------------------------------------------------------------

class RandomNumbers {
 public:
  explicit RandomNumbers(uint32_t seed) : generator_(seed) {}
  int whole(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(generator_);
  }
  int nonzero(int most) { return whole(0, 1) == 0 ? whole(1, most) : -whole(1, most); }
  double real(double least, double most) {
    return std::uniform_real_distribution<double>(least, most)(generator_);
  }
  std::mt19937* generator() { return &generator_; }

 private:
  std::mt19937 generator_;
};

// Dense rows, of which the last is filled in when the others are known.
Model model_of_rows(const std::vector<std::vector<double>>& rows, size_t num_var) {
  Model model = free_variables(std::vector<double>(num_var, 0.0));
  for (const auto& row : rows) add_constraint(&model, -kInfinity, kInfinity, row);
  return model;
}

// A model that the whole numbers y show to be infeasible, by a margin of 1 to 5: -A'y is 0 at free
// variables, nonnegative where only a lower bound could hold it, and anything within two bounds.
RayCase make_dual_case(RandomNumbers* random) {
  const size_t num_var = static_cast<size_t>(random->whole(2, 5));
  const size_t num_con = static_cast<size_t>(random->whole(2, 5));
  RayCase made;
  std::vector<double>& y = made.ray.y;
  for (size_t i = 0; i + 1 < num_con; ++i) y.push_back(random->nonzero(4));
  y.push_back(random->whole(0, 1) == 0 ? 1.0 : -1.0);
  std::vector<std::vector<double>> rows(num_con, std::vector<double>(num_var));
  std::vector<double> lower(num_var, -kInfinity);
  std::vector<double> upper(num_var, kInfinity);
  double gain = 0.0;
  for (size_t j = 0; j < num_var; ++j) {
    double sum = 0.0;
    for (size_t i = 0; i + 1 < num_con; ++i) {
      rows[i][j] = i == 0 ? random->nonzero(5) : random->whole(-5, 5);
      sum += rows[i][j] * y[i];
    }
    double d = 0.0;
    const int kind = random->whole(0, 2);
    if (kind > 0) {
      lower[j] = random->whole(-5, 5);
      d = random->whole(0, 3);
    }
    if (kind > 1) {
      upper[j] = lower[j] + random->whole(1, 9);
      d = random->whole(-3, 3);
    }
    rows[num_con - 1][j] = -(sum + d) / y.back();
    if (d != 0.0) gain += d * (d > 0.0 ? lower[j] : upper[j]);
  }
  made.model = model_of_rows(rows, num_var);
  made.model.var_lower = lower;
  made.model.var_upper = upper;
  for (size_t i = 0; i < num_con; ++i) {
    double side = random->whole(-9, 9);
    if (i + 1 == num_con) side = (random->whole(1, 5) - gain) / y.back();
    gain += y[i] * side;
    (y[i] > 0.0 ? made.model.con_lower : made.model.con_upper)[i] = side;
    if (random->whole(0, 3) == 0) made.model.con_lower[i] = made.model.con_upper[i] = side;
  }
  return made;
}

// The transposed thing: whole numbers x along which the cost falls, and rows that they keep.
RayCase make_primal_case(RandomNumbers* random) {
  const size_t num_var = static_cast<size_t>(random->whole(2, 5));
  const size_t num_con = static_cast<size_t>(random->whole(1, 4));
  RayCase made;
  made.is_dual = false;
  std::vector<double>& x = made.ray.x;
  for (size_t j = 0; j + 1 < num_var; ++j) x.push_back(random->nonzero(4));
  x.push_back(random->whole(0, 1) == 0 ? 1.0 : -1.0);
  Model& model = made.model;
  model = free_variables(std::vector<double>(num_var, 0.0));
  double cost = 0.0;
  for (size_t j = 0; j < num_var; ++j) {
    model.cost[j] = random->whole(-5, 5);
    if (j + 1 == num_var) model.cost[j] = (-random->whole(1, 5) - cost) / x[j];
    cost += model.cost[j] * x[j];
    if (random->whole(0, 1) == 0) continue;
    (x[j] > 0.0 ? model.var_lower : model.var_upper)[j] = random->whole(-5, 5);
  }
  for (size_t i = 0; i < num_con; ++i) {
    std::vector<double> row;
    double sum = 0.0;
    for (size_t j = 0; j + 1 < num_var; ++j) {
      row.push_back(j == 0 ? random->nonzero(5) : random->whole(-5, 5));
      sum += row.back() * x[j];
    }
    const bool equation = random->whole(0, 1) == 0;
    const double change = equation ? 0.0 : random->whole(0, 3);
    row.push_back((change - sum) / x.back());
    const double side = random->whole(-9, 9);
    add_constraint(&model, side, equation ? side : kInfinity, row);
  }
  return made;
}

bool truth_of(const RayCase& c) {
  return c.is_dual ? !test::has_feasible_point(c.model) : test::has_falling_direction(c.model);
}

using Maker = RayCase (*)(RandomNumbers*);
constexpr Maker kMakers[] = {make_dual_case, make_primal_case};

TEST(RayRule, RightRaysAreProofsInAllUnits) {
  for (const Maker make : kMakers) {
    for (uint32_t seed = 1; seed <= count(); ++seed) {
      SCOPED_TRACE(seed);
      RandomNumbers random(seed);
      const RayCase made = make(&random);
      ASSERT_TRUE(truth_of(made));
      EXPECT_TRUE(is_proof(made));
      const RayCase scaled = in_random_units(made, random.generator());
      EXPECT_TRUE(is_proof(scaled));
      EXPECT_TRUE(truth_of(scaled));
    }
  }
}

// Changes one element of a sum that must vanish so that the sum misses by the given part of its
// terms, towards where nothing holds it. False if there is no such sum.
bool spoil(RayCase* c, double part, RandomNumbers* random) {
  Model& model = c->model;
  std::vector<double> sum(c->is_dual ? model.cost.size() : model.con_lower.size(), 0.0);
  std::vector<double> total = sum;
  std::vector<size_t> places;
  const auto for_elements = [&](auto&& visit) {
    for (size_t j = 0; j < model.cost.size(); ++j) {
      for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
        const size_t i = index(model.matrix.row[k]);
        const double term = model.matrix.value[k] * (c->is_dual ? -c->ray.y[i] : c->ray.x[j]);
        visit(k, c->is_dual ? j : i, term);
      }
    }
  };
  for_elements([&](size_t, size_t at, double term) {
    sum[at] += term;
    total[at] += std::fabs(term);
  });
  for_elements([&](size_t k, size_t at, double term) {
    const double lower = c->is_dual ? model.var_lower[at] : model.con_lower[at];
    const double upper = c->is_dual ? model.var_upper[at] : model.con_upper[at];
    // Which way is wrong: a dual d > 0 needs a lower bound, a primal ray must not leave by one.
    const bool wrong_up = c->is_dual ? !std::isfinite(lower) : std::isfinite(upper);
    const bool wrong_down = c->is_dual ? !std::isfinite(upper) : std::isfinite(lower);
    if (sum[at] == 0.0 && term != 0.0 && (wrong_up || wrong_down)) places.push_back(k);
  });
  if (places.empty()) return false;
  const size_t chosen = places[index(random->whole(0, static_cast<int>(places.size()) - 1))];
  for_elements([&](size_t k, size_t at, double term) {
    if (k != chosen) return;
    const double upper = c->is_dual ? model.var_upper[at] : model.con_upper[at];
    const bool up = c->is_dual ? std::isfinite(upper) : !std::isfinite(upper);
    // Equations are wrong both ways.
    const double miss = (up && c->is_dual) || (!up && !c->is_dual) ? part : -part;
    model.matrix.value[k] *= 1.0 + miss * total[at] / term;
  });
  return true;
}

// A violation just above what is allowed is refused, and one far below it is not.
TEST(RayRule, ViolationsAreHeldToTheirOwnTerms) {
  int refused = 0;
  for (const Maker make : kMakers) {
    for (uint32_t seed = 1; seed <= count(); ++seed) {
      SCOPED_TRACE(seed);
      RandomNumbers random(seed);
      const RayCase made = make(&random);
      RayCase wrong = made;
      if (!spoil(&wrong, 1.5e-9 * std::pow(10.0, random.real(0.0, 8.0)), &random)) continue;
      EXPECT_FALSE(is_proof(wrong));
      EXPECT_FALSE(is_proof(in_random_units(wrong, random.generator())));
      RayCase nearly_right = made;
      ASSERT_TRUE(spoil(&nearly_right, 1e-13, &random));
      EXPECT_TRUE(is_proof(nearly_right));
      EXPECT_TRUE(is_proof(in_random_units(nearly_right, random.generator())));
      ++refused;
    }
  }
  EXPECT_GT(refused, static_cast<int>(count() / 2));
}

// A ray that has lost its margin is none, whatever the size of the sides.
TEST(RayRule, AMarginOfNothingProvesNothing) {
  for (uint32_t seed = 1; seed <= count(); ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers random(seed);
    RayCase made = make_dual_case(&random);
    const double margin = judge_dual_ray(made.model, &made.ray).margin;
    const size_t last = made.model.con_lower.size() - 1;
    const double y = made.ray.y[last];
    for (auto* sides : {&made.model.con_lower, &made.model.con_upper}) {
      if (std::isfinite((*sides)[last])) (*sides)[last] -= margin / y;
    }
    EXPECT_FALSE(is_proof(made));
    EXPECT_FALSE(is_proof(in_random_units(made, random.generator())));
  }
}

// Random multipliers, most of them wrong, with the noise that methods leave: what is accepted, as
// it is or cleaned, is true.
TEST(RayRule, WhatIsAcceptedIsTrue) {
  int accepted = 0;
  int is_true = 0;
  for (const Maker make : kMakers) {
    for (uint32_t seed = 1; seed <= count(); ++seed) {
      SCOPED_TRACE(seed);
      RandomNumbers random(seed);
      RayCase c = make(&random);
      // Half of the models are changed into others.
      for (double& a : c.model.matrix.value) {
        if (random.whole(0, 19) == 0) a += random.nonzero(2);
      }
      const double noise = std::pow(10.0, random.real(-12.0, -4.0));
      for (auto* part : {&c.ray.x, &c.ray.y}) {
        for (double& element : *part) element *= 1.0 + noise * random.real(-1.0, 1.0);
      }
      c = in_random_units(c, random.generator());
      const bool truth = truth_of(c);
      const bool claimed = c.is_dual ? complete_dual_ray(c.model, &c.ray)
                                     : complete_primal_ray(MinimizeProblem(c.model), &c.ray);
      EXPECT_TRUE(truth || !claimed);
      accepted += claimed ? 1 : 0;
      is_true += truth ? 1 : 0;
    }
  }
  // The cleaning takes the noise away where the ray was right.
  EXPECT_GT(accepted, is_true / 2);
}

// ---- Cones, matrix variables and quadratic terms -----------------------------------------------

// A ray on the boundary of what is allowed, and one element of the model that spoils it: with
// the factor 1 + part it is outside by a violation of about that part.
struct BoundaryCase {
  const char* name;
  RayCase c;
  std::function<void(Model*, double)> spoil;
};

// snx is the given point of the dual cone and the only row asks its product with x to be at most
// -1.
BoundaryCase cone_case(const char* name, ConeKind kind, std::vector<double> dual, size_t spoiled) {
  BoundaryCase made{name, {}, {}};
  made.c.model = free_variables(std::vector<double>(dual.size(), 0.0));
  add_constraint(&made.c.model, -kInfinity, -1.0, dual);
  made.c.model.cones = {{kind, {}, {}}};
  for (size_t j = 0; j < dual.size(); ++j) {
    made.c.model.cones[0].vars.push_back(static_cast<int32_t>(j));
  }
  if (kind == ConeKind::kPower || kind == ConeKind::kDualPower) {
    made.c.model.cones[0].exponents = {1.0, 1.0};
  }
  made.c.ray.y = {-1.0};
  made.spoil = [spoiled](Model* model, double part) { model->matrix.value[spoiled] *= 1.0 + part; };
  return made;
}

// Likewise for a primal ray: the cost falls along the given point of the cone.
BoundaryCase primal_cone_case(const char* name, ConeKind kind, std::vector<double> x,
                              size_t spoiled) {
  BoundaryCase made = cone_case(name, kind, x, spoiled);
  made.c.model.con_upper[0] = kInfinity;
  made.c.model.cost.assign(x.size(), -1.0);
  for (size_t j = 0; j < x.size(); ++j) made.c.model.cost[j] = x[j] > 0.0 ? -1.0 : 1.0;
  made.c.is_dual = false;
  made.c.ray = {};
  made.c.ray.x = std::move(x);
  return made;
}

// <vv', X> <= -1.
BoundaryCase matrix_case() {
  BoundaryCase made{"matrix variable", {}, {}};
  Model& model = made.c.model;
  model.matrix_vars = {{3}};
  model.con_lower = {-kInfinity};
  model.con_upper = {-1.0};
  const double v[] = {1.0, 2.0, -3.0};
  for (int32_t col = 0; col < 3; ++col) {
    for (int32_t row = col; row < 3; ++row) {
      model.matrix_coefficients.push_back({0, 0, {row, col, v[row] * v[col]}});
    }
  }
  made.c.ray.y = {-1.0};
  made.spoil = [](Model* changed, double part) {
    changed->matrix_coefficients[1].entry.value *= 1.0 + 4.0 * part;
  };
  return made;
}

// (x - y)^2 <= -1 + x - y, where the left side less the right is 3/4 at least.
BoundaryCase quadratic_row_case() {
  BoundaryCase made{"quadratic constraint", {}, {}};
  Model& model = made.c.model;
  model = free_variables({0.0, 0.0});
  add_constraint(&model, -kInfinity, -1.0, {-1.0, 1.0});
  model.quadratic_coefficients = {{0, {0, 0, 2.0}}, {0, {1, 0, -2.0}}, {0, {1, 1, 2.0}}};
  made.c.ray.y = {-1.0};
  made.c.ray.x = {0.25, -0.25};
  made.spoil = [](Model* changed, double part) {
    changed->quadratic_coefficients[1].entry.value *= 1.0 + 4.0 * part;
  };
  return made;
}

// minimize (x - y)^2 - x - y.
BoundaryCase quadratic_objective_case() {
  BoundaryCase made{"quadratic objective", {}, {}};
  Model& model = made.c.model;
  model = free_variables({-1.0, -1.0});
  model.quadratic_cost = {{0, 0, 2.0}, {1, 0, -2.0}, {1, 1, 2.0}};
  made.c.is_dual = false;
  made.c.ray.x = {1.0, 1.0};
  made.spoil = [](Model* changed, double part) {
    changed->quadratic_cost[0].value *= 1.0 + 4.0 * part;
  };
  return made;
}

std::vector<BoundaryCase> boundary_cases() {
  const double kE = std::exp(1.0);
  return {
      cone_case("quadratic", ConeKind::kQuadratic, {13.0, 3.0, 4.0, 12.0}, 3),
      cone_case("rotated", ConeKind::kRotatedQuadratic, {2.0, 4.0, 4.0}, 2),
      cone_case("exponential", ConeKind::kExponential, {1.0, -1.0, -1.0}, 1),
      cone_case("dual exponential", ConeKind::kDualExponential, {kE, 1.0, 1.0}, 2),
      cone_case("power", ConeKind::kPower, {2.0, 8.0, 8.0}, 2),
      cone_case("dual power", ConeKind::kDualPower, {2.0, 8.0, -4.0}, 2),
      matrix_case(),
      quadratic_row_case(),
      quadratic_objective_case(),
  };
}

TEST(RayRule, BoundariesOfConesHoldInAllUnits) {
  for (const BoundaryCase& boundary : boundary_cases()) {
    for (uint32_t seed = 1; seed <= count() / 4; ++seed) {
      SCOPED_TRACE(boundary.name);
      RandomNumbers random(seed);
      EXPECT_TRUE(is_proof(in_random_units(boundary.c, random.generator())));
      RayCase near = boundary.c;
      boundary.spoil(&near.model, 1e-13);
      EXPECT_TRUE(is_proof(in_random_units(near, random.generator())));
      RayCase wrong = boundary.c;
      boundary.spoil(&wrong.model, std::pow(10.0, random.real(-8.0, -1.0)));
      EXPECT_FALSE(is_proof(in_random_units(wrong, random.generator())));
    }
  }
}

// The verdict changes at the same place in all units.
TEST(RayRule, UnitsChangeNoVerdict) {
  for (const BoundaryCase& boundary : boundary_cases()) {
    for (uint32_t seed = 1; seed <= count() / 4; ++seed) {
      SCOPED_TRACE(boundary.name);
      RandomNumbers random(seed);
      RayCase c = boundary.c;
      boundary.spoil(&c.model, std::pow(10.0, random.real(-12.0, -7.0)));
      EXPECT_EQ(is_proof(in_random_units(c, random.generator())), is_proof(c));
    }
  }
}

TEST(RayRule, PrimalRaysStayInConesInAllUnits) {
  for (const BoundaryCase& boundary :
       {primal_cone_case("quadratic", ConeKind::kQuadratic, {13.0, 3.0, 4.0, 12.0}, 0),
        primal_cone_case("rotated", ConeKind::kRotatedQuadratic, {2.0, 4.0, 4.0}, 0),
        primal_cone_case("dual exponential", ConeKind::kDualExponential,
                         {std::exp(-1.0), 0.0, -1.0}, 0),
        primal_cone_case("power", ConeKind::kPower, {2.0, 8.0, 4.0}, 0)}) {
    for (uint32_t seed = 1; seed <= count() / 4; ++seed) {
      SCOPED_TRACE(boundary.name);
      RandomNumbers random(seed);
      EXPECT_TRUE(is_proof(in_random_units(boundary.c, random.generator())));
      RayCase wrong = boundary.c;
      wrong.ray.x.back() *= 1.0 + std::pow(10.0, random.real(-8.0, -1.0));
      EXPECT_FALSE(is_proof(in_random_units(wrong, random.generator())));
    }
  }
}

// ---- What was claimed falsely ------------------------------------------------------------------

// x + y = b with x and y free: any y has a margin as large as b.
TEST(RayRule, ALargeSideMakesNoProof) {
  for (double b = 1e-9; b < 1e13; b *= 10.0) {
    Model model = free_variables({0.0, 0.0});
    add_constraint(&model, b, b, {1.0, 1.0});
    BackendResult ray;
    ray.y = {1.0};
    EXPECT_FALSE(complete_dual_ray(model, &ray)) << b;
  }
}

// X(1,1) = 1 and X(2,1) = b: a small multiplier of the first row hides what the second leaves. The
// square of b stands in X(2,2).
TEST(RayRule, ALargeElementOfAMatrixMakesNoProof) {
  for (double b = 1e-9; b < 1e13; b *= 10.0) {
    Model model;
    model.matrix_vars = {{2}};
    model.con_lower = model.con_upper = {1.0, b};
    model.matrix_coefficients = {{0, 0, {0, 0, 1.0}}, {1, 0, {1, 0, 0.5}}};
    for (const double shift : {1.0, 1e-6, 1e-12}) {
      BackendResult ray;
      ray.y = {-shift * b * b / 2.0, shift * b};
      EXPECT_FALSE(complete_dual_ray(model, &ray)) << b;
    }
  }
}

// maximize b x, x^2 + y^2 <= 4.
TEST(RayRule, ALargeCostMakesNoProof) {
  for (double b = 1e-9; b < 1e13; b *= 10.0) {
    Model model = free_variables({-b, 0.0});
    add_constraint(&model, -kInfinity, 4.0, {0.0, 0.0});
    model.quadratic_coefficients = {{0, {0, 0, 2.0}}, {0, {1, 1, 2.0}}};
    BackendResult ray;
    ray.x = {1.0, 0.0};
    EXPECT_FALSE(complete_primal_ray(MinimizeProblem(model), &ray)) << b;
  }
}

// The rows x + y = 1 and x + (1 + e) y = 2 meet at y = 1 / e. Their difference excludes all that is
// of the size of the data, and is no proof for that.
TEST(RayRule, NearlyParallelRowsAreNoContradiction) {
  for (const double e : {1e-8, 1e-6, 1e-3, 0.5}) {
    Model model = free_variables({0.0, 0.0});
    add_constraint(&model, 1.0, 1.0, {1.0, 1.0});
    add_constraint(&model, 2.0, 2.0, {1.0, 1.0 + e});
    BackendResult ray;
    ray.y = {-1.0, 1.0};
    EXPECT_FALSE(complete_dual_ray(model, &ray)) << e;
  }
}

}  // namespace
}  // namespace vorlan
