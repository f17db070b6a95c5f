// The families and their formulas. A coefficient or side that carries the unit says so by `u`.
#include "unit_families.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "cone_points.h"
#include "solve/backend.h"
#include "solve/check/sparse_columns.h"
#include "solve/check/vectors.h"

namespace vorlan::test {
namespace {

using Terms = std::vector<std::pair<int32_t, double>>;

class Builder {
 public:
  int32_t variable(double cost, double lower = -kInfinity, double upper = kInfinity) {
    model_.cost.push_back(cost);
    model_.var_lower.push_back(lower);
    model_.var_upper.push_back(upper);
    model_.var_kind.push_back(VarKind::kContinuous);
    return model_.num_var() - 1;
  }

  int32_t row(double lower, double upper, const Terms& terms) {
    model_.con_lower.push_back(lower);
    model_.con_upper.push_back(upper);
    const int32_t row = model_.num_con() - 1;
    for (const auto& [var, value] : terms) elements_.push_back({row, var, value});
    return row;
  }
  int32_t equal(double side, const Terms& terms) { return row(side, side, terms); }
  int32_t at_least(double side, const Terms& terms) { return row(side, kInfinity, terms); }
  int32_t at_most(double side, const Terms& terms) { return row(-kInfinity, side, terms); }

  // Adds value / 2 x_var^2 to the objective, or to the constraint.
  void square(int32_t var, double value) { model_.quadratic_cost.push_back({var, var, value}); }
  void square_in(int32_t con, int32_t var, double value) {
    model_.quadratic_coefficients.push_back({con, {var, var, value}});
  }

  // Adds value x_row x_col to the constraint, of different variables. Elements of a constraint are added
  // by column, then by row.
  void product_in(int32_t con, int32_t row, int32_t col, double value) {
    model_.quadratic_coefficients.push_back({con, {row, col, value}});
  }

  void cone(ConeKind kind, std::vector<int32_t> vars, std::vector<double> exponents = {}) {
    model_.cones.push_back({kind, std::move(vars), std::move(exponents)});
  }

  int32_t matrix(int32_t dimension) {
    model_.matrix_vars.push_back({dimension});
    return model_.num_matrix_var() - 1;
  }
  void matrix_cost(int32_t row, int32_t col, double value) {
    model_.matrix_cost.push_back({0, {row, col, value}});
  }
  void matrix_element(int32_t con, int32_t row, int32_t col, double value) {
    model_.matrix_coefficients.push_back({con, 0, {row, col, value}});
  }

  void maximize() { model_.maximize = true; }

  UnitModel optimal(double objective) { return finish(KnownStatus::kOptimal, objective); }
  // Where the unit is in exponents alone, so that other data stay of the size 1.
  UnitModel optimal_among_ones(double objective) {
    UnitModel known = optimal(objective);
    known.size = std::max(1.0, known.size);
    return known;
  }
  UnitModel infeasible() { return finish(KnownStatus::kInfeasible, 0.0); }
  UnitModel unbounded() { return finish(KnownStatus::kUnbounded, 0.0); }

 private:
  UnitModel finish(KnownStatus status, double objective) {
    model_.matrix = make_columns(std::move(elements_), model_.cost.size());
    return {std::move(model_), status, objective, std::fabs(objective)};
  }

  Model model_;
  std::vector<MatrixElement> elements_;
};

// ---- Linear models
// -------------------------------------------------------------------------------

UnitModel cheapest_mixture(double u) {
  Builder b;
  const int32_t x = b.variable(1.0, 0.0, u / 3.0);
  const int32_t y = b.variable(2.0, 0.0);
  b.at_least(u, {{x, 1.0}, {y, 1.0}});
  return b.optimal(5.0 * u / 3.0);
}

// The median of three numbers.
UnitModel least_absolute_deviations(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  for (const double number : {1.0, 2.0, 6.0}) {
    const int32_t t = b.variable(1.0);
    b.at_least(-number * u, {{t, 1.0}, {x, -1.0}});
    b.at_least(number * u, {{t, 1.0}, {x, 1.0}});
  }
  return b.optimal(5.0 * u);
}

// Both constraints hold with equality at x = y = u.
UnitModel cheapest_diet(double u) {
  Builder b;
  const int32_t x = b.variable(1.0, 0.0);
  const int32_t y = b.variable(1.0, 0.0);
  b.at_least(3.0 * u, {{x, 1.0}, {y, 2.0}});
  b.at_least(3.0 * u, {{x, 2.0}, {y, 1.0}});
  return b.optimal(2.0 * u);
}

UnitModel best_production(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(3.0 * u, 0.0);
  const int32_t y = b.variable(2.0 * u, 0.0);
  b.at_most(3.0, {{x, 1.0}, {y, 2.0}});
  b.at_most(3.0, {{x, 2.0}, {y, 1.0}});
  return b.optimal(5.0 * u);
}

// Each path costs the same, so that only the amount matters.
UnitModel shipment_over_two_stages(double u) {
  Builder b;
  Terms out, middle, in;
  for (const double first : {1.0, 2.0, 3.0}) {
    const int32_t x = b.variable(first, 0.0, u);
    const int32_t y = b.variable(4.0 - first, 0.0);
    out.emplace_back(x, 1.0);
    in.emplace_back(y, 1.0);
    b.equal(0.0, {{x, 1.0}, {y, -1.0}});
  }
  b.equal(2.5 * u, out);
  b.at_least(2.0 * u, in);
  return b.optimal(10.0 * u);
}

// The amount of the size u costs 1 / u.
UnitModel dear_amount_beside_a_common_one(double u) {
  Builder b;
  const int32_t x = b.variable(1.0 / u, 0.0);
  const int32_t y = b.variable(1.0 / u, 0.0);
  const int32_t z = b.variable(1.0, 0.0);
  b.at_least(3.0 * u, {{x, 1.0}, {y, 2.0}});
  b.at_least(3.0 * u, {{x, 2.0}, {y, 1.0}});
  b.at_least(1.0, {{z, 1.0}});
  return b.optimal(3.0);
}

UnitModel linear_equations_that_contradict(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  b.equal(u, {{x, 1.0}, {y, 1.0}});
  b.equal(2.0 * u, {{x, 1.0}, {y, 1.0}});
  return b.infeasible();
}

// There is a ray, too, along which the objective falls.
UnitModel contradiction_without_limit(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(0.0);
  b.equal(u, {{x, 1.0}, {y, 2.0}});
  b.equal(2.0 * u, {{x, 1.0}, {y, 2.0}});
  return b.infeasible();
}

UnitModel differences_that_contradict(double u) {
  Builder b;
  const int32_t x = b.variable(1.0, 0.0);
  const int32_t y = b.variable(1.0, 0.0);
  b.at_least(u, {{x, 1.0}, {y, -1.0}});
  b.at_least(u, {{y, 1.0}, {x, -1.0}});
  return b.infeasible();
}

UnitModel income_without_limit(double u) {
  Builder b;
  const int32_t x = b.variable(-u, 0.0);
  const int32_t y = b.variable(0.0, 0.0);
  b.at_most(u, {{x, 1.0}, {y, -1.0}});
  return b.unbounded();
}

// ---- Quadratic objectives -----------------------------------------------------------------------

UnitModel nearest_point_of_a_line(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  b.square(x, 1.0);
  b.square(y, 1.0);
  b.equal(u, {{x, 1.0}, {y, 1.0}});
  return b.optimal(u * u / 4.0);
}

UnitModel nearest_point_with_small_coefficients(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  b.square(x, 1.0);
  b.square(y, 1.0);
  b.equal(1.0, {{x, 1.0 / u}, {y, 1.0 / u}});
  return b.optimal(u * u / 4.0);
}

UnitModel flat_curvature(double u) {
  Builder b;
  const int32_t x = b.variable(-1.0);
  b.square(x, 1.0 / u);
  return b.optimal(-u / 2.0);
}

UnitModel portfolio_of_least_risk(double u) {
  Builder b;
  Terms budget;
  double precision = 0.0;
  for (const double variance : {0.04, 0.01, 0.09, 0.25}) {
    const int32_t x = b.variable(0.0, 0.0);
    b.square(x, variance);
    budget.emplace_back(x, 1.0);
    precision += 1.0 / variance;
  }
  b.equal(u, budget);
  return b.optimal(u * u / (2.0 * precision));
}

// min |x a - u d|^2 + x^2 by its residuals.
UnitModel ridge_regression(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  b.square(x, 2.0);
  double aa = 1.0;
  double ad = 0.0;
  double dd = 0.0;
  for (const auto& [a, d] : {std::pair{1.0, 2.0}, {2.0, 3.0}, {-1.0, 1.0}}) {
    const int32_t r = b.variable(0.0);
    b.square(r, 2.0);
    b.equal(d * u, {{x, a}, {r, 1.0}});
    aa += a * a;
    ad += a * d;
    dd += d * d;
  }
  return b.optimal(u * u * (dd - ad * ad / aa));
}

UnitModel quadratic_infeasible(double u) {
  Builder b;
  const int32_t x = b.variable(0.0, u);
  const int32_t z = b.variable(0.0, 0.0);
  b.square(x, 1.0);
  b.equal(0.0, {{x, 1.0}, {z, 1.0}});
  return b.infeasible();
}

UnitModel quadratic_unbounded(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(-u, 0.0);
  b.square(x, 1.0);
  b.at_least(u, {{x, 1.0}, {y, 1.0}});
  return b.unbounded();
}

// ---- Quadratic constraints ----------------------------------------------------------------------

UnitModel disc_with_large_cost(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(u);
  const int32_t y = b.variable(0.0);
  const int32_t disc = b.at_most(4.0, {});
  b.square_in(disc, x, 2.0);
  b.square_in(disc, y, 2.0);
  return b.optimal(2.0 * u);
}

UnitModel disc(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t disc = b.at_most(u * u, {});
  b.square_in(disc, x, 2.0);
  b.square_in(disc, y, 2.0);
  return b.optimal(std::numbers::sqrt2 * u);
}

// Of radius u around (10 u, 10 u).
UnitModel disc_away_from_zero(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t disc = b.at_most(-199.0 * u * u, {{x, -20.0 * u}, {y, -20.0 * u}});
  b.square_in(disc, x, 2.0);
  b.square_in(disc, y, 2.0);
  return b.optimal((20.0 + std::numbers::sqrt2) * u);
}

// x^2 + 4 y^2 + 9 z^2 <= u^2.
UnitModel ellipsoid(double u) {
  Builder b;
  double sum = 0.0;
  const int32_t row = b.at_most(u * u, {});
  for (const auto& [cost, axis] : {std::pair{1.0, 1.0}, {-2.0, 2.0}, {0.5, 3.0}}) {
    b.square_in(row, b.variable(cost), 2.0 * axis * axis);
    sum += cost * cost / (axis * axis);
  }
  return b.optimal(-u * std::sqrt(sum));
}

// |L'x|^2 <= u^2 with L of ones on the diagonal and halves below it: -u |L^-1 c|, since x'LL'x is the
// row.
UnitModel turned_ellipsoid(double u) {
  Builder b;
  const std::vector<double> cost = {1.0, -2.0, 0.5, 3.0, -1.0};
  const int32_t row = b.at_most(u * u, {});
  std::vector<double> solved;
  double sum = 0.0;
  for (const double c : cost) {
    b.variable(c);
    solved.push_back(c - 0.5 * (solved.empty() ? 0.0 : solved.back()));
    sum += solved.back() * solved.back();
  }
  for (int32_t j = 0; j < static_cast<int32_t>(cost.size()); ++j) {
    b.square_in(row, j, j == 0 ? 2.0 : 2.5);
    if (j + 1 < static_cast<int32_t>(cost.size())) b.product_in(row, j + 1, j, 1.0);
  }
  return b.optimal(-u * std::sqrt(sum));
}

// max x + 2 y, x + y = u, x^2 + 4 y^2 <= 0.9 u^2.
UnitModel portfolio_under_risk(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(1.0, 0.0);
  const int32_t y = b.variable(2.0, 0.0);
  b.equal(u, {{x, 1.0}, {y, 1.0}});
  const int32_t risk = b.at_most(0.9 * u * u, {});
  b.square_in(risk, x, 2.0);
  b.square_in(risk, y, 8.0);
  return b.optimal(u * (1.0 + (2.0 + std::numbers::sqrt2) / 10.0));
}

UnitModel disc_beyond_a_line(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t disc = b.at_most(u * u, {});
  b.square_in(disc, x, 2.0);
  b.square_in(disc, y, 2.0);
  b.at_least(3.0 * u, {{x, 1.0}, {y, 1.0}});
  return b.infeasible();
}

UnitModel strip_without_end(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t strip = b.at_most(u * u, {});
  b.square_in(strip, x, 2.0);
  b.at_least(u, {{x, 1.0}, {y, 1.0}});
  return b.unbounded();
}

// ---- Quadratic cones ----------------------------------------------------------------------------

UnitModel least_squares_norm(double u) {
  Builder b;
  const int32_t t = b.variable(1.0);
  const int32_t x = b.variable(0.0);
  std::vector<int32_t> cone = {t};
  for (const double number : {1.0, 2.0, 6.0}) {
    cone.push_back(b.variable(0.0));
    b.equal(number * u, {{x, 1.0}, {cone.back(), 1.0}});
  }
  b.cone(ConeKind::kQuadratic, cone);
  return b.optimal(std::sqrt(14.0) * u);
}

// The sum of distances to the corners of an equilateral triangle away from 0.
UnitModel fermat_weber(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  const double height = std::sqrt(3.0) / 2.0;
  for (const auto& [px, py] : {std::pair{3.0, 2.0}, {4.0, 2.0}, {3.5, 2.0 + height}}) {
    const int32_t t = b.variable(1.0);
    const int32_t dx = b.variable(0.0);
    const int32_t dy = b.variable(0.0);
    b.equal(px * u, {{x, 1.0}, {dx, 1.0}});
    b.equal(py * u, {{y, 1.0}, {dy, 1.0}});
    b.cone(ConeKind::kQuadratic, {t, dx, dy});
  }
  return b.optimal(std::sqrt(3.0) * u);
}

UnitModel hyperbola(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{z, 1.0}});
  b.cone(ConeKind::kRotatedQuadratic, {x, y, z});
  return b.optimal(std::numbers::sqrt2 * u);
}

UnitModel product_beyond_its_factors(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(1.0);
  b.at_most(u, {{x, 1.0}});
  b.at_most(u, {{y, 1.0}});
  b.at_least(2.0 * u, {{z, 1.0}});
  b.cone(ConeKind::kRotatedQuadratic, {x, y, z});
  return b.infeasible();
}

UnitModel rotated_cone_without_end(double u) {
  Builder b;
  const int32_t x = b.variable(-1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{z, 1.0}});
  b.cone(ConeKind::kRotatedQuadratic, {x, y, z});
  return b.unbounded();
}

UnitModel point_outside_a_quadratic_cone(double u) {
  Builder b;
  const int32_t t = b.variable(0.0);
  const int32_t x = b.variable(1.0);
  b.equal(u, {{t, 1.0}});
  b.at_least(2.0 * u, {{x, 1.0}});
  b.cone(ConeKind::kQuadratic, {t, x});
  return b.infeasible();
}

UnitModel quadratic_cone_without_end(double u) {
  Builder b;
  const int32_t t = b.variable(-1.0);
  const int32_t x = b.variable(0.0);
  b.equal(u, {{x, 1.0}});
  b.cone(ConeKind::kQuadratic, {t, x});
  return b.unbounded();
}

// ---- Exponential and power cones ----------------------------------------------------------------

UnitModel value_of_an_exponential(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t one = b.variable(0.0);
  const int32_t exponent = b.variable(0.0);
  b.equal(1.0, {{one, 1.0}});
  b.equal(std::log(u), {{exponent, 1.0}});
  b.cone(ConeKind::kExponential, {x, one, exponent});
  return b.optimal_among_ones(u);
}

// x1 exp(x2 / x1) at x1 = u, x2 = 2 u.
UnitModel exponential_perspective(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{y, 1.0}});
  b.equal(2.0 * u, {{z, 1.0}});
  b.cone(ConeKind::kExponential, {x, y, z});
  return b.optimal(u * std::exp(2.0));
}

// min x + y with x y >= u^2, by logarithms.
UnitModel geometric_program(double u) {
  Builder b;
  Terms product;
  for (int k = 0; k < 2; ++k) {
    const int32_t x = b.variable(1.0);
    const int32_t one = b.variable(0.0);
    const int32_t log = b.variable(0.0);
    b.equal(1.0, {{one, 1.0}});
    b.cone(ConeKind::kExponential, {x, one, log});
    product.emplace_back(log, 1.0);
  }
  b.at_least(2.0 * std::log(u), product);
  return b.optimal_among_ones(2.0 * u);
}

UnitModel dual_exponential_value(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{y, 1.0}});
  b.equal(-u, {{z, 1.0}});
  b.cone(ConeKind::kDualExponential, {x, y, z});
  return b.optimal(u * std::exp(-2.0));
}

UnitModel production_by_powers(double u) {
  Builder b;
  b.maximize();
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(1.0);
  b.equal(u, {{x, 1.0}, {y, 1.0}});
  b.cone(ConeKind::kPower, {x, y, z}, {0.3, 0.7});
  return b.optimal(u * std::pow(0.3, 0.3) * std::pow(0.7, 0.7));
}

UnitModel dual_power_value(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(1.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{z, 1.0}});
  b.cone(ConeKind::kDualPower, {x, y, z}, {1.0, 1.0});
  return b.optimal(u);
}

UnitModel point_outside_an_exponential_cone(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(1.0);
  b.at_most(u, {{x, 1.0}});
  b.equal(u, {{y, 1.0}});
  b.at_least(u, {{z, 1.0}});
  b.cone(ConeKind::kExponential, {x, y, z});
  return b.infeasible();
}

UnitModel point_outside_a_power_cone(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(1.0);
  b.at_most(u, {{x, 1.0}});
  b.at_most(u, {{y, 1.0}});
  b.at_least(2.0 * u, {{z, 1.0}});
  b.cone(ConeKind::kPower, {x, y, z}, {0.3, 0.7});
  return b.infeasible();
}

// At y = 0 and z = -u: x >= u / e.
UnitModel point_outside_a_dual_exponential_cone(double u) {
  Builder b;
  const int32_t x = b.variable(0.0);
  const int32_t y = b.variable(1.0);
  const int32_t z = b.variable(0.0);
  b.at_most(0.25 * u, {{x, 1.0}});
  b.at_most(0.0, {{y, 1.0}});
  b.equal(-u, {{z, 1.0}});
  b.cone(ConeKind::kDualExponential, {x, y, z});
  return b.infeasible();
}

// |z| <= 2 sqrt(x y).
UnitModel point_outside_a_dual_power_cone(double u) {
  Builder b;
  const int32_t x = b.variable(1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(0.0);
  b.at_most(u, {{x, 1.0}});
  b.at_most(u, {{y, 1.0}});
  b.at_least(3.0 * u, {{z, 1.0}});
  b.cone(ConeKind::kDualPower, {x, y, z}, {1.0, 1.0});
  return b.infeasible();
}

UnitModel power_cone_without_end(double u) {
  Builder b;
  const int32_t x = b.variable(-1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(1.0);
  b.equal(u, {{y, 1.0}});
  b.at_least(u, {{z, 1.0}});
  b.cone(ConeKind::kPower, {x, y, z}, {0.3, 0.7});
  return b.unbounded();
}

UnitModel exponential_without_end(double u) {
  Builder b;
  const int32_t x = b.variable(-1.0);
  const int32_t y = b.variable(0.0);
  const int32_t z = b.variable(0.0);
  b.equal(u, {{y, 1.0}});
  b.cone(ConeKind::kExponential, {x, y, z});
  return b.unbounded();
}

// ---- Matrix variables ---------------------------------------------------------------------------

// The nearest point of a line as the Schur complement of its squares.
UnitModel squares_in_a_matrix(double u) {
  Builder b;
  b.matrix(3);
  b.matrix_cost(1, 1, 0.5);
  b.matrix_cost(2, 2, 0.5);
  b.matrix_element(b.equal(1.0, {}), 0, 0, 1.0);
  const int32_t line = b.equal(u, {});
  b.matrix_element(line, 1, 0, 0.5);
  b.matrix_element(line, 2, 0, 0.5);
  return b.optimal(u * u / 4.0);
}

UnitModel covariance_of_known_variances(double u) {
  Builder b;
  b.maximize();
  b.matrix(2);
  b.matrix_cost(1, 0, 0.5);
  b.matrix_element(b.equal(u, {}), 0, 0, 1.0);
  b.matrix_element(b.equal(4.0 * u, {}), 1, 1, 1.0);
  return b.optimal(2.0 * u);
}

UnitModel least_eigenvalue(double u) {
  Builder b;
  b.matrix(2);
  b.matrix_cost(0, 0, 2.0);
  b.matrix_cost(1, 0, 1.0);
  b.matrix_cost(1, 1, 3.0);
  const int32_t trace = b.equal(u, {});
  b.matrix_element(trace, 0, 0, 1.0);
  b.matrix_element(trace, 1, 1, 1.0);
  return b.optimal(u * (5.0 - std::sqrt(5.0)) / 2.0);
}

// t I - A as a matrix variable, where A = u (2 1; 1 3).
void add_matrix_inequality(double u, int32_t t, Builder* b) {
  b->matrix(2);
  b->matrix_element(b->equal(2.0 * u, {{t, 1.0}}), 0, 0, -1.0);
  b->matrix_element(b->equal(u, {}), 1, 0, -0.5);
  b->matrix_element(b->equal(3.0 * u, {{t, 1.0}}), 1, 1, -1.0);
}

UnitModel largest_eigenvalue(double u) {
  Builder b;
  add_matrix_inequality(u, b.variable(1.0), &b);
  return b.optimal(u * (5.0 + std::sqrt(5.0)) / 2.0);
}

UnitModel eigenvalue_beyond_a_bound(double u) {
  Builder b;
  add_matrix_inequality(u, b.variable(1.0, -kInfinity, 3.0 * u), &b);
  return b.infeasible();
}

UnitModel covariance_beyond_variances(double u) {
  Builder b;
  b.matrix(2);
  b.matrix_element(b.equal(u, {}), 0, 0, 1.0);
  b.matrix_element(b.equal(u, {}), 1, 1, 1.0);
  b.matrix_element(b.at_least(2.0 * u, {}), 1, 0, 0.5);
  return b.infeasible();
}

UnitModel matrix_without_end(double u) {
  Builder b;
  b.matrix(2);
  b.matrix_cost(1, 1, -1.0);
  b.matrix_element(b.equal(u, {}), 0, 0, 1.0);
  return b.unbounded();
}

}  // namespace

const std::vector<UnitFamily>& linear_unit_families() {
  static const std::vector<UnitFamily> families = {
      {"cheapest_mixture", cheapest_mixture},
      {"least_absolute_deviations", least_absolute_deviations},
      {"cheapest_diet", cheapest_diet},
      {"best_production", best_production},
      {"shipment_over_two_stages", shipment_over_two_stages},
      {"dear_amount_beside_a_common_one", dear_amount_beside_a_common_one},
      {"linear_equations_that_contradict", linear_equations_that_contradict},
      {"contradiction_without_limit", contradiction_without_limit},
      {"differences_that_contradict", differences_that_contradict},
      {"income_without_limit", income_without_limit},
  };
  return families;
}

const std::vector<UnitFamily>& curved_unit_families() {
  static const std::vector<UnitFamily> families = {
      {"nearest_point_of_a_line", nearest_point_of_a_line},
      {"nearest_point_with_small_coefficients", nearest_point_with_small_coefficients},
      {"flat_curvature", flat_curvature},
      {"portfolio_of_least_risk", portfolio_of_least_risk},
      {"ridge_regression", ridge_regression},
      {"quadratic_infeasible", quadratic_infeasible},
      {"quadratic_unbounded", quadratic_unbounded},
      {"disc_with_large_cost", disc_with_large_cost},
      {"disc", disc},
      {"disc_away_from_zero", disc_away_from_zero},
      {"ellipsoid", ellipsoid},
      {"turned_ellipsoid", turned_ellipsoid},
      {"portfolio_under_risk", portfolio_under_risk},
      {"disc_beyond_a_line", disc_beyond_a_line},
      {"strip_without_end", strip_without_end},
      {"least_squares_norm", least_squares_norm},
      {"fermat_weber", fermat_weber},
      {"hyperbola", hyperbola},
      {"product_beyond_its_factors", product_beyond_its_factors},
      {"rotated_cone_without_end", rotated_cone_without_end},
      {"point_outside_a_quadratic_cone", point_outside_a_quadratic_cone},
      {"quadratic_cone_without_end", quadratic_cone_without_end},
      {"value_of_an_exponential", value_of_an_exponential},
      {"exponential_perspective", exponential_perspective},
      {"geometric_program", geometric_program},
      {"dual_exponential_value", dual_exponential_value},
      {"production_by_powers", production_by_powers},
      {"dual_power_value", dual_power_value},
      {"point_outside_an_exponential_cone", point_outside_an_exponential_cone},
      {"point_outside_a_power_cone", point_outside_a_power_cone},
      {"point_outside_a_dual_exponential_cone", point_outside_a_dual_exponential_cone},
      {"point_outside_a_dual_power_cone", point_outside_a_dual_power_cone},
      {"power_cone_without_end", power_cone_without_end},
      {"exponential_without_end", exponential_without_end},
      {"squares_in_a_matrix", squares_in_a_matrix},
      {"covariance_of_known_variances", covariance_of_known_variances},
      {"least_eigenvalue", least_eigenvalue},
      {"largest_eigenvalue", largest_eigenvalue},
      {"eigenvalue_beyond_a_bound", eigenvalue_beyond_a_bound},
      {"covariance_beyond_variances", covariance_beyond_variances},
      {"matrix_without_end", matrix_without_end},
  };
  return families;
}

void rescale(uint32_t seed, int range, UnitModel* known) {
  Random random(seed);
  const auto factor = [&] { return std::ldexp(1.0, random.whole(-range, range)); };
  Model& model = known->model;
  std::vector<double> row(model.con_lower.size());
  std::vector<double> column(model.cost.size());
  std::vector<std::vector<double>> matrix;
  for (double& value : row) value = factor();
  for (double& value : column) value = factor();
  for (const Cone& cone : model.cones) {
    const double common = factor();
    for (const int32_t var : cone.vars) column[index(var)] = common;
  }
  for (const MatrixVariable& variable : model.matrix_vars) {
    matrix.emplace_back(index(variable.dimension));
    for (double& value : matrix.back()) value = factor();
  }
  const double objective = factor();
  known->objective *= objective;
  known->size *= objective;
  for (size_t i = 0; i < row.size(); ++i) {
    model.con_lower[i] *= row[i];
    model.con_upper[i] *= row[i];
  }
  SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < column.size(); ++j) {
    model.cost[j] *= objective * column[j];
    model.var_lower[j] /= column[j];
    model.var_upper[j] /= column[j];
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      a.value[index(k)] *= row[index(a.row[index(k)])] * column[j];
    }
  }
  const auto squared = [&](const TriangleEntry& e) {
    return column[index(e.row)] * column[index(e.col)];
  };
  for (TriangleEntry& e : model.quadratic_cost) e.value *= objective * squared(e);
  for (ConQuadraticEntry& e : model.quadratic_coefficients) {
    e.entry.value *= row[index(e.con)] * squared(e.entry);
  }
  const auto congruent = [&](int32_t variable, const TriangleEntry& e) {
    return matrix[index(variable)][index(e.row)] * matrix[index(variable)][index(e.col)];
  };
  for (MatrixCostEntry& e : model.matrix_cost) {
    e.entry.value *= objective * congruent(e.matrix_var, e.entry);
  }
  for (MatrixCoefficient& e : model.matrix_coefficients) {
    e.entry.value *= row[index(e.con)] * congruent(e.matrix_var, e.entry);
  }
}

bool has_axes(const Cone& cone) {
  return cone.kind == ConeKind::kRotatedQuadratic || cone.kind == ConeKind::kPower ||
         cone.kind == ConeKind::kDualPower;
}

void rescale_axes(uint32_t seed, int range, UnitModel* known) {
  Random random(seed);
  Model& model = known->model;
  std::vector<double> column(model.cost.size(), 1.0);
  for (const Cone& cone : model.cones) {
    if (!has_axes(cone)) continue;
    const bool is_rotated = cone.kind == ConeKind::kRotatedQuadratic;
    const std::vector<double> weights =
        is_rotated ? std::vector<double>{1.0, 1.0} : std::vector<double>(cone.exponents);
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    double mean = 0.0;
    for (size_t k = 0; k < weights.size(); ++k) {
      const int power = 2 * random.whole(-range / 2, range / 2);
      column[index(cone.vars[k])] = std::ldexp(1.0, power);
      mean += weights[k] * power / sum;
    }
    for (size_t k = weights.size(); k < cone.vars.size(); ++k) {
      column[index(cone.vars[k])] = std::exp2(mean);
    }
  }
  SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < column.size(); ++j) {
    model.cost[j] *= column[j];
    model.var_lower[j] /= column[j];
    model.var_upper[j] /= column[j];
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) a.value[index(k)] *= column[j];
  }
  for (TriangleEntry& e : model.quadratic_cost) {
    e.value *= column[index(e.row)] * column[index(e.col)];
  }
}

}  // namespace vorlan::test
