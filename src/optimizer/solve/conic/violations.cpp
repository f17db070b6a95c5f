// At the optimum the multipliers of all sides, times their sizes, sum to 1, and their combination
// of constraints is what the least t is made of: the margin of the ray.
#include "solve/conic/violations.h"

#include <cmath>
#include <utility>
#include <vector>

#include "solve/check/plausible_sizes.h"
#include "solve/check/sparse_columns.h"
#include "task/numeric.h"

namespace vorlan::conic {
namespace {

bool has_two_sides(const Model& model, size_t i) {
  return std::isfinite(model.con_lower[i]) && std::isfinite(model.con_upper[i]);
}

class ViolationModel {
 public:
  explicit ViolationModel(const MinimizeProblem& problem)
      : model_(problem.model), sizes_(problem), violations_(problem.model) {
    violations_.maximize = false;
    violations_.constant = 0.0;
    violations_.cost.assign(model_.cost.size(), 0.0);
    violations_.quadratic_cost.clear();
    violations_.matrix_cost.clear();
    add_violation();
    copy_elements();
    for (size_t i = 0; i < model_.con_lower.size(); ++i) relax(i);
    violations_.matrix = make_columns(std::move(elements_), violations_.cost.size());
  }

  Model take() { return std::move(violations_); }

 private:
  void add_violation() {
    violations_.cost.push_back(1.0);
    violations_.var_lower.push_back(0.0);
    violations_.var_upper.push_back(kInfinity);
    violations_.var_kind.push_back(VarKind::kContinuous);
    violations_.var_names = {};
    violations_.con_names = {};
  }

  void copy_elements() {
    const SparseMatrix& a = model_.matrix;
    rows_.resize(model_.con_lower.size());
    for (size_t j = 0; j < model_.cost.size(); ++j) {
      for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
        elements_.push_back({a.row[k], static_cast<int32_t>(j), a.value[k]});
        rows_[index(a.row[k])].push_back(elements_.back());
      }
    }
  }

  void relax(size_t i) {
    const auto row = static_cast<int32_t>(i);
    if (has_two_sides(model_, i)) {
      violations_.con_upper[i] = kInfinity;
      add_upper_side(row);
    }
    if (std::isfinite(violations_.con_lower[i])) add_violation_to(row, size_of(i));
    if (std::isfinite(violations_.con_upper[i])) add_violation_to(row, -size_of(i));
  }

  // A constraint of two sides is linear, but for matrix variables.
  void add_upper_side(int32_t row) {
    const int32_t second = violations_.num_con();
    for (const MatrixElement& e : rows_[index(row)]) elements_.push_back({second, e.col, e.value});
    for (const MatrixCoefficient& e : model_.matrix_coefficients) {
      if (e.con == row) violations_.matrix_coefficients.push_back({second, e.matrix_var, e.entry});
    }
    violations_.con_lower.push_back(-kInfinity);
    violations_.con_upper.push_back(model_.con_upper[index(row)]);
    add_violation_to(second, -size_of(index(row)));
  }

  void add_violation_to(int32_t row, double value) {
    elements_.push_back({row, static_cast<int32_t>(model_.cost.size()), value});
  }

  double size_of(size_t i) const { return sizes_.row[i] > 0.0 ? sizes_.row[i] : 1.0; }

  const Model& model_;
  PlausibleSizes sizes_;
  Model violations_;
  std::vector<MatrixElement> elements_;
  std::vector<std::vector<MatrixElement>> rows_;
};

}  // namespace

Model model_of_violations(const MinimizeProblem& problem) { return ViolationModel(problem).take(); }

BackendResult ray_of_violations(const Model& model, const BackendResult& found) {
  BackendResult ray;
  ray.outcome = Outcome::kInfeasible;
  ray.certificate = Certificate::kDualRay;
  const auto front = [](const std::vector<double>& values, size_t count) {
    return std::vector<double>(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count));
  };
  ray.y = front(found.y, model.con_lower.size());
  size_t second = ray.y.size();
  for (size_t i = 0; i < ray.y.size(); ++i) {
    if (has_two_sides(model, i)) ray.y[i] += found.y[second++];
  }
  if (!found.snx.empty()) ray.snx = front(found.snx, model.cost.size());
  if (!model.quadratic_coefficients.empty()) ray.x = front(found.x, model.cost.size());
  return ray;
}

}  // namespace vorlan::conic
