// Models that outer approximation makes of the one that it solves, by leaving something out.
#pragma once

#include "task/model.h"

namespace vorlan::outer {

// The model without an objective: any feasible point will do.
Model without_objective(const Model& model);

// The model without integers. A semi-continuous variable is anything between 0 and its largest
// value.
Model without_integers(Model model);

}  // namespace vorlan::outer
