// Scaling of rows and columns to elements of about 1 (D. Ruiz, A scaling algorithm to equilibrate
// both rows and columns norms in matrices, RAL-TR-2001-034).
//
// All variables of a cone get one factor, because the cone must stay what it is, and a matrix
// variable gets a congruence by a diagonal matrix, which keeps it semidefinite. Scaling by
// logarithms also gives each axis of a rotated or power cone a factor of its own, and the other
// members the mean of these by the exponents. Then one factor for all right-hand sides and bounds,
// and one for the objective, bring these to about 1 too: the method starts at 1, and an optimum at
// 1e8 looks to it like a ray. Factors are powers of two, so that nothing is rounded, but those of
// the members that are no axes of a power cone.
#pragma once

#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

// x = var * x^, X_j = D_j X^_j D_j with the diagonal D_j in matrix, y = row * y^ / cost, z of a
// bound or cone = z^ / (var * cost), Z_j = inv(D_j) Z^_j inv(D_j) / cost, for the scaled problem's
// solution with a hat. The objective is that of the scaled problem / cost.
struct Equilibration {
  std::vector<double> var, row;
  std::vector<std::vector<double>> matrix;
  double cost = 1.0;
  // What the gap is relative to at least, in the model's terms: 1 or the scaled problem's unit.
  double least_objective = 1.0;
};

Equilibration identity_scaling(const ConicProblem& problem, size_t num_row);

// Factors by norms make the largest element of each row and column about 1. Those by logarithms bring
// all of them as near to 1 as they can be in the mean of squares, with right-hand sides, bounds and
// costs: where rows and columns are in units far apart, these find the units. They precede norms.
enum class ScalingRule { kByNorms, kByLogarithms };

// The rule for a problem by how far apart norms leave its elements.
ScalingRule choose_scaling_rule(const ConicProblem& problem);
Equilibration equilibrate(ScalingRule rule, ConicProblem* problem);

}  // namespace vorlan::conic
