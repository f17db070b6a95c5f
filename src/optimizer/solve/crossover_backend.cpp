#include "solve/crossover_backend.h"

#include "solve/conic/conic_backend.h"
#include "solve/highs/crossover.h"
#include "solve/highs/highs_answer.h"
#include "solve/run/listener.h"

namespace vorlan {
namespace {

Status solve(const MinimizeProblem& problem, const Parameters& parameters, double seconds,
             BackendMonitor* monitor, BackendResult* result) {
  const double begin = monotonic_seconds();
  Status status = kConicBackend.solve(problem, parameters, seconds, monitor, result);
  if (!status.ok()) return status;
  if (result->outcome != Outcome::kOptimal) {
    const bool is_stopped = result->outcome == Outcome::kStopped;
    const Code termination = is_stopped ? result->termination : Code::kTrmStall;
    *result = {};
    stop_with(termination, result);
    return {};
  }
  return cross_over(problem, parameters, seconds - (monotonic_seconds() - begin), monitor, result);
}

void load_libraries() { kConicBackend.load_libraries(); }

}  // namespace

const Backend kCrossoverBackend = {"conic interior-point method", solve, load_libraries};

}  // namespace vorlan
