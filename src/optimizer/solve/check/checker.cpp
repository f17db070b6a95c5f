// Residuals are computed from the model and the answer alone, so that a mistake of a backend cannot
// hide in its own figures.
#include "solve/check/checker.h"

#include <algorithm>
#include <cmath>

#include "solve/check/cone_violation.h"
#include "solve/check/definiteness.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// How far a bound is missed. It belongs to the terms that cancel; the other bound, which may be far
// away, does not.
double relative_miss(double distance, double bound, double size) {
  if (!(distance > 0.0)) return 0.0;
  return std::isfinite(bound) ? distance / std::max(size, std::fabs(bound)) : kInfinity;
}

double relative_outside(double value, double size, double lower, double upper) {
  return std::max(relative_miss(lower - value, lower, size),
                  relative_miss(value - upper, upper, size));
}

double variable_violation(const Model& model, size_t j, double x, double least) {
  const VarKind kind = model.var_kind[j];
  double violation =
      relative_outside(x, std::max(least, std::fabs(x)), model.var_lower[j], model.var_upper[j]);
  if (is_semi(kind)) violation = std::min(violation, std::fabs(x));
  if (is_integer(kind)) violation = std::max(violation, std::fabs(x - std::round(x)));
  return violation;
}

// A multiplier at an infinite bound has nothing to hold it.
double sign_violation(double multiplier, double lower, double upper, double size) {
  const bool held = multiplier > 0.0 ? std::isfinite(lower) : std::isfinite(upper);
  return held ? 0.0 : std::fabs(multiplier) / size;
}

// An objective whose terms cancel may be off by this part of them, as long as its first digits are
// right. Without a limit, any point that is large enough would be optimal.
constexpr double kTolerableGap = 1e-4;

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

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

// The worst of the matrix variables, each packed one after the other.
double matrix_violation(const Model& model, const std::vector<double>& packed, double least) {
  const std::vector<size_t> starts = packed_starts(model);
  double violation = 0.0;
  for (size_t j = 0; j < model.matrix_vars.size(); ++j) {
    const std::span<const double> triangle(packed.data() + starts[j], starts[j + 1] - starts[j]);
    const auto dimension = index(model.matrix_vars[j].dimension);
    violation = std::max(violation, indefiniteness(triangle, dimension, least));
  }
  return violation;
}

// A cone holds its members to one another.
double least_of(const Cone& cone, const std::vector<double>& sizes) {
  double least = 0.0;
  for (const int32_t var : cone.vars) least = std::max(least, sizes[index(var)]);
  return least;
}

double cones_violation(const Model& model, const std::vector<double>& x, const LeastSizes& least) {
  double violation = 0.0;
  for (const Cone& cone : model.cones) {
    const double size = least_of(cone, least.var);
    violation = std::max(violation, cone_violation(cone, x, size));
  }
  return violation;
}

// Takes the duals of the cones, which are 0 outside of them. An empty array stands for zeros.
double dual_cones_violation(const Model& model, const std::vector<double>& snx,
                            const LeastSizes& least) {
  if (snx.empty()) return 0.0;
  double violation = 0.0;
  std::vector<bool> in_cone(snx.size(), false);
  for (const Cone& cone : model.cones) {
    const double size = least_of(cone, least.gradient);
    violation = std::max(violation, dual_cone_violation(cone, snx, size));
    for (const int32_t var : cone.vars) in_cone[index(var)] = true;
  }
  for (size_t j = 0; j < snx.size(); ++j) {
    if (!in_cone[j]) violation = std::max(violation, std::fabs(snx[j]) / least.gradient[j]);
  }
  return violation;
}

// The largest value outside the best place for those that may be other than 0. The values before
// and behind a place are known by their largest ones so far.
double set_violation(const OrderedSet& set, const std::vector<double>& x) {
  const size_t count = set.vars.size();
  const size_t width = set.most_nonzeros();
  if (count <= width) return 0.0;
  std::vector<double> behind(count + 1, 0.0);
  for (size_t k = count; k-- > 0;) {
    behind[k] = std::max(behind[k + 1], std::fabs(x[index(set.vars[k])]));
  }
  double before = 0.0;
  double least = kInfinity;
  for (size_t k = 0; k + width <= count; ++k) {
    least = std::min(least, std::max(before, behind[k + width]));
    before = std::max(before, std::fabs(x[index(set.vars[k])]));
  }
  return least;
}

double sides_violation(const Model& model, const std::vector<double>& y,
                       const std::vector<double>& least) {
  double violation = 0.0;
  for (size_t i = 0; i < y.size(); ++i) {
    violation =
        std::max(violation, sign_violation(y[i], model.con_lower[i], model.con_upper[i], least[i]));
  }
  return violation;
}

// Covers both C - sum_i y_i A_i = bars and the definiteness of bars.
double bars_violation(const MinimizeProblem& problem, const BackendResult& result, double least) {
  if (result.bars.size() != packed_starts(problem.model).back()) return kInfinity;
  double violation = matrix_violation(problem.model, result.bars, least);
  const std::vector<Sum> sums = matrix_column_sums(problem, result.y, WithCost::kYes);
  for (size_t k = 0; k < sums.size(); ++k) {
    violation = std::max(violation,
                         std::fabs(sums[k].value - result.bars[k]) / std::max(least, sums[k].size));
  }
  return violation;
}

// Terms of the dual objective.
Sum dual_sum(const MinimizeProblem& problem, const BackendResult& result, WithCost with_cost) {
  Sum sum = bound_sum(problem.model, result.y, result.d);
  if (result.x.empty()) return sum;
  sum.add(-half_quadratic_form(lagrangian_hessian(problem, result.y, with_cost), result.x));
  return sum;
}

}  // namespace

double primal_violation(const Model& model, const std::vector<double>& x,
                        const std::vector<double>& barx) {
  return primal_violation(model, sizes_of_model(MinimizeProblem(model)), x, barx);
}

double primal_violation(const Model& model, const LeastSizes& least, const std::vector<double>& x,
                        const std::vector<double>& barx) {
  if (barx.size() != packed_starts(model).back()) return kInfinity;
  if (!all_finite(x) || !all_finite(barx)) return kInfinity;
  double violation =
      std::max(cones_violation(model, x, least), matrix_violation(model, barx, least.matrix));
  for (size_t j = 0; j < x.size(); ++j) {
    violation = std::max(violation, variable_violation(model, j, x[j], least.var[j]));
  }
  for (const OrderedSet& set : model.sets) {
    violation = std::max(violation, set_violation(set, x));
  }
  const std::vector<Sum> sums = row_sums(model, x, barx);
  auto indicator = model.indicators.begin();
  for (size_t i = 0; i < sums.size(); ++i) {
    if (indicator != model.indicators.end() && index(indicator->con) == i) {
      const bool is_active = (indicator++)->is_active_at(x);
      if (!is_active) continue;
    }
    const double size = std::max(least.row[i], sums[i].size);
    violation = std::max(
        violation, relative_outside(sums[i].value, size, model.con_lower[i], model.con_upper[i]));
  }
  return violation;
}

double dual_violation(const MinimizeProblem& problem, const BackendResult& result) {
  return dual_violation(problem, sizes_of_model(problem), result);
}

double dual_violation(const MinimizeProblem& problem, const LeastSizes& least,
                      const BackendResult& result) {
  const Model& model = problem.model;
  if (result.d.size() != problem.cost.size()) return kInfinity;
  for (const auto* values : {&result.y, &result.d, &result.snx, &result.bars}) {
    if (!all_finite(*values)) return kInfinity;
  }
  const auto hessian = lagrangian_hessian(problem, result.y, WithCost::kYes);
  double violation =
      std::max({sides_violation(model, result.y, least.multiplier), indefiniteness(hessian),
                dual_cones_violation(model, result.snx, least)});
  const std::vector<Sum> sums = column_sums(problem, result, hessian, WithCost::kYes);
  for (size_t j = 0; j < sums.size(); ++j) {
    const double size = std::max(least.gradient[j], sums[j].size);
    const double residual = std::fabs(sums[j].value - result.d[j]) / size;
    const double sign = sign_violation(result.d[j], model.var_lower[j], model.var_upper[j], size);
    violation = std::max({violation, residual, sign});
  }
  return std::max(violation, bars_violation(problem, result, least.matrix_gradient));
}

double dual_objective(const MinimizeProblem& problem, const BackendResult& result) {
  const bool is_ray = result.certificate == Certificate::kDualRay;
  return dual_sum(problem, result, is_ray ? WithCost::kNo : WithCost::kYes).value;
}

double duality_gap(const MinimizeProblem& problem, const BackendResult& result) {
  return duality_gap(problem, sizes_of_model(problem), result);
}

double duality_gap(const MinimizeProblem& problem, const LeastSizes& least,
                   const BackendResult& result) {
  const Sum primal = objective_sum(problem, result.x, result.barx);
  const Sum dual = dual_sum(problem, result, WithCost::kYes);
  const double distance = std::fabs(primal.value - dual.value);
  const double size = std::max({least.objective, std::fabs(primal.value), std::fabs(dual.value)});
  if (distance > kTolerableGap * size) return distance / size;
  return distance / std::max({size, primal.size, dual.size});
}

namespace {

bool has_indicator(const Model& model, int32_t con) {
  const auto found =
      std::lower_bound(model.indicators.begin(), model.indicators.end(), con,
                       [](const Indicator& indicator, int32_t c) { return indicator.con < c; });
  return found != model.indicators.end() && found->con == con;
}

}  // namespace

CrossedBounds find_crossed_bounds(const Model& model) {
  CrossedBounds crossed;
  for (size_t j = 0; j < model.var_lower.size() && !crossed.found(); ++j) {
    const bool is_crossed = model.var_lower[j] > model.var_upper[j];
    if (is_crossed && !is_semi(model.var_kind[j])) crossed.var = static_cast<int32_t>(j);
  }
  for (size_t i = 0; i < model.con_lower.size() && !crossed.found(); ++i) {
    const auto con = static_cast<int32_t>(i);
    if (model.con_lower[i] > model.con_upper[i] && !has_indicator(model, con)) crossed.con = con;
  }
  return crossed;
}

}  // namespace vorlan
