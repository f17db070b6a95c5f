// Whether several ways of solving a model race, and which.
#pragma once

#include "solve/run/runner.h"
#include "solve/solve_plan.h"

namespace vorlan {

// The race for a model that is solved by the plan, from a start or not. Without racers where the
// plan's own way goes alone: for small models, by the parameters, and where the machine has neither
// processors nor memory for more.
Race choose_race(const MinimizeProblem& problem, const SolvePlan& plan,
                 const Parameters& parameters);

// The plan by which a racer solves: the conic method's is the simplex method's but for the backend.
SolvePlan plan_of_racer(const SolvePlan& plan, const Parameters& racer);

}  // namespace vorlan
