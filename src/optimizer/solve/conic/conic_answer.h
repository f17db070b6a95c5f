// The questions and answers of a run of the interior-point method. They are plain data, so that the
// way back to the model reads them without knowing the method.
#pragma once

#include <functional>
#include <vector>

#include "solve/backend.h"
#include "solve/conic/matrix_view.h"

namespace vorlan::conic {

struct Tolerances {
  double feasibility = 1e-8;
  double gap = 1e-8;
  int32_t iteration_limit = 400;
};

// Relative residuals in the terms of the problem before scaling.
struct Measures {
  double primal = kInfinity;
  double dual = kInfinity;
  double gap = kInfinity;
  // The gap relative to the largest term of the objectives where these cancel: no smaller gap can
  // be told from residuals of this size.
  double gap_of_terms = kInfinity;
  // The gap relative to the objectives alone, which may be far below what the data make plausible.
  double gap_of_objectives = kInfinity;
  double primal_objective = 0.0;
  double dual_objective = 0.0;
  // Violations of rays, relative to what they prove; infinite when they prove nothing.
  double dual_ray = kInfinity;    // of primal infeasibility
  double primal_ray = kInfinity;  // of dual infeasibility
  // How far curvature lets the scaled objective fall along the primal ray.
  double fall = 0.0;
  // Violations relative to the largest element, of rays that prove nothing but that the model is
  // ill-posed.
  double dual_direction = kInfinity;
  double primal_direction = kInfinity;

  // The largest of residuals and gap in parts of their tolerances.
  double worst(const Tolerances& tolerances) const;
};

// An answer in the terms of the scaled problem. A ray is not divided by tau.
struct InteriorPoint {
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  Measures measures;
  std::vector<double> x, y, z, cone_dual;  // z by bound; cone_dual by variable
  std::vector<DenseMatrix> matrices, matrix_duals;
  int32_t iterations = 0;
  // No iterate was near enough to a solution to speak against there being none.
  bool is_far = false;
  // The embedding stalled before this optimum was found, and so did not speak against a ray.
  bool was_scale_held = false;
  // This optimum is right only beside the larger parts of the model (least_sizes.h).
  bool misses_parts = false;
};

// Says whether a ray proves its claim about the model. The embedding's residuals alone may deceive
// where points are as large as the tolerance is small.
using RayProof = std::function<bool(const InteriorPoint& ray)>;

}  // namespace vorlan::conic
