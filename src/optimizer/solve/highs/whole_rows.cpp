// Euclid's algorithm on doubles.
#include "solve/highs/whole_rows.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vorlan {
namespace {

// Multiples of the unit are no larger than this. Remainders of Euclid's algorithm carry the
// rounding of the values times such a multiple: 2^-53 2^24 of the largest, which is well below the
// unit.
constexpr double kMostUnits = 1 << 24;
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
// By which values may miss a multiple, relative to them: some sums of decimals.
constexpr double kRounding = 8.0 * kEpsilon;

// A remainder of half the least unit or less is what rounding has left of 0.
double common_divisor(double a, double b, double nothing) {
  while (b > nothing) {
    const double rest = std::fabs(std::remainder(a, b));
    a = b;
    b = rest;
  }
  return a;
}

}  // namespace

double common_unit(std::span<const double> values) {
  double most = 0.0;
  for (const double value : values) most = std::max(most, std::fabs(value));
  if (!(most > 0.0) || !std::isfinite(most)) return 0.0;
  const double nothing = 0.5 * most / kMostUnits;
  double unit = most;
  for (const double value : values) {
    if (value != 0.0) unit = common_divisor(unit, std::fabs(value), nothing);
  }
  unit = most / std::round(most / unit);
  for (const double value : values) {
    const double missed = std::fabs(value - unit * std::round(value / unit));
    if (missed > kRounding * std::fabs(value)) return 0.0;
  }
  return unit;
}

double in_units(double value, double unit) {
  constexpr double kNearly = 1e-9;
  constexpr double kMost = 0.25;
  const double units = value / unit;
  const double whole = std::round(units);
  const double allowed = std::min(kMost, kNearly + kRounding * std::fabs(units));
  return std::fabs(units - whole) <= allowed ? whole : units;
}

}  // namespace vorlan
