// The table of backends.
#include "solve/backend.h"

#include "solve/highs/highs_backend.h"

namespace vorlan {

MinimizeProblem::MinimizeProblem(const Model& task_model, const Solution* start_solution)
    : model(task_model), cost(task_model.cost), start(start_solution) {
  if (!model.maximize) return;
  for (double& c : cost) c = -c;
}

const Backend* choose_backend(const Model& model) {
  static constexpr const Backend* kBackends[] = {&kHighsBackend};
  for (const Backend* backend : kBackends) {
    if (backend->accepts(model)) return backend;
  }
  return nullptr;
}

}  // namespace vorlan
