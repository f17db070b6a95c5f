// An independent check of what a backend claims: residuals computed from the model alone. A claim
// that does not pass is not reported as such.
//
// Violations are relative: to 1, or to the size of the terms that cancel in the row or column at
// hand if that is larger, so that a bound of 1e9 is not held to an absolute 1e-6 that doubles
// cannot deliver. Where all data are far below 1, so is what takes the place of 1 (least_sizes.h).
#pragma once

#include "solve/backend.h"
#include "solve/check/least_sizes.h"

namespace vorlan {

// Bounds, constraints (of indicators where these are active), integrality, semi-continuity, sets,
// cones and semidefiniteness at x and the matrix variables. In cones and of matrix variables,
// violations are what cone_violation.h and definiteness.h say.
double primal_violation(const Model& model, const std::vector<double>& x,
                        const std::vector<double>& barx = {});
double primal_violation(const Model& model, const LeastSizes& least, const std::vector<double>& x,
                        const std::vector<double>& barx = {});

// The stationarity that backend.h states, signs of y and d where a bound is infinite, snx in the
// dual cones and 0 elsewhere, bars and the Hessian of the Lagrangian positive semidefinite. The
// last makes the dual objective a bound; without convexity, stationarity proves nothing.
double dual_violation(const MinimizeProblem& problem, const BackendResult& result);
double dual_violation(const MinimizeProblem& problem, const LeastSizes& least,
                      const BackendResult& result);

// What the multipliers prove as a bound of the minimized cost:
//
//   sides'y + bounds'd - 1/2 x'Qx + 1/2 sum_i y_i x'Q_i x
//
// with the side or bound that each multiplier prices. Of a dual ray, Q is left out.
double dual_objective(const MinimizeProblem& problem, const BackendResult& result);

// Distance of primal and dual objective, relative to the largest of 1 (or the objective's size, where
// all data are far below 1), the two, and their terms; the terms count only if the distance is small
// without them.
double duality_gap(const MinimizeProblem& problem, const BackendResult& result);
double duality_gap(const MinimizeProblem& problem, const LeastSizes& least,
                   const BackendResult& result);

// The first variable or constraint with its lower bound above its upper bound, which is
// infeasible without a solve. A semi-continuous variable can be 0 all the same, and the constraint
// of an indicator need not hold.
struct CrossedBounds {
  int32_t var = -1;
  int32_t con = -1;
  bool found() const { return var >= 0 || con >= 0; }
};
CrossedBounds find_crossed_bounds(const Model& model);

// A quadratic objective that falls by so much along a ray counts as falling without end.
inline constexpr double kUnlimitedFall = 1e9;

}  // namespace vorlan
