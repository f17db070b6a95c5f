// Rows of the relaxation that take integers out of it whose best point is known.
//
// Where the optimum of a fixed model has no multipliers, as at the head of a rotated cone that is an
// integer variable at 0, tangents come nearer to it without end: they become as steep as tolerances
// allow. A point of the relaxation that violates the cone by 1e-9 is better than the optimum by the
// root of that then. So the integers themselves tell the relaxation what was proved of them,
//
//   objective + (optimum - bound) distance >= optimum,
//
// or distance >= 1 where there is no point. The distance of a binary variable from its value is
// linear. A value between the bounds of an integer variable takes a binary column for each side.
#include <algorithm>
#include <cmath>

#include "solve/outer/relaxation.h"

namespace vorlan::outer {

// The binary column that can be 1 only where the variable is from `least` to `most`, at least one of
// which is its bound. -1 where the range of the variable is too large for a row to say so.
int32_t Relaxation::find_indicator(int32_t var, double least, double most) {
  // In a larger range, the tolerance of a binary column is too much of the variable.
  constexpr double kMostRange = 1e5;
  const auto is_same = [&](const Indicator& known) {
    return known.var == var && known.least == least && known.most == most;
  };
  const auto known = std::find_if(indicators_.begin(), indicators_.end(), is_same);
  if (known != indicators_.end()) return known->column;
  const auto [lower, upper] = range(var);
  if (!(upper - lower <= kMostRange)) return -1;
  const int32_t column = add_column(0.0, 0.0, 1.0, VarKind::kInteger);
  if (most < upper) add_row(-kInfinity, upper, {{var, 1.0}, {column, upper - most}});
  if (least > lower) add_row(lower, kInfinity, {{var, 1.0}, {column, lower - least}});
  indicators_.push_back({column, var, least, most});
  return column;
}

std::pair<double, double> Relaxation::range(int32_t var) const {
  const size_t j = index(var);
  const bool semi = is_semi(frame_.var_kind[j]);
  return {std::min(frame_.var_lower[j], semi ? 0.0 : kInfinity),
          std::max(frame_.var_upper[j], semi ? 0.0 : -kInfinity)};
}

// Adds the distance of one variable from its value; false where no row can tell them apart.
bool Relaxation::add_distance(int32_t var, double value, Distance* distance) {
  const auto [lower, upper] = range(var);
  if (lower == upper) return true;
  if (frame_.var_kind[index(var)] == VarKind::kSemiContinuous) {
    return add_distance_of_switch(var, std::isinf(value), distance);
  }
  if (value == lower || value == upper) {
    const double sign = value == lower ? 1.0 : -1.0;
    distance->factors[var] += sign;
    distance->constant -= sign * value;
    return true;
  }
  const int32_t below = find_indicator(var, lower, value - 1.0);
  const int32_t above = find_indicator(var, value + 1.0, upper);
  if (below < 0 || above < 0) return false;
  distance->factors[below] += 1.0;
  distance->factors[above] += 1.0;
  return true;
}

// Likewise for a semi-continuous variable, which is on or off.
bool Relaxation::add_distance_of_switch(int32_t var, bool on, Distance* distance) {
  if (on) {
    const int32_t off = find_indicator(var, 0.0, 0.0);
    if (off >= 0) distance->factors[off] += 1.0;
    return off >= 0;
  }
  const double lower = frame_.var_lower[index(var)];
  const double upper = frame_.var_upper[index(var)];
  if (lower <= 0.0 && upper >= 0.0) return false;
  distance->factors[var] += 1.0 / (lower > 0.0 ? lower : upper);
  return true;
}

bool Relaxation::settle_integers(const std::vector<double>& assignment, double objective,
                                 double bound) {
  Distance distance;
  size_t next = 0;
  for (int32_t var = 0; var < model_.num_var(); ++var) {
    if (model_.var_kind[index(var)] == VarKind::kContinuous) continue;
    if (!add_distance(var, assignment[next++], &distance)) return false;
  }
  std::map<int32_t, double>& terms = distance.factors;
  double rhs = 1.0 - distance.constant;
  if (std::isfinite(objective)) {
    const double rise = objective - bound;
    for (auto& [column, factor] : terms) factor *= rise;
    for (size_t j = 0; j < frame_.cost.size(); ++j) {
      if (frame_.cost[j] != 0.0) terms[static_cast<int32_t>(j)] += frame_.cost[j];
    }
    rhs = objective - rise * distance.constant;
  }
  return add_cut({terms.begin(), terms.end()}, rhs) > 0;
}

}  // namespace vorlan::outer
