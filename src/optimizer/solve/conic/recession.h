// The search for a direction in which a model goes on for ever while its objective falls, as a
// model of its own.
#pragma once

#include "solve/backend.h"

namespace vorlan::conic {

// A model without quadratic terms whose optimum is a primal ray of the continuous convex problem,
// if it has one: no finite side or bound may be left, no quadratic term may change, and no
// direction is longer than 1. The embedding's own ray can be too far off to prove anything, where
// points go to infinity on a curve: it keeps no more than the square of the curvature as small as
// its residuals.
Model model_of_directions(const MinimizeProblem& problem);

}  // namespace vorlan::conic
