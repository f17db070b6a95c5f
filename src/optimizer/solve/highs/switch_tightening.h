// Large switches made small: a row a'x <= b + M z with a binary variable z, whose M is larger than
// what the bounds of x need, holds the same points with the least M that they need. With M = 1e8 a
// z of 1e-7 counts as 0 in branch and bound, and lets x be 10.
//
//   M. W. P. Savelsbergh, Preprocessing and probing techniques for mixed integer programming
//   problems, ORSA Journal on Computing 6, 1994.
#pragma once

#include "task/model.h"

namespace vorlan {

// Narrows the bounds of variables and the coefficients of binary ones. Points whose minimized cost,
// given by `cost`, is larger than the cutoff may be lost. Integer variables that are fixed by their
// bounds stay as they are. False when nothing is left.
bool tighten_switches(const std::vector<double>& cost, double cutoff, Model* model);

// The linear part of a model, without bounds of variables, with cost'x <= cutoff as a last row.
Model with_cutoff(const Model& model, const std::vector<double>& cost, double cutoff);

}  // namespace vorlan
