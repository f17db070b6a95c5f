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

// True when the ray is a proof, as it is or cleaned. It is then the ray that was proven, with d and
// bars. When the answer is false, only these and snx have changed.
bool complete_dual_ray(const Model& model, BackendResult* ray);

// Likewise for a primal ray, with x and barx.
bool complete_primal_ray(const MinimizeProblem& problem, BackendResult* ray);

// Likewise for rays without a margin (RayQuality::is_ill_posed).
bool complete_ill_posed_dual_ray(const Model& model, BackendResult* ray);
bool complete_ill_posed_primal_ray(const MinimizeProblem& problem, BackendResult* ray);

}  // namespace vorlan
