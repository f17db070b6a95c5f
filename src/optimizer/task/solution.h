// The three solutions of a task. The numbers of kinds, statuses and keys are those of vorlan.h.
//
// Signs of the duals. In the task's own sense, with y = slc - suc,
//
//   cost + Q xx - A'y - sum_i y_i Q_i xx = slx - sux + snx,    C - sum_i y_i A_i = bars,
//
// and the dual objective is
//
//   con_lower'slc - con_upper'suc + var_lower'slx - var_upper'sux + constant
//     - 1/2 xx'Q xx + 1/2 sum_i y_i xx'Q_i xx.
//
// For minimization slc, suc, slx, sux are >= 0, each the dual of the bound that it is named for, the part of snx at a cone's members is in the dual cone,
// and bars is positive semidefinite; for maximization the negatives of all of them are. So y is
// always the change of the objective, as the task states it, per unit of a constraint's active
// side, and the formulas need no case for the sense.
//
// A certificate of primal infeasibility is a dual ray: the equations above without cost, Q and C,
// with a dual objective (without the constant) > 0 for minimization, < 0 for maximization. xx is 0
// but where a quadratic constraint has a multiplier: then its terms are taken at xx. xc and barx
// are 0. A certificate of dual infeasibility is a primal ray xx, barx with its activities xc; it
// improves cost'xx + <C, barx>, which is its objective; duals are 0.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "vorlan.h"

namespace vorlan {

enum class SolutionKind : int32_t {
  kInterior = VLN_SOLUTION_INTERIOR,
  kBasic = VLN_SOLUTION_BASIC,
  kInteger = VLN_SOLUTION_INTEGER
};
inline constexpr int32_t kNumSolutions = 3;

enum class SolutionStatus : int32_t {
  kUnknown = 0,
  kOptimal = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalAndDualFeasible = 4,
  kPrimalInfeasibleCertificate = 5,
  kDualInfeasibleCertificate = 6,
  kPrimalIllPosedCertificate = 7,  // a dual ray with objective 0
  kDualIllPosedCertificate = 8,    // a primal ray with objective 0
  kIntegerOptimal = 9,
};

enum class ProblemStatus : int32_t {
  kUnknown = 0,
  kPrimalAndDualFeasible = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalInfeasible = 4,
  kDualInfeasible = 5,
  kIllPosed = 7,
  kPrimalInfeasibleOrUnbounded = 8,
};

enum class StatusKey : int32_t {
  kUnknown = 0,
  kBasic = 1,
  kSuperBasic = 2,
  kAtLower = 3,
  kAtUpper = 4,
  kFixed = 5,
  kInfinite = 6,
};

struct Solution {
  bool defined = false;
  ProblemStatus problem_status = ProblemStatus::kUnknown;
  SolutionStatus status = SolutionStatus::kUnknown;
  double primal_objective = 0.0;
  // The bound that the duals, or the search for an integer solution, prove; NaN where it is not
  // known.
  double dual_objective = std::numeric_limits<double>::quiet_NaN();
  std::vector<StatusKey> skx, skc;
  std::vector<double> xx, slx, sux;
  std::vector<double> xc, slc, suc, y;
  // The duals of cone membership, one for each variable, 0 outside cones; empty in a model without.
  std::vector<double> snx;
  // Packed lower triangles, column by column, one matrix variable after the other.
  std::vector<double> barx, bars;
};

}  // namespace vorlan
