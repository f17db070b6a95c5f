// What the method asks of a cone of scalar variables.
//
// Points are s (members of the cone) and z (duals, in the dual cone). At each iterate the cone
// chooses a symmetric positive definite H with H s = z, approximately the Hessian of its barrier
// times mu, and linearizes the central path s o z = mu e to
//
//   dz + H ds = right-hand side.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

class ScaledCone {
 public:
  explicit ScaledCone(int32_t size) : size_(size) {}
  virtual ~ScaledCone() = default;
  ScaledCone(const ScaledCone&) = delete;
  ScaledCone& operator=(const ScaledCone&) = delete;

  int32_t size() const { return size_; }
  // The barrier parameter.
  virtual double degree() const = 0;
  // A point on the central path with mu = 1.
  virtual void start(double* s, double* z) const = 0;
  // Chooses H; false: s or z is not inside, or too far from the central path with this mu to go on
  // from.
  virtual bool update(const double* s, const double* z, double mu) = 0;

  // H in full, by column; only for cones that say so.
  virtual bool has_dense_hessian() const { return true; }
  virtual void hessian(double* h) const = 0;
  // For large cones H = D + u u' - v v', with D diagonal but for its elements (0, 1) and (1, 0),
  // and D - v v' positive definite.
  virtual void sparse_hessian(double* /*diagonal*/, double* /*off*/, double* /*u*/,
                              double* /*v*/) const {}
  virtual void multiply(const double* ds, double* out) const = 0;

  // The right-hand side towards mu_target, with the second-order term of an affine step (ds, dz).
  virtual void centering_rhs(const double* s, const double* z, double mu_target, const double* ds,
                             const double* dz, double* out) const = 0;
  // The longest step at most `limit` that keeps s + step ds and z + step dz inside.
  virtual double step_length(const double* s, const double* ds, const double* z, const double* dz,
                             double limit) const = 0;

 private:
  int32_t size_;
};

std::unique_ptr<ScaledCone> make_cone(const ConeBlock& block);

}  // namespace vorlan::conic
