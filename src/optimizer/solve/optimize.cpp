// The life of a solve.
#include "solve/optimize.h"

#include <sys/single_threaded.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "solve/backend.h"
#include "solve/check/terms.h"
#include "solve/choose_backend.h"
#include "solve/choose_race.h"
#include "solve/complete_start.h"
#include "solve/conflict.h"
#include "solve/find_answer.h"
#include "solve/held_answer.h"
#include "solve/make_solution.h"
#include "solve/reasons.h"
#include "solve/run/listener.h"
#include "solve/run/runner.h"
#include "solve/solve_log.h"
#include "task/numeric.h"
#include "task/parameter_index.h"
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

// A solve starts from the solution of the kind that it makes, unless a file gives another start.
const Solution* find_start(const Task& task, const SolvePlan& plan) {
  if (!task.parameters.is_on(IntParam::kWarmStart)) return nullptr;
  const Solution& held = task.solutions[index(plan.solution)];
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

// A child that was killed has not measured the point that it kept. Here it is measured if that takes
// no longer than to read the model.
void measure_kept_point(const MinimizeProblem& problem, const SolvePlan& plan, Answer* answer) {
  constexpr double kMostWork = 1e7;
  const Model& model = problem.model;
  double work = 0.0;  // of the eigenvalues of matrix variables
  for (const MatrixVariable& variable : model.matrix_vars) work += std::pow(variable.dimension, 3);
  const bool is_unmeasured = answer->result.outcome == Outcome::kStopped &&
                             !std::isfinite(answer->verdict.residuals.primal);
  if (!is_unmeasured || model.is_quadratic() || work > kMostWork) return;
  answer->verdict = check_answer(problem, plan.solution, &answer->result);
}

// Backends know a target as a cutoff.
void tell_target_from_cutoff(const Task& task, SolveEnd* end) {
  const bool has_target =
      end->termination == Code::kTrmObjectiveCutoff && end->solution.defined &&
      reaches_target(task.model, task.parameters, end->solution.primal_objective);
  if (has_target) end->termination = Code::kTrmObjectiveTarget;
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

namespace {

const char* phase_of(const Model& model, const Progress& progress) {
  if (model.is_mixed_integer()) {
    if (progress.nodes > 0) return "tree";
    return std::isfinite(progress.bound) ? "root" : "presolve";
  }
  if (progress.simplex_iterations > 0) return "simplex";
  return progress.interior_iterations > 0 ? "interior point" : "presolve";
}

ProgressRecord make_record(const Model& model, const Progress& progress, double seconds,
                           const char* phase) {
  ProgressRecord record;
  record.seconds = seconds;
  record.phase = phase;
  record.iterations = std::max<int64_t>(0, progress.simplex_iterations) +
                      std::max<int64_t>(0, progress.interior_iterations);
  record.nodes = progress.nodes;
  record.open_nodes = progress.open_nodes;
  record.incumbent = model.stated_objective(progress.objective);
  record.bound = model.stated_objective(progress.bound);
  record.gap = progress.relative_gap;
  return record;
}

// The end has the figures of the solution, which those of the way need not be.
ProgressRecord make_last_record(const Model& model, const SolveEnd& end) {
  ProgressRecord record = make_record(model, end.progress, end.seconds, "end");
  const bool is_point = end.solution.defined && std::isfinite(end.residuals.primal);
  if (!is_point) return record;
  record.incumbent = end.solution.primal_objective;
  record.bound = end.solution.dual_objective;
  return record;
}

// Passes on the points of a mixed-integer solve that are better than those before.
class BetterPoints {
 public:
  BetterPoints(const MinimizeProblem& problem, const SolvePlan& plan, const SolveExtras& extras)
      : problem_(problem), tolerance_(plan.tolerances.primal), extras_(extras) {}

  void offer(const BackendResult& point, double primal_violation) {
    if (primal_violation > tolerance_ || point.x.size() != problem_.cost.size()) return;
    const double objective = objective_sum(problem_, point.x, point.barx).value;
    if (!(objective < best_)) return;
    best_ = objective;
    Solution solution;
    solution.status = SolutionStatus::kPrimalFeasible;
    solution.primal_objective = problem_.model.stated_objective(objective);
    solution.xx = point.x;
    extras_.on_better_point(solution);
  }

 private:
  const MinimizeProblem& problem_;
  double tolerance_;
  const SolveExtras& extras_;
  double best_ = kInfinity;
};

Follower make_follower(const Model& model, const SolveExtras& extras, BetterPoints* points) {
  Follower follower;
  if (extras.on_progress) {
    follower.progress = [&](const Progress& progress, double seconds) {
      extras.on_progress(make_record(model, progress, seconds, phase_of(model, progress)));
    };
  }
  if (extras.on_better_point && model.is_mixed_integer()) {
    follower.point = [points](const BackendResult& point, double primal_violation) {
      points->offer(point, primal_violation);
    };
  }
  return follower;
}

// What files say of where to begin and how to branch.
struct Given {
  StartPoint point;
  Solution basis;
  std::vector<int32_t> priorities;
};

Status read_given(const SolveExtras& extras, Given* given) {
  Status status;
  if (extras.read_point) status = extras.read_point(&given->point);
  if (status.ok() && extras.read_basis) status = extras.read_basis(&given->basis);
  if (status.ok() && extras.read_priorities) status = extras.read_priorities(&given->priorities);
  return status;
}

// The start that was given, completed; false where there is none for this method.
bool take_start(const MinimizeProblem& problem, const SolvePlan& plan, Given* given,
                const Parameters& parameters, double seconds, BackendMonitor* monitor,
                Solution* start) {
  if (plan.solution == SolutionKind::kInteger) {
    return complete_start(problem, plan, given->point, parameters, seconds, monitor, start);
  }
  if (!plan.by_simplex) return false;
  if (!given->basis.defined) return place_start(problem, given->point, monitor, start);
  *start = std::move(given->basis);
  return true;
}

// What is found out besides may need more memory than there is.
void look_for_conflict(const MinimizeProblem& problem, const SolvePlan& plan,
                       const Parameters& parameters, double seconds, BackendMonitor* monitor,
                       Answer* answer) {
  if (answer->result.outcome != Outcome::kInfeasible) return;
  monitor->keep_answer(*answer);
  try {
    find_conflict(problem, plan, parameters, seconds, monitor, answer);
  } catch (const std::bad_alloc&) {
    answer->conflict = {};
  }
}

// In the child: with the start that was given, completed.
Status find_answer_from(const MinimizeProblem& problem, const SolvePlan& plan,
                        const SolveExtras& extras, const Parameters& parameters, double seconds,
                        BackendMonitor* monitor, Answer* answer) {
  const double begin = monotonic_seconds();
  const auto left = [&] { return seconds - (monotonic_seconds() - begin); };
  Given given;
  Status status = read_given(extras, &given);
  if (!status.ok()) return status;
  Solution start;
  const bool has_start = take_start(problem, plan, &given, parameters, left(), monitor, &start);
  Model with_priorities;
  const bool has_priorities = !given.priorities.empty();
  if (has_priorities) {
    with_priorities = problem.model;
    with_priorities.branching_priority = std::move(given.priorities);
  }
  const MinimizeProblem started(has_priorities ? with_priorities : problem.model,
                                has_start ? &start : problem.start, plan.cutoffs);
  status = find_answer(started, plan, parameters, left(), monitor, answer);
  if (status.ok()) look_for_conflict(started, plan, parameters, left(), monitor, answer);
  return status;
}

// Figures of the minimization in the sense of the model: a maximum's cost falls where it rises.
std::vector<double> stated_ranging(const Model& model, std::vector<double> ranging) {
  const size_t num_costs = kRangeFigures * model.cost.size();
  for (size_t k = 0; k < ranging.size(); k += kRangeFigures) {
    double* figures = ranging.data() + k;
    for (const size_t objective : {size_t{2}, size_t{3}}) {
      figures[objective] = model.sense_factor() * figures[objective] + 0.0;
    }
    if (k >= num_costs || !model.maximize) continue;
    figures[0] = -figures[0] + 0.0;
    figures[1] = -figures[1] + 0.0;
    std::swap(figures[0], figures[1]);
    std::swap(figures[2], figures[3]);
  }
  return ranging;
}

// A start that does nothing for this model is worth a line, too.
void log_unused_start(const Task& task, const SolvePlan& plan, const SolveExtras& extras) {
  const bool is_integer = plan.solution == SolutionKind::kInteger;
  if (extras.read_point && !is_integer && !plan.by_simplex) {
    task.log_text(kLogSummary,
                  "The start file is not used: an interior-point method cannot begin at a point\n");
  }
  if (extras.read_point && plan.by_simplex && extras.read_basis) {
    task.log_text(kLogSummary, "The start file is not used: the basis file says where to begin\n");
  }
  if (extras.read_basis && !plan.by_simplex) {
    task.log_text(kLogSummary, "The basis file is not used: the method is not simplex\n");
  }
  if (extras.read_priorities && !is_integer) {
    task.log_text(kLogSummary,
                  "The branching priorities are not used: the model has no integers\n");
  }
}

}  // namespace

Status optimize(Task* task, Code* termination) {
  SolveExtras none;
  return optimize(task, &none, termination);
}

Status optimize(Task* task, SolveExtras* extras, Code* termination) {
  const SolvePlan plan = choose_backend(task->model, task->parameters);
  const MinimizeProblem problem(task->model, find_start(*task, plan), plan.cutoffs);
  BetterPoints points(problem, plan, *extras);
  Listener listener(task, make_follower(task->model, *extras, &points), extras->begin);
  const Race race = choose_race(problem, plan, task->parameters);
  log_start(*task, plan, race.racers.size());
  log_unused(*task, plan.method);
  log_unused_start(*task, plan, *extras);
  listener.beat_now({});
  const Work work = [&](const Parameters& parameters, double seconds, BackendMonitor* monitor,
                        Answer* answer) {
    return find_answer_from(problem, plan_of_racer(plan, parameters), *extras, parameters, seconds,
                            monitor, answer);
  };
  load_libraries(plan);
  for (const Racer& racer : race.racers) load_libraries(plan_of_racer(plan, racer.parameters));
  Answer answer;
  // What is held is not lost where the child is killed before its first step.
  if (plan.in_child) find_held_point(problem, &answer.result);
  Status status = plan.in_child ? run_race(work, race, task, &listener, &answer)
                                : run_here(work, task, &listener, &answer);
  if (!status.ok()) return status;

  measure_kept_point(problem, plan, &answer);
  extras->ranging = stated_ranging(task->model, std::move(answer.result.ranging));
  extras->conflict = std::move(answer.conflict);
  SolveEnd end = make_end(problem, plan, std::move(answer));
  end.seconds = listener.elapsed();
  tell_target_from_cutoff(*task, &end);
  *termination = end.termination;
  if (extras->on_progress) extras->on_progress(make_last_record(task->model, end));
  log_end(*task, end);
  task->log_text(kLogSummary, explain(task->model, end.kind, end.solution, extras->conflict));
  task->solver_result.figures = make_figures(task->model, end);
  task->solutions = {};
  task->solutions[index(end.kind)] = std::move(end.solution);
  return {};
}

}  // namespace vorlan
