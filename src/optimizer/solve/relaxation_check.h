// Holds optima of branch and cut to the continuous relaxation, which another method solves.
//
// A point of integers can be feasible within the tolerances and better than any point of the model:
// a row that is small beside the others is missed, or a coefficient leaks. The checker measures
// rows and cannot see that. No point of the model is better than the optimum of its continuous
// relaxation, for which the multipliers of the conic method are a proof that shares nothing with
// branch and cut. The check costs a small part of the search or nothing to speak of: it is made
// for models of a few hundred elements, and for larger ones after long searches. Most
// relaxations are weak, so that a check that is passed says little of the integers.
#pragma once

#include "solve/solve_plan.h"

namespace vorlan {

// True for an optimum of a mixed-integer linear model for which the check costs little.
bool may_check_relaxation(const Model& model, const BackendResult& result);

// Checks the optimum that the answer claims. One that is better than the relaxation is looked for
// again without presolve and with strict tolerances; where that one is, too, no optimum is claimed.
Status check_relaxation(const MinimizeProblem& problem, const SolvePlan& plan,
                        const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        BackendResult* result);

}  // namespace vorlan
