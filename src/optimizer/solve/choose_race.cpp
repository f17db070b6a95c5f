// Which methods race was measured: for linear models the simplex method and the interior-point
// method, each of which is several times faster than the other on some models; for mixed-integer
// linear ones two searches, of which the one without restarts and with more heuristics is ahead on
// every second model; for outer approximation two alike, since heuristics find little there that
// trials of integers do not. Searches have different seeds: a seed that is slow for one is not for
// the other, which makes the faster one's time depend less on luck.
#include "solve/choose_race.h"

#include <algorithm>
#include <cmath>

#include "solve/choose_backend.h"
#include "solve/crossover_backend.h"
#include "task/machine.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// A linear model of fewer elements is solved before a race would gain anything. A search can take
// long for fewer, too, and its head start tells.
constexpr int64_t kLeastElements = 5000;
constexpr double kSearchHeadStart = 0.2;  // seconds
// Where rows or columns have few elements, as those of networks and of plans over periods, the
// simplex method mostly ends before the interior-point method has used a third of its time, which
// is 10 to 30 microseconds for each element: alone until then, it loses nothing to a racer beside
// it. Where both have more, the interior-point method takes half of the simplex method's time on
// the models that last, and what it waits is lost. What is solved at once is not raced at all.
constexpr double kFewElements = 3.5;         // of an average row or column
constexpr double kHeadStartOfSparse = 4e-6;  // seconds for each element
constexpr double kHeadStartOfDense = 1e-6;
constexpr double kLeastHeadStart = 0.05;
// A racer may come to need so many times the memory that the process holds when it begins.
constexpr double kMemoryOfRacer = 8.0;
// The heuristics' share of the second search.
constexpr double kMoreHeuristics = 0.2;

// Limits on iterations, nodes and solutions count the work of one way.
bool has_work_limit(const Parameters& parameters) {
  for (const IntParam limit : {IntParam::kSimplexIterationLimit, IntParam::kInteriorIterationLimit,
                               IntParam::kMipNodeLimit, IntParam::kMipSolutionLimit}) {
    if (parameters.get(limit) != kIntMax) return true;
  }
  return std::isfinite(parameters.get(DoubleParam::kMemoryLimit));
}

int32_t processors_for(const Parameters& parameters) {
  const int32_t threads = parameters.get(IntParam::kNumThreads);
  return threads > 0 ? threads : usable_processors();
}

bool has_room_for(size_t num_racers) {
  const double memory = kMemoryOfRacer * static_cast<double>(num_racers) * resident_memory();
  return has_idle_processor() && memory < available_memory();
}

double linear_head_start(const Model& model) {
  const auto elements = static_cast<double>(model.matrix.num_elements());
  const bool is_sparse = elements < kFewElements * std::max(model.num_var(), model.num_con());
  return std::max(kLeastHeadStart, elements * (is_sparse ? kHeadStartOfSparse : kHeadStartOfDense));
}

// On some linear models, such as stochastic programs, it takes half of the other methods' time or
// less; on more it takes longer, so that it comes third.
Racer conic_racer(const Parameters& parameters) {
  Racer racer = {"the conic method", parameters};
  racer.parameters.set(IntParam::kOptimizer, kConicMethod);
  racer.parameters.set(IntParam::kNumThreads, 1);
  return racer;
}

bool is_settled(const SolvePlan& plan, const Answer& answer) {
  const BackendResult& result = answer.result;
  const bool is_integer = plan.solution == SolutionKind::kInteger;
  if (result.termination != Code::kOk) return false;
  if (result.outcome == Outcome::kOptimal) {
    const Residuals& residuals = answer.verdict.residuals;
    if (!(residuals.primal <= plan.tolerances.primal)) return false;
    return is_integer ||
           (residuals.dual <= plan.tolerances.dual && residuals.gap <= plan.tolerances.gap);
  }
  const bool is_infeasible = result.outcome == Outcome::kInfeasible;
  if (is_integer && is_infeasible) return true;
  return (is_infeasible || result.outcome == Outcome::kUnbounded) && answer.verdict.ray_holds;
}

}  // namespace

Race choose_race(const MinimizeProblem& problem, const SolvePlan& plan,
                 const Parameters& parameters) {
  Race race;
  race.settles = [plan](const Answer& answer) { return is_settled(plan, answer); };
  race.head_start = kSearchHeadStart;
  const bool is_free = parameters.get(IntParam::kOptimizer) == kFreeOptimizer &&
                       parameters.get(IntParam::kMipEmphasis) == 0;
  const bool has_start = problem.start != nullptr || reads_files(parameters);
  const bool is_integer = plan.solution == SolutionKind::kInteger;
  const int32_t num_processors = processors_for(parameters);
  const bool is_small = problem.model.matrix.num_elements() < kLeastElements && !is_integer;
  if (!plan.in_child || has_start || !is_free || parameters.is_on(IntParam::kReproducible) ||
      has_work_limit(parameters) || is_small || num_processors < 2) {
    return race;
  }
  Racer racer = {"", parameters};
  const bool is_linear = plan.method == SolveMethod::kSimplex;
  if (is_linear) {
    race.first_name = "the simplex method";
    race.head_start = linear_head_start(problem.model);
    racer.name = "the interior-point method";
    racer.parameters.set(IntParam::kOptimizer, kInteriorPoint);
  } else if (plan.method == SolveMethod::kOuterApproximation) {
    race.first_name = "the first search";
    racer.name = "a search with another seed";
    racer.parameters.set(IntParam::kRandomSeed, other_seed(parameters));
  } else if (plan.method == SolveMethod::kBranchAndCut) {
    race.first_name = "the first search";
    racer.name = "a search without restarts";
    racer.parameters.set(IntParam::kRandomSeed, other_seed(parameters));
    racer.parameters.set(IntParam::kMipRestart, 0);
    racer.parameters.set(DoubleParam::kMipHeuristicEffort, kMoreHeuristics);
  } else {
    return race;
  }
  race.racers.push_back(std::move(racer));
  if (is_linear && num_processors > 2) race.racers.push_back(conic_racer(parameters));
  race.has_room = [num_racers = race.racers.size()] { return has_room_for(num_racers); };
  return race;
}

SolvePlan plan_of_racer(const SolvePlan& plan, const Parameters& racer) {
  SolvePlan own = plan;
  const bool is_conic = racer.get(IntParam::kOptimizer) == kConicMethod;
  if (plan.method == SolveMethod::kSimplex && is_conic) own.backend = &kCrossoverBackend;
  return own;
}

}  // namespace vorlan
