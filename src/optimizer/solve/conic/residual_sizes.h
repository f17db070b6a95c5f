// What residuals are relative to: the largest term that cancels in each row and column, and at
// least 1 in the terms of the problem as it was or as it is scaled, whichever is less. The first is
// what the tolerances promise, the second keeps the promise worth something for data far below 1.
#pragma once

#include <vector>

#include "solve/conic/equilibration.h"
#include "solve/conic/matrix_cone.h"

namespace vorlan::conic {

// In the terms of the scaled problem, of a solution that is divided by tau.
struct ResidualSizes {
  std::vector<double> row, var;
};

ResidualSizes residual_sizes(const ConicProblem& problem, const Equilibration& scaling,
                             const std::vector<MatrixCone>& matrices, const std::vector<double>& x,
                             const std::vector<double>& y, double tau);

}  // namespace vorlan::conic
