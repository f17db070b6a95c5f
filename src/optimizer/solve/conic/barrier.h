// Logarithmically homogeneous barriers of the cones that have no symmetric scaling: the exponential
// cone and the power cones (R. Chares, Cones and interior-point algorithms for structured convex
// optimization involving powers and exponentials, 2009). Both have the form
//
//   f(s) = -log phi(s) - sum_i c_i log s_i,
//
// so that a cone is told by phi and its derivatives.
#pragma once

#include <memory>
#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

class Barrier {
 public:
  virtual ~Barrier() = default;
  int32_t size() const { return static_cast<int32_t>(weight_.size()); }
  double degree() const { return degree_; }

  virtual bool inside(const double* s) const = 0;
  virtual bool dual_inside(const double* z) const = 0;
  // A point with -grad f(s) = s, where one is known, or any other inside.
  virtual void central_point(double* s) const = 0;

  void gradient(const double* s, double* out) const;
  void hessian(const double* s, double* h) const;  // in full
  // The point x with grad f(x) = -z, for z inside the dual cone.
  virtual void shadow(const double* z, double* x) const = 0;
  // The vector of f'''(s)[u, v, .].
  void third(const double* s, const double* u, const double* v, double* out) const;

 protected:
  Barrier(std::vector<double> weights, double degree)
      : weight_(std::move(weights)), degree_(degree) {}

  virtual double phi(const double* s) const = 0;
  virtual void phi_gradient(const double* s, double* out) const = 0;
  virtual void phi_hessian(const double* s, const double* u, double* out) const = 0;
  virtual void phi_third(const double* s, const double* u, const double* v, double* out) const = 0;

 private:
  std::vector<double> weight_;  // c
  double degree_;
};

std::unique_ptr<Barrier> make_exponential_barrier();
// The first members, as many as exponents, are the base; the others are within the norm.
std::unique_ptr<Barrier> make_power_barrier(int32_t size, std::vector<double> exponents);

}  // namespace vorlan::conic
