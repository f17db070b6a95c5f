// The verifier proves what is true and refuses what is wrong by a little, in every unit, for rows,
// cones, matrices and quadratic terms; and whatever multipliers it is given, it proves nothing that a
// feasible point contradicts.
#include "verify.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "cones.h"
#include "matrices.h"

namespace proofs {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const std::vector<double> kUnits = {1e-9, 1e-3, 1.0, 1e6, 1e12};

Model free_variables(std::vector<double> cost) {
  Model model;
  model.lower.assign(cost.size(), -kInfinity);
  model.upper.assign(cost.size(), kInfinity);
  model.cost = std::move(cost);
  return model;
}

std::vector<Term> dense(const std::vector<double>& values) {
  std::vector<Term> terms;
  for (size_t j = 0; j < values.size(); ++j) terms.push_back({j, values[j]});
  return terms;
}

bool excludes(const Model& model, const Multipliers& ray) {
  return verify_infeasible(model, ray).empty();
}

// ---- Numbers ------------------------------------------------------------------------------------

TEST(Numbers, EncloseTheirFunctions) {
  const Rational tiny = near(Rational(1) / Rational(1e60));
  EXPECT_LE(log_below(2), log_above(2));
  EXPECT_LT(log_above(2) - log_below(2), tiny);
  EXPECT_LE(root_below(2) * root_below(2), 2);
  EXPECT_GE(root_above(2) * root_above(2), 2);
  EXPECT_EQ(root_above(4), 2);
  // e is between the partial sums of its series, and those with the last term twice.
  Rational sum = 1;
  Rational term = 1;
  for (int k = 1; k < 40; ++k) {
    term /= k;
    sum += term;
  }
  EXPECT_GE(exp_above(1), sum);
  EXPECT_LT(exp_above(1), sum + term);
  EXPECT_TRUE(is_huge_exponent(10001));
  EXPECT_GT(exp_above(-20000), 0);
}

// ---- Cones --------------------------------------------------------------------------------------

struct ConeCase {
  const char* name;
  Cone cone;
  std::vector<double> member;  // of the boundary
  std::vector<double> dual;    // likewise
  size_t spoiled;              // the element that moves both outside when it grows
};

std::vector<ConeCase> cone_cases() {
  const double kE = std::exp(1.0);
  return {
      {"quadratic", {ConeKind::quadratic, {0, 1, 2}, {}}, {5, 3, 4}, {5, 3, 4}, 2},
      {"rotated", {ConeKind::rotated, {0, 1, 2}, {}}, {2, 4, 4}, {2, 4, 4}, 2},
      {"exponential", {ConeKind::exponential, {0, 1, 2}, {}}, {kE, 1, 1}, {1, -1, -1}, 2},
      {"dual exponential", {ConeKind::dual_exponential, {0, 1, 2}, {}}, {1, -1, -1}, {kE, 1, 1}, 2},
      {"power", {ConeKind::power, {0, 1, 2}, {1, 1}}, {2, 8, 4}, {2, 8, 8}, 2},
      {"dual power", {ConeKind::dual_power, {0, 1, 2}, {1, 1}}, {2, 8, 8}, {2, 8, 4}, 2},
      {"uneven power", {ConeKind::power, {0, 1, 2}, {1, 2}}, {8, 1, 2}, {8.0 / 3, 2.0 / 3, 2}, 2},
  };
}

// Makes the point no member, by the given part of the spoiled element.
std::vector<double> spoil(std::vector<double> point, size_t element, double part) {
  point[element] += part * std::fabs(point[element]);
  return point;
}

// Exponential cones are left by their last element growing, their duals by the second one falling.
std::vector<double> spoiled_dual(const ConeCase& c, double part) {
  return c.cone.kind == ConeKind::exponential ? spoil(c.dual, 1, -part)
                                              : spoil(c.dual, c.spoiled, part);
}

std::vector<double> spoiled_member(const ConeCase& c, double part) {
  return c.cone.kind == ConeKind::dual_exponential ? spoil(c.member, 1, -part)
                                                   : spoil(c.member, c.spoiled, part);
}

// dual'x <= -unit for a member x.
Model model_of_dual(const ConeCase& c, const std::vector<double>& dual, double unit) {
  Model model = free_variables({0, 0, 0});
  model.rows.push_back({-kInfinity, -unit, dense(dual), {}, {}});
  model.cones = {c.cone};
  return model;
}

TEST(Cones, RaysHoldInEveryUnitUnlessTheyAreWrongByALittle) {
  for (const ConeCase& c : cone_cases()) {
    for (const double unit : kUnits) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(unit));
      EXPECT_EQ(verify_infeasible(model_of_dual(c, c.dual, unit), {{-1.0}, c.dual, {}}), "");
      const auto nearly = spoiled_dual(c, 1e-14);
      EXPECT_EQ(verify_infeasible(model_of_dual(c, nearly, unit), {{-1.0}, nearly, {}}), "");
      const auto wrong = spoiled_dual(c, 1e-3);
      EXPECT_FALSE(excludes(model_of_dual(c, wrong, unit), {{-1.0}, wrong, {}}));
      EXPECT_FALSE(excludes(model_of_dual(c, wrong, unit), {{-1.0}, c.dual, {}}));
    }
  }
}

// The objective falls along a member of the cone, which a row keeps.
TEST(Cones, DirectionsHoldInEveryUnitUnlessTheyAreWrongByALittle) {
  for (const ConeCase& c : cone_cases()) {
    for (const double unit : kUnits) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(unit));
      std::vector<double> cost = c.member;
      for (double& value : cost) value = value > 0.0 ? -unit : unit;
      Model model = free_variables(cost);
      model.cones = {c.cone};
      EXPECT_EQ(verify_unbounded(model, c.member, {}), "");
      EXPECT_EQ(verify_unbounded(model, spoiled_member(c, 1e-14), {}), "");
      // Without cost, and with only a member far away that would do.
      Model flat = free_variables({0, 0, 0});
      flat.cones = {c.cone};
      EXPECT_NE(verify_unbounded(flat, c.member, {}), "");
      // The dual as the cost: no member improves it.
      Model held = free_variables(c.dual);
      held.cones = {c.cone};
      EXPECT_NE(verify_unbounded(held, spoiled_member(c, 1e-3), {}), "");
      for (double& value : cost) value = -value;
      Model rising = free_variables(cost);
      rising.cones = {c.cone};
      EXPECT_NE(verify_unbounded(rising, c.member, {}), "");
    }
  }
}

class Numbers {
 public:
  explicit Numbers(uint32_t seed) : engine_(seed) {}
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(engine_()) / 4294967295.0;
  }
  int whole(int low, int high) {
    return low + static_cast<int>(engine_() % static_cast<uint32_t>(high - low + 1));
  }

 private:
  std::mt19937 engine_;
};

Point random_member(const Cone& cone, Side side, size_t size, Numbers* numbers) {
  Point point;
  for (size_t k = 0; k < size; ++k) point.emplace_back(numbers->between(-3.0, 3.0));
  const std::vector<Point> members = members_near(cone, side, point, Point(size, 1));
  EXPECT_FALSE(members.empty());
  return members[static_cast<size_t>(numbers->whole(0, static_cast<int>(members.size()) - 1))];
}

// What makes a dual cone one.
TEST(Cones, MembersAndDualMembersHaveNoNegativeProduct) {
  Numbers numbers(1);
  for (const ConeCase& c : cone_cases()) {
    SCOPED_TRACE(c.name);
    for (int k = 0; k < 200; ++k) {
      const Point x = random_member(c.cone, Side::primal, 3, &numbers);
      const Point s = random_member(c.cone, Side::dual, 3, &numbers);
      EXPECT_TRUE(is_member(c.cone, Side::primal, x));
      EXPECT_GE(x[0] * s[0] + x[1] * s[1] + x[2] * s[2], 0);
    }
  }
}

// ---- Matrices -----------------------------------------------------------------------------------

TEST(Matrices, SemidefinitenessIsExact) {
  SymmetricMatrix singular(3);  // vv' for v = (1, 2, -3)
  const double v[] = {1, 2, -3};
  for (size_t col = 0; col < 3; ++col) {
    for (size_t row = col; row < 3; ++row) singular.add({row, col, v[row] * v[col]}, 1);
  }
  EXPECT_TRUE(singular.is_positive_semidefinite());
  EXPECT_EQ(diagonal_shift(singular, {1, 1, 1}), Point({0, 0, 0}));
  SymmetricMatrix below = singular;
  below.add({0, 0, -std::ldexp(1.0, -200)}, 1);
  EXPECT_FALSE(below.is_positive_semidefinite());
  EXPECT_EQ(diagonal_shift(below, {1, 0, 0}).size(), 3U);
  SymmetricMatrix hollow(2);
  hollow.add({1, 0, 1e-30}, 1);
  EXPECT_FALSE(hollow.is_positive_semidefinite());
  EXPECT_TRUE(SymmetricMatrix(2).is_positive_semidefinite());
}

// <vv', X> <= -unit.
Model matrix_model(double part, double unit) {
  Model model;
  model.dimensions = {3};
  model.rows.push_back({-kInfinity, -unit, {}, {}, {}});
  const double v[] = {1, 2, -3};
  for (size_t col = 0; col < 3; ++col) {
    for (size_t row = col; row < 3; ++row) {
      const double factor = row == 1 && col == 0 ? 1.0 + part : 1.0;
      model.rows[0].matrix_terms.push_back({0, {row, col, factor * v[row] * v[col]}});
    }
  }
  return model;
}

TEST(Matrices, RaysHoldInEveryUnitUnlessTheyAreWrongByALittle) {
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    EXPECT_EQ(verify_infeasible(matrix_model(0.0, unit), {{-1.0}, {}, {}}), "");
    EXPECT_EQ(verify_infeasible(matrix_model(1e-14, unit), {{-1.0}, {}, {}}), "");
    EXPECT_FALSE(excludes(matrix_model(1e-3, unit), {{-1.0}, {}, {}}));
    Model falling;
    falling.dimensions = {2};
    falling.matrix_cost = {{0, {0, 0, -unit}}};
    EXPECT_EQ(verify_unbounded(falling, {}, {1.0, 1.0, 1.0}), "");
    EXPECT_NE(verify_unbounded(falling, {}, {0.0, 0.0, 1.0}), "");
    falling.matrix_cost = {{0, {0, 0, unit}}, {0, {1, 0, -unit}}, {0, {1, 1, unit}}};
    EXPECT_NE(verify_unbounded(falling, {}, {1.0, 1.001, 1.0}), "");  // which is indefinite
  }
}

// ---- Rows ---------------------------------------------------------------------------------------

// x + y <= unit, x + (1 + part) y >= 2 unit.
Model contradiction(double part, double unit) {
  Model model = free_variables({0, 0});
  model.rows.push_back({-kInfinity, unit, dense({1, 1}), {}, {}});
  model.rows.push_back({2.0 * unit, kInfinity, dense({1, 1.0 + part}), {}, {}});
  return model;
}

TEST(Rows, RaysHoldInEveryUnitUnlessTheyAreWrongByALittle) {
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    const Multipliers ray = {{-1.0, 1.0}, {}, {}};
    EXPECT_EQ(verify_infeasible(contradiction(0.0, unit), ray), "");
    EXPECT_EQ(verify_infeasible(contradiction(1e-13, unit), ray), "");
    EXPECT_FALSE(excludes(contradiction(1e-3, unit), ray));
    EXPECT_FALSE(excludes(contradiction(0.0, unit), {{-1.0, 0.0}, {}, {}}));
    EXPECT_FALSE(excludes(contradiction(0.0, unit), {{1.0, 1.0}, {}, {}}));  // an infinite side
    EXPECT_FALSE(excludes(contradiction(0.0, unit), {{-1.0, kInfinity}, {}, {}}));
    Model without_margin = contradiction(0.0, unit);
    without_margin.rows[1].lower = unit;
    EXPECT_FALSE(excludes(without_margin, ray));
    Model bounded = contradiction(1e-3, unit);
    bounded.lower[1] = -unit;
    bounded.upper[1] = unit;  // which a bound holds
    EXPECT_EQ(verify_infeasible(bounded, ray), "");
    bounded.upper[1] = 2000.0 * unit;
    EXPECT_FALSE(excludes(bounded, ray));
  }
}

// Multipliers with a relative error of 1e-9 are repaired where no bound could hold what is left.
TEST(Rows, RoundedRaysAreRepaired) {
  Model model = free_variables({0, 0, 0});
  model.rows.push_back({1.0, 1.0, dense({1, 3, 7}), {}, {}});
  model.rows.push_back({2.0, 2.0, dense({2, 6, 14}), {}, {}});
  model.rows.push_back({9.0, 9.0, dense({3, 9, 21}), {}, {}});
  EXPECT_EQ(verify_infeasible(model, {{-1.0, -1.0, 1.0 + 1e-9}, {}, {}}, 1e15), "");
  model.rows[2].lower = model.rows[2].upper = 3.0;
  EXPECT_FALSE(excludes(model, {{-1.0, -1.0, 1.0 + 1e-9}, {}, {}}));
}

TEST(Rows, DirectionsHoldUnlessTheyAreWrongByALittle) {
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    Model model = free_variables({-unit, 0});
    model.rows.push_back({-kInfinity, unit, dense({1, -1}), {}, {}});
    model.lower[1] = 0.0;
    EXPECT_EQ(verify_unbounded(model, {1, 1}, {}), "");
    EXPECT_EQ(verify_unbounded(model, {1, 1.0 - 1e-14}, {}), "");
    EXPECT_NE(verify_unbounded(model, {1, 1.0 - 1e-3}, {}), "");
    EXPECT_NE(verify_unbounded(model, {-1, -1}, {}), "");
    model.upper[1] = 1e9 * unit;
    EXPECT_NE(verify_unbounded(model, {1, 1}, {}), "");
    Model curved = free_variables({-unit, 0});
    curved.squares = {{0, 0, 1.0}, {1, 0, -1.0}, {1, 1, 1.0}};  // (x - y)^2 / 2
    EXPECT_EQ(verify_unbounded(curved, {1, 1}, {}), "");
    EXPECT_NE(verify_unbounded(curved, {1, 1.0 - 1e-3}, {}), "");
    curved.squares[0].value = 1.001;
    EXPECT_NE(verify_unbounded(curved, {1, 1}, {}), "");
  }
}

// x^2 + y^2 <= unit^2 and x + y >= distance unit.
Model disc_and_line(double distance, double unit) {
  Model model = free_variables({0, 0});
  model.rows.push_back({-kInfinity, unit * unit, {}, {{0, 0, 2.0}, {1, 1, 2.0}}, {}});
  model.rows.push_back({distance * unit, kInfinity, dense({1, 1}), {}, {}});
  return model;
}

TEST(Rows, QuadraticRaysHoldUnlessTheyAreWrongByALittle) {
  const double root = std::sqrt(2.0);
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    // The nearest point of the disc as the point of the ray.
    const double w = unit / root;
    const Multipliers ray = {{-1.0, 2.0 * w}, {}, {w, w}};
    EXPECT_EQ(verify_infeasible(disc_and_line(1.5, unit), ray), "");
    EXPECT_EQ(verify_infeasible(disc_and_line(root + 1e-9, unit), ray), "");
    EXPECT_FALSE(excludes(disc_and_line(root - 1e-9, unit), ray));
    Model saddle = disc_and_line(1.5, unit);
    saddle.rows[0].squares[1].value = -1e-3;
    EXPECT_FALSE(excludes(saddle, ray));
  }
}

// x^2 + curvature y^2 <= unit^2 and x >= 1.5 unit: where y may grow, points are feasible.
TEST(Rows, QuadraticRowsThatAreNotConvexAreChargedForIt) {
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    Model model = free_variables({0, 0});
    model.rows.push_back({-kInfinity, unit * unit, {}, {{0, 0, 2.0}, {1, 1, 1e-3}}, {}});
    model.rows.push_back({1.5 * unit, kInfinity, dense({1, 0}), {}, {}});
    const Multipliers ray = {{-1.0, 3.0 * unit}, {}, {1.5 * unit, 0.0}};
    EXPECT_EQ(verify_infeasible(model, ray), "");
    model.rows[0].squares[1].value = -1e-3;
    EXPECT_FALSE(excludes(model, ray));
    // x + curvature y^2 <= -unit for x >= 0, of which y alone has to do with the curvature.
    Model bowl = free_variables({0, 0});
    bowl.lower[0] = 0.0;
    bowl.rows.push_back({-kInfinity, -unit, dense({1, 0}), {{1, 1, 1e-3}}, {}});
    EXPECT_EQ(verify_infeasible(bowl, {{-1.0}, {}, {}}), "");
    bowl.rows[0].squares[0].value = -1e-3;
    EXPECT_FALSE(excludes(bowl, {{-1.0}, {}, {}}));
  }
}

// ---- Bounds -------------------------------------------------------------------------------------

// min x + y with 2 x y >= z^2 and z = unit, which is sqrt 2 unit.
TEST(Bounds, AreProvedUpToTheirValueAndNotBeyond) {
  const double root = std::sqrt(2.0);
  for (const double unit : kUnits) {
    SCOPED_TRACE(unit);
    Model model = free_variables({1, 1, 0});
    model.constant = unit;
    model.rows.push_back({unit, unit, dense({0, 0, 1}), {}, {}});
    model.cones = {{ConeKind::rotated, {0, 1, 2}, {}}};
    const double best = unit * (1.0 + root);
    const Multipliers duals = {{root}, {1, 1, -root}, {}};
    EXPECT_NEAR(proved_bound(model, duals, {}, best) / best, 1.0, 1e-14);
    // Multipliers that claim more.
    EXPECT_LT(proved_bound(model, {{1.01 * root}, {1, 1, -root}, {}}, {}, best), 0.99999 * best);
    EXPECT_EQ(proved_bound(model, {{kInfinity}, {}, {}}, {}, best), -kInfinity);
    const double half = unit / root;
    EXPECT_NEAR(figures_of_point(model, {half, half, unit}, {}).objective / best, 1.0, 1e-14);
    EXPECT_LT(figures_of_point(model, {half, half, unit}, {}).violation, 1e-15);
    EXPECT_GT(figures_of_point(model, {half, half * (1.0 - 1e-3), unit}, {}).violation, 1e-4);
    EXPECT_GT(figures_of_point(model, {half, half, unit * (1.0 - 1e-3)}, {}).violation, 1e-4);
  }
}

// A random model that has the given point inside, with everything that a model can have.
struct RandomModel {
  Model model;
  std::vector<double> point, matrices;
};

RandomModel random_model(uint32_t seed) {
  Numbers numbers(seed);
  RandomModel made;
  Model& model = made.model;
  const auto cases = cone_cases();
  model.cones = {cases[static_cast<size_t>(numbers.whole(0, 6))].cone};
  const Point member = random_member(model.cones[0], Side::primal, 3, &numbers);
  // Rounded to doubles, inside: the heads are raised a little.
  std::vector<Point> inside = {member};
  for (const Rational& value : inside[0]) made.point.push_back(value.get_d());
  Cone& cone = model.cones[0];
  const auto is_inside = [&] {
    return is_member(cone, Side::primal, Point(made.point.begin(), made.point.end()));
  };
  for (double step = 1e-12; !is_inside(); step *= 2.0) {
    made.point[0] += step;
    if (!cone.exponents.empty() || cone.kind == ConeKind::rotated) made.point[1] += step;
  }
  made.point.push_back(numbers.between(-2.0, 2.0));
  made.point.push_back(numbers.between(-2.0, 2.0));
  for (size_t j = 0; j < made.point.size(); ++j) model.cost.push_back(numbers.between(-2.0, 2.0));
  model.lower.assign(5, -kInfinity);
  model.upper.assign(5, kInfinity);
  model.lower[4] = made.point[4] - numbers.between(0.0, 1.0);
  model.upper[4] = made.point[4] + numbers.between(0.0, 1.0);
  model.squares = {{3, 3, 2.0}, {4, 3, -1.0}, {4, 4, 1.0}};
  model.dimensions = {2};
  made.matrices = {1.0, numbers.between(-0.9, 0.9), 1.0};
  model.matrix_cost = {{0, {0, 0, numbers.between(-1.0, 2.0)}},
                       {0, {1, 0, numbers.between(-1.0, 1.0)}},
                       {0, {1, 1, numbers.between(-1.0, 2.0)}}};
  for (int i = 0; i < 4; ++i) {
    Row row{0.0, 0.0, {}, {}, {}};
    for (size_t j = 0; j < 5; ++j) row.terms.push_back({j, numbers.between(-2.0, 2.0)});
    for (const size_t k : {0, 1})
      row.matrix_terms.push_back({0, {k, k, numbers.between(-1.0, 1.0)}});
    if (i == 0) row.squares = {{3, 3, 1.0}, {4, 4, 2.0}};
    double value = 0.0;
    for (const Term& t : row.terms) value += t.value * made.point[t.var];
    for (const MatrixTerm& t : row.matrix_terms) value += t.element.value;
    for (const Square& q : row.squares)
      value += 0.5 * q.value * made.point[q.row] * made.point[q.col];
    row.lower = i == 0 ? -kInfinity : value - numbers.between(0.0, 1.0) - 1e-9;
    row.upper = value + numbers.between(0.0, 1.0) + 1e-9;
    model.rows.push_back(row);
  }
  return made;
}

// Random multipliers with every sign that is allowed.
TEST(Bounds, NothingIsProvedThatAFeasiblePointContradicts) {
  int useful = 0;
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    const RandomModel made = random_model(seed);
    const PointFigures point = figures_of_point(made.model, made.point, made.matrices);
    ASSERT_EQ(point.violation, 0.0);
    Numbers numbers(seed + 1000);
    Multipliers multipliers{{-numbers.between(0.0, 1.0)}, {}, made.point};
    for (int i = 1; i < 4; ++i) multipliers.y.push_back(numbers.between(-1.0, 1.0));
    for (int j = 0; j < 5; ++j) multipliers.cone.push_back(numbers.between(-1.0, 1.0));
    const double bound = proved_bound(made.model, multipliers, made.matrices, kInfinity);
    EXPECT_LE(bound, point.objective);
    useful += bound > -1e3;
    EXPECT_NE(verify_infeasible(made.model, multipliers), "");
    EXPECT_NE(verify_infeasible(made.model, multipliers, 1.0), "");
  }
  EXPECT_GT(useful, 200);
}

}  // namespace
}  // namespace proofs
