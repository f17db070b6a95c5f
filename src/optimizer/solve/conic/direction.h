// The directions in which an iterate can go: built once a factorization, and asked first for the
// affine step and then for the one that is taken (S. Mehrotra, On the implementation of a
// primal-dual interior point method, SIAM J. Optim. 2, 1992).
//
// A step of the embedding is a multiple of the iterate, dtau / tau, plus an offset (u, v) of x and
// y. The offset solves the Newton system with right-hand sides from which the multiple is taken
// out: the scalings of active bounds and cones would make these huge, only to cancel later.
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "solve/conic/equilibration.h"
#include "solve/conic/newton_system.h"
#include "solve/conic/residuals.h"

namespace vorlan::conic {

// What each step may leave of the equations: all steps together come nowhere near the tolerances.
struct AllowedResiduals {
  // Of the problem before scaling, where residuals are relative to 1 at least; nullptr: steps are
  // as exact as rounding allows.
  const Equilibration* scaling = nullptr;
  double feasibility = 0.0;
  double gap = 0.0;  // relative to the objectives

  // For a unit of tau, in the terms of the scaled problem.
  double primal(size_t row) const { return feasibility * std::min(1.0, scaling->row[row]); }
  double dual(size_t var) const {
    return feasibility * std::min(1.0, scaling->cost * scaling->var[var]);
  }
};

class Direction {
 public:
  // Steps change tau and kappa or hold them. Held, the iterate is taken for a solution, and steps
  // only move it along or towards the central path.
  enum class Tau { kFree, kHeld };
  // The scalings must be those of the iterate, and the system factored with them. Steps of linear
  // models, and those with matrix variables, leave what is allowed, as long as the gap does not
  // notice. All must live on.
  Direction(const ConicProblem& problem, const Iterate& at, const Residuals& residuals,
            const AllowedResiduals& allowed, Scalings* scalings, NewtonSystem* system, Tau tau);

  // The step to the boundary: all residuals and all products of pairs become 0 to first order.
  Step find_affine();
  // The step that takes the share `reduction` off the residuals, and leads to the central path with
  // this mu, with the second-order term of the affine step.
  Step find(double reduction, double mu, Step affine);

  // The last step found, which must be the one given, of a model without cones and matrix
  // variables, corrected: at this length, 1 at most, its products of pairs are to come nearer to
  // mu, from further away than a factor of 10.
  Step correct_centrality(const Step& step, double length, double mu);

  // How far the cones are from the path that the last step led to: the largest right-hand side of
  // their complementarity.
  double distance_of_cones() const;

 private:
  void solve_for_tau();
  double factor_of_tau();
  // Right-hand sides of the complementarity conditions.
  void aim_at_boundary();
  // The affine step's matrices are lost.
  void aim_at_path(double mu, Step* affine);
  void set_rhs(double reduction);
  // The value that tau_factor_ dtau must have.
  double last_equation(double reduction, double* rounding) const;
  double last_equation_by_residuals(double reduction) const;
  double tau_step(double reduction) const;
  void solve_for_offset(double reduction, Step* step);
  void solve_system(double unit, NewtonVector* solution);
  double excess(std::span<const double> of_x, std::span<const double> of_y) const;
  void complete(Step* step) const;
  void refine(Step* step);
  void take_correction(double factor, NewtonVector* correction, Step* step);
  bool moves_gap(const std::vector<double>& residual) const;
  bool is_allowed(const std::vector<double>& residual) const;

  std::span<double> cone_rhs(size_t c);
  std::span<const double> cone_rhs(size_t c) const;

  const ConicProblem& problem_;
  const Iterate& at_;
  const Residuals& residuals_;
  Scalings& scalings_;
  NewtonSystem& system_;
  const AllowedResiduals& allowed_;
  Tau tau_;
  NewtonVector rhs_;
  NewtonVector offset_;      // of the step at hand
  NewtonVector tau_offset_;  // for a unit of dtau
  double tau_factor_ = 0.0;
  // Right-hand sides of complementarity: by bound, of the cones' members one cone after the other,
  // of tau and kappa. Those of the matrix variables are in their directions.
  std::vector<double> bound_rhs_, cone_rhs_;
  std::vector<size_t> cone_start_;
  double pair_rhs_ = 0.0;
  std::vector<MatrixDirection> matrices_;
};

}  // namespace vorlan::conic
