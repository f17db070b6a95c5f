// The task's parameters as HiGHS options: a table for those that pass a value on.
#include "solve/highs/highs_options.h"

#include <algorithm>

#include "Highs.h"
#include "solve/solve_plan.h"
#include "task/machine.h"
#include "task/parameter_index.h"
#include "task/text.h"

namespace vorlan {
namespace {

struct IntOption {
  IntParam param;
  const char* option;
};
constexpr IntOption kIntOptions[] = {
    {IntParam::kRandomSeed, "random_seed"},
    {IntParam::kSimplexIterationLimit, "simplex_iteration_limit"},
    {IntParam::kMipNodeLimit, "mip_max_nodes"},
    {IntParam::kMipSolutionLimit, "mip_max_improving_sols"},
    {IntParam::kScaling, "simplex_scale_strategy"},
};

struct DoubleOption {
  DoubleParam param;
  const char* option;
};
constexpr DoubleOption kDoubleOptions[] = {
    {DoubleParam::kFeasibilityTolerance, "primal_feasibility_tolerance"},
    {DoubleParam::kOptimalityTolerance, "dual_feasibility_tolerance"},
    {DoubleParam::kIntegralityTolerance, "mip_feasibility_tolerance"},
    {DoubleParam::kMipRelativeGap, "mip_rel_gap"},
    {DoubleParam::kMipAbsoluteGap, "mip_abs_gap"},
    {DoubleParam::kMipHeuristicEffort, "mip_heuristic_effort"},
};

// Presolve rules, as HiGHS counts them, that lose the best point of some mixed-integer models, so
// that HiGHS 1.10 calls a worse one optimal: the one of columns that force their rows to hold with
// equality, and the one that merges parallel rows and columns (this also with its implied
// integrality mended, scripts/dependencies/highs.sh).
constexpr HighsInt kForcingColumns = 1 << 7;
constexpr HighsInt kParallelRowsAndColumns = 1 << 13;

constexpr const char* kPresolveOptions[] = {"off", "on", "choose"};

constexpr int32_t kPrimalSimplex = 1;

// The least that HiGHS lets small_matrix_value be.
constexpr double kSmallestElement = 1e-12;

constexpr double kSecondsOfATableRow = 0.5;

// Sets options and remembers the first that HiGHS refuses.
class OptionSetter {
 public:
  explicit OptionSetter(Highs* highs) : highs_(highs) {}

  template <class Value>
  void set(const char* option, Value value) {
    if (highs_->setOptionValue(option, value) == HighsStatus::kOk || refused_ != nullptr) return;
    refused_ = option;
  }
  const char* refused() const { return refused_; }

 private:
  Highs* highs_;
  const char* refused_ = nullptr;
};

// What the emphasis of a search means here. The share of heuristics moves towards good points or the
// bound, and no further than the caller has it there already.
void set_emphasis(const Parameters& parameters, OptionSetter* options) {
  constexpr double kManyHeuristics = 0.3;
  constexpr double kFewHeuristics = 0.01;
  constexpr int kManyTrials = 16;  // of a branching before its estimate is believed; 8 otherwise
  const double effort = parameters.get(DoubleParam::kMipHeuristicEffort);
  switch (parameters.get(IntParam::kMipEmphasis)) {
    case kEmphasizeFeasibility:
      options->set("mip_heuristic_effort", std::max(effort, kManyHeuristics));
      return options->set("mip_allow_restart", false);
    case kEmphasizeProof:
      options->set("mip_heuristic_effort", std::min(effort, kFewHeuristics));
      return options->set("mip_pscost_minreliable", kManyTrials);
    default:
      return;
  }
}

}  // namespace

Status set_highs_options(const Parameters& parameters, HighsMethod method, double seconds,
                         Highs* highs) {
  const bool mixed_integer = method == HighsMethod::kBranchAndCut;
  OptionSetter options(highs);
  options.set("output_flag", true);
  options.set("log_to_console", true);  // the logging callback takes its place
  for (const IntOption& entry : kIntOptions) options.set(entry.option, parameters.get(entry.param));
  for (const DoubleOption& entry : kDoubleOptions) {
    options.set(entry.option, parameters.get(entry.param));
  }
  // A coefficient that is dropped can be what makes a mixed-integer model feasible, or its optimum.
  if (mixed_integer) options.set("small_matrix_value", kSmallestElement);
  options.set("presolve", kPresolveOptions[parameters.get(IntParam::kPresolve)]);
  options.set("presolve_rule_off", mixed_integer ? kForcingColumns | kParallelRowsAndColumns : 0);
  // The rows of HiGHS's table tell how many nodes are open.
  options.set("mip_min_logging_interval", kSecondsOfATableRow);
  options.set("mip_detect_symmetry", parameters.is_on(IntParam::kMipSymmetry));
  options.set("mip_allow_restart", parameters.is_on(IntParam::kMipRestart));
  options.set("mip_cut_separation", parameters.is_on(IntParam::kMipCuts));
  set_emphasis(parameters, &options);
  // When there is no crossover, half of the interior points fail their tolerances in the original
  // model. The simplex method then goes on from there.
  options.set("run_crossover", parameters.is_on(IntParam::kCrossover) ? "on" : "choose");
  options.set("ipm_iteration_limit", std::min(kInteriorStallIterations,
                                              parameters.get(IntParam::kInteriorIterationLimit)));
  options.set("threads", search_threads(parameters.get(IntParam::kNumThreads)));
  const int32_t optimizer = parameters.get(IntParam::kOptimizer);
  // A named method makes HiGHS solve the relaxation of a mixed-integer model only.
  options.set("solver", wants_interior_point(parameters) && !mixed_integer ? "ipm" : "choose");
  options.set("simplex_strategy",
              optimizer == kPrimalSimplex ? kHighsPrimalStrategy : kHighsDualStrategy);
  options.set("time_limit", std::max(0.0, seconds));
  if (options.refused() == nullptr) return {};
  return {Code::kErrInternal, format_text("option %s cannot be set", options.refused())};
}

void take_numbers_literally(Highs* highs) {
  highs->setOptionValue("infinite_bound", kHighsInf);
  highs->setOptionValue("infinite_cost", kHighsInf);
  highs->setOptionValue("small_matrix_value", kSmallestElement);
  highs->setOptionValue("large_matrix_value", kHighsInf);
}

}  // namespace vorlan
