// Decides which backend solves a model, and how.
#pragma once

#include "solve/solve_plan.h"

namespace vorlan {

// Every model has a plan.
SolvePlan choose_backend(const Model& model, const Parameters& parameters);

}  // namespace vorlan
