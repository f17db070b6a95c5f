// The columns and rows that the relaxation begins with, and its points. The cuts are in
// relaxation_cuts.cpp.
#include "solve/outer/relaxation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "solve/check/sparse_columns.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "solve/conic/convexity.h"
#include "solve/outer/diagonal_part.h"
#include "solve/outer/integer_faces.h"
#include "solve/outer/norm_forms.h"
#include "solve/outer/optimum_bounds.h"
#include "solve/outer/switches.h"
#include "task/packed_matrices.h"

namespace vorlan::outer {
namespace {

// The variable that alone is the objective, -1 when there is none.
int32_t find_objective_variable(const MinimizeProblem& problem) {
  if (!problem.model.quadratic_cost.empty() || !problem.model.matrix_cost.empty()) return -1;
  int32_t variable = -1;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    if (problem.cost[j] == 0.0) continue;
    if (problem.cost[j] < 0.0 || variable >= 0) return -1;
    variable = static_cast<int32_t>(j);
  }
  return variable;
}

// The values that a row of one variable leaves it.
std::pair<double, double> range_of_row(const Relaxation::Row& row, bool is_integer) {
  constexpr double kRounding = 1e-9;  // of a bound that is whole
  const double factor = row.terms[0].second;
  double lower = row.lower / factor;
  double upper = row.upper / factor;
  if (factor < 0.0) std::swap(lower, upper);
  if (!is_integer) return {lower, upper};
  return {std::ceil(lower - kRounding * std::max(1.0, std::fabs(lower))),
          std::floor(upper + kRounding * std::max(1.0, std::fabs(upper)))};
}

double sum_of_diagonal(const std::vector<TriangleEntry>& entries) {
  double sum = 0.0;
  for (const TriangleEntry& e : entries) sum += e.row == e.col ? e.value : 0.0;
  return sum;
}

}  // namespace

Relaxation::Relaxation(const MinimizeProblem& problem)
    : model_(problem.model),
      view_(problem.model),
      packed_starts_(packed_starts(problem.model)),
      objective_variable_(find_objective_variable(problem)),
      switches_(find_switches(problem.model, view_)) {
  frame_.cost = problem.cost;
  frame_.constant = problem.sense_factor() * model_.constant;
  frame_.var_lower = model_.var_lower;
  frame_.var_upper = model_.var_upper;
  frame_.var_kind = model_.var_kind;
  frame_.branching_priority = model_.branching_priority;
  const SparseMatrix& a = model_.matrix;
  for (size_t i = 0; i < model_.con_lower.size(); ++i) {
    add_row(model_.con_lower[i], model_.con_upper[i], {});
  }
  for (size_t j = 0; j < model_.cost.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      rows_[index(a.row[k])].terms.emplace_back(static_cast<int32_t>(j), a.value[k]);
    }
  }
  make_bounds();
  add_matrix_elements(problem);
  add_quadratic_rows();
  for (const auto& [column, factor] :
       add_quadratic_form(model_.quadratic_cost, problem.sense_factor())) {
    frame_.cost[index(column)] += factor;
  }
  add_norm_forms();
  for (const Cone& cone : model_.cones) add_cone(cone);
  for (FaceRow& row : integer_faces(make_model(), cones_, switches_)) {
    add_row(0.0, kInfinity, std::move(row));
  }
  drop_free_rows();
  lift_rows(make_model(), &rows_);
  first_cut_ = rows_.size();
}

// Bounds that have become narrower take part in branching, in fixing by reduced costs and in the
// weakening of cuts. Where rounding leaves an integer variable nothing, its row stays a row: a
// model whose bounds cross is refused.
void Relaxation::make_bounds() {
  for (size_t i = 0; i < rows_.size(); ++i) {
    Row& row = rows_[i];
    if (!view_.linear[i] || row.terms.size() != 1 || row.terms[0].second == 0.0) continue;
    const size_t j = index(row.terms[0].first);
    if (is_semi(frame_.var_kind[j])) continue;
    auto [lower, upper] = range_of_row(row, is_integer(frame_.var_kind[j]));
    lower = std::max(lower, frame_.var_lower[j]);
    upper = std::min(upper, frame_.var_upper[j]);
    if (!(lower <= upper)) continue;
    frame_.var_lower[j] = lower;
    frame_.var_upper[j] = upper;
    row.lower = -kInfinity;
    row.upper = kInfinity;
  }
}

void Relaxation::drop_free_rows() {
  std::erase_if(rows_,
                [](const Row& row) { return row.lower == -kInfinity && row.upper == kInfinity; });
}

int32_t Relaxation::add_column(double cost, double lower, double upper, VarKind kind) {
  frame_.cost.push_back(cost);
  frame_.var_lower.push_back(lower);
  frame_.var_upper.push_back(upper);
  frame_.var_kind.push_back(kind);
  return frame_.num_var() - 1;
}

void Relaxation::add_row(double lower, double upper, Terms terms) {
  rows_.push_back({lower, upper, std::move(terms)});
}

// An element off the diagonal counts twice. The principal minors of order 2 are known from the
// start, as |X_ij| <= (X_ii + X_jj) / 2.
void Relaxation::add_matrix_elements(const MinimizeProblem& problem) {
  first_element_ = frame_.cost.size();
  for (const MatrixVariable& variable : model_.matrix_vars) {
    const auto n = index(variable.dimension);
    const auto first = static_cast<int32_t>(frame_.cost.size());
    const auto place = [&](size_t row, size_t col) {
      return first + static_cast<int32_t>(packed_place(n, row, col));
    };
    for (size_t col = 0; col < n; ++col) {
      for (size_t row = col; row < n; ++row) {
        add_column(0.0, row == col ? 0.0 : -kInfinity, kInfinity, VarKind::kContinuous);
      }
    }
    for (size_t col = 0; col < n; ++col) {
      for (size_t row = col + 1; row < n; ++row) {
        for (const double sign : {-2.0, 2.0}) {
          const int32_t element = place(row, col);
          add_row(0.0, kInfinity,
                  {{place(col, col), 1.0}, {element, sign}, {place(row, row), 1.0}});
        }
      }
    }
  }
  const auto column_of = [&](int32_t variable, const TriangleEntry& e) {
    const auto n = index(model_.matrix_vars[index(variable)].dimension);
    return first_element_ + packed_starts_[index(variable)] +
           packed_place(n, index(e.row), index(e.col));
  };
  const auto twice = [](const TriangleEntry& e) {
    return e.row == e.col ? e.value : 2.0 * e.value;
  };
  for (const MatrixCostEntry& e : model_.matrix_cost) {
    frame_.cost[column_of(e.matrix_var, e.entry)] += problem.sense_factor() * twice(e.entry);
  }
  for (const MatrixCoefficient& e : model_.matrix_coefficients) {
    rows_[index(e.con)].terms.emplace_back(static_cast<int32_t>(column_of(e.matrix_var, e.entry)),
                                           twice(e.entry));
  }
}

// The switch that all variables of a row have in common, and the row's value while it is off.
Switch Relaxation::common_switch(const Terms& row) const {
  Switch common = switches_[index(row[0].first)];
  common.value = 0.0;
  for (const auto& [var, value] : row) {
    const Switch& own = switches_[index(var)];
    if (!own.exists() || !own.same_as(common)) return {};
    common.value += value * own.value;
  }
  return common;
}

// Half the square of a row of F, as a multiple of a column. The square of a binary variable is a
// multiple of the variable itself. The column is about as large as the variables, so that an
// absolute tolerance of its cuts does not become large in terms of the form: a variance is a
// thousandth of the deviation whose square it is.
std::pair<int32_t, double> Relaxation::add_square(Terms row) {
  constexpr double kLeastSize = 1e-4;
  constexpr double kMostSize = 1e3;
  double size = 0.0;
  for (const auto& [var, value] : row) size = std::max(size, std::fabs(value));
  size = std::clamp(size, kLeastSize, kMostSize);
  for (auto& [var, value] : row) value /= size;
  Square square{row[0].first, row[0].second, -1, false, {}};
  square.off = common_switch(row);
  if (row.size() > 1) {
    square.column = add_column(0.0, -kInfinity, kInfinity, VarKind::kContinuous);
    square.scale = 1.0;
    Terms terms = row;
    terms.emplace_back(square.column, -1.0);
    add_row(0.0, 0.0, std::move(terms));
    products_.emplace_back(square.column, row);
  } else {
    const auto var = index(row[0].first);
    square.integer = is_integer(model_.var_kind[var]);
    if (square.integer && frame_.var_lower[var] >= 0.0 && frame_.var_upper[var] <= 1.0) {
      return {square.column, 0.5 * std::pow(size * square.scale, 2)};
    }
  }
  square.r = add_column(0.0, 0.0, kInfinity, VarKind::kContinuous);
  squares_.push_back(square);
  return {square.r, size * size};
}

Terms Relaxation::add_quadratic_form(const std::vector<TriangleEntry>& entries, double factor) {
  return add_quadratic_form(entries, factor, find_diagonal_part(entries, factor, switches_));
}

Terms Relaxation::add_quadratic_form(const std::vector<TriangleEntry>& entries, double factor,
                                     const std::vector<TriangleEntry>& diagonal) {
  Terms sum;
  std::vector<TriangleEntry> rest = entries;
  for (const TriangleEntry& e : diagonal) {
    sum.push_back(add_square({{e.row, std::sqrt(e.value)}}));
    rest.push_back({e.row, e.col, -e.value / factor});
  }
  for (const Terms& row : conic::factor_convex(rest, factor).rows) {
    sum.push_back(add_square(row));
  }
  return sum;
}

void Relaxation::add_quadratic_rows() {
  for (const QuadraticForm& form : quadratic_forms(model_)) {
    const size_t con = index(form.con);
    const bool has_upper = std::isfinite(model_.con_upper[con]);
    if (!has_upper && !std::isfinite(model_.con_lower[con])) continue;
    const double sign = has_upper ? 1.0 : -1.0;
    for (const auto& [column, factor] : add_quadratic_form(form.entries, sign)) {
      rows_[con].terms.emplace_back(column, sign * factor);
    }
  }
}

// Adds the r of all members, and sum of r <= share * x_bound. Divided by a fixed head they are those
// of squares. Where there is one member, the bound itself can be its r.
void Relaxation::add_norm_columns(double share, int32_t bound, const std::vector<Member>& tail,
                                  ConeColumns* columns) {
  Terms sum = {{bound, share}};
  columns->first_square = squares_.size();
  const bool is_square = columns->fixed_head > 0.0;
  const bool is_bound = share == 1.0 && tail.size() == 1 && bound < model_.num_var() &&
                        model_.var_kind[index(bound)] == VarKind::kContinuous;
  for (const Member& member : tail) {
    const int32_t r = is_bound ? bound : add_column(0.0, 0.0, kInfinity, VarKind::kContinuous);
    columns->r.push_back(r);
    sum.emplace_back(r, -1.0);
    const double scale = is_square ? 1.0 / std::sqrt(columns->fixed_head) : 0.0;
    const size_t var = index(member.var);
    if (is_square) {
      squares_.push_back({member.var, scale, r, is_integer(model_.var_kind[var]), switches_[var]});
    }
  }
  if (!is_bound) add_row(0.0, kInfinity, std::move(sum));
}

// Chooses the member that the norm is divided by. In a rotated cone it is x0 if that is fixed, which
// makes each r a square; otherwise it is x1, where models write the variable that is switched.
void Relaxation::set_head(const CanonicalCone& cone, ConeColumns* columns) const {
  const bool rotated = cone.kind == ConeKind::kRotatedQuadratic;
  columns->head = rotated && std::isnan(fixed_value(model_, view_, cone.members[0].var)) ? 1 : 0;
  const int32_t head = cone.members[columns->head].var;
  const double value = fixed_value(model_, view_, head);
  if (value > 0.0) columns->fixed_head = value;
  const bool has_floor = !is_semi(model_.var_kind[index(head)]);
  columns->head_floor = has_floor ? std::max(0.0, model_.var_lower[index(head)]) : 0.0;
}

void Relaxation::set_off_heads(const CanonicalCone& cone, ConeColumns* columns) const {
  const size_t heads = cone.kind == ConeKind::kExponential ? 2 : cone.weights.size();
  for (size_t k = 0; k < heads; ++k) {
    const Member& member = cone.members[k];
    const Switch& own = switches_[index(member.var)];
    double value = fixed_value(model_, view_, member.var);
    if (std::isnan(value)) {
      if (!own.exists() || (columns->off.exists() && !own.same_as(columns->off))) {
        columns->off = {};
        return;
      }
      columns->off = own;
      value = own.value;
    }
    columns->off_heads.push_back(member.scale * value);
  }
}

// Whether the cone needs nothing else: all members of its norm follow from binary variables.
bool Relaxation::add_binary_norm(const CanonicalCone& cone) {
  const bool is_quadratic =
      cone.kind == ConeKind::kQuadratic || cone.kind == ConeKind::kRotatedQuadratic;
  if (!is_quadratic || cone.members.size() <= cone.num_heads()) return false;
  ConeColumns columns;
  set_head(cone, &columns);
  if (columns.fixed_head > 0.0) return false;  // the squares of its members are linear
  BinaryNorm norm = find_binary_norm(model_, view_, cone, frame_.var_lower, frame_.var_upper);
  if (norm.literals.size() < 2) return false;
  const bool is_whole = norm.is_whole;
  binary_norms_.emplace_back(cones_.size() - 1, std::move(norm));
  return is_whole;
}

// A norm that is at most U is at least its square divided by U, whose form switches make stronger. So
// every head above the norm is at least as large; that is all where a head is U itself.
void Relaxation::add_norm_forms() {
  constexpr double kLeastShare = 0.1;  // less is not worth the columns
  for (const NormForm& form : find_norm_forms(model_, view_, switches_)) {
    if (!std::isfinite(form.most)) continue;
    const std::vector<TriangleEntry> diagonal = find_diagonal_part(form.square, 1.0, switches_);
    if (sum_of_diagonal(diagonal) < kLeastShare * sum_of_diagonal(form.square)) continue;
    const size_t before = squares_.size();
    const Terms half_square = add_quadratic_form(form.square, 1.0, diagonal);
    largest_form_ = std::max(largest_form_, squares_.size() - before);
    for (const NormForm::Head& head : form.heads) {
      Terms row = {{head.var, head.factor}};
      for (const auto& [column, value] : half_square) {
        row.emplace_back(column, -2.0 * value / form.most);
      }
      add_row(0.0, kInfinity, std::move(row));
      if (head.is_fixed) settled_cones_.insert(head.cone);
    }
  }
}

// Heads are not negative. This is a row for each head: as a bound it could allow a semi-continuous
// variable more than before.
void Relaxation::add_cone(const Cone& cone) {
  cones_.push_back(make_canonical(cone));
  const CanonicalCone& canonical = cones_.back();
  const auto& members = canonical.members;
  const size_t heads = std::min(canonical.num_heads(), members.size());
  ConeColumns columns;
  if (!canonical.weights.empty() || canonical.kind == ConeKind::kExponential) {
    set_off_heads(canonical, &columns);
  }
  const size_t num_signed = canonical.kind == ConeKind::kExponential ? 2 : heads;
  for (size_t k = 0; k < num_signed; ++k) {
    add_row(0.0, kInfinity, {{members[k].var, members[k].scale}});
  }
  const std::vector<Member> tail(members.begin() + static_cast<ptrdiff_t>(heads), members.end());
  if (settled_cones_.count(cones_.size() - 1) != 0 || add_binary_norm(canonical)) {
    cone_columns_.push_back(std::move(columns));
    return;
  }
  if (canonical.kind == ConeKind::kQuadratic && tail.size() == 1) {
    for (const double sign : {-1.0, 1.0}) {
      add_row(0.0, kInfinity, {{members[0].var, 1.0}, {tail[0].var, sign}});
    }
  } else if (canonical.kind == ConeKind::kQuadratic && !tail.empty()) {
    set_head(canonical, &columns);
    add_norm_columns(0.5, members[0].var, tail, &columns);
  } else if (canonical.kind == ConeKind::kRotatedQuadratic && !tail.empty()) {
    set_head(canonical, &columns);
    add_norm_columns(1.0, members[1 - columns.head].var, tail, &columns);
  } else if (canonical.kind == ConeKind::kPower && tail.size() > 1) {
    columns.norm = add_column(0.0, 0.0, kInfinity, VarKind::kContinuous);
    add_norm_columns(0.5, columns.norm, tail, &columns);
  }
  cone_columns_.push_back(std::move(columns));
}

Model Relaxation::make_model() const {
  Model model = frame_;
  std::vector<MatrixElement> elements;
  for (size_t i = 0; i < rows_.size(); ++i) {
    model.con_lower.push_back(rows_[i].lower);
    model.con_upper.push_back(rows_[i].upper);
    for (const auto& [column, value] : rows_[i].terms) {
      elements.push_back({static_cast<int32_t>(i), column, value});
    }
  }
  model.matrix = make_columns(std::move(elements), frame_.cost.size());
  return model;
}

std::vector<double> Relaxation::lift(const std::vector<double>& x,
                                     const std::vector<double>& barx) const {
  std::vector<double> columns(frame_.cost.size(), 0.0);
  std::copy(x.begin(), x.end(), columns.begin());
  std::copy(barx.begin(), barx.end(), columns.begin() + static_cast<ptrdiff_t>(first_element_));
  for (const auto& [column, row] : products_) {
    for (const auto& [var, value] : row) columns[index(column)] += value * x[index(var)];
  }
  for (const Square& square : squares_) {
    const double root = square.scale * columns[index(square.column)];
    if (square.r >= model_.num_var()) columns[index(square.r)] = 0.5 * root * root;
  }
  for (size_t c = 0; c < cones_.size(); ++c) {
    const ConeColumns& own = cone_columns_[c];
    if (own.r.empty()) continue;
    const std::vector<double> values = member_values(cones_[c], x);
    const size_t heads = values.size() - own.r.size();
    double head = values[own.head];
    if (own.norm >= 0) {
      head = 0.0;
      for (size_t k = heads; k < values.size(); ++k) head = std::hypot(head, values[k]);
      columns[index(own.norm)] = head;
    }
    for (size_t k = 0; k < own.r.size() && head > 0.0; ++k) {
      if (own.r[k] < model_.num_var()) continue;
      columns[index(own.r[k])] = 0.5 * values[heads + k] / head * values[heads + k];
    }
  }
  for (const Indicator& indicator : indicators_) {
    const double value = x[index(indicator.var)];
    const bool within = indicator.least <= value && value <= indicator.most;
    columns[index(indicator.column)] = within ? 1.0 : 0.0;
  }
  return columns;
}

std::vector<double> Relaxation::matrix_elements(const std::vector<double>& columns) const {
  const auto first = columns.begin() + static_cast<ptrdiff_t>(first_element_);
  return {first, first + static_cast<ptrdiff_t>(packed_starts_.back())};
}

void Relaxation::use_bound(double bound) {
  if (objective_variable_ < 0 || !std::isfinite(bound)) return;
  raise_head_floor(objective_variable_,
                   weaken_bound(bound) / frame_.cost[index(objective_variable_)]);
}

void Relaxation::add_objective_floor(double value) {
  Terms terms;
  for (size_t j = 0; j < frame_.cost.size(); ++j) {
    if (frame_.cost[j] != 0.0) terms.emplace_back(static_cast<int32_t>(j), frame_.cost[j]);
  }
  add_row(value, kInfinity, std::move(terms));
}

}  // namespace vorlan::outer
