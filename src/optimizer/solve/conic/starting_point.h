// The point from which the method starts on a linear model: that of S. Mehrotra (SIAM J. Optim. 2,
// 1992). It lies near the least x that the equations allow and the least duals that the objective
// allows, with s and z moved into the positive numbers, and saves the iterations that take the
// embedding from the point 1 to the size of the data.
//
// Models with a quadratic objective keep the point 1: curvature that is large beside the cost hides
// for longer, from the other one, that an objective has no limit.
#pragma once

#include "solve/conic/iterate.h"
#include "solve/conic/newton_system.h"
#include "solve/conic/scalings.h"

namespace vorlan::conic {

// Moves the iterate that the scalings start from, which must be those of that iterate, to the
// better starting point. Leaves it as it is where a model is not linear.
void improve_start(const ConicProblem& problem, const Scalings& scalings, NewtonSystem* system,
                   Iterate* at);

}  // namespace vorlan::conic
