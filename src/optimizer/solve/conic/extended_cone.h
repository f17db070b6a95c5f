// A quadratic or rotated quadratic cone in extended precision (double_double.h), for
// extended_method.h: the scaling and the steps of second_order_cone.h.
#pragma once

#include "solve/conic/conic_problem.h"
#include "solve/conic/extended_matrix.h"

namespace vorlan::conic {

class ExtendedCone {
 public:
  // Only these two kinds.
  static bool is_supported(const ConeBlock& block);

  explicit ExtendedCone(const ConeBlock& block);

  // Writes a point on the central path with mu = 1 into x, and takes its dual.
  void begin(ExtendedVector* x);
  // Takes the members' duals out of those of all variables.
  void set_dual(const ExtendedVector& cone_dual) { z_ = members(cone_dual); }
  // Chooses the scaling at a point; false: its members or their duals are not inside.
  bool update(const ExtendedVector& x);

  // values_j += factor z_j for the members' duals z.
  void add_dual(DoubleDouble factor, ExtendedVector* values) const;
  DoubleDouble complementarity(const ExtendedVector& x) const;
  // system += E'H E with the H that the scaling defines, H s = z.
  void add_to_system(ExtendedMatrix* system) const;

  // Sets the right-hand side of dz + H ds towards mu, with the second-order term of the last step
  // if that is asked for, and adds it to values.
  void aim(DoubleDouble mu, bool corrects, ExtendedVector* values);
  // The step that follows from that of x.
  void find_step(const ExtendedVector& dx);
  // The longest step at most `limit` that keeps members and duals inside.
  DoubleDouble step_length(DoubleDouble limit) const;
  // z += length dz; the members are the caller's.
  void take(DoubleDouble length) { z_ += length * dz_; }

 private:
  // The members, in the axes of the quadratic cone: rotated ones are turned by 45 degrees.
  ExtendedVector members(const ExtendedVector& x) const;
  void add_members(ExtendedVector values, ExtendedVector* to) const;
  void rotate(ExtendedVector* values) const;
  ExtendedVector scale(const ExtendedVector& v) const;    // W v
  ExtendedVector unscale(const ExtendedVector& v) const;  // inv(W) v

  std::vector<int32_t> vars_;
  bool is_rotated_;
  // All of these are in the axes of the quadratic cone.
  ExtendedVector s_, z_, ds_, dz_, rhs_;
  DoubleDouble eta_ = 1.0;
  ExtendedVector w_, lambda_;
};

}  // namespace vorlan::conic
