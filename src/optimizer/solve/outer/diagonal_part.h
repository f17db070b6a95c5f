// The largest diagonal part of a convex quadratic form over variables that binary variables switch
// off. Squares of such variables get the strong cuts of switched variables. Products of variables
// with different switches do not (Frangioni and Gentile, see switches.h, and: SDP diagonalizations
// and perspective cuts for a class of nonseparable MIQP, Operations Research Letters 35, 2007).
#pragma once

#include <vector>

#include "solve/outer/switches.h"
#include "task/model.h"

namespace vorlan::outer {

// Forms of more variables are left as they are: the algebra is dense.
inline constexpr size_t kMostDiagonalVariables = 100;

// A diagonal D over switched variables such that factor * Q - D is still positive definite; nothing
// where D would be too small to help. The elements of Q are in the lower triangle.
std::vector<TriangleEntry> find_diagonal_part(const std::vector<TriangleEntry>& entries,
                                              double factor, const std::vector<Switch>& switches);

}  // namespace vorlan::outer
