// Bounds of continuous variables beside large switches, by linear programs under the incumbent's
// cutoff. Looking at one row after the other finds no bound where two rows together imply it.
#pragma once

#include <functional>
#include <vector>

#include "task/model.h"

namespace vorlan {

// The multipliers of the constraints at the optimum of a linear model; empty where none are known.
using LinearMultipliers = std::function<std::vector<double>(const Model&)>;

// Narrows the bounds of continuous variables in rows whose switches are still large. Points whose
// minimized cost is larger than the cutoff may be lost. False when nothing is left.
bool narrow_under_cutoff(const std::vector<double>& cost, double cutoff,
                         const LinearMultipliers& solve, Model* model);

}  // namespace vorlan
