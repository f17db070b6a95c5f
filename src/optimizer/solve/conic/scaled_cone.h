// The interface by which the method uses a cone of scalar variables.
//
// Points are s (members of the cone) and z (duals, in the dual cone). At each iterate the cone
// chooses a symmetric positive definite H with H s = z, approximately the Hessian of its barrier
// times mu, and linearizes the central path s o z = mu e to
//
//   dz + H ds = right-hand side.
#pragma once

#include <cstdint>
#include <span>

#include "solve/conic/matrix_view.h"
#include "task/numeric.h"

namespace vorlan::conic {

// Members of a cone with their duals, or a change of both.
struct ConePoint {
  std::span<const double> s, z;
};

// H = D + u u' - v v' of a large cone, with D diagonal but for its elements (0, 1) and (1, 0), and
// D - v v' positive definite. The spans have an element for each member.
struct SparseHessian {
  std::span<double> diagonal;
  double& beside;  // the element (0, 1)
  std::span<double> u, v;
};

class ScaledCone {
 public:
  explicit ScaledCone(size_t size) : size_(size) {}
  virtual ~ScaledCone() = default;
  ScaledCone(const ScaledCone&) = delete;
  ScaledCone& operator=(const ScaledCone&) = delete;

  size_t size() const { return size_; }
  // The barrier parameter.
  virtual double degree() const = 0;
  // Writes a point on the central path with mu = 1.
  virtual void start(std::span<double> s, std::span<double> z) const = 0;
  // Chooses H; false: s or z is not inside, or too far from the central path with this mu to go on
  // from.
  virtual bool update(const ConePoint& at, double mu) = 0;

  // True: hessian gives H in full. False: sparse_hessian gives its parts.
  virtual bool has_dense_hessian() const { return true; }
  virtual void hessian(MatrixView h) const = 0;
  virtual void sparse_hessian(const SparseHessian& /*h*/) const {}
  // out = H ds.
  virtual void multiply(std::span<const double> ds, std::span<double> out) const = 0;

  // The right-hand side towards mu_target, with the second-order term of an affine step.
  virtual void centering_rhs(const ConePoint& at, double mu_target, const ConePoint& affine,
                             std::span<double> out) const = 0;
  // The longest step at most `limit` that keeps both parts of the point inside.
  virtual double step_length(const ConePoint& at, const ConePoint& step, double limit) const = 0;

 private:
  size_t size_;
};

}  // namespace vorlan::conic
