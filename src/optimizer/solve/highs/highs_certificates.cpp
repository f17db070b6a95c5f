// Rays from HiGHS, and the solves that lead to them.
#include "solve/highs/highs_certificates.h"

#include <cmath>
#include <utility>

#include "Highs.h"
#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/highs/elastic_ray.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/highs_options.h"
#include "solve/highs/simplex_again.h"
#include "solve/solve_plan.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// HiGHS has no ray for a model without matrix elements.
std::vector<double> find_dual_ray(const Model& model, Highs* highs) {
  std::vector<double> ray(model.con_lower.size(), 0.0);
  bool found = false;
  if (ray.empty()) return {};
  if (highs->getDualRay(found, ray.data()) == HighsStatus::kOk && found) return ray;
  return find_single_row_ray(model);
}

bool read_dual_ray(const Model& model, Highs* highs, BackendResult* result) {
  BackendResult ray;
  ray.y = find_dual_ray(model, highs);
  if (ray.y.empty() || !complete_dual_ray(model, &ray)) return false;
  result->certificate = Certificate::kDualRay;
  result->y = std::move(ray.y);
  return true;
}

// Along one variable that is in no constraint; HiGHS has no ray for a model without matrix
// elements.
std::vector<double> find_single_variable_ray(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    const bool in_constraint = model.matrix.start[j] < model.matrix.start[j + 1];
    const double end = problem.cost[j] < 0.0 ? model.var_upper[j] : model.var_lower[j];
    if (in_constraint || problem.cost[j] == 0.0 || std::isfinite(end)) continue;
    std::vector<double> ray(problem.cost.size(), 0.0);
    ray[j] = problem.cost[j] < 0.0 ? 1.0 : -1.0;
    return ray;
  }
  return {};
}

std::vector<double> find_primal_ray(const MinimizeProblem& problem, Highs* highs) {
  std::vector<double> ray(index(highs->getNumCol()), 0.0);
  bool found = false;
  if (highs->getPrimalRay(found, ray.data()) != HighsStatus::kOk || !found) {
    return find_single_variable_ray(problem);
  }
  ray.resize(problem.cost.size());  // behind the variables there may be switches
  return ray;
}

bool read_primal_ray(const MinimizeProblem& problem, Highs* highs, BackendResult* result) {
  BackendResult ray;
  ray.x = find_primal_ray(problem, highs);
  if (!complete_primal_ray(problem, &ray)) return false;
  result->certificate = Certificate::kPrimalRay;
  result->x = std::move(ray.x);
  return true;
}

bool read_certificate(const MinimizeProblem& problem, Highs* highs, BackendResult* result) {
  if (result->outcome == Outcome::kInfeasible) return read_dual_ray(problem.model, highs, result);
  if (result->outcome == Outcome::kUnbounded) return read_primal_ray(problem, highs, result);
  return false;
}

// Looks for any point at all of a mixed-integer model, whatever it costs. The result is false when
// that cannot be told.
bool find_feasibility(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                      Highs* highs, bool* feasible) {
  const std::vector<double> no_cost(index(highs->getNumCol()), 0.0);
  highs->clearSolver();
  highs->changeColsCost(0, highs->getNumCol() - 1, no_cost.data());
  const double left = seconds - highs->getRunTime();
  if (!set_highs_options(parameters, HighsMethod::kBranchAndCut, left, highs).ok()) return false;
  highs->setOptionValue("objective_bound", kHighsInf);
  highs->setOptionValue("objective_target", -kHighsInf);
  BackendResult found;
  if (highs->run() == HighsStatus::kError || !set_outcome(*highs, parameters, &found)) return false;
  copy_solution(*highs, problem.model, &found);
  *feasible = !found.x.empty() && primal_violation(problem.model, found.x) <=
                                      ClaimTolerances(problem.model, parameters).primal;
  return *feasible || found.outcome == Outcome::kInfeasible;
}

// A ray of the linear relaxation.
bool find_relaxed_ray(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                      Highs* highs, BackendResult* result) {
  const HighsInt last = highs->getNumCol() - 1;
  const std::vector<HighsVarType> continuous(index(last) + 1, HighsVarType::kContinuous);
  std::vector<double> cost = problem.cost;
  cost.resize(continuous.size(), 0.0);
  highs->changeColsIntegrality(0, last, continuous.data());
  highs->changeColsCost(0, last, cost.data());
  BackendResult relaxed;
  if (!run_simplex(kHighsDualStrategy, parameters, seconds, highs, &relaxed)) return false;
  return relaxed.outcome == Outcome::kUnbounded && read_primal_ray(problem, highs, result);
}

// A smaller model is solved by the simplex method alone in no time.
constexpr int32_t kManyConstraints = 1000;

// Where the first solve may have been of an infeasible model.
bool certify_large(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                   Highs* highs, BackendResult* result) {
  if (result->outcome == Outcome::kUnbounded || problem.model.num_con() < kManyConstraints) {
    return false;
  }
  BackendResult ray;
  ray.y =
      find_elastic_ray(problem, parameters, seconds, highs, &result->progress.simplex_iterations);
  if (ray.y.empty() || !complete_dual_ray(problem.model, &ray)) return false;
  result->outcome = Outcome::kInfeasible;
  result->certificate = Certificate::kDualRay;
  result->y = std::move(ray.y);
  return true;
}

}  // namespace

bool lacks_certificate(Outcome outcome) {
  return outcome == Outcome::kInfeasible || outcome == Outcome::kUnbounded ||
         outcome == Outcome::kInfeasibleOrUnbounded;
}

void certify(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, Highs* highs, BackendResult* result) {
  // Without a basis HiGHS would solve a second time for a ray.
  const bool has_basis = highs->getBasis().valid;
  if (!has_basis && certify_large(problem, parameters, seconds, highs, result)) return;
  if (read_certificate(problem, highs, result)) {
    // The ray may come with the basis that presolve did not leave.
    if (result->var_key.empty()) copy_basis(*highs, problem.model, result);
    return;
  }
  BackendResult again;
  const bool ran = run_simplex(kHighsDualStrategy, parameters, seconds, highs, &again);
  result->progress.simplex_iterations += highs->getInfo().simplex_iteration_count;
  if (ran && again.outcome == Outcome::kOptimal) {
    again.progress = result->progress;
    *result = std::move(again);
    copy_solution(*highs, problem.model, result);
    return;
  }
  if (ran && again.outcome == Outcome::kStopped && again.termination != Code::kTrmStall) {
    result->termination = again.termination;
    return;
  }
  if (ran && lacks_certificate(again.outcome)) {
    result->outcome = again.outcome;
    copy_basis(*highs, problem.model, result);
    if (read_certificate(problem, highs, result)) return;
  }
  monitor->log("No proof was found that the model has no optimum\n");
  const Progress progress = result->progress;
  *result = {};
  result->progress = progress;
  stop_with(Code::kTrmStall, result);
}

void tell_unbounded(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                    Highs* highs, BackendResult* result) {
  bool feasible = false;
  if (!find_feasibility(problem, parameters, seconds, highs, &feasible)) return;
  if (!feasible) {
    result->outcome = Outcome::kInfeasible;
    return;
  }
  BackendResult relaxed;
  const bool has_ray = find_relaxed_ray(problem, parameters, seconds, highs, &relaxed) &&
                       keeps_integers(problem.model, relaxed.x);
  result->outcome = has_ray ? Outcome::kUnbounded : Outcome::kInfeasibleOrUnbounded;
  if (!has_ray) return;
  result->certificate = relaxed.certificate;
  result->x = std::move(relaxed.x);
}

}  // namespace vorlan
