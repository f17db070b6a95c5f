// The rounds of outer approximation, and their ends.
#include "solve/outer/outer_approximation.h"

#include <cmath>
#include <string>
#include <utility>

#include "solve/outer/first_points.h"
#include "solve/outer/inner_approximation.h"
#include "solve/outer/tree_search.h"
#include "solve/run/listener.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan::outer {
namespace {

// A norm of so many members takes so many cuts that one tree is better than rounds, each of which
// builds a tree of its own. Other models need the presolve and the integer cuts of the rounds more,
// unless their rows give these nothing to work with. Such go to the tree after the first round.
constexpr size_t kLargeNorm = 10;

// A matrix of so many elements makes the continuous relaxation take seconds.
constexpr size_t kManyElements = 100000;

}  // namespace

OuterApproximation::OuterApproximation(const MinimizeProblem& problem, const Parameters& parameters,
                                       double end, BackendMonitor* monitor)
    : problem_(problem),
      parameters_(parameters),
      monitor_(monitor),
      bounds_(problem, parameters),
      solver_(parameters, end, monitor, &bounds_) {}

Status OuterApproximation::run(BackendResult* result) {
  try_without_relaxation();
  if (trials_ != nullptr && reaches_limit(result)) return {};
  ContinuousRelaxation continuous(problem_.model);
  Status status = continuous.solve(&solver_);
  if (!status.ok() || !settle_continuous(&continuous, result)) return status;
  begin(continuous);
  if (!trials_->failure().ok()) return trials_->failure();
  bool wants_tree = TreeSearch::suits(problem_.model);
  while (!reaches_limit(result) || doubts_cuts(*result)) {
    if (wants_tree && is_time_for_tree()) {
      wants_tree = false;
      search_tree();
      if (!trials_->failure().ok()) return trials_->failure();
      continue;
    }
    BackendResult found;
    status = relaxation_solver_->solve(trials_.get(), &found);
    if (!status.ok()) return status;
    if (!finish_round(found, result)) break;
    if (!trials_->failure().ok()) return trials_->failure();
  }
  return {};
}

// ---- The continuous relaxation --------------------------------------------------------------

bool OuterApproximation::settle_continuous(ContinuousRelaxation* continuous,
                                           BackendResult* result) {
  if (continuous->is_stopped()) {
    if (!reaches_limit(result)) {
      finish(Outcome::kStopped, continuous->answer().termination, result);
    }
    return false;
  }
  if (continuous->is_infeasible() && !bounds_.has_incumbent()) {
    finish(Outcome::kInfeasible, Code::kOk, result);
    return false;
  }
  if (continuous->is_unbounded()) {
    finish(Outcome::kUnbounded, Code::kOk, result);
    result->x = continuous->answer().x;
    result->barx = continuous->answer().barx;
    return false;
  }
  return true;
}

void OuterApproximation::make_parts() {
  if (trials_ != nullptr) return;
  relaxation_ = std::make_unique<Relaxation>(problem_);
  relaxation_solver_ = std::make_unique<RelaxationSolver>(problem_, parameters_, &solver_, &bounds_,
                                                          relaxation_.get());
  trials_ = std::make_unique<IntegerTrials>(problem_, parameters_, monitor_, &solver_, &bounds_,
                                            relaxation_.get());
}

// Every integer variable begins at its upper bound: what is on serves a demand and pays a price, as
// a rule. Quadratic terms are not known to be convex yet.
void OuterApproximation::try_without_relaxation() {
  const Model& model = problem_.model;
  const bool is_large = model.matrix.value.size() >= kManyElements && !model.cones.empty();
  const bool is_conic = model.quadratic_cost.empty() && model.quadratic_coefficients.empty() &&
                        model.matrix_vars.empty();
  if (!is_large || !is_conic) return;
  make_parts();
  const Model linear = relaxation_->make_model();
  std::vector<double> x(model.cost.size(), 0.0);
  for (size_t j = 0; j < x.size(); ++j) {
    if (std::isfinite(linear.var_upper[j])) x[j] = linear.var_upper[j];
  }
  const std::vector<double> point = with_largest_rounded_up(linear, x);
  if (!point.empty()) trials_->try_roughly(point);
}

void OuterApproximation::begin(const ContinuousRelaxation& continuous) {
  make_parts();
  if (continuous.is_optimal()) {
    learn_from_optimum(continuous);
  } else {
    learn_from_stall(continuous);
  }
}

void OuterApproximation::learn_from_optimum(const ContinuousRelaxation& continuous) {
  const BackendResult& found = continuous.answer();
  bounds_.set_root_bound(continuous.bound());
  relaxation_solver_->choose_objective_factor(continuous.objective());
  continuous.bound_heads(&solver_, relaxation_.get());
  relaxation_->cut_by_duals(found);
  relaxation_->cut_by_curvature(found.x);
  relaxed_point_ = relaxation_->lift(found.x, found.barx);
  log_round();
  learn_from_perspectives();
  if (problem_.start != nullptr && problem_.start->xx.size() == problem_.cost.size()) {
    trials_->try_integers(problem_.start->xx, "start");
  }
  trials_->try_integers(found.x);
  try_first_points(continuous);
  if (relaxation_->has_switched_parts()) relaxation_solver_->refine();
  relaxation_->cut_along_exponentials();
}

void OuterApproximation::try_first_points(const ContinuousRelaxation& continuous) {
  const Model linear = relaxation_->make_model();
  const std::vector<double>& x = continuous.answer().x;
  try_rounded(linear, x);
  if (bounds_.has_incumbent() || solver_.should_stop()) return;
  try_deep_point(continuous, linear);
  if (bounds_.has_incumbent() || solver_.should_stop()) return;
  try_numbers_on(linear, x);
  if (bounds_.has_incumbent() || solver_.should_stop()) return;
  try_inner_point(x);
  if (!bounds_.has_incumbent() && !solver_.should_stop()) try_dive(continuous);
}

void OuterApproximation::try_rounded(const Model& linear, const std::vector<double>& x) {
  const std::vector<std::vector<double>> points = first_points(linear, x);
  trials_->prepare(points);
  for (const std::vector<double>& point : points) {
    if (solver_.should_stop() || !trials_->failure().ok()) return;
    trials_->try_integers(point);
  }
}

// What is on deep inside the cones is what keeps a point feasible, and what is on at the optimum
// makes it a good one: together they are often both.
void OuterApproximation::try_deep_point(const ContinuousRelaxation& continuous,
                                        const Model& linear) {
  std::vector<double> point = with_least_integers(linear, continuous.answer().x);
  const std::vector<double> deep = continuous.deepest_point(&solver_);
  if (point.empty() || deep.empty()) return;
  const std::vector<double> least = with_least_integers(linear, deep);
  for (size_t j = 0; j < point.size(); ++j) {
    if (linear.var_kind[j] == VarKind::kInteger) point[j] = std::max(point[j], least[j]);
  }
  try_rounded(linear, point);
}

void OuterApproximation::try_dive(const ContinuousRelaxation& continuous) {
  const Model linear = relaxation_->make_model();
  const auto solve = [&](const std::vector<double>& lower, const std::vector<double>& upper) {
    return continuous.solve_within(lower, upper, &solver_);
  };
  const std::vector<double> point = dive(linear, continuous.answer().x, solve);
  if (!point.empty()) trials_->try_integers(point);
}

// The bound and the cuts at the optimum of a stronger continuous model.
void OuterApproximation::learn_from_perspectives() {
  ContinuousRelaxation strong(relaxation_->perspective_model());
  const size_t count = problem_.cost.size();
  if (strong.num_variables() == count || solver_.should_stop()) return;
  if (!strong.solve(&solver_).ok() || !strong.is_optimal()) return;
  bounds_.raise_bound(strong.bound());
  std::vector<double> x = strong.answer().x;
  x.resize(count);
  relaxation_->cut_by_curvature(x);
  trials_->try_integers(x);
}

// Searches by halves how many of the largest variables can be on.
void OuterApproximation::try_numbers_on(const Model& linear, const std::vector<double>& x) {
  const auto is_better = [&](size_t count) {
    const double before = bounds_.incumbent();
    const std::vector<double> point = with_largest_on(linear, x, count);
    if (!point.empty()) trials_->try_integers(point);
    return bounds_.incumbent() < before;
  };
  if (is_better(count_on(linear, x))) return;
  size_t good = 0;
  size_t bad = count_integers(linear, x.size());
  if (!is_better(good)) {
    std::swap(good, bad);
    if (!is_better(good)) return;
  }
  while (std::max(good, bad) - std::min(good, bad) > 1) {
    if (solver_.should_stop() || !trials_->failure().ok()) return;
    const size_t middle = (good + bad) / 2;
    (is_better(middle) ? good : bad) = middle;
  }
}

// Tries the integers of the first point that branch and cut finds inside the cones.
void OuterApproximation::try_inner_point(const std::vector<double>& x) {
  constexpr int32_t kMostNodes = 50;
  const Model& model = problem_.model;
  if (!has_inner_approximation(model)) return;
  const Model linear = approximate_within(model, x);
  Parameters parameters = parameters_;
  parameters.set(IntParam::kMipSolutionLimit, 1);
  parameters.set(IntParam::kMipNodeLimit,
                 std::min(kMostNodes, parameters.get(IntParam::kMipNodeLimit)));
  BackendResult found;
  const Status status = solver_.solve_aside(MinimizeProblem(linear), parameters, &found);
  if (!status.ok() || found.x.size() != linear.cost.size()) return;
  found.x.resize(model.cost.size());
  trials_->try_integers(found.x);
}

// Without an answer to the continuous model the rounds begin with what its last point says.
void OuterApproximation::learn_from_stall(const ContinuousRelaxation& continuous) {
  const BackendResult& found = continuous.answer();
  if (continuous.has_point()) {
    relaxation_->cut_by_duals(found);
    relaxation_->separate(relaxation_->lift(found.x, found.barx));
  }
  log_round();
  if (continuous.has_point()) trials_->try_integers(found.x);
}

// ---- The tree -------------------------------------------------------------------------------

bool OuterApproximation::is_time_for_tree() const {
  if (relaxation_->largest_norm() >= kLargeNorm) return true;
  if (round_ == 0 || relaxation_->has_binary_norms()) return false;
  return !TreeSearch::gains_by_rows(problem_.model);
}

void OuterApproximation::search_tree() {
  BackendResult ignored;
  TreeSearch tree(relaxation_solver_->objective_factor(), &solver_, &bounds_, trials_.get(),
                  relaxation_.get(), parameters_);
  tree.run([&] { return reaches_limit(&ignored); });
  if (bounds_.is_contradicted()) look_into_contradiction(&ignored);
  ++round_;
  log_round();
}

// ---- The rounds -----------------------------------------------------------------------------

bool OuterApproximation::finish_round(const BackendResult& found, BackendResult* result) {
  bool infeasible = found.outcome == Outcome::kInfeasible;
  const bool unbounded =
      found.outcome == Outcome::kUnbounded || found.outcome == Outcome::kInfeasibleOrUnbounded;
  if (unbounded) {
    const auto repair = relaxation_solver_->bound_below(relaxed_point_);
    if (repair == RelaxationSolver::Repair::kChanged) return true;
    infeasible = repair == RelaxationSolver::Repair::kInfeasible;
  }
  // The incumbent is a point of the relaxation, which cannot be infeasible then. Without one,
  // infeasibility wants a second opinion.
  if (infeasible && bounds_.has_incumbent()) bounds_.contradict();
  if (infeasible && !bounds_.is_contradicted()) {
    if (relaxation_solver_->be_careful()) return true;
    finish(Outcome::kInfeasible, Code::kOk, result);
    return false;
  }
  if (!infeasible) bounds_.raise_bound(found.progress.bound);
  if (bounds_.is_contradicted()) return look_into_contradiction(result);
  if (unbounded) {
    finish(Outcome::kStopped, Code::kTrmStall, result);
    return false;
  }
  return learn_from_point(found, result);
}

// Before an optimum is claimed, every cut must hold at it: what violates one is a better reason to
// doubt the bound than none. Drops such cuts, and goes on without the bound that they gave.
bool OuterApproximation::doubts_cuts(const BackendResult& result) {
  if (result.outcome != Outcome::kOptimal || trials_ == nullptr) return false;
  const Incumbent& best = trials_->best();
  if (relaxation_->drop_violated_cuts(relaxation_->lift(best.x, best.barx)) == 0) return false;
  bounds_.withdraw_bound();
  relaxation_solver_->be_careful();
  monitor_->log("Cuts that the incumbent violates were dropped, and their bound does not count\n");
  return !bounds_.is_closed();
}

// The relaxation has a point, the lifted incumbent, that is better than its bound: a cut that the
// point violates is wrong, or else the solve was. Goes on without those cuts and with a more
// careful solve. Gives up when the careful solve contradicts itself and no cut is to blame.
bool OuterApproximation::look_into_contradiction(BackendResult* result) {
  const Incumbent& best = trials_->best();
  const int dropped = relaxation_->drop_violated_cuts(relaxation_->lift(best.x, best.barx));
  bounds_.withdraw_bound();
  monitor_->log("The relaxation's bound contradicts the incumbent and does not count\n");
  const bool changed = relaxation_solver_->be_careful() || dropped > 0;
  if (!changed) {
    finish(Outcome::kStopped, Code::kTrmStall, result);
    return false;
  }
  return !reaches_limit(result);
}

bool OuterApproximation::learn_from_point(const BackendResult& found, BackendResult* result) {
  relaxation_->use_bound(bounds_.bound());
  const bool stopped = found.outcome == Outcome::kStopped;
  const bool has_point = found.x.size() == relaxation_->num_columns();
  const bool goes_on = has_point && is_new_ground(found.x);
  ++round_;
  log_round();
  if (reaches_limit(result)) return false;
  if (goes_on && !stopped) return true;
  finish(Outcome::kStopped, stopped ? found.termination : Code::kTrmStall, result);
  return false;
}

// Whether a point of the relaxation leads to anything that the relaxation did not know. What was
// tried on the way to the point counts.
bool OuterApproximation::is_new_ground(const std::vector<double>& columns) {
  const auto end = columns.begin() + static_cast<ptrdiff_t>(problem_.cost.size());
  const std::vector<double> x(columns.begin(), end);
  const bool is_new = trials_->try_integers(x);
  relaxation_->separate(columns);
  if (is_new || relaxation_solver_->has_new_cuts()) return true;
  if (relaxation_solver_->be_more_exact()) return true;
  // What violates the model by less than can be cut may still be better than its optimum.
  if (trials_->has_settled(x)) return trials_->settle(x);
  // The relaxation's own point satisfies the model as far as can be seen.
  const double before = bounds_.incumbent();
  trials_->offer(x, relaxation_->matrix_elements(columns));
  return bounds_.incumbent() < before;
}

// ---- Ends -----------------------------------------------------------------------------------

void OuterApproximation::finish(Outcome outcome, Code termination, BackendResult* result) const {
  *result = {};
  result->outcome = outcome;
  result->termination = termination;
  result->progress = solver_.progress();
  if (outcome != Outcome::kOptimal && outcome != Outcome::kStopped) return;
  if (trials_ == nullptr) return;
  result->x = trials_->best().x;
  result->barx = trials_->best().barx;
}

bool OuterApproximation::reaches_limit(BackendResult* result) {
  const auto is_reached = [&](IntParam limit, int64_t count) {
    return parameters_.get(limit) < kIntMax && count >= parameters_.get(limit);
  };
  const int32_t num_incumbents = trials_ == nullptr ? 0 : trials_->num_incumbents();
  if (bounds_.is_cut_off()) {
    finish(Outcome::kStopped, Code::kTrmObjectiveCutoff, result);
  } else if (bounds_.is_closed()) {
    finish(Outcome::kOptimal, Code::kOk, result);
  } else if (is_reached(IntParam::kMipSolutionLimit, num_incumbents)) {
    finish(Outcome::kStopped, Code::kTrmSolutionLimit, result);
  } else if (is_reached(IntParam::kMipNodeLimit, solver_.nodes())) {
    finish(Outcome::kStopped, Code::kTrmNodeLimit, result);
  } else if (solver_.seconds_left() <= 0.0) {
    finish(Outcome::kStopped, Code::kTrmTimeLimit, result);
  } else if (monitor_->should_stop(solver_.progress())) {
    finish(Outcome::kStopped, Code::kTrmUserCallback, result);
  } else {
    return false;
  }
  return true;
}

void OuterApproximation::log_round() const {
  const std::string cuts = counted(relaxation_->num_cuts(), "cut");
  const std::string round = round_ == 0 ? "continuous relaxation" : format_text("round %d", round_);
  monitor_->milestone(solver_.progress(), round + ", " + cuts);
}

}  // namespace vorlan::outer
