// The point that a dual ray of a model with quadratic constraints needs to be a proof.
//
// The embedding states such a constraint as a cone, of whose multipliers its ray speaks. In the
// model's own terms they are the gradients of the quadratic terms at some point.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan::conic {

// The x of a dual ray that has y, d and snx (complete_dual_ray in rays.h says what it is for):
// fixed variables at their values, the others where H x - A'y - snx = d holds best, with
// H = -sum_i y_i Q_i. Empty if no constraint with quadratic terms has a multiplier.
std::vector<double> point_of_dual_ray(const MinimizeProblem& problem, const BackendResult& ray);

}  // namespace vorlan::conic
