// The bound of the relaxation is what its multipliers prove, less what their residuals leave open.
#include "solve/relaxation_check.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/least_sizes.h"
#include "solve/check/terms.h"
#include "solve/conic/conic_backend.h"
#include "solve/outer/derived_models.h"
#include "solve/run/listener.h"
#include "solve/second_solve.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// Rows, columns and elements of a model whose relaxation takes a millisecond or less.
constexpr int64_t kFewElements = 500;
// Of one whose relaxation takes a small part of the time of so many simplex iterations.
constexpr int64_t kManyElements = 20'000;
constexpr int64_t kManyIterations = 10'000;

// What tolerances may leave between two objectives, as a share of their terms and of what the data
// make of these.
constexpr double kDoubt = 1e-5;
// The residual with which multipliers are believed.
constexpr double kExact = 1e-6;

Parameters conic_parameters(Parameters parameters) {
  parameters.set(IntParam::kOptimizer, kConicMethod);
  return parameters;
}

// An objective below this is better than the relaxation; -infinity where it says nothing.
double least_objective(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                       BackendMonitor* monitor) {
  const Model relaxed = outer::without_integers(problem.model);
  const MinimizeProblem relaxation(relaxed);
  SilentMonitor silent(monitor);
  BackendResult found;
  const Status status =
      kConicBackend.solve(relaxation, conic_parameters(parameters), seconds, &silent, &found);
  if (!status.ok() || found.outcome != Outcome::kOptimal) return -kInfinity;
  if (dual_violation(relaxation, sizes_of_parts(relaxation), found) > kExact) return -kInfinity;
  const double least = sizes_of_model(relaxation).objective;
  const double terms = objective_sum(relaxation, found.x, {}).total;
  const double bound = dual_objective(relaxation, found);
  return bound - kDoubt * std::max({least, terms, std::fabs(bound)});
}

bool is_better_than(double least, const MinimizeProblem& problem, const BackendResult& result) {
  return result.outcome == Outcome::kOptimal && objective_sum(problem, result.x, {}).value < least;
}

}  // namespace

bool may_check_relaxation(const Model& model, const BackendResult& result) {
  if (!model.is_mixed_integer() || !model.is_linear() || model.has_logic()) return false;
  if (result.outcome != Outcome::kOptimal || result.x.size() != model.cost.size()) return false;
  return model.size() <= kFewElements ||
         (model.size() <= kManyElements && result.progress.simplex_iterations >= kManyIterations);
}

Status check_relaxation(const MinimizeProblem& problem, const SolvePlan& plan,
                        const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        BackendResult* result) {
  const double begin = monotonic_seconds();
  const auto left = [&] { return seconds - (monotonic_seconds() - begin); };
  const double least = least_objective(problem, parameters, left(), monitor);
  if (!is_better_than(least, problem, *result)) return {};
  monitor->log(
      "The point is better than the continuous relaxation, which no point of the model is\n");
  SecondSolve again("with strict tolerances", monitor, result->progress);
  BackendResult strict;
  Status status =
      plan.backend->solve(problem, careful_parameters(parameters), left(), &again, &strict);
  const bool stands = status.ok() && strict.outcome != Outcome::kUnknown &&
                      strict.outcome != Outcome::kStopped &&
                      !is_better_than(least, problem, strict);
  again.sum_up(words_of(strict.outcome), strict.progress,
               stands ? SecondSolve::Stands::kSecond : SecondSolve::Stands::kFirst);
  if (stands) {
    *result = std::move(strict);
    return {};
  }
  result->outcome = Outcome::kStopped;
  result->termination = Code::kTrmStall;
  return {};
}

}  // namespace vorlan
