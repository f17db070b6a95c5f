// Makes sums that are nearly 0 vanish, by the smallest relative change of their values.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace vorlan {

// The sum of coefficient * value[place] over the terms, which should be 0.
using VanishingSum = std::vector<std::pair<size_t, double>>;

// Solves
//
//   minimize sum_i (change_i / values_i)^2,  every sum of (values + change) is 0
//
// and adds the change. Values of 0 stay 0, and units make no difference. Sums that cannot vanish
// together, or are too many, are left with what the least squares leave.
void make_vanish(const std::vector<VanishingSum>& sums, std::vector<double>* values);

}  // namespace vorlan
