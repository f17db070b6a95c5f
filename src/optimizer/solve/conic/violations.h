// The search for the point that violates a model's constraints least, as a model of its own. Its
// multipliers prove the model infeasible, if it is clearly so.
#pragma once

#include "solve/backend.h"

namespace vorlan::conic {

// A model with the bounds, cones and matrix variables of the continuous convex problem whose last
// variable, t >= 0, is minimized: every finite side of a constraint may be left by t in parts of
// its plausible size. It has an interior, and a point as soon as bounds and cones have one, where
// the embedding's ray can be at an end of cones that doubles do not reach. Constraints keep their
// places, with their lower side if they have two; the other sides follow behind them.
Model model_of_violations(const MinimizeProblem& problem);

// The dual ray of the problem in the answer to its model of violations, with the point that
// quadratic constraints need. It is as good as the answer; clean_rays.h says whether it is a proof.
BackendResult ray_of_violations(const Model& model, const BackendResult& found);

}  // namespace vorlan::conic
