// A held answer is brought into the terms of the minimization first, so that the checker sees it as
// it sees a backend's answer.
#include "solve/held_answer.h"

#include <algorithm>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/rays.h"
#include "solve/check/vectors.h"

namespace vorlan {
namespace {

// The inverse of what make_solution does with signs.
BackendResult answer_of(const MinimizeProblem& problem, const Solution& held) {
  const double factor = problem.sense_factor();
  BackendResult answer;
  answer.x = held.xx;
  answer.barx = held.barx;
  answer.y = times(factor, held.y);
  answer.snx = times(factor, held.snx);
  answer.bars = times(factor, held.bars);
  answer.d.resize(held.slx.size());
  std::transform(held.slx.begin(), held.slx.end(), held.sux.begin(), answer.d.begin(),
                 [factor](double lower, double upper) { return factor * (lower - upper); });
  answer.var_key = held.skx;
  answer.con_key = held.skc;
  return answer;
}

bool is_dual_ray(const MinimizeProblem& problem, BackendResult* answer) {
  answer->outcome = Outcome::kInfeasible;
  answer->certificate = Certificate::kDualRay;
  if (problem.model.quadratic_coefficients.empty()) answer->x.clear();
  answer->barx.clear();
  return judge_dual_ray(problem.model, answer).is_proof();
}

bool is_primal_ray(const MinimizeProblem& problem, BackendResult* answer) {
  answer->outcome = Outcome::kUnbounded;
  answer->certificate = Certificate::kPrimalRay;
  for (auto array :
       {&BackendResult::y, &BackendResult::d, &BackendResult::snx, &BackendResult::bars}) {
    (answer->*array).clear();
  }
  return is_primal_ray(problem, answer->x, answer->barx);
}

bool is_optimum(const MinimizeProblem& problem, const ClaimTolerances& tolerances,
                BackendResult* answer) {
  answer->outcome = Outcome::kOptimal;
  const LeastSizes least = sizes_of_model(problem);
  return primal_violation(problem.model, least, answer->x, answer->barx) <= tolerances.primal &&
         dual_violation(problem, least, *answer) <= tolerances.dual &&
         duality_gap(problem, least, *answer) <= tolerances.gap;
}

bool fits(const Model& model, const Solution& held) {
  const size_t num_var = model.cost.size();
  const size_t num_con = model.con_lower.size();
  return held.xx.size() == num_var && held.slx.size() == num_var && held.sux.size() == num_var &&
         held.skx.size() == num_var && held.y.size() == num_con && held.skc.size() == num_con &&
         (held.snx.empty() || held.snx.size() == num_var);
}

// Integers that come from a file with nothing but values have no status; continuous values without
// one may be those of a basis that has none.
bool is_point(const MinimizeProblem& problem) {
  switch (problem.start->status) {
    case SolutionStatus::kOptimal:
    case SolutionStatus::kIntegerOptimal:
    case SolutionStatus::kPrimalFeasible:
    case SolutionStatus::kPrimalAndDualFeasible:
      return true;
    default:
      return problem.start->status == SolutionStatus::kUnknown && problem.model.is_mixed_integer();
  }
}

bool has_every_key(const Solution& held) {
  const auto is_known = [](StatusKey key) { return key != StatusKey::kUnknown; };
  return std::all_of(held.skx.begin(), held.skx.end(), is_known) &&
         std::all_of(held.skc.begin(), held.skc.end(), is_known);
}

}  // namespace

bool take_held_answer(const MinimizeProblem& problem, const SolvePlan& plan,
                      BackendResult* result) {
  if (problem.start == nullptr || problem.model.is_mixed_integer()) return false;
  if (!fits(problem.model, *problem.start)) return false;
  BackendResult answer = answer_of(problem, *problem.start);
  bool holds = false;
  switch (problem.start->status) {
    case SolutionStatus::kPrimalInfeasibleCertificate:
      holds = is_dual_ray(problem, &answer);
      break;
    case SolutionStatus::kDualInfeasibleCertificate:
      holds = is_primal_ray(problem, &answer);
      break;
    case SolutionStatus::kOptimal:
      holds = !plan.by_simplex && has_every_key(*problem.start) &&
              is_optimum(problem, plan.tolerances, &answer);
      break;
    default:
      break;
  }
  if (holds) *result = std::move(answer);
  return holds;
}

bool find_held_point(const MinimizeProblem& problem, BackendResult* point) {
  if (problem.start == nullptr || !fits(problem.model, *problem.start)) return false;
  if (!is_point(problem)) return false;
  *point = answer_of(problem, *problem.start);
  return true;
}

void keep_held_point(const MinimizeProblem& problem, const ClaimTolerances& tolerances,
                     BackendResult* result) {
  const bool has_none = result->outcome == Outcome::kStopped && result->x.empty();
  BackendResult held;
  if (!has_none || !find_held_point(problem, &held)) return;
  if (primal_violation(problem.model, held.x, held.barx) > tolerances.primal) return;
  held.outcome = result->outcome;
  held.termination = result->termination;
  held.progress = result->progress;
  *result = std::move(held);
}

}  // namespace vorlan
