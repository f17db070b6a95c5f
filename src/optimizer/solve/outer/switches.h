// Binary variables that switch others off. While the binary variable has one of its two values, the
// other variable can have one value only, which is 0 as a rule.
//
// Constraints of two variables such as -5 z <= x <= 5 z tell it, and equations such as y = 1 + x hand
// it on from x to y. Cuts of a function of such a variable are made stronger where the binary one is
// fractional:
//
//   A. Frangioni, C. Gentile, Perspective cuts for a class of convex 0-1 mixed integer programs,
//   Mathematical Programming 106, 2006.
#pragma once

#include <cstdint>
#include <vector>

#include "solve/outer/fixed_model.h"
#include "task/model.h"

namespace vorlan::outer {

struct Switch {
  int32_t binary = -1;  // -1: there is none
  bool off_at_one = false;
  double value = 0.0;  // of the variable that is off

  bool exists() const { return binary >= 0; }
  bool same_as(const Switch& other) const {
    return binary == other.binary && off_at_one == other.off_at_one;
  }
  // 1 where the variable is on, 0 where it is off, at a point.
  double share(const std::vector<double>& x) const {
    const double z = x[index(binary)];
    return off_at_one ? 1.0 - z : z;
  }
};

// The value at which its bounds fix a variable, or an equation without other variables, or one with
// another variable that is fixed in such a way; else NaN.
double fixed_value(const Model& model, const RowView& rows, int32_t var);

// The switch of each variable.
std::vector<Switch> find_switches(const Model& model, const RowView& rows);

}  // namespace vorlan::outer
