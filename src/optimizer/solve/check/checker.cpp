// Residuals of points, multipliers and rays.
#include "solve/check/checker.h"

#include <algorithm>
#include <cmath>

#include "solve/check/cone_violation.h"
#include "solve/check/definiteness.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// How far a bound is missed. It belongs to the terms that cancel; the other bound, which may be far
// away, does not.
double relative_miss(double distance, double bound, double size) {
  if (!(distance > 0.0)) return 0.0;
  return std::isfinite(bound) ? distance / std::max(size, std::fabs(bound)) : kInfinity;
}

double relative_outside(const Sum& sum, double lower, double upper) {
  return std::max(relative_miss(lower - sum.value, lower, sum.size),
                  relative_miss(sum.value - upper, upper, sum.size));
}

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

double largest_element(const std::vector<double>& values, double so_far) {
  return std::max(so_far, largest(values));
}

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

// The worst of the matrix variables, each packed one after the other, as multiples of what is
// given.
double matrix_violation(const Model& model, const std::vector<double>& packed,
                        double multiple = 1.0) {
  const std::vector<size_t> starts = packed_starts(model);
  double violation = 0.0;
  for (size_t j = 0; j < model.matrix_vars.size(); ++j) {
    const std::span<const double> triangle(packed.data() + starts[j], starts[j + 1] - starts[j]);
    const auto dimension = static_cast<size_t>(model.matrix_vars[j].dimension);
    violation = std::max(violation, indefiniteness(triangle, dimension, multiple));
  }
  return violation;
}

double cones_violation(const Model& model, const std::vector<double>& x, double multiple = 1.0) {
  double violation = 0.0;
  for (const Cone& cone : model.cones) {
    violation = std::max(violation, cone_violation(cone, x, multiple));
  }
  return violation;
}

// Of duals of the cones, which are 0 outside of them; none at all are all 0.
double dual_cones_violation(const Model& model, const std::vector<double>& snx,
                            double multiple = 1.0) {
  if (snx.empty()) return 0.0;
  double violation = 0.0;
  std::vector<bool> in_cone(snx.size(), false);
  for (const Cone& cone : model.cones) {
    violation = std::max(violation, dual_cone_violation(cone, snx, multiple));
    for (const int32_t var : cone.vars) in_cone[static_cast<size_t>(var)] = true;
  }
  for (size_t j = 0; j < snx.size(); ++j) {
    if (!in_cone[j]) violation = std::max(violation, std::fabs(multiple * snx[j]));
  }
  return violation;
}

double sides_violation(const Model& model, const std::vector<double>& y) {
  double violation = 0.0;
  for (size_t i = 0; i < y.size(); ++i) {
    violation =
        std::max(violation, sign_violation(y[i], model.con_lower[i], model.con_upper[i], 1.0));
  }
  return violation;
}

// Of C - sum_i y_i A_i = bars and of bars as such.
double bars_violation(const MinimizeProblem& problem, const BackendResult& result) {
  const std::vector<Sum> sums = matrix_column_sums(problem, result.y, WithCost::kYes);
  if (result.bars.size() != sums.size()) return kInfinity;
  double violation = matrix_violation(problem.model, result.bars);
  for (size_t k = 0; k < sums.size(); ++k) {
    violation = std::max(violation, std::fabs(sums[k].value - result.bars[k]) / sums[k].size);
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

// M x relative to its terms, for one matrix M after the other.
class MatrixTimesRay {
 public:
  explicit MatrixTimesRay(const std::vector<double>& x) : x_(x), sums_(x.size()) {}

  void add(const TriangleEntry& entry) {
    const auto row = static_cast<size_t>(entry.row);
    const auto col = static_cast<size_t>(entry.col);
    sums_[row].add(entry.value * x_[col]);
    if (row != col) sums_[col].add(entry.value * x_[row]);
    touched_.push_back(row);
    touched_.push_back(col);
  }

  // The largest element; what follows is another matrix.
  double finish() {
    double size = 0.0;
    for (const size_t row : touched_) {
      size = std::max(size, std::fabs(sums_[row].value) / sums_[row].size);
    }
    for (const size_t row : touched_) sums_[row] = {};
    touched_.clear();
    return size;
  }

 private:
  const std::vector<double>& x_;
  std::vector<Sum> sums_;
  std::vector<size_t> touched_;
};

// How far Q x and all Q_i x are from 0, constraints without sides excepted.
double quadratic_change(const Model& model, const std::vector<double>& x) {
  MatrixTimesRay product(x);
  for (const TriangleEntry& entry : model.quadratic_cost) product.add(entry);
  double change = product.finish();
  for (const QuadraticForm& form : quadratic_forms(model)) {
    const size_t con = index(form.con);
    if (!std::isfinite(model.con_lower[con]) && !std::isfinite(model.con_upper[con])) continue;
    for (const TriangleEntry& entry : form.entries) product.add(entry);
    change = std::max(change, product.finish());
  }
  return change;
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

// Of a ray whose largest element is about 1, for a claim with no margin: that primal or dual hang
// on what is arbitrarily near to infeasible.
bool shows_ill_posed(double margin, double violation, double scale) {
  return scale > 0.0 && margin >= -kIllPosedTolerance * scale &&
         violation <= kIllPosedTolerance * scale;
}

struct RayMeasure {
  double margin = 0.0;
  double violation = kInfinity;
  double scale = 0.0;  // 0: not a ray at all
};

// Fills in d and bars.
RayMeasure measure_dual_ray(const Model& model, BackendResult* ray) {
  const MinimizeProblem problem(model);
  const size_t num_var = model.cost.size();
  const auto fits = [num_var](const auto& values) {
    return (values.empty() || values.size() == num_var) && all_finite(values);
  };
  if (ray->y.size() != model.con_lower.size() || !all_finite(ray->y)) return {};
  if (!fits(ray->snx) || !fits(ray->x)) return {};
  const auto hessian = lagrangian_hessian(problem, ray->y, WithCost::kNo);
  double violation = std::max(sides_violation(model, ray->y), indefiniteness(hessian));
  const std::vector<Sum> sums = column_sums(problem, *ray, hessian, WithCost::kNo);
  ray->d.resize(num_var);
  for (size_t j = 0; j < num_var; ++j) {
    ray->d[j] = sums[j].value;
    violation = std::max(violation, sign_violation(sums[j].value, model.var_lower[j],
                                                   model.var_upper[j], sums[j].size));
  }
  ray->bars.clear();
  for (const Sum& sum : matrix_column_sums(problem, ray->y, WithCost::kNo)) {
    ray->bars.push_back(sum.value);
  }
  double scale = 0.0;
  for (const auto* values : {&ray->y, &ray->d, &ray->snx}) scale = largest_element(*values, scale);
  if (scale == 0.0) return {};
  violation = std::max({violation, scale * dual_cones_violation(model, ray->snx, 1.0 / scale),
                        scale * matrix_violation(model, ray->bars, 1.0 / scale)});
  const Sum proof = dual_sum(problem, *ray, WithCost::kNo);
  return {proof.value, violation, std::max(scale, proof.size)};
}

RayMeasure measure_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                              const std::vector<double>& barx) {
  const Model& model = problem.model;
  const bool whole = x.size() == model.cost.size() && barx.size() == packed_starts(model).back();
  const double scale = largest_element(barx, largest(x));
  if (!whole || scale == 0.0 || !all_finite(x) || !all_finite(barx)) return {};
  double violation =
      std::max({quadratic_change(model, x), scale * cones_violation(model, x, 1.0 / scale),
                scale * matrix_violation(model, barx, 1.0 / scale)});
  for (size_t j = 0; j < x.size(); ++j) {
    violation = std::max(violation, leaves(x[j], model.var_lower[j], model.var_upper[j]));
  }
  const std::vector<Sum> sums = linear_row_sums(model, x, barx);
  for (size_t i = 0; i < sums.size(); ++i) {
    violation = std::max(
        violation, leaves(sums[i].value, model.con_lower[i], model.con_upper[i]) / sums[i].size);
  }
  const Sum improvement = linear_objective_sum(problem, x, barx);
  double curvature = 0.0;
  for (const TriangleEntry& e : model.quadratic_cost) {
    const double term = e.value * x[static_cast<size_t>(e.row)] * x[static_cast<size_t>(e.col)];
    curvature += problem.sense_factor() * (e.row == e.col ? term : 2.0 * term);
  }
  // The most that the objective falls by before the curvature stops it.
  const double fall = improvement.value * improvement.value / (2.0 * std::max(curvature, 0.0));
  if (fall < kUnlimitedFall) violation = kInfinity;
  return {-improvement.value, violation, scale};
}

}  // namespace

double primal_violation(const Model& model, const std::vector<double>& x,
                        const std::vector<double>& barx) {
  if (barx.size() != packed_starts(model).back()) return kInfinity;
  if (!all_finite(x) || !all_finite(barx)) return kInfinity;
  double violation = std::max(cones_violation(model, x), matrix_violation(model, barx));
  for (size_t j = 0; j < x.size(); ++j) {
    violation = std::max(violation, variable_violation(model, j, x[j]));
  }
  const std::vector<Sum> sums = row_sums(model, x, barx);
  for (size_t i = 0; i < sums.size(); ++i) {
    violation =
        std::max(violation, relative_outside(sums[i], model.con_lower[i], model.con_upper[i]));
  }
  return violation;
}

double dual_violation(const MinimizeProblem& problem, const BackendResult& result) {
  const Model& model = problem.model;
  if (result.d.size() != problem.cost.size()) return kInfinity;
  for (const auto* values : {&result.y, &result.d, &result.snx, &result.bars}) {
    if (!all_finite(*values)) return kInfinity;
  }
  const auto hessian = lagrangian_hessian(problem, result.y, WithCost::kYes);
  double violation = std::max({sides_violation(model, result.y), indefiniteness(hessian),
                               dual_cones_violation(model, result.snx)});
  const std::vector<Sum> sums = column_sums(problem, result, hessian, WithCost::kYes);
  for (size_t j = 0; j < sums.size(); ++j) {
    const double residual = std::fabs(sums[j].value - result.d[j]) / sums[j].size;
    const double sign =
        sign_violation(result.d[j], model.var_lower[j], model.var_upper[j], sums[j].size);
    violation = std::max({violation, residual, sign});
  }
  return std::max(violation, bars_violation(problem, result));
}

double dual_objective(const MinimizeProblem& problem, const BackendResult& result) {
  const bool is_ray = result.certificate == Certificate::kDualRay;
  return dual_sum(problem, result, is_ray ? WithCost::kNo : WithCost::kYes).value;
}

double duality_gap(const MinimizeProblem& problem, const BackendResult& result) {
  const Sum primal = objective_sum(problem, result.x, result.barx);
  const Sum dual = dual_sum(problem, result, WithCost::kYes);
  const double size =
      std::max({primal.size, dual.size, std::fabs(primal.value), std::fabs(dual.value)});
  return std::fabs(primal.value - dual.value) / size;
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

void normalize_ray(std::vector<double>* ray, std::vector<double>* rest) {
  const double scale = largest_element(*rest, largest(*ray));
  if (scale == 0.0) return;
  for (auto* part : {ray, rest}) {
    for (double& element : *part) element /= scale;
  }
}

bool complete_dual_ray(const Model& model, BackendResult* ray) {
  const RayMeasure measure = measure_dual_ray(model, ray);
  return proves(measure.margin, measure.violation, measure.scale);
}

bool is_ill_posed_dual_ray(const Model& model, BackendResult* ray) {
  const RayMeasure measure = measure_dual_ray(model, ray);
  return shows_ill_posed(measure.margin, measure.violation, measure.scale);
}

bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d) {
  BackendResult ray;
  ray.y = y;
  const bool valid = complete_dual_ray(model, &ray);
  *d = std::move(ray.d);
  return valid;
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
  const auto pass_over = [&](int32_t con) {
    least[static_cast<size_t>(con)] = -kInfinity;
    most[static_cast<size_t>(con)] = kInfinity;
  };
  for (const ConQuadraticEntry& entry : model.quadratic_coefficients) pass_over(entry.con);
  for (const MatrixCoefficient& entry : model.matrix_coefficients) pass_over(entry.con);
  for (size_t i = 0; i < least.size(); ++i) {
    const bool too_low = most[i] < model.con_lower[i];
    if (!too_low && !(least[i] > model.con_upper[i])) continue;
    std::vector<double> ray(least.size(), 0.0);
    ray[i] = too_low ? 1.0 : -1.0;
    return ray;
  }
  return {};
}

bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                   const std::vector<double>& barx) {
  const RayMeasure measure = measure_primal_ray(problem, x, barx);
  return proves(measure.margin, measure.violation, measure.scale);
}

bool keeps_integers(const Model& model, const std::vector<double>& ray) {
  constexpr int kMostMultiples = 1000;
  constexpr double kNear = 1e-6;
  double size = 0.0;
  for (size_t j = 0; j < ray.size(); ++j) {
    if (is_integer(model.var_kind[j])) size = std::max(size, std::fabs(ray[j]));
  }
  if (size <= kNear) return true;
  for (int multiple = 1; multiple <= kMostMultiples; ++multiple) {
    bool keeps = true;
    for (size_t j = 0; j < ray.size() && keeps; ++j) {
      if (!is_integer(model.var_kind[j])) continue;
      const double step = multiple * ray[j] / size;
      keeps = std::fabs(step - std::round(step)) <= kNear * multiple;
    }
    if (keeps) return true;
  }
  return false;
}

bool is_ill_posed_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                             const std::vector<double>& barx) {
  const RayMeasure measure = measure_primal_ray(problem, x, barx);
  return shows_ill_posed(measure.margin, measure.violation, measure.scale);
}

}  // namespace vorlan
