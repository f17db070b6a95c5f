// The formulas are those of second_order_cone.cpp; no care is taken of cancellation, for which
// there are digits enough.
#include "solve/conic/extended_cone.h"

#include <algorithm>

namespace vorlan::conic {
namespace {

// a0 b0 - a1'b1.
DoubleDouble product(const ExtendedVector& a, const ExtendedVector& b) {
  return DoubleDouble(2.0) * a[0] * b[0] - a.dot(b);
}

bool is_inside(const ExtendedVector& v) { return v[0] > 0.0 && product(v, v) > 0.0; }

// The longest step from v along dv inside the cone, at most the limit.
DoubleDouble step_to_boundary(const ExtendedVector& v, const ExtendedVector& dv,
                              DoubleDouble limit) {
  // The determinant along the step is a t^2 + 2 b t + c with c > 0.
  const DoubleDouble a = product(dv, dv);
  const DoubleDouble b = product(v, dv);
  const DoubleDouble c = product(v, v);
  const DoubleDouble discriminant = b * b - a * c;
  if (a < 0.0 || (b < 0.0 && discriminant >= 0.0)) {
    const DoubleDouble root = sqrt(std::max(DoubleDouble(0.0), discriminant));
    const DoubleDouble t = b <= 0.0 ? c / (root - b) : (-b - root) / a;
    if (t > 0.0) limit = std::min(limit, t);
  }
  return dv[0] < 0.0 ? std::min(limit, -v[0] / dv[0]) : limit;
}

}  // namespace

bool ExtendedCone::is_supported(const ConeBlock& block) {
  return block.kind == ConeKind::kQuadratic || block.kind == ConeKind::kRotatedQuadratic;
}

ExtendedCone::ExtendedCone(const ConeBlock& block)
    : vars_(block.vars), is_rotated_(block.kind == ConeKind::kRotatedQuadratic) {}

void ExtendedCone::rotate(ExtendedVector* values) const {
  if (!is_rotated_) return;
  const DoubleDouble root = sqrt(DoubleDouble(0.5));
  const DoubleDouble sum = (*values)[0] + (*values)[1];
  const DoubleDouble difference = (*values)[0] - (*values)[1];
  (*values)[0] = root * sum;
  (*values)[1] = root * difference;
}

ExtendedVector ExtendedCone::members(const ExtendedVector& x) const {
  ExtendedVector values(static_cast<Eigen::Index>(vars_.size()));
  for (size_t i = 0; i < vars_.size(); ++i) values[static_cast<Eigen::Index>(i)] = x[vars_[i]];
  rotate(&values);
  return values;
}

void ExtendedCone::add_members(ExtendedVector values, ExtendedVector* to) const {
  rotate(&values);
  for (size_t i = 0; i < vars_.size(); ++i) {
    (*to)[vars_[i]] += values[static_cast<Eigen::Index>(i)];
  }
}

void ExtendedCone::begin(ExtendedVector* x) {
  z_ = ExtendedVector::Zero(static_cast<Eigen::Index>(vars_.size()));
  z_[0] = 1.0;
  add_members(z_, x);
}

ExtendedVector ExtendedCone::scale(const ExtendedVector& v) const {
  const DoubleDouble tail = w_.dot(v) - w_[0] * v[0];
  ExtendedVector out = v + (v[0] + tail / (DoubleDouble(1.0) + w_[0])) * w_;
  out[0] = w_[0] * v[0] + tail;
  return eta_ * out;
}

ExtendedVector ExtendedCone::unscale(const ExtendedVector& v) const {
  const DoubleDouble tail = w_.dot(v) - w_[0] * v[0];
  ExtendedVector out = v + (tail / (DoubleDouble(1.0) + w_[0]) - v[0]) * w_;
  out[0] = w_[0] * v[0] - tail;
  return out / eta_;
}

bool ExtendedCone::update(const ExtendedVector& x) {
  s_ = members(x);
  if (!is_inside(s_) || !is_inside(z_)) return false;
  const DoubleDouble s_size = sqrt(product(s_, s_));
  const DoubleDouble z_size = sqrt(product(z_, z_));
  ExtendedVector reflected = -z_ / z_size;
  reflected[0] = -reflected[0];
  w_ = s_ / s_size + reflected;
  w_ /= sqrt(product(w_, w_));
  eta_ = sqrt(s_size / z_size);
  lambda_ = scale(z_);
  return true;
}

void ExtendedCone::add_dual(DoubleDouble factor, ExtendedVector* values) const {
  add_members(factor * z_, values);
}

DoubleDouble ExtendedCone::complementarity(const ExtendedVector& x) const {
  return members(x).dot(z_);
}

// H = inv(W)^2, a column at a time.
void ExtendedCone::add_to_system(ExtendedMatrix* system) const {
  for (const int32_t var : vars_) {
    ExtendedVector unit = ExtendedVector::Zero(system->cols());
    unit[var] = 1.0;
    ExtendedVector column = ExtendedVector::Zero(system->cols());
    add_members(unscale(unscale(members(unit))), &column);
    system->col(var) += column;
  }
}

// In scaled terms the right-hand side is lambda \ (mu e - (inv(W) ds) o (W dz)) - lambda.
void ExtendedCone::aim(DoubleDouble mu, bool corrects, ExtendedVector* values) {
  ExtendedVector p = ExtendedVector::Zero(z_.size());
  if (corrects) {
    const ExtendedVector a = unscale(ds_);
    const ExtendedVector b = scale(dz_);
    p = -a[0] * b - b[0] * a;
    p[0] = -a.dot(b);
  }
  p[0] += mu;
  const DoubleDouble first = product(lambda_, p) / product(lambda_, lambda_);
  p = (p - first * lambda_) / lambda_[0];
  p[0] = first;
  rhs_ = unscale(p - lambda_);
  add_members(rhs_, values);
}

void ExtendedCone::find_step(const ExtendedVector& dx) {
  ds_ = members(dx);
  dz_ = rhs_ - unscale(unscale(ds_));
}

DoubleDouble ExtendedCone::step_length(DoubleDouble limit) const {
  return step_to_boundary(z_, dz_, step_to_boundary(s_, ds_, limit));
}

}  // namespace vorlan::conic
