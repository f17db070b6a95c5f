// Trials of integers, and what the relaxation learns from each.
#include "solve/outer/integer_trials.h"

#include <algorithm>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/terms.h"
#include "task/parameter_index.h"

namespace vorlan::outer {
namespace {

// How often integers are tried on the way to a relaxation's optimum: this often, and once more for
// each so many simplex iterations. A count, and not a time, makes every run go the same way.
constexpr int64_t kTriesOnTheWay = 5;
constexpr int64_t kIterationsForATry = 2000;
// The largest violation of an incumbent, as a multiple of the tolerance asked for. The checker
// holds claims to the same.
constexpr double kTolerances = 10.0;

// Whether a solve was stopped from outside. One that stalls has ended by itself, without an answer.
bool is_interrupted(const BackendResult& found) {
  return found.outcome == Outcome::kStopped &&
         (found.termination == Code::kTrmTimeLimit || found.termination == Code::kTrmUserCallback);
}

// Whether an answer is exact enough to say that no better point has these integers. One that rounding
// has ended is not.
bool is_settled(const FixedModel& fixed, const BackendResult& found) {
  constexpr double kExact = 1e-7;
  if (found.outcome == Outcome::kInfeasible || fixed.determined()) return true;
  if (found.outcome != Outcome::kOptimal) return false;
  const MinimizeProblem problem(fixed.model());
  const LeastSizes least = sizes_of_model(problem);
  return dual_violation(problem, least, found) <= kExact &&
         duality_gap(problem, least, found) <= kExact;
}

}  // namespace

IntegerTrials::IntegerTrials(const MinimizeProblem& problem, const Parameters& parameters,
                             BackendMonitor* monitor, InnerSolver* solver, OptimumBounds* bounds,
                             Relaxation* relaxation)
    : problem_(problem),
      model_(problem.model),
      parameters_(parameters),
      monitor_(monitor),
      solver_(solver),
      bounds_(bounds),
      relaxation_(relaxation),
      rows_(problem.model) {}

FixedModel IntegerTrials::fix(const std::vector<double>& assignment) const {
  return {model_, rows_, assignment, parameters_.get(DoubleParam::kFeasibilityTolerance)};
}

// A failure shows when the trial solves the model itself.
void IntegerTrials::prepare(const std::vector<std::vector<double>>& points) {
  prepared_.clear();
  if (solver_->num_processors() <= 1) return;
  std::vector<std::vector<double>> assignments;
  std::vector<FixedModel> fixed;
  for (const std::vector<double>& point : points) {
    std::vector<double> assignment = find_assignment(model_, point);
    const bool is_there =
        tried_.count(assignment) != 0 ||
        std::find(assignments.begin(), assignments.end(), assignment) != assignments.end();
    if (is_there) continue;
    FixedModel left = fix(assignment);
    if (left.infeasible() || left.determined()) continue;
    assignments.push_back(std::move(assignment));
    fixed.push_back(std::move(left));
  }
  std::vector<const Model*> models;
  models.reserve(fixed.size());
  for (const FixedModel& one : fixed) models.push_back(&one.model());
  std::vector<BackendResult> found;
  if (!solver_->solves_beside(models) || !solver_->solve_conics(models, &found).ok()) return;
  for (size_t k = 0; k < found.size(); ++k) {
    prepared_.emplace(std::move(assignments[k]), std::move(found[k]));
  }
}

bool IntegerTrials::try_integers(const std::vector<double>& x, std::string_view origin) {
  std::vector<double> assignment = find_assignment(model_, x);
  if (tried_.count(assignment) != 0) return false;
  const FixedModel fixed = fix(assignment);
  BackendResult found;
  std::vector<double> at = x;
  if (fixed.infeasible()) {
    fixed.complete(&at);
    learn(fixed, found, at);
    settled_.insert(assignment);
    tried_.insert(std::move(assignment));
    return true;
  }
  Status status = solve_fixed(fixed, assignment, &found);
  if (!status.ok()) {
    failure_ = std::move(status);
    return false;
  }
  if (is_interrupted(found)) return true;
  const bool is_point = found.certificate == Certificate::kNone;
  const bool fits = !is_point || offer(found.x, found.barx, origin);
  if (fits && is_settled(fixed, found)) settled_.insert(assignment);
  tried_.insert(std::move(assignment));
  if (found.outcome == Outcome::kInfeasible) find_violation(fixed, &at);
  learn(fixed, found, at);
  return true;
}

void IntegerTrials::try_roughly(const std::vector<double>& x) {
  const FixedModel fixed = fix(find_assignment(model_, x));
  if (fixed.infeasible() || fixed.determined()) return;
  BackendResult found;
  Status status = solver_->solve_conic_roughly(fixed.model(), &found);
  if (!status.ok()) {
    failure_ = std::move(status);
    return;
  }
  if (found.certificate != Certificate::kNone || found.x.size() != model_.cost.size()) return;
  fixed.complete(&found.x);
  offer(found.x, found.barx);
}

bool IntegerTrials::has_settled(const std::vector<double>& x) const {
  return settled_.count(find_assignment(model_, x)) != 0;
}

bool IntegerTrials::settle(const std::vector<double>& x) {
  const std::vector<double> assignment = find_assignment(model_, x);
  const bool is_best = bounds_->has_incumbent() && find_assignment(model_, best_.x) == assignment;
  const double objective = is_best ? bounds_->incumbent() : kInfinity;
  return relaxation_->settle_integers(assignment, objective, bounds_->bound());
}

void IntegerTrials::try_on_the_way(std::span<const double> columns) {
  const int64_t allowed = kTriesOnTheWay + solver_->simplex_iterations_now() / kIterationsForATry;
  if (tries_on_the_way_ >= allowed) return;
  ++tries_on_the_way_;
  try_integers(variables_of(columns));
}

std::vector<double> IntegerTrials::variables_of(std::span<const double> columns) const {
  const auto x = columns.first(model_.cost.size());
  return {x.begin(), x.end()};
}

Status IntegerTrials::solve_fixed(const FixedModel& fixed, const std::vector<double>& assignment,
                                  BackendResult* found) {
  if (fixed.determined()) {
    found->outcome = Outcome::kOptimal;
    found->x.assign(model_.cost.size(), 0.0);
    fixed.complete(&found->x);
    return {};
  }
  Status status;
  if (const auto prepared = prepared_.find(assignment); prepared != prepared_.end()) {
    *found = std::move(prepared->second);
    prepared_.erase(prepared);
  } else {
    status = solver_->solve_conic(fixed.model(), found);
  }
  if (found->certificate == Certificate::kNone && found->x.size() == model_.cost.size()) {
    fixed.complete(&found->x);
  }
  return status;
}

bool IntegerTrials::offer(std::vector<double> x, const std::vector<double>& barx,
                          std::string_view origin) {
  const double tolerance =
      kTolerances * std::max(parameters_.get(DoubleParam::kFeasibilityTolerance),
                             parameters_.get(DoubleParam::kConicFeasibilityTolerance));
  if (x.size() != model_.cost.size()) return false;
  // Bounds are met exactly. In a large unit what is left of a tolerance would count.
  for (size_t j = 0; j < x.size(); ++j) {
    if (!is_semi(model_.var_kind[j])) {
      x[j] = std::clamp(x[j], model_.var_lower[j], model_.var_upper[j]);
    }
  }
  if (primal_violation(model_, x, barx) > tolerance) return false;
  const double objective = objective_sum(problem_, x, barx).value;
  if (!(objective < bounds_->incumbent())) return true;
  bounds_->lower_incumbent(objective);
  best_ = {std::move(x), barx};
  ++num_incumbents_;
  monitor_->incumbent(best_.x, best_.barx);
  monitor_->milestone(solver_->progress(), origin);
  return true;
}

// Cuts at the point that was found, or, where there is none, at the point x whose integers were
// tried.
void IntegerTrials::learn(const FixedModel& fixed, const BackendResult& found,
                          const std::vector<double>& x) {
  relaxation_->cut_by_duals(found);
  const bool has_point = found.x.size() == model_.cost.size();
  const bool is_ray = found.certificate == Certificate::kPrimalRay;
  const std::vector<double>& at = has_point && !is_ray ? found.x : x;
  relaxation_->cut_by_curvature(at);
  for (const size_t cone : fixed.dropped_cones()) relaxation_->cut_cone_at(cone, at);
}

// Quadratic constraints may be what makes the fixed model infeasible. Moves the point to where
// their tangents show it (Fletcher and Leyffer, see outer_approximation.h).
void IntegerTrials::find_violation(const FixedModel& fixed, std::vector<double>* at) {
  if (fixed.model().quadratic_coefficients.empty()) return;
  BackendResult found;
  const Status status = solver_->solve_conic(fixed.elastic_model(), &found);
  if (!status.ok() || found.outcome != Outcome::kOptimal) return;
  std::copy_n(found.x.begin(), at->size(), at->begin());
  fixed.complete(at);
  found.x.resize(at->size());
  found.snx.resize(at->size());
  relaxation_->cut_by_duals(found);
}

}  // namespace vorlan::outer
