// Whether a quadratic form is convex, and its square root if it is.
#pragma once

#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan::conic {

struct ConvexFactor {
  bool convex = true;
  // Where not: a variable with negative curvature once others are taken out, and the one of these
  // that it hangs together with most (the same one if it needs no other).
  int32_t var = -1;
  int32_t other_var = -1;
  // Rows of F with F'F = Q, as (variable, value).
  std::vector<std::vector<std::pair<int32_t, double>>> rows;
};

// Of factor * Q, its elements in the lower triangle.
ConvexFactor factor_convex(const std::vector<TriangleEntry>& entries, double factor,
                           bool with_rows);

}  // namespace vorlan::conic
