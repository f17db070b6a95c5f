// Removes equations that say nothing new, and finds those that contradict each other, before the
// method begins: they make its linear systems singular.
#pragma once

#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

struct RowReduction {
  std::vector<int32_t> kept;  // places of the rows that are left
  // Multipliers of all rows with A'y = 0 and b'y > 0 up to rounding, where equations contradict
  // each other; else empty.
  std::vector<double> contradiction;
};

// Removes equations that follow from others, empty ones among them. One that contradicts others
// stays.
RowReduction remove_dependent_rows(ConicProblem* problem);

}  // namespace vorlan::conic
