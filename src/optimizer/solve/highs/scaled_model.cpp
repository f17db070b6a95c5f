// The factors come from the sizes of the terms by least squares on their logarithms, and are
// rounded to powers of two, so that no digit of a number changes.
#include "solve/highs/scaled_model.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/least_sizes.h"
#include "solve/check/plausible_sizes.h"
#include "solve/check/vectors.h"
#include "solve/highs/whole_rows.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Factors of columns within 2^kNear of 1, and sizes of rows and objectives that near, change
// nothing that matters.
constexpr int kNearColumns = 7;
constexpr int kNearRows = 5;
constexpr int kNearCosts = 4;
// Costs of a linear model up to this are as exact as small ones.
constexpr double kLargestCost = 1 << 30;
// In a row with an integer variable, coefficients that are smaller by more than 2^kFarthestSwitch
// do not count.
constexpr int kFarthestSwitch = 36;
// A row of integers alone whose numbers are within these is as good as one of whole numbers, unless
// it becomes one of numbers up to kFewUnits.
constexpr double kSmallWhole = 1.0 / (1 << kNearRows);
constexpr double kLargeWhole = 1 << 20;
constexpr double kFewUnits = 1 << 14;
// A coefficient beside which others of its row and of its column are larger by more than 2^kSpeck is
// what rounding has left of 0, and tells nothing of units.
constexpr int kSpeck = 44;
// The farthest that a factor can be from 1.
constexpr double kFarthest = 60.0;
constexpr int kSweeps = 30;

// Logarithms to the base of 2 of the sizes of terms, and of the factors that make them alike.
class UnitFinder {
 public:
  explicit UnitFinder(const Model& model)
      : model_(model),
        column_(model.cost.size() + model.matrix_vars.size(), 0.0),
        row_(model.con_lower.size() + 1, 0.0) {
    collect();
  }

  // By column; each matrix variable is one more of them.
  std::vector<double> find() {
    begin();
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
      fit_rows();
      fit_columns();
      for (const Cone& cone : model_.cones) fit_cone(cone);
    }
    for (double& c : column_) c = std::round(std::clamp(c, -kFarthest, kFarthest));
    for (const Cone& cone : model_.cones) round_cone(cone);
    return column_;
  }

 private:
  struct Mean {
    double sum = 0.0;
    double weight = 0.0;
    void add(double value, double its_weight) {
      sum += its_weight * value;
      weight += its_weight;
    }
  };
  // size + column[j] + column[k] + row is to be 0; -1 stands for no column.
  struct Term {
    size_t row;
    int32_t j, k;
    double size, weight;
  };
  // The weight of terms that can be much larger than the values of variables: bounds, and switches
  // in inequalities.
  static constexpr double kWeak = 0.02;

  void add(size_t row, int32_t j, int32_t k, double value, double weight = 1.0) {
    if (value == 0.0 || !std::isfinite(value)) return;
    terms_.push_back({row, j, k, std::log2(std::fabs(value)), weight});
  }

  // The row behind the last is that of a quadratic objective.
  void collect() {
    const SparseMatrix& a = model_.matrix;
    const std::vector<double> row_size = row_sizes();
    std::vector<std::vector<double>> switches(row_.size());
    for (size_t j = 0; j < model_.cost.size(); ++j) {
      const bool integer = is_fixed(static_cast<int32_t>(j));
      const double least = std::ldexp(column_size(j), -kSpeck);
      const double reach = std::max(1.0, finite_size(model_.var_lower[j], model_.var_upper[j]));
      for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
        const size_t i = index(a.row[k]);
        const double size = std::fabs(a.value[k]);
        if (size < least && reach * size < std::ldexp(row_size[i], -kSpeck)) continue;
        const bool weak = integer && model_.con_lower[i] != model_.con_upper[i];
        if (weak) switches[i].push_back(a.value[k]);
        add(i, static_cast<int32_t>(j), -1, a.value[k], weak ? kWeak : 1.0);
      }
    }
    for (size_t i = 0; i + 1 < row_.size(); ++i) {
      std::stable_sort(switches[i].begin(), switches[i].end(),
                       [](double one, double other) { return std::fabs(one) > std::fabs(other); });
      add_side(i, model_.con_lower[i], switches[i]);
      if (model_.con_upper[i] != model_.con_lower[i]) add_side(i, model_.con_upper[i], switches[i]);
    }
    for (const ConQuadraticEntry& e : model_.quadratic_coefficients) {
      add(index(e.con), e.entry.row, e.entry.col, e.entry.value);
    }
    for (const TriangleEntry& e : model_.quadratic_cost) {
      add(row_.size() - 1, e.row, e.col, e.value);
    }
    for (const MatrixCoefficient& e : model_.matrix_coefficients) {
      add(index(e.con), model_.num_var() + e.matrix_var, -1, e.entry.value);
    }
  }

  std::vector<double> row_sizes() const {
    const SparseMatrix& a = model_.matrix;
    std::vector<double> sizes(row_.size(), 0.0);
    for (size_t k = 0; k < a.row.size(); ++k) {
      double& size = sizes[index(a.row[k])];
      size = std::max(size, std::fabs(a.value[k]));
    }
    return sizes;
  }

  double column_size(size_t j) const {
    const SparseMatrix& a = model_.matrix;
    double size = 0.0;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      size = std::max(size, std::fabs(a.value[k]));
    }
    return size;
  }

  // A side may have switches in it: x <= 5 + 1e8 (1 - z) + 1e8 (1 - y). They are sorted, the largest
  // first.
  void add_side(size_t row, double side, const std::vector<double>& switches) {
    double rest = side;
    for (const double on : switches) {
      if (std::fabs(rest - on) < std::fabs(rest)) rest -= on;
    }
    const bool is_left = std::fabs(rest) > std::ldexp(std::fabs(side), -kSpeck);
    add(row, -1, -1, is_left ? rest : side, is_left ? 1.0 : kWeak);
  }

  bool is_matrix(int32_t var) const { return var >= model_.num_var(); }
  bool is_fixed(int32_t var) const {
    return !is_matrix(var) && is_integer(model_.var_kind[index(var)]);
  }
  double factor(int32_t var) const { return var < 0 ? 0.0 : column_[index(var)]; }

  // Spreads sizes from where they are known, sides and integers, to the columns beside them, and on
  // from these. A column far from any side would otherwise take many sweeps.
  void begin() {
    std::vector<bool> known(column_.size());
    for (size_t j = 0; j < known.size(); ++j) known[j] = is_fixed(static_cast<int32_t>(j));
    while (spread(&known)) continue;
  }

  // Sets the columns that share a row with known ones; false when there are none.
  bool spread(std::vector<bool>* known) {
    const auto is_known = [&](int32_t var) { return var < 0 || (*known)[index(var)]; };
    std::vector<Mean> size(row_.size());
    for (const Term& t : terms_) {
      if (!is_known(t.j) || !is_known(t.k)) continue;
      size[t.row].add(t.size + factor(t.j) + factor(t.k), t.weight);
    }
    std::vector<Mean> wish(column_.size());
    for (const Term& t : terms_) {
      const bool open = !is_known(t.j) && (is_known(t.k) || t.j == t.k);
      const Mean& mean = size[t.row];
      if (!open || mean.weight == 0.0) continue;
      const double rest = t.size - mean.sum / mean.weight;
      const double weight = t.weight * std::min(1.0, mean.weight);
      wish[index(t.j)].add(-(t.j == t.k ? 0.5 * rest : rest + factor(t.k)), weight);
    }
    bool found = false;
    for (size_t j = 0; j < known->size(); ++j) {
      if ((*known)[j] || wish[j].weight == 0.0) continue;
      column_[j] = wish[j].sum / wish[j].weight;
      (*known)[j] = found = true;
    }
    return found;
  }

  void fit_rows() {
    std::vector<double> sum(row_.size(), 0.0);
    std::vector<double> count(row_.size(), 0.0);
    for (const Term& t : terms_) {
      sum[t.row] += t.weight * (t.size + factor(t.j) + factor(t.k));
      count[t.row] += t.weight;
    }
    for (size_t i = 0; i < row_.size(); ++i) row_[i] = count[i] == 0.0 ? 0.0 : -sum[i] / count[i];
  }

  void fit_columns() {
    std::vector<double> sum(column_.size(), 0.0);
    std::vector<double> count(column_.size(), 0.0);
    const auto wish = [&](int32_t var, double value, double weight) {
      if (var < 0) return;
      sum[index(var)] += weight * value;
      count[index(var)] += weight;
    };
    for (const Term& t : terms_) {
      if (t.j >= 0 && t.j == t.k) {
        wish(t.j, -0.5 * (t.size + row_[t.row]), 4.0 * t.weight);
        continue;
      }
      wish(t.j, -(t.size + row_[t.row] + factor(t.k)), t.weight);
      wish(t.k, -(t.size + row_[t.row] + factor(t.j)), t.weight);
    }
    for (size_t j = 0; j < column_.size(); ++j) {
      const auto var = static_cast<int32_t>(j);
      const bool semi = !is_matrix(var) && is_semi(model_.var_kind[j]);
      const double bound = is_matrix(var) ? 0.0
                           : semi         ? nearest_bound(j)
                                          : finite_size(model_.var_lower[j], model_.var_upper[j]);
      if (bound > 0.0) wish(var, std::log2(bound), semi ? 1.0 : kWeak);
      if (count[j] > 0.0 && !is_fixed(var)) column_[j] = sum[j] / count[j];
    }
  }

  // The least size of a semi-continuous variable while it is on.
  double nearest_bound(size_t j) const {
    return std::max({0.0, model_.var_lower[j], -model_.var_upper[j]});
  }

  // A rotated cone may have heads of different factors, whose product is the square of the others'.
  void fit_cone(const Cone& cone) {
    const bool fixed = std::any_of(cone.vars.begin(), cone.vars.end(),
                                   [this](int32_t var) { return is_fixed(var); });
    double sum = 0.0;
    for (const int32_t var : cone.vars) sum += factor(var);
    const double common = fixed ? 0.0 : sum / static_cast<double>(cone.vars.size());
    double apart = 0.0;
    if (cone.kind == ConeKind::kRotatedQuadratic && !fixed && cone.vars.size() > 1) {
      apart = 0.5 * (factor(cone.vars[0]) - factor(cone.vars[1]));
    }
    for (const int32_t var : cone.vars) column_[index(var)] = common;
    if (apart == 0.0) return;
    column_[index(cone.vars[0])] += apart;
    column_[index(cone.vars[1])] -= apart;
  }

  void round_cone(const Cone& cone) {
    fit_cone(cone);
    for (const int32_t var : cone.vars) column_[index(var)] = std::round(factor(var));
    if (cone.kind != ConeKind::kRotatedQuadratic || cone.vars.size() < 3) return;
    column_[index(cone.vars[1])] = 2.0 * factor(cone.vars[2]) - factor(cone.vars[0]);
  }

  const Model& model_;
  std::vector<Term> terms_;
  std::vector<double> column_, row_;
};

// 2^k with 1 <= 2^k size < 2; 1 where the size is near 1.
double factor_for(double size, int near) {
  if (!(size > 0.0) || !std::isfinite(size)) return 1.0;
  const int exponent = std::ilogb(size);
  return std::abs(exponent) <= near ? 1.0 : std::ldexp(1.0, -exponent);
}

class ScalingMonitor : public BackendMonitor {
 public:
  ScalingMonitor(const ScaledModel& scaled, BackendMonitor* monitor)
      : scaled_(scaled), monitor_(monitor) {}
  void log(std::string_view text) override { monitor_->log(text); }
  bool should_stop(const Progress& progress) override {
    return monitor_->should_stop(to_original(progress));
  }
  void milestone(const Progress& progress, std::string_view origin) override {
    monitor_->milestone(to_original(progress), origin);
  }
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    monitor_->incumbent(scaled_.to_original(x), scaled_.matrices_to_original(barx));
  }

 private:
  Progress to_original(Progress progress) const {
    progress.objective /= scaled_.cost_factor();
    progress.bound /= scaled_.cost_factor();
    return progress;
  }

  const ScaledModel& scaled_;
  BackendMonitor* monitor_;
};

}  // namespace

ScaledModel::ScaledModel(const MinimizeProblem& problem)
    : model_(problem.model),
      column_(problem.model.cost.size(), 1.0),
      row_(problem.model.con_lower.size(), 1.0),
      matrix_(problem.model.matrix_vars.size(), 1.0) {
  scale_columns();
  scale_rows();
  scale_costs();
  if (!same_) objective_size_ = sizes_of_model(problem).objective;
}

void ScaledModel::scale_columns() {
  const std::vector<double> exponents = UnitFinder(model_).find();
  const bool near = std::all_of(exponents.begin(), exponents.end(),
                                [](double e) { return std::fabs(e) <= kNearColumns; });
  if (near) return;
  same_ = false;
  for (size_t j = 0; j < column_.size(); ++j) {
    column_[j] = std::ldexp(1.0, static_cast<int>(exponents[j]));
    model_.cost[j] *= column_[j];
    model_.var_lower[j] /= column_[j];
    model_.var_upper[j] /= column_[j];
    for (size_t k = index(model_.matrix.start[j]); k < index(model_.matrix.start[j + 1]); ++k) {
      model_.matrix.value[k] *= column_[j];
    }
  }
  const auto scale = [this](TriangleEntry* e) {
    e->value *= column_[index(e->row)] * column_[index(e->col)];
  };
  for (TriangleEntry& e : model_.quadratic_cost) scale(&e);
  for (ConQuadraticEntry& e : model_.quadratic_coefficients) scale(&e.entry);
  for (size_t m = 0; m < matrix_.size(); ++m) {
    matrix_[m] = std::ldexp(1.0, static_cast<int>(exponents[column_.size() + m]));
  }
  for (MatrixCostEntry& e : model_.matrix_cost) e.entry.value *= matrix_[index(e.matrix_var)];
  for (MatrixCoefficient& e : model_.matrix_coefficients) {
    e.entry.value *= matrix_[index(e.matrix_var)];
  }
}

// The elements of a row.
struct ScaledModel::RowElements {
  std::vector<size_t> places;
  bool is_whole = true;  // all of them are of integers
};

// Rows of integers alone come into whole numbers, where these are moderate and the row's own
// numbers are not (whole_rows.h). Returns which rows did.
std::vector<bool> ScaledModel::make_rows_whole() {
  std::vector<bool> done(row_.size(), false);
  if (!model_.is_linear() || !model_.is_mixed_integer()) return done;
  std::vector<RowElements> rows(row_.size());
  for (size_t j = 0; j < column_.size(); ++j) {
    for (size_t k = index(model_.matrix.start[j]); k < index(model_.matrix.start[j + 1]); ++k) {
      if (model_.matrix.value[k] == 0.0) continue;
      RowElements& row = rows[index(model_.matrix.row[k])];
      row.is_whole = row.is_whole && is_integer(model_.var_kind[j]);
      if (row.is_whole) row.places.push_back(k);
    }
  }
  for (size_t i = 0; i < row_.size(); ++i) {
    if (rows[i].is_whole && !rows[i].places.empty()) done[i] = make_row_whole(i, rows[i].places);
  }
  return done;
}

bool ScaledModel::make_row_whole(size_t row, const std::vector<size_t>& places) {
  std::vector<double> values(places.size());
  std::transform(places.begin(), places.end(), values.begin(),
                 [this](size_t k) { return model_.matrix.value[k]; });
  const double size = largest(values);
  const double side = finite_size(model_.con_lower[row], model_.con_upper[row]);
  const bool is_near = size >= kSmallWhole && std::max(size, side) <= kLargeWhole;
  const bool is_whole = std::all_of(values.begin(), values.end(),
                                    [](double value) { return value == std::round(value); });
  if (is_near && is_whole) return false;
  const double unit = common_unit(values);
  if (unit == 0.0 || unit == 1.0) return false;
  if (is_near && size > kFewUnits * unit) return false;
  for (const size_t k : places) {
    model_.matrix.value[k] = std::round(model_.matrix.value[k] / unit);
  }
  for (double* bound : {&model_.con_lower[row], &model_.con_upper[row]}) {
    if (std::isfinite(*bound)) *bound = in_units(*bound, unit);
  }
  row_[row] = 1.0 / unit;
  same_ = false;
  return true;
}

// The largest term of a continuous variable is to be about 1: a switch beside it may be larger. A
// row of integers alone is exact, and nothing makes it smaller but its unit.
void ScaledModel::scale_rows() {
  const std::vector<bool> is_done = make_rows_whole();
  std::vector<double> size(row_.size(), 0.0);
  std::vector<double> integers(row_.size(), 0.0);
  for (size_t j = 0; j < column_.size(); ++j) {
    std::vector<double>& of_kind = is_integer(model_.var_kind[j]) ? integers : size;
    for (size_t k = index(model_.matrix.start[j]); k < index(model_.matrix.start[j + 1]); ++k) {
      double& largest = of_kind[index(model_.matrix.row[k])];
      largest = std::max(largest, std::fabs(model_.matrix.value[k]));
    }
  }
  for (const ConQuadraticEntry& e : model_.quadratic_coefficients) {
    size[index(e.con)] = std::max(size[index(e.con)], std::fabs(e.entry.value));
  }
  for (const MatrixCoefficient& e : model_.matrix_coefficients) {
    size[index(e.con)] = std::max(size[index(e.con)], std::fabs(e.entry.value));
  }
  std::vector<double> factor(row_.size(), 1.0);
  for (size_t i = 0; i < row_.size(); ++i) {
    if (is_done[i]) continue;
    const bool counts = size[i] > std::ldexp(integers[i], -kFarthestSwitch);
    row_[i] = factor[i] =
        counts ? factor_for(size[i], kNearRows) : std::max(1.0, factor_for(integers[i], kNearRows));
    same_ = same_ && row_[i] == 1.0;
    model_.con_lower[i] *= row_[i];
    model_.con_upper[i] *= row_[i];
  }
  for (size_t k = 0; k < model_.matrix.row.size(); ++k) {
    model_.matrix.value[k] *= factor[index(model_.matrix.row[k])];
  }
  for (ConQuadraticEntry& e : model_.quadratic_coefficients) e.entry.value *= row_[index(e.con)];
  for (MatrixCoefficient& e : model_.matrix_coefficients) e.entry.value *= row_[index(e.con)];
}

namespace {

// Costs of a linear model that are far apart: the largest becomes so large that the least is about
// 1, as far as large costs are exact. An objective of small costs, beside a penalty that nobody
// pays, would otherwise be below all tolerances. Costs that are just large become small: where
// those of continuous variables of the size 1 are above a million, presolve has cut off the optimum
// of one fixed-charge model in ten.
double linear_cost_factor(double smallest, double largest) {
  constexpr double kFarApart = 1.0 / (1 << 10);
  constexpr double kLarge = 1 << 17;
  const double factor = factor_for(largest, kNearCosts);
  if (factor < 1.0 && factor > 1.0 / kLarge) return 1.0;
  if (factor == 1.0 || smallest >= kFarApart * largest) return factor;
  return factor * std::min(kLargestCost, std::ldexp(1.0, std::ilogb(largest / smallest)));
}

// The column of an integer keeps its unit, and with it a cost below the tolerances, which HiGHS's
// presolve takes for 0, however large the integer may become. The objective's unit makes up for it.
double raise_integer_costs(double factor, double smallest_integer, double largest) {
  constexpr double kLeast = 1.0 / (1 << 10);
  if (factor * smallest_integer >= kLeast) return factor;
  const double wanted = std::ldexp(1.0, std::ilogb(kLeast / (factor * smallest_integer)) + 1);
  const double most = std::ldexp(kLargestCost, -std::ilogb(factor * largest));
  return factor * std::max(1.0, std::min(wanted, most));
}

// Without integers there is no search that large costs could mislead: the least becomes about 1,
// also beside costs that are of the size 1 already.
double continuous_cost_factor(double smallest, double largest) {
  if (!(largest > 0.0)) return 1.0;
  const double most = std::ldexp(kLargestCost, -std::ilogb(largest));
  return std::min(factor_for(smallest, kNearCosts), most);
}

}  // namespace

void ScaledModel::scale_costs() {
  constexpr double kFarReach = 1000.0;
  double size = 0.0;
  double smallest = kInfinity;
  double smallest_integer = kInfinity;  // of those that can reach far
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    // What a fixed variable costs is no part of what is solved.
    const double c = std::fabs(model_.cost[j]);
    if (c == 0.0 || model_.var_lower[j] == model_.var_upper[j]) continue;
    size = std::max(size, c);
    smallest = std::min(smallest, c);
    const bool is_far = model_.var_upper[j] - model_.var_lower[j] >= kFarReach;
    if (is_far && is_integer(model_.var_kind[j])) smallest_integer = std::min(smallest_integer, c);
  }
  for (const TriangleEntry& e : model_.quadratic_cost) size = std::max(size, std::fabs(e.value));
  for (const MatrixCostEntry& e : model_.matrix_cost)
    size = std::max(size, std::fabs(e.entry.value));
  const auto integer_factor = [&] {
    return raise_integer_costs(linear_cost_factor(smallest, size), smallest_integer, size);
  };
  const double factor = !model_.is_linear()         ? factor_for(size, kNearCosts)
                        : model_.is_mixed_integer() ? integer_factor()
                                                    : continuous_cost_factor(smallest, size);
  if (factor == 1.0) return;
  same_ = false;
  cost_factor_ = factor;
  for (double& c : model_.cost) c *= cost_factor_;
  for (TriangleEntry& e : model_.quadratic_cost) e.value *= cost_factor_;
  for (MatrixCostEntry& e : model_.matrix_cost) e.entry.value *= cost_factor_;
  model_.constant *= cost_factor_;
}

std::vector<double> ScaledModel::to_original(std::span<const double> x) const {
  std::vector<double> original(x.begin(), x.end());
  for (size_t j = 0; j < column_.size() && j < original.size(); ++j) original[j] *= column_[j];
  return original;
}

std::vector<double> ScaledModel::to_scaled(std::span<const double> x) const {
  std::vector<double> scaled(x.begin(), x.end());
  for (size_t j = 0; j < column_.size() && j < scaled.size(); ++j) scaled[j] /= column_[j];
  return scaled;
}

std::vector<double> ScaledModel::matrices_to_original(std::span<const double> barx) const {
  std::vector<double> original(barx.begin(), barx.end());
  const std::vector<size_t> starts = packed_starts(model_);
  if (original.size() != starts.back()) return original;
  for (size_t m = 0; m < matrix_.size(); ++m) {
    for (size_t k = starts[m]; k < starts[m + 1]; ++k) original[k] *= matrix_[m];
  }
  return original;
}

// What is outside by no more than a tolerance of the method can be far outside in the units of the
// model: 1e-14 of a value of 1e10 is 1e-4. Constraints, whose terms are large there, do not mind.
void ScaledModel::meet_bounds(std::vector<double>* x) const {
  constexpr double kTolerance = 1e-6;
  for (size_t j = 0; j < x->size() && j < column_.size(); ++j) {
    if (is_semi(model_.var_kind[j])) continue;
    const double nearest = std::max(model_.var_lower[j], std::min((*x)[j], model_.var_upper[j]));
    if (std::fabs(nearest - (*x)[j]) <= kTolerance) (*x)[j] = nearest;
  }
}

void ScaledModel::restore(BackendResult* result) const {
  if (result->certificate == Certificate::kNone) meet_bounds(&result->x);
  result->x = to_original(result->x);
  result->barx = matrices_to_original(result->barx);
  result->progress.objective /= cost_factor_;
  result->progress.bound /= cost_factor_;
  restore_duals(result);
  restore_ranging(&result->ranging);
}

// A dual ray may be any multiple of itself.
void ScaledModel::restore_duals(BackendResult* result) const {
  for (size_t i = 0; i < result->y.size(); ++i) result->y[i] *= row_[i] / cost_factor_;
  for (size_t j = 0; j < result->d.size(); ++j) result->d[j] /= column_[j] * cost_factor_;
}

void ScaledModel::restore_ranging(std::vector<double>* figures) const {
  if (figures->empty()) return;
  const size_t num_var = column_.size();
  for (size_t k = 0; k < figures->size(); ++k) {
    const size_t entity = k / kRangeFigures;
    const bool is_objective = k % kRangeFigures >= kRangeFigures / 2;
    const double unit = is_objective       ? cost_factor_
                        : entity < num_var ? column_[entity] * cost_factor_
                                           : row_[entity - num_var];
    (*figures)[k] /= unit;
  }
}

Parameters ScaledModel::scale(const Parameters& parameters) const {
  Parameters scaled = parameters;
  scaled.set(DoubleParam::kMipAbsoluteGap,
             cost_factor_ * objective_size_ * parameters.get(DoubleParam::kMipAbsoluteGap));
  return scaled;
}

namespace {

// A value that rounding has left of 0, such as 1e-4 beside 1e10, misses a switch that is off. It
// becomes 0 where the point is better for it.
void drop_specks(const MinimizeProblem& problem, const ScaledModel& scaled, BackendResult* result) {
  constexpr double kSpeckSize = 1e-12;
  constexpr double kGoodEnough = 1e-9;
  if (result->certificate != Certificate::kNone || result->x.empty()) return;
  if (!problem.model.is_mixed_integer() || !problem.model.matrix_vars.empty()) return;
  const double violation = primal_violation(problem.model, result->x);
  if (violation <= kGoodEnough) return;
  std::vector<double> x = scaled.to_scaled(result->x);
  for (double& value : x) value = std::fabs(value) <= kSpeckSize ? 0.0 : value;
  x = scaled.to_original(x);
  if (primal_violation(problem.model, x) < violation) result->x = std::move(x);
}

}  // namespace

Status solve_scaled(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                    const Parameters& parameters, double seconds, BackendMonitor* monitor,
                    BackendResult* result) {
  const ScaledModel scaled(problem);
  if (scaled.is_same()) return solve(problem, parameters, seconds, monitor, result);
  Solution start;
  if (problem.start != nullptr) {
    start = *problem.start;
    start.xx = scaled.to_scaled(start.xx);
  }
  const Cutoffs cutoffs = {scaled.cost_factor() * problem.cutoffs.lower,
                           scaled.cost_factor() * problem.cutoffs.upper};
  const MinimizeProblem inner(scaled.model(), problem.start == nullptr ? nullptr : &start, cutoffs);
  ScalingMonitor inner_monitor(scaled, monitor);
  Status status = solve(inner, scaled.scale(parameters), seconds, &inner_monitor, result);
  scaled.restore(result);
  drop_specks(problem, scaled, result);
  return status;
}

}  // namespace vorlan
