// Units for the values of exponentials.
//
// x >= y exp(z / y) is x 2^p >= y exp(z / y - p log 2): with the first member in a unit of its own
// an exponential cone is one whose last member is shifted, and a value of 1e12 is of the size 1
// like the logarithms and other data that it comes from. The dual cone has the same symmetry.
#pragma once

#include <vector>

#include "solve/conic/conic_answer.h"
#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

bool is_exponential(const ConeBlock& cone);

// Chooses the cones' head exponents by a point of the problem with these cones. False: they are
// about right as they are.
bool choose_units_of_heads(const InteriorPoint& point, std::vector<ConeBlock>* cones);

}  // namespace vorlan::conic
