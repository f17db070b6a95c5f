// The conic method's answers are claims: proofs of infeasibility and rays count only when the rule
// of rays accepts them, and the bound is what the multipliers prove.
#include "solve/outer/continuous_relaxation.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "solve/outer/derived_models.h"
#include "task/packed_matrices.h"

namespace vorlan::outer {

ContinuousRelaxation::ContinuousRelaxation(const Model& model)
    : model_(without_integers(model)), problem_(model_) {}

Status ContinuousRelaxation::solve(InnerSolver* solver) {
  return solver->solve_conic(model_, &answer_);
}

bool ContinuousRelaxation::is_stopped() const {
  return answer_.termination == Code::kTrmIterationLimit ||
         (answer_.outcome == Outcome::kStopped && (answer_.termination == Code::kTrmTimeLimit ||
                                                   answer_.termination == Code::kTrmUserCallback));
}

bool ContinuousRelaxation::is_infeasible() {
  return answer_.outcome == Outcome::kInfeasible && answer_.certificate == Certificate::kDualRay &&
         complete_dual_ray(model_, &answer_);
}

bool ContinuousRelaxation::is_unbounded() {
  return answer_.certificate == Certificate::kPrimalRay && complete_primal_ray(problem_, &answer_);
}

bool ContinuousRelaxation::has_point() const {
  return answer_.certificate == Certificate::kNone && answer_.x.size() == model_.cost.size() &&
         answer_.barx.size() == index(packed_starts(model_).back());
}

double ContinuousRelaxation::objective() const {
  return objective_sum(problem_, answer_.x, answer_.barx).value;
}

double ContinuousRelaxation::bound() const {
  const double proven = dual_objective(problem_, answer_);
  return proven - std::fabs(objective() - proven);
}

std::vector<double> ContinuousRelaxation::solve_within(const std::vector<double>& lower,
                                                       const std::vector<double>& upper,
                                                       InnerSolver* solver) const {
  Model model = model_;
  const size_t count = model.cost.size();
  for (size_t j = 0; j < count; ++j) {
    model.var_lower[j] = std::max(model.var_lower[j], lower[j]);
    model.var_upper[j] = std::min(model.var_upper[j], upper[j]);
  }
  BackendResult found;
  const Status status = solver->solve_conic(model, &found);
  if (!status.ok() || found.outcome != Outcome::kOptimal) return {};
  return found.x;
}

std::vector<double> ContinuousRelaxation::deepest_point(InnerSolver* solver) const {
  const std::optional<Model> model = deepest_in_cones(model_, answer_.x);
  BackendResult found;
  if (!model || !solver->solve_conic(*model, &found).ok()) return {};
  if (found.outcome != Outcome::kOptimal) return {};
  found.x.resize(model_.cost.size());
  return found.x;
}

void ContinuousRelaxation::bound_heads(InnerSolver* solver, Relaxation* relaxation) const {
  constexpr size_t kMostHeads = 8;
  std::vector<int32_t> heads = relaxation->heads_to_bound();
  heads.resize(std::min(kMostHeads, heads.size()));
  // As many at a time as there are processors, since each takes a copy of the model.
  const size_t most = solver->num_processors();
  for (size_t first = 0; first < heads.size(); first += most) {
    if (solver->seconds_left() <= 0.0) return;
    const size_t count = std::min(most, heads.size() - first);
    bound_some_heads({heads.data() + first, count}, solver, relaxation);
  }
}

void ContinuousRelaxation::bound_some_heads(std::span<const int32_t> heads, InnerSolver* solver,
                                            Relaxation* relaxation) const {
  std::vector<Model> models(heads.size(), without_objective(model_));
  std::vector<const Model*> all;
  for (size_t k = 0; k < heads.size(); ++k) {
    models[k].cost[index(heads[k])] = 1.0;
    all.push_back(&models[k]);
  }
  std::vector<BackendResult> found;
  if (!solver->solve_conics(all, &found).ok()) return;
  for (size_t k = 0; k < heads.size(); ++k) {
    if (found[k].outcome != Outcome::kOptimal) continue;
    const double proven = dual_objective(MinimizeProblem(models[k]), found[k]);
    const double least = weaken_bound(proven) - std::fabs(found[k].x[index(heads[k])] - proven);
    relaxation->raise_head_floor(heads[k], least);
  }
}

}  // namespace vorlan::outer
