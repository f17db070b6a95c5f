// Most models have data of the size 1. One look at these spares the estimate of plausible sizes.
#include "solve/check/least_sizes.h"

#include <algorithm>
#include <cmath>

#include "solve/check/plausible_sizes.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// A size that the data tell nothing of is 1.
double at_most_one(double size) { return size > 0.0 ? std::min(1.0, size) : 1.0; }

bool has_integers_alone(const Model& model) {
  return std::all_of(model.var_kind.begin(), model.var_kind.end(), is_integer);
}

// Marks the rows that have a term other than one of an integer variable.
std::vector<bool> rows_with_units(const Model& model) {
  std::vector<bool> marks(model.con_lower.size(), false);
  const auto mark = [&marks](int32_t row) { marks[index(row)] = true; };
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (is_integer(model.var_kind[j])) continue;
    for (int64_t k = model.matrix.start[j]; k < model.matrix.start[j + 1]; ++k) {
      mark(model.matrix.row[index(k)]);
    }
  }
  for (const ConQuadraticEntry& q : model.quadratic_coefficients) mark(q.con);
  for (const MatrixCoefficient& a : model.matrix_coefficients) mark(a.con);
  return marks;
}

// True when the data of a linear model give the size 1 to a constraint and a variable, if it has any
// that are not whole, to a column, a multiplier and the objective.
bool is_of_size_one(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  if (!model.is_linear()) return false;
  const bool integers = has_integers_alone(model);
  bool row = integers, var = integers, gradient = false, multiplier = false, objective = false;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const bool whole = is_integer(model.var_kind[j]);
    const double cost = std::fabs(problem.cost[j]);
    double size = finite_size(model.var_lower[j], model.var_upper[j]);
    gradient = gradient || cost >= 1.0;
    for (int64_t k = model.matrix.start[j]; k < model.matrix.start[j + 1]; ++k) {
      const size_t i = index(model.matrix.row[index(k)]);
      const double value = std::fabs(model.matrix.value[index(k)]);
      const double side = finite_size(model.con_lower[i], model.con_upper[i]);
      if (value == 0.0) continue;
      row = row || (!whole && side >= 1.0);
      size = std::max(size, side / value);
      multiplier = multiplier || cost >= value;
    }
    var = var || (!whole && size >= 1.0);
    objective = objective || cost * size >= 1.0;
    if (row && var && gradient && multiplier && objective) return true;
  }
  return false;
}

LeastSizes sizes_of_one(const Model& model) {
  LeastSizes sizes;
  sizes.row.assign(model.con_lower.size(), 1.0);
  sizes.multiplier.assign(model.con_lower.size(), 1.0);
  sizes.var.assign(model.cost.size(), 1.0);
  sizes.gradient.assign(model.cost.size(), 1.0);
  return sizes;
}

// The largest term of the objective, at points of plausible sizes.
double objective_size(const MinimizeProblem& problem, const PlausibleSizes& plausible) {
  const Model& model = problem.model;
  double size = 0.0;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    size = std::max(size, std::fabs(problem.cost[j]) * plausible.var[j]);
  }
  for (const TriangleEntry& q : model.quadratic_cost) {
    const double product = plausible.var[index(q.row)] * plausible.var[index(q.col)];
    size = std::max(size, std::fabs(q.value) * product);
  }
  const std::vector<size_t> starts = diagonal_starts(model);
  for (const MatrixCostEntry& c : model.matrix_cost) {
    const size_t start = starts[index(c.matrix_var)];
    const double row = plausible.matrix_diagonal[start + index(c.entry.row)];
    const double col = plausible.matrix_diagonal[start + index(c.entry.col)];
    size = std::max(size, std::fabs(c.entry.value) * std::sqrt(row) * std::sqrt(col));
  }
  return size;
}

double largest_of(const std::vector<double>& sizes, const std::vector<bool>& counts) {
  double most = 0.0;
  for (size_t k = 0; k < sizes.size(); ++k) {
    if (counts[k]) most = std::max(most, sizes[k]);
  }
  return most;
}

LeastSizes largest_sizes(const MinimizeProblem& problem, const PlausibleSizes& plausible) {
  const Model& model = problem.model;
  LeastSizes sizes = sizes_of_one(model);
  const std::vector<bool> rows = rows_with_units(model);
  std::vector<bool> vars(model.cost.size());
  for (size_t j = 0; j < vars.size(); ++j) vars[j] = !is_integer(model.var_kind[j]);
  const double row = at_most_one(largest_of(plausible.row, rows));
  const double var = at_most_one(largest_of(plausible.var, vars));
  for (size_t i = 0; i < rows.size(); ++i) sizes.row[i] = rows[i] ? row : 1.0;
  for (size_t j = 0; j < vars.size(); ++j) sizes.var[j] = vars[j] ? var : 1.0;
  std::fill(sizes.gradient.begin(), sizes.gradient.end(), at_most_one(largest(plausible.gradient)));
  std::fill(sizes.multiplier.begin(), sizes.multiplier.end(),
            at_most_one(largest(plausible.multiplier)));
  sizes.matrix = at_most_one(largest(plausible.matrix_diagonal));
  sizes.matrix_gradient = at_most_one(largest(plausible.matrix_gradient));
  sizes.objective = at_most_one(objective_size(problem, plausible));
  return sizes;
}

}  // namespace

LeastSizes sizes_of_model(const MinimizeProblem& problem) {
  return is_of_size_one(problem) ? sizes_of_one(problem.model)
                                 : largest_sizes(problem, PlausibleSizes(problem));
}

LeastSizes sizes_of_parts(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  const PlausibleSizes plausible(problem);
  LeastSizes sizes =
      is_of_size_one(problem) ? sizes_of_one(model) : largest_sizes(problem, plausible);
  for (size_t i = 0; i < sizes.row.size(); ++i) {
    const double side = finite_size(model.con_lower[i], model.con_upper[i]);
    const double own = side > 0.0 ? side : plausible.row[i];
    if (own > 0.0) sizes.row[i] = std::min(sizes.row[i], own);
    const double multiplier = plausible.multiplier[i];
    if (multiplier > 0.0) sizes.multiplier[i] = std::min(sizes.multiplier[i], multiplier);
  }
  for (size_t j = 0; j < sizes.var.size(); ++j) {
    if (plausible.var[j] > 0.0) sizes.var[j] = std::min(sizes.var[j], plausible.var[j]);
    if (plausible.gradient[j] == 0.0) continue;
    sizes.gradient[j] = std::min(sizes.gradient[j], plausible.gradient[j]);
  }
  return sizes;
}

}  // namespace vorlan
