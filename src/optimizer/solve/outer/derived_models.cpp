// What is left out stays in place as zeros, so that variables keep their numbers.
#include "solve/outer/derived_models.h"

#include <algorithm>

#include "task/numeric.h"

namespace vorlan::outer {

Model without_objective(const Model& model) {
  Model feasibility = model;
  feasibility.cost.assign(model.cost.size(), 0.0);
  feasibility.constant = 0.0;
  feasibility.maximize = false;
  feasibility.quadratic_cost.clear();
  feasibility.matrix_cost.clear();
  return feasibility;
}

Model without_integers(Model model) {
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (is_semi(model.var_kind[j])) {
      model.var_lower[j] = std::min(0.0, model.var_lower[j]);
      model.var_upper[j] = std::max(0.0, model.var_upper[j]);
    }
    model.var_kind[j] = VarKind::kContinuous;
  }
  return model;
}

}  // namespace vorlan::outer
