// Decides in exact rational arithmetic whether a small linear system has a solution. The code
// shares nothing with the optimizer, so that it can judge the optimizer's verdicts.
#pragma once

#include "task/model.h"

namespace vorlan::test {

// True when a linear model of continuous variables has a feasible point.
bool has_feasible_point(const Model& model);

// True when there is a direction along which the minimized cost falls while no finite side is left.
bool has_falling_direction(const Model& model);

}  // namespace vorlan::test
