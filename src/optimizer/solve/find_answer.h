// The work of a solve: everything in it that can last.
#pragma once

#include "solve/solve_plan.h"

namespace vorlan {

// Finds an answer, be it what the task holds, and holds it against the model. Points on the way
// that would stand if the process ended at once go to the monitor.
Status find_answer(const MinimizeProblem& problem, const SolvePlan& plan,
                   const Parameters& parameters, double seconds, BackendMonitor* monitor,
                   Answer* answer);

}  // namespace vorlan
