// The units are those of scaled_model.h, which mixed-integer models always have.
#include "solve/highs/own_units.h"

#include <algorithm>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/least_sizes.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/scaled_model.h"
#include "solve/second_solve.h"
#include "solve/solve_plan.h"

namespace vorlan {
namespace {

// The largest residual of an optimum in parts of its tolerance.
double worst_miss(const MinimizeProblem& problem, const Parameters& parameters,
                  const BackendResult& result) {
  const ClaimTolerances tolerances(problem.model, parameters);
  const LeastSizes sizes = sizes_of_parts(problem);
  return std::max({primal_violation(problem.model, sizes, result.x) / tolerances.primal,
                   dual_violation(problem, sizes, result) / tolerances.dual,
                   duality_gap(problem, sizes, result) / tolerances.gap});
}

bool is_optimum(const MinimizeProblem& problem, const BackendResult& result) {
  return result.outcome == Outcome::kOptimal && result.x.size() == problem.cost.size() &&
         result.d.size() == problem.cost.size() &&
         result.y.size() == problem.model.con_lower.size();
}

bool is_better(const MinimizeProblem& problem, const Parameters& parameters,
               const BackendResult& candidate, const BackendResult& result) {
  if (candidate.certificate != Certificate::kNone) return true;
  if (!is_optimum(problem, candidate)) return false;
  return !is_optimum(problem, result) ||
         worst_miss(problem, parameters, candidate) < worst_miss(problem, parameters, result);
}

Solution start_from(const BackendResult& result) {
  Solution start;
  start.xx = result.x;
  start.skx = result.var_key;
  start.skc = result.con_key;
  return start;
}

// Sides so small are all met within the simplex method's tolerances, or nearly so.
constexpr double kSmallSides = 1e-3;

bool has_small_sides(const MinimizeProblem& problem) {
  const std::vector<double> sizes = sizes_of_parts(problem).row;
  return std::any_of(sizes.begin(), sizes.end(), [](double size) { return size < kSmallSides; });
}

}  // namespace

bool needs_own_units(const MinimizeProblem& problem, const Parameters& parameters,
                     const BackendResult& result) {
  // A model may have a ray and no point. That is said rather than the ray.
  if (result.certificate == Certificate::kPrimalRay) return has_small_sides(problem);
  if (result.outcome == Outcome::kStopped) return result.termination == Code::kTrmStall;
  return is_optimum(problem, result) && worst_miss(problem, parameters, result) > 1.0;
}

bool solve_in_own_units(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                        const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        BackendResult* result) {
  const ScaledModel scaled(problem);
  if (scaled.is_same()) return false;
  const Solution start = start_from(*result);
  const MinimizeProblem again(problem.model, &start, problem.cutoffs);
  SecondSolve second("in units of the model's own", monitor, result->progress);
  BackendResult found;
  const Status status = solve_scaled(solve, again, parameters, seconds, &second, &found);
  if (!status.ok()) return false;
  const bool stands = is_better(problem, parameters, found, *result);
  second.sum_up(describe_answer(problem, found), found.progress,
                stands ? SecondSolve::Stands::kSecond : SecondSolve::Stands::kFirst);
  if (!stands) return false;
  found.progress.simplex_iterations += result->progress.simplex_iterations;
  found.progress.interior_iterations += result->progress.interior_iterations;
  *result = std::move(found);
  return true;
}

}  // namespace vorlan
