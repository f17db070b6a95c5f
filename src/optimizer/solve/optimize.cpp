// The life of a solve.
#include "solve/optimize.h"

#include <cmath>
#include <utility>

#include "solve/backend.h"
#include "solve/check/checker.h"
#include "solve/choose_backend.h"
#include "solve/held_answer.h"
#include "solve/make_solution.h"
#include "solve/run/listener.h"
#include "solve/run/runner.h"
#include "solve/solve_log.h"

namespace vorlan {
namespace {

// Of an integer solution, the dual objective is what the search has proved.
void set_bound(const MinimizeProblem& problem, const Progress& progress, Solution* solution) {
  const bool is_point = solution->status == SolutionStatus::kIntegerOptimal ||
                        solution->status == SolutionStatus::kPrimalFeasible;
  if (!is_point || !std::isfinite(progress.bound)) return;
  solution->dual_objective = problem.model.stated_objective(progress.bound);
}

bool is_optimal(const Solution& solution) {
  return solution.status == SolutionStatus::kOptimal ||
         solution.status == SolutionStatus::kIntegerOptimal;
}

// What the solve starts from: the solution of the kind that it makes.
const Solution* find_start(const Task& task, SolutionKind kind) {
  if (!task.parameters.is_on(IntParam::kWarmStart)) return nullptr;
  const Solution& held = task.solutions[static_cast<size_t>(kind)];
  const bool fits = held.defined && held.xx.size() == task.model.cost.size() &&
                    held.xc.size() == task.model.con_lower.size();
  return fits ? &held : nullptr;
}

// What needs no optimizer, or what the optimizer says.
Status find_answer(const MinimizeProblem& problem, const SolvePlan& plan, Task* task,
                   Listener* listener, BackendResult* result) {
  if (listener->beat_now({})) {
    result->outcome = Outcome::kStopped;
    result->termination = listener->stop_reason();
    return {};
  }
  if (find_crossed_bounds(task->model).found()) {
    result->outcome = Outcome::kInfeasible;
    result->certificate = Certificate::kCrossedBounds;
    return {};
  }
  if (take_held_answer(problem, plan, result)) {
    const bool is_optimum = result->certificate == Certificate::kNone;
    task->log_text(kLogSummary, is_optimum
                                    ? "The solution that the task holds is optimal for this model\n"
                                    : "The certificate that the task holds proves the same of this "
                                      "model\n");
    return {};
  }
  const auto run = plan.in_child ? run_in_child : run_here;
  return run(*plan.backend, problem, task, listener, result);
}

// Holds the answer against the model.
SolveEnd check_answer(const MinimizeProblem& problem, const SolvePlan& plan, const Task& task,
                      BackendResult&& answer) {
  static constexpr decltype(&make_basic_solution) kMakers[] = {
      make_interior_solution, make_basic_solution, make_integer_solution};
  const auto make_solution = kMakers[static_cast<size_t>(plan.solution)];
  SolveEnd end;
  end.kind = plan.solution;
  end.termination = answer.termination;
  end.progress = answer.progress;
  const bool claimed = answer.outcome == Outcome::kOptimal;
  end.solution = make_solution(problem, std::move(answer), plan.tolerances, &end.residuals);
  if (claimed && !is_optimal(end.solution)) {
    task.log_text(kLogSummary,
                  "The optimizer claims an optimum, but its residuals are too large: the status "
                  "is what they bear out\n");
  }
  if (plan.solution == SolutionKind::kInteger) set_bound(problem, end.progress, &end.solution);
  return end;
}

}  // namespace

Status optimize(Task* task, Code* termination) {
  Listener listener(task);
  const SolvePlan plan = choose_backend(task->model, task->parameters);
  const MinimizeProblem problem(task->model, find_start(*task, plan.solution), plan.cutoffs);
  log_start(*task);
  BackendResult answer;
  Status status = find_answer(problem, plan, task, &listener, &answer);
  if (!status.ok()) return status;
  keep_held_point(problem, plan.tolerances, &answer);

  SolveEnd end = check_answer(problem, plan, *task, std::move(answer));
  end.seconds = listener.elapsed();
  *termination = end.termination;
  log_end(*task, end);
  task->solver_result.figures = make_figures(task->model, end);
  task->solutions = {};
  task->solutions[static_cast<size_t>(end.kind)] = std::move(end.solution);
  return {};
}

}  // namespace vorlan
