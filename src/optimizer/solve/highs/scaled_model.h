// A model in units of its own: variables, constraints and objective multiplied by powers of two, so
// that the absolute tolerances of branch and bound, and of the simplex method, mean the same for
// money in cents and in millions.
//
// Branch and bound takes a coefficient up to 1e-9 for 0, a violation up to 1e-6 for none, and an
// objective that is better by less than 1e-6 for no better. In other units these would be wrong
// answers. The factors of columns are those of
//
//   A. R. Curtis, J. K. Reid, On the automatic scaling of matrices for Gaussian elimination,
//   Journal of the Institute of Mathematics and its Applications 10, 1972,
//
// the least squares of the logarithms of all terms, where sides and bounds are terms, too: they
// tell how large the variables are. Integers keep their unit, and members of a cone have factors
// with which it stays a cone. Rows of integers alone come into whole numbers (whole_rows.h), which
// may be no power of two. A model that is well scaled stays as it is.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan {

class ScaledModel {
 public:
  explicit ScaledModel(const MinimizeProblem& problem);

  // True when all factors are 1.
  bool is_same() const { return same_; }
  const Model& model() const { return model_; }
  // The scaled objective is the objective times this.
  double cost_factor() const { return cost_factor_; }
  std::vector<double> to_original(std::span<const double> x) const;
  std::vector<double> matrices_to_original(std::span<const double> barx) const;
  // A start needs no matrix variables.
  std::vector<double> to_scaled(std::span<const double> x) const;
  // A ray of the model from one of the scaled model, or a point within its bounds, with the duals and
  // the ranging of a linear model.
  void restore(BackendResult* result) const;
  // The parameters for the scaled model: those that are in terms of the objective change. The absolute
  // gap is one of objectives of the size 1; where the data are smaller, it is in parts of theirs.
  Parameters scale(const Parameters& parameters) const;

 private:
  void scale_columns();
  struct RowElements;
  std::vector<bool> make_rows_whole();
  bool make_row_whole(size_t row, const std::vector<size_t>& places);
  void scale_rows();
  void scale_costs();
  void meet_bounds(std::vector<double>* x) const;
  void restore_duals(BackendResult* result) const;
  void restore_ranging(std::vector<double>* figures) const;

  Model model_;
  std::vector<double> column_, row_, matrix_;
  double cost_factor_ = 1.0;
  double objective_size_ = 1.0;  // 1 or less, in the units of the original
  bool same_ = true;
};

// Solves a problem by way of its scaled model, with a backend's function.
Status solve_scaled(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                    const Parameters& parameters, double seconds, BackendMonitor* monitor,
                    BackendResult* result);

}  // namespace vorlan
