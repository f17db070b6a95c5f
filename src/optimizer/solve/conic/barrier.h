// Logarithmically homogeneous barriers of the cones that have no symmetric scaling: the exponential
// cone and the power cones (R. Chares, Cones and interior-point algorithms for structured convex
// optimization involving powers and exponentials, 2009). Both have the form
//
//   f(s) = -log phi(s) - sum_i c_i log s_i,
//
// so that a cone is told by phi and its derivatives.
#pragma once

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "solve/conic/matrix_view.h"

namespace vorlan::conic {

class Barrier {
 public:
  virtual ~Barrier() = default;
  size_t size() const { return weight_.size(); }
  double degree() const { return degree_; }

  virtual bool inside(std::span<const double> s) const = 0;
  virtual bool dual_inside(std::span<const double> z) const = 0;
  // A point with -grad f(s) = s, where one is known, or any other inside.
  virtual void central_point(std::span<double> s) const = 0;

  void gradient(std::span<const double> s, std::span<double> out) const;
  void hessian(std::span<const double> s, MatrixView h) const;  // in full
  // The point x with grad f(x) = -z, for z inside the dual cone.
  virtual void shadow(std::span<const double> z, std::span<double> x) const = 0;
  // The vector of f'''(s)[u, v, .].
  void third(std::span<const double> s, std::span<const double> u, std::span<const double> v,
             std::span<double> out) const;

 protected:
  Barrier(std::vector<double> weights, double degree)
      : weight_(std::move(weights)), degree_(degree) {}

  virtual double phi(std::span<const double> s) const = 0;
  virtual void phi_gradient(std::span<const double> s, std::span<double> out) const = 0;
  virtual void phi_hessian(std::span<const double> s, std::span<const double> u,
                           std::span<double> out) const = 0;
  virtual void phi_third(std::span<const double> s, std::span<const double> u,
                         std::span<const double> v, std::span<double> out) const = 0;

 private:
  std::vector<double> weight_;  // c
  double degree_;
};

// s0 exp(shift) >= s1 exp(s2 / s1): the cone whose first member is in a unit of its own.
std::unique_ptr<Barrier> make_exponential_barrier(double shift);
// The first members, as many as exponents, are the base; the others are within the norm.
std::unique_ptr<Barrier> make_power_barrier(size_t size, std::vector<double> exponents);

}  // namespace vorlan::conic
