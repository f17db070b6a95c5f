// The quadratic cone s0 >= |s1|, and the rotated one, which is the same after a turn of its first
// two members by 45 degrees.
#pragma once

#include <vector>

#include "solve/conic/scaled_cone.h"

namespace vorlan::conic {

class SecondOrderCone : public ScaledCone {
 public:
  SecondOrderCone(int32_t size, bool rotated);

  double degree() const override { return 1.0; }
  void start(double* s, double* z) const override;
  bool update(const double* s, const double* z, double mu) override;
  bool has_dense_hessian() const override;
  void hessian(double* h) const override;
  void sparse_hessian(double* diagonal, double* off, double* u, double* v) const override;
  void multiply(const double* ds, double* out) const override;
  void centering_rhs(const double* s, const double* z, double mu_target, const double* ds,
                     const double* dz, double* out) const override;
  double step_length(const double* s, const double* ds, const double* z, const double* dz,
                     double limit) const override;

 private:
  const double* turned(const double* x, std::vector<double>* space) const;
  void turn(double* x) const;
  void scale(bool inverse, const double* x, double* out) const;

  bool rotated_;
  double eta_ = 1.0;            // W = eta [w0 w1'; w1 I + w1 w1' / (1 + w0)]
  std::vector<double> w_;       // w0^2 - |w1|^2 = 1
  std::vector<double> lambda_;  // W z = inv(W) s
  mutable std::vector<double> a_, b_, c_;
};

}  // namespace vorlan::conic
