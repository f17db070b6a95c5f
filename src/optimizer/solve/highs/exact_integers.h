// Answers of branch and bound whose integers are integers.
//
// Within its tolerance a binary variable of 1e-7 is 0, and beside a coefficient of 1e8 it lets
// another one be 10: the answer is an optimum of no model. Hence the integers of each answer are
// rounded, the continuous rest is solved with them fixed, and that point's objective counts. Where
// it and the bound of branch and bound do not meet, large coefficients are made smaller under the
// incumbent as a cutoff (switch_tightening.h, cutoff_bounds.h), and the integer variable that leaks
// most is branched on: fixed at a whole value it has nothing to leak. The nodes of that tree are
// mixed-integer models again; most often there is one.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Solves a mixed-integer linear model with `solve`, which may take near integers for integers and
// is also given linear models.
Status solve_exactly(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                     const Parameters& parameters, double seconds, BackendMonitor* monitor,
                     BackendResult* result);

}  // namespace vorlan
