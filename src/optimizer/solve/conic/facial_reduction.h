// Matrix variables without an interior.
//
// An equation v'Xv = 0 of a positive semidefinite X means X v = 0: X is in a face of the cone,
// V X~ V' with the columns of V orthogonal to v. Without it no X is positive definite, and duals
// grow without end (J. Borwein, H. Wolkowicz, Regularizing the abstract convex program, J. Math.
// Anal. Appl. 83, 1981). So the method iterates in the face, where the equation holds by itself.
// The data stay as they are: the scaling knows V. The equation's multiplier makes the dual of the
// face one of the whole matrix.
#pragma once

#include "solve/conic/conic_answer.h"
#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

// Finds an equation v'Xv = 0 of each matrix variable that has one, and takes it out of the parts.
// Returns how many there are.
int32_t reduce_to_faces(ConicProblem* problem);

// Gives these equations the multipliers with which the duals of the matrix variables are
// semidefinite, up to rounding.
void restore_from_faces(const ConicProblem& problem, InteriorPoint* point);

}  // namespace vorlan::conic
