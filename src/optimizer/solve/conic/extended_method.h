// The interior-point method in extended precision, for small models that doubles do not finish.
//
// Where a model has hardly an interior, an objective moves by the root of what is wrong with the
// point: residuals of 1e-10 leave five digits of it. Doubles come no further, whatever the order of
// their operations. The equations are those of interior_point.h, the steps those of
// extended_matrix.h with dense matrices, in plain loops. An iterate of doubles is one of this
// method, too, since the dual matrices follow from the multipliers by all digits; where it begins
// at one, the last bits of the answer follow those of the BLAS that led there.
//
// The point that counts is the one rounded to doubles: it is measured as any other iterate is, and
// the run ends where doubles can tell the objectives no better.
#pragma once

#include <vector>

#include "solve/conic/best_point.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/extended_cone.h"
#include "solve/conic/extended_matrix.h"
#include "solve/conic/stall_watch.h"

namespace vorlan::conic {

class ExtendedMethod {
 public:
  ExtendedMethod(const ConicProblem& problem, const Equilibration& scaling,
                 const Tolerances& tolerances, BackendMonitor* monitor);

  // Says whether the method takes a problem: its cones are quadratic, and it is small enough for an
  // iteration to last a tenth of a second at most.
  static bool can_solve(const ConicProblem& problem);
  // Whether a problem is small enough, whatever its cones are.
  static bool is_small(const ConicProblem& problem);

  // Begins at an iterate of the method in doubles instead of the first one. False: it is not in the
  // interior by all digits; the method begins at the first one.
  bool begin_at(const Iterate& at);

  // Ends with an optimum, a stop or a stall.
  void run(InteriorPoint* result);

 private:
  struct Step {
    ExtendedVector x, y, s, z;
    DoubleDouble tau, kappa;
  };
  // The system's right-hand side, and the rest of the equation of the objectives.
  struct RightHandSide {
    ExtendedVector values;
    DoubleDouble gap;
  };

  void begin();
  void iterate();
  bool look_at_iterate();
  bool is_stopped(const Measures& measures);
  void center();
  Iterate rounded() const;
  bool is_lost_in_rounding(const Iterate& at, const Measures& measures);
  double relative_to(double objective, double rounding) const;
  double rounding_of_objectives(const Iterate& at) const;
  double rounding_of_bound(const Iterate& at) const;
  void find_residuals();
  void factor_system();
  ExtendedMatrix quadratic_part() const;
  RightHandSide aim(DoubleDouble share, DoubleDouble mu, const Step* affine);
  Step find_step(DoubleDouble share, DoubleDouble mu, const Step* affine);
  void complete(DoubleDouble share, DoubleDouble mu, const Step* affine, Step* step);
  void refine(DoubleDouble share, DoubleDouble mu, const Step* affine, Step* step);
  DoubleDouble step_length(const Step& step) const;
  bool take(const Step& step, DoubleDouble share, DoubleDouble* length);
  bool is_interior();
  DoubleDouble mu() const;

  const ConicProblem& problem_;
  const Equilibration& scaling_;
  const Tolerances tolerances_;
  BackendMonitor* monitor_;
  Eigen::Index num_var_, num_row_, num_bound_;

  // The data as they are.
  ExtendedVector cost_, rhs_, bound_;
  ExtendedMatrix quadratic_, matrix_;

  // The iterate; the residual of Z is this multiple of C - I.
  ExtendedVector x_, y_, s_, z_;
  DoubleDouble tau_, kappa_, matrix_residual_;
  std::vector<ExtendedCone> cones_;
  std::vector<ExtendedMatrixVariable> matrices_;

  // Its residuals, and P x.
  ExtendedVector dual_, primal_, slack_, px_;
  DoubleDouble gap_;

  // The system of a step, its answer to a unit of dtau, and what that does to the last equation.
  ExtendedLu system_;
  ExtendedVector tau_answer_, gap_row_;
  DoubleDouble gap_of_tau_;

  int32_t iteration_ = 0;
  bool is_stopped_ = false;
  double rounding_ = 0.0;  // of the last iterate's objectives
  BestPoint best_;
  StallWatch stall_;
};

}  // namespace vorlan::conic
