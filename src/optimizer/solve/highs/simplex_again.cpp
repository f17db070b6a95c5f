// The simplex method runs again without presolve and from no basis, dual and then primal, so that
// it does not walk into the same dead end.
#include "solve/highs/simplex_again.h"

#include <utility>

#include "Highs.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/highs_options.h"
#include "solve/solve_plan.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// True when the method came to no end of its own.
bool is_stuck(const Parameters& parameters, const BackendResult& result) {
  if (result.outcome != Outcome::kStopped) return false;
  if (result.termination == Code::kTrmStall) return true;
  return wants_interior_point(parameters) &&
         parameters.get(IntParam::kInteriorIterationLimit) > kInteriorStallIterations &&
         result.termination == Code::kTrmIterationLimit;
}

}  // namespace

bool run_simplex(int strategy, const Parameters& parameters, double seconds, Highs* highs,
                 BackendResult* result) {
  highs->clearSolver();
  const double left = seconds - highs->getRunTime();
  if (!set_highs_options(parameters, HighsMethod::kLinear, left, highs).ok()) return false;
  highs->setOptionValue("presolve", "off");
  highs->setOptionValue("solver", "simplex");
  highs->setOptionValue("simplex_strategy", strategy);
  return highs->run() != HighsStatus::kError && set_outcome(*highs, parameters, result);
}

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

}  // namespace vorlan
