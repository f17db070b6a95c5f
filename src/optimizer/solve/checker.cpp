// Residuals of points, multipliers and rays.
#include "solve/checker.h"

#include <algorithm>
#include <cmath>

namespace vorlan {
namespace {

// A row's or column's sum together with the size of its terms.
struct Sum {
  double value = 0.0;
  double size = 1.0;

  void add(double term) {
    value += term;
    size = std::max(size, std::fabs(term));
  }
};

std::vector<Sum> row_sums(const Model& model, const std::vector<double>& x) {
  std::vector<Sum> sums(model.con_lower.size());
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < x.size(); ++j) {
    for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
      sums[static_cast<size_t>(a.row[k])].add(a.value[k] * x[j]);
    }
  }
  return sums;
}

Sum column_sum(const Model& model, const std::vector<double>& y, size_t j, double first_term) {
  Sum sum;
  sum.add(first_term);
  const SparseMatrix& a = model.matrix;
  for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
    sum.add(-a.value[k] * y[static_cast<size_t>(a.row[k])]);
  }
  return sum;
}

double outside(double value, double lower, double upper) {
  return std::max({0.0, lower - value, value - upper});
}

// Finite bounds belong to the terms that cancel.
double relative_outside(const Sum& sum, double lower, double upper) {
  double size = sum.size;
  if (std::isfinite(lower)) size = std::max(size, std::fabs(lower));
  if (std::isfinite(upper)) size = std::max(size, std::fabs(upper));
  return outside(sum.value, lower, upper) / size;
}

bool is_integer(VarKind kind) { return kind == VarKind::kInteger || kind == VarKind::kSemiInteger; }

double variable_violation(const Model& model, size_t j, double x) {
  const VarKind kind = model.var_kind[j];
  double violation =
      relative_outside({x, std::max(1.0, std::fabs(x))}, model.var_lower[j], model.var_upper[j]);
  if (is_semi(kind)) violation = std::min(violation, std::fabs(x));
  if (is_integer(kind)) violation = std::max(violation, std::fabs(x - std::round(x)));
  return violation;
}

// A multiplier at an infinite bound has nothing to hold it.
double sign_violation(double multiplier, double lower, double upper, double size) {
  const bool held = multiplier > 0.0 ? std::isfinite(lower) : std::isfinite(upper);
  return held ? 0.0 : std::fabs(multiplier) / size;
}

// The bound that a multiplier prices, times the multiplier.
double bound_term(double multiplier, double lower, double upper) {
  if (multiplier == 0.0) return 0.0;
  const double bound = multiplier > 0.0 ? lower : upper;
  return std::isfinite(bound) ? multiplier * bound : 0.0;
}

Sum bound_sum(const Model& model, const std::vector<double>& y, const std::vector<double>& d) {
  Sum sum;
  for (size_t i = 0; i < y.size(); ++i) {
    sum.add(bound_term(y[i], model.con_lower[i], model.con_upper[i]));
  }
  for (size_t j = 0; j < d.size(); ++j) {
    sum.add(bound_term(d[j], model.var_lower[j], model.var_upper[j]));
  }
  return sum;
}

double largest(const std::vector<double>& values) {
  double size = 0.0;
  for (const double value : values) size = std::max(size, std::fabs(value));
  return size;
}

// The recession cone of an interval: a ray may not leave through a finite side.
double leaves(double direction, double lower, double upper) {
  if (direction > 0.0 && std::isfinite(upper)) return direction;
  if (direction < 0.0 && std::isfinite(lower)) return -direction;
  return 0.0;
}

// Whether a ray proves its claim by the given margin although it violates its conditions a little.
// Scaled to a margin of 1, its violation must be a tolerable one: then it could be wrong only for
// points of the size 1/kRayTolerance. The margin must also be more than rounding leaves.
bool proves(double margin, double violation, double scale) {
  constexpr double kRounding = 1e-12;
  return scale > 0.0 && margin > kRounding * scale && violation <= kRayTolerance * margin;
}

}  // namespace

double primal_violation(const Model& model, const std::vector<double>& x) {
  double violation = 0.0;
  for (size_t j = 0; j < x.size(); ++j) {
    if (!std::isfinite(x[j])) return kInfinity;
    violation = std::max(violation, variable_violation(model, j, x[j]));
  }
  const std::vector<Sum> sums = row_sums(model, x);
  for (size_t i = 0; i < sums.size(); ++i) {
    violation =
        std::max(violation, relative_outside(sums[i], model.con_lower[i], model.con_upper[i]));
  }
  return violation;
}

double dual_violation(const MinimizeProblem& problem, const BackendResult& result) {
  const Model& model = problem.model;
  double violation = 0.0;
  for (size_t i = 0; i < result.y.size(); ++i) {
    if (!std::isfinite(result.y[i])) return kInfinity;
    violation = std::max(violation,
                         sign_violation(result.y[i], model.con_lower[i], model.con_upper[i], 1.0));
  }
  for (size_t j = 0; j < result.d.size(); ++j) {
    if (!std::isfinite(result.d[j])) return kInfinity;
    const Sum sum = column_sum(model, result.y, j, problem.cost[j]);
    const double residual = std::fabs(sum.value - result.d[j]) / sum.size;
    const double sign =
        sign_violation(result.d[j], model.var_lower[j], model.var_upper[j], sum.size);
    violation = std::max({violation, residual, sign});
  }
  return violation;
}

double duality_gap(const MinimizeProblem& problem, const BackendResult& result) {
  Sum primal;
  for (size_t j = 0; j < result.x.size(); ++j) primal.add(problem.cost[j] * result.x[j]);
  const Sum dual = bound_sum(problem.model, result.y, result.d);
  return std::fabs(primal.value - dual.value) / std::max(primal.size, dual.size);
}

CrossedBounds find_crossed_bounds(const Model& model) {
  CrossedBounds crossed;
  for (size_t j = 0; j < model.var_lower.size() && !crossed.found(); ++j) {
    const bool is_crossed = model.var_lower[j] > model.var_upper[j];
    if (is_crossed && !is_semi(model.var_kind[j])) crossed.var = static_cast<int32_t>(j);
  }
  for (size_t i = 0; i < model.con_lower.size() && !crossed.found(); ++i) {
    if (model.con_lower[i] > model.con_upper[i]) crossed.con = static_cast<int32_t>(i);
  }
  return crossed;
}

bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d) {
  const size_t num_var = model.cost.size();
  d->assign(num_var, 0.0);
  double violation = 0.0;
  for (size_t i = 0; i < y.size(); ++i) {
    if (!std::isfinite(y[i])) return false;
    violation =
        std::max(violation, sign_violation(y[i], model.con_lower[i], model.con_upper[i], 1.0));
  }
  for (size_t j = 0; j < num_var; ++j) {
    const Sum sum = column_sum(model, y, j, 0.0);
    (*d)[j] = sum.value;
    violation = std::max(
        violation, sign_violation(sum.value, model.var_lower[j], model.var_upper[j], sum.size));
  }
  const Sum proof = bound_sum(model, y, *d);
  const double scale = std::max(largest(y), largest(*d));
  return proves(proof.value, violation, std::max(scale, proof.size));
}

std::vector<double> find_single_row_ray(const Model& model) {
  std::vector<double> least(model.con_lower.size(), 0.0);
  std::vector<double> most(model.con_lower.size(), 0.0);
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
      if (a.value[k] == 0.0) continue;
      const double at_lower = a.value[k] * model.var_lower[j];
      const double at_upper = a.value[k] * model.var_upper[j];
      least[static_cast<size_t>(a.row[k])] += std::min(at_lower, at_upper);
      most[static_cast<size_t>(a.row[k])] += std::max(at_lower, at_upper);
    }
  }
  for (size_t i = 0; i < least.size(); ++i) {
    const bool too_low = most[i] < model.con_lower[i];
    if (!too_low && !(least[i] > model.con_upper[i])) continue;
    std::vector<double> ray(least.size(), 0.0);
    ray[i] = too_low ? 1.0 : -1.0;
    return ray;
  }
  return {};
}

bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x) {
  const Model& model = problem.model;
  const double scale = largest(x);
  if (x.empty() || scale == 0.0 || !std::isfinite(scale)) return false;
  double violation = 0.0;
  Sum improvement;
  for (size_t j = 0; j < x.size(); ++j) {
    improvement.add(problem.cost[j] * x[j]);
    violation = std::max(violation, leaves(x[j], model.var_lower[j], model.var_upper[j]));
  }
  const std::vector<Sum> sums = row_sums(model, x);
  for (size_t i = 0; i < sums.size(); ++i) {
    violation = std::max(
        violation, leaves(sums[i].value, model.con_lower[i], model.con_upper[i]) / sums[i].size);
  }
  return proves(-improvement.value, violation, scale);
}

}  // namespace vorlan
