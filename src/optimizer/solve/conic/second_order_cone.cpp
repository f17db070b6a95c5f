// Nesterov-Todd scaling of the second-order cone, after L. Vandenberghe, The CVXOPT linear and
// quadratic cone program solvers, 2010, section 5; the sparse form of its square after A. Domahidi,
// E. Chu, S. Boyd, ECOS: an SOCP solver for embedded systems, 2013.
#include "solve/conic/second_order_cone.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// Up to this size a dense block costs less than two more rows of the system.
constexpr size_t kLargestDense = 6;

// |x1|, scaled so that no square overflows or vanishes.
double norm_of_tail(std::span<const double> x) {
  const std::span<const double> tail = x.subspan(1);
  const double size = largest(tail);
  if (size == 0.0) return 0.0;
  double sum = 0.0;
  for (const double value : tail) sum += (value / size) * (value / size);
  return size * std::sqrt(sum);
}

double tail_product(std::span<const double> a, std::span<const double> b) {
  return dot(a.subspan(1), b.subspan(1));
}

// x0^2 - |x1|^2 without the cancellation of the squares.
double determinant(std::span<const double> x) {
  const double tail = norm_of_tail(x);
  return (x[0] - tail) * (x[0] + tail);
}

// The longest step from x inside the cone along dx, at most the limit.
double step_to_boundary(std::span<const double> x, std::span<const double> dx, double limit) {
  // The determinant along the step is a t^2 + 2 b t + c with c > 0.
  const double a = determinant(dx);
  const double b = x[0] * dx[0] - tail_product(x, dx);
  const double c = determinant(x);
  const double discriminant = b * b - a * c;
  double step = limit;
  if (a < 0.0 || (b < 0.0 && discriminant >= 0.0)) {
    const double root = std::sqrt(std::max(0.0, discriminant));
    // The smallest positive root, by the form that does not cancel.
    const double t = b <= 0.0 ? c / (-b + root) : (a < 0.0 ? (-b - root) / a : limit);
    if (t > 0.0) step = std::min(step, t);
  }
  if (dx[0] < 0.0) step = std::min(step, -x[0] / dx[0]);
  return step;
}

// out = [w0 w1'; w1 I + w1 w1' / (1 + w0)] x, and with sign -1 the inverse times x.
void apply_unit_scaling(std::span<const double> w, double sign, double factor,
                        std::span<const double> x, std::span<double> out) {
  const double product = tail_product(w, x);
  const double x0 = x[0];
  const double along = sign * x0 + product / (1.0 + w[0]);
  out[0] = factor * (w[0] * x0 + sign * product);
  for (size_t i = 1; i < w.size(); ++i) out[i] = factor * (x[i] + along * w[i]);
}

}  // namespace

SecondOrderCone::SecondOrderCone(size_t size, Axes axes)
    : ScaledCone(size), axes_(axes), w_(size), lambda_(size), a_(size), b_(size), c_(size) {
  w_[0] = 1.0;
}

bool SecondOrderCone::has_dense_hessian() const { return size() <= kLargestDense; }

void SecondOrderCone::rotate(std::span<double> x) const {
  if (axes_ == Axes::kOwn) return;
  const double sum = x[0] + x[1];
  const double difference = x[0] - x[1];
  x[0] = sum * M_SQRT1_2;
  x[1] = difference * M_SQRT1_2;
}

std::span<const double> SecondOrderCone::to_own_axes(std::span<const double> x,
                                                     std::vector<double>* space) const {
  if (axes_ == Axes::kOwn) return x;
  std::copy(x.begin(), x.end(), space->begin());
  rotate(*space);
  return *space;
}

void SecondOrderCone::start(std::span<double> s, std::span<double> z) const {
  std::fill(s.begin(), s.end(), 0.0);
  s[0] = 1.0;
  rotate(s);
  std::copy(s.begin(), s.end(), z.begin());
}

void SecondOrderCone::scale(std::span<const double> x, std::span<double> out) const {
  apply_unit_scaling(w_, 1.0, eta_, x, out);
}

void SecondOrderCone::unscale(std::span<const double> x, std::span<double> out) const {
  apply_unit_scaling(w_, -1.0, 1.0 / eta_, x, out);
}

bool SecondOrderCone::update(const ConePoint& at, double /*mu*/) {
  const std::span<const double> s = to_own_axes(at.s, &a_);
  const std::span<const double> z = to_own_axes(at.z, &b_);
  const double s_size = determinant(s);
  const double z_size = determinant(z);
  if (!(s_size > 0.0) || !(z_size > 0.0) || s[0] <= 0.0 || z[0] <= 0.0) return false;
  const double s_unit = 1.0 / std::sqrt(s_size);
  const double z_unit = 1.0 / std::sqrt(z_size);
  const double product = (s[0] * z[0] + tail_product(s, z)) * s_unit * z_unit;
  const double gamma = std::sqrt(0.5 * (1.0 + product));
  for (size_t i = 0; i < size(); ++i) {
    const double reflected = i == 0 ? z[i] : -z[i];
    w_[i] = (s[i] * s_unit + reflected * z_unit) / (2.0 * gamma);
  }
  // w is normalized exactly, whatever rounding did.
  const double tail = norm_of_tail(w_);
  w_[0] = std::sqrt(1.0 + tail * tail);
  eta_ = std::sqrt(std::sqrt(s_size / z_size));
  scale(z, lambda_);
  return true;
}

// H = inv(W)^2 = (2 v v' - J) / eta^2 with v = J w.
void SecondOrderCone::hessian(MatrixView h) const {
  const double factor = 1.0 / (eta_ * eta_);
  std::vector<double> v(w_);
  for (size_t i = 1; i < v.size(); ++i) v[i] = -v[i];
  const size_t n = v.size();
  for (size_t j = 0; j < n; ++j) {
    for (size_t i = 0; i < n; ++i) h(i, j) = factor * 2.0 * v[i] * v[j];
    h(j, j) += j == 0 ? -factor : factor;
  }
  if (axes_ == Axes::kOwn) return;
  for (size_t j = 0; j < n; ++j) rotate(h.column(j));
  std::vector<double> row(n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) row[j] = h(i, j);
    rotate(row);
    for (size_t j = 0; j < n; ++j) h(i, j) = row[j];
  }
}

void SecondOrderCone::sparse_hessian(const SparseHessian& h) const {
  const double factor = 1.0 / (eta_ * eta_);
  const double root = 1.0 / eta_;
  const double tail = norm_of_tail(w_);
  const double square = w_[0] * w_[0] + tail * tail;
  const double d = 0.5 / square;
  const double u0 = std::sqrt(square - d);
  const double u1 = -2.0 * w_[0] / u0;
  const double v1 = -std::sqrt(2.0 * (2.0 + 1.0 / square) / (2.0 * square - 1.0 / square));
  h.u[0] = root * u0;
  h.v[0] = 0.0;
  h.diagonal[0] = factor * d;
  for (size_t i = 1; i < size(); ++i) {
    h.u[i] = root * u1 * w_[i];
    h.v[i] = root * v1 * w_[i];
    h.diagonal[i] = factor;
  }
  h.beside = 0.0;
  if (axes_ == Axes::kOwn) return;
  rotate(h.u);
  rotate(h.v);
  const double first = h.diagonal[0];
  h.beside = 0.5 * (first - factor);
  h.diagonal[0] = 0.5 * (first + factor);
  h.diagonal[1] = h.diagonal[0];
}

void SecondOrderCone::multiply(std::span<const double> ds, std::span<double> out) const {
  const std::span<const double> x = to_own_axes(ds, &a_);
  const double factor = 1.0 / (eta_ * eta_);
  const double product = w_[0] * x[0] - tail_product(w_, x);
  const double x0 = x[0];
  for (size_t i = 1; i < size(); ++i) out[i] = factor * (x[i] - 2.0 * product * w_[i]);
  out[0] = factor * (2.0 * product * w_[0] - x0);
  rotate(out);
}

void SecondOrderCone::centering_rhs(const ConePoint& /*at*/, double mu_target,
                                    const ConePoint& affine, std::span<double> out) const {
  // The right-hand side in scaled terms is lambda \ (mu e - lambda o lambda - (inv(W) ds) o (W
  // dz)).
  unscale(to_own_axes(affine.s, &a_), b_);
  scale(to_own_axes(affine.z, &a_), c_);
  const size_t n = size();
  std::vector<double>& p = a_;
  p[0] = mu_target - (b_[0] * c_[0] + tail_product(b_, c_));
  for (size_t i = 1; i < n; ++i) p[i] = -(b_[0] * c_[i] + c_[0] * b_[i]);
  // The division by lambda, then the part -lambda.
  const std::vector<double>& l = lambda_;
  const double x0 = (l[0] * p[0] - tail_product(l, p)) / determinant(l);
  for (size_t i = 1; i < n; ++i) p[i] = (p[i] - x0 * l[i]) / l[0] - l[i];
  p[0] = x0 - l[0];
  unscale(p, out);
  rotate(out);
}

double SecondOrderCone::step_length(const ConePoint& at, const ConePoint& step,
                                    double limit) const {
  limit = step_to_boundary(to_own_axes(at.s, &a_), to_own_axes(step.s, &b_), limit);
  return step_to_boundary(to_own_axes(at.z, &a_), to_own_axes(step.z, &b_), limit);
}

}  // namespace vorlan::conic
