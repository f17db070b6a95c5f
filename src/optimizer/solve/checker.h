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

// Bounds, constraints, integrality and semi-continuity at x.
double primal_violation(const Model& model, const std::vector<double>& x);

// Signs of y and d where a bound is infinite, and cost - A'y = d.
double dual_violation(const MinimizeProblem& problem, const BackendResult& result);

// Distance of primal and dual objective, relative to the larger.
double duality_gap(const MinimizeProblem& problem, const BackendResult& result);

// The first variable or constraint with its lower bound above its upper bound, which is
// infeasible without a solve. A semi-continuous variable can be 0 all the same.
struct CrossedBounds {
  int32_t var = -1;
  int32_t con = -1;
  bool found() const { return var >= 0 || con >= 0; }
};
CrossedBounds find_crossed_bounds(const Model& model);

// Whether y is a dual ray: it proves that no feasible point exists. On success d = -A'y is given.
bool is_dual_ray(const Model& model, const std::vector<double>& y, std::vector<double>* d);

// A dual ray of one constraint whose side no values within the bounds can reach, such as an empty
// row that must not be 0; empty when there is none.
std::vector<double> find_single_row_ray(const Model& model);

// Whether x is a primal ray: along it the minimized cost falls without end, from any feasible
// point.
bool is_primal_ray(const MinimizeProblem& problem, const std::vector<double>& x);

}  // namespace vorlan
