// Two linear programs for each variable.
#include "solve/highs/cutoff_bounds.h"

#include <algorithm>
#include <cmath>

#include "solve/highs/switch_tightening.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// A switch is large when it is so many times as large as the row's continuous coefficients.
constexpr double kLarge = 1e4;
// More variables than this would take longer than the tree that they help.
constexpr size_t kMostVariables = 100;

std::vector<int32_t> find_variables(const Model& model) {
  const SparseMatrix& a = model.matrix;
  std::vector<double> switches(model.con_lower.size(), 0.0);
  std::vector<double> others(model.con_lower.size(), 0.0);
  for (size_t j = 0; j < model.cost.size(); ++j) {
    const bool integer = is_integer(model.var_kind[j]);
    if (integer && model.var_lower[j] == model.var_upper[j]) continue;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      double& most = (integer ? switches : others)[index(a.row[k])];
      most = std::max(most, std::fabs(a.value[k]));
    }
  }
  std::vector<int32_t> found;
  for (size_t j = 0; j < model.cost.size() && found.size() < kMostVariables; ++j) {
    if (model.var_kind[j] != VarKind::kContinuous) continue;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      const size_t i = index(a.row[k]);
      if (a.value[k] == 0.0 || switches[i] <= kLarge * others[i]) continue;
      found.push_back(static_cast<int32_t>(j));
      break;
    }
  }
  return found;
}

double least_product(double factor, double lower, double upper) {
  if (factor == 0.0) return 0.0;
  return factor * (factor > 0.0 ? lower : upper);
}

// What multipliers prove of the least cost, whatever the solver's tolerances are:
//
//   A. Neumaier, O. Shcherbina, Safe bounds in linear and mixed-integer linear programming,
//   Mathematical Programming 99, 2004.
double proven_least(const Model& model, std::vector<double> y) {
  constexpr double kRounding = 1e-14;
  if (y.size() != model.con_lower.size()) return -kInfinity;
  const SparseMatrix& a = model.matrix;
  double bound = 0.0;
  double size = 0.0;
  const auto add = [&](double term) {
    bound += term;
    size += std::fabs(term);
  };
  for (size_t i = 0; i < y.size(); ++i) {
    // A multiplier of a side that is infinite is what rounding has left.
    const double side = y[i] > 0.0 ? model.con_lower[i] : model.con_upper[i];
    if (!std::isfinite(side)) y[i] = 0.0;
    add(least_product(y[i], model.con_lower[i], model.con_upper[i]));
  }
  for (size_t j = 0; j < model.cost.size(); ++j) {
    double rest = model.cost[j];
    double terms = std::fabs(rest);
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      const double term = a.value[k] * y[index(a.row[k])];
      rest -= term;
      terms += std::fabs(term);
    }
    if (std::fabs(rest) <= kRounding * terms) continue;
    add(least_product(rest, model.var_lower[j], model.var_upper[j]));
  }
  return std::isfinite(size) ? bound - kRounding * size : -kInfinity;
}

// A bound of a continuous variable with room for the tolerances of later solves.
double outward(double bound) { return bound - 1e-6 * std::max(1.0, std::fabs(bound)); }

}  // namespace

bool narrow_under_cutoff(const std::vector<double>& cost, double cutoff,
                         const LinearMultipliers& solve, Model* model) {
  if (!tighten_switches(cost, cutoff, model)) return false;
  const std::vector<int32_t> vars = find_variables(*model);
  if (vars.empty()) return true;
  Model linear = with_cutoff(*model, cost, cutoff);
  linear.var_lower = model->var_lower;
  linear.var_upper = model->var_upper;
  for (VarKind& kind : linear.var_kind) kind = VarKind::kContinuous;
  for (const int32_t var : vars) {
    const size_t j = index(var);
    for (const double sign : {1.0, -1.0}) {
      linear.cost.assign(linear.cost.size(), 0.0);
      linear.cost[j] = sign;
      const double least = proven_least(linear, solve(linear));
      if (!std::isfinite(least)) continue;
      double& side = sign > 0.0 ? model->var_lower[j] : model->var_upper[j];
      side = sign * std::max(sign * side, outward(least));
    }
  }
  return tighten_switches(cost, cutoff, model);
}

}  // namespace vorlan
