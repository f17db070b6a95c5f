// The sizes that residuals are relative to at least, where the terms of a row or column are smaller.
//
// They are 1, so that a residual of 1e-9 beside data of 1 is none. A model all of whose data are far
// below 1, such as lengths in metres that are nanometres, has the size of its data in place of 1:
// any point would be feasible otherwise, and 0 optimal.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan {

struct LeastSizes {
  std::vector<double> row;         // of the terms of each constraint
  std::vector<double> var;         // of each variable
  std::vector<double> gradient;    // of the terms of each column
  std::vector<double> multiplier;  // of each constraint
  double objective = 1.0;
  double matrix = 1.0;           // of the diagonals of matrix variables
  double matrix_gradient = 1.0;  // of their duals
};

// Sizes for claims: the largest that the data give any constraint, variable or column, and at most 1.
// Integers, and constraints of integers alone, have the unit 1.
LeastSizes sizes_of_model(const MinimizeProblem& problem);

// Stricter ones, which hold each constraint of a linear model to its own side, or to the size that
// is plausible for it (plausible_sizes.h), and likewise variables, columns and multipliers: one of
// 1e-14 is much where coefficients are 1e9 and costs 1e-5. An answer that is right by
// sizes_of_model, and not by these, is right only beside the larger parts of its model.
LeastSizes sizes_of_parts(const MinimizeProblem& problem);

}  // namespace vorlan
