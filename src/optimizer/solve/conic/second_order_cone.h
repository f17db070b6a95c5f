// The quadratic cone s0 >= |s1|, and the rotated one, which is the same after a rotation of its
// first two members by 45 degrees.
#pragma once

#include <vector>

#include "solve/conic/scaled_cone.h"

namespace vorlan::conic {

class SecondOrderCone : public ScaledCone {
 public:
  enum class Axes { kOwn, kRotated };
  SecondOrderCone(size_t size, Axes axes);

  double degree() const override { return 1.0; }
  void start(std::span<double> s, std::span<double> z) const override;
  bool update(const ConePoint& at, double mu) override;
  bool has_dense_hessian() const override;
  void hessian(MatrixView h) const override;
  void sparse_hessian(const SparseHessian& h) const override;
  void multiply(std::span<const double> ds, std::span<double> out) const override;
  void centering_rhs(const ConePoint& at, double mu_target, const ConePoint& affine,
                     std::span<double> out) const override;
  double step_length(const ConePoint& at, const ConePoint& step, double limit) const override;

 private:
  // The members in the axes of the quadratic cone; `space` holds them where they are not x's own.
  std::span<const double> to_own_axes(std::span<const double> x, std::vector<double>* space) const;
  // Takes members to the axes of the quadratic cone, or back: the rotation is its own inverse.
  void rotate(std::span<double> x) const;
  // out = W x, and out = inv(W) x, in the axes of the quadratic cone.
  void scale(std::span<const double> x, std::span<double> out) const;
  void unscale(std::span<const double> x, std::span<double> out) const;

  Axes axes_;
  double eta_ = 1.0;            // W = eta [w0 w1'; w1 I + w1 w1' / (1 + w0)]
  std::vector<double> w_;       // w0^2 - |w1|^2 = 1
  std::vector<double> lambda_;  // W z = inv(W) s
  mutable std::vector<double> a_, b_, c_;
};

}  // namespace vorlan::conic
