// Semi-continuous variables for HiGHS: each becomes an ordinary one with a switch, a binary
// variable that is 1 where the variable is within its bounds and 0 where it is 0.
//
// HiGHS has such a kind itself, but not for negative values, and it cuts upper bounds down to 1e5:
// what lies beyond is never looked at, and a worse point is called optimal.
#pragma once

#include <cstdint>
#include <vector>

#include "task/model.h"
#include "task/status.h"

class HighsLp;

namespace vorlan {

// Fails for a variable that neither its bounds nor the constraints hold within what a switch can
// do.
class SemiContinuous {
 public:
  // Makes the semi-continuous and semi-integer variables of the model ordinary ones of lp, which is
  // the model otherwise. Switches follow behind the variables, their rows behind the constraints.
  [[nodiscard]] Status replace(const Model& model, HighsLp* lp);

  // How far HiGHS may let integer variables be from integers, when the library's caller lets them
  // be as far as given: a switch that is a little on opens that share of its variable's bound.
  double integrality_tolerance(double tolerance) const;

  // Adds what the switches are at a point of the model.
  void append_switches(std::vector<double>* point) const;

 private:
  struct Switch {
    int32_t var;
    double near;  // the bounds by their distance from 0, of one sign
    double far;
  };

  void add(HighsLp* lp) const;

  std::vector<Switch> switches_;
};

}  // namespace vorlan
