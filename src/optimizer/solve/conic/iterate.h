// The variables of the homogeneous embedding (interior_point.h has its equations) and their
// changes.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/conic_answer.h"
#include "solve/conic/matrix_step.h"

namespace vorlan::conic {

// The scalar variables: s and z by bound, cone_dual by variable and 0 outside of cones; it has no
// elements where there are no cones.
struct ScalarVariables {
  std::vector<double> x, y, s, z, cone_dual;
  double tau = 0.0, kappa = 0.0;
};

// A change of an iterate that takes the share `reduction` off all residuals where it is taken in
// full.
struct Step : ScalarVariables {
  double reduction = 0.0;
  std::vector<MatrixStep> matrices;

  // Of matrix variables, only the change of X is of use once the length of the step is known.
  void drop_scaled_terms();
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
  // Goes back to where it was before it took this length of the step, exactly but for the rounding of
  // matrix variables.
  void take_back(const ConicProblem& problem, const Iterate& before, const Step& step,
                 double length);
  // Takes all of another point but its matrix variables and their duals.
  void take_scalars(const Iterate& other);
  // Multiplies all variables, which leaves the point that the iterate stands for as it is.
  void multiply(double factor);
  // Writes the variables, times the factor, into a point. The duals of matrix variables are made anew.
  void write(const ConicProblem& problem, double factor, InteriorPoint* point) const;

 private:
  void move_matrices(const ConicProblem& problem, const Step& step, double length);
  void find_matrix_dual(const MatrixBlock& block, DenseMatrix* dual) const;
};

}  // namespace vorlan::conic
