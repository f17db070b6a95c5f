// The minimization that backends are given is made here, once for all of them.
#include "solve/backend.h"

#include <algorithm>
#include <utility>

#include "task/parameter_index.h"

namespace vorlan {

MinimizeProblem::MinimizeProblem(const Model& task_model, const Solution* start_solution,
                                 Cutoffs given_cutoffs)
    : model(task_model), cost(task_model.cost), start(start_solution), cutoffs(given_cutoffs) {
  if (!model.maximize) return;
  for (double& c : cost) c = -c;
}

// A violation of each constraint by the tolerance makes a bound weaker by the tolerance times the
// sum of the multipliers.
Parameters with_strict_tolerances(Parameters parameters) {
  constexpr double kStrict = 1e-9;
  for (const auto param :
       {DoubleParam::kIntegralityTolerance, DoubleParam::kFeasibilityTolerance}) {
    parameters.set(param, std::min(kStrict, parameters.get(param)));
  }
  return parameters;
}

Parameters careful_parameters(const Parameters& given) {
  Parameters parameters = with_strict_tolerances(given);
  parameters.set(IntParam::kPresolve, 0);
  return parameters;
}

int32_t other_seed(const Parameters& parameters) {
  const int32_t seed = parameters.get(IntParam::kRandomSeed);
  return seed < kIntMax ? seed + 1 : 0;
}

void keep_incumbent(Incumbent best, BackendResult* result) {
  const bool has_point = !result->x.empty() || !result->barx.empty();
  if (result->outcome != Outcome::kStopped || has_point) return;
  result->x = std::move(best.x);
  result->barx = std::move(best.barx);
}

}  // namespace vorlan
