// The life of a solve.
#include "solve/optimize.h"

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

void log_end(const Task& task, Code termination, const Solution& solution, const Progress& progress,
             const Residuals& residuals, double seconds) {
  const bool integer = task.model.is_mixed_integer();
  std::string text = "Optimization ended";
  if (termination != Code::kOk) {
    text += format_text(": %s", find_code(static_cast<int32_t>(termination))->text);
  }
  text += '\n';
  if (solution.defined) {
    text += describe_solution(solution, residuals);
  } else {
    text += format_text("  no %s solution found\n", integer ? "integer" : "basic");
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
  text += format_text("  time              %.2f s\n", seconds);
  task.log_text(kLogSummary, text);
}

bool is_optimal(const Solution& solution) {
  return solution.status == SolutionStatus::kOptimal ||
         solution.status == SolutionStatus::kIntegerOptimal;
}

Status run(const MinimizeProblem& problem, Task* task, Listener* listener, BackendResult* result) {
  const Backend* backend = choose_backend(task->model);
  if (backend == nullptr) return {Code::kErrModelKind, "no optimizer takes this kind of model"};
  const bool child = task->parameters.is_on(IntParam::kChildProcess);
  const auto run_backend = child ? run_in_child : run_here;
  return run_backend(*backend, problem, task, listener, result);
}

}  // namespace

Status optimize(Task* task, Code* termination) {
  Listener listener(task);
  const MinimizeProblem problem(task->model);
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
  const SolutionKind kind = integer ? SolutionKind::kInteger : SolutionKind::kBasic;
  const auto make_solution = integer ? make_integer_solution : make_basic_solution;
  const ClaimTolerances tolerances(task->parameters, integer);
  const bool claimed = result.outcome == Outcome::kOptimal;
  Solution solution = make_solution(problem, std::move(result), tolerances, &residuals);
  if (claimed && !is_optimal(solution)) {
    task->log_text(kLogSummary,
                   "The optimizer claims an optimum, but its residuals are too large: the status "
                   "is what they bear out\n");
  }
  log_end(*task, *termination, solution, progress, residuals, listener.elapsed());
  task->solutions = {};
  task->solutions[static_cast<size_t>(kind)] = std::move(solution);
  return {};
}

}  // namespace vorlan
