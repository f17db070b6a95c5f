// A start that was given becomes a point from which a mixed-integer solve can begin.
#pragma once

#include "solve/backend.h"
#include "solve/solve_plan.h"
#include "task/start_point.h"

namespace vorlan {

// Fixes the integer variables that were given and solves for the rest. False, with a line in the
// log, when that leads to no feasible point; also for an empty start, without a line.
bool complete_start(const MinimizeProblem& problem, const SolvePlan& plan, const StartPoint& start,
                    const Parameters& parameters, double seconds, BackendMonitor* monitor,
                    Solution* solution);

// Makes the given values a point of a linear model, for the simplex method to begin near it: the
// values that were not given are the nearest to 0, all of them within their bounds. False where the
// start is none.
bool place_start(const MinimizeProblem& problem, const StartPoint& start, BackendMonitor* monitor,
                 Solution* solution);

}  // namespace vorlan
