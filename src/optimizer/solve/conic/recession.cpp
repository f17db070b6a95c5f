// The model of directions; see recession.h.
#include "solve/outer/recession.h"

#include <algorithm>
#include <cmath>

#include "solve/checker.h"
#include "solve/conic/conic_backend.h"
#include "solve/conic/convexity.h"
#include "solve/outer/sparse_columns.h"

namespace vorlan::outer {
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

  const Model& get() const { return directions_; }

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
      for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
        elements_.push_back({a.row[k], static_cast<int32_t>(j), a.value[k]});
      }
    }
  }

  // Q x = 0, as F x = 0.
  void forbid(const std::vector<TriangleEntry>& entries, double factor) {
    for (const auto& terms : conic::factor_convex(entries, factor, true).rows) {
      for (const auto& [var, value] : terms) {
        elements_.push_back({directions_.num_con(), var, value});
      }
      add_row(0.0, 0.0);
    }
  }

  void forbid_curvature(double sense_factor) {
    forbid(model_.quadratic_cost, sense_factor);
    const auto& all = model_.quadratic_coefficients;
    for (size_t first = 0; first < all.size();) {
      const auto con = static_cast<size_t>(all[first].con);
      std::vector<TriangleEntry> entries;
      for (; first < all.size() && static_cast<size_t>(all[first].con) == con; ++first) {
        entries.push_back(all[first].entry);
      }
      forbid(entries, std::isfinite(model_.con_upper[con]) ? 1.0 : -1.0);
    }
  }

  void bound_traces() {
    for (int32_t m = 0; m < model_.num_matrix_var(); ++m) {
      for (int32_t k = 0; k < model_.matrix_vars[static_cast<size_t>(m)].dimension; ++k) {
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

PrimalRay find_primal_ray(const Model& model, const Parameters& parameters, double seconds,
                          BackendMonitor* monitor) {
  const MinimizeProblem problem(model);
  const DirectionModel directions(problem);
  BackendResult found;
  const Status status =
      kConicBackend.solve(MinimizeProblem(directions.get()), parameters, seconds, monitor, &found);
  PrimalRay ray;
  if (!status.ok() || found.outcome != Outcome::kOptimal) return ray;
  // What a bound keeps at 0 is 0 but for the method's tolerance.
  for (size_t j = 0; j < found.x.size(); ++j) {
    found.x[j] =
        std::clamp(found.x[j], directions.get().var_lower[j], directions.get().var_upper[j]);
  }
  ray.found = is_primal_ray(problem, found.x, found.barx);
  ray.x = std::move(found.x);
  ray.barx = std::move(found.barx);
  return ray;
}

}  // namespace vorlan::outer
