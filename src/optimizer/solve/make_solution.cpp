// Solutions from answers; the conventions of signs and certificates are those of solution.h.
#include "solve/make_solution.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/checker.h"

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

void set_duals(const MinimizeProblem& problem, const BackendResult& result, Solution* solution) {
  split(result.d, problem.sense_factor(), &solution->slx, &solution->sux);
  split(result.y, problem.sense_factor(), &solution->slc, &solution->suc);
  solution->y.resize(result.y.size());
  for (size_t i = 0; i < result.y.size(); ++i) {
    solution->y[i] = solution->slc[i] - solution->suc[i];
  }
}

// Every array has its full length, whatever the answer held.
void fill_missing(const Model& model, Solution* solution) {
  const size_t num_var = model.cost.size();
  const size_t num_con = model.con_lower.size();
  for (auto array : {&Solution::xx, &Solution::slx, &Solution::sux}) {
    (solution->*array).resize(num_var, 0.0);
  }
  for (auto array : {&Solution::xc, &Solution::slc, &Solution::suc, &Solution::y}) {
    (solution->*array).resize(num_con, 0.0);
  }
  solution->skx.resize(num_var, StatusKey::kUnknown);
  solution->skc.resize(num_con, StatusKey::kUnknown);
  solution->defined = true;
}

void set_point(const Model& model, std::vector<double>&& x, Solution* solution) {
  solution->xc = constraint_activities(model, x);
  solution->primal_objective = linear_objective(model, x) + model.constant;
  solution->xx = std::move(x);
}

ProblemStatus claimed_problem_status(Outcome outcome) {
  switch (outcome) {
    case Outcome::kInfeasible:
      return ProblemStatus::kPrimalInfeasible;
    case Outcome::kUnbounded:
      return ProblemStatus::kDualInfeasible;
    case Outcome::kInfeasibleOrUnbounded:
      return ProblemStatus::kPrimalInfeasibleOrUnbounded;
    default:
      return ProblemStatus::kUnknown;
  }
}

// The strongest statuses that the residuals of a point with multipliers bear out.
void set_point_status(Outcome outcome, const Residuals& residuals,
                      const ClaimTolerances& tolerances, Solution* solution) {
  const bool primal = residuals.primal <= tolerances.primal;
  const bool dual = residuals.dual <= tolerances.dual;
  const bool no_gap = residuals.gap <= std::max(tolerances.primal, tolerances.dual);
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

// A missing half of an answer claims nothing.
Residuals measure(const MinimizeProblem& problem, const BackendResult& result) {
  const Model& model = problem.model;
  const bool has_point = result.x.size() == model.cost.size();
  const bool has_duals =
      result.d.size() == model.cost.size() && result.y.size() == model.con_lower.size();
  Residuals residuals;
  residuals.primal = has_point ? primal_violation(model, result.x) : kInfinity;
  residuals.dual = has_duals ? dual_violation(problem, result) : kInfinity;
  residuals.gap = has_point && has_duals ? duality_gap(problem, result) : kInfinity;
  return residuals;
}

// Multiplies a ray so that its largest element is 1.
void normalize(std::vector<double>* ray) {
  double scale = 0.0;
  for (const double element : *ray) scale = std::max(scale, std::fabs(element));
  if (scale == 0.0) return;
  for (double& element : *ray) element /= scale;
}

void make_dual_ray(const MinimizeProblem& problem, BackendResult* result, Solution* solution) {
  normalize(&result->y);
  const bool valid = is_dual_ray(problem.model, result->y, &result->d);
  if (!valid) return;
  solution->status = SolutionStatus::kPrimalInfeasibleCertificate;
  set_duals(problem, *result, solution);
}

void make_primal_ray(const MinimizeProblem& problem, BackendResult* result, Solution* solution) {
  normalize(&result->x);
  if (!is_primal_ray(problem, result->x)) return;
  solution->status = SolutionStatus::kDualInfeasibleCertificate;
  set_point(problem.model, std::move(result->x), solution);
  solution->primal_objective -= problem.model.constant;
}

// The dual ray of crossed bounds: both bounds at once, which cancel in A'y + slx - sux = 0.
void make_crossed_bounds_ray(const MinimizeProblem& problem, Solution* solution) {
  const CrossedBounds crossed = find_crossed_bounds(problem.model);
  if (!crossed.found()) return;
  const bool is_var = crossed.var >= 0;
  const auto index = static_cast<size_t>(is_var ? crossed.var : crossed.con);
  std::vector<double>& lower = is_var ? solution->slx : solution->slc;
  std::vector<double>& upper = is_var ? solution->sux : solution->suc;
  lower[index] = problem.sense_factor();
  upper[index] = problem.sense_factor();
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

bool is_claim_without_point(Outcome outcome) {
  return outcome == Outcome::kInfeasible || outcome == Outcome::kUnbounded ||
         outcome == Outcome::kInfeasibleOrUnbounded;
}

}  // namespace

ClaimTolerances::ClaimTolerances(const Parameters& parameters, bool mixed_integer)
    : primal(10.0 * parameters.get(DoubleParam::kFeasibilityTolerance)),
      dual(10.0 * parameters.get(DoubleParam::kOptimalityTolerance)) {
  if (!mixed_integer) return;
  primal = std::max(primal, 10.0 * parameters.get(DoubleParam::kIntegralityTolerance));
}

Solution make_basic_solution(const MinimizeProblem& problem, BackendResult&& result,
                             const ClaimTolerances& tolerances, Residuals* residuals) {
  Solution solution;
  if (is_claim_without_point(result.outcome)) {
    solution.problem_status = claimed_problem_status(result.outcome);
    if (result.certificate == Certificate::kDualRay) make_dual_ray(problem, &result, &solution);
    if (result.certificate == Certificate::kPrimalRay) make_primal_ray(problem, &result, &solution);
  } else if (result.x.size() == problem.model.cost.size() && result.outcome != Outcome::kUnknown) {
    *residuals = measure(problem, result);
    set_point_status(result.outcome, *residuals, tolerances, &solution);
    set_duals(problem, result, &solution);
    set_point(problem.model, std::move(result.x), &solution);
  } else {
    return solution;
  }
  solution.skx = std::move(result.var_key);
  solution.skc = std::move(result.con_key);
  fill_missing(problem.model, &solution);
  if (result.certificate == Certificate::kCrossedBounds) {
    make_crossed_bounds_ray(problem, &solution);
  }
  return solution;
}

Solution make_integer_solution(const MinimizeProblem& problem, BackendResult&& result,
                               const ClaimTolerances& tolerances, Residuals* residuals) {
  Solution solution;
  if (is_claim_without_point(result.outcome)) {
    solution.problem_status = claimed_problem_status(result.outcome);
    fill_missing(problem.model, &solution);
    return solution;
  }
  if (result.x.size() != problem.model.cost.size()) return solution;
  residuals->primal = primal_violation(problem.model, result.x);
  if (residuals->primal <= tolerances.primal) {
    const bool optimal = result.outcome == Outcome::kOptimal;
    solution.problem_status = ProblemStatus::kPrimalFeasible;
    solution.status = optimal ? SolutionStatus::kIntegerOptimal : SolutionStatus::kPrimalFeasible;
  }
  set_point(problem.model, std::move(result.x), &solution);
  set_keys_from_values(problem.model, &solution);
  fill_missing(problem.model, &solution);
  return solution;
}

}  // namespace vorlan
