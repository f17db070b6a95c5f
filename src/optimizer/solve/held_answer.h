// An earlier answer that holds for the model at hand.
#pragma once

#include "solve/solve_plan.h"

namespace vorlan {

// True when what the task holds answers a continuous model: a certificate that proves the same of
// it, or an optimum that passes the checker as a new one would have to. Then nothing is left to do,
// and the answer is given. An optimum with a basis is not taken for the simplex method: from its
// basis that is done at once, and to the tolerances of now.
bool take_held_answer(const MinimizeProblem& problem, const SolvePlan& plan, BackendResult* result);

// The point that the task holds, feasible for the model or not; false if it holds none.
bool find_held_point(const MinimizeProblem& problem, BackendResult* point);

// Gives a solve that was stopped without a point the one that the task held, if that is feasible
// for the model: nothing that was found gets lost by going on.
void keep_held_point(const MinimizeProblem& problem, const ClaimTolerances& tolerances,
                     BackendResult* result);

}  // namespace vorlan
