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
// variables, so that all residuals shrink by the same factor in a step. Where a factorization is
// dear beside a solve, a further solve makes short steps longer by J. Gondzio's correction
// (Multiple centrality corrections in a primal-dual method for linear programming, Comput. Optim.
// Appl. 6, 1996).
//
// The embedding knows its scale only by its last equation, whose terms may cancel to less than
// their rounding when duals are large or the set of optima is unbounded. Then tau wanders and the
// run stalls. From an iterate that is near to a solution the method goes on with tau held: what is
// left are the conditions of an optimum, without the last equation.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "solve/conic/best_point.h"
#include "solve/conic/direction.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/newton_system.h"
#include "solve/conic/ray_claims.h"
#include "solve/conic/residuals.h"
#include "solve/conic/stall_watch.h"
#include "solve/conic/thread_team.h"

namespace vorlan::conic {

class InteriorPointMethod {
 public:
  InteriorPointMethod(const ConicProblem& problem, const Equilibration& scaling,
                      const Tolerances& tolerances, RayProof proves, BackendMonitor* monitor);

  // Hands on the best iterate while the method runs, whenever the monitor wants a point.
  void offer_points(std::function<void(InteriorPoint)> take) { offer_ = std::move(take); }

  // The most threads that large operations may share. One that is never told works alone.
  void use_threads(int32_t count) { num_threads_ = index(count); }

  // Says that a method with more digits goes on where this one ends short: the run keeps where to
  // begin, and ends soon after rounding has shown.
  void prepare_successor() { sound_.emplace(tolerances_); }
  // The last iterate before rounding showed; null where nobody asked for it. It lives until the
  // next run.
  const Iterate* sound_iterate() const { return sound_ ? &sound_->iterate() : nullptr; }

  // Linear models start from Mehrotra's point, and steps go nearer to the boundary: there are fewer
  // iterations then, and the answer is less central.
  void make_haste() { is_in_haste_ = problem_.is_linear(); }

  // The log shows objectives as this model states them, in its sense and with its constant.
  void show_objectives_of(const Model& model) { shown_ = &model; }

  // A failure means that the dense algebra which matrix variables ask for is not there.
  Status run(InteriorPoint* result);

 private:
  Status prepare();
  Status load_algebra(double multiplications);
  double work_of_matrices() const;
  // Says whether an iteration lasts long enough for threads.
  bool is_worth_threads() const;
  void gather_team();
  void allow_residuals();
  bool iterate(Direction::Tau tau, InteriorPoint* result);
  bool iterate_with_tau_held(InteriorPoint* result);
  bool iterate_from(const Iterate& start, InteriorPoint* result);
  double share_to_boundary(double affine_length) const;
  double make_step(Direction::Tau tau);
  std::shared_ptr<const Iterate> keep();
  void remember();
  bool advance(const Step& step, double* length);
  void look_at_iterate();
  void keep_if_sound();
  void watch_last_equation(double expected);
  void balance_kappa();
  bool is_finished(Direction::Tau tau, InteriorPoint* result);
  bool is_stalled();
  bool is_for_successor() const;
  bool is_stopped(InteriorPoint* result);
  void conclude(InteriorPoint* result);
  bool claims_loosely(InteriorPoint* result);
  void center();
  void offer_point() const;
  void log_heading() const;
  void log_iteration(double length) const;
  double stated(double objective) const;

  const ConicProblem& problem_;
  const Equilibration& scaling_;
  Tolerances tolerances_;
  BackendMonitor* monitor_;
  std::function<void(InteriorPoint)> offer_;
  const Model* shown_ = nullptr;
  size_t num_threads_ = 1;
  std::unique_ptr<ThreadTeam> team_;
  std::unique_ptr<DenseAlgebra> algebra_;
  std::unique_ptr<Scalings> scalings_;
  std::unique_ptr<NewtonSystem> system_;

  bool is_in_haste_ = false;
  bool corrects_centrality_ = false;  // in steps

  int32_t iteration_ = 0;
  Iterate now_;
  std::shared_ptr<const Iterate> kept_;    // of the present iterate, once somebody holds it
  std::shared_ptr<const Iterate> before_;  // the last step; matrix variables are left out
  Residuals residuals_;
  AllowedResiduals allowed_residuals_;
  Measures measures_;
  BestPoint best_;
  BestPoint accurate_;  // before rounding filled the embedding's last equation
  BestPoint most_feasible_;
  std::optional<BestPoint> sound_;
  double first_residual_ = 0.0;
  bool has_rounding_shown_ = false;
  RayClaims claims_;
  StallWatch stall_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace vorlan::conic
