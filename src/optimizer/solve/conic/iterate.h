// The variables of the homogeneous embedding (interior_point.h has its equations) and their
// changes.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/conic_answer.h"
#include "solve/conic/matrix_step.h"

namespace vorlan::conic {

// The scalar variables: s and z by bound, cone_dual by variable and 0 outside of cones.
struct ScalarVariables {
  std::vector<double> x, y, s, z, cone_dual;
  double tau = 0.0, kappa = 0.0;
};

// A change of an iterate that takes the share `reduction` off all residuals where it is taken in
// full.
struct Step : ScalarVariables {
  double reduction = 0.0;
  std::vector<MatrixStep> matrices;
};

// A step of no length at all.
Step zero_step(const ConicProblem& problem);

struct Iterate : ScalarVariables {
  std::vector<MatrixPoint> matrices;
  // The dual residual of each matrix variable is this multiple of C - I, its first one. Z is what
  // y, tau and the multiple make it.
  double matrix_residual = 1.0;

  // x's + z's + X's products with their duals, and tau kappa.
  double complementarity() const;
  // Goes along the step.
  void take(const ConicProblem& problem, const Step& step, double length);
  // Multiplies all variables, which leaves the point that the iterate stands for as it is.
  void multiply(double factor);
  // Writes the variables, times the factor, into a point.
  void write(double factor, InteriorPoint* point) const;
};

}  // namespace vorlan::conic
