// These rules stand apart from the table of plans, because backends ask for them too.
#include "solve/solve_plan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "task/parameter_index.h"

namespace vorlan {
namespace {

// Claims may be worse than what the optimizers are asked for by this factor.
constexpr double kLinearAllowance = 10.0;
constexpr double kConicAllowance = 100.0;

// Objectives that differ by no more of their size are one.
constexpr double kSameObjective = 1e-9;

// The target, with an allowance for rounding, in terms of the minimization.
std::optional<double> minimized_target(const Model& model, const Parameters& parameters) {
  const double target = parameters.get(DoubleParam::kMipTargetObjective);
  if (!model.is_mixed_integer() || !std::isfinite(target)) return std::nullopt;
  return model.sense_factor() * target + kSameObjective * std::fabs(target);
}

}  // namespace

bool wants_conic_method(const Model& model, const Parameters& parameters) {
  if (model.is_mixed_integer()) return false;
  return !model.is_linear() || parameters.get(IntParam::kOptimizer) == kConicMethod;
}

bool wants_interior_point(const Parameters& parameters) {
  return parameters.get(IntParam::kOptimizer) == kInteriorPoint;
}

Cutoffs minimized_cutoffs(const Model& model, const Parameters& parameters) {
  const double lower = parameters.get(DoubleParam::kLowerCutoff);
  const double upper = parameters.get(DoubleParam::kUpperCutoff);
  Cutoffs cutoffs = model.maximize ? Cutoffs{-upper, -lower} : Cutoffs{lower, upper};
  const std::optional<double> target = minimized_target(model, parameters);
  if (!target) return cutoffs;
  // Below the cutoff is what reaches the target.
  cutoffs.lower = std::max(cutoffs.lower, *target + std::numeric_limits<double>::min());
  return cutoffs;
}

bool reaches_target(const Model& model, const Parameters& parameters, double objective) {
  const std::optional<double> target = minimized_target(model, parameters);
  return target && model.sense_factor() * objective <= *target;
}

AskedTolerances::AskedTolerances(const Model& model, const Parameters& parameters)
    : primal(parameters.get(DoubleParam::kFeasibilityTolerance)),
      dual(parameters.get(DoubleParam::kOptimalityTolerance)),
      gap(std::max(primal, dual)) {
  if (wants_conic_method(model, parameters)) {
    primal = dual = parameters.get(DoubleParam::kConicFeasibilityTolerance);
    gap = parameters.get(DoubleParam::kConicGapTolerance);
  }
  if (!model.is_mixed_integer()) return;
  primal = std::max(primal, parameters.get(DoubleParam::kIntegralityTolerance));
}

ClaimTolerances::ClaimTolerances(const Model& model, const Parameters& parameters) {
  const AskedTolerances asked(model, parameters);
  const double allowance =
      wants_conic_method(model, parameters) ? kConicAllowance : kLinearAllowance;
  primal = allowance * asked.primal;
  dual = allowance * asked.dual;
  gap = allowance * asked.gap;
}

}  // namespace vorlan
