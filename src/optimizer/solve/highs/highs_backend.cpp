// HiGHS as a backend: the model handed over, the run, and what it ended with.
//
// A maximization never reaches HiGHS: without a basis it gives such a model back with negated
// objective and duals. Rays are read last, because asking for one may solve again and so change
// everything else.
#include "solve/highs/highs_backend.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "Highs.h"
#include "solve/checker.h"
#include "solve/highs/highs_model.h"
#include "solve/highs/highs_options.h"
#include "solve/highs/semi_continuous.h"
#include "solve/listener.h"
#include "task/text.h"

namespace vorlan {
namespace {

struct Watch {
  BackendMonitor* monitor;
  const MinimizeProblem& problem;
  Progress progress;
  bool drops_text = false;
  // What is solved is another model than the one that is asked for, to learn something of it.
  bool aside = false;

  // HiGHS counts the constant in; the library's border does so itself.
  double constant() const { return problem.sense_factor() * problem.model.constant; }
};

// The table of branch and bound has a line for each new incumbent and restart, thousands on some
// models, and the report at its end repeats the library's; the library's own progress lines take
// their place. The legend of the table's letters tells that it begins.
void pass_text(std::string_view text, Watch* watch) {
  if (text.find("Src: ") != std::string_view::npos) watch->drops_text = true;
  if (!watch->drops_text) watch->monitor->log(text);
}

void note_progress(int type, const HighsCallbackDataOut& data, double constant,
                   Progress* progress) {
  switch (type) {
    case kCallbackSimplexInterrupt:
      progress->simplex_iterations = data.simplex_iteration_count;
      break;
    case kCallbackIpmInterrupt:
      progress->interior_iterations = data.ipm_iteration_count;
      break;
    case kCallbackMipInterrupt:
    case kCallbackMipImprovingSolution:
      progress->objective = data.mip_primal_bound - constant;
      progress->bound = data.mip_dual_bound - constant;
      progress->relative_gap = data.mip_gap;
      progress->nodes = data.mip_node_count;
      progress->simplex_iterations = data.mip_total_lp_iterations;
      break;
    default:
      break;
  }
}

void on_callback(int type, const std::string& text, const HighsCallbackDataOut* data,
                 HighsCallbackDataIn* answer, void* handle) {
  auto* watch = static_cast<Watch*>(handle);
  if (type == kCallbackLogging) {
    pass_text(text, watch);
    return;
  }
  if (!watch->aside) note_progress(type, *data, watch->constant(), &watch->progress);
  if (type == kCallbackMipImprovingSolution) {
    if (data->mip_solution != nullptr && !watch->aside) {
      watch->monitor->incumbent({data->mip_solution, watch->problem.cost.size()}, {});
    }
    return;
  }
  // HiGHS keeps the last answer, so that each call needs one.
  if (answer != nullptr) answer->user_interrupt = watch->monitor->should_stop(watch->progress);
}

void connect(Watch* watch, Highs* highs) {
  highs->setCallback(on_callback, watch);
  for (const auto type : {kCallbackLogging, kCallbackSimplexInterrupt, kCallbackIpmInterrupt,
                          kCallbackMipImprovingSolution, kCallbackMipInterrupt}) {
    highs->startCallback(type);
  }
}

// Cutoffs in terms of the minimization; HiGHS counts the constant in.
void set_cutoffs(const MinimizeProblem& problem, const Parameters& parameters, Highs* highs) {
  double lower = parameters.get(DoubleParam::kLowerCutoff);
  double upper = parameters.get(DoubleParam::kUpperCutoff);
  if (problem.model.maximize) {
    std::swap(lower, upper);
    lower = -lower;
    upper = -upper;
  }
  if (std::isfinite(lower)) highs->setOptionValue("objective_target", lower);
  if (std::isfinite(upper)) highs->setOptionValue("objective_bound", upper);
}

// False when the keys are not those of a basis.
bool basis_status(StatusKey key, double lower, double upper, HighsBasisStatus* status) {
  const bool upper_only = key == StatusKey::kAtUpper || !std::isfinite(lower);
  *status = HighsBasisStatus::kLower;
  if (key == StatusKey::kBasic) {
    *status = HighsBasisStatus::kBasic;
  } else if (upper_only && std::isfinite(upper)) {
    *status = HighsBasisStatus::kUpper;
  } else if (!std::isfinite(lower)) {
    *status = HighsBasisStatus::kZero;
  }
  return key != StatusKey::kUnknown && key != StatusKey::kInfinite;
}

bool make_basis(const Model& model, const Solution& start, HighsBasis* basis) {
  basis->col_status.resize(model.cost.size());
  basis->row_status.resize(model.con_lower.size());
  if (start.skx.size() != model.cost.size() || start.skc.size() != model.con_lower.size()) {
    return false;
  }
  bool whole = true;
  for (size_t j = 0; j < start.skx.size(); ++j) {
    whole &=
        basis_status(start.skx[j], model.var_lower[j], model.var_upper[j], &basis->col_status[j]);
  }
  for (size_t i = 0; i < start.skc.size(); ++i) {
    whole &=
        basis_status(start.skc[i], model.con_lower[i], model.con_upper[i], &basis->row_status[i]);
  }
  const auto is_basic = [](HighsBasisStatus status) { return status == HighsBasisStatus::kBasic; };
  const auto num_basic =
      std::count_if(basis->col_status.begin(), basis->col_status.end(), is_basic) +
      std::count_if(basis->row_status.begin(), basis->row_status.end(), is_basic);
  return whole && num_basic == model.num_con();
}

// From a basis HiGHS goes on without presolve, hence only where there is one to go on from.
void start_linear(const MinimizeProblem& problem, const Parameters& parameters, Highs* highs) {
  if (parameters.get(IntParam::kOptimizer) == kInteriorPoint) return;
  HighsBasis basis;
  if (make_basis(problem.model, *problem.start, &basis)) highs->setBasis(basis);
}

void start_integer(const MinimizeProblem& problem, const Parameters& parameters,
                   const SemiContinuous& semi, Highs* highs) {
  const Solution& start = *problem.start;
  const bool has_point = start.status == SolutionStatus::kIntegerOptimal ||
                         start.status == SolutionStatus::kPrimalFeasible;
  const double tolerance = parameters.get(DoubleParam::kFeasibilityTolerance);
  if (!has_point || primal_violation(problem.model, start.xx) > tolerance) return;
  HighsSolution point;
  point.col_value = start.xx;
  semi.append_switches(&point.col_value);
  highs->setSolution(point);
}

void set_start(const MinimizeProblem& problem, const Parameters& parameters,
               const SemiContinuous& semi, Highs* highs) {
  if (problem.start == nullptr) return;
  if (problem.model.is_mixed_integer()) {
    start_integer(problem, parameters, semi, highs);
  } else {
    start_linear(problem, parameters, highs);
  }
}

// The termination code of a limit that HiGHS reports as reached on nodes or solutions alike.
Code solution_limit_code(const Highs& highs, const Parameters& parameters) {
  const int64_t limit = parameters.get(IntParam::kMipNodeLimit);
  return limit < kIntMax && highs.getInfo().mip_node_count >= limit ? Code::kTrmNodeLimit
                                                                    : Code::kTrmSolutionLimit;
}

void stop_with(Code termination, BackendResult* result) {
  result->outcome = Outcome::kStopped;
  result->termination = termination;
}

// False when the status is a failure.
bool set_outcome(const Highs& highs, const Parameters& parameters, BackendResult* result) {
  switch (highs.getModelStatus()) {
    case HighsModelStatus::kOptimal:
    case HighsModelStatus::kModelEmpty:
      result->outcome = Outcome::kOptimal;
      return true;
    case HighsModelStatus::kObjectiveBound:
    case HighsModelStatus::kObjectiveTarget:
      stop_with(Code::kTrmObjectiveCutoff, result);
      return true;
    case HighsModelStatus::kInfeasible:
      result->outcome = Outcome::kInfeasible;
      return true;
    case HighsModelStatus::kUnbounded:
      result->outcome = Outcome::kUnbounded;
      return true;
    case HighsModelStatus::kUnboundedOrInfeasible:
      result->outcome = Outcome::kInfeasibleOrUnbounded;
      return true;
    case HighsModelStatus::kTimeLimit:
      stop_with(Code::kTrmTimeLimit, result);
      return true;
    case HighsModelStatus::kIterationLimit:
      stop_with(Code::kTrmIterationLimit, result);
      return true;
    case HighsModelStatus::kSolutionLimit:
      stop_with(solution_limit_code(highs, parameters), result);
      return true;
    case HighsModelStatus::kInterrupt:
      stop_with(Code::kTrmUserCallback, result);
      return true;
    case HighsModelStatus::kUnknown:
      stop_with(Code::kTrmStall, result);
      return true;
    default:
      return false;
  }
}

StatusKey key_from(HighsBasisStatus status, double lower, double upper) {
  switch (status) {
    case HighsBasisStatus::kBasic:
      return StatusKey::kBasic;
    case HighsBasisStatus::kLower:
      return lower == upper ? StatusKey::kFixed : StatusKey::kAtLower;
    case HighsBasisStatus::kUpper:
      return lower == upper ? StatusKey::kFixed : StatusKey::kAtUpper;
    case HighsBasisStatus::kZero:
      return StatusKey::kSuperBasic;
    default:
      return StatusKey::kUnknown;
  }
}

void copy_basis(const Highs& highs, const Model& model, BackendResult* result) {
  const HighsBasis& basis = highs.getBasis();
  if (!basis.valid) return;
  result->var_key.resize(model.cost.size());
  for (size_t j = 0; j < result->var_key.size(); ++j) {
    result->var_key[j] = key_from(basis.col_status[j], model.var_lower[j], model.var_upper[j]);
  }
  result->con_key.resize(model.con_lower.size());
  for (size_t i = 0; i < result->con_key.size(); ++i) {
    result->con_key[i] = key_from(basis.row_status[i], model.con_lower[i], model.con_upper[i]);
  }
}

void copy_solution(const Highs& highs, const Model& model, BackendResult* result) {
  const HighsSolution& solution = highs.getSolution();
  if (solution.value_valid) {
    // Behind the variables there may be switches.
    const auto begin = solution.col_value.begin();
    result->x.assign(begin, begin + model.num_var());
  }
  if (model.is_mixed_integer()) return;
  if (solution.dual_valid) {
    result->y = solution.row_dual;
    result->d = solution.col_dual;
  }
  copy_basis(highs, model, result);
}

void copy_figures(const Highs& highs, const Model& model, Progress* progress) {
  const HighsInfo& info = highs.getInfo();
  progress->simplex_iterations = info.simplex_iteration_count;
  progress->interior_iterations = info.ipm_iteration_count;
  if (!model.is_mixed_integer()) return;
  progress->objective = info.objective_function_value;
  progress->bound = info.mip_dual_bound;
  progress->relative_gap = info.mip_gap;
  progress->nodes = info.mip_node_count;
  // Semi-continuous variables that may be around 0 are ordinary ones: nothing to branch on is left.
  if (highs.getLp().isMip() || highs.getModelStatus() != HighsModelStatus::kOptimal) return;
  progress->bound = progress->objective;
  progress->relative_gap = 0.0;
  progress->nodes = 0;
}

void remove_constant(double constant, Progress* progress) {
  progress->objective -= constant;
  progress->bound -= constant;
}

// HiGHS has no ray for a model without matrix elements.
std::vector<double> find_dual_ray(const Model& model, Highs* highs) {
  std::vector<double> ray(model.con_lower.size(), 0.0);
  bool found = false;
  if (ray.empty()) return {};
  if (highs->getDualRay(found, ray.data()) == HighsStatus::kOk && found) return ray;
  return find_single_row_ray(model);
}

bool read_dual_ray(const Model& model, Highs* highs, BackendResult* result) {
  std::vector<double> ray = find_dual_ray(model, highs);
  std::vector<double> d;
  if (ray.empty() || !is_dual_ray(model, ray, &d)) return false;
  result->certificate = Certificate::kDualRay;
  result->y = std::move(ray);
  return true;
}

// Along one variable that is in no constraint; HiGHS has no ray for a model without matrix
// elements.
std::vector<double> find_single_variable_ray(const MinimizeProblem& problem) {
  const Model& model = problem.model;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    const bool in_constraint = model.matrix.start[j] < model.matrix.start[j + 1];
    const double end = problem.cost[j] < 0.0 ? model.var_upper[j] : model.var_lower[j];
    if (in_constraint || problem.cost[j] == 0.0 || std::isfinite(end)) continue;
    std::vector<double> ray(problem.cost.size(), 0.0);
    ray[j] = problem.cost[j] < 0.0 ? 1.0 : -1.0;
    return ray;
  }
  return {};
}

std::vector<double> find_primal_ray(const MinimizeProblem& problem, Highs* highs) {
  std::vector<double> ray(static_cast<size_t>(highs->getNumCol()), 0.0);
  bool found = false;
  if (highs->getPrimalRay(found, ray.data()) != HighsStatus::kOk || !found) {
    return find_single_variable_ray(problem);
  }
  ray.resize(problem.cost.size());  // behind the variables there may be switches
  return ray;
}

bool read_primal_ray(const MinimizeProblem& problem, Highs* highs, BackendResult* result) {
  std::vector<double> ray = find_primal_ray(problem, highs);
  if (!is_primal_ray(problem, ray)) return false;
  result->certificate = Certificate::kPrimalRay;
  result->x = std::move(ray);
  return true;
}

bool read_certificate(const MinimizeProblem& problem, Highs* highs, BackendResult* result) {
  if (result->outcome == Outcome::kInfeasible) return read_dual_ray(problem.model, highs, result);
  if (result->outcome == Outcome::kUnbounded) return read_primal_ray(problem, highs, result);
  return false;
}

bool lacks_certificate(Outcome outcome) {
  return outcome == Outcome::kInfeasible || outcome == Outcome::kUnbounded ||
         outcome == Outcome::kInfeasibleOrUnbounded;
}

// Solves a linear model anew by the simplex method and without presolve; the time limit and the
// stop go on as before. False when HiGHS fails.
bool run_simplex(HighsInt strategy, const Parameters& parameters, double seconds, Highs* highs,
                 BackendResult* result) {
  highs->clearSolver();
  if (!set_highs_options(parameters, false, seconds - highs->getRunTime(), highs).ok())
    return false;
  highs->setOptionValue("presolve", "off");
  highs->setOptionValue("solver", "simplex");
  highs->setOptionValue("simplex_strategy", strategy);
  return highs->run() != HighsStatus::kError && set_outcome(*highs, parameters, result);
}

// The certificate of a linear model without an optimum. Presolve and interior point leave none, so
// that the model may have to be solved again by the simplex method alone. What the first solve
// claimed stands when the second is stopped; it falls when the second is done and has no proof.
void certify(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, Highs* highs, BackendResult* result) {
  if (read_certificate(problem, highs, result)) {
    // The ray may come with the basis that presolve did not leave.
    if (result->var_key.empty()) copy_basis(*highs, problem.model, result);
    return;
  }
  monitor->log("Solving again by the simplex method and without presolve, for a certificate\n");
  BackendResult again;
  const bool ran = run_simplex(kHighsDualStrategy, parameters, seconds, highs, &again);
  result->progress.simplex_iterations += highs->getInfo().simplex_iteration_count;
  if (ran && again.outcome == Outcome::kOptimal) {
    again.progress = result->progress;
    *result = std::move(again);
    copy_solution(*highs, problem.model, result);
    return;
  }
  if (ran && again.outcome == Outcome::kStopped && again.termination != Code::kTrmStall) {
    result->termination = again.termination;
    return;
  }
  if (ran && lacks_certificate(again.outcome)) {
    result->outcome = again.outcome;
    copy_basis(*highs, problem.model, result);
    if (read_certificate(problem, highs, result)) return;
  }
  monitor->log("No proof was found that the model has no optimum\n");
  const Progress progress = result->progress;
  *result = {};
  result->progress = progress;
  stop_with(Code::kTrmStall, result);
}

// Whether a mixed-integer model has any point at all, whatever it costs. False when that cannot be
// told.
bool find_feasibility(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                      Highs* highs, bool* feasible) {
  const std::vector<double> no_cost(static_cast<size_t>(highs->getNumCol()), 0.0);
  highs->clearSolver();
  highs->changeColsCost(0, highs->getNumCol() - 1, no_cost.data());
  if (!set_highs_options(parameters, true, seconds - highs->getRunTime(), highs).ok()) return false;
  highs->setOptionValue("objective_bound", kHighsInf);
  highs->setOptionValue("objective_target", -kHighsInf);
  BackendResult found;
  if (highs->run() == HighsStatus::kError || !set_outcome(*highs, parameters, &found)) return false;
  copy_solution(*highs, problem.model, &found);
  const double tolerance = 10.0 * parameters.get(DoubleParam::kIntegralityTolerance);
  *feasible = !found.x.empty() && primal_violation(problem.model, found.x) <= tolerance;
  return *feasible || found.outcome == Outcome::kInfeasible;
}

// A ray of the linear relaxation.
bool find_relaxed_ray(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                      Highs* highs, BackendResult* result) {
  const HighsInt last = highs->getNumCol() - 1;
  const std::vector<HighsVarType> continuous(static_cast<size_t>(last) + 1,
                                             HighsVarType::kContinuous);
  std::vector<double> cost = problem.cost;
  cost.resize(continuous.size(), 0.0);
  highs->changeColsIntegrality(0, last, continuous.data());
  highs->changeColsCost(0, last, cost.data());
  BackendResult relaxed;
  if (!run_simplex(kHighsDualStrategy, parameters, seconds, highs, &relaxed)) return false;
  return relaxed.outcome == Outcome::kUnbounded && read_primal_ray(problem, highs, result);
}

// Branch and bound does not tell unbounded from infeasible. A mixed-integer model that has a point,
// and a relaxation with a ray, is unbounded: numbers are rational here, so that some multiple of
// the ray leads from integers to integers.
void tell_unbounded(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                    Watch* watch, Highs* highs, BackendResult* result) {
  watch->monitor->log("Looking for a feasible point, to tell unbounded from infeasible\n");
  watch->aside = true;
  watch->drops_text = false;
  bool feasible = false;
  if (!find_feasibility(problem, parameters, seconds, highs, &feasible)) return;
  if (!feasible) {
    result->outcome = Outcome::kInfeasible;
    return;
  }
  BackendResult relaxed;
  const bool has_ray = find_relaxed_ray(problem, parameters, seconds, highs, &relaxed) &&
                       keeps_integers(problem.model, relaxed.x);
  result->outcome = has_ray ? Outcome::kUnbounded : Outcome::kInfeasibleOrUnbounded;
  if (!has_ray) return;
  result->certificate = relaxed.certificate;
  result->x = std::move(relaxed.x);
}

// Whether the method came to no end of its own.
bool is_stuck(const Parameters& parameters, const BackendResult& result) {
  if (result.outcome != Outcome::kStopped) return false;
  if (result.termination == Code::kTrmStall) return true;
  return parameters.get(IntParam::kOptimizer) == kInteriorPoint &&
         parameters.get(IntParam::kInteriorIterationLimit) > kInteriorStallIterations &&
         result.termination == Code::kTrmIterationLimit;
}

// The simplex methods take over from a method that is stuck.
void help_stuck(const Parameters& parameters, double seconds, Highs* highs, BackendResult* result) {
  if (!is_stuck(parameters, *result)) return;
  result->termination = Code::kTrmStall;
  for (const HighsInt strategy : {kHighsDualStrategy, kHighsPrimalStrategy}) {
    BackendResult again;
    if (!run_simplex(strategy, parameters, seconds, highs, &again)) continue;
    *result = std::move(again);
    if (result->termination != Code::kTrmStall) return;
  }
}

// Runs the method that was chosen, and others where it gets stuck or fails.
Status run(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
           Highs* highs, BackendResult* result) {
  const bool done = highs->run() != HighsStatus::kError && set_outcome(*highs, parameters, result);
  const std::string cause = highs->modelStatusToString(highs->getModelStatus());
  const bool integer = problem.model.is_mixed_integer();
  if (!done) stop_with(Code::kTrmStall, result);
  if (!integer) help_stuck(parameters, seconds, highs, result);
  if (done || (!integer && result->termination != Code::kTrmStall)) return {};
  return {Code::kErrOptimizer, format_text("the optimizer failed: %s", cause.c_str())};
}

// With a cutoff, HiGHS calls a mixed-integer model infeasible that has no point better than it.
bool is_cut_off(const MinimizeProblem& problem, const Parameters& parameters, Outcome outcome) {
  const bool maximize = problem.model.maximize;
  const double cutoff = parameters.get(maximize ? DoubleParam::kLowerCutoff  //
                                                : DoubleParam::kUpperCutoff);
  return problem.model.is_mixed_integer() && std::isfinite(cutoff) &&
         outcome == Outcome::kInfeasible;
}

Status solve_once(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  bool literally, BackendMonitor* monitor, BackendResult* result) {
  const Model& model = problem.model;
  const bool integer = model.is_mixed_integer();
  Watch watch{monitor, problem, {}};
  Highs::resetGlobalScheduler(true);  // another number of threads than last time is refused
  Highs highs;
  connect(&watch, &highs);
  Status status = set_highs_options(parameters, integer, seconds, &highs);
  if (literally) take_numbers_literally(&highs);
  SemiContinuous semi;
  if (status.ok()) status = pass_model(problem, &semi, &highs);
  if (!status.ok()) return status;
  const double tolerance = parameters.get(DoubleParam::kIntegralityTolerance);
  highs.setOptionValue("mip_feasibility_tolerance", semi.integrality_tolerance(tolerance));
  set_cutoffs(problem, parameters, &highs);
  set_start(problem, parameters, semi, &highs);

  status = run(problem, parameters, seconds, &highs, result);
  if (!status.ok()) return status;
  if (is_cut_off(problem, parameters, result->outcome)) {
    stop_with(Code::kTrmObjectiveCutoff, result);
  }
  copy_figures(highs, model, &result->progress);
  remove_constant(watch.constant(), &result->progress);
  if (!lacks_certificate(result->outcome)) {
    copy_solution(highs, model, result);
    return {};
  }
  if (integer && result->outcome != Outcome::kInfeasible) {
    tell_unbounded(problem, parameters, seconds, &watch, &highs, result);
  } else if (!integer) {
    copy_basis(highs, model, result);
    certify(problem, parameters, seconds, monitor, &highs, result);
  }
  return {};
}

// Whether an answer needs no second solve that looks at extreme numbers closely: it has been
// stopped for another reason, or holds for the model as it is.
bool is_borne_out(const MinimizeProblem& problem, const Parameters& parameters,
                  const Status& status, const BackendResult& result) {
  if (!status.ok()) return status.code() != Code::kErrModelNumber;
  if (result.certificate != Certificate::kNone) return true;
  if (result.termination != Code::kOk) return result.termination != Code::kTrmStall;
  const double tolerance = 10.0 * std::max(parameters.get(DoubleParam::kFeasibilityTolerance),
                                           parameters.get(DoubleParam::kIntegralityTolerance));
  return result.outcome == Outcome::kOptimal &&
         primal_violation(problem.model, result.x) <= tolerance;
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  const double start = monotonic_seconds();
  Status status = solve_once(problem, parameters, seconds, false, monitor, result);
  if (!has_extreme_numbers(problem)) return status;
  if (is_borne_out(problem, parameters, status, *result)) return status;
  monitor->log("Solving again, with very large and very small numbers taken as they are\n");
  *result = {};
  const double left = seconds - (monotonic_seconds() - start);
  return solve_once(problem, parameters, left, true, monitor, result);
}

bool accepts(const Model& model) { return model.is_linear(); }

}  // namespace

const Backend kHighsBackend = {"HiGHS", accepts, solve};

}  // namespace vorlan
