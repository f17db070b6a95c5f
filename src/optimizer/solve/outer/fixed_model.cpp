// Variables are fixed one after the other. Each is looked up in its constraints and its cone, where
// it may decide further variables, until nothing more follows.
#include "solve/outer/fixed_model.h"

#include <algorithm>
#include <cmath>

#include "solve/check/cone_violation.h"
#include "solve/check/sparse_columns.h"
#include "solve/check/vectors.h"
#include "solve/outer/derived_models.h"

namespace vorlan::outer {
namespace {

// An equation does not determine a variable whose coefficient is below this share of the largest.
constexpr double kPivot = 1e-6;
// What a row leaves to a variable is rounding when it is below this share of the largest term.
constexpr double kRounding = 1e-10;

double to_range(double value, double lower, double upper) {
  return std::max(lower, std::min(upper, value));
}

double product(const TriangleEntry& e, const std::vector<double>& value) {
  const double half = e.row == e.col ? 0.5 : 1.0;
  return half * e.value * value[index(e.row)] * value[index(e.col)];
}

}  // namespace

RowView::RowView(const Model& model)
    : start(model.con_lower.size() + 1, 0), linear(model.con_lower.size(), true) {
  for (const ConQuadraticEntry& e : model.quadratic_coefficients) linear[index(e.con)] = false;
  for (const MatrixCoefficient& e : model.matrix_coefficients) linear[index(e.con)] = false;
  const SparseMatrix& a = model.matrix;
  for (const int32_t row : a.row) ++start[index(row) + 1];
  for (size_t i = 1; i < start.size(); ++i) start[i] += start[i - 1];
  var.resize(a.row.size());
  value.resize(a.row.size());
  std::vector<size_t> end = start;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      const size_t place = end[index(a.row[k])]++;
      var[place] = static_cast<int32_t>(j);
      value[place] = a.value[k];
    }
  }
}

std::vector<double> find_assignment(const Model& model, const std::vector<double>& x) {
  std::vector<double> assignment;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const VarKind kind = model.var_kind[j];
    if (kind == VarKind::kContinuous) continue;
    const double rounded = is_integer(kind) ? std::round(x[j]) : x[j];
    const double inside = to_range(rounded, model.var_lower[j], model.var_upper[j]);
    const bool off = is_semi(kind) && std::fabs(x[j]) < std::fabs(x[j] - inside);
    const bool on = kind == VarKind::kSemiContinuous && !off;
    assignment.push_back(off ? 0.0 : on ? kInfinity : inside + 0.0);
  }
  return assignment;
}

FixedModel::FixedModel(const Model& model, const RowView& rows,
                       const std::vector<double>& assignment, double tolerance)
    : model_(model), rows_(rows), tolerance_(tolerance), left_(model) {
  fixed_.assign(model.cost.size(), false);
  value_.assign(model.cost.size(), 0.0);
  implied_lower_.assign(model.cost.size(), -kInfinity);
  implied_upper_.assign(model.cost.size(), kInfinity);
  dropped_.assign(model.cones.size(), false);
  left_.var_kind.assign(model.cost.size(), VarKind::kContinuous);
  count_open();
  fix_assignment(assignment);
  propagate();
  if (infeasible_) return;
  substitute_quadratic_rows();
  remove_dropped_cones();
}

bool FixedModel::determined() const {
  return model_.matrix_vars.empty() &&
         std::all_of(fixed_.begin(), fixed_.end(), [](bool fixed) { return fixed; });
}

void FixedModel::complete(std::vector<double>* x) const {
  for (size_t j = 0; j < fixed_.size(); ++j) {
    if (fixed_[j]) (*x)[j] = value_[j];
  }
}

bool FixedModel::is_fixed(int32_t var) const { return fixed_[index(var)]; }

double FixedModel::fixed_value(int32_t var) const { return value_[index(var)]; }

void FixedModel::fix(int32_t var, double value) {
  const size_t j = index(var);
  const double inside = to_range(value, left_.var_lower[j], left_.var_upper[j]);
  const double off = std::fabs(value - (fixed_[j] ? value_[j] : inside));
  if (off > tolerance_ * std::max(1.0, std::fabs(value))) infeasible_ = true;
  if (fixed_[j]) return;
  fixed_[j] = true;
  value_[j] = inside;
  left_.var_lower[j] = left_.var_upper[j] = inside;
  to_visit_.push_back(var);
}

void FixedModel::bound_below(int32_t var, double value) {
  const size_t j = index(var);
  if (left_.var_upper[j] <= value) return fix(var, value);
  left_.var_lower[j] = std::max(left_.var_lower[j], value);
}

void FixedModel::bound_above(int32_t var, double value) {
  const size_t j = index(var);
  if (left_.var_lower[j] >= value) return fix(var, value);
  left_.var_upper[j] = std::min(left_.var_upper[j], value);
}

void FixedModel::fix_assignment(const std::vector<double>& assignment) {
  size_t next = 0;
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    const auto var = static_cast<int32_t>(j);
    if (model_.var_kind[j] == VarKind::kContinuous) {
      if (model_.var_lower[j] == model_.var_upper[j]) fix(var, model_.var_lower[j]);
      continue;
    }
    const double value = assignment[next++];
    if (is_semi(model_.var_kind[j]) && value == 0.0) {
      left_.var_lower[j] = left_.var_upper[j] = 0.0;
    }
    if (std::isfinite(value)) fix(var, value);
  }
}

// Counts the open variables of each constraint and cone. Elements of matrix variables stay open.
void FixedModel::count_open() {
  const size_t num_con = model_.con_lower.size();
  linear_row_.assign(num_con, true);
  has_matrices_.assign(num_con, false);
  open_in_row_.assign(num_con, 0);
  quadratic_.assign(num_con, {});
  for (size_t i = 0; i < num_con; ++i) {
    open_in_row_[i] = static_cast<int32_t>(rows_.start[i + 1] - rows_.start[i]);
  }
  for (const ConQuadraticEntry& e : model_.quadratic_coefficients) {
    linear_row_[index(e.con)] = false;
    quadratic_[index(e.con)].push_back(e.entry);
  }
  for (const MatrixCoefficient& e : model_.matrix_coefficients) has_matrices_[index(e.con)] = true;
  cone_of_.assign(model_.cost.size(), -1);
  for (size_t c = 0; c < model_.cones.size(); ++c) {
    open_in_cone_.push_back(static_cast<int32_t>(model_.cones[c].vars.size()));
    for (const int32_t var : model_.cones[c].vars) cone_of_[index(var)] = static_cast<int32_t>(c);
  }
}

// Rows that are empty from the start need no look: the continuous relaxation has them too.
void FixedModel::propagate() {
  const SparseMatrix& a = model_.matrix;
  while (!to_visit_.empty() && !infeasible_) {
    const int32_t var = to_visit_.back();
    to_visit_.pop_back();
    for (size_t k = index(a.start[index(var)]); k < index(a.start[index(var) + 1]); ++k) {
      --open_in_row_[index(a.row[k])];
      look_at_row(a.row[k]);
    }
    const int32_t cone = cone_of_[index(var)];
    if (cone < 0) continue;
    --open_in_cone_[index(cone)];
    look_at_cone(cone);
  }
  for (int32_t i = 0; i < model_.num_con() && !infeasible_; ++i) {
    if (!linear_row_[index(i)]) check_row(i);
  }
}

double FixedModel::activity(int32_t row, int32_t without, double* size) const {
  double sum = 0.0;
  for (size_t k = rows_.start[index(row)]; k < rows_.start[index(row) + 1]; ++k) {
    if (rows_.var[k] == without) continue;
    const double term = rows_.value[k] * fixed_value(rows_.var[k]);
    sum += term;
    *size = std::max(*size, std::fabs(term));
  }
  for (const TriangleEntry& e : quadratic_[index(row)]) {
    const double term = product(e, value_);
    sum += term;
    *size = std::max(*size, std::fabs(term));
  }
  return sum;
}

void FixedModel::look_at_row(int32_t row) {
  const size_t i = index(row);
  if (!linear_row_[i] || has_matrices_[i]) return;
  if (open_in_row_[i] == 0) return check_row(row);
  if (open_in_row_[i] == 1) settle_last(row);
}

// An equation gives its only open variable a value, an inequality gives it a bound. The bound often
// leaves 0 alone, where a switch is off: by itself, or with another inequality. Such a variable
// left to the interior-point method would keep an error that counts beside the 0 of the switch.
void FixedModel::settle_last(int32_t row) {
  const size_t i = index(row);
  int32_t open = -1;
  double pivot = 0.0;
  double largest = 0.0;
  for (size_t k = rows_.start[i]; k < rows_.start[i + 1]; ++k) {
    largest = std::max(largest, std::fabs(rows_.value[k]));
    if (is_fixed(rows_.var[k])) continue;
    open = rows_.var[k];
    pivot = rows_.value[k];
  }
  // Fixed, but not yet counted.
  if (open < 0 || pivot == 0.0) return;
  const bool is_equation = left_.con_lower[i] == left_.con_upper[i];
  if (is_equation && std::fabs(pivot) <= kPivot * largest) return;
  double size = 1.0;
  const double sum = activity(row, open, &size);
  if (std::fabs(pivot) <= kRounding * size) return;
  double lower = (left_.con_lower[i] - sum) / pivot;
  double upper = (left_.con_upper[i] - sum) / pivot;
  if (is_equation) return fix(open, lower);
  if (pivot < 0.0) std::swap(lower, upper);
  if (is_semi(model_.var_kind[index(open)])) return;
  double& most = implied_upper_[index(open)];
  double& least = implied_lower_[index(open)];
  least = std::max({least, lower, left_.var_lower[index(open)]});
  most = std::min({most, upper, left_.var_upper[index(open)]});
  if (lower >= most) fix(open, lower);
  if (upper <= least) fix(open, upper);
}

// A constraint without open variables holds or does not. Either way it has nothing more to say.
void FixedModel::check_row(int32_t row) {
  const size_t i = index(row);
  if (has_matrices_[i] || (linear_row_[i] && rows_.start[i] == rows_.start[i + 1])) return;
  for (size_t k = rows_.start[i]; k < rows_.start[i + 1]; ++k) {
    if (!is_fixed(rows_.var[k])) return;
  }
  for (const TriangleEntry& e : quadratic_[i]) {
    if (!is_fixed(e.row) || !is_fixed(e.col)) return;
  }
  double size = 1.0;
  const double sum = activity(row, -1, &size);
  const double outside = std::max(left_.con_lower[i] - sum, sum - left_.con_upper[i]);
  if (outside > tolerance_ * size) infeasible_ = true;
  left_.con_lower[i] = -kInfinity;
  left_.con_upper[i] = kInfinity;
  quadratic_[i].clear();
}

void FixedModel::drop_cone(int32_t cone) {
  if (!dropped_[index(cone)]) dropped_cones_.push_back(index(cone));
  dropped_[index(cone)] = true;
}

void FixedModel::look_at_cone(int32_t cone) {
  if (dropped_[index(cone)]) return;
  if (open_in_cone_[index(cone)] > 0) return look_at_face(cone);
  drop_cone(cone);
  if (cone_violation(model_.cones[index(cone)], value_) > tolerance_) infeasible_ = true;
}

void FixedModel::fix_behind(const Cone& cone, size_t heads) {
  for (size_t k = heads; k < cone.vars.size(); ++k) fix(cone.vars[k], 0.0);
}

// Where a member is 0, only a face of the cone is left: no norm and no exponential, only signs.
void FixedModel::look_at_face(int32_t c) {
  const Cone& cone = model_.cones[index(c)];
  const auto is_zero = [&](size_t k) {
    return is_fixed(cone.vars[k]) && fixed_value(cone.vars[k]) == 0.0;
  };
  size_t heads = cone.kind == ConeKind::kQuadratic ? 1 : 2;
  switch (cone.kind) {
    case ConeKind::kExponential:  // x0 >= 0, x1 = 0, x2 <= 0
      if (!is_zero(0) && !is_zero(1)) return;
      drop_cone(c);
      fix(cone.vars[1], 0.0);
      bound_below(cone.vars[0], 0.0);
      bound_above(cone.vars[2], 0.0);
      return;
    case ConeKind::kDualExponential:  // x0 >= 0, x1 >= 0, x2 = 0
      if (!is_zero(0) && !is_zero(2)) return;
      drop_cone(c);
      fix(cone.vars[2], 0.0);
      bound_below(cone.vars[0], 0.0);
      bound_below(cone.vars[1], 0.0);
      return;
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      heads = cone.exponents.size();
      break;
    default:
      break;
  }
  bool face = false;
  for (size_t k = 0; k < heads; ++k) face = face || is_zero(k);
  if (!face) return;
  drop_cone(c);
  for (size_t k = 0; k < heads; ++k) bound_below(cone.vars[k], 0.0);
  fix_behind(cone, heads);
}

// A product with one fixed factor is a linear term, one with two is a constant.
void FixedModel::substitute_quadratic_rows() {
  if (model_.quadratic_coefficients.empty()) return;
  std::vector<MatrixElement> elements;
  const SparseMatrix& a = model_.matrix;
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      elements.push_back({a.row[k], static_cast<int32_t>(j), a.value[k]});
    }
  }
  left_.quadratic_coefficients.clear();
  for (size_t i = 0; i < quadratic_.size(); ++i) {
    const auto con = static_cast<int32_t>(i);
    for (const TriangleEntry& e : quadratic_[i]) {
      if (is_fixed(e.row) && is_fixed(e.col)) {
        left_.con_lower[i] -= product(e, value_);
        left_.con_upper[i] -= product(e, value_);
      } else if (is_fixed(e.row)) {
        elements.push_back({con, e.col, e.value * fixed_value(e.row)});
      } else if (is_fixed(e.col)) {
        elements.push_back({con, e.row, e.value * fixed_value(e.col)});
      } else {
        left_.quadratic_coefficients.push_back({con, e});
      }
    }
  }
  left_.matrix = make_columns(std::move(elements), model_.cost.size());
}

Model FixedModel::elastic_model() const {
  Model elastic = without_objective(left_);
  int32_t last = -1;
  for (const ConQuadraticEntry& e : left_.quadratic_coefficients) {
    if (e.con == last) continue;
    last = e.con;
    elastic.cost.push_back(1.0);
    elastic.var_lower.push_back(0.0);
    elastic.var_upper.push_back(kInfinity);
    elastic.var_kind.push_back(VarKind::kContinuous);
    elastic.matrix.row.push_back(e.con);
    elastic.matrix.value.push_back(std::isfinite(left_.con_upper[index(e.con)]) ? -1.0 : 1.0);
    elastic.matrix.start.push_back(static_cast<int64_t>(elastic.matrix.row.size()));
  }
  return elastic;
}

void FixedModel::remove_dropped_cones() {
  std::vector<Cone> kept;
  for (size_t c = 0; c < left_.cones.size(); ++c) {
    if (!dropped_[c]) kept.push_back(std::move(left_.cones[c]));
  }
  left_.cones = std::move(kept);
}

}  // namespace vorlan::outer
