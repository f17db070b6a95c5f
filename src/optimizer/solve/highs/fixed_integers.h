// The linear model that is left of a mixed-integer one when its integers are fixed. Their terms are
// in its sides, so that 1e9 - 1e9 z at z = 1 is 0 and no large number beside which a violation of 10
// would be a small one.
#pragma once

#include <vector>

#include "task/model.h"

namespace vorlan {

// True when a semi-continuous variable is nearer to 0 than to its bounds.
bool is_off(const Model& model, size_t j, double value);

// Fixes integers, and semi-continuous variables that are off, as they are in the point. The others
// keep their bounds.
Model fix_integers(const Model& model, const std::vector<double>& point);

// The violation of a linear model, measured in the model with these integers fixed.
double violation_beside_integers(const Model& model, const std::vector<double>& point);

}  // namespace vorlan
