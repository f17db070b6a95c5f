// Rays as methods give them, made exact.
//
// An interior point's ray has specks where a ray on the boundary has zeros, and both it and the
// simplex method's have rounding where sums should vanish. Cleaning takes these away: it sets to 0
// what may not be there and what contributes nothing to the margin, and makes vanish by the
// least squares what must. Nothing depends on how well that goes, since the result is judged from
// scratch, by the rule of rays.h.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Whether the ray is a proof, as it is or cleaned. On success it is the ray that was proven, with
// d and bars; else only these and snx have changed.
bool complete_dual_ray(const Model& model, BackendResult* ray);

// The same of x and barx.
bool complete_primal_ray(const MinimizeProblem& problem, BackendResult* ray);

// The same of rays without a margin (RayQuality::is_ill_posed).
bool complete_ill_posed_dual_ray(const Model& model, BackendResult* ray);
bool complete_ill_posed_primal_ray(const MinimizeProblem& problem, BackendResult* ray);

}  // namespace vorlan
