// Of an interior optimum it is known, mostly, which variables and constraints are at a bound: those
// whose distance to it is below their multiplier. The others are proposed as the basis. HiGHS takes
// out of it what depends on the rest and fills up with constraints; the dual simplex method does
// what is left, often nothing. HiGHS's own crossover from a given point (1.10) refuses points of
// models with inequalities, and a model of equations ended in a segmentation fault.
#include "solve/highs/crossover.h"

#include <string>
#include <vector>

#include "Highs.h"
#include "solve/check/terms.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/highs_model.h"
#include "solve/highs/highs_options.h"
#include "solve/highs/semi_continuous.h"

namespace vorlan {
namespace {

HighsBasisStatus proposed_status(double value, double multiplier, double lower, double upper) {
  if (lower == upper) return HighsBasisStatus::kLower;
  if (multiplier > 0.0 && value - lower <= multiplier) return HighsBasisStatus::kLower;
  if (multiplier < 0.0 && upper - value <= -multiplier) return HighsBasisStatus::kUpper;
  return HighsBasisStatus::kBasic;
}

HighsBasis proposed_basis(const Model& model, const BackendResult& point) {
  HighsBasis basis;
  basis.alien = true;
  basis.valid = true;
  for (size_t j = 0; j < point.x.size(); ++j) {
    basis.col_status.push_back(
        proposed_status(point.x[j], point.d[j], model.var_lower[j], model.var_upper[j]));
  }
  const std::vector<Sum> activity = linear_row_sums(model, point.x, {});
  for (size_t i = 0; i < activity.size(); ++i) {
    basis.row_status.push_back(
        proposed_status(activity[i].value, point.y[i], model.con_lower[i], model.con_upper[i]));
  }
  return basis;
}

void stop_when_asked(int /*type*/, const std::string& /*text*/, const HighsCallbackDataOut* data,
                     HighsCallbackDataIn* answer, void* monitor) {
  Progress progress;
  progress.simplex_iterations = data->simplex_iteration_count;
  answer->user_interrupt = static_cast<BackendMonitor*>(monitor)->should_stop(progress);
}

}  // namespace

Status cross_over(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
                  BackendMonitor* monitor, BackendResult* result) {
  Highs highs;
  Status status = set_highs_options(parameters, HighsMethod::kLinear, seconds, &highs);
  highs.setOptionValue("output_flag", false);
  highs.setOptionValue("presolve", "off");  // it would throw the basis away
  highs.setOptionValue("solver", "simplex");
  highs.setCallback(stop_when_asked, monitor);
  highs.startCallback(kCallbackSimplexInterrupt);
  SemiContinuous none;
  if (status.ok()) status = pass_model(problem, &none, &highs);
  if (!status.ok()) return status;
  const int64_t iterations = result->progress.interior_iterations;
  const bool is_done =
      highs.setBasis(proposed_basis(problem.model, *result)) != HighsStatus::kError &&
      highs.run() != HighsStatus::kError;
  *result = {};
  if (!is_done || !set_outcome(highs, parameters, result) || result->outcome != Outcome::kOptimal) {
    stop_with(Code::kTrmStall, result);
    return {};
  }
  copy_figures(highs, problem, &result->progress);
  result->progress.interior_iterations = iterations;
  copy_solution(highs, problem.model, result);
  return {};
}

}  // namespace vorlan
