// The few operations on plain vectors that the conic method, outer approximation and the checker
// share. They are loops that a reader sees through, for vectors that are too short to be worth a
// library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "task/numeric.h"

namespace vorlan {

inline double dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

inline double norm(std::span<const double> values) { return std::sqrt(dot(values, values)); }

// The largest absolute value.
inline double largest(std::span<const double> values) {
  double size = 0.0;
  for (const double value : values) size = std::max(size, std::fabs(value));
  return size;
}

// to += factor * from.
inline void add(double factor, std::span<const double> from, std::vector<double>* to) {
  for (size_t i = 0; i < from.size(); ++i) (*to)[i] += factor * from[i];
}

// factor * values. Zeros stay 0 and do not become -0.
inline std::vector<double> times(double factor, std::vector<double> values) {
  for (double& value : values) value = value == 0.0 ? 0.0 : factor * value;
  return values;
}

}  // namespace vorlan
