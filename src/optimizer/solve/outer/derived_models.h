// Models that outer approximation makes of the one that it solves, by leaving something out.
#pragma once

#include <optional>
#include <vector>

#include "task/model.h"

namespace vorlan::outer {

// The model without an objective: any feasible point will do.
Model without_objective(const Model& model);

// The model without integers. A semi-continuous variable is anything between 0 and its largest
// value.
Model without_integers(Model model);

// The model without integers that asks for a point as deep inside its quadratic cones as it can be. A
// last variable, from 0 to less than 1, says how deep; `x` is a point whose heads give each cone its unit.
// Empty where the model has no such cone.
std::optional<Model> deepest_in_cones(const Model& model, const std::vector<double>& x);

}  // namespace vorlan::outer
