// An answer is found and then checked: first among the solutions that the task holds, then by the
// backend of the plan. Both go through the same checker.
#include "solve/find_answer.h"

#include <utility>

#include "solve/check/checker.h"
#include "solve/held_answer.h"
#include "solve/make_solution.h"
#include "solve/relaxation_check.h"
#include "solve/run/listener.h"

namespace vorlan {
namespace {

// Measures each incumbent when it is found: whoever is left with one by a kill has no time for it.
class CheckingMonitor : public BackendMonitor {
 public:
  CheckingMonitor(const Model& model, BackendMonitor* next) : model_(model), next_(next) {}
  void log(std::string_view text) override { next_->log(text); }
  bool should_stop(const Progress& progress) override { return next_->should_stop(progress); }
  void milestone(const Progress& progress, std::string_view origin) override {
    next_->milestone(progress, origin);
  }
  bool wants_point() override { return next_->wants_point(); }
  void keep(const BackendResult& point, double primal_violation) override {
    next_->keep(point, primal_violation);
  }
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    best_.x.assign(x.begin(), x.end());
    best_.barx.assign(barx.begin(), barx.end());
    BackendResult point;
    point.x = best_.x;
    point.barx = best_.barx;
    next_->keep(point, primal_violation(model_, best_.x, best_.barx));
  }
  Incumbent take_best() { return std::move(best_); }

 private:
  const Model& model_;
  BackendMonitor* next_;
  Incumbent best_;
};

// The point stands from now on, and soon with what is known of it.
void keep_point(const Model& model, const BackendResult& point, BackendMonitor* monitor) {
  monitor->keep(point, kInfinity);
  monitor->keep(point, primal_violation(model, point.x, point.barx));
}

bool is_point(const Model& model, const BackendResult& result) {
  return result.certificate == Certificate::kNone && result.x.size() == model.cost.size() &&
         (result.outcome == Outcome::kOptimal || result.outcome == Outcome::kStopped);
}

Status ask(const MinimizeProblem& problem, const SolvePlan& plan, const Parameters& parameters,
           double seconds, BackendMonitor* monitor, Answer* answer) {
  BackendResult* const result = &answer->result;
  if (monitor->should_stop({})) {
    result->outcome = Outcome::kStopped;
  } else if (find_crossed_bounds(problem.model).found()) {
    result->outcome = Outcome::kInfeasible;
    result->certificate = Certificate::kCrossedBounds;
  } else if (take_held_answer(problem, plan, result)) {
    answer->is_held = true;
  } else {
    return plan.backend->solve(problem, parameters, seconds, monitor, result);
  }
  return {};
}

}  // namespace

Status find_answer(const MinimizeProblem& problem, const SolvePlan& plan,
                   const Parameters& parameters, double seconds, BackendMonitor* next,
                   Answer* answer) {
  CheckingMonitor monitor(problem.model, next);
  BackendResult held;
  // A point that is kept in this process would have no taker.
  const bool keeps = next->wants_point();
  if (keeps && find_held_point(problem, &held)) keep_point(problem.model, held, &monitor);
  const double begin = monotonic_seconds();
  Status status = ask(problem, plan, parameters, seconds, &monitor, answer);
  if (!status.ok()) return status;
  if (!answer->is_held && may_check_relaxation(problem.model, answer->result)) {
    const double left = seconds - (monotonic_seconds() - begin);
    status = check_relaxation(problem, plan, parameters, left, &monitor, &answer->result);
    if (!status.ok()) return status;
  }
  keep_incumbent(monitor.take_best(), &answer->result);
  keep_held_point(problem, plan.tolerances, &answer->result);
  if (keeps && is_point(problem.model, answer->result)) {
    keep_point(problem.model, answer->result, &monitor);
  }
  answer->verdict = check_answer(problem, plan.solution, &answer->result);
  return {};
}

}  // namespace vorlan
