// Candidates for exact rays are tried one by one, from those with the least changes on, until one
// is a proof.
#include "solve/check/clean_rays.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "solve/check/cone_violation.h"
#include "solve/check/projection.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// An element is a speck if the largest term that it could have, at values of plausible sizes, is
// below this part of the margin.
constexpr double kSpecks[] = {0.0, 1e-14, 1e-12, 1e-10, 1e-8, 1e-6, 1e-4, 1e-2};
// An element that is set to 0 can leave other sums wrong, which then must vanish too.
constexpr int kRounds = 3;

bool is_finite_interval(double lower, double upper) {
  return std::isfinite(lower) && std::isfinite(upper);
}

bool is_free(double lower, double upper) { return !std::isfinite(lower) && !std::isfinite(upper); }

// The recession cone of an interval: what may not be part of a primal ray.
bool leaves(double direction, double lower, double upper) {
  return (direction > 0.0 && std::isfinite(upper)) || (direction < 0.0 && std::isfinite(lower));
}

// True when the multiplier points to a bound that is infinite.
bool is_unheld(double multiplier, double lower, double upper) {
  return (multiplier > 0.0 && !std::isfinite(lower)) || (multiplier < 0.0 && !std::isfinite(upper));
}

void clear_specks(const std::vector<double>& sizes, double speck, std::vector<double>* ray) {
  if (speck == 0.0) return;
  for (size_t i = 0; i < ray->size(); ++i) {
    if (std::fabs((*ray)[i]) * sizes[i] <= speck) (*ray)[i] = 0.0;
  }
}

// The members of a cone of the kind that can only be 0 where others are, by their places.
template <class IsZero>
std::vector<size_t> zero_members(const Cone& cone, ConeKind kind, IsZero&& is_zero) {
  std::vector<size_t> places;
  const auto add_from = [&](size_t first) {
    for (size_t k = first; k < cone.vars.size(); ++k) places.push_back(k);
  };
  size_t heads = cone.exponents.size();
  switch (kind) {
    case ConeKind::kExponential:
      if (is_zero(0)) places.push_back(1);
      return places;
    case ConeKind::kDualExponential:
      if (is_zero(0)) places.push_back(2);
      return places;
    case ConeKind::kQuadratic:
      heads = 1;
      break;
    case ConeKind::kRotatedQuadratic:
      heads = 2;
      break;
    default:
      break;
  }
  bool any_zero = false;
  for (size_t k = 0; k < std::min(heads, cone.vars.size()); ++k) any_zero = any_zero || is_zero(k);
  if (any_zero) add_from(heads);
  return places;
}

// Sets to 0 what is next to nothing beside the others, each measured by its plausible size. This
// is for rays without a margin, which gives no measure.
void clear_relative_specks(const std::vector<double>& sizes, std::vector<double>* ray) {
  constexpr double kSpeck = 1e-9;
  const auto ratio = [&](size_t i) {
    return sizes[i] > 0.0 ? std::fabs((*ray)[i]) / sizes[i] : 0.0;
  };
  double largest = 0.0;
  for (size_t i = 0; i < ray->size(); ++i) largest = std::max(largest, ratio(i));
  for (size_t i = 0; i < ray->size(); ++i) {
    if (sizes[i] > 0.0 && ratio(i) <= kSpeck * largest) (*ray)[i] = 0.0;
  }
}

// Which claim a ray must be good enough for.
using Accepts = bool (RayQuality::*)() const;

class DualCleaning {
 public:
  DualCleaning(const MinimizeProblem& problem, const PlausibleSizes& sizes, Accepts accepts)
      : problem_(problem), model_(problem.model), sizes_(sizes), accepts_(accepts) {}

  // Looks for a proof near the ray, whose margin is known.
  bool find(double margin, BackendResult* ray) const {
    for (const double speck : kSpecks) {
      BackendResult cleaned = *ray;
      clear_specks(sizes_.row, speck * margin, &cleaned.y);
      if (!prove(&cleaned)) continue;
      *ray = std::move(cleaned);
      return true;
    }
    return false;
  }

  // Likewise finds a ray without a margin.
  bool find(BackendResult* ray) const {
    BackendResult cleaned = *ray;
    clear_relative_specks(sizes_.multiplier, &cleaned.y);
    if (!prove(&cleaned)) return false;
    *ray = std::move(cleaned);
    return true;
  }

 private:
  bool prove(BackendResult* ray) const;
  bool is_good(BackendResult* ray) const {
    return (judge_dual_ray(problem_, sizes_, ray).*accepts_)();
  }
  void clear_unheld(std::vector<double>* y) const;
  void find_columns(const BackendResult& ray, std::vector<bool>* vanishing) const;
  void find_members(const std::vector<Sum>& sums, std::vector<bool>* vanishing) const;
  std::vector<VanishingSum> sums_of(const BackendResult& ray,
                                    const std::vector<bool>& vanishing) const;
  void add_matrix_sums(const BackendResult& ray, std::vector<VanishingSum>* sums) const;

  const MinimizeProblem& problem_;
  const Model& model_;
  const PlausibleSizes& sizes_;
  Accepts accepts_;
};

bool DualCleaning::prove(BackendResult* ray) const {
  std::vector<bool> vanishing(model_.cost.size(), false);
  clear_unheld(&ray->y);
  for (int round = 0; round < kRounds; ++round) {
    if (is_good(ray)) return true;
    // Multipliers of quadratic constraints are tied to a point.
    if (!lagrangian_hessian(problem_, ray->y, WithCost::kNo).empty()) return false;
    find_columns(*ray, &vanishing);
    make_vanish(sums_of(*ray, vanishing), &ray->y);
    clear_unheld(&ray->y);
  }
  return is_good(ray);
}

void DualCleaning::clear_unheld(std::vector<double>* y) const {
  for (size_t i = 0; i < y->size(); ++i) {
    if (is_unheld((*y)[i], model_.con_lower[i], model_.con_upper[i])) (*y)[i] = 0.0;
  }
}

// The columns of free variables, those with a d that no bound holds, and members of cones that can
// only be 0.
void DualCleaning::find_columns(const BackendResult& ray, std::vector<bool>* vanishing) const {
  BackendResult values;
  values.y = ray.y;
  const std::vector<Sum> sums = column_sums(problem_, values, {}, WithCost::kNo);
  std::vector<bool> in_cone(sums.size(), false);
  for (const Cone& cone : model_.cones) {
    for (const int32_t var : cone.vars) in_cone[index(var)] = true;
  }
  for (size_t j = 0; j < sums.size(); ++j) {
    if (in_cone[j]) continue;
    const double lower = model_.var_lower[j];
    const double upper = model_.var_upper[j];
    if (is_free(lower, upper) || is_unheld(sums[j].value, lower, upper)) (*vanishing)[j] = true;
  }
  find_members(sums, vanishing);
}

// A member without terms, and without a bound that could push it up, has the dual 0.
void DualCleaning::find_members(const std::vector<Sum>& sums, std::vector<bool>* vanishing) const {
  for (const Cone& cone : model_.cones) {
    const auto is_zero = [&](size_t k) {
      const size_t j = index(cone.vars[k]);
      return sums[j].total == 0.0 && !std::isfinite(model_.var_upper[j]);
    };
    for (const size_t k : zero_members(cone, dual_of(cone.kind), is_zero)) {
      const size_t j = index(cone.vars[k]);
      if (is_free(model_.var_lower[j], model_.var_upper[j])) (*vanishing)[j] = true;
    }
  }
}

std::vector<VanishingSum> DualCleaning::sums_of(const BackendResult& ray,
                                                const std::vector<bool>& vanishing) const {
  std::vector<VanishingSum> sums;
  const SparseMatrix& a = model_.matrix;
  for (size_t j = 0; j < vanishing.size(); ++j) {
    if (!vanishing[j]) continue;
    VanishingSum sum;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      sum.emplace_back(index(a.row[k]), a.value[k]);
    }
    sums.push_back(std::move(sum));
  }
  add_matrix_sums(ray, &sums);
  return sums;
}

// Elements in rows of matrices that have no terms on the diagonal.
void DualCleaning::add_matrix_sums(const BackendResult& ray,
                                   std::vector<VanishingSum>* sums) const {
  if (model_.matrix_vars.empty()) return;
  const std::vector<size_t> starts = packed_starts(model_);
  const std::vector<Sum> elements = matrix_column_sums(problem_, ray.y, WithCost::kNo);
  std::map<size_t, VanishingSum> found;
  for (const MatrixCoefficient& a : model_.matrix_coefficients) {
    const size_t n = index(model_.matrix_vars[index(a.matrix_var)].dimension);
    const auto place = [&](int32_t row, int32_t col) {
      return starts[index(a.matrix_var)] + packed_place(n, index(row), index(col));
    };
    const int32_t row = a.entry.row;
    const int32_t col = a.entry.col;
    if (elements[place(row, row)].total > 0.0 && elements[place(col, col)].total > 0.0) continue;
    found[place(row, col)].emplace_back(index(a.con), a.entry.value);
  }
  for (auto& [place, sum] : found) sums->push_back(std::move(sum));
}

// Specks at members of a cone are removed together, or each by itself.
enum class ConeSpecks { kTogether, kAlone };

class PrimalCleaning {
 public:
  PrimalCleaning(const MinimizeProblem& problem, const PlausibleSizes& sizes, Accepts accepts)
      : problem_(problem), model_(problem.model), sizes_(sizes), accepts_(accepts) {}

  // Both finds do for primal rays what those above do for dual rays.
  bool find(double margin, BackendResult* ray) const;
  bool find(BackendResult* ray) const;

 private:
  bool prove(std::vector<double>* x, std::vector<double>* barx) const;
  void clear_leaving(std::vector<double>* x) const;
  void clear_members(std::vector<double>* x) const;
  void clear_matrix_specks(double speck, std::vector<double>* barx) const;
  void find_rows(const std::vector<double>& x, const std::vector<double>& barx,
                 std::vector<bool>* vanishing) const;
  std::vector<VanishingSum> sums_of(const std::vector<bool>& vanishing) const;
  void add_products(const std::vector<TriangleEntry>& entries,
                    std::vector<VanishingSum>* sums) const;

  const MinimizeProblem& problem_;
  const Model& model_;
  const PlausibleSizes& sizes_;
  Accepts accepts_;
};

bool PrimalCleaning::find(double margin, BackendResult* ray) const {
  for (const ConeSpecks specks : {ConeSpecks::kTogether, ConeSpecks::kAlone}) {
    if (specks == ConeSpecks::kAlone && model_.cones.empty()) return false;
    std::vector<double> gradient = sizes_.gradient;
    for (const Cone& cone : model_.cones) {
      if (specks == ConeSpecks::kAlone) break;
      for (const int32_t var : cone.vars) gradient[index(var)] = kInfinity;
    }
    for (const double speck : kSpecks) {
      std::vector<double> x = ray->x;
      std::vector<double> barx = ray->barx;
      clear_specks(gradient, speck * margin, &x);
      clear_matrix_specks(speck * margin, &barx);
      if (!prove(&x, &barx)) continue;
      ray->x = std::move(x);
      ray->barx = std::move(barx);
      return true;
    }
  }
  return false;
}

bool PrimalCleaning::find(BackendResult* ray) const {
  BackendResult cleaned = *ray;
  clear_relative_specks(sizes_.var, &cleaned.x);
  if (!prove(&cleaned.x, &cleaned.barx)) return false;
  *ray = std::move(cleaned);
  return true;
}

bool PrimalCleaning::prove(std::vector<double>* x, std::vector<double>* barx) const {
  std::vector<bool> vanishing(model_.con_lower.size(), false);
  for (int round = 0; round <= kRounds; ++round) {
    clear_leaving(x);
    clear_members(x);
    if ((judge_primal_ray(problem_, sizes_, *x, *barx).*accepts_)()) return true;
    find_rows(*x, *barx, &vanishing);
    std::vector<double> values = *x;
    values.insert(values.end(), barx->begin(), barx->end());
    make_vanish(sums_of(vanishing), &values);
    std::copy_n(values.begin(), x->size(), x->begin());
    std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(x->size()), barx->size(),
                barx->begin());
  }
  return false;
}

void PrimalCleaning::clear_leaving(std::vector<double>* x) const {
  for (size_t j = 0; j < x->size(); ++j) {
    if (leaves((*x)[j], model_.var_lower[j], model_.var_upper[j])) (*x)[j] = 0.0;
  }
}

void PrimalCleaning::clear_members(std::vector<double>* x) const {
  for (const Cone& cone : model_.cones) {
    const auto is_zero = [&](size_t k) { return (*x)[index(cone.vars[k])] == 0.0; };
    for (const size_t k : zero_members(cone, cone.kind, is_zero)) (*x)[index(cone.vars[k])] = 0.0;
  }
}

// Rows of matrix variables go together with their columns.
void PrimalCleaning::clear_matrix_specks(double speck, std::vector<double>* barx) const {
  size_t start = 0;
  size_t first = 0;
  for (const MatrixVariable& variable : model_.matrix_vars) {
    const size_t n = index(variable.dimension);
    std::vector<bool> is_speck(n);
    for (size_t k = 0; k < n; ++k) {
      const double diagonal = (*barx)[start + packed_place(n, k, k)];
      is_speck[k] = std::fabs(diagonal) * sizes_.matrix_gradient[first + k] <= speck && speck > 0.0;
    }
    for (size_t col = 0; col < n; ++col) {
      for (size_t row = col; row < n; ++row) {
        if (is_speck[row] || is_speck[col]) (*barx)[start + packed_place(n, row, col)] = 0.0;
      }
    }
    start += packed_size(n);
    first += n;
  }
}

// Equations and rows that are left through a finite side.
void PrimalCleaning::find_rows(const std::vector<double>& x, const std::vector<double>& barx,
                               std::vector<bool>* vanishing) const {
  const std::vector<Sum> sums = linear_row_sums(model_, x, barx);
  for (size_t i = 0; i < sums.size(); ++i) {
    const double lower = model_.con_lower[i];
    const double upper = model_.con_upper[i];
    if (is_finite_interval(lower, upper) || leaves(sums[i].value, lower, upper)) {
      (*vanishing)[i] = true;
    }
  }
}

std::vector<VanishingSum> PrimalCleaning::sums_of(const std::vector<bool>& vanishing) const {
  std::vector<VanishingSum> sums(vanishing.size());
  const SparseMatrix& a = model_.matrix;
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      sums[index(a.row[k])].emplace_back(j, a.value[k]);
    }
  }
  const std::vector<size_t> starts = packed_starts(model_);
  for (const MatrixCoefficient& c : model_.matrix_coefficients) {
    const size_t n = index(model_.matrix_vars[index(c.matrix_var)].dimension);
    const size_t place = model_.cost.size() + starts[index(c.matrix_var)] +
                         packed_place(n, index(c.entry.row), index(c.entry.col));
    const double factor = c.entry.row == c.entry.col ? 1.0 : 2.0;
    sums[index(c.con)].emplace_back(place, factor * c.entry.value);
  }
  for (size_t i = 0; i < sums.size(); ++i) {
    if (!vanishing[i]) sums[i].clear();
  }
  add_products(model_.quadratic_cost, &sums);
  for (const QuadraticForm& form : quadratic_forms(model_)) {
    const size_t con = index(form.con);
    if (!is_free(model_.con_lower[con], model_.con_upper[con])) add_products(form.entries, &sums);
  }
  return sums;
}

// The elements of a matrix times x.
void PrimalCleaning::add_products(const std::vector<TriangleEntry>& entries,
                                  std::vector<VanishingSum>* sums) const {
  std::map<int32_t, VanishingSum> products;
  for (const TriangleEntry& entry : entries) {
    products[entry.row].emplace_back(index(entry.col), entry.value);
    if (entry.row != entry.col) products[entry.col].emplace_back(index(entry.row), entry.value);
  }
  for (auto& [row, sum] : products) sums->push_back(std::move(sum));
}

}  // namespace

bool complete_dual_ray(const Model& model, BackendResult* ray) {
  const MinimizeProblem problem(model);
  const PlausibleSizes sizes(problem);
  const RayQuality quality = judge_dual_ray(problem, sizes, ray);
  if (quality.is_proof()) return true;
  const bool is_worth_cleaning = ray->y.size() == model.con_lower.size() &&
                                 std::isfinite(quality.margin) && quality.margin > 0.0;
  return is_worth_cleaning &&
         DualCleaning(problem, sizes, &RayQuality::is_proof).find(quality.margin, ray);
}

bool complete_primal_ray(const MinimizeProblem& problem, BackendResult* ray) {
  const PlausibleSizes sizes(problem);
  const RayQuality quality = judge_primal_ray(problem, sizes, ray->x, ray->barx);
  if (quality.is_proof()) return true;
  const bool is_worth_cleaning =
      ray->x.size() == problem.cost.size() && std::isfinite(quality.margin) && quality.margin > 0.0;
  return is_worth_cleaning &&
         PrimalCleaning(problem, sizes, &RayQuality::is_proof).find(quality.margin, ray);
}

bool complete_ill_posed_dual_ray(const Model& model, BackendResult* ray) {
  const MinimizeProblem problem(model);
  const PlausibleSizes sizes(problem);
  const RayQuality quality = judge_dual_ray(problem, sizes, ray);
  if (quality.is_ill_posed()) return true;
  return ray->y.size() == model.con_lower.size() &&
         DualCleaning(problem, sizes, &RayQuality::is_ill_posed).find(ray);
}

bool complete_ill_posed_primal_ray(const MinimizeProblem& problem, BackendResult* ray) {
  const PlausibleSizes sizes(problem);
  const RayQuality quality = judge_primal_ray(problem, sizes, ray->x, ray->barx);
  if (quality.is_ill_posed()) return true;
  return ray->x.size() == problem.cost.size() &&
         PrimalCleaning(problem, sizes, &RayQuality::is_ill_posed).find(ray);
}

}  // namespace vorlan
