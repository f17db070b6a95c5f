// The conditions of rays.h are looked at one after the other, for linear terms, cones, matrix
// variables and quadratic terms alike. Their findings together make up the quality of the ray.
#include "solve/check/rays.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "solve/check/cone_violation.h"
#include "solve/check/definiteness.h"
#include "solve/check/plausible_sizes.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

bool all_finite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

bool has_side(const Model& model, size_t i) {
  return std::isfinite(model.con_lower[i]) || std::isfinite(model.con_upper[i]);
}

// The bound that a multiplier prices.
double priced(double multiplier, double lower, double upper) {
  return multiplier > 0.0 ? lower : upper;
}

// The recession cone of an interval: a ray may not leave through a finite side.
bool leaves(double direction, double lower, double upper) {
  return (direction > 0.0 && std::isfinite(upper)) || (direction < 0.0 && std::isfinite(lower));
}

std::vector<bool> cone_members(const Model& model) {
  std::vector<bool> member(model.cost.size(), false);
  for (const Cone& cone : model.cones) {
    for (const int32_t var : cone.vars) member[index(var)] = true;
  }
  return member;
}

// Gathers what is known about a ray while its conditions are looked at one by one.
class Findings {
 public:
  Findings() { quality_.violation = 0.0; }

  // A term of the margin.
  void gain(double term) {
    quality_.margin += term;
    quality_.terms += std::fabs(term);
  }

  // A condition that is missed by a part of its own terms, of which rounding explains so much. The
  // cost is what that takes from the margin at points of a plausible size.
  void miss(double part, double rounding, double cost) {
    if (part <= rounding) {
      quality_.reach += cost;
      return;
    }
    quality_.violation = std::max(quality_.violation, part);
    quality_.reach += kFar * cost;
  }

  // A sum that should be 0, with the plausible size of what it is a coefficient of.
  void miss(const Sum& sum, double size) {
    const double amount = std::fabs(sum.value);
    if (amount == 0.0) return;
    miss(amount / sum.total, sum.rounding() / sum.total, amount * size);
  }

  // A condition that allows for nothing.
  void break_condition() { quality_.violation = kInfinity; }

  RayQuality quality() const { return quality_; }

 private:
  RayQuality quality_;
};

// A packed triangle that should be positive semidefinite, with the sums that its elements are. A
// row whose diagonal has no terms must vanish: no congruence gives it a size.
class MatrixJudge {
 public:
  MatrixJudge(std::span<const Sum> sums, std::span<const double> plausible)
      : sums_(sums), plausible_(plausible), sizes_(plausible.size()), values_(sums.size()) {
    for (size_t k = 0; k < sizes_.size(); ++k) sizes_[k] = sums_[place(k, k)].total;
    for (size_t k = 0; k < values_.size(); ++k) values_[k] = sums_[k].value;
  }

  void judge(Findings* findings) {
    clear_rows_without_diagonal(findings);
    double cost = 0.0;
    for (size_t k = 0; k < sizes_.size(); ++k) cost += sizes_[k] * plausible_[k];
    const double shift = indefiniteness(values_, sizes_);
    if (shift > 0.0) findings->miss(shift, 0.0, shift * cost);
  }

 private:
  size_t place(size_t row, size_t col) const { return packed_place(sizes_.size(), row, col); }

  void clear_rows_without_diagonal(Findings* findings) {
    for (size_t col = 0; col < sizes_.size(); ++col) {
      for (size_t row = col + 1; row < sizes_.size(); ++row) {
        if (sizes_[row] > 0.0 && sizes_[col] > 0.0) continue;
        const double size = std::sqrt(plausible_[row]) * std::sqrt(plausible_[col]);
        findings->miss(sums_[place(row, col)], 2.0 * size);
        values_[place(row, col)] = 0.0;
      }
    }
  }

  std::span<const Sum> sums_;
  std::span<const double> plausible_;
  std::vector<double> sizes_, values_;
};

// Judges all matrix variables of a model, of whose packed elements the sums are given.
void judge_matrices(const Model& model, const std::vector<Sum>& sums,
                    const std::vector<double>& plausible, Findings* findings) {
  const std::span<const Sum> all_sums(sums);
  const std::span<const double> all_plausible(plausible);
  size_t first_sum = 0;
  size_t first_row = 0;
  for (const MatrixVariable& variable : model.matrix_vars) {
    const size_t dimension = index(variable.dimension);
    const size_t size = packed_size(dimension);
    MatrixJudge(all_sums.subspan(first_sum, size), all_plausible.subspan(first_row, dimension))
        .judge(findings);
    first_sum += size;
    first_row += dimension;
  }
}

// A cone that is missed by t of the sizes of its members.
void miss_cone(const Cone& cone, double t, int64_t count, const std::vector<double>& sizes,
               const std::vector<double>& plausible, Findings* findings) {
  if (t == 0.0) return;
  double cost = 0.0;
  for (const int32_t var : cone.vars) cost += sizes[index(var)] * plausible[index(var)];
  const auto terms = static_cast<double>(count + static_cast<int64_t>(cone.vars.size()) + 8);
  findings->miss(t, 0x1p-53 * terms, t * cost);
}

class DualRayJudge {
 public:
  DualRayJudge(const MinimizeProblem& problem, const PlausibleSizes& sizes, BackendResult* ray)
      : problem_(problem), model_(problem.model), sizes_(sizes), ray_(*ray) {}

  RayQuality judge() {
    if (!is_ray()) return {};
    hessian_ = lagrangian_hessian(problem_, ray_.y, WithCost::kNo);
    if (!model_.cones.empty()) ray_.snx.resize(model_.cost.size(), 0.0);
    judge_sides();
    judge_columns();
    judge_cones();
    judge_bars();
    judge_curvature();
    return findings_.quality();
  }

 private:
  bool is_ray() const;
  void judge_sides();
  void judge_columns();
  void judge_column(size_t j, const Sum& sum, bool in_cone);
  void judge_cones();
  void judge_bars();
  void judge_curvature();
  void judge_rows_without_curvature(const std::vector<double>& diagonal);

  const MinimizeProblem& problem_;
  const Model& model_;
  const PlausibleSizes& sizes_;
  BackendResult& ray_;
  std::vector<SymmetricElement> hessian_;
  std::vector<double> member_sizes_;  // of snx: the terms of each element
  int64_t most_terms_ = 0;
  Findings findings_;
};

bool DualRayJudge::is_ray() const {
  const size_t num_var = model_.cost.size();
  const auto fits = [num_var](const std::vector<double>& values) {
    return (values.empty() || values.size() == num_var) && all_finite(values);
  };
  if (ray_.y.size() != model_.con_lower.size() || !all_finite(ray_.y)) return false;
  return fits(ray_.snx) && fits(ray_.x) && largest(ray_.y) + largest(ray_.snx) > 0.0;
}

void DualRayJudge::judge_sides() {
  for (size_t i = 0; i < ray_.y.size(); ++i) {
    if (ray_.y[i] == 0.0) continue;
    const double side = priced(ray_.y[i], model_.con_lower[i], model_.con_upper[i]);
    if (std::isfinite(side)) {
      findings_.gain(ray_.y[i] * side);
    } else {
      findings_.break_condition();
    }
  }
}

void DualRayJudge::judge_columns() {
  BackendResult values;
  values.y = ray_.y;
  values.x = ray_.x;
  const std::vector<Sum> sums = column_sums(problem_, values, hessian_, WithCost::kNo);
  const std::vector<bool> in_cone = cone_members(model_);
  ray_.d.assign(sums.size(), 0.0);
  member_sizes_.assign(sums.size(), 0.0);
  for (size_t j = 0; j < sums.size(); ++j) judge_column(j, sums[j], in_cone[j]);
  if (ray_.x.empty()) return;
  for (const SymmetricElement& e : hessian_) {
    const double factor = e.row == e.col ? 0.5 : 1.0;
    findings_.gain(-factor * e.value * ray_.x[index(e.row)] * ray_.x[index(e.col)]);
  }
}

void DualRayJudge::judge_column(size_t j, const Sum& sum, bool in_cone) {
  const double d = sum.value - (in_cone ? ray_.snx[j] : 0.0);
  const double bound = priced(d, model_.var_lower[j], model_.var_upper[j]);
  if (!in_cone && !ray_.snx.empty()) ray_.snx[j] = 0.0;
  member_sizes_[j] = sum.total;
  most_terms_ = std::max(most_terms_, sum.count);
  const bool is_speck = in_cone && std::fabs(d) <= kRayTolerance * sum.total;
  if (std::isfinite(bound) && !is_speck) {
    ray_.d[j] = d;
    findings_.gain(d * bound);
    member_sizes_[j] += std::fabs(d);
  } else if (in_cone) {
    ray_.snx[j] = sum.value;
  } else {
    findings_.miss(sum, sizes_.var[j]);
  }
}

void DualRayJudge::judge_cones() {
  for (const Cone& cone : model_.cones) {
    const double t = dual_cone_violation(cone, ray_.snx, member_sizes_);
    miss_cone(cone, t, most_terms_, member_sizes_, sizes_.var, &findings_);
  }
}

void DualRayJudge::judge_bars() {
  const std::vector<Sum> sums = matrix_column_sums(problem_, ray_.y, WithCost::kNo);
  ray_.bars.resize(sums.size());
  for (size_t k = 0; k < sums.size(); ++k) ray_.bars[k] = sums[k].value;
  judge_matrices(model_, sums, sizes_.matrix_diagonal, &findings_);
}

void DualRayJudge::judge_curvature() {
  if (hessian_.empty()) return;
  std::vector<double> diagonal(model_.cost.size(), 0.0);
  for (const SymmetricElement& e : hessian_) {
    if (e.row == e.col) diagonal[index(e.row)] += std::fabs(e.value);
  }
  judge_rows_without_curvature(diagonal);
  double cost = 0.0;
  for (size_t j = 0; j < diagonal.size(); ++j) {
    const double size = sizes_.var[j] + (ray_.x.empty() ? 0.0 : std::fabs(ray_.x[j]));
    cost += 0.5 * diagonal[j] * size * size;
  }
  const double shift = indefiniteness(hessian_, diagonal);
  if (shift > 0.0) findings_.miss(shift, 0.0, shift * cost);
}

// Elements in rows without a diagonal must vanish, as they must in a matrix variable.
void DualRayJudge::judge_rows_without_curvature(const std::vector<double>& diagonal) {
  std::map<std::pair<int, int>, Sum> sums;
  for (const SymmetricElement& e : hessian_) {
    if (diagonal[index(e.row)] > 0.0 && diagonal[index(e.col)] > 0.0) continue;
    sums[{e.row, e.col}].add(e.value);
  }
  for (const auto& [place, sum] : sums) {
    findings_.miss(sum, sizes_.var[index(place.first)] * sizes_.var[index(place.second)]);
  }
}

class PrimalRayJudge {
 public:
  PrimalRayJudge(const MinimizeProblem& problem, const PlausibleSizes& sizes,
                 const std::vector<double>& x, const std::vector<double>& barx)
      : problem_(problem), model_(problem.model), sizes_(sizes), x_(x), barx_(barx) {}

  RayQuality judge() {
    if (!is_ray()) return {};
    judge_variables();
    judge_rows();
    judge_cones();
    judge_barx();
    judge_curvature();
    const Sum improvement = linear_objective_sum(problem_, x_, barx_);
    RayQuality quality = findings_.quality();
    quality.margin = -improvement.value;
    quality.terms = improvement.total;
    return quality;
  }

 private:
  bool is_ray() const {
    const bool whole =
        x_.size() == model_.cost.size() && barx_.size() == packed_starts(model_).back();
    return whole && all_finite(x_) && all_finite(barx_) && largest(x_) + largest(barx_) > 0.0;
  }
  void judge_variables();
  void judge_rows();
  void judge_cones();
  void judge_barx();
  void judge_curvature();
  void judge_product(const std::vector<TriangleEntry>& entries, double multiplier);

  const MinimizeProblem& problem_;
  const Model& model_;
  const PlausibleSizes& sizes_;
  const std::vector<double>& x_;
  const std::vector<double>& barx_;
  Findings findings_;
};

void PrimalRayJudge::judge_variables() {
  for (size_t j = 0; j < x_.size(); ++j) {
    if (leaves(x_[j], model_.var_lower[j], model_.var_upper[j])) findings_.break_condition();
  }
}

void PrimalRayJudge::judge_rows() {
  const std::vector<Sum> sums = linear_row_sums(model_, x_, barx_);
  for (size_t i = 0; i < sums.size(); ++i) {
    if (!leaves(sums[i].value, model_.con_lower[i], model_.con_upper[i])) continue;
    findings_.miss(sums[i], sizes_.multiplier[i]);
  }
}

void PrimalRayJudge::judge_cones() {
  std::vector<double> member_sizes(x_.size());
  for (size_t j = 0; j < x_.size(); ++j) member_sizes[j] = std::fabs(x_[j]);
  for (const Cone& cone : model_.cones) {
    const double t = cone_violation(cone, x_, member_sizes);
    miss_cone(cone, t, 1, member_sizes, sizes_.gradient, &findings_);
  }
}

void PrimalRayJudge::judge_barx() {
  std::vector<Sum> elements(barx_.size());
  for (size_t k = 0; k < barx_.size(); ++k) elements[k].add(barx_[k]);
  judge_matrices(model_, elements, sizes_.matrix_gradient, &findings_);
}

// Q x and all Q_i x, constraints without sides excepted.
void PrimalRayJudge::judge_curvature() {
  judge_product(model_.quadratic_cost, 1.0);
  for (const QuadraticForm& form : quadratic_forms(model_)) {
    const size_t con = index(form.con);
    if (has_side(model_, con)) judge_product(form.entries, sizes_.multiplier[con]);
  }
}

void PrimalRayJudge::judge_product(const std::vector<TriangleEntry>& entries, double multiplier) {
  std::map<size_t, Sum> product;
  for (const TriangleEntry& entry : entries) {
    const size_t row = index(entry.row);
    const size_t col = index(entry.col);
    if (x_[col] != 0.0) product[row].add(entry.value * x_[col]);
    if (row != col && x_[row] != 0.0) product[col].add(entry.value * x_[row]);
  }
  for (const auto& [row, sum] : product) findings_.miss(sum, multiplier * sizes_.var[row]);
}

}  // namespace

bool RayQuality::is_proof() const {
  return violation <= kRayTolerance && margin > kMarginTolerance * terms && margin > 0.0 &&
         margin >= reach;
}

bool RayQuality::is_ill_posed() const {
  return violation <= kIllPosedTolerance && margin >= -kIllPosedTolerance * terms;
}

RayQuality judge_dual_ray(const MinimizeProblem& problem, const PlausibleSizes& sizes,
                          BackendResult* ray) {
  return DualRayJudge(problem, sizes, ray).judge();
}

RayQuality judge_primal_ray(const MinimizeProblem& problem, const PlausibleSizes& sizes,
                            const std::vector<double>& x, const std::vector<double>& barx) {
  return PrimalRayJudge(problem, sizes, x, barx).judge();
}

RayQuality judge_dual_ray(const Model& model, BackendResult* ray) {
  const MinimizeProblem problem(model);
  return judge_dual_ray(problem, PlausibleSizes(problem), ray);
}

RayQuality judge_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                            const std::vector<double>& barx) {
  return judge_primal_ray(problem, PlausibleSizes(problem), x, barx);
}

bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d) {
  BackendResult ray;
  ray.y = y;
  const bool proves = judge_dual_ray(model, &ray).is_proof();
  *d = std::move(ray.d);
  return proves;
}

bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                   const std::vector<double>& barx) {
  return judge_primal_ray(problem, x, barx).is_proof();
}

void normalize_ray(std::vector<double>* ray, std::vector<double>* rest) {
  const double scale = std::max(largest(*ray), largest(*rest));
  if (scale == 0.0) return;
  for (auto* part : {ray, rest}) {
    for (double& element : *part) element /= scale;
  }
}

std::vector<double> find_single_row_ray(const Model& model) {
  std::vector<double> least(model.con_lower.size(), 0.0);
  std::vector<double> most(model.con_lower.size(), 0.0);
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (auto k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      if (a.value[k] == 0.0) continue;
      const double at_lower = a.value[k] * model.var_lower[j];
      const double at_upper = a.value[k] * model.var_upper[j];
      least[index(a.row[k])] += std::min(at_lower, at_upper);
      most[index(a.row[k])] += std::max(at_lower, at_upper);
    }
  }
  const auto pass_over = [&](int32_t con) {
    least[index(con)] = -kInfinity;
    most[index(con)] = kInfinity;
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

}  // namespace vorlan
