// The product of two long vectors, by several sums at a time.
//
// A single sum waits for each of its additions, four cycles or more, and the compiler may not take
// their order from it.
#pragma once

#include <cstddef>
#include <span>

namespace vorlan::conic {

// The first vector tells the number of elements.
inline double lane_dot(std::span<const double> a, const double* b) {
  constexpr size_t kLanes = 8;
  double sums[kLanes] = {};
  size_t i = 0;
  for (; i + kLanes <= a.size(); i += kLanes) {
    for (size_t k = 0; k < kLanes; ++k) sums[k] += a[i + k] * b[i + k];
  }
  for (size_t k = 0; i < a.size(); ++i, ++k) sums[k] += a[i] * b[i];
  return ((sums[0] + sums[4]) + (sums[1] + sums[5])) + ((sums[2] + sums[6]) + (sums[3] + sums[7]));
}

}  // namespace vorlan::conic
