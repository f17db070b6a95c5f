// The convexity of a quadratic form, and its square root if it is convex.
//
// A convex quadratic constraint becomes a cone of the rows of the root. A form that is not convex
// is refused with the variables that show it, since that is what its author has to look at.
#pragma once

#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan::conic {

using LinearTerm = std::pair<int32_t, double>;  // variable and coefficient

struct ConvexFactor {
  bool convex = true;
  // If it is not: a variable with negative curvature once others are taken out, and the one of
  // these that its row has most of (the same one if it needs no other).
  int32_t var = -1;
  int32_t other_var = -1;
  // Rows of F with F'F = Q. The first element of a row is its pivot, whose variable is in no later
  // row.
  std::vector<std::vector<LinearTerm>> rows;
};

// Factors factor * Q, whose elements are given in the lower triangle. The rows are left out where
// only the convexity is asked for.
enum class FactorRows { kLeftOut, kFound };
ConvexFactor factor_convex(const std::vector<TriangleEntry>& entries, double factor,
                           FactorRows rows = FactorRows::kFound);

// a = F'g + rest: the part of a linear function that moves the centre of the square, and what
// remains, without the variables of pivots.
struct Centring {
  std::vector<double> shift;  // g
  std::vector<LinearTerm> rest;
};
Centring centre(const ConvexFactor& factor, const std::vector<LinearTerm>& linear);

}  // namespace vorlan::conic
