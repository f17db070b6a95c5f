// The rounds of outer approximation; see outer_approximation.h.
#include "solve/outer/outer_approximation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/checker.h"
#include "solve/check/clean_rays.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "solve/conic/conic_backend.h"
#include "solve/highs/highs_backend.h"
#include "solve/run/listener.h"
#include "task/packed_matrices.h"
#include "task/text.h"

namespace vorlan::outer {
namespace {

// Early relaxations need not be solved to the end: they are wrong anyway.
constexpr double kLooseGap = 0.02;
// The share of the gap asked for that a relaxation may leave, more exact whenever it brings nothing
// new.
constexpr double kGapShares[] = {0.5, 0.1, 0.0};
constexpr int kMostExact = 2;
// The tolerance of integers and constraints of the most exact relaxation: its constraints together
// leave its bound that much weaker, times their multipliers.
constexpr double kStrict = 1e-9;
// How often integers are tried on the way to a relaxation's optimum: so many times, and once more
// for so many simplex iterations. A count, not a time, so that every run goes the same way.
constexpr int64_t kTriesOnTheWay = 5;
constexpr int64_t kIterationsForATry = 2000;
// The largest violation of an incumbent, ten times the tolerance asked for at most: as the checker
// holds claims.
constexpr double kTolerances = 10.0;
// Bounds from which cuts are made are taken to be this much weaker, beside their rounding.
constexpr double kCaution = 1e-6;

class InnerMonitor : public BackendMonitor {
 public:
  InnerMonitor(OuterApproximation* method, bool is_linear) : method_(method), linear_(is_linear) {}
  void log(std::string_view) override {}
  bool should_stop(const Progress& progress) override {
    return method_->should_stop(linear_ ? progress : Progress{});
  }
  void incumbent(std::span<const double> columns, std::span<const double>) override {
    method_->try_on_the_way(columns);
  }

 private:
  OuterApproximation* method_;
  bool linear_;
};

// A stop from outside; a solve that stalls has ended by itself, without an answer.
bool is_interrupted(const BackendResult& found) {
  return found.outcome == Outcome::kStopped &&
         (found.termination == Code::kTrmTimeLimit || found.termination == Code::kTrmUserCallback);
}

// Without integers; a semi-continuous variable is between 0 and what it can be.
Model relax(Model model) {
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (is_semi(model.var_kind[j])) {
      model.var_lower[j] = std::min(0.0, model.var_lower[j]);
      model.var_upper[j] = std::max(0.0, model.var_upper[j]);
    }
    model.var_kind[j] = VarKind::kContinuous;
  }
  return model;
}

// The variable that alone is the objective, -1 when there is none.
int32_t find_objective_variable(const MinimizeProblem& problem) {
  if (!problem.model.quadratic_cost.empty() || !problem.model.matrix_cost.empty()) return -1;
  int32_t variable = -1;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    if (problem.cost[j] == 0.0) continue;
    if (problem.cost[j] < 0.0 || variable >= 0) return -1;
    variable = static_cast<int32_t>(j);
  }
  return variable;
}

std::string figure(double value) {
  return std::isfinite(value) ? format_text("%.8g", value) : std::string("-");
}

}  // namespace

OuterApproximation::OuterApproximation(const MinimizeProblem& problem, const Parameters& parameters,
                                       double end, BackendMonitor* monitor)
    : problem_(problem),
      model_(problem.model),
      parameters_(parameters),
      end_(end),
      monitor_(monitor),
      rows_(problem.model),
      begin_(monotonic_seconds()),
      relative_gap_(parameters.get(DoubleParam::kMipRelativeGap)),
      absolute_gap_(parameters.get(DoubleParam::kMipAbsoluteGap)),
      lower_cutoff_(problem.cutoffs.lower),
      upper_cutoff_(problem.cutoffs.upper) {
  const double constant = problem.sense_factor() * model_.constant;
  lower_cutoff_ -= constant;
  upper_cutoff_ -= constant;
}

double OuterApproximation::seconds_left() const { return end_ - monotonic_seconds(); }

Status OuterApproximation::run(BackendResult* result) {
  Status status = solve_relaxation(result);
  if (!status.ok() || relaxation_ == nullptr) return status;
  return solve_rounds(result);
}

// ---- Progress and ends ----------------------------------------------------------------------

double OuterApproximation::gap() const { return incumbent_ - bound_; }

double OuterApproximation::absolute_tolerance() const {
  const double size = std::fabs(incumbent_ + problem_.sense_factor() * model_.constant);
  return std::max(absolute_gap_, relative_gap_ * size);
}

bool OuterApproximation::is_closed() const {
  return !contradicted_ && std::isfinite(incumbent_) && gap() <= absolute_tolerance();
}

// How far a bound of the relaxation can be above the incumbent, which is a point of it: by the
// rounding of both.
double OuterApproximation::doubt() const {
  return absolute_tolerance() + kCaution * std::max(1.0, std::fabs(incumbent_));
}

// A bound that the incumbent contradicts is wrong, and so may be those before it.
void OuterApproximation::raise_bound(double bound) {
  if (!std::isfinite(bound)) return;
  if (std::isfinite(incumbent_) && bound > incumbent_ + doubt()) {
    contradicted_ = true;
  } else {
    bound_ = std::max(bound_, bound);
  }
}

Progress OuterApproximation::progress() const {
  Progress progress;
  progress.objective = incumbent_;
  progress.bound = std::min(bound_, incumbent_);
  if (std::isfinite(incumbent_) && std::isfinite(bound_)) {
    const double size = std::fabs(incumbent_ + problem_.sense_factor() * model_.constant);
    const double distance = std::max(0.0, gap());
    progress.relative_gap = distance == 0.0 ? 0.0 : distance / std::max(size, 1e-10);
  }
  progress.nodes = nodes_ + nodes_now_;
  progress.simplex_iterations = simplex_ + simplex_now_;
  progress.interior_iterations = interior_;
  return progress;
}

bool OuterApproximation::should_stop(const Progress& inner) {
  nodes_now_ = std::max(nodes_now_, inner.nodes);
  simplex_now_ = std::max(simplex_now_, inner.simplex_iterations);
  raise_bound(inner.bound / objective_factor_);
  return monitor_->should_stop(progress()) || seconds_left() <= 0.0 || is_closed() || contradicted_;
}

void OuterApproximation::finish(Outcome outcome, Code termination, BackendResult* result) const {
  *result = {};
  result->outcome = outcome;
  result->termination = termination;
  result->progress = progress();
  if (outcome != Outcome::kOptimal && outcome != Outcome::kStopped) return;
  result->x = best_x_;
  result->barx = best_barx_;
}

// What is left is what the continuous model proves.
void OuterApproximation::withdraw_bound() {
  contradicted_ = true;
  const bool holds = root_bound_ <= incumbent_ + doubt();
  bound_ = holds ? root_bound_ : -kInfinity;
}

bool OuterApproximation::reaches_limit(BackendResult* result) const {
  const auto is_reached = [&](IntParam limit, int64_t count) {
    return parameters_.get(limit) < kIntMax && count >= parameters_.get(limit);
  };
  if (incumbent_ < lower_cutoff_ || bound_ > upper_cutoff_) {
    finish(Outcome::kStopped, Code::kTrmObjectiveCutoff, result);
  } else if (is_closed()) {
    finish(Outcome::kOptimal, Code::kOk, result);
  } else if (is_reached(IntParam::kMipSolutionLimit, num_incumbents_)) {
    finish(Outcome::kStopped, Code::kTrmSolutionLimit, result);
  } else if (is_reached(IntParam::kMipNodeLimit, nodes_)) {
    finish(Outcome::kStopped, Code::kTrmNodeLimit, result);
  } else if (seconds_left() <= 0.0) {
    finish(Outcome::kStopped, Code::kTrmTimeLimit, result);
  } else if (monitor_->should_stop(progress())) {
    finish(Outcome::kStopped, Code::kTrmUserCallback, result);
  } else {
    return false;
  }
  return true;
}

void OuterApproximation::log_round(double value) {
  const double factor = problem_.sense_factor();
  std::string text;
  if (round_ == 0) {
    text =
        "Outer approximation\n round        relaxation             bound         incumbent   "
        "   cuts       nodes       time\n";
  }
  const auto shown = [&](double objective) { return figure(factor * objective + model_.constant); };
  text += format_text("%6d %17s %17s %17s %9d %11lld %8.1f s\n", round_, shown(value).c_str(),
                      shown(progress().bound).c_str(), shown(incumbent_).c_str(),
                      relaxation_->num_cuts(), static_cast<long long>(nodes_),
                      monotonic_seconds() - begin_);
  monitor_->log(text);
}

// ---- The continuous models ------------------------------------------------------------------

// Leaves no relaxation when the model is settled.
Status OuterApproximation::solve_relaxation(BackendResult* result) {
  const Model relaxed = relax(model_);
  InnerMonitor monitor(this, false);
  BackendResult found;
  Status status =
      kConicBackend.solve(MinimizeProblem(relaxed), parameters_, seconds_left(), &monitor, &found);
  if (!status.ok()) return status;
  interior_ += found.progress.interior_iterations;
  if (is_interrupted(found) || found.termination == Code::kTrmIterationLimit) {
    if (!reaches_limit(result)) finish(Outcome::kStopped, found.termination, result);
    return {};
  }
  const bool is_proof = found.certificate == Certificate::kDualRay;
  if (found.outcome == Outcome::kInfeasible && is_proof && complete_dual_ray(relaxed, &found)) {
    finish(Outcome::kInfeasible, Code::kOk, result);
    return {};
  }
  const bool is_ray = found.certificate == Certificate::kPrimalRay;
  if (is_ray && complete_primal_ray(MinimizeProblem(relaxed), &found)) {
    finish(Outcome::kUnbounded, Code::kOk, result);
    result->x = std::move(found.x);
    return {};
  }
  relaxation_ = std::make_unique<Relaxation>(problem_);
  if (found.outcome != Outcome::kOptimal) {
    learn_from_stall(found);
    return inner_failure_;
  }
  const MinimizeProblem continuous(relaxed);
  const double objective = objective_sum(continuous, found.x, found.barx).value;
  const double proven = dual_objective(continuous, found);
  raise_bound(proven - std::fabs(objective - proven));
  root_bound_ = bound_;
  choose_objective_factor(objective);
  bound_heads(relaxed);
  relaxation_->cut_by_duals(found);
  relaxation_->cut_by_curvature(found.x);
  relaxed_point_ = relaxation_->lift(found.x, found.barx);
  log_round(objective);
  if (problem_.start != nullptr && problem_.start->xx.size() == model_.cost.size()) {
    try_integers(problem_.start->xx);
  }
  try_integers(found.x);
  if (relaxation_->has_switched_parts()) refine_relaxation();
  return inner_failure_;
}

// Branch and bound takes differences of 1e-6 in the objective for none: the gap asked for is to be
// well above.
void OuterApproximation::choose_objective_factor(double objective) {
  constexpr double kSmall = 16.0;
  constexpr int kSize = 10;
  constexpr double kMostCost = 1e6;
  const double size = std::fabs(objective + problem_.sense_factor() * model_.constant);
  const double cost = std::max(largest(relaxation_->make_model().cost), 1e-300);
  if (!(size > 0.0) || size >= kSmall) return;
  const double wanted = std::ldexp(1.0, kSize - std::ilogb(size));
  const double most = std::ldexp(1.0, std::ilogb(kMostCost / cost));
  objective_factor_ = std::max(1.0, std::min(wanted, most));
}

// Without an answer to the continuous model the rounds begin with what its last point says.
void OuterApproximation::learn_from_stall(const BackendResult& found) {
  const bool has_point = found.certificate == Certificate::kNone &&
                         found.x.size() == model_.cost.size() &&
                         found.barx.size() == index(packed_starts(model_).back());
  if (has_point) {
    relaxation_->cut_by_duals(found);
    relaxation_->separate(relaxation_->lift(found.x, found.barx));
  }
  log_round(kInfinity);
  if (has_point) try_integers(found.x);
}

// What a variable is no less than, by the multipliers of the continuous model.
double OuterApproximation::least_value(const Model& relaxed, int32_t var) {
  Model model = without_objective(relaxed);
  model.cost[index(var)] = 1.0;
  const MinimizeProblem problem(model);
  InnerMonitor monitor(this, false);
  BackendResult found;
  const Status status = kConicBackend.solve(problem, parameters_, seconds_left(), &monitor, &found);
  interior_ += found.progress.interior_iterations;
  if (!status.ok() || found.outcome != Outcome::kOptimal) return -kInfinity;
  const double value = found.x[index(var)];
  const double proven = dual_objective(problem, found);
  return proven - std::fabs(value - proven) - kCaution * std::max(1.0, std::fabs(proven));
}

void OuterApproximation::bound_heads(const Model& relaxed) {
  constexpr size_t kMostHeads = 8;
  const std::vector<int32_t> heads = relaxation_->heads_to_bound();
  for (size_t k = 0; k < std::min(kMostHeads, heads.size()) && seconds_left() > 0.0; ++k) {
    if (heads[k] == find_objective_variable(problem_)) objective_head_ = heads[k];
    relaxation_->raise_head_floor(heads[k], least_value(relaxed, heads[k]));
  }
}

// Where the objective is the head of a cone, bounds of the one are bounds of the other.
void OuterApproximation::raise_objective_head(double bound) {
  if (objective_head_ < 0 || !std::isfinite(bound)) return;
  const double cautious = bound - kCaution * std::max(1.0, std::fabs(bound));
  relaxation_->raise_head_floor(objective_head_, cautious / problem_.cost[index(objective_head_)]);
}

// Cuts off optima of the relaxation without integers, as long as this brings its bound up: cuts of
// switched variables are stronger than the continuous model.
void OuterApproximation::refine_relaxation() {
  constexpr int kMostRefinements = 20;
  constexpr double kLeastShare = 0.02;  // of what all refinements have won so far
  Parameters parameters = linear_parameters();
  parameters.set(IntParam::kOptimizer, kFreeOptimizer);
  InnerMonitor monitor(this, false);
  const size_t first_row = relaxation_->num_rows();
  double first = 0.0;
  double last = 0.0;
  std::vector<double> point;
  for (int k = 0; k < kMostRefinements && seconds_left() > 0.0; ++k) {
    const Model linear = relax(relaxation_->make_model());
    BackendResult found;
    const Status status =
        kHighsBackend.solve(MinimizeProblem(linear), parameters, seconds_left(), &monitor, &found);
    if (!status.ok() || found.outcome != Outcome::kOptimal) return;
    simplex_ += found.progress.simplex_iterations;
    point = std::move(found.x);
    const double objective = dot(linear.cost, point);
    raise_objective_head(objective);
    const bool stalls = k > 1 && objective - last <= kLeastShare * (objective - first);
    if (k == 0) first = objective;
    last = objective;
    if (stalls || relaxation_->separate(point) == 0) break;
  }
  if (!point.empty()) relaxation_->drop_loose_cuts(first_row, point);
}

Status OuterApproximation::solve_fixed(const FixedModel& fixed, BackendResult* found) {
  if (fixed.determined()) {
    found->outcome = Outcome::kOptimal;
    found->x.assign(model_.cost.size(), 0.0);
    fixed.complete(&found->x);
    return {};
  }
  InnerMonitor monitor(this, false);
  MinimizeProblem problem(fixed.model());
  Status status = kConicBackend.solve(problem, parameters_, seconds_left(), &monitor, found);
  interior_ += found->progress.interior_iterations;
  if (found->certificate == Certificate::kNone && found->x.size() == model_.cost.size()) {
    fixed.complete(&found->x);
  }
  return status;
}

bool OuterApproximation::offer(std::vector<double> x, const std::vector<double>& barx) {
  const double tolerance =
      kTolerances * std::max(parameters_.get(DoubleParam::kFeasibilityTolerance),
                             parameters_.get(DoubleParam::kConicFeasibilityTolerance));
  if (x.size() != model_.cost.size()) return false;
  // A bound is met exactly, which in a large unit counts.
  for (size_t j = 0; j < x.size(); ++j) {
    if (!is_semi(model_.var_kind[j]))
      x[j] = std::clamp(x[j], model_.var_lower[j], model_.var_upper[j]);
  }
  if (primal_violation(model_, x, barx) > tolerance) return false;
  const double objective = objective_sum(problem_, x, barx).value;
  if (!(objective < incumbent_)) return true;
  incumbent_ = objective;
  if (bound_ > incumbent_ + doubt()) withdraw_bound();
  best_x_ = std::move(x);
  best_barx_ = barx;
  ++num_incumbents_;
  monitor_->incumbent(best_x_, best_barx_);
  return true;
}

// x: the point that the integers are of.
void OuterApproximation::learn(const FixedModel& fixed, const BackendResult& found,
                               const std::vector<double>& x) {
  relaxation_->cut_by_duals(found);
  const bool has_point = found.x.size() == model_.cost.size();
  const bool is_ray = found.certificate == Certificate::kPrimalRay;
  const std::vector<double>& at = has_point && !is_ray ? found.x : x;
  relaxation_->cut_by_curvature(at);
  for (const size_t cone : fixed.dropped_cones()) relaxation_->cut_cone_at(cone, at);
}

bool OuterApproximation::try_integers(const std::vector<double>& x) {
  std::vector<double> assignment = find_assignment(model_, x);
  const double tolerance = parameters_.get(DoubleParam::kFeasibilityTolerance);
  if (tried_.count(assignment) != 0) return false;
  const FixedModel fixed(model_, rows_, assignment, tolerance);
  BackendResult found;
  std::vector<double> at = x;
  if (fixed.infeasible()) {
    fixed.complete(&at);
    learn(fixed, found, at);
    tried_.insert(std::move(assignment));
    return true;
  }
  Status status = solve_fixed(fixed, &found);
  if (!status.ok()) {
    inner_failure_ = std::move(status);
    return false;
  }
  if (is_interrupted(found)) return true;
  tried_.insert(std::move(assignment));
  if (found.certificate == Certificate::kNone) offer(found.x, found.barx);
  if (found.outcome == Outcome::kInfeasible) find_violation(fixed, &at);
  learn(fixed, found, at);
  return true;
}

// Where quadratic constraints may be what makes the fixed model infeasible: moves the point to
// where their tangents show it (Fletcher and Leyffer).
void OuterApproximation::find_violation(const FixedModel& fixed, std::vector<double>* at) {
  if (fixed.model().quadratic_coefficients.empty()) return;
  const Model elastic = fixed.elastic_model();
  InnerMonitor monitor(this, false);
  BackendResult found;
  const Status status =
      kConicBackend.solve(MinimizeProblem(elastic), parameters_, seconds_left(), &monitor, &found);
  interior_ += found.progress.interior_iterations;
  if (!status.ok() || found.outcome != Outcome::kOptimal) return;
  std::copy_n(found.x.begin(), at->size(), at->begin());
  fixed.complete(at);
  found.x.resize(at->size());
  found.snx.resize(at->size());
  relaxation_->cut_by_duals(found);
}

void OuterApproximation::try_on_the_way(std::span<const double> columns) {
  if (tries_on_the_way_ >= kTriesOnTheWay + simplex_now_ / kIterationsForATry) return;
  ++tries_on_the_way_;
  try_integers({columns.begin(), columns.begin() + static_cast<ptrdiff_t>(model_.cost.size())});
}

// ---- The linear relaxation ------------------------------------------------------------------

Parameters OuterApproximation::linear_parameters() const {
  Parameters parameters = parameters_;
  const double share = kGapShares[exactness_];
  double relative = share * relative_gap_;
  const double size = std::max(1e-10, std::fabs(incumbent_));
  if (exactness_ == 0) {
    const double rest = std::isfinite(incumbent_) ? 0.1 * gap() / size : kLooseGap;
    relative = std::max(relative, std::min(rest, kLooseGap));
  }
  if (careful_) parameters.set(IntParam::kPresolve, 0);
  if (exactness_ == kMostExact || careful_) {
    parameters.set(DoubleParam::kIntegralityTolerance, kStrict);
    parameters.set(DoubleParam::kFeasibilityTolerance, kStrict);
  }
  parameters.set(DoubleParam::kMipRelativeGap, relative);
  parameters.set(DoubleParam::kMipAbsoluteGap, share * absolute_gap_ * objective_factor_);
  parameters.set(IntParam::kMipSolutionLimit, kIntMax);
  const int64_t limit = parameters_.get(IntParam::kMipNodeLimit);
  if (limit < kIntMax) {
    const int64_t left = std::max<int64_t>(0, limit - nodes_);
    parameters.set(IntParam::kMipNodeLimit, static_cast<int32_t>(left));
  }
  return parameters;
}

Solution OuterApproximation::linear_start() const {
  Solution start;
  if (!std::isfinite(incumbent_)) return start;
  start.defined = true;
  start.status = SolutionStatus::kPrimalFeasible;
  start.xx = relaxation_->lift(best_x_, best_barx_);
  return start;
}

Status OuterApproximation::solve_linear(BackendResult* found) {
  Model model = relaxation_->make_model();
  for (double& cost : model.cost) cost *= objective_factor_;
  model.constant *= objective_factor_;
  cuts_in_relaxation_ = relaxation_->num_cuts();
  const Solution start = linear_start();
  const MinimizeProblem problem(model, start.defined ? &start : nullptr);
  InnerMonitor monitor(this, true);
  nodes_now_ = 0;
  simplex_now_ = 0;
  tries_on_the_way_ = 0;
  Status status =
      kHighsRelaxationBackend.solve(problem, linear_parameters(), seconds_left(), &monitor, found);
  nodes_now_ = 0;
  simplex_now_ = 0;
  found->progress.objective /= objective_factor_;
  found->progress.bound /= objective_factor_;
  nodes_ += std::max<int64_t>(0, found->progress.nodes);
  simplex_ += std::max<int64_t>(0, found->progress.simplex_iterations);
  return status.ok() ? inner_failure_ : status;
}

// A relaxation that is unbounded although the model is not: its cuts say too little. Without
// integers it has a ray, which is cut off. False when nothing helps.
bool OuterApproximation::bound_relaxation(bool* infeasible) {
  const Model linear = relax(relaxation_->make_model());
  Parameters parameters = linear_parameters();
  parameters.set(IntParam::kOptimizer, kFreeOptimizer);
  InnerMonitor monitor(this, false);
  BackendResult found;
  const Status status =
      kHighsBackend.solve(MinimizeProblem(linear), parameters, seconds_left(), &monitor, &found);
  if (!status.ok()) return false;
  *infeasible = found.outcome == Outcome::kInfeasible && found.certificate == Certificate::kDualRay;
  if (*infeasible) return false;
  if (found.certificate == Certificate::kPrimalRay) {
    double size = 0.0;
    for (const double step : found.x) size = std::max(size, std::fabs(step));
    for (double& step : found.x) step /= size;
    if (relaxation_->separate_ray(found.x) > 0) return true;
  }
  // Bounded, but by no more than rounding: tangents that are not parallel to the objective.
  const bool optimal = found.outcome == Outcome::kOptimal;
  const std::vector<double>& point = optimal ? found.x : relaxed_point_;
  if (!point.empty() && relaxation_->separate(point) + relaxation_->cut_around(point) > 0) {
    return true;
  }
  if (has_floor_ || !std::isfinite(bound_)) return false;
  has_floor_ = true;
  relaxation_->add_objective_floor(bound_ - 1e-6 * std::max(1.0, std::fabs(bound_)));
  return true;
}

// Whether a point of the relaxation leads to anything that it did not know: what was tried on the
// way to the point counts.
bool OuterApproximation::is_new_ground(const std::vector<double>& columns) {
  const std::vector<double> x(columns.begin(),
                              columns.begin() + static_cast<ptrdiff_t>(model_.cost.size()));
  const bool is_new = try_integers(x);
  relaxation_->separate(columns);
  if (is_new || relaxation_->num_cuts() > cuts_in_relaxation_) return true;
  if (exactness_ < kMostExact) {
    ++exactness_;
    return true;
  }
  // The relaxation's own point satisfies the model as far as can be seen.
  const double before = incumbent_;
  offer(x, relaxation_->matrix_elements(columns));
  return incumbent_ < before;
}

// The relaxation has a point, the lifted incumbent, that is better than its bound: a cut that the
// point violates is wrong, or else the solve was. Goes on without both, with neither presolve nor
// loose tolerances, and gives up when it happens again. What was a bound so far is none.
bool OuterApproximation::look_into_contradiction(BackendResult* result) {
  const int dropped = relaxation_->drop_violated_cuts(relaxation_->lift(best_x_, best_barx_));
  withdraw_bound();
  monitor_->log("The relaxation's bound contradicts the incumbent and does not count\n");
  contradicted_ = false;
  if (careful_ && dropped == 0) {
    finish(Outcome::kStopped, Code::kTrmStall, result);
    return false;
  }
  careful_ = true;
  return !reaches_limit(result);
}

bool OuterApproximation::go_on(const BackendResult& found, BackendResult* result) {
  bool infeasible = found.outcome == Outcome::kInfeasible;
  const bool unbounded =
      found.outcome == Outcome::kUnbounded || found.outcome == Outcome::kInfeasibleOrUnbounded;
  if (unbounded && bound_relaxation(&infeasible)) return true;
  // The incumbent is a point of the relaxation, which cannot be infeasible then; without one, that
  // it is wants a second opinion.
  if (infeasible && std::isfinite(incumbent_)) contradicted_ = true;
  if (infeasible && !contradicted_) {
    if (!careful_) return careful_ = true;
    finish(Outcome::kInfeasible, Code::kOk, result);
    return false;
  }
  if (!infeasible) raise_bound(found.progress.bound);
  if (contradicted_) return look_into_contradiction(result);
  if (unbounded) {
    finish(Outcome::kStopped, Code::kTrmStall, result);
    return false;
  }
  raise_objective_head(bound_);
  const bool stopped = found.outcome == Outcome::kStopped;
  const bool has_point = found.x.size() == relaxation_->num_columns();
  const bool goes_on = has_point && is_new_ground(found.x);
  ++round_;
  log_round(found.progress.objective);
  if (reaches_limit(result)) return false;
  if (goes_on && !stopped) return true;
  finish(Outcome::kStopped, stopped ? found.termination : Code::kTrmStall, result);
  return false;
}

Status OuterApproximation::solve_rounds(BackendResult* result) {
  while (!reaches_limit(result)) {
    BackendResult found;
    Status status = solve_linear(&found);
    if (!status.ok()) return status;
    if (!go_on(found, result)) break;
    if (!inner_failure_.ok()) return inner_failure_;
  }
  return {};
}

}  // namespace vorlan::outer
