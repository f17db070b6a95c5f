// Orders of the pivots of a sparse factorization in which few elements fill in.
#pragma once

#include <cstdint>
#include <vector>

#include "solve/conic/upper_triangle.h"

namespace vorlan::conic {

// Nodes of a matrix whose numbers are given, those of the others being -1. The numbers ascend.
struct NumberedNodes {
  const UpperTriangle& matrix;
  const std::vector<int32_t>& number;
  int32_t count;
};

// The node that is eliminated k-th, for each k: by approximate minimum degree (Amestoy, Davis and Duff,
// SIAM J. Matrix Anal. Appl. 17, 1996). Good on almost all models, and fast.
std::vector<int32_t> minimum_degree_order(const NumberedNodes& nodes);

// The same by nested dissection (Karypis and Kumar, SIAM J. Sci. Comput. 20, 1998), which METIS finds:
// better on grids in two and three dimensions, and slower. Empty where METIS is not installed or fails.
// It runs in a process of its own: METIS puts its own handlers of SIGTERM and SIGABRT in place of the
// program's while it works, and jumps out of them.
std::vector<int32_t> nested_dissection_order(const NumberedNodes& nodes);

}  // namespace vorlan::conic
