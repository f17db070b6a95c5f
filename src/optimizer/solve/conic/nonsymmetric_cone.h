// Exponential and power cones and their duals: a primal-dual scaling from a barrier.
//
// For a cone with barrier f, shadow iterates s' = -grad f*(z) and z' = -grad f(s) exist, which on
// the central path are s / mu and z / mu. H is chosen to map s to z and s' to z', nearest to
// mu f''(s) in the sense of a BFGS update (L. Tuncel, Generalization of primal-dual interior-point
// methods to convex optimization problems in conic form, Found. Comput. Math. 1, 2001; with a
// second-order term from f''' as in P. Goulart, Y. Chen, arXiv:2405.12762, section 5).
#pragma once

#include <memory>
#include <vector>

#include "solve/conic/barrier.h"
#include "solve/conic/scaled_cone.h"

namespace vorlan::conic {

class NonsymmetricCone : public ScaledCone {
 public:
  // Dual: s is in the dual of the barrier's cone, so that s and z change their parts.
  NonsymmetricCone(std::unique_ptr<Barrier> barrier, bool dual);

  double degree() const override { return barrier_->degree(); }
  void start(double* s, double* z) const override;
  bool update(const double* s, const double* z, double mu) override;
  void hessian(double* h) const override;
  void multiply(const double* ds, double* out) const override;
  void centering_rhs(const double* s, const double* z, double mu_target, const double* ds,
                     const double* dz, double* out) const override;
  double step_length(const double* s, const double* ds, const double* z, const double* dz,
                     double limit) const override;

 private:
  bool inside(const double* member, const double* dual_member) const;
  // A scaling that maps the member of the barrier's cone to the dual one, into hessian_.
  void blend(const double* member, const double* dual_member, const std::vector<double>& shadow,
             const std::vector<double>& dual_shadow);

  std::unique_ptr<Barrier> barrier_;
  bool dual_;
  std::vector<double> barrier_hessian_;  // at the member of the barrier's cone
  std::vector<double> hessian_;          // H
};

}  // namespace vorlan::conic
