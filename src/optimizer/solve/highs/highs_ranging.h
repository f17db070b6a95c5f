// How far costs and sides of a linear model may move before another basis becomes optimal.
#pragma once

#include "solve/backend.h"

class Highs;

namespace vorlan {

// Leaves the ranging of the optimum that HiGHS has in the result; nothing where it has no basis.
void copy_ranging(const MinimizeProblem& problem, Highs* highs, BackendResult* result);

}  // namespace vorlan
