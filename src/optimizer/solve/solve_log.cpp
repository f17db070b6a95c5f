// The texts and the figures are made from the same values, so that log and result files agree.
#include "solve/solve_log.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "solve/model_statistics.h"
#include "solve/solve_plan.h"
#include "task/machine.h"
#include "task/numeric.h"
#include "task/parameter_index.h"
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
  return kKinds[index(kind)];
}

std::string cone_words(ConeKind kind) { return std::string(words(kind)) + " cones"; }

// Cones by kind, with the variables in them.
std::string describe_cones(const Model& model) {
  constexpr size_t kNumKinds = index(ConeKind::kDualPower) + 1;
  size_t cones[kNumKinds] = {};
  size_t members[kNumKinds] = {};
  for (const Cone& cone : model.cones) {
    ++cones[index(cone.kind)];
    members[index(cone.kind)] += cone.vars.size();
  }
  std::string text;
  for (size_t kind = 0; kind < kNumKinds; ++kind) {
    if (cones[kind] == 0) continue;
    text +=
        format_text("  %s: %zu of %s\n", cone_words(static_cast<ConeKind>(kind)).c_str(),
                    cones[kind], counted(static_cast<int64_t>(members[kind]), "variable").c_str());
  }
  return text;
}

std::string describe_matrix_variables(const Model& model) {
  if (model.matrix_vars.empty()) return {};
  int32_t largest = 0;
  for (const MatrixVariable& variable : model.matrix_vars) {
    largest = std::max(largest, variable.dimension);
  }
  const size_t elements = model.matrix_cost.size() + model.matrix_coefficients.size();
  return format_text("  matrix variables: %d of dimension up to %d, %s\n", model.num_matrix_var(),
                     largest, counted(static_cast<int64_t>(elements), "element").c_str());
}

std::string describe_quadratic_terms(const Model& model) {
  if (!model.is_quadratic()) return {};
  return format_text("  quadratic elements: %zu in the objective, %zu in constraints\n",
                     model.quadratic_cost.size(), model.quadratic_coefficients.size());
}

std::string describe_logic(const Model& model) {
  if (!model.has_logic()) return {};
  return format_text("  special ordered sets: %zu; constraints under a condition: %zu\n",
                     model.sets.size(), model.indicators.size());
}

bool is_primal_ray(const Solution& solution) {
  return solution.status == SolutionStatus::kDualInfeasibleCertificate ||
         solution.status == SolutionStatus::kDualIllPosedCertificate;
}

bool is_ray(const Solution& solution) {
  return is_primal_ray(solution) ||
         solution.status == SolutionStatus::kPrimalInfeasibleCertificate ||
         solution.status == SolutionStatus::kPrimalIllPosedCertificate;
}

// By how much the objective improves along a primal ray, or the multipliers of a dual ray
// contradict each other; NaN where there is no ray.
double ray_objective(const Solution& solution) {
  if (!is_ray(solution)) return std::numeric_limits<double>::quiet_NaN();
  return is_primal_ray(solution) ? solution.primal_objective : solution.dual_objective;
}

// The point that was found or kept, if the solve has one.
bool has_point(const SolveEnd& end) {
  const bool is_point = end.outcome == Outcome::kOptimal || end.outcome == Outcome::kStopped;
  return end.solution.defined && is_point && !is_ray(end.solution);
}

std::string describe_solution(const SolveEnd& end) {
  const Solution& solution = end.solution;
  std::string text = format_text("  problem status    %s\n  solution status   %s\n",
                                 word_of(kProblemStatuses, solution.problem_status),
                                 word_of(kSolutionStatuses, solution.status));
  const double along_ray = ray_objective(solution);
  if (std::isfinite(along_ray)) {
    text += format_text("  ray objective     %.10e\n", along_ray);
  } else if (has_point(end)) {
    text += format_text("  objective         %.10e\n", solution.primal_objective);
  }
  return text;
}

// Tells what an interior point leaves open between primal and dual.
std::string describe_duality(const Solution& solution, const Residuals& residuals) {
  if (!std::isfinite(solution.dual_objective) || is_ray(solution)) return {};
  std::string text = format_text("  dual objective    %.10e\n", solution.dual_objective);
  if (std::isfinite(residuals.gap))
    text += format_text("  duality gap       %.1e\n", residuals.gap);
  return text;
}

bool is_empty(const Model& model) {
  return model.num_var() == 0 && model.num_con() == 0 && model.num_matrix_var() == 0;
}

std::string describe_model(const Model& model) {
  if (is_empty(model)) return "The task is empty: it has no variables and no constraints\n";
  std::string text = format_text("Optimization of a %s model: %s, %s, %s; %s\n", kind_of(model),
                                 counted(model.num_con(), "constraint").c_str(),
                                 counted(model.num_var(), "variable").c_str(),
                                 counted(model.matrix.num_elements(), "matrix element").c_str(),
                                 model.maximize ? "maximize" : "minimize");
  if (!model.name.empty()) text += "  name: " + on_one_line(model.name) + '\n';
  return text + describe_quadratic_terms(model) + describe_cones(model) +
         describe_matrix_variables(model) + describe_logic(model);
}

// The parameters that somebody has changed, by the words of their values.
std::vector<std::string> changed_parameters(const Task& task) {
  const Parameters& parameters = task.parameters;
  std::vector<std::string> changed;
  for (const IntParamEntry& entry : int_parameters()) {
    const int32_t value = parameters.get(entry.param);
    if (value == entry.initial) continue;
    std::string text = format_text("%s = %d", entry.name, value);
    const auto word = std::find_if(entry.words.begin(), entry.words.end(),
                                   [value](const ValueWord& w) { return w.value == value; });
    if (word != entry.words.end()) text += format_text(" (%s)", word->word);
    changed.push_back(std::move(text));
  }
  for (const DoubleParamEntry& entry : double_parameters()) {
    const double value = parameters.get(entry.param);
    if (value != entry.initial) changed.push_back(format_text("%s = %g", entry.name, value));
  }
  for (const StringParamEntry& entry : string_parameters()) {
    const std::string& value = parameters.get(entry.param);
    if (value.empty()) continue;
    changed.push_back(entry.name + (" = " + on_one_line(task.shown_name(value))));
  }
  return changed;
}

std::string describe_parameters(const Task& task) {
  const std::vector<std::string> changed = changed_parameters(task);
  std::string text;
  for (const std::string& parameter : changed) {
    text += (text.empty() ? "Parameters: " : ", ") + parameter;
  }
  return text.empty() ? text : text + '\n';
}

// The conic method shares the operations of large models only; its own log says when it does.
std::string describe_threads(const Task& task, const SolvePlan& plan, size_t num_racers) {
  const int32_t asked = task.parameters.get(IntParam::kNumThreads);
  int32_t threads = 1;
  const char* limit = "";
  if (plan.in_child && plan.solution == SolutionKind::kInteger) {
    threads = search_threads(asked);
  } else if (plan.in_child && plan.method == SolveMethod::kConic) {
    threads = continuous_threads(asked);
    if (threads > 1) limit = "up to ";
  }
  std::string text = format_text("%s, %s%s", counted(usable_processors(), "core").c_str(), limit,
                                 counted(threads, "thread").c_str());
  if (num_racers > 0) {
    text += format_text(", %d in a race", threads * (1 + static_cast<int32_t>(num_racers)));
  }
  return text;
}

std::string describe_library(const Task& task, const SolvePlan& plan, size_t num_racers) {
  const double limit = task.parameters.get(DoubleParam::kTimeLimit);
  // The caller may have a limit of its own, so that the library cannot say that there is none.
  const std::string time = std::isfinite(limit) ? format_text(", time limit %g s", limit) : "";
  return format_text("Optimizer library " VORLAN_VERSION ": %s%s\n",
                     describe_threads(task, plan, num_racers).c_str(), time.c_str());
}

}  // namespace

void log_start(const Task& task, const SolvePlan& plan, size_t num_racers) {
  if (!task.is_logged(kLogSummary)) return;
  task.log_text(kLogSummary, describe_library(task, plan, num_racers) + describe_parameters(task) +
                                 describe_model(task.model));
  if (!task.is_logged(kLogFull)) return;
  task.log_text(kLogFull, describe_ranges(task.model) + advise_on_scaling(task.model));
}

namespace {

bool is_optimal(const Solution& solution) {
  return solution.status == SolutionStatus::kOptimal ||
         solution.status == SolutionStatus::kIntegerOptimal;
}

const char* describe_origin(const SolveEnd& end) {
  if (end.is_held && end.outcome == Outcome::kOptimal) {
    return "The solution that the task holds is optimal for this model\n";
  }
  return end.is_held ? "The certificate that the task holds proves the same of this model\n" : "";
}

const char* describe_refusal(const SolveEnd& end) {
  if (end.outcome != Outcome::kOptimal || is_optimal(end.solution)) return "";
  return "The optimizer claims an optimum, but its residuals are too large: the status is what "
         "they bear out\n";
}

// Names each residual of an optimum that is larger than the parameters ask.
std::string describe_missed_tolerances(const Task& task, const SolveEnd& end) {
  if (!is_optimal(end.solution)) return {};
  const AskedTolerances asked(task.model, task.parameters);
  const Residuals& found = end.residuals;
  struct Measure {
    const char* name;
    double found, asked;
  };
  const Measure measures[] = {{"primal violation", found.primal, asked.primal},
                              {"dual violation", found.dual, asked.dual},
                              {"duality gap", found.gap, asked.gap}};
  std::string text;
  for (const Measure& measure : measures) {
    if (!std::isfinite(measure.found) || measure.found <= measure.asked) continue;
    text += format_text("The optimum misses its tolerance: %s %.1e, where %.1e is asked\n",
                        measure.name, measure.found, measure.asked);
  }
  return text;
}

}  // namespace

void log_end(const Task& task, const SolveEnd& end) {
  const Solution& solution = end.solution;
  const Progress& progress = end.progress;
  const Residuals& residuals = end.residuals;
  const bool integer = end.kind == SolutionKind::kInteger;
  std::string text = describe_origin(end);
  text += describe_refusal(end);
  text += describe_missed_tolerances(task, end);
  text += "Optimization ended";
  if (end.termination == Code::kTrmUserCallback) {
    text += ": stopped by the caller (time limit of the command, or SIGTERM)";
  } else if (end.termination != Code::kOk) {
    text += format_text(": %s", find_code(static_cast<int32_t>(end.termination))->text);
  }
  text += '\n';
  if (solution.defined) {
    text += describe_solution(end);
    if (end.kind == SolutionKind::kInterior) text += describe_duality(solution, residuals);
  } else {
    text += format_text("  no %s solution found\n", word_of(kSolutionKindNames, end.kind));
  }
  if (integer && std::isfinite(progress.bound)) {
    text += format_text("  bound             %.10e\n", task.model.stated_objective(progress.bound));
  }
  if (integer && std::isfinite(progress.relative_gap)) {
    text += format_text("  relative gap      %.2e\n", progress.relative_gap);
  }
  if (has_point(end) && !std::isfinite(residuals.primal)) {
    text += "  violations        not measured: that takes longer than a stop may\n";
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
  text += format_text("  time              %.2f s\n", end.seconds);
  task.log_text(kLogSummary, text);
}

std::vector<Figure> make_figures(const Model& model, const SolveEnd& end) {
  const Progress& progress = end.progress;
  const Residuals& residuals = end.residuals;
  std::vector<Figure> figures = {
      {"time", end.seconds},
      {"simplex iterations",
       static_cast<double>(std::max<int64_t>(0, progress.simplex_iterations))},
      {"interior-point iterations",
       static_cast<double>(std::max<int64_t>(0, progress.interior_iterations))}};
  const auto add = [&figures](const char* name, double value) {
    if (std::isfinite(value)) figures.push_back({name, value});
  };
  add("primal violation", residuals.primal);
  if (end.kind != SolutionKind::kInteger) {
    add("dual violation", residuals.dual);
    add("duality gap", residuals.gap);
    if (!is_ray(end.solution)) add("dual objective", end.solution.dual_objective);
    add("ray objective", ray_objective(end.solution));
    return figures;
  }
  add("bound", model.stated_objective(progress.bound));
  add("relative gap", progress.relative_gap);
  add("nodes", static_cast<double>(progress.nodes));
  return figures;
}

}  // namespace vorlan
