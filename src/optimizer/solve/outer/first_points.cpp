// Fix and propagate: M. Fischetti, D. Salvagnin, Feasibility pump 2.0, Mathematical Programming
// Computation 1, 2009, describes the propagation of rounded variables.
#include "solve/outer/first_points.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/outer/bound_propagation.h"
#include "task/numeric.h"

namespace vorlan::outer {
namespace {

enum class Order {
  kNearestFirst,  // those nearest to an integer first, each to its nearest integer
  kLargestOn,     // binary variables from the largest down, each on
  kLargestFirst,  // binary variables from the largest down, each to its nearest integer
};
constexpr Order kOrders[] = {Order::kLargestOn, Order::kNearestFirst, Order::kLargestFirst};

double distance_to_integer(double value) { return std::fabs(value - std::round(value)); }

bool is_binary(const BoundPropagation& bounds, int32_t var) {
  return bounds.lower(var) == 0.0 && bounds.upper(var) == 1.0;
}

// The integers that are still open, in the order in which they are fixed.
std::vector<int32_t> sort_integers(const Model& model, const BoundPropagation& bounds,
                                   const std::vector<double>& x, Order order) {
  std::vector<std::pair<double, int32_t>> ranked;
  for (int32_t j = 0; index(j) < x.size(); ++j) {
    if (model.var_kind[index(j)] != VarKind::kInteger) continue;
    const bool by_size = order != Order::kNearestFirst && is_binary(bounds, j);
    ranked.emplace_back(by_size ? 1.0 - x[index(j)] : distance_to_integer(x[index(j)]), j);
  }
  std::stable_sort(ranked.begin(), ranked.end());
  std::vector<int32_t> vars;
  vars.reserve(ranked.size());
  for (const auto& [rank, var] : ranked) vars.push_back(var);
  return vars;
}

// Fixes a variable at the possible value that is nearest to the one wanted, or, where that leads to
// a contradiction, beside it.
bool fix(int32_t var, double wanted, BoundPropagation* bounds) {
  const double value = std::clamp(wanted, bounds->lower(var), bounds->upper(var));
  const size_t mark = bounds->mark();
  if (bounds->tighten(var, value, value)) return true;
  bounds->undo(mark);
  const bool can_rise = value < bounds->upper(var);
  const double other = can_rise ? value + 1.0 : value - 1.0;
  if (other < bounds->lower(var)) return false;
  if (bounds->tighten(var, other, other)) return true;
  bounds->undo(mark);
  return false;
}

// Fixes the largest open variables, a third of those that the point has on in sum, so that a dive
// takes few steps and goes carefully at its end. False where nothing is possible any more.
bool fix_some(const Model& linear, const std::vector<double>& x, BoundPropagation* bounds) {
  constexpr double kShare = 1.0 / 3.0;
  std::vector<int32_t> vars = sort_integers(linear, *bounds, x, Order::kLargestOn);
  std::erase_if(vars, [&](int32_t var) { return bounds->lower(var) == bounds->upper(var); });
  double sum = 0.0;
  for (const int32_t var : vars) sum += std::clamp(x[index(var)], 0.0, 1.0);
  const auto most = static_cast<size_t>(std::max(1.0, kShare * sum));
  for (size_t k = 0; k < std::min(most, vars.size()); ++k) {
    const double wanted = is_binary(*bounds, vars[k]) ? 1.0 : std::round(x[index(vars[k])]);
    if (!fix(vars[k], wanted, bounds)) return false;
  }
  return true;
}

}  // namespace

std::vector<double> dive(const Model& linear, std::vector<double> x, const SolveWithin& solve) {
  constexpr int kMostSteps = 20;
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return {};
  for (int step = 0; step < kMostSteps; ++step) {
    if (!fix_some(linear, x, &bounds)) return {};
    std::vector<double> lower = linear.var_lower;
    std::vector<double> upper = linear.var_upper;
    bool open = false;
    for (int32_t j = 0; index(j) < x.size(); ++j) {
      if (linear.var_kind[index(j)] != VarKind::kInteger) continue;
      lower[index(j)] = bounds.lower(j);
      upper[index(j)] = bounds.upper(j);
      open = open || bounds.lower(j) < bounds.upper(j);
      x[index(j)] = bounds.lower(j);
    }
    if (!open) return x;
    x = solve(lower, upper);
    if (x.empty()) return {};
  }
  return {};
}

std::vector<std::vector<double>> first_points(const Model& linear, const std::vector<double>& x) {
  std::vector<std::vector<double>> points;
  BoundPropagation bounds(linear);
  if (!bounds.tighten_all()) return points;
  for (const Order order : kOrders) {
    const size_t mark = bounds.mark();
    std::vector<double> point = x;
    bool possible = true;
    for (const int32_t var : sort_integers(linear, bounds, x, order)) {
      const bool on = order == Order::kLargestOn && is_binary(bounds, var);
      possible = fix(var, on ? 1.0 : std::round(x[index(var)]), &bounds);
      if (!possible) break;
      point[index(var)] = bounds.lower(var);
    }
    bounds.undo(mark);
    if (possible) points.push_back(std::move(point));
  }
  return points;
}

}  // namespace vorlan::outer
