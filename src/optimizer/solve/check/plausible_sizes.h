// The size that the data of a model give each of its values: how large a point, or its multipliers,
// can be expected to be.
//
// A ray that violates its conditions a little still excludes all points up to some size
// (rays.h). These sizes say which size would be plausible, in the units of the model: when a row, a
// column, the costs or the right-hand sides are scaled, they scale in step. They are estimates
// and prove nothing by themselves. 0 means that the data say nothing.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan {

struct PlausibleSizes {
  explicit PlausibleSizes(const MinimizeProblem& problem);

  std::vector<double> var;         // of x_j
  std::vector<double> row;         // of the terms of a constraint
  std::vector<double> multiplier;  // of the dual y_i
  std::vector<double> gradient;    // of the terms of a column: cost + Q x - A'y
  // The diagonals of the matrix variables, one after the other, and the diagonals of the terms of C
  // - sum_i y_i A_i. Off the diagonal, sizes are the geometric means.
  std::vector<double> matrix_diagonal;
  std::vector<double> matrix_gradient;
};

// The larger absolute value of the two that is finite; 0 where none is.
double finite_size(double lower, double upper);

// The places at which the diagonals of the matrix variables start in an array of all of them.
std::vector<size_t> diagonal_starts(const Model& model);

}  // namespace vorlan
