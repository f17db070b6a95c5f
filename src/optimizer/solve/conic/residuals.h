// The residuals of an iterate in the equations of the homogeneous embedding.
#pragma once

#include <vector>

#include "solve/conic/iterate.h"

namespace vorlan::conic {

// The left-hand sides of the embedding's equations, but those of the matrix variables: their
// residual is matrix_residual (C - I).
struct Residuals {
  std::vector<double> dual, primal, bound;
  double gap = 0.0;
  // Terms of these that others need: P x, x'Px, q'x + <C, X> and b'y + h'z.
  std::vector<double> px;
  double quadratic = 0.0;
  double cost = 0.0;
  double value = 0.0;
};

Residuals find_residuals(const ConicProblem& problem, const Iterate& at);

}  // namespace vorlan::conic
