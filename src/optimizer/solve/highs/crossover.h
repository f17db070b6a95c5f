// From an interior optimum of a linear model to a basic one.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Replaces an optimum that has multipliers (y, d) by one with a basis, within the seconds. Where
// that fails, the result is a stop by stall.
Status cross_over(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  BackendMonitor* monitor, BackendResult* result);

}  // namespace vorlan
