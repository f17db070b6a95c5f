#include "point_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vorlan::companion {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::size_t at(int index) { return static_cast<std::size_t>(index); }

// Where element (row, column) of a lower triangle is in its packed form.
std::size_t place(int dimension, int row, int column) {
  const std::size_t before = at(column) * at(dimension) - at(column) * (at(column) + 1) / 2;
  return before + at(row);
}

// Off the diagonal an element stands for two of the symmetric matrix.
double both(int row, int column) { return row == column ? 1.0 : 2.0; }

void add_quadratic(const std::vector<QuadraticTerm>& terms, const std::vector<double>& x,
                   std::vector<double>& sums) {
  for (const QuadraticTerm& term : terms) {
    sums[at(term.owner)] +=
        0.5 * both(term.row, term.column) * term.value * x[at(term.row)] * x[at(term.column)];
  }
}

void add_matrices(const std::vector<MatrixTerm>& terms, const ModelData& model, const Point& point,
                  std::vector<double>& sums) {
  for (const MatrixTerm& term : terms) {
    const std::vector<double>& matrix = point.matrices[at(term.matrix)];
    const int dimension = model.dimensions[at(term.matrix)];
    sums[at(term.owner)] +=
        both(term.row, term.column) * term.value * matrix[place(dimension, term.row, term.column)];
  }
}

double objective_of(const ModelData& model, const Point& point) {
  std::vector<double> sum{model.constant};
  for (std::size_t j = 0; j < model.cost.size(); ++j) sum[0] += model.cost[j] * point.values[j];
  add_quadratic(model.quadratic_cost, point.values, sum);
  add_matrices(model.matrix_cost, model, point, sum);
  return sum[0];
}

std::vector<double> activities(const ModelData& model, const Point& point) {
  std::vector<double> sums(model.sides.size());
  for (const LinearTerm& term : model.terms) {
    sums[at(term.owner)] += term.value * point.values[at(term.variable)];
  }
  add_quadratic(model.quadratic_terms, point.values, sums);
  add_matrices(model.matrix_terms, model, point, sums);
  return sums;
}

// NaN violates everything.
double excess(double amount) { return std::isnan(amount) ? kInfinity : std::max(0.0, amount); }

Violation range_violation(Requirement requirement, const std::string& name, double value,
                          const Range& range) {
  const double below = std::isinf(range.lower) && range.lower < 0.0 ? 0.0 : range.lower - value;
  const double above = std::isinf(range.upper) && range.upper > 0.0 ? 0.0 : value - range.upper;
  const bool is_below = !(below <= above);
  const double side = is_below ? range.lower : range.upper;
  return {requirement,
          name,
          value,
          std::max(excess(below), excess(above)),
          1.0 + (std::isfinite(side) ? std::abs(side) : 0.0),
          fmt::format("{} {:.10g}", is_below ? ">=" : "<=", side)};
}

bool may_be_zero(Kind kind) { return kind == Kind::kSemiContinuous || kind == Kind::kSemiInteger; }

// A semi-continuous variable that is next to 0 is as far from it as it is.
Violation bound_violation(const ModelData& model, std::size_t j, double value) {
  Violation violation =
      range_violation(Requirement::kBound, model.variable_names[j], value, model.bounds[j]);
  if (may_be_zero(model.kinds[j]) && std::abs(value) < violation.amount) {
    violation.amount = std::abs(value);
    violation.side = "0 or " + violation.side;
  }
  return violation;
}

double norm(const std::vector<double>& x, std::size_t first) {
  double length = 0.0;
  for (std::size_t i = first; i < x.size(); ++i) length = std::hypot(length, x[i]);
  return length;
}

double rotated_violation(const std::vector<double>& x) {
  const double lengths = std::hypot(norm(x, 2), (x[0] - x[1]) / std::sqrt(2.0));
  return lengths - (x[0] + x[1]) / std::sqrt(2.0);
}

// x0 >= x1 exp(x2 / x1), x1 >= 0. On the boundary x1 = 0 it says x0 >= 0 and x2 <= 0.
double exponential_violation(const std::vector<double>& x) {
  if (x[1] > 0.0) return x[1] * std::exp(x[2] / x[1]) - x[0];
  return std::max({-x[1], -x[0], x[2]});
}

// x0 >= -x2 exp(x1 / x2 - 1), x2 <= 0. On the boundary x2 = 0 it says x0, x1 >= 0.
double dual_exponential_violation(const std::vector<double>& x) {
  if (x[2] < 0.0) return -x[2] * std::exp(x[1] / x[2] - 1.0) - x[0];
  return std::max({x[2], -x[0], -x[1]});
}

double power_violation(const std::vector<double>& x, const std::vector<double>& exponents,
                       bool is_dual) {
  double sum = 0.0;
  for (const double exponent : exponents) sum += exponent;
  double product = 1.0;
  double most_negative = 0.0;
  for (std::size_t i = 0; i < exponents.size(); ++i) {
    const double share = exponents[i] / sum;
    most_negative = std::max(most_negative, -x[i]);
    product *= std::pow(std::max(0.0, is_dual ? x[i] / share : x[i]), share);
  }
  return std::max(most_negative, norm(x, exponents.size()) - product);
}

Violation cone_violation(const ModelCone& cone, const std::vector<double>& values) {
  std::vector<double> x;
  x.reserve(cone.members.size());
  for (const int member : cone.members) x.push_back(values[at(member)]);
  double amount = 0.0;
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      amount = norm(x, 1) - x[0];
      break;
    case ConeKind::kRotatedQuadratic:
      amount = rotated_violation(x);
      break;
    case ConeKind::kExponential:
      amount = exponential_violation(x);
      break;
    case ConeKind::kDualExponential:
      amount = dual_exponential_violation(x);
      break;
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      amount = power_violation(x, cone.exponents, cone.kind == ConeKind::kDualPower);
      break;
  }
  return {Requirement::kCone, cone.name, x[0], excess(amount), 1.0 + norm(x, 0), "in its cone"};
}

// True when the packed matrix plus shift times the identity has a Cholesky factor.
bool is_positive(std::vector<double> matrix, int dimension, double shift) {
  for (int k = 0; k < dimension; ++k) {
    const double pivot = matrix[place(dimension, k, k)] + shift;
    if (!(pivot > 0.0)) return false;
    for (int j = k + 1; j < dimension; ++j) {
      const double factor = matrix[place(dimension, j, k)] / pivot;
      for (int i = j; i < dimension; ++i) {
        matrix[place(dimension, i, j)] -= matrix[place(dimension, i, k)] * factor;
      }
    }
  }
  return true;
}

// The least shift that makes the matrix positive definite, by bisection; 0 where none is needed.
double lacking_shift(const std::vector<double>& matrix, int dimension) {
  constexpr int kSteps = 40;
  const double size = norm(matrix, 0);
  if (!std::isfinite(size)) return kInfinity;
  const double rounding = 1e-14 * size + std::numeric_limits<double>::min();
  if (is_positive(matrix, dimension, rounding)) return 0.0;
  double least = rounding;
  double enough = 2.0 * size;  // an eigenvalue is at most the norm, which counts each element once
  for (int step = 0; step < kSteps; ++step) {
    const double middle = std::sqrt(least * enough);
    (is_positive(matrix, dimension, middle) ? enough : least) = middle;
  }
  return enough;
}

// The largest member beside those neighbours that leave the least.
Violation set_violation(const ModelSet& set, const std::vector<double>& values) {
  const std::size_t most = static_cast<std::size_t>(set.most);
  double amount = kInfinity;
  for (std::size_t first = 0; first == 0 || first + most <= set.members.size(); ++first) {
    double beside = 0.0;
    for (std::size_t i = 0; i < set.members.size(); ++i) {
      const bool is_kept = i >= first && i < first + most;
      if (!is_kept) beside = std::max(beside, excess(std::abs(values[at(set.members[i])])));
    }
    amount = std::min(amount, beside);
  }
  return {Requirement::kSet,
          set.name,
          amount,
          amount,
          1.0,
          set.most == 1 ? "at most 1 not 0" : "at most 2 neighbours not 0"};
}

// The constraints that an indicator leaves out at this point.
std::vector<bool> left_out(const ModelData& model, const std::vector<double>& values) {
  constexpr double kHalf = 0.5;  // a binary variable has the value that is nearer
  std::vector<bool> is_out(model.sides.size());
  for (const Indicator& indicator : model.indicators) {
    is_out[at(indicator.constraint)] =
        std::abs(values[at(indicator.variable)] - indicator.value) > kHalf;
  }
  return is_out;
}

}  // namespace

PointCheck check_point(const ModelData& model, const Point& point) {
  PointCheck check;
  check.objective = objective_of(model, point);
  check.unchecked_parts = model.unknown_parts;
  const auto keep = [&check](Violation violation) {
    if (violation.amount > 0.0) check.violations.push_back(std::move(violation));
  };
  const std::vector<double> sums = activities(model, point);
  const std::vector<bool> is_out = left_out(model, point.values);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (is_out[i]) continue;
    keep(range_violation(Requirement::kRow, model.constraint_names[i], sums[i], model.sides[i]));
  }
  for (std::size_t j = 0; j < point.values.size(); ++j) {
    const double value = point.values[j];
    keep(bound_violation(model, j, value));
    if (!is_whole(model.kinds[j])) continue;
    keep({Requirement::kIntegrality, model.variable_names[j], value,
          excess(std::abs(value - std::round(value))), 1.0, "integer"});
  }
  for (const ModelCone& cone : model.cones) keep(cone_violation(cone, point.values));
  for (const ModelSet& set : model.sets) keep(set_violation(set, point.values));
  for (std::size_t m = 0; m < point.matrices.size(); ++m) {
    const double shift = lacking_shift(point.matrices[m], model.dimensions[m]);
    keep({Requirement::kMatrix, model.matrix_names[m], -shift, shift,
          1.0 + norm(point.matrices[m], 0), "positive semidefinite"});
  }
  return check;
}

const char* word(Requirement requirement) {
  constexpr std::array kWords = {"constraint", "bound",           "integer",
                                 "cone",       "matrix variable", "set"};
  return kWords.at(static_cast<std::size_t>(requirement));
}

}  // namespace vorlan::companion
