// The slack variables, the solve, and the way back.
#include "solve/highs/elastic_ray.h"

#include <algorithm>
#include <cmath>

#include "Highs.h"
#include "solve/highs/highs_answer.h"
#include "solve/highs/highs_options.h"
#include "task/numeric.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

// So many iterations, and as many more as this share of the constraints, cost little beside the
// simplex method's way to a ray.
constexpr int32_t kLeastIterations = 1000;
constexpr int32_t kConstraintsOfAnIteration = 10;

struct Slacks {
  std::vector<HighsInt> start, row;
  std::vector<double> value;

  void add(HighsInt to, double sign) {
    start.push_back(static_cast<HighsInt>(row.size()));
    row.push_back(to);
    value.push_back(sign);
  }
  HighsInt count() const { return static_cast<HighsInt>(row.size()); }
};

Slacks slacks_of(const Model& model) {
  Slacks slacks;
  for (HighsInt i = 0; i < model.num_con(); ++i) {
    if (std::isfinite(model.con_lower[index(i)])) slacks.add(i, 1.0);
    if (std::isfinite(model.con_upper[index(i)])) slacks.add(i, -1.0);
  }
  return slacks;
}

void add_slacks(const Slacks& slacks, Highs* highs) {
  const auto count = static_cast<size_t>(slacks.count());
  const std::vector<double> ones(count, 1.0);
  const std::vector<double> zeros(count, 0.0);
  const std::vector<double> no_end(count, kHighsInf);
  highs->addCols(slacks.count(), ones.data(), zeros.data(), no_end.data(), slacks.count(),
                 slacks.start.data(), slacks.row.data(), slacks.value.data());
}

void set_costs(const std::vector<double>& cost, Highs* highs) {
  highs->changeColsCost(0, static_cast<HighsInt>(cost.size()) - 1, cost.data());
}

bool solve(const Parameters& parameters, const Model& model, double seconds, Highs* highs) {
  highs->clearSolver();
  const double left = seconds - highs->getRunTime();
  if (!set_highs_options(parameters, HighsMethod::kLinear, left, highs).ok()) return false;
  const int32_t most = std::max(kLeastIterations, model.num_con() / kConstraintsOfAnIteration);
  highs->setOptionValue("solver", "simplex");
  highs->setOptionValue("simplex_iteration_limit",
                        std::min(most, parameters.get(IntParam::kSimplexIterationLimit)));
  BackendResult result;
  return highs->run() != HighsStatus::kError && set_outcome(*highs, parameters, &result) &&
         result.outcome == Outcome::kOptimal;
}

}  // namespace

std::vector<double> find_elastic_ray(const MinimizeProblem& problem, const Parameters& parameters,
                                     double seconds, Highs* highs, int64_t* iterations) {
  const Model& model = problem.model;
  const HighsInt num_col = highs->getNumCol();
  const Slacks slacks = slacks_of(model);
  if (slacks.count() == 0 || static_cast<size_t>(num_col) != problem.cost.size()) return {};
  set_costs(std::vector<double>(problem.cost.size(), 0.0), highs);
  add_slacks(slacks, highs);
  std::vector<double> ray;
  if (solve(parameters, model, seconds, highs)) ray = highs->getSolution().row_dual;
  *iterations += std::max<int64_t>(0, highs->getInfo().simplex_iteration_count);
  const bool is_ray = std::any_of(ray.begin(), ray.end(), [](double y) { return y != 0.0; });
  highs->deleteCols(num_col, num_col + slacks.count() - 1);
  set_costs(problem.cost, highs);
  if (!is_ray) ray.clear();
  return ray;
}

}  // namespace vorlan
