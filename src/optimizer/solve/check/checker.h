// An independent check of what a backend claims: residuals computed from the model alone. A claim
// that does not pass is not reported as such.
//
// Violations are relative: to 1, or to the size of the terms that cancel in the row or column at
// hand if that is larger, so that a bound of 1e9 is not held to an absolute 1e-6 that doubles
// cannot deliver.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// The largest violation with which a ray is a proof.
inline constexpr double kRayTolerance = 1e-6;
// The same with which a ray without margin shows that a model is ill-posed.
inline constexpr double kIllPosedTolerance = 1e-7;

// Bounds, constraints, integrality, semi-continuity, cones and semidefiniteness at x and the matrix
// variables. In cones and of matrix variables, violations are what cone_violation.h and
// definiteness.h say.
double primal_violation(const Model& model, const std::vector<double>& x,
                        const std::vector<double>& barx = {});

// The stationarity that backend.h states, signs of y and d where a bound is infinite, snx in the
// dual cones and 0 elsewhere, bars and the Hessian of the Lagrangian positive semidefinite. The
// last makes the dual objective a bound; without convexity, stationarity proves nothing.
double dual_violation(const MinimizeProblem& problem, const BackendResult& result);

// What the multipliers prove as a bound of the minimized cost:
//
//   sides'y + bounds'd - 1/2 x'Qx + 1/2 sum_i y_i x'Q_i x
//
// with the side or bound that each multiplier prices. Of a dual ray, Q is left out.
double dual_objective(const MinimizeProblem& problem, const BackendResult& result);

// Distance of primal and dual objective, relative to the largest of 1, the two, and their terms.
double duality_gap(const MinimizeProblem& problem, const BackendResult& result);

// The first variable or constraint with its lower bound above its upper bound, which is
// infeasible without a solve. A semi-continuous variable can be 0 all the same.
struct CrossedBounds {
  int32_t var = -1;
  int32_t con = -1;
  bool found() const { return var >= 0 || con >= 0; }
};
CrossedBounds find_crossed_bounds(const Model& model);

// Multiplies a ray of two parts so that its largest element is 1, which is how rays are judged and
// reported.
void normalize_ray(std::vector<double>* ray, std::vector<double>* rest);

// Whether y is a dual ray: it proves that no feasible point exists. On success d = -A'y is given.
bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d);

// The same of all kinds of models, for y, snx and, with multipliers at quadratic constraints, x.
// With H = -sum_i y_i Q_i, which must be positive semidefinite,
//
//   H x - A'y - snx = d,    -sum_i y_i A_i = bars,    sides'y + bounds'd > 1/2 x'Hx
//
// contradicts the sum of the constraints: it would give w'Hw - 2 x'Hw + x'Hx < 0 at a feasible
// point w. Without quadratic constraints x has no part in it. On success d and bars of the ray are
// given.
bool complete_dual_ray(const Model& model, BackendResult* ray);

// A dual ray of one constraint whose side no values within the bounds can reach, such as an empty
// row that must not be 0; empty when there is none. Constraints with quadratic terms or matrix
// variables are passed over.
std::vector<double> find_single_row_ray(const Model& model);

// A quadratic objective that falls by so much along a ray counts as falling without end.
inline constexpr double kUnlimitedFall = 1e9;

// Whether x and the matrix variables are a primal ray: along it the minimized cost falls without
// end, from any feasible point. Quadratic terms must not change along it.
bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                   const std::vector<double>& barx = {});

// Whether a multiple of the ray leads from integers to integers. Then a feasible point and the ray
// prove together that a mixed-integer model is unbounded; else, as with the ray (1, sqrt 2), it may
// not be.
bool keeps_integers(const Model& model, const std::vector<double>& ray);

// Whether a dual or primal ray, its largest element 1, meets its conditions with no margin: it
// proves neither infeasibility nor unboundedness, but that the model has no interior and that the
// smallest change of its data can make it infeasible or unbounded.
bool is_ill_posed_dual_ray(const Model& model, BackendResult* ray);
bool is_ill_posed_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                             const std::vector<double>& barx);

}  // namespace vorlan
