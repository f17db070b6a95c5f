// The way to the form goes over variables, constraints, quadratic terms, cones and matrices. The
// way back undoes the scaling and finds the duals of what the form left out.
#include "solve/conic/conic_form.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <utility>

#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "solve/conic/compress.h"
#include "solve/conic/convexity.h"
#include "task/text.h"

namespace vorlan::conic {
namespace {

std::string name_or_number(std::string_view name, const char* kind, int32_t number) {
  if (!name.empty()) return '"' + std::string(name) + '"';
  return format_text("%s %d", kind, number);
}

std::string describe_pair(const Model& model, const ConvexFactor& factor) {
  const auto name = [&model](int32_t var) {
    return name_or_number(model.var_names[index(var)], "variable", var);
  };
  if (factor.var == factor.other_var) return name(factor.var);
  return name(factor.var) + " and " + name(factor.other_var);
}

Status not_convex(const Model& model, const std::string& where, const ConvexFactor& factor) {
  return {Code::kErrNotConvex,
          where + " is not convex: its curvature is negative at " + describe_pair(model, factor)};
}

std::vector<int32_t> cone_of_variables(const Model& model) {
  std::vector<int32_t> cone(model.cost.size(), -1);
  for (size_t c = 0; c < model.cones.size(); ++c) {
    for (const int32_t var : model.cones[c].vars) cone[index(var)] = static_cast<int32_t>(c);
  }
  return cone;
}

// Packed lower triangles, each element times factor(matrix, row, col).
template <class Factor>
std::vector<double> pack(const std::vector<DenseMatrix>& matrices, const Factor& factor) {
  std::vector<double> packed;
  for (size_t m = 0; m < matrices.size(); ++m) {
    for (size_t col = 0; col < matrices[m].cols(); ++col) {
      for (size_t row = col; row < matrices[m].rows(); ++row) {
        packed.push_back(matrices[m](row, col) * factor(m, row, col));
      }
    }
  }
  return packed;
}

// to_row += value x_col, and for an element off the diagonal its mirror image too.
void add_product(const TriangleEntry& e, double value, const std::vector<double>& x,
                 std::vector<double>* to) {
  (*to)[index(e.row)] += value * x[index(e.col)];
  if (e.row != e.col) (*to)[index(e.col)] += value * x[index(e.row)];
}

// The gradient of the objective and of the constraints' quadratic terms at an answer: cost + Q x -
// sum_i y_i Q_i x. A dual ray has none.
std::vector<double> gradient(const MinimizeProblem& problem, const BackendResult& answer) {
  const Model& model = problem.model;
  if (answer.certificate == Certificate::kDualRay) return std::vector<double>(model.cost.size());
  std::vector<double> sum = problem.cost;
  for (const TriangleEntry& e : model.quadratic_cost) {
    add_product(e, problem.sense_factor() * e.value, answer.x, &sum);
  }
  for (const ConQuadraticEntry& q : model.quadratic_coefficients) {
    add_product(q.entry, -answer.y[index(q.con)] * q.entry.value, answer.x, &sum);
  }
  return sum;
}

}  // namespace

Status ConicForm::make(const MinimizeProblem& problem, ConicForm* form) {
  const Model& model = problem.model;
  // A slack for each constraint beside the model's own elements.
  form->elements_.reserve(model.matrix.row.size() + model.con_lower.size());
  form->add_variables(problem);
  form->add_constraints(model);
  Status status = form->add_quadratic_constraints(model);
  if (!status.ok()) return status;
  form->add_cones(model);
  form->add_matrices(problem);
  status = form->add_quadratic_cost(problem);
  if (!status.ok()) return status;
  form->problem_.matrix = form->take_columns(&form->elements_, form->problem_.num_row());
  form->free_reserves();
  return {};
}

// Arrays that grew by doubling can have as much in reserve as they hold.
void ConicForm::free_reserves() {
  problem_.bounds.shrink_to_fit();
  for (auto* values : {&problem_.cost, &problem_.rhs, &problem_.rhs_size}) values->shrink_to_fit();
}

int32_t ConicForm::add_variable(double cost) {
  problem_.cost.push_back(cost);
  return problem_.num_var() - 1;
}

int32_t ConicForm::add_row(double rhs) {
  problem_.rhs.push_back(rhs);
  problem_.rhs_size.push_back(std::fabs(rhs));
  return problem_.num_row() - 1;
}

void ConicForm::add_bounds(int32_t var, double lower, double upper) {
  if (std::isfinite(lower)) problem_.bounds.push_back({var, 1.0, lower});
  if (std::isfinite(upper)) problem_.bounds.push_back({var, -1.0, -upper});
}

// A fixed member of a cone stays a variable, with an equation.
void ConicForm::add_variables(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  const std::vector<int32_t> cone = cone_of_variables(model);
  var_place_.assign(model.cost.size(), -1);
  fixed_value_.assign(model.cost.size(), 0.0);
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const double lower = model.var_lower[j];
    const double upper = model.var_upper[j];
    const bool fixed = lower == upper;
    if (fixed && cone[j] < 0) {
      fixed_value_[j] = lower;
      continue;
    }
    var_place_[j] = add_variable(problem.cost[j]);
    if (!fixed) {
      add_bounds(var_place_[j], lower, upper);
    } else {
      elements_.push_back({add_row(lower), var_place_[j], 1.0});
    }
  }
}

void ConicForm::add_element(int32_t row, int32_t model_var, double value) {
  if (row < 0 || value == 0.0) return;
  const int32_t place = var_place_[index(model_var)];
  if (place >= 0) {
    elements_.push_back({row, place, value});
  } else {
    const double term = value * fixed_value_[index(model_var)];
    problem_.rhs[index(row)] -= term;
    problem_.rhs_size[index(row)] = std::max(problem_.rhs_size[index(row)], std::fabs(term));
  }
}

void ConicForm::add_constraints(const Model& model) {
  row_place_.assign(model.con_lower.size(), -1);
  std::vector<bool> is_quadratic(model.con_lower.size(), false);
  for (const ConQuadraticEntry& e : model.quadratic_coefficients) {
    is_quadratic[index(e.con)] = true;
  }
  for (size_t i = 0; i < model.con_lower.size(); ++i) {
    const double lower = model.con_lower[i];
    const double upper = model.con_upper[i];
    if (!std::isfinite(lower) && !std::isfinite(upper)) continue;
    const double side = std::isfinite(lower) ? lower : upper;
    row_place_[i] = add_row(side);
    if (lower == upper || is_quadratic[i]) continue;
    const int32_t distance = add_variable(0.0);
    elements_.push_back({row_place_[i], distance, -1.0});
    add_bounds(distance, lower - side, upper - side);
  }
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const size_t con = index(a.row[index(k)]);
      if (is_quadratic[con]) continue;
      add_element(row_place_[con], static_cast<int32_t>(j), a.value[index(k)]);
    }
  }
}

Status ConicForm::add_quadratic_constraints(const Model& model) {
  const std::vector<QuadraticForm> forms = quadratic_forms(model);
  if (forms.empty()) return {};
  std::vector<int32_t> place(model.con_lower.size(), -1);
  for (size_t k = 0; k < forms.size(); ++k) place[index(forms[k].con)] = static_cast<int32_t>(k);
  std::vector<std::vector<LinearTerm>> linear(forms.size());
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const int32_t form = place[index(a.row[index(k)])];
      if (form >= 0) linear[index(form)].emplace_back(static_cast<int32_t>(j), a.value[index(k)]);
    }
  }
  for (size_t k = 0; k < forms.size(); ++k) {
    Status status = add_quadratic_row(model, forms[k], linear[k]);
    if (!status.ok()) return status;
  }
  return {};
}

Status ConicForm::add_quadratic_row(const Model& model, const QuadraticForm& form,
                                    const std::vector<LinearTerm>& linear) {
  const size_t con = index(form.con);
  const int32_t row = row_place_[con];
  if (row < 0) return {};
  const bool has_lower = std::isfinite(model.con_lower[con]);
  const bool has_upper = std::isfinite(model.con_upper[con]);
  const std::string where =
      "constraint " + name_or_number(model.con_names[con], "number", form.con);
  if (has_lower && has_upper) {
    return {Code::kErrNotConvex, where + " has quadratic terms and two sides: it is not convex"};
  }
  // At a lower side -Q must be convex: the row is taken times -1.
  const double sign = has_upper ? 1.0 : -1.0;
  const ConvexFactor factor = factor_convex(form.entries, sign);
  if (!factor.convex) return not_convex(model, where, factor);
  add_square_cone(row, sign, factor, linear);
  return {};
}

// The row stays the constraint's own, so that its multiplier is the constraint's: with sign -1 it
// is the equation of t times -1.
void ConicForm::add_square_cone(int32_t row, double sign, const ConvexFactor& factor,
                                const std::vector<LinearTerm>& linear) {
  const double side = problem_.rhs[index(row)];
  std::vector<LinearTerm> signed_terms = linear;
  for (LinearTerm& term : signed_terms) term.second *= sign;
  Centring centring = centre(factor, signed_terms);
  const double half_square = 0.5 * dot(centring.shift, centring.shift);
  // A centre so far away that rounding takes all digits of the square's size is no better than 0.
  // One that leaves some is: seen from 0, tolerances that are relative to the far centre hide the
  // square.
  constexpr double kFarthest = 1e13;
  // Beside a sphere that is so much nearer than its centre points are seen better from the origin.
  // Both near points and far ones are then in sight of a size between theirs.
  constexpr double kFlat = 1e3;
  const bool is_flat = side != 0.0 && half_square > kFlat * std::fabs(side);
  if (is_flat || half_square > kFarthest * std::fabs(sign * side + half_square)) {
    centring.shift.assign(factor.rows.size(), 0.0);
    centring.rest = std::move(signed_terms);
  } else {
    problem_.rhs[index(row)] += sign * half_square;
    problem_.rhs_size[index(row)] = std::max(std::fabs(side), half_square);
  }
  for (const auto& [var, value] : centring.rest) add_element(row, var, sign * value);
  const double square =
      is_flat ? std::sqrt(std::fabs(side) * half_square) : std::fabs(problem_.rhs[index(row)]);
  const double size = square > 0.0 ? std::exp2(std::round(0.5 * std::log2(square))) : 1.0;
  ConeBlock cone{ConeKind::kRotatedQuadratic, {}, {}};
  const int32_t distance = add_variable(0.0);
  elements_.push_back({row, distance, sign * size});
  const int32_t constant = add_variable(0.0);
  elements_.push_back({add_row(size), constant, 1.0});
  cone.vars = {distance, constant};
  for (size_t k = 0; k < factor.rows.size(); ++k) {
    const int32_t member = add_variable(0.0);
    const int32_t equation = add_row(-centring.shift[k]);
    elements_.push_back({equation, member, -1.0});
    for (const auto& [var, value] : factor.rows[k]) add_element(equation, var, value);
    cone.vars.push_back(member);
  }
  problem_.cones.push_back(std::move(cone));
  problem_.has_quadratic_rows = true;
}

Status ConicForm::add_quadratic_cost(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  const double sense = problem.sense_factor();
  const ConvexFactor factor = factor_convex(model.quadratic_cost, sense, FactorRows::kLeftOut);
  if (!factor.convex) {
    return not_convex(model,
                      model.maximize ? "the negative of the maximized objective" : "the objective",
                      factor);
  }
  std::vector<Element> elements;
  const auto add = [&](int32_t var, int32_t other, double value) {
    const int32_t a = var_place_[index(var)];
    const int32_t b = var_place_[index(other)];
    if (a < 0) return;
    if (b >= 0) {
      elements.push_back({b, a, value});
    } else {
      problem_.cost[index(a)] += value * fixed_value_[index(other)];
    }
  };
  for (const TriangleEntry& e : model.quadratic_cost) {
    add(e.row, e.col, sense * e.value);
    if (e.row != e.col) add(e.col, e.row, sense * e.value);
  }
  problem_.quadratic = take_columns(&elements, problem_.num_var());
  return {};
}

void ConicForm::add_cones(const Model& model) {
  for (const vorlan::Cone& cone : model.cones) {
    ConeBlock block{cone.kind, {}, cone.exponents};
    for (const int32_t var : cone.vars) block.vars.push_back(var_place_[index(var)]);
    const double sum = std::accumulate(block.exponents.begin(), block.exponents.end(), 0.0);
    for (double& exponent : block.exponents) exponent /= sum;
    problem_.cones.push_back(std::move(block));
  }
}

void ConicForm::add_matrices(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  for (const MatrixVariable& matrix : model.matrix_vars) {
    problem_.matrices.push_back({matrix.dimension, {}, {}});
  }
  for (const MatrixCostEntry& e : model.matrix_cost) {
    TriangleEntry entry = e.entry;
    entry.value *= problem.sense_factor();
    problem_.matrices[index(e.matrix_var)].cost.push_back(entry);
  }
  for (const MatrixCoefficient& e : model.matrix_coefficients) {
    const int32_t row = row_place_[index(e.con)];
    if (row < 0 || e.entry.value == 0.0) continue;
    std::vector<MatrixPart>& parts = problem_.matrices[index(e.matrix_var)].parts;
    if (parts.empty() || parts.back().row != row) parts.push_back({row, {}});
    parts.back().entries.push_back(e.entry);
  }
}

Columns ConicForm::take_columns(std::vector<Element>* elements, int32_t num_row) const {
  Columns a;
  a.num_row = num_row;
  const auto for_each = [elements](const auto& act) {
    for (const Element& e : *elements) act(index(e.row), index(e.col), e.value);
  };
  compress(problem_.cost.size(), for_each, &a);
  std::vector<Element>().swap(*elements);
  return a;
}

void ConicForm::restore(const MinimizeProblem& model_problem, const Equilibration& scaling,
                        const InteriorPoint& point, BackendResult* result) const {
  result->outcome = point.outcome;
  result->certificate = point.certificate;
  result->termination = point.termination;
  if (point.certificate != Certificate::kDualRay) {
    restore_variables(scaling, point, result);
    result->barx = pack(point.matrices, [&](size_t m, size_t row, size_t col) {
      return scaling.matrix[m][row] * scaling.matrix[m][col];
    });
  }
  if (point.certificate != Certificate::kPrimalRay) {
    result->bars = pack(point.matrix_duals, [&](size_t m, size_t row, size_t col) {
      return 1.0 / (scaling.matrix[m][row] * scaling.matrix[m][col] * scaling.cost);
    });
    restore_multipliers(model_problem.model, scaling, point, result);
    restore_reduced_costs(model_problem, scaling, point, result);
  }
}

void ConicForm::restore_variables(const Equilibration& scaling, const InteriorPoint& point,
                                  BackendResult* result) const {
  const bool is_ray = point.certificate != Certificate::kNone;
  result->x.assign(var_place_.size(), 0.0);
  for (size_t j = 0; j < var_place_.size(); ++j) {
    if (var_place_[j] >= 0) {
      const size_t place = index(var_place_[j]);
      result->x[j] = point.x[place] * scaling.var[place];
    } else if (!is_ray) {
      result->x[j] = fixed_value_[j];
    }
  }
}

void ConicForm::restore_multipliers(const Model& model, const Equilibration& scaling,
                                    const InteriorPoint& point, BackendResult* result) const {
  result->y.assign(row_place_.size(), 0.0);
  for (size_t i = 0; i < row_place_.size(); ++i) {
    if (row_place_[i] < 0) continue;
    const size_t row = index(row_place_[i]);
    double y = point.y[row] * scaling.row[row] / scaling.cost;
    // A side that is infinite holds nothing.
    if (y > 0.0 && !std::isfinite(model.con_lower[i])) y = 0.0;
    if (y < 0.0 && !std::isfinite(model.con_upper[i])) y = 0.0;
    result->y[i] = y;
  }
}

// The duals of bounds and cones. Those of a fixed variable are what stationarity leaves to it.
void ConicForm::restore_reduced_costs(const MinimizeProblem& model_problem,
                                      const Equilibration& scaling, const InteriorPoint& point,
                                      BackendResult* result) const {
  const Model& model = model_problem.model;
  std::vector<double> bound_dual(problem_.cost.size(), 0.0);
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    bound_dual[index(problem_.bounds[k].var)] += problem_.bounds[k].sign * point.z[k];
  }
  std::vector<double> left = gradient(model_problem, *result);
  result->d.assign(model.cost.size(), 0.0);
  result->snx.assign(model.cost.size(), 0.0);
  const std::vector<int32_t> cone = cone_of_variables(model);
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (var_place_[j] >= 0) {
      const size_t place = index(var_place_[j]);
      const double factor = 1.0 / (scaling.var[place] * scaling.cost);
      result->d[j] = factor * bound_dual[place];
      if (cone[j] >= 0) result->snx[j] = factor * point.cone_dual[place];
    }
    if (model.var_lower[j] != model.var_upper[j]) continue;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      left[j] -= a.value[k] * result->y[index(a.row[k])];
    }
    result->d[j] = left[j] - result->snx[j];
  }
}

}  // namespace vorlan::conic
