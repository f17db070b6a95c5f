// Small vector arithmetic of the conic method, the outer approximation and the checker.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "task/numeric.h"

namespace vorlan {

inline double dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

inline double norm(const std::vector<double>& values) { return std::sqrt(dot(values, values)); }

// The largest absolute value.
inline double largest(const std::vector<double>& values) {
  double size = 0.0;
  for (const double value : values) size = std::max(size, std::fabs(value));
  return size;
}

// to += factor * from.
inline void add(double factor, const std::vector<double>& from, std::vector<double>* to) {
  for (size_t i = 0; i < from.size(); ++i) (*to)[i] += factor * from[i];
}

}  // namespace vorlan
