// Rows made stronger by what binary variables imply. While z is 0, a row such as x - y <= 1 - z may
// have less room than it needs: where z = 0 switches x and y off, x - y is 0, and the row becomes
// x - y <= 0 for either value of z. What z implies is found by propagation through all rows, which
// the row alone does not tell.
//
//   M. W. P. Savelsbergh, Preprocessing and probing techniques for mixed integer programming
//   problems, ORSA Journal on Computing 6, 1994.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan::outer {

// lower <= sum of terms <= upper, of which one side is infinite.
struct LinearRow {
  double lower, upper;
  std::vector<std::pair<int32_t, double>> terms;  // (column, coefficient)
};

// Changes the coefficients of binary variables in the rows, which are those of the linear model. No
// point of integers is lost, and no new one comes in. Returns how many coefficients have changed.
// Rows of integers alone are left to branch and cut, which probes them itself, and so are models
// for which it would take long.
int lift_rows(const Model& linear, std::vector<LinearRow>* rows);

}  // namespace vorlan::outer
