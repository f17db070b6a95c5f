// Solutions from answers; the conventions of signs and certificates are those of solution.h.
#include "solve/make_solution.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// Splits multipliers of the minimization into duals of lower and upper bounds in the task's sense.
void split(const std::vector<double>& multiplier, double factor, std::vector<double>* lower,
           std::vector<double>* upper) {
  lower->assign(multiplier.size(), 0.0);
  upper->assign(multiplier.size(), 0.0);
  for (size_t i = 0; i < multiplier.size(); ++i) {
    if (multiplier[i] > 0.0) (*lower)[i] = factor * multiplier[i];
    if (multiplier[i] < 0.0) (*upper)[i] = -factor * multiplier[i];
  }
}

std::vector<double> values_of(const std::vector<Sum>& sums) {
  std::vector<double> values(sums.size());
  std::transform(sums.begin(), sums.end(), values.begin(),
                 [](const Sum& sum) { return sum.value; });
  return values;
}

bool has_duals(const Model& model, const BackendResult& result) {
  return result.d.size() == model.cost.size() && result.y.size() == model.con_lower.size() &&
         result.bars.size() == packed_starts(model).back();
}

void set_duals(const MinimizeProblem& problem, const BackendResult& result, Solution* solution) {
  const double factor = problem.sense_factor();
  split(result.d, factor, &solution->slx, &solution->sux);
  split(result.y, factor, &solution->slc, &solution->suc);
  solution->y.resize(result.y.size());
  for (size_t i = 0; i < result.y.size(); ++i) {
    solution->y[i] = solution->slc[i] - solution->suc[i];
  }
  solution->snx = times(factor, result.snx);
  solution->bars = times(factor, result.bars);
  if (has_duals(problem.model, result)) {
    solution->dual_objective = factor * dual_objective(problem, result);
  }
}

// A zero has no sign: files and tables would show "-0".
void drop_signs_of_zeros(Solution* solution) {
  for (auto array :
       {&Solution::xx, &Solution::slx, &Solution::sux, &Solution::snx, &Solution::xc,
        &Solution::slc, &Solution::suc, &Solution::y, &Solution::barx, &Solution::bars}) {
    for (double& value : solution->*array) value += 0.0;
  }
}

// Every array has its full length, whatever the answer held.
void fill_missing(const Model& model, Solution* solution) {
  const size_t num_var = model.cost.size();
  const size_t num_con = model.con_lower.size();
  const size_t num_packed = packed_starts(model).back();
  for (auto array : {&Solution::xx, &Solution::slx, &Solution::sux}) {
    (solution->*array).resize(num_var, 0.0);
  }
  for (auto array : {&Solution::xc, &Solution::slc, &Solution::suc, &Solution::y}) {
    (solution->*array).resize(num_con, 0.0);
  }
  for (auto array : {&Solution::barx, &Solution::bars}) {
    (solution->*array).resize(num_packed, 0.0);
  }
  solution->snx.resize(model.cones.empty() ? 0 : num_var, 0.0);
  solution->skx.resize(num_var, StatusKey::kUnknown);
  solution->skc.resize(num_con, StatusKey::kUnknown);
  drop_signs_of_zeros(solution);
  solution->defined = true;
}

void set_point(const MinimizeProblem& problem, BackendResult* result, Solution* solution) {
  const double objective = objective_sum(problem, result->x, result->barx).value;
  solution->xc = values_of(row_sums(problem.model, result->x, result->barx));
  solution->primal_objective = problem.model.stated_objective(objective);
  solution->xx = std::move(result->x);
  solution->barx = std::move(result->barx);
}

ProblemStatus claimed_problem_status(Outcome outcome) {
  switch (outcome) {
    case Outcome::kInfeasible:
      return ProblemStatus::kPrimalInfeasible;
    case Outcome::kUnbounded:
      return ProblemStatus::kDualInfeasible;
    case Outcome::kInfeasibleOrUnbounded:
      return ProblemStatus::kPrimalInfeasibleOrUnbounded;
    case Outcome::kIllPosed:
      return ProblemStatus::kIllPosed;
    default:
      return ProblemStatus::kUnknown;
  }
}

// The strongest statuses that the residuals of a point with multipliers bear out.
void set_point_status(Outcome outcome, const Residuals& residuals,
                      const ClaimTolerances& tolerances, Solution* solution) {
  const bool primal = residuals.primal <= tolerances.primal;
  const bool dual = residuals.dual <= tolerances.dual;
  const bool no_gap = residuals.gap <= tolerances.gap;
  const bool optimal = outcome == Outcome::kOptimal && primal && dual && no_gap;
  if (primal && dual) {
    solution->problem_status = ProblemStatus::kPrimalAndDualFeasible;
    solution->status = optimal ? SolutionStatus::kOptimal : SolutionStatus::kPrimalAndDualFeasible;
  } else if (primal) {
    solution->problem_status = ProblemStatus::kPrimalFeasible;
    solution->status = SolutionStatus::kPrimalFeasible;
  } else if (dual) {
    solution->problem_status = ProblemStatus::kDualFeasible;
    solution->status = SolutionStatus::kDualFeasible;
  }
}

bool has_point(const Model& model, const BackendResult& result) {
  return result.x.size() == model.cost.size() && result.barx.size() == packed_starts(model).back();
}

// A missing half of an answer claims nothing.
Residuals measure(const MinimizeProblem& problem, const BackendResult& result) {
  const Model& model = problem.model;
  const bool point = has_point(model, result);
  const bool duals = has_duals(model, result);
  const LeastSizes least = sizes_of_model(problem);
  Residuals residuals;
  residuals.primal = point ? primal_violation(model, least, result.x, result.barx) : kInfinity;
  residuals.dual = duals ? dual_violation(problem, least, result) : kInfinity;
  residuals.gap = point && duals ? duality_gap(problem, least, result) : kInfinity;
  return residuals;
}

bool check_dual_ray(const MinimizeProblem& problem, BackendResult* result) {
  normalize_ray(&result->y, &result->snx);
  const bool ill_posed = result->outcome == Outcome::kIllPosed;
  const auto holds = ill_posed ? complete_ill_posed_dual_ray : complete_dual_ray;
  return holds(problem.model, result);
}

void make_dual_ray(const MinimizeProblem& problem, BackendResult* result, Solution* solution) {
  const bool ill_posed = result->outcome == Outcome::kIllPosed;
  solution->status = ill_posed ? SolutionStatus::kPrimalIllPosedCertificate
                               : SolutionStatus::kPrimalInfeasibleCertificate;
  set_duals(problem, *result, solution);
  if (!problem.model.quadratic_coefficients.empty()) solution->xx = std::move(result->x);
}

bool check_primal_ray(const MinimizeProblem& problem, BackendResult* result) {
  normalize_ray(&result->x, &result->barx);
  const bool ill_posed = result->outcome == Outcome::kIllPosed;
  const auto holds = ill_posed ? complete_ill_posed_primal_ray : complete_primal_ray;
  return holds(problem, result);
}

void make_primal_ray(const MinimizeProblem& problem, BackendResult* result, Solution* solution) {
  const bool ill_posed = result->outcome == Outcome::kIllPosed;
  solution->status = ill_posed ? SolutionStatus::kDualIllPosedCertificate
                               : SolutionStatus::kDualInfeasibleCertificate;
  const double objective = linear_objective_sum(problem, result->x, result->barx).value;
  solution->primal_objective = problem.sense_factor() * objective;
  solution->xc = values_of(linear_row_sums(problem.model, result->x, result->barx));
  solution->xx = std::move(result->x);
  solution->barx = std::move(result->barx);
}

// The dual ray of crossed bounds: both bounds at once, which cancel in A'y + slx - sux = 0.
void make_crossed_bounds_ray(const MinimizeProblem& problem, Solution* solution) {
  const CrossedBounds crossed = find_crossed_bounds(problem.model);
  if (!crossed.found()) return;
  const bool is_var = crossed.var >= 0;
  const size_t i = index(is_var ? crossed.var : crossed.con);
  std::vector<double>& lower = is_var ? solution->slx : solution->slc;
  std::vector<double>& upper = is_var ? solution->sux : solution->suc;
  lower[i] = problem.sense_factor();
  upper[i] = problem.sense_factor();
  solution->status = SolutionStatus::kPrimalInfeasibleCertificate;
}

StatusKey key_from_value(double value, double lower, double upper) {
  if (lower == upper) return StatusKey::kFixed;
  if (value == lower) return StatusKey::kAtLower;
  if (value == upper) return StatusKey::kAtUpper;
  return StatusKey::kSuperBasic;
}

// An integer solution has no basis; its keys tell where the values lie.
void set_keys_from_values(const Model& model, Solution* solution) {
  solution->skx.resize(solution->xx.size());
  for (size_t j = 0; j < solution->xx.size(); ++j) {
    solution->skx[j] = key_from_value(solution->xx[j], model.var_lower[j], model.var_upper[j]);
  }
  solution->skc.resize(solution->xc.size());
  for (size_t i = 0; i < solution->xc.size(); ++i) {
    solution->skc[i] = key_from_value(solution->xc[i], model.con_lower[i], model.con_upper[i]);
  }
}

// At an interior point, the distance to a bound and the bound's dual are both positive where one of
// them is 0 in the limit.
StatusKey interior_key(double value, double multiplier, double lower, double upper) {
  if (lower == upper) return StatusKey::kFixed;
  if (multiplier > 0.0 && value - lower < multiplier) return StatusKey::kAtLower;
  if (multiplier < 0.0 && upper - value < -multiplier) return StatusKey::kAtUpper;
  return key_from_value(value, lower, upper);
}

std::vector<StatusKey> interior_keys(const std::vector<double>& values,
                                     const std::vector<double>& multipliers,
                                     const std::vector<double>& lower,
                                     const std::vector<double>& upper) {
  std::vector<StatusKey> keys(values.size());
  for (size_t k = 0; k < keys.size(); ++k) {
    const double multiplier = k < multipliers.size() ? multipliers[k] : 0.0;
    keys[k] = interior_key(values[k], multiplier, lower[k], upper[k]);
  }
  return keys;
}

bool is_claim_without_point(Outcome outcome) {
  return outcome == Outcome::kInfeasible || outcome == Outcome::kUnbounded ||
         outcome == Outcome::kInfeasibleOrUnbounded || outcome == Outcome::kIllPosed;
}

// All but the keys of a continuous model's solution. False if the answer holds nothing.
bool set_values(const MinimizeProblem& problem, const ClaimTolerances& tolerances,
                const Verdict& verdict, BackendResult* result, Solution* solution) {
  if (is_claim_without_point(result->outcome)) {
    solution->problem_status = claimed_problem_status(result->outcome);
    if (verdict.ray_holds && result->certificate == Certificate::kDualRay) {
      make_dual_ray(problem, result, solution);
    } else if (verdict.ray_holds && result->certificate == Certificate::kPrimalRay) {
      make_primal_ray(problem, result, solution);
    }
    // Only a ray can show this.
    const bool unproven = solution->status == SolutionStatus::kUnknown;
    if (result->outcome == Outcome::kIllPosed && unproven) {
      solution->problem_status = ProblemStatus::kUnknown;
    }
    return true;
  }
  if (!has_point(problem.model, *result) || result->outcome == Outcome::kUnknown) return false;
  set_point_status(result->outcome, verdict.residuals, tolerances, solution);
  set_duals(problem, *result, solution);
  solution->dual_objective += problem.model.constant;
  set_point(problem, result, solution);
  return true;
}

// Fills in what is left when the values and keys are there.
void complete(const MinimizeProblem& problem, Certificate certificate, Solution* solution) {
  fill_missing(problem.model, solution);
  if (certificate == Certificate::kCrossedBounds) make_crossed_bounds_ray(problem, solution);
}

}  // namespace

Verdict check_answer(const MinimizeProblem& problem, SolutionKind kind, BackendResult* answer) {
  const bool integer = kind == SolutionKind::kInteger;
  Verdict verdict;
  if (is_claim_without_point(answer->outcome)) {
    if (answer->certificate == Certificate::kPrimalRay) {
      verdict.ray_holds = check_primal_ray(problem, answer);
    } else if (answer->certificate == Certificate::kDualRay && !integer) {
      verdict.ray_holds = check_dual_ray(problem, answer);
    }
  } else if (integer && has_point(problem.model, *answer)) {
    verdict.residuals.primal = primal_violation(problem.model, answer->x, answer->barx);
  } else if (!integer && has_point(problem.model, *answer) &&
             answer->outcome != Outcome::kUnknown) {
    verdict.residuals = measure(problem, *answer);
  }
  return verdict;
}

Solution make_basic_solution(const MinimizeProblem& problem, BackendResult&& result,
                             const ClaimTolerances& tolerances, const Verdict& verdict) {
  Solution solution;
  if (!set_values(problem, tolerances, verdict, &result, &solution)) return solution;
  solution.skx = std::move(result.var_key);
  solution.skc = std::move(result.con_key);
  complete(problem, result.certificate, &solution);
  return solution;
}

Solution make_interior_solution(const MinimizeProblem& problem, BackendResult&& result,
                                const ClaimTolerances& tolerances, const Verdict& verdict) {
  Solution solution;
  if (!set_values(problem, tolerances, verdict, &result, &solution)) return solution;
  if (!is_claim_without_point(result.outcome)) {
    const Model& model = problem.model;
    solution.skx = interior_keys(solution.xx, result.d, model.var_lower, model.var_upper);
    solution.skc = interior_keys(solution.xc, result.y, model.con_lower, model.con_upper);
  }
  complete(problem, result.certificate, &solution);
  return solution;
}

Solution make_integer_solution(const MinimizeProblem& problem, BackendResult&& result,
                               const ClaimTolerances& tolerances, const Verdict& verdict) {
  Solution solution;
  if (is_claim_without_point(result.outcome)) {
    solution.problem_status = claimed_problem_status(result.outcome);
    if (verdict.ray_holds) make_primal_ray(problem, &result, &solution);
    fill_missing(problem.model, &solution);
    return solution;
  }
  if (!has_point(problem.model, result)) return solution;
  if (verdict.residuals.primal <= tolerances.primal) {
    const bool optimal = result.outcome == Outcome::kOptimal;
    solution.problem_status = ProblemStatus::kPrimalFeasible;
    solution.status = optimal ? SolutionStatus::kIntegerOptimal : SolutionStatus::kPrimalFeasible;
  }
  set_point(problem, &result, &solution);
  set_keys_from_values(problem.model, &solution);
  fill_missing(problem.model, &solution);
  return solution;
}

}  // namespace vorlan
