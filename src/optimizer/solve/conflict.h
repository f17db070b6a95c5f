// Parts of an infeasible model that contradict each other, found by leaving out what is not needed
// for that.
#pragma once

#include "solve/backend.h"
#include "solve/solve_plan.h"

namespace vorlan {

// Leaves a conflict in the answer if it says that the model is infeasible, and if a file asks for
// one, or no certificate tells the reason and the search for it is short.
void find_conflict(const MinimizeProblem& problem, const SolvePlan& plan,
                   const Parameters& parameters, double seconds, BackendMonitor* monitor,
                   Answer* answer);

// The part of the model that the conflict is, with the variables that are in it and without an
// objective.
Model model_of_conflict(const Model& model, const Conflict& conflict);

}  // namespace vorlan
