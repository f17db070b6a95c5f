// The life of a solve.
#include "solve/optimize.h"

#include <sys/single_threaded.h>

#include <cmath>
#include <utility>

#include "solve/backend.h"
#include "solve/choose_backend.h"
#include "solve/find_answer.h"
#include "solve/make_solution.h"
#include "solve/run/listener.h"
#include "solve/run/runner.h"
#include "solve/solve_log.h"
#include "task/numeric.h"
#include "task/parameter_traits.h"
#include "task/text.h"

namespace vorlan {
namespace {

// The dual objective of an integer solution is what the search has proved.
void set_bound(const MinimizeProblem& problem, const Progress& progress, Solution* solution) {
  const bool is_point = solution->status == SolutionStatus::kIntegerOptimal ||
                        solution->status == SolutionStatus::kPrimalFeasible;
  if (!is_point || !std::isfinite(progress.bound)) return;
  solution->dual_objective = problem.model.stated_objective(progress.bound);
}

// A solve starts from the solution of the kind that it makes.
const Solution* find_start(const Task& task, SolutionKind kind) {
  if (!task.parameters.is_on(IntParam::kWarmStart)) return nullptr;
  const Solution& held = task.solutions[index(kind)];
  const bool fits = held.defined && held.xx.size() == task.model.cost.size() &&
                    held.xc.size() == task.model.con_lower.size();
  return fits ? &held : nullptr;
}

// Makes what the parent process needs of an answer in the end, in a time that is linear in the
// model.
SolveEnd make_end(const MinimizeProblem& problem, const SolvePlan& plan, Answer&& answer) {
  static constexpr decltype(&make_basic_solution) kMakers[] = {
      make_interior_solution, make_basic_solution, make_integer_solution};
  const auto make_solution = kMakers[index(plan.solution)];
  SolveEnd end;
  end.kind = plan.solution;
  end.outcome = answer.result.outcome;
  end.is_held = answer.is_held;
  end.termination = answer.result.termination;
  end.progress = answer.result.progress;
  end.residuals = answer.verdict.residuals;
  end.solution = make_solution(problem, std::move(answer.result), plan.tolerances, answer.verdict);
  if (plan.solution == SolutionKind::kInteger) set_bound(problem, end.progress, &end.solution);
  return end;
}

// In this process, where that is safe, before a fork beside other threads.
void load_libraries(const SolvePlan& plan) {
  const bool forks_beside_threads = plan.in_child && !__libc_single_threaded;
  if (forks_beside_threads && plan.backend->load_libraries != nullptr) {
    plan.backend->load_libraries();
  }
}

// A parameter that was set and does nothing for this model is worth a line.
void log_unused(const Task& task, SolveMethod method) {
  const std::string list = unused_parameters(task.parameters, method);
  if (list.empty()) return;
  task.log_text(kLogSummary, format_text("Set, but not used by the method (%s): %s\n",
                                         word_of(method), list.c_str()));
}

}  // namespace

Status optimize(Task* task, Code* termination) {
  Listener listener(task);
  const SolvePlan plan = choose_backend(task->model, task->parameters);
  const MinimizeProblem problem(task->model, find_start(*task, plan.solution), plan.cutoffs);
  log_start(*task, plan);
  log_unused(*task, plan.method);
  listener.beat_now({});
  const Work work = [&](const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        Answer* answer) {
    return find_answer(problem, plan, parameters, seconds, monitor, answer);
  };
  load_libraries(plan);
  Answer answer;
  const auto run = plan.in_child ? run_in_child : run_here;
  Status status = run(work, task, &listener, &answer);
  if (!status.ok()) return status;

  SolveEnd end = make_end(problem, plan, std::move(answer));
  end.seconds = listener.elapsed();
  *termination = end.termination;
  log_end(*task, end);
  task->solver_result.figures = make_figures(task->model, end);
  task->solutions = {};
  task->solutions[index(end.kind)] = std::move(end.solution);
  return {};
}

}  // namespace vorlan
