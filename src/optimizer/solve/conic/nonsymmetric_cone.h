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
  // The place of s: in the barrier's cone itself, or in its dual, where s and z change their parts.
  enum class Side { kPrimal, kDual };
  NonsymmetricCone(std::unique_ptr<Barrier> barrier, Side side);

  double degree() const override { return barrier_->degree(); }
  void start(std::span<double> s, std::span<double> z) const override;
  bool update(const ConePoint& at, double mu) override;
  void hessian(MatrixView h) const override;
  void multiply(std::span<const double> ds, std::span<double> out) const override;
  void centering_rhs(const ConePoint& at, double mu_target, const ConePoint& affine,
                     std::span<double> out) const override;
  double step_length(const ConePoint& at, const ConePoint& step, double limit) const override;

 private:
  // The point as the barrier sees it: s in its cone and z in the dual one.
  ConePoint of_barrier(const ConePoint& point) const;
  bool is_inside(const ConePoint& own) const;
  // Sets hessian_ to a scaling that maps own.s to own.z and the shadows likewise.
  void blend(const ConePoint& own, const ConePoint& shadow);
  bool invert_hessian();

  std::unique_ptr<Barrier> barrier_;
  Side side_;
  DenseMatrix barrier_hessian_;  // at the member of the barrier's cone
  DenseMatrix hessian_;          // H
};

}  // namespace vorlan::conic
