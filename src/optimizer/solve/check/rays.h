// What a ray proves. This is the one place that decides whether a model is infeasible or unbounded.
//
// A dual ray y is a proof by contradiction. For a linear model with d = -A'y, every feasible x has
//
//   sides'y  <=  y'A x  =  -d'x  <=  -bounds'd,
//
// so that a margin sides'y + bounds'd > 0 excludes all of them: each d_j prices the bound that it
// points to. Finite bounds are charged for exactly what they are (Neumaier and Shcherbina, "Safe
// bounds in linear and mixed-integer linear programming", Math. Programming 99, 2004; Jansson,
// Chaykin and Keil, "Rigorous error bounds for the optimal value in semidefinite programming", SIAM
// J. Numer. Anal. 46, 2008, for cones). A d_j that points to an infinite bound leaves no proof:
// it says only that feasible points have sum_j |d_j x_j| >= margin. Doubles cannot make all of
// these d_j 0, so that a rule must say what is small enough. To compare them with the margin, as
// solvers commonly do, is wrong: the margin carries the unit of the right-hand sides, and with b =
// 1e8 any y passes. The rule here has no units.
//
//   1. A multiplier of an infinite side is 0.
//   2. Each violation is small against the terms of its own sum: |d_j| <= tol sum_i |a_ij y_i|.
//      So cones are held to the terms of their members, and matrices to those of their diagonals.
//   3. The margin stands clear of the rounding of its own terms, of sides and bounds alike.
//   4. The points that are not excluded are larger by far than the data make plausible
//      (plausible_sizes.h): margin >= far sum_j |d_j| X_j. What is within the rounding of the sum
//      d_j counts as it is, not far times.
//
// Scaling rows, columns, costs or right-hand sides by powers of two changes none of these
// comparisons. A primal ray x proves that no dual solution exists, by the same rule with the parts
// exchanged: the margin is -cost'x, what must vanish is A x at finite sides and Q x, and the
// plausible sizes are those of the multipliers.
#pragma once

#include <vector>

#include "solve/backend.h"
#include "solve/check/plausible_sizes.h"

namespace vorlan {

// Rule 2: the largest violation relative to its own terms.
inline constexpr double kRayTolerance = 1e-9;
// Rule 3: the least margin relative to its own terms.
inline constexpr double kMarginTolerance = 1e-9;
// Rule 4: how much larger than plausible the points must be that are not excluded.
inline constexpr double kFar = 1e6;
// Rules 2 and 3 for rays without a margin, which show that a model is ill-posed.
inline constexpr double kIllPosedTolerance = 1e-7;

// The findings on a ray. A ray that is none at all has an infinite violation.
struct RayQuality {
  double margin = 0.0;
  double terms = 0.0;            // of the margin: the sum of their absolute values
  double violation = kInfinity;  // the worst, relative to its own terms
  double reach = 0.0;            // the violations times the sizes that are plausible there
  // True when it proves infeasibility or unboundedness.
  bool is_proof() const;
  // True when it meets its conditions with no margin. It proves neither, but that the model has no
  // interior, and that the smallest change of its data can make it infeasible or unbounded.
  bool is_ill_posed() const;
};

// Of a dual ray y and snx, and with multipliers at quadratic constraints x. With
// H = -sum_i y_i Q_i, which must be positive semidefinite,
//
//   H x - A'y - snx = d,    -sum_i y_i A_i = bars,    sides'y + bounds'd > 1/2 x'Hx
//
// contradicts the sum of the constraints: it would give w'Hw - 2 x'Hw + x'Hx < 0 at a feasible
// point w. Without quadratic constraints x has no part in it. Fills in d and bars, and moves what
// is left in a cone from d to snx where no bound could hold it.
RayQuality judge_dual_ray(const Model& model, BackendResult* ray);

// Judges a primal ray x and barx: along it the minimized cost falls without end, from any feasible
// point. Quadratic terms must not change along it.
RayQuality judge_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                            const std::vector<double>& barx);

// Likewise where the sizes of the problem are known.
RayQuality judge_dual_ray(const MinimizeProblem& problem, const PlausibleSizes& sizes,
                          BackendResult* ray);
RayQuality judge_primal_ray(const MinimizeProblem& problem, const PlausibleSizes& sizes,
                            const std::vector<double>& x, const std::vector<double>& barx);

// True when y is a dual ray of a linear model as it stands; gives d.
bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d);

bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x,
                   const std::vector<double>& barx = {});

// Multiplies a ray of two parts so that its largest element is 1, which is how rays are reported.
void normalize_ray(std::vector<double>* ray, std::vector<double>* rest);

// A dual ray of one constraint whose side no values within the bounds can reach, such as an empty
// row that must not be 0; empty when there is none. Constraints with quadratic terms or matrix
// variables are passed over.
std::vector<double> find_single_row_ray(const Model& model);

// True when a multiple of the ray leads from integers to integers. Then a feasible point and the
// ray prove together that a mixed-integer model is unbounded. A ray such as (1, sqrt 2) proves
// nothing of the kind.
bool keeps_integers(const Model& model, const std::vector<double>& ray);

}  // namespace vorlan
