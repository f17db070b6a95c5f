// The backend in front of the method. It scales the model, and it settles unbounded models, which
// take a second solve to see whether there is a feasible point.
#include "solve/outer/outer_backend.h"

#include <new>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "solve/conic/conic_backend.h"
#include "solve/conic/dense_algebra.h"
#include "solve/highs/scaled_model.h"
#include "solve/outer/derived_models.h"
#include "solve/outer/fixed_model.h"
#include "solve/outer/outer_approximation.h"
#include "solve/run/listener.h"
#include "solve/second_solve.h"
#include "solve/solve_plan.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

class Solve {
 public:
  Solve(const Parameters& parameters, double seconds, BackendMonitor* monitor)
      : parameters_(parameters), end_(monotonic_seconds() + seconds), monitor_(monitor) {}

  Status run(const MinimizeProblem& problem, BackendResult* result) {
    outer::OuterApproximation method(problem, parameters_, end_, monitor_);
    Status status = method.run(result);
    if (!status.ok() || result->outcome != Outcome::kUnbounded) return status;
    return settle_unbounded(problem, result);
  }

 private:
  // Expects the ray of the continuous relaxation in the result.
  Status settle_unbounded(const MinimizeProblem& problem, BackendResult* result) {
    monitor_->log("The continuous relaxation is unbounded: is there a feasible point?\n");
    const bool keeps = keeps_integers(problem.model, result->x);
    const Model model = outer::without_objective(problem.model);
    const MinimizeProblem feasibility(model);
    SilentMonitor silent(monitor_, result->progress);
    outer::OuterApproximation method(feasibility, parameters_, end_, &silent);
    BackendResult found;
    Status status = method.run(&found);
    monitor_->log(format_text("Solved the model without its objective: %s\n",
                              counted(found.progress.nodes, "node").c_str()));
    const BackendResult relaxed = std::move(*result);
    *result = {};
    result->progress = relaxed.progress;
    result->outcome = found.outcome;
    result->termination = found.termination;
    if (found.outcome != Outcome::kOptimal) return status;
    result->outcome = keeps ? Outcome::kUnbounded : Outcome::kInfeasibleOrUnbounded;
    if (!keeps) return status;
    result->certificate = Certificate::kPrimalRay;
    result->x = relaxed.x;
    result->barx = relaxed.barx;
    return status;
  }

  const Parameters& parameters_;
  double end_;
  BackendMonitor* monitor_;
};

Status solve_as_it_is(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                      BackendMonitor* monitor, BackendResult* result) {
  return Solve(parameters, seconds, monitor).run(problem, result);
}

// A point that meets its constraints in the scaled model can miss small ones in the model's own
// units, where 5e-5 is much beside a 0. With its integers fixed the rest is solved once more in
// these units.
void solve_rest_in_own_units(const MinimizeProblem& problem, const Parameters& parameters,
                             double seconds, BackendMonitor* monitor, BackendResult* result) {
  const Model& model = problem.model;
  if (result->outcome != Outcome::kOptimal || result->x.size() != model.cost.size()) return;
  const double violation = primal_violation(model, result->x, result->barx);
  if (violation <= ClaimTolerances(model, parameters).primal) return;
  const outer::FixedModel fixed(model, outer::RowView(model),
                                outer::find_assignment(model, result->x),
                                parameters.get(DoubleParam::kFeasibilityTolerance));
  if (fixed.infeasible()) return;
  SecondSolve again("with its integers, in units of the model's own", monitor, result->progress);
  BackendResult rest;
  rest.x.assign(model.cost.size(), 0.0);
  const Status status =
      fixed.determined()
          ? Status{}
          : kConicBackend.solve(MinimizeProblem(fixed.model()), parameters, seconds, &again, &rest);
  if (!status.ok() || rest.certificate != Certificate::kNone) return;
  if (rest.x.size() != model.cost.size() || rest.barx.size() != result->barx.size()) return;
  fixed.complete(&rest.x);
  const double left = primal_violation(model, rest.x, rest.barx);
  const double objective = objective_sum(problem, rest.x, rest.barx).value;
  again.sum_up(format_text("violation %.1e", left), rest.progress,
               left < violation ? SecondSolve::Stands::kSecond : SecondSolve::Stands::kFirst);
  result->progress.interior_iterations += rest.progress.interior_iterations;
  if (!(left < violation)) return;
  result->x = std::move(rest.x);
  result->barx = std::move(rest.barx);
  result->progress.objective = objective;
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  const double end = monotonic_seconds() + seconds;
  try {
    Status status = solve_scaled(solve_as_it_is, problem, parameters, seconds, monitor, result);
    if (!status.ok()) return status;
    solve_rest_in_own_units(problem, parameters, end - monotonic_seconds(), monitor, result);
    return status;
  } catch (const std::bad_alloc&) {
    return {Code::kErrMemory, "out of memory in outer approximation"};
  }
}

}  // namespace

const Backend kOuterApproximationBackend = {"outer approximation", solve,
                                            conic::DenseAlgebra::load_early};

}  // namespace vorlan
