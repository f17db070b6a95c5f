// The texts and the figures are made from the same values, so that log and result files agree.
#include "solve/solve_log.h"

#include <algorithm>
#include <cmath>

#include "solve/solve_plan.h"
#include "task/numeric.h"
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

std::string describe_logic(const Model& model) {
  if (!model.has_logic()) return {};
  return format_text("  special ordered sets: %zu; constraints under a condition: %zu\n",
                     model.sets.size(), model.indicators.size());
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

// Tells what an interior point leaves open between primal and dual.
std::string describe_duality(const Solution& solution, const Residuals& residuals) {
  if (!std::isfinite(solution.dual_objective)) return {};
  std::string text = format_text("  dual objective    %.10e\n", solution.dual_objective);
  if (std::isfinite(residuals.gap))
    text += format_text("  duality gap       %.1e\n", residuals.gap);
  return text;
}

}  // namespace

void log_start(const Task& task) {
  const Model& model = task.model;
  std::string text = format_text(
      "Optimization of a %s model: %d constraints, %d variables, %lld "
      "matrix elements; %s\n",
      kind_of(model), model.num_con(), model.num_var(),
      static_cast<long long>(model.matrix.num_elements()),
      model.maximize ? "maximize" : "minimize");
  text += describe_quadratic_terms(model) + describe_cones(model);
  text += describe_matrix_variables(model) + describe_logic(model);
  if (model.maximize) text += "The optimizer's own log shows the negated objective, minimized.\n";
  task.log_text(kLogSummary, text);
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
         "they "
         "bear out\n";
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
  if (end.termination != Code::kOk) {
    text += format_text(": %s", find_code(static_cast<int32_t>(end.termination))->text);
  }
  text += '\n';
  if (solution.defined) {
    text += describe_solution(solution, residuals);
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
    add("dual objective", end.solution.dual_objective);
    return figures;
  }
  add("bound", model.stated_objective(progress.bound));
  add("relative gap", progress.relative_gap);
  add("nodes", static_cast<double>(progress.nodes));
  return figures;
}

}  // namespace vorlan
