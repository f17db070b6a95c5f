// A linear model again, in units of its own, where the answer is right only beside its larger parts.
//
// The simplex method takes a violation up to 1e-7 for none. In a model all of whose data are far
// below that any point is feasible and 0 optimal, and a constraint or cost that is far below the
// others counts for nothing. Models of ordinary sizes are solved as they are: scaling them would
// only change the method's path.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// True when the answer of a linear model asks for another solve: it misses the tolerances by the
// sizes of the model's parts (least_sizes.h), is a ray from a point that small sides may exclude, or
// the method stalled.
bool needs_own_units(const MinimizeProblem& problem, const Parameters& parameters,
                     const BackendResult& result);

// Solves in units of the model's own, with a backend's function, from the basis of the answer so
// far; true when the answer that this finds is better, and is the result from now on.
bool solve_in_own_units(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                        const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        BackendResult* result);

}  // namespace vorlan
