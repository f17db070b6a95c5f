// Whether a small linear system has a solution, decided in exact rational arithmetic by code that
// shares nothing with the optimizer.
#pragma once

#include "task/model.h"

namespace vorlan::test {

// Whether a linear model of continuous variables has a feasible point.
bool has_feasible_point(const Model& model);

// Whether there is a direction along which the minimized cost falls while no finite side is left.
bool has_falling_direction(const Model& model);

}  // namespace vorlan::test
