// A primal-dual interior-point method on a homogeneous embedding: it ends with a solution or with a
// certificate that there is none.
//
// The embedding for quadratic objectives follows P. Goulart, Y. Chen, Clarabel: An interior-point
// solver for conic programs with quadratic objectives, arXiv:2405.12762. With the problem's form in
// conic_problem.h it looks for
//
//   P x + q tau - A'y - G'z - E'z_J = 0,     C tau - sum_i y_i A_i - Z = 0,
//   A x + <A_i, X> - b tau = 0,              G x - h tau - s = 0,
//   kappa + q'x + <C, X> + x'Px / tau - b'y - h'z = 0,
//
// all of s, z, tau, kappa >= 0, the cones as they are. A solution with tau > 0 gives an optimum,
// one with kappa > 0 a ray. Steps are Mehrotra's predictor and corrector, with one length for all
// variables.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "solve/backend.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/newton_system.h"

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
  // The same relative to the largest term of the objectives, where these cancel: the most that
  // residuals of this size bear out.
  double gap_of_terms = kInfinity;
  double primal_objective = 0.0;
  double dual_objective = 0.0;
  // Violations of rays, relative to what they prove; infinite when they prove nothing.
  double dual_ray = kInfinity;    // of primal infeasibility
  double primal_ray = kInfinity;  // of dual infeasibility
  // How far curvature lets the scaled objective fall along the primal ray.
  double fall = 0.0;
  // The same relative to the largest element: of rays that prove nothing but that the model is
  // ill-posed.
  double dual_direction = kInfinity;
  double primal_direction = kInfinity;

  double worst(const Tolerances& tolerances) const;
};

// In the terms of the scaled problem. A ray is not divided by tau.
struct InteriorPoint {
  Outcome outcome = Outcome::kUnknown;
  Certificate certificate = Certificate::kNone;
  Code termination = Code::kOk;
  Measures measures;
  std::vector<double> x, y, z, cone_dual;  // z by bound; cone_dual by variable
  std::vector<std::vector<double>> matrices, matrix_duals;
  int32_t iterations = 0;
  // No iterate was near enough to a solution to speak against there being none.
  bool is_far = false;
};

// Whether a ray proves its claim about the model: the embedding's residuals alone may deceive where
// points are as large as the tolerance is small.
using RayProof = std::function<bool(const InteriorPoint& ray)>;

class InteriorPointMethod {
 public:
  InteriorPointMethod(const ConicProblem& problem, const Equilibration& scaling,
                      const Tolerances& tolerances, RayProof proves, BackendMonitor* monitor);

  // Where the best iterate goes while the method runs, whenever the monitor wants a point.
  void offer_points(std::function<void(const InteriorPoint&)> take) { offer_ = std::move(take); }

  // A failure means that the dense algebra which matrix variables ask for is not there.
  Status run(InteriorPoint* result);

 private:
  // The scalar variables of the embedding, or a change of them.
  struct Step {
    std::vector<double> x, y, s, z, cone_dual;
    double tau = 0.0, kappa = 0.0;
  };
  struct Iterate : Step {
    double matrix_residual = 1.0;  // the matrices' dual residual, in parts of the first one
  };
  struct Residuals {
    std::vector<double> dual, primal, bound;
    double gap = 0.0;
    double quadratic = 0.0;  // x'Px
    std::vector<double> px;
  };

  // The share of the way to the boundary that a step goes at least.
  static constexpr double kLeastToBoundary = 0.9;

  Status prepare();
  void start();
  bool update_scaling();
  void compute_residuals();
  void measure();
  double matrix_dual_error(size_t m) const;
  double largest_term() const;
  void measure_rays(double cost, double value);
  double dual_ray_violation() const;
  double primal_ray_violation() const;
  void solve_turn_of_tau();
  void set_tau_factor();
  // A step that takes the share `rest` off the residuals.
  void find_step(double rest, double mu_target, bool affine, Step* step);
  void finish_step(double rest, Step* step);
  bool moves_gap(const std::vector<double>& residual) const;
  void correct_primal(double rest, Step* step);
  void set_rhs(double rest, double mu_target, bool affine);
  double last_equation(double rest, double* rounding) const;
  double last_equation_by_residuals(double rest) const;
  double tau_step(double rest) const;
  double step_length(const Step& step) const;
  void take(const Step& step, double length, double rest);
  bool advance(const Step& step, double length, double rest);
  double complementarity() const;
  bool finished(InteriorPoint* result);
  bool claim_ray(Certificate certificate, double violation, InteriorPoint* result);
  bool is_idle();
  void keep_best();
  void hold_as_best();
  void center();
  void conclude(InteriorPoint* result);
  void offer_point() const;
  void store_point(InteriorPoint* result, const Iterate& iterate, bool best) const;
  void log_heading();
  void log_iteration(double length, double mu);
  size_t num_var() const { return problem_.cost.size(); }
  size_t num_row() const { return problem_.rhs.size(); }

  const ConicProblem& problem_;
  const Equilibration& scaling_;
  Tolerances tolerances_;
  RayProof proves_;
  BackendMonitor* monitor_;
  std::function<void(const InteriorPoint&)> offer_;
  const DenseAlgebra* algebra_ = nullptr;
  std::vector<std::unique_ptr<ScaledCone>> cones_;
  std::vector<size_t> cone_start_;  // of each cone's members in gathered arrays
  std::vector<MatrixCone> matrices_;
  std::unique_ptr<NewtonSystem> system_;
  double degree_ = 1.0;

  Iterate now_, saved_;
  Residuals residuals_;
  Measures measures_, best_measures_;
  Iterate best_;
  std::vector<std::vector<double>> best_matrices_, best_duals_;
  std::vector<double> bound_scaling_;         // z / s
  std::vector<double> bound_rhs_, cone_rhs_;  // right-hand sides of complementarity
  std::vector<double> f_, g_;
  std::vector<double> turn_x_, turn_y_;          // of the step at hand
  std::vector<double> tau_turn_x_, tau_turn_y_;  // for a unit of dtau
  double tau_factor_ = 0.0;
  double complementarity_rhs_ = 0.0;  // of tau and kappa
  Step affine_;
  bool holds_tau_ = false;
  double refuted_dual_ = kInfinity, refuted_primal_ = kInfinity;  // violations of rays not proven
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int32_t iteration_ = 0;
  double nearest_ = kInfinity;  // to a claim, so far
  double nearest_mu_ = kInfinity;
  int32_t nearest_iteration_ = 0;
};

}  // namespace vorlan::conic
