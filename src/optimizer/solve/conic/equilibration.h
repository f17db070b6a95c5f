// Scaling of rows and columns to elements of about 1 (D. Ruiz, A scaling algorithm to equilibrate
// both rows and columns norms in matrices, RAL-TR-2001-034).
//
// All variables of a cone, and all elements of a matrix variable, get one factor, because the cone
// must stay what it is. Factors are powers of two, so that nothing is rounded.
#pragma once

#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

// x = var * x^, X_j = matrix_j * X^_j, y = row * y^ / cost, z of a bound or cone = z^ / (var *
// cost), Z_j = Z^_j / (matrix_j * cost), for the scaled problem's solution with a hat.
struct Equilibration {
  std::vector<double> var, row, matrix;
  double cost = 1.0;
};

Equilibration identity_scaling(const ConicProblem& problem, size_t num_row);
Equilibration equilibrate(ConicProblem* problem);

}  // namespace vorlan::conic
