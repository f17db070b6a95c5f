// The simplex method after another method, or after presolve, on the same model.
#pragma once

#include "solve/backend.h"

class Highs;

namespace vorlan {

// Solves a linear model anew by the simplex method and without presolve; strategy is one of
// highs_options.h. The time limit and the stop go on as before. False when HiGHS fails.
bool run_simplex(int strategy, const Parameters& parameters, double seconds, Highs* highs,
                 BackendResult* result);

// The simplex methods take over from a method that came to no end of its own.
void help_stuck(const Parameters& parameters, double seconds, Highs* highs, BackendResult* result);

}  // namespace vorlan
