// The loosened model, and how long its solve may last.
#include "solve/highs/infeasible_claim.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "solve/check/plausible_sizes.h"
#include "solve/second_solve.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// Rows, columns and elements of a model that is solved again whatever its data, and of one whose
// data are large.
constexpr int64_t kFewElements = 500;
constexpr int64_t kManyElements = 20'000;
// Nodes of the second solve, beside a multiple of the first one's.
constexpr int64_t kFewNodes = 1000;
constexpr int64_t kTimesTheNodes = 10;
// What sums of terms may be off by, relative to these.
constexpr double kRounding = 16.0 * std::numeric_limits<double>::epsilon();
// Rounding that matters beside the tolerances of branch and bound.
constexpr double kMuchRounding = 1e-9;

// By what the rounding of each row's terms may move it. Rows of whole numbers and integers alone
// are met by all integers that miss them by less than 1.
std::vector<double> rounding_of_rows(const Model& model) {
  constexpr double kPartOfOne = 0.25;
  std::vector<double> rounding(model.con_lower.size(), 0.0);
  std::vector<bool> whole(model.con_lower.size(), true);
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const double reach = std::max(std::fabs(model.var_lower[j]), std::fabs(model.var_upper[j]));
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      const size_t i = index(model.matrix.row[k]);
      const double value = model.matrix.value[k];
      if (std::isfinite(reach)) rounding[i] += kRounding * reach * std::fabs(value);
      if (!is_integer(model.var_kind[j]) || value != std::round(value)) whole[i] = false;
    }
  }
  for (size_t i = 0; i < rounding.size(); ++i) {
    const double side = finite_size(model.con_lower[i], model.con_upper[i]);
    rounding[i] = std::max(rounding[i], kRounding * side);
    if (whole[i]) rounding[i] = std::min(rounding[i], kPartOfOne);
  }
  return rounding;
}

bool is_worth_it(const Model& model, const std::vector<double>& rounding) {
  if (model.size() <= kFewElements) return true;
  const bool is_large = std::any_of(rounding.begin(), rounding.end(),
                                    [](double error) { return error > kMuchRounding; });
  return model.size() <= kManyElements && is_large;
}

Parameters parameters_of_second(const Parameters& given, const Progress& first) {
  Parameters parameters = careful_parameters(given);
  parameters.set(IntParam::kRandomSeed, other_seed(given));
  const int64_t nodes = std::max(kFewNodes, kTimesTheNodes * first.nodes);
  const int64_t limit = given.get(IntParam::kMipNodeLimit);
  parameters.set(IntParam::kMipNodeLimit, static_cast<int32_t>(std::min(nodes, limit)));
  return parameters;
}

}  // namespace

Status doubt_infeasible_claim(decltype(Backend::solve) solve, const MinimizeProblem& problem,
                              const Parameters& parameters, double seconds, BackendMonitor* monitor,
                              BackendResult* result) {
  const std::vector<double> rounding = rounding_of_rows(problem.model);
  if (!is_worth_it(problem.model, rounding)) return {};
  Model loose = problem.model;
  for (size_t i = 0; i < rounding.size(); ++i) {
    loose.con_lower[i] -= rounding[i];
    loose.con_upper[i] += rounding[i];
  }
  SecondSolve again("without presolve, to be sure that there is no point", monitor,
                    result->progress);
  BackendResult second;
  const Status status =
      solve(MinimizeProblem(loose, problem.start),
            parameters_of_second(parameters, result->progress), seconds, &again, &second);
  const bool has_point = status.ok() && second.x.size() == problem.cost.size();
  again.sum_up(has_point ? "there is one" : words_of(second.outcome), second.progress,
               has_point ? SecondSolve::Stands::kSecond : SecondSolve::Stands::kFirst);
  if (!has_point) return {};
  // The limit of nodes is one of this solve, and none that the caller has set.
  if (second.termination == Code::kTrmNodeLimit) second.termination = Code::kTrmStall;
  second.progress.nodes += std::max<int64_t>(0, result->progress.nodes);
  second.progress.simplex_iterations += std::max<int64_t>(0, result->progress.simplex_iterations);
  *result = std::move(second);
  return {};
}

}  // namespace vorlan
