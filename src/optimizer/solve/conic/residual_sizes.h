// What residuals are relative to: the largest term that cancels in each row and column, in the
// terms of the problem before scaling, and 1 at least.
#pragma once

#include <vector>

#include "solve/conic/equilibration.h"
#include "solve/conic/matrix_cone.h"

namespace vorlan::conic {

struct ResidualSizes {
  std::vector<double> row, var;
  std::vector<double> matrix_cost;  // the largest element of C, scaled
};

ResidualSizes residual_sizes(const ConicProblem& problem, const Equilibration& scaling,
                             const std::vector<MatrixCone>& matrices, const std::vector<double>& x,
                             const std::vector<double>& y, double tau);

double largest_element(const std::vector<TriangleEntry>& entries);

}  // namespace vorlan::conic
