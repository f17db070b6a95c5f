// How far an iterate is from a solution, and from the rays that prove that there is none.
//
// Residuals are relative to the largest term that cancels in each row and column, and to at least 1
// in the terms of the problem as it was or as it is scaled, whichever is less. The first is what
// the tolerances promise. The second keeps the promise worth something for data far below 1.
//
// Both rays are judged by what is left of their conditions once tau is taken out, in the terms of
// the scaled problem: there the points that a model speaks of are of the size 1, whatever its
// units.
#pragma once

#include "solve/conic/equilibration.h"
#include "solve/conic/residuals.h"

namespace vorlan::conic {

Measures measure(const ConicProblem& problem, const Equilibration& scaling, const Iterate& at,
                 const Residuals& residuals);

}  // namespace vorlan::conic
