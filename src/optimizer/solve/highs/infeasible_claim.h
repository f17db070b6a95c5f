// A second opinion before a mixed-integer model is called infeasible.
//
// Such a claim has no certificate, and a false one is the worst of answers: presolve shifts and
// substitutes with absolute tolerances, which data of 1e9 and their rounding are far above. So the
// model is solved again without presolve, with strict tolerances and another seed, and with sides
// as loose as the rounding of their rows' terms is: what has no point there has none. A point
// refutes the claim. Large models, for which this could last, are taken at their first word.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Solves the model again if that costs little, and replaces the result where its claim is refuted.
// The result is that of a mixed-integer linear model, and `solve` its method.
Status doubt_infeasible_claim(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                              const Parameters& parameters, double seconds, BackendMonitor* monitor,
                              BackendResult* result);

}  // namespace vorlan
