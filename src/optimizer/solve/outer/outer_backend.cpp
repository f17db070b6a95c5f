// The backend in front of the method. It scales the model, and it settles unbounded models, which
// take a second solve to see whether there is a feasible point.
#include "solve/outer/outer_backend.h"

#include <new>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/rays.h"
#include "solve/conic/dense_algebra.h"
#include "solve/highs/scaled_model.h"
#include "solve/outer/derived_models.h"
#include "solve/outer/outer_approximation.h"
#include "solve/run/listener.h"
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

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  try {
    return solve_scaled(solve_as_it_is, problem, parameters, seconds, monitor, result);
  } catch (const std::bad_alloc&) {
    return {Code::kErrMemory, "out of memory in outer approximation"};
  }
}

}  // namespace

const Backend kOuterApproximationBackend = {"outer approximation", solve,
                                            conic::DenseAlgebra::load_early};

}  // namespace vorlan
