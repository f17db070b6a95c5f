// A mixed-integer linear model whose points all satisfy the model: in place of each cone there is a
// polyhedron inside of it, spanned by members around those of a given point. Its points have integers
// that are worth a trial, where rounding finds none.
//
//   S. Cay, I. Polik, T. Terlaky, The first heuristic specifically for mixed-integer second-order
//   cone optimization, Lehigh University ISE 18T-002, 2018.
#pragma once

#include <vector>

#include "task/model.h"

namespace vorlan::outer {

// Whether the model is linear but for quadratic cones and its objective.
bool has_inner_approximation(const Model& model);

// The first columns are the variables of the model; the linear part of the objective stays.
Model approximate_within(const Model& model, const std::vector<double>& x);

}  // namespace vorlan::outer
