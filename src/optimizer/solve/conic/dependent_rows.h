// Equations that say nothing new: removed before the method begins, because they make its linear
// systems singular.
#pragma once

#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

// Removes equations that follow from others, empty ones among them; the answer has the places of
// those kept. An equation that contradicts others stays, for the method to find the proof.
std::vector<int32_t> remove_dependent_rows(ConicProblem* problem);

}  // namespace vorlan::conic
