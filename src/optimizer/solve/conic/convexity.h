// Whether a quadratic form is convex, and its square root if it is.
#pragma once

#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan::conic {

using LinearTerm = std::pair<int32_t, double>;  // variable and coefficient

struct ConvexFactor {
  bool convex = true;
  // Where not: a variable with negative curvature once others are taken out, and the one of these
  // that it hangs together with most (the same one if it needs no other).
  int32_t var = -1;
  int32_t other_var = -1;
  // Rows of F with F'F = Q. The first element of a row is its pivot, whose variable is in no later
  // row.
  std::vector<std::vector<LinearTerm>> rows;
};

// Of factor * Q, its elements in the lower triangle.
ConvexFactor factor_convex(const std::vector<TriangleEntry>& entries, double factor,
                           bool with_rows);

// a = F'g + rest: the part of a linear function that moves the centre of the square, and what
// remains, without the variables of pivots.
struct Centring {
  std::vector<double> shift;  // g
  std::vector<LinearTerm> rest;
};
Centring centre(const ConvexFactor& factor, const std::vector<LinearTerm>& linear);

}  // namespace vorlan::conic
