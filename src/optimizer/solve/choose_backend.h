// Decides which backend solves a model, and how.
#pragma once

#include "solve/solve_plan.h"

namespace vorlan {

// Every model has a plan.
SolvePlan choose_backend(const Model& model, const Parameters& parameters);

// True where files say where a solve begins or how it branches. They may be anything, a pipe on which
// nobody writes among it, and some can be read once only.
bool reads_files(const Parameters& parameters);

}  // namespace vorlan
