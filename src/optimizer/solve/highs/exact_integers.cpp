// The integers of an answer are rounded, the linear model that is left is solved, and where its
// point and the bound do not meet, a tree over the integers that leak closes the gap.
#include "solve/highs/exact_integers.h"

#include <algorithm>
#include <cmath>
#include <list>
#include <utility>
#include <vector>

#include "solve/check/terms.h"
#include "solve/check/vectors.h"
#include "solve/highs/cutoff_bounds.h"
#include "solve/highs/fixed_integers.h"
#include "solve/highs/infeasible_claim.h"
#include "solve/highs/scaled_model.h"
#include "solve/highs/switch_tightening.h"
#include "solve/run/listener.h"
#include "solve/second_solve.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// A rounded point with a larger violation is not taken as it is.
constexpr double kSatisfied = 1e-6;
constexpr double kClean = 1e-11;
// Objectives that are nearer than this to a bound have met it, besides those within the gap that
// was asked for.
constexpr double kRounding = 1e-6;
// Size of the tree of models.
constexpr int kMostNodes = 2000;

double rounded(const Model& model, size_t j, double value) {
  return std::clamp(std::round(value), model.var_lower[j], model.var_upper[j]) + 0.0;
}

std::vector<double> round_integers(const Model& model, std::vector<double> x) {
  for (size_t j = 0; j < model.var_kind.size(); ++j) {
    if (is_off(model, j, x[j])) {
      x[j] = 0.0;
    } else if (is_integer(model.var_kind[j])) {
      x[j] = rounded(model, j, x[j]);
    }
  }
  return x;
}

bool is_whole(const Model& model, const std::vector<double>& x) {
  for (size_t j = 0; j < model.var_kind.size(); ++j) {
    if (is_integer(model.var_kind[j]) && x[j] != std::round(x[j])) return false;
  }
  return true;
}

// Passes on the incumbents that are ones when their integers are rounded, and counts what earlier
// solves have done.
class WholeMonitor : public BackendMonitor {
 public:
  WholeMonitor(const MinimizeProblem& problem, BackendMonitor* monitor)
      : problem_(problem), monitor_(monitor) {}

  void log(std::string_view text) override {
    if (!silent) monitor_->log(text);
  }
  bool should_stop(const Progress& progress) override {
    Progress all = with_whole_objective(progress);
    all.nodes += done.nodes;
    all.simplex_iterations += done.simplex_iterations;
    if (silent) {
      all.objective = done.objective;
      all.bound = done.bound;
      all.relative_gap = done.relative_gap;
    }
    return monitor_->should_stop(all);
  }
  void milestone(const Progress& progress, std::string_view origin) override {
    if (silent) return;
    std::string words(origin);
    if (is_leaking(progress) && !words.empty()) words += ", integers not whole";
    monitor_->milestone(with_whole_objective(progress), words);
  }
  void incumbent(std::span<const double> x, std::span<const double>) override {
    if (silent) return;
    const std::vector<double> point = round_integers(problem_.model, {x.begin(), x.end()});
    if (violation_beside_integers(problem_.model, point) > kSatisfied) return;
    whole_ = std::min(whole_, objective_sum(problem_, point, {}).value);
    monitor_->incumbent(point, {});
  }

  // The figures of a solve, with the objective of the best point whose integers are whole.
  Progress with_whole_objective(Progress progress) const {
    if (!is_leaking(progress)) return progress;
    progress.objective = whole_;
    progress.relative_gap = kInfinity;
    return progress;
  }

  void tell(BackendMonitor* monitor) { monitor_ = monitor; }

  bool silent = false;
  Progress done;

 private:
  // Whether the objective is that of a point which rounding its integers takes away.
  bool is_leaking(const Progress& progress) const {
    if (!std::isfinite(progress.objective)) return false;
    const double least = whole_ - kRounding * std::max(1.0, std::fabs(progress.objective));
    return progress.objective < least;
  }

  const MinimizeProblem& problem_;
  BackendMonitor* monitor_;
  double whole_ = kInfinity;  // the best objective of a point that stands
};

class Search {
 public:
  Search(decltype(Backend::solve) solve, const MinimizeProblem& problem,
         const Parameters& parameters, double seconds, BackendMonitor* monitor)
      : solve_(solve),
        problem_(problem),
        model_(problem.model),
        parameters_(parameters),
        end_(monotonic_seconds() + seconds),
        outside_(monitor),
        monitor_(problem, monitor) {}

  Status run(BackendResult* result) {
    Status status = solve_(problem_, parameters_, seconds_left(), &monitor_, result);
    if (status.ok() && result->outcome == Outcome::kInfeasible) {
      status =
          doubt_infeasible_claim(solve_, problem_, parameters_, seconds_left(), &monitor_, result);
    }
    const bool claims = result->outcome == Outcome::kOptimal;
    if (!status.ok() || (!claims && result->outcome != Outcome::kStopped)) return status;
    if (result->x.size() != model_.cost.size()) return status;
    monitor_.done = monitor_.with_whole_objective(result->progress);
    monitor_.silent = true;
    const std::vector<double> point = std::move(result->x);
    offer_rounded(point);
    bound_ = safe_bound(result->progress.bound, 1.0);
    if (!claims) {
      stopped_ = result->termination;
    } else if (!is_closed(bound_)) {
      status = search_on();
    }
    if (status.ok()) finish(result);
    return status;
  }

 private:
  // The search, in one line of the log.
  Status search_on() {
    const int64_t nodes = monitor_.done.nodes;
    const int64_t iterations = simplex_;
    SecondSolve again("with whole integers, which the bound did not meet", outside_);
    monitor_.tell(&again);
    Status status = search();
    monitor_.tell(outside_);
    Progress work;
    work.nodes = monitor_.done.nodes - nodes;
    work.simplex_iterations = simplex_ - iterations;
    again.sum_up(is_closed(bound_) ? "objective and bound meet" : "objective and bound do not meet",
                 work, SecondSolve::Stands::kOnlyOne);
    return status;
  }

  // Bounds of integer variables that a node of the tree has instead of the model's.
  struct Branch {
    size_t var;
    double lower, upper;
  };
  struct Node {
    double bound;
    std::vector<Branch> branches;
  };

  double seconds_left() const { return end_ - monotonic_seconds(); }

  double objective_size() const {
    return std::fabs(incumbent_ + problem_.sense_factor() * model_.constant);
  }
  double allowed_gap() const {
    return std::max(parameters_.get(DoubleParam::kMipAbsoluteGap),
                    parameters_.get(DoubleParam::kMipRelativeGap) * objective_size()) +
           rounding();
  }
  double rounding() const { return kRounding * std::max(terms_, objective_size()); }

  // Branch and bound takes objectives for equal that differ by less than this.
  static constexpr double kSolverError = 1e-6;
  // A bound less what it may be off by, which only matters where the objective is small.
  double safe_bound(double bound, double cost_factor) const {
    constexpr double kSmall = 0.5;
    const bool is_small = cost_factor * std::max(terms_, objective_size()) < kSmall;
    return is_small ? bound - kSolverError / cost_factor : bound;
  }
  bool is_closed(double bound) const {
    return std::isfinite(incumbent_) && incumbent_ - bound <= allowed_gap();
  }

  // Tries the integers of a point; with all that leaks rounded up, too. What branch and bound has
  // left within its tolerance is taken out by solving the continuous rest.
  void offer_rounded(const std::vector<double>& x) {
    const std::vector<double> point = round_integers(model_, x);
    const double violation = violation_beside_integers(model_, point);
    const bool is_replaced = violation > kClean && offer_fixed(point);
    if (violation > kSatisfied) {
      offer_fixed(round_up(x));
    } else if (!is_replaced) {
      offer(point);
    }
  }

  std::vector<double> round_up(std::vector<double> x) const {
    constexpr double kExact = 1e-12;
    for (size_t j = 0; j < x.size(); ++j) {
      if (!is_integer(model_.var_kind[j]) || is_off(model_, j, x[j])) continue;
      const double up = std::ceil(x[j] - kExact);
      x[j] = std::clamp(up, model_.var_lower[j], model_.var_upper[j]) + 0.0;
    }
    return x;
  }

  // Solves the continuous rest; false when that has no optimum.
  bool offer_fixed(const std::vector<double>& whole) {
    const Model fixed = fix_integers(model_, whole);
    BackendResult found;
    const Status status = solve_scaled(solve_, MinimizeProblem(fixed), linear_parameters(),
                                       seconds_left(), &monitor_, &found);
    simplex_ += found.progress.simplex_iterations;
    if (!status.ok() || found.outcome != Outcome::kOptimal) return false;
    offer(round_integers(model_, found.x));
    return true;
  }

  Parameters linear_parameters() const {
    Parameters parameters = parameters_;
    parameters.set(IntParam::kOptimizer, 0);
    return parameters;
  }

  void offer(const std::vector<double>& x) {
    if (!is_whole(model_, x) || violation_beside_integers(model_, x) > kSatisfied) return;
    const double objective = objective_sum(problem_, x, {}).value;
    if (!(objective < incumbent_)) return;
    incumbent_ = objective;
    best_ = x;
    terms_ = 0.0;
    for (size_t j = 0; j < x.size(); ++j) terms_ += std::fabs(problem_.cost[j] * x[j]);
    if (terms_ == 0.0) terms_ = 1.0;
    const double least = kRounding * std::max(1.0, std::fabs(incumbent_));
    const bool is_better = incumbent_ < monitor_.done.objective - least;
    monitor_.done.objective = incumbent_;
    outside_->incumbent(best_, {});
    if (is_better) outside_->milestone(monitor_.done, "whole integers");
  }

  Status search() {
    std::list<Node> open = {{-kInfinity, {}}};
    const double proven = bound_;
    const auto solve = [this](const Model& linear) { return find_multipliers(linear); };
    narrowed_ = model_;
    const bool may_narrow = std::isfinite(incumbent_);
    if (may_narrow && !narrow_under_cutoff(problem_.cost, cutoff(), solve, &narrowed_)) {
      open.clear();
    }
    Status status;
    for (int count = 0; status.ok() && !open.empty(); ++count) {
      const auto next = std::min_element(
          open.begin(), open.end(), [](const Node& a, const Node& b) { return a.bound < b.bound; });
      bound_ = std::max(proven, next->bound);
      if (is_closed(next->bound)) return {};
      if (count == kMostNodes) stopped_ = Code::kTrmStall;
      if (seconds_left() <= 0.0) stopped_ = Code::kTrmTimeLimit;
      if (stopped_ != Code::kOk) return {};
      const Node node = std::move(*next);
      open.erase(next);
      status = process(node, &open);
    }
    // All that is left is no better than the incumbent.
    if (open.empty()) bound_ = incumbent_;
    return status;
  }

  double cutoff() const { return incumbent_ + rounding(); }

  std::vector<double> find_multipliers(const Model& linear) {
    BackendResult found;
    const Status status =
        solve_(MinimizeProblem(linear), linear_parameters(), seconds_left(), &monitor_, &found);
    simplex_ += std::max<int64_t>(0, found.progress.simplex_iterations);
    if (!status.ok() || found.outcome != Outcome::kOptimal) return {};
    return std::move(found.y);
  }

  Status process(const Node& node, std::list<Node>* open) {
    Model model = narrowed_;
    for (const Branch& branch : node.branches) {
      model.var_lower[branch.var] = branch.lower;
      model.var_upper[branch.var] = branch.upper;
    }
    if (!tighten_switches(problem_.cost, cutoff(), &model)) return {};
    BackendResult found;
    const MinimizeProblem tight(model);
    Status status = solve_node(tight, &found);
    monitor_.done.nodes += std::max<int64_t>(0, found.progress.nodes);
    simplex_ += std::max<int64_t>(0, found.progress.simplex_iterations);
    if (!status.ok() || found.outcome == Outcome::kInfeasible) return status;
    const bool has_point = found.x.size() == model_.cost.size();
    const double factor = ScaledModel(tight).cost_factor();
    double bound = std::max(node.bound, safe_bound(found.progress.bound, factor));
    if (!std::isfinite(bound)) bound = node.bound;
    if (found.outcome != Outcome::kOptimal || !has_point) {
      stopped_ = found.outcome == Outcome::kStopped ? found.termination : Code::kTrmStall;
      open->push_back({bound, node.branches});
      bound_ = std::max(bound_, least_bound(*open));
      return {};
    }
    offer_rounded(found.x);
    if (!is_closed(bound)) branch(node, bound, model, found.x, open);
    return {};
  }

  // With strict tolerances branch and bound may fail at a point that it has made itself.
  Status solve_node(const MinimizeProblem& problem, BackendResult* found) {
    Status status;
    for (const Parameters& parameters :
         {with_strict_tolerances(linear_parameters()), linear_parameters()}) {
      *found = {};
      status = solve_scaled(solve_, problem, parameters, seconds_left(), &monitor_, found);
      if (status.code() != Code::kErrOptimizer) return status;
    }
    *found = {};
    found->outcome = Outcome::kStopped;
    found->termination = Code::kTrmStall;
    return {};
  }

  static double least_bound(const std::list<Node>& open) {
    double least = kInfinity;
    for (const Node& node : open) least = std::min(least, node.bound);
    return least;
  }

  // On the open integer variable whose distance from a whole number does most in some row.
  void branch(const Node& node, double bound, const Model& model, const std::vector<double>& x,
              std::list<Node>* open) const {
    size_t var = x.size();
    double most = -1.0;
    for (size_t j = 0; j < x.size(); ++j) {
      if (!is_integer(model.var_kind[j]) || model.var_lower[j] >= model.var_upper[j]) continue;
      double size = 0.0;
      for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
        size = std::max(size, std::fabs(model.matrix.value[k]));
      }
      const double leak = std::fabs(x[j] - std::round(x[j])) * size;
      if (leak <= most) continue;
      most = leak;
      var = j;
    }
    // When all integers are fixed, the fixed model has had the last word.
    if (var == x.size()) return;
    const double value = rounded(model, var, x[var]);
    const auto add = [&](double lower, double upper) {
      if (lower > upper) return;
      open->push_back({bound, node.branches});
      open->back().branches.push_back({var, lower, upper});
    };
    add(value, value);
    add(model.var_lower[var], value - 1.0);
    add(value + 1.0, model.var_upper[var]);
  }

  void finish(BackendResult* result) const {
    Progress progress = result->progress;
    progress.nodes = monitor_.done.nodes;
    progress.simplex_iterations = monitor_.done.simplex_iterations + simplex_;
    progress.objective = incumbent_;
    progress.bound = std::min(bound_, incumbent_);
    const bool has_point = std::isfinite(incumbent_);
    const double size = std::fabs(incumbent_ + problem_.sense_factor() * model_.constant);
    const double gap = incumbent_ - progress.bound;
    progress.relative_gap = kInfinity;
    if (has_point && std::isfinite(gap)) {
      progress.relative_gap = gap <= 0.0 ? 0.0 : gap / std::max(size, 1e-10);
    }
    *result = {};
    result->progress = progress;
    if (stopped_ != Code::kOk || (has_point && !is_closed(bound_))) {
      result->outcome = Outcome::kStopped;
      result->termination = stopped_ == Code::kOk ? Code::kTrmStall : stopped_;
    } else {
      result->outcome = has_point ? Outcome::kOptimal : Outcome::kInfeasible;
    }
    result->x = best_;
  }

  decltype(Backend::solve) solve_;
  const MinimizeProblem& problem_;
  const Model& model_;
  Model narrowed_;  // in the search: by bounds that better points than the incumbent have
  const Parameters& parameters_;
  double end_;
  BackendMonitor* outside_;
  WholeMonitor monitor_;
  double incumbent_ = kInfinity;
  double terms_ = 1.0;  // the sum of the sizes of its objective's terms
  double bound_ = -kInfinity;
  std::vector<double> best_;
  Code stopped_ = Code::kOk;
  int64_t simplex_ = 0;
};

}  // namespace

Status solve_exactly(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                     const Parameters& parameters, double seconds, BackendMonitor* monitor,
                     BackendResult* result) {
  return Search(solve, problem, parameters, seconds, monitor).run(result);
}

}  // namespace vorlan
