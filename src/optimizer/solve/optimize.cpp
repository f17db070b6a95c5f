// The life of a solve.
#include "solve/optimize.h"

#include <algorithm>
#include <cmath>

#include "solve/backend.h"
#include "solve/check/checker.h"
#include "solve/choose_backend.h"
#include "solve/held_answer.h"
#include "solve/make_solution.h"
#include "solve/run/listener.h"
#include "solve/run/runner.h"
#include "task/status_words.h"
#include "task/text.h"

namespace vorlan {
namespace {

const char* kind_of(const Model& model) {
  if (model.is_mixed_integer()) return "mixed-integer";
  if (!model.matrix_vars.empty()) return "semidefinite";
  if (!model.cones.empty()) return "conic";
  return model.is_quadratic() ? "quadratic" : "linear";
}

const char* words(ConeKind kind) {
  static constexpr const char* kKinds[] = {
      "quadratic", "rotated quadratic", "exponential", "dual exponential", "power", "dual power"};
  return kKinds[static_cast<size_t>(kind)];
}

// Cones by kind, with the variables in them.
std::string describe_cones(const Model& model) {
  constexpr size_t kNumKinds = static_cast<size_t>(ConeKind::kDualPower) + 1;
  size_t cones[kNumKinds] = {};
  size_t members[kNumKinds] = {};
  for (const Cone& cone : model.cones) {
    ++cones[static_cast<size_t>(cone.kind)];
    members[static_cast<size_t>(cone.kind)] += cone.vars.size();
  }
  std::string text;
  for (size_t kind = 0; kind < kNumKinds; ++kind) {
    if (cones[kind] == 0) continue;
    text += format_text("  %s cones: %zu of %zu variables\n", words(static_cast<ConeKind>(kind)),
                        cones[kind], members[kind]);
  }
  return text;
}

std::string describe_matrix_variables(const Model& model) {
  if (model.matrix_vars.empty()) return {};
  int32_t largest = 0;
  for (const MatrixVariable& variable : model.matrix_vars) {
    largest = std::max(largest, variable.dimension);
  }
  return format_text("  matrix variables: %d of dimension up to %d, %zu elements\n",
                     model.num_matrix_var(), largest,
                     model.matrix_cost.size() + model.matrix_coefficients.size());
}

std::string describe_quadratic_terms(const Model& model) {
  if (!model.is_quadratic()) return {};
  return format_text("  quadratic elements: %zu in the objective, %zu in constraints\n",
                     model.quadratic_cost.size(), model.quadratic_coefficients.size());
}

void log_start(const Task& task) {
  const Model& model = task.model;
  std::string text = format_text(
      "Optimization of a %s model: %d constraints, %d variables, %lld "
      "matrix elements; %s\n",
      kind_of(model), model.num_con(), model.num_var(),
      static_cast<long long>(model.matrix.num_elements()),
      model.maximize ? "maximize" : "minimize");
  text += describe_quadratic_terms(model) + describe_cones(model);
  text += describe_matrix_variables(model);
  if (model.maximize) text += "The optimizer's own log shows the negated objective, minimized.\n";
  task.log_text(kLogSummary, text);
}

std::string describe_solution(const Solution& solution, const Residuals& residuals) {
  std::string text = format_text("  problem status    %s\n  solution status   %s\n",
                                 word_of(kProblemStatuses, solution.problem_status),
                                 word_of(kSolutionStatuses, solution.status));
  const bool is_ray = solution.status == SolutionStatus::kDualInfeasibleCertificate ||
                      solution.status == SolutionStatus::kDualIllPosedCertificate;
  if (is_ray || std::isfinite(residuals.primal))
    text += format_text("  objective         %.10e\n", solution.primal_objective);
  return text;
}

// What an interior point leaves open between primal and dual.
std::string describe_duality(const Solution& solution, const Residuals& residuals) {
  if (!std::isfinite(solution.dual_objective)) return {};
  std::string text = format_text("  dual objective    %.10e\n", solution.dual_objective);
  if (std::isfinite(residuals.gap))
    text += format_text("  duality gap       %.1e\n", residuals.gap);
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
    if (kind == SolutionKind::kInterior) text += describe_duality(solution, residuals);
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
std::vector<Figure> make_figures(const Task& task, SolutionKind kind, const Solution& solution,
                                 const Progress& progress, const Residuals& residuals,
                                 double seconds) {
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
    add("duality gap", residuals.gap);
    add("dual objective", solution.dual_objective);
    return figures;
  }
  const double factor = task.model.maximize ? -1.0 : 1.0;
  add("bound", factor * progress.bound + task.model.constant);
  add("relative gap", progress.relative_gap);
  add("nodes", static_cast<double>(progress.nodes));
  return figures;
}

// Of an integer solution, the dual objective is what the search has proved.
void set_bound(const MinimizeProblem& problem, const Progress& progress, Solution* solution) {
  const bool is_point = solution->status == SolutionStatus::kIntegerOptimal ||
                        solution->status == SolutionStatus::kPrimalFeasible;
  if (!is_point || !std::isfinite(progress.bound)) return;
  solution->dual_objective = problem.sense_factor() * progress.bound + problem.model.constant;
}

bool is_optimal(const Solution& solution) {
  return solution.status == SolutionStatus::kOptimal ||
         solution.status == SolutionStatus::kIntegerOptimal;
}

// A linear model of no more rows, columns and elements together is solved within a few
// milliseconds, while a child process costs about one: nothing is won by being able to kill it.
constexpr int64_t kTinyModelSize = 2000;

bool is_tiny(const Model& model) {
  return model.is_linear() && !model.is_mixed_integer() &&
         model.num_var() + model.num_con() + model.matrix.num_elements() <= kTinyModelSize;
}

bool runs_in_child(const Task& task) {
  const int32_t choice = task.parameters.get(IntParam::kChildProcess);
  if (choice != kChildAutomatic) return choice == kChildOn;
  return !is_tiny(task.model) || task.parameters.get(IntParam::kOptimizer) == kInteriorPoint ||
         wants_conic_method(task.model, task.parameters) ||
         std::isfinite(task.parameters.get(DoubleParam::kMemoryLimit));
}

Status run(const MinimizeProblem& problem, Task* task, Listener* listener, BackendResult* result) {
  const Backend* backend = choose_backend(task->model, task->parameters);
  if (backend == nullptr) return {Code::kErrModelKind, "no optimizer takes this kind of model"};
  const auto run_backend = runs_in_child(*task) ? run_in_child : run_here;
  return run_backend(*backend, problem, task, listener, result);
}

// Interior-point solutions are those that have no basis: of the conic method, and of an interior
// point that no crossover follows.
SolutionKind kind_of_result(const Task& task) {
  if (task.model.is_mixed_integer()) return SolutionKind::kInteger;
  const bool interior = task.parameters.get(IntParam::kOptimizer) == kInteriorPoint &&
                        !task.parameters.is_on(IntParam::kCrossover);
  return interior || wants_conic_method(task.model, task.parameters) ? SolutionKind::kInterior
                                                                     : SolutionKind::kBasic;
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
  } else if (take_held_answer(problem, task->parameters, &result)) {
    const bool is_optimum = result.certificate == Certificate::kNone;
    task->log_text(kLogSummary, is_optimum
                                    ? "The solution that the task holds is optimal for this model\n"
                                    : "The certificate that the task holds proves the same of this "
                                      "model\n");
  } else {
    status = run(problem, task, &listener, &result);
  }
  if (!status.ok()) return status;
  keep_held_point(problem, task->parameters, &result);

  *termination = result.termination;
  const Progress progress = result.progress;
  Residuals residuals;
  static constexpr decltype(&make_basic_solution) kMakers[] = {
      make_interior_solution, make_basic_solution, make_integer_solution};
  const SolutionKind kind = kind_of_result(*task);
  const auto make_solution = kMakers[static_cast<size_t>(kind)];
  const ClaimTolerances tolerances(task->model, task->parameters);
  const bool claimed = result.outcome == Outcome::kOptimal;
  Solution solution = make_solution(problem, std::move(result), tolerances, &residuals);
  if (claimed && !is_optimal(solution)) {
    task->log_text(kLogSummary,
                   "The optimizer claims an optimum, but its residuals are too large: the status "
                   "is what they bear out\n");
  }
  if (kind == SolutionKind::kInteger) set_bound(problem, progress, &solution);
  log_end(*task, kind, *termination, solution, progress, residuals, listener.elapsed());
  task->solver_result.figures =
      make_figures(*task, kind, solution, progress, residuals, listener.elapsed());
  task->solutions = {};
  task->solutions[static_cast<size_t>(kind)] = std::move(solution);
  return {};
}

}  // namespace vorlan
