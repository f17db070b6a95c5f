// The least eigenvalue of a symmetric matrix, as far as a step length needs it.
//
// A step may go until the first eigenvalue of X + t dX reaches 0. A lower bound of the least
// eigenvalue that is a little too low shortens the step by as little, while a full decomposition of
// a large matrix would cost as much as the rest of an iteration. So large matrices get a bound by
// Lanczos's method (K.-C. Toh, A note on the calculation of step-lengths in interior-point methods
// for semidefinite programming, Comput. Optim. Appl. 21, 2002).
#pragma once

#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

// Orders up to this one are decomposed in full.
inline constexpr size_t kLargestDecomposed = 40;

// A number not above the least eigenvalue, and near to it. The matrix is lost. Minus infinity where
// the library's method does not converge.
double least_eigenvalue(const DenseAlgebra& algebra, DenseMatrix* matrix);

}  // namespace vorlan::conic
