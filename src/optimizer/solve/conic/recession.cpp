// Sides and bounds become 0 or vanish, and each quadratic term becomes the equations F x = 0 of its
// root F.
#include "solve/conic/recession.h"

#include <cmath>
#include <utility>

#include "solve/check/sparse_columns.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "solve/conic/convexity.h"

namespace vorlan::conic {
namespace {

class DirectionModel {
 public:
  explicit DirectionModel(const MinimizeProblem& problem) : model_(problem.model) {
    directions_.cost = problem.cost;
    directions_.var_kind.assign(problem.cost.size(), VarKind::kContinuous);
    directions_.cones = model_.cones;
    directions_.matrix_vars = model_.matrix_vars;
    directions_.matrix_cost = model_.matrix_cost;
    for (MatrixCostEntry& e : directions_.matrix_cost) e.entry.value *= problem.sense_factor();
    directions_.matrix_coefficients = model_.matrix_coefficients;
    bound_variables();
    bound_rows();
    forbid_curvature(problem.sense_factor());
    bound_traces();
    directions_.matrix = make_columns(std::move(elements_), problem.cost.size());
  }

  Model take() { return std::move(directions_); }

 private:
  // No side that is finite may be left, and no direction is longer than 1.
  void bound_variables() {
    for (size_t j = 0; j < model_.cost.size(); ++j) {
      directions_.var_lower.push_back(std::isfinite(model_.var_lower[j]) ? 0.0 : -1.0);
      directions_.var_upper.push_back(std::isfinite(model_.var_upper[j]) ? 0.0 : 1.0);
    }
  }

  void add_row(double lower, double upper) {
    directions_.con_lower.push_back(lower);
    directions_.con_upper.push_back(upper);
  }

  void bound_rows() {
    for (size_t i = 0; i < model_.con_lower.size(); ++i) {
      add_row(std::isfinite(model_.con_lower[i]) ? 0.0 : -kInfinity,
              std::isfinite(model_.con_upper[i]) ? 0.0 : kInfinity);
    }
    const SparseMatrix& a = model_.matrix;
    for (size_t j = 0; j < model_.cost.size(); ++j) {
      for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
        elements_.push_back({a.row[k], static_cast<int32_t>(j), a.value[k]});
      }
    }
  }

  // Forbids all x but those with Q x = 0, as F x = 0.
  void forbid(const std::vector<TriangleEntry>& entries, double factor) {
    for (const auto& terms : factor_convex(entries, factor).rows) {
      for (const auto& [var, value] : terms) {
        elements_.push_back({directions_.num_con(), var, value});
      }
      add_row(0.0, 0.0);
    }
  }

  void forbid_curvature(double sense_factor) {
    forbid(model_.quadratic_cost, sense_factor);
    for (const QuadraticForm& form : quadratic_forms(model_)) {
      const bool has_lower = std::isfinite(model_.con_lower[index(form.con)]);
      const bool has_upper = std::isfinite(model_.con_upper[index(form.con)]);
      if (has_lower || has_upper) forbid(form.entries, has_upper ? 1.0 : -1.0);
    }
  }

  void bound_traces() {
    for (int32_t m = 0; m < model_.num_matrix_var(); ++m) {
      for (int32_t k = 0; k < model_.matrix_vars[index(m)].dimension; ++k) {
        directions_.matrix_coefficients.push_back({directions_.num_con(), m, {k, k, 1.0}});
      }
      add_row(-kInfinity, 1.0);
    }
  }

  const Model& model_;
  Model directions_;
  std::vector<MatrixElement> elements_;
};

}  // namespace

Model model_of_directions(const MinimizeProblem& problem) { return DirectionModel(problem).take(); }

}  // namespace vorlan::conic
