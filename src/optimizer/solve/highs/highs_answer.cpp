// Statuses, points, bases and figures.
#include "solve/highs/highs_answer.h"

#include "Highs.h"
#include "solve/check/checker.h"
#include "solve/check/terms.h"
#include "solve/second_solve.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

// The termination code of a limit that HiGHS reports as reached on nodes or solutions alike.
Code solution_limit_code(const Highs& highs, const Parameters& parameters) {
  const int64_t limit = parameters.get(IntParam::kMipNodeLimit);
  return limit < kIntMax && highs.getInfo().mip_node_count >= limit ? Code::kTrmNodeLimit
                                                                    : Code::kTrmSolutionLimit;
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

}  // namespace

void stop_with(Code termination, BackendResult* result) {
  result->outcome = Outcome::kStopped;
  result->termination = termination;
}

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
    // Switches may follow the variables.
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

void copy_figures(const Highs& highs, const MinimizeProblem& problem, Progress* progress) {
  const HighsInfo& info = highs.getInfo();
  progress->simplex_iterations = info.simplex_iteration_count;
  progress->interior_iterations = info.ipm_iteration_count;
  if (!problem.model.is_mixed_integer()) return;
  const double constant = problem.sense_factor() * problem.model.constant;
  progress->objective = info.objective_function_value - constant;
  progress->bound = info.mip_dual_bound - constant;
  progress->relative_gap = info.mip_gap;
  progress->nodes = info.mip_node_count;
  // Semi-continuous variables that may be around 0 are ordinary ones: nothing to branch on is left.
  if (highs.getLp().isMip() || highs.getModelStatus() != HighsModelStatus::kOptimal) return;
  progress->bound = progress->objective;
  progress->relative_gap = 0.0;
  progress->nodes = 0;
}

std::string describe_answer(const MinimizeProblem& problem, const BackendResult& result) {
  const bool is_point =
      result.certificate == Certificate::kNone && result.x.size() == problem.cost.size();
  if (problem.model.is_mixed_integer() || !is_point) return words_of(result.outcome);
  const double objective =
      problem.model.stated_objective(objective_sum(problem, result.x, {}).value);
  return format_text("objective %.10g, violation %.1e", objective + 0.0,
                     primal_violation(problem.model, result.x));
}

}  // namespace vorlan
