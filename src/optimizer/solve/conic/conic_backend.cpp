// From the model to the method's form, the run, and back.
#include "solve/conic/conic_backend.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "solve/checker.h"
#include "solve/conic/conic_form.h"
#include "solve/conic/dependent_rows.h"
#include "solve/conic/dual_ray.h"
#include "solve/conic/interior_point.h"
#include "solve/conic/recession.h"
#include "task/text.h"

namespace vorlan {
namespace {

bool accepts(const Model& model) { return !model.is_mixed_integer(); }

// Spreads values of the rows kept over all rows.
std::vector<double> spread(const std::vector<double>& values, const std::vector<int32_t>& kept,
                           size_t num_row, double elsewhere) {
  std::vector<double> all(num_row, elsewhere);
  for (size_t k = 0; k < kept.size(); ++k) all[static_cast<size_t>(kept[k])] = values[k];
  return all;
}

Status solve_once(const MinimizeProblem& problem, const Parameters& parameters,
                  BackendMonitor* monitor, BackendResult* result) {
  conic::ConicForm form;
  Status status = conic::ConicForm::make(problem, &form);
  if (!status.ok()) return status;
  const size_t num_row = form.problem().rhs.size();
  const std::vector<int32_t> kept = conic::remove_dependent_rows(&form.problem());
  conic::Equilibration scaling = conic::equilibrate(&form.problem());
  conic::Tolerances tolerances;
  tolerances.feasibility = parameters.get(DoubleParam::kConicFeasibilityTolerance);
  tolerances.gap = parameters.get(DoubleParam::kConicGapTolerance);
  tolerances.iteration_limit =
      std::min(tolerances.iteration_limit, parameters.get(IntParam::kInteriorIterationLimit));
  if (kept.size() < num_row) {
    monitor->log(format_text("Presolve removed %zu equations that follow from others\n",
                             num_row - kept.size()));
  }
  conic::InteriorPointMethod method(form.problem(), scaling, tolerances, monitor);
  conic::InteriorPoint point;
  status = method.run(&point);
  if (!status.ok()) return status;
  point.y = spread(point.y, kept, num_row, 0.0);
  scaling.row = spread(scaling.row, kept, num_row, 1.0);
  form.restore(problem, scaling, point, result);
  result->progress.interior_iterations += point.iterations;
  result->progress.objective = point.measures.primal_objective;
  result->progress.bound = point.measures.dual_objective;
  return {};
}

// A primal ray found by a solve of its own, clear of the tolerance by which bounds were left.
// False: there is none.
bool find_primal_ray(const MinimizeProblem& problem, const Parameters& parameters,
                     BackendMonitor* monitor, BackendResult* result) {
  const Model directions = conic::model_of_directions(problem);
  monitor->log("Looking for a direction in which the objective falls for ever\n");
  BackendResult found;
  const Status status = solve_once(MinimizeProblem(directions), parameters, monitor, &found);
  result->progress.interior_iterations += found.progress.interior_iterations;
  if (!status.ok() || found.outcome != Outcome::kOptimal) return false;
  for (size_t j = 0; j < found.x.size(); ++j) {
    found.x[j] = std::clamp(found.x[j], directions.var_lower[j], directions.var_upper[j]);
  }
  if (!is_primal_ray(problem, found.x, found.barx)) return false;
  result->x = std::move(found.x);
  result->barx = std::move(found.barx);
  return true;
}

// A run that ended without an optimum, or with a ray that proves nothing, may be one of a model
// whose objective has no limit.
bool wants_primal_ray(const MinimizeProblem& problem, const BackendResult& result) {
  if (result.certificate == Certificate::kPrimalRay) {
    return !is_primal_ray(problem, result.x, result.barx);
  }
  return result.outcome == Outcome::kIllPosed || result.termination == Code::kTrmStall;
}

Status run(const MinimizeProblem& problem, const Parameters& parameters, BackendMonitor* monitor,
           BackendResult* result) {
  Status status = solve_once(problem, parameters, monitor, result);
  if (!status.ok()) return status;
  if (result->certificate == Certificate::kDualRay) {
    result->x = conic::point_of_dual_ray(problem, *result);
  }
  if (wants_primal_ray(problem, *result) && find_primal_ray(problem, parameters, monitor, result)) {
    result->outcome = Outcome::kUnbounded;
    result->certificate = Certificate::kPrimalRay;
    result->termination = Code::kOk;
  }
  return {};
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double /*seconds*/,
             BackendMonitor* monitor, BackendResult* result) {
  try {
    return run(problem, parameters, monitor, result);
  } catch (const std::bad_alloc&) {
    return {Code::kErrMemory, "out of memory in the conic optimizer"};
  }
}

}  // namespace

const Backend kConicBackend = {"conic interior-point method", accepts, solve};

}  // namespace vorlan
