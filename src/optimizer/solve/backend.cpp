// The table of backends.
#include "solve/backend.h"

#include <utility>

#include "solve/conic/conic_backend.h"
#include "solve/highs/highs_backend.h"
#include "solve/outer/outer_backend.h"

namespace vorlan {

MinimizeProblem::MinimizeProblem(const Model& task_model, const Solution* start_solution)
    : model(task_model), cost(task_model.cost), start(start_solution) {
  if (!model.maximize) return;
  for (double& c : cost) c = -c;
}

void keep_incumbent(Incumbent best, BackendResult* result) {
  const bool has_point = !result->x.empty() || !result->barx.empty();
  if (result->outcome != Outcome::kStopped || has_point) return;
  result->x = std::move(best.x);
  result->barx = std::move(best.barx);
}

bool wants_conic_method(const Model& model, const Parameters& parameters) {
  if (model.is_mixed_integer()) return false;
  return !model.is_linear() || parameters.get(IntParam::kOptimizer) == kConicMethod;
}

const Backend* choose_backend(const Model& model, const Parameters& parameters) {
  if (wants_conic_method(model, parameters)) return &kConicBackend;
  if (kHighsBackend.accepts(model)) return &kHighsBackend;
  return kOuterApproximationBackend.accepts(model) ? &kOuterApproximationBackend : nullptr;
}

}  // namespace vorlan
