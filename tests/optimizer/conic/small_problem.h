// Problems of the conic method's own form, small enough for values by hand.
#pragma once

#include "solve/conic/conic_problem.h"

namespace vorlan::test {

// minimize q x subject to a x = b, sign x >= bound.
conic::ConicProblem one_variable(double cost, double coefficient, double rhs, conic::Bound bound);

// minimize x0 + x3 + <C, X> subject to x1 = 1, x2 + X(1,0) = 2, x3 + X(0,0) + X(1,1) = 4, x3 >= 0.5,
// x0 >= |(x1, x2)|, X of order 2 semidefinite, C = [2 1; 1 3].
conic::ConicProblem problem_of_all_kinds();

}  // namespace vorlan::test
