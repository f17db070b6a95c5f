// Binary variables that switch others off: where the binary variable is 0, so is the other one.
//
// Known from constraints of two variables, as -5 z <= x <= 5 z, and handed on by equations, as from
// x to y by y = 2 x. A square of such a variable has tangents that are stronger where the binary
// one is fractional:
//
//   A. Frangioni, C. Gentile, Perspective cuts for a class of convex 0-1 mixed integer programs,
//   Mathematical Programming 106, 2006.
#pragma once

#include <cstdint>
#include <vector>

#include "solve/outer/fixed_model.h"
#include "task/model.h"

namespace vorlan::outer {

// By variable: a binary variable that switches it off, -1 when there is none.
std::vector<int32_t> find_switches(const Model& model, const RowView& rows);

// The switch that all of these variables have, or -1.
int32_t common_switch(const std::vector<int32_t>& switches, const std::vector<int32_t>& vars);

}  // namespace vorlan::outer
