// The three solutions of a task. The numbers of kinds, statuses and keys are those of vorlan.h.
//
// Signs of the duals. In the task's own sense, with y = slc - suc,
//
//   cost - A'y = slx - sux
//
// and the dual objective is con_lower'slc - con_upper'suc + var_lower'slx - var_upper'sux +
// constant. For minimization slc, suc, slx, sux are >= 0, for maximization <= 0, each the dual of
// the bound that it is named for. So y is always the change of the objective, as the task states
// it, per unit of a constraint's active side, and the formulas need no case for the sense.
//
// A certificate of primal infeasibility is a dual ray: A'y + slx - sux = 0 with a dual objective
// (without the constant) > 0 for minimization, < 0 for maximization; xx and xc are 0. A certificate
// of dual infeasibility is a primal ray xx with its activities xc; it improves cost'xx, which is
// its objective; duals are 0.
#pragma once

#include <cstdint>
#include <vector>

namespace vorlan {

enum class SolutionKind : int32_t { kInterior = 0, kBasic = 1, kInteger = 2 };
inline constexpr int32_t kNumSolutions = 3;

enum class SolutionStatus : int32_t {
  kUnknown = 0,
  kOptimal = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalAndDualFeasible = 4,
  kPrimalInfeasibleCertificate = 5,
  kDualInfeasibleCertificate = 6,
  kIntegerOptimal = 9,
};

enum class ProblemStatus : int32_t {
  kUnknown = 0,
  kPrimalAndDualFeasible = 1,
  kPrimalFeasible = 2,
  kDualFeasible = 3,
  kPrimalInfeasible = 4,
  kDualInfeasible = 5,
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
  std::vector<StatusKey> skx, skc;
  std::vector<double> xx, slx, sux;
  std::vector<double> xc, slc, suc, y;
  std::vector<double> barx, bars;
};

}  // namespace vorlan
