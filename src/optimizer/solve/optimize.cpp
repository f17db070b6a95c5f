// The life of a solve.
#include "solve/optimize.h"

#include <algorithm>
#include <cmath>

#include "solve/backend.h"
#include "solve/checker.h"
#include "solve/listener.h"
#include "solve/make_solution.h"
#include "solve/runner.h"
#include "task/text.h"

namespace vorlan {
namespace {

const char* kind_of(const Model& model) {
  return model.is_mixed_integer() ? "mixed-integer" : "linear";
}

void log_start(const Task& task) {
  const Model& model = task.model;
  std::string text = format_text(
      "Optimization of a %s model: %d constraints, %d variables, %lld "
      "matrix elements; %s\n",
      kind_of(model), model.num_con(), model.num_var(),
      static_cast<long long>(model.matrix.num_elements()),
      model.maximize ? "maximize" : "minimize");
  if (model.maximize) text += "The optimizer's own log shows the negated objective, minimized.\n";
  task.log_text(kLogSummary, text);
}

const char* words(SolutionStatus status) {
  switch (status) {
    case SolutionStatus::kOptimal:
      return "optimal";
    case SolutionStatus::kPrimalFeasible:
      return "primal feasible";
    case SolutionStatus::kDualFeasible:
      return "dual feasible";
    case SolutionStatus::kPrimalAndDualFeasible:
      return "primal and dual feasible";
    case SolutionStatus::kPrimalInfeasibleCertificate:
      return "certificate of primal infeasibility";
    case SolutionStatus::kDualInfeasibleCertificate:
      return "certificate of dual infeasibility";
    case SolutionStatus::kIntegerOptimal:
      return "integer optimal";
    default:
      return "unknown";
  }
}

const char* words(ProblemStatus status) {
  switch (status) {
    case ProblemStatus::kPrimalAndDualFeasible:
      return "primal and dual feasible";
    case ProblemStatus::kPrimalFeasible:
      return "primal feasible";
    case ProblemStatus::kDualFeasible:
      return "dual feasible";
    case ProblemStatus::kPrimalInfeasible:
      return "primal infeasible";
    case ProblemStatus::kDualInfeasible:
      return "dual infeasible";
    case ProblemStatus::kPrimalInfeasibleOrUnbounded:
      return "primal infeasible or unbounded";
    default:
      return "unknown";
  }
}

std::string describe_solution(const Solution& solution, const Residuals& residuals) {
  std::string text = format_text("  problem status    %s\n  solution status   %s\n",
                                 words(solution.problem_status), words(solution.status));
  const bool has_point = std::isfinite(residuals.primal) &&
                         solution.status != SolutionStatus::kPrimalInfeasibleCertificate;
  if (has_point) text += format_text("  objective         %.10e\n", solution.primal_objective);
  return text;
}

const char* words(SolutionKind kind) {
  static constexpr const char* kKinds[] = {"interior-point", "basic", "integer"};
  return kKinds[static_cast<size_t>(kind)];
}

void log_end(const Task& task, SolutionKind kind, Code termination, const Solution& solution,
             const Progress& progress, const Residuals& residuals, double seconds) {
  const bool integer = kind == SolutionKind::kInteger;
  std::string text = "Optimization ended";
  if (termination != Code::kOk) {
    text += format_text(": %s", find_code(static_cast<int32_t>(termination))->text);
  }
  text += '\n';
  if (solution.defined) {
    text += describe_solution(solution, residuals);
  } else {
    text += format_text("  no %s solution found\n", words(kind));
  }
  if (integer && std::isfinite(progress.bound)) {
    const double factor = task.model.maximize ? -1.0 : 1.0;
    text +=
        format_text("  bound             %.10e\n", factor * progress.bound + task.model.constant);
  }
  if (integer && std::isfinite(progress.relative_gap)) {
    text += format_text("  relative gap      %.2e\n", progress.relative_gap);
  }
  if (solution.defined && residuals.primal > 0.0 && std::isfinite(residuals.primal)) {
    text += format_text("  primal violation  %.1e\n", residuals.primal);
  }
  if (solution.defined && !integer && residuals.dual > 0.0 && std::isfinite(residuals.dual)) {
    text += format_text("  dual violation    %.1e\n", residuals.dual);
  }
  if (integer) {
    text += format_text("  nodes             %lld\n", static_cast<long long>(progress.nodes));
  }
  const int64_t iterations = std::max<int64_t>(0, progress.simplex_iterations) +
                             std::max<int64_t>(0, progress.interior_iterations);
  text += format_text("  iterations        %lld\n", static_cast<long long>(iterations));
  text += format_text("  time              %.2f s\n", seconds);
  task.log_text(kLogSummary, text);
}

// What the end of the log says in words and numbers, for result files.
std::vector<Figure> make_figures(const Task& task, SolutionKind kind, const Progress& progress,
                                 const Residuals& residuals, double seconds) {
  std::vector<Figure> figures = {
      {"time", seconds},
      {"simplex iterations",
       static_cast<double>(std::max<int64_t>(0, progress.simplex_iterations))},
      {"interior-point iterations",
       static_cast<double>(std::max<int64_t>(0, progress.interior_iterations))}};
  const auto add = [&figures](const char* name, double value) {
    if (std::isfinite(value)) figures.push_back({name, value});
  };
  add("primal violation", residuals.primal);
  if (kind != SolutionKind::kInteger) {
    add("dual violation", residuals.dual);
    return figures;
  }
  const double factor = task.model.maximize ? -1.0 : 1.0;
  add("bound", factor * progress.bound + task.model.constant);
  add("relative gap", progress.relative_gap);
  add("nodes", static_cast<double>(progress.nodes));
  return figures;
}

bool is_optimal(const Solution& solution) {
  return solution.status == SolutionStatus::kOptimal ||
         solution.status == SolutionStatus::kIntegerOptimal;
}

// A linear model of no more rows, columns and elements together is solved within a few
// milliseconds, while a child process costs about one: nothing is won by being able to kill it.
constexpr int64_t kTinyModelSize = 2000;

bool is_tiny(const Model& model) {
  return !model.is_mixed_integer() &&
         model.num_var() + model.num_con() + model.matrix.num_elements() <= kTinyModelSize;
}

bool runs_in_child(const Task& task) {
  const int32_t choice = task.parameters.get(IntParam::kChildProcess);
  if (choice != kChildAutomatic) return choice == kChildOn;
  return !is_tiny(task.model) || task.parameters.get(IntParam::kOptimizer) == kInteriorPoint ||
         std::isfinite(task.parameters.get(DoubleParam::kMemoryLimit));
}

Status run(const MinimizeProblem& problem, Task* task, Listener* listener, BackendResult* result) {
  const Backend* backend = choose_backend(task->model);
  if (backend == nullptr) return {Code::kErrModelKind, "no optimizer takes this kind of model"};
  const auto run_backend = runs_in_child(*task) ? run_in_child : run_here;
  return run_backend(*backend, problem, task, listener, result);
}

// Interior-point solutions are those that have no basis, as of an interior point that no crossover
// follows.
SolutionKind kind_of_result(const Task& task) {
  if (task.model.is_mixed_integer()) return SolutionKind::kInteger;
  const bool interior = task.parameters.get(IntParam::kOptimizer) == kInteriorPoint &&
                        !task.parameters.is_on(IntParam::kCrossover);
  return interior ? SolutionKind::kInterior : SolutionKind::kBasic;
}

// What the solve starts from: the solution of the kind that it makes.
const Solution* find_start(const Task& task) {
  if (!task.parameters.is_on(IntParam::kWarmStart)) return nullptr;
  const Solution& held = task.solutions[static_cast<size_t>(kind_of_result(task))];
  const bool fits = held.defined && held.xx.size() == task.model.cost.size() &&
                    held.xc.size() == task.model.con_lower.size();
  return fits ? &held : nullptr;
}

}  // namespace

Status optimize(Task* task, Code* termination) {
  Listener listener(task);
  const MinimizeProblem problem(task->model, find_start(*task));
  BackendResult result;
  log_start(*task);
  Status status;
  if (listener.beat_now({})) {
    result.outcome = Outcome::kStopped;
    result.termination = listener.stop_reason();
  } else if (find_crossed_bounds(task->model).found()) {
    result.outcome = Outcome::kInfeasible;
    result.certificate = Certificate::kCrossedBounds;
  } else {
    status = run(problem, task, &listener, &result);
  }
  if (!status.ok()) return status;

  *termination = result.termination;
  const Progress progress = result.progress;
  Residuals residuals;
  const bool integer = task->model.is_mixed_integer();
  const SolutionKind kind = kind_of_result(*task);
  const auto make_solution = integer ? make_integer_solution : make_basic_solution;
  const ClaimTolerances tolerances(task->parameters, integer);
  const bool claimed = result.outcome == Outcome::kOptimal;
  Solution solution = make_solution(problem, std::move(result), tolerances, &residuals);
  if (claimed && !is_optimal(solution)) {
    task->log_text(kLogSummary,
                   "The optimizer claims an optimum, but its residuals are too large: the status "
                   "is what they bear out\n");
  }
  log_end(*task, kind, *termination, solution, progress, residuals, listener.elapsed());
  task->solver_result.figures = make_figures(*task, kind, progress, residuals, listener.elapsed());
  task->solutions = {};
  task->solutions[static_cast<size_t>(kind)] = std::move(solution);
  return {};
}

}  // namespace vorlan
