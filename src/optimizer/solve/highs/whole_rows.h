// Rows of integer variables alone, in whole numbers.
//
// Such a row holds or is missed by a multiple of its unit: 3e9 x + 9e9 y = 18e9 says x + 3 y = 6.
// In that unit the absolute tolerances of presolve and of branch and bound mean what they are for,
// and what decimals have lost by rounding, as in 0.3 x + 0.9 y = 0.6, is mended. Without it HiGHS's
// presolve has called feasible models infeasible.
#pragma once

#include <span>

namespace vorlan {

// The largest unit of which all values are multiples by whole numbers of a moderate size, as nearly
// as doubles tell; 0 where there is none.
double common_unit(std::span<const double> values);

// The value in parts of the unit, a whole number where it is nearly one.
double in_units(double value, double unit);

}  // namespace vorlan
