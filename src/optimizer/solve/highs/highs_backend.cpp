// HiGHS as a backend: the model handed over, the run, and what it ended with.
//
// A maximization never reaches HiGHS: without a basis it gives such a model back with negated
// objective and duals.
#include "solve/highs/highs_backend.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <utility>

#include "Highs.h"
#include "solve/check/checker.h"
#include "solve/check/rays.h"
#include "solve/check/terms.h"
#include "solve/highs/exact_integers.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/highs_certificates.h"
#include "solve/highs/highs_log.h"
#include "solve/highs/highs_model.h"
#include "solve/highs/highs_options.h"
#include "solve/highs/highs_ranging.h"
#include "solve/highs/own_units.h"
#include "solve/highs/scaled_model.h"
#include "solve/highs/semi_continuous.h"
#include "solve/highs/simplex_again.h"
#include "solve/run/listener.h"
#include "solve/second_solve.h"
#include "solve/solve_plan.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

struct Watch {
  BackendMonitor* monitor;
  const MinimizeProblem& problem;
  HighsLog log;
  Progress progress;
  // True while another model than the one that is asked for is solved, to learn something of it.
  bool aside = false;
  // The best objective that was told as a milestone, and where a better one comes from.
  double told = kInfinity;
  std::string origin;
  bool root_is_told = false;
  int64_t most_cuts = 0;  // in the relaxation

  Watch(const MinimizeProblem& given_problem, BackendMonitor* given_monitor)
      : monitor(given_monitor),
        problem(given_problem),
        log(given_problem, given_monitor, [this](const HighsTableRow& row) { take_row(row); }) {}

  // HiGHS counts the constant in; the library's border does so itself.
  double constant() const { return problem.sense_factor() * problem.model.constant; }

  // HiGHS calls back for a better point first, and then has a row that says where it comes from.
  void take_row(const HighsTableRow& row) {
    progress.open_nodes = row.open_nodes;
    most_cuts = std::max(most_cuts, row.cuts);
    if (row.origin.empty()) return;
    origin = row.origin;
    tell_better_point();
  }

  // HiGHS does not call back for a point that presolve leaves.
  void tell_last_point(const std::vector<double>& x) {
    if (progress.objective < told) monitor->incumbent(x, {});
    tell_better_point();
  }

  void tell_better_point() {
    // The objective is summed up anew in the end.
    constexpr double kRounding = 1e-9;
    const double least = kRounding * std::max(1.0, std::fabs(progress.objective));
    if (aside || !(progress.objective < told - least)) return;
    told = progress.objective;
    monitor->milestone(progress, std::exchange(origin, {}));
  }

  void tell_cuts() {
    if (most_cuts > 0) monitor->milestone(progress, counted(most_cuts, "cut") + " at most");
  }

  void tell_root() {
    if (aside || root_is_told || !std::isfinite(progress.bound)) return;
    if (progress.simplex_iterations <= 0) return;
    root_is_told = true;
    if (progress.nodes == 0) monitor->milestone(progress, "root");
  }
};

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
    watch->log.take(text);
    return;
  }
  if (!watch->aside) note_progress(type, *data, watch->constant(), &watch->progress);
  if (type == kCallbackMipImprovingSolution) {
    if (data->mip_solution != nullptr && !watch->aside) {
      watch->monitor->incumbent({data->mip_solution, watch->problem.cost.size()}, {});
    }
    return;
  }
  if (type == kCallbackMipInterrupt) {
    watch->tell_root();
    watch->tell_better_point();
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

void set_cutoffs(const Cutoffs& cutoffs, Highs* highs) {
  if (std::isfinite(cutoffs.lower)) highs->setOptionValue("objective_target", cutoffs.lower);
  if (std::isfinite(cutoffs.upper)) highs->setOptionValue("objective_bound", cutoffs.upper);
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

HighsBasisStatus status_near(double value, double lower, double upper) {
  constexpr double kNear = 1e-9;
  const double reach = kNear * std::max(1.0, std::fabs(value));
  if (value - lower <= reach) return HighsBasisStatus::kLower;
  if (upper - value <= reach) return HighsBasisStatus::kUpper;
  return HighsBasisStatus::kBasic;
}

// What is between its bounds at the point. HiGHS makes a basis of it: it takes out what depends on
// the rest and fills up with rows.
HighsBasis basis_near(const Model& model, const std::vector<double>& x) {
  HighsBasis basis;
  basis.alien = true;
  basis.valid = true;
  for (size_t j = 0; j < x.size(); ++j) {
    basis.col_status.push_back(status_near(x[j], model.var_lower[j], model.var_upper[j]));
  }
  const std::vector<Sum> activity = linear_row_sums(model, x, {});
  for (size_t i = 0; i < activity.size(); ++i) {
    basis.row_status.push_back(
        status_near(activity[i].value, model.con_lower[i], model.con_upper[i]));
  }
  return basis;
}

// True of a point alone, whoever has made it.
bool has_no_keys(const Solution& start) {
  const auto is_unknown = [](StatusKey key) { return key == StatusKey::kUnknown; };
  return std::all_of(start.skx.begin(), start.skx.end(), is_unknown) &&
         std::all_of(start.skc.begin(), start.skc.end(), is_unknown);
}

// HiGHS goes on from a basis without presolve. So a basis is passed only where there is one to go
// on from, or a point near which there is one.
void start_linear(const MinimizeProblem& problem, const Parameters& parameters, Highs* highs) {
  if (wants_interior_point(parameters)) return;
  const Solution& start = *problem.start;
  HighsBasis basis;
  if (make_basis(problem.model, start, &basis)) {
    highs->setBasis(basis);
  } else if (start.status == SolutionStatus::kPrimalFeasible && has_no_keys(start) &&
             problem.model.num_con() > 0) {
    highs->setBasis(basis_near(problem.model, start.xx));
  }
}

void start_integer(const MinimizeProblem& problem, const Parameters& parameters,
                   const SemiContinuous& semi, Highs* highs) {
  const Solution& start = *problem.start;
  // A file with nothing but values leaves the status unknown.
  const bool may_be_point = start.status == SolutionStatus::kIntegerOptimal ||
                            start.status == SolutionStatus::kPrimalFeasible ||
                            start.status == SolutionStatus::kUnknown;
  const double tolerance = parameters.get(DoubleParam::kFeasibilityTolerance);
  if (!may_be_point || primal_violation(problem.model, start.xx) > tolerance) return;
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

// Runs the method that was chosen, and others where it gets stuck or fails.
Status run(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
           Highs* highs, HighsLog* log, BackendResult* result) {
  const bool done = highs->run() != HighsStatus::kError && set_outcome(*highs, parameters, result);
  const std::string cause = highs->modelStatusToString(highs->getModelStatus());
  const bool integer = problem.model.is_mixed_integer();
  if (!done) stop_with(Code::kTrmStall, result);
  log->be_quiet();
  if (!integer) help_stuck(parameters, seconds, highs, result);
  log->tell_further_solves("by the simplex method, because the first run was stuck");
  if (done || (!integer && result->termination != Code::kTrmStall)) return {};
  return {Code::kErrOptimizer, format_text("the optimizer failed: %s", cause.c_str())};
}

// HiGHS calls a mixed-integer model infeasible when it has no point better than the cutoff.
bool is_cut_off(const MinimizeProblem& problem, Outcome outcome) {
  return problem.model.is_mixed_integer() && std::isfinite(problem.cutoffs.upper) &&
         outcome == Outcome::kInfeasible;
}

constexpr int32_t kPresolveOff = 0;

// How a solve takes very large and very small numbers of the model.
enum class Extremes { kAsHighsDoes, kLiterally };

Status solve_once(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  Extremes extremes, BackendMonitor* monitor, BackendResult* result) {
  const Model& model = problem.model;
  const bool integer = model.is_mixed_integer();
  Watch watch(problem, monitor);
  Highs::resetGlobalScheduler(true);  // another number of threads than last time is refused
  Highs highs;
  connect(&watch, &highs);
  const HighsMethod method = integer ? HighsMethod::kBranchAndCut : HighsMethod::kLinear;
  Status status = set_highs_options(parameters, method, seconds, &highs);
  if (extremes == Extremes::kLiterally) take_numbers_literally(&highs);
  SemiContinuous semi;
  if (status.ok()) status = pass_model(problem, &semi, &highs);
  if (!status.ok()) return status;
  const double tolerance = parameters.get(DoubleParam::kIntegralityTolerance);
  highs.setOptionValue("mip_feasibility_tolerance", semi.integrality_tolerance(tolerance));
  set_cutoffs(problem.cutoffs, &highs);
  set_start(problem, parameters, semi, &highs);

  status = run(problem, parameters, seconds, &highs, &watch.log, result);
  if (!status.ok()) return status;
  if (is_cut_off(problem, result->outcome)) {
    stop_with(Code::kTrmObjectiveCutoff, result);
  }
  copy_figures(highs, problem, &result->progress);
  if (!lacks_certificate(result->outcome)) {
    copy_solution(highs, model, result);
    watch.progress = result->progress;
    watch.progress.open_nodes = 0;
    if (integer && !result->x.empty()) watch.tell_last_point(result->x);
    watch.tell_cuts();
    const bool is_ranged = !integer && result->outcome == Outcome::kOptimal &&
                           !parameters.get(StringParam::kRangingFile).empty();
    if (is_ranged) copy_ranging(problem, &highs, result);
    return {};
  }
  watch.progress = result->progress;
  watch.tell_cuts();
  if (integer && result->outcome != Outcome::kInfeasible) {
    monitor->log("Looking for a feasible point, to tell unbounded from infeasible\n");
    watch.aside = true;
    tell_unbounded(problem, parameters, seconds, &highs, result);
    watch.log.tell_further_solves("for that");
  } else if (!integer) {
    copy_basis(highs, model, result);
    certify(problem, parameters, seconds, monitor, &highs, result);
    watch.log.tell_further_solves("for a certificate");
  }
  return {};
}

// HiGHS looks at no row of a model without columns.
void answer_without_columns(const Model& model, BackendResult* result) {
  std::vector<double> ray = find_single_row_ray(model);
  const bool infeasible = !ray.empty();
  result->outcome = infeasible ? Outcome::kInfeasible : Outcome::kOptimal;
  result->certificate = infeasible ? Certificate::kDualRay : Certificate::kNone;
  result->y = std::move(ray);
  result->y.resize(model.con_lower.size(), 0.0);
  result->con_key.assign(model.con_lower.size(), StatusKey::kBasic);
}

// True when an answer needs no second solve that looks at extreme numbers closely: the first has
// been stopped for another reason, or holds for the model as it is.
bool is_borne_out(const MinimizeProblem& problem, const Parameters& parameters,
                  const Status& status, const BackendResult& result) {
  if (!status.ok()) return status.code() != Code::kErrModelNumber;
  if (result.certificate != Certificate::kNone) return true;
  if (result.termination != Code::kOk) return result.termination != Code::kTrmStall;
  return result.outcome == Outcome::kOptimal &&
         primal_violation(problem.model, result.x) <=
             ClaimTolerances(problem.model, parameters).primal;
}

// HiGHS 1.10 may presolve a mixed-integer model to a point outside its bounds, sees that in the end,
// and gives up.
Status solve_or_leave_out_presolve(const MinimizeProblem& problem, const Parameters& parameters,
                                   double seconds, BackendMonitor* monitor, BackendResult* result) {
  const double start = monotonic_seconds();
  Status status = solve_once(problem, parameters, seconds, Extremes::kAsHighsDoes, monitor, result);
  const bool may_help =
      problem.model.is_mixed_integer() && parameters.get(IntParam::kPresolve) != kPresolveOff;
  if (status.code() != Code::kErrOptimizer || !may_help) return status;
  SecondSolve again("without presolve, because the first run failed", monitor);
  *result = {};
  Parameters without = parameters;
  without.set(IntParam::kPresolve, kPresolveOff);
  const double left = seconds - (monotonic_seconds() - start);
  status = solve_once(problem, without, left, Extremes::kAsHighsDoes, &again, result);
  if (!status.ok()) return status;
  again.sum_up(describe_answer(problem, *result), result->progress, SecondSolve::Stands::kOnlyOne);
  return {};
}

// The model as it is, integers as near as HiGHS's tolerance has them.
Status solve_plainly(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                     BackendMonitor* monitor, BackendResult* result) {
  const double start = monotonic_seconds();
  Status status = solve_or_leave_out_presolve(problem, parameters, seconds, monitor, result);
  if (!has_extreme_numbers(problem)) return status;
  if (is_borne_out(problem, parameters, status, *result)) return status;
  SecondSolve again("with very large and very small numbers taken as they are", monitor,
                    result->progress);
  *result = {};
  const double left = seconds - (monotonic_seconds() - start);
  status = solve_once(problem, parameters, left, Extremes::kLiterally, &again, result);
  if (!status.ok()) return status;
  again.sum_up(describe_answer(problem, *result), result->progress, SecondSolve::Stands::kSecond);
  return {};
}

Status solve_scaled_exactly(const MinimizeProblem& problem, const Parameters& parameters,
                            double seconds, BackendMonitor* monitor, BackendResult* result) {
  return solve_exactly(solve_plainly, problem, parameters, seconds, monitor, result);
}

Status solve_linear(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                    BackendMonitor* monitor, BackendResult* result) {
  const double start = monotonic_seconds();
  Status status = solve_plainly(problem, parameters, seconds, monitor, result);
  const bool failed = status.code() == Code::kErrOptimizer;
  if (!failed && (!status.ok() || !needs_own_units(problem, parameters, *result))) return status;
  if (failed) *result = {};
  const double left = seconds - (monotonic_seconds() - start);
  const bool found = solve_in_own_units(solve_plainly, problem, parameters, left, monitor, result);
  return found ? Status() : status;
}

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  if (problem.cost.empty()) {
    answer_without_columns(problem.model, result);
    return {};
  }
  if (!problem.model.is_mixed_integer()) {
    return solve_linear(problem, parameters, seconds, monitor, result);
  }
  return solve_scaled(solve_scaled_exactly, problem, parameters, seconds, monitor, result);
}

Status solve_relaxation(const MinimizeProblem& problem, const Parameters& parameters,
                        double seconds, BackendMonitor* monitor, BackendResult* result) {
  if (problem.cost.empty() || !problem.model.is_mixed_integer()) {
    return solve(problem, parameters, seconds, monitor, result);
  }
  return solve_plainly(problem, parameters, seconds, monitor, result);
}

}  // namespace

const Backend kHighsBackend = {"HiGHS", solve};
const Backend kHighsRelaxationBackend = {"HiGHS", solve_relaxation};

}  // namespace vorlan
