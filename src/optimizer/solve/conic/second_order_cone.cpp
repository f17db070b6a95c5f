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
constexpr int32_t kLargestDense = 6;

double norm_of_tail(const double* x, int32_t size) {
  double largest = 0.0;
  for (int32_t i = 1; i < size; ++i) largest = std::max(largest, std::fabs(x[i]));
  if (largest == 0.0) return 0.0;
  double sum = 0.0;
  for (int32_t i = 1; i < size; ++i) sum += (x[i] / largest) * (x[i] / largest);
  return largest * std::sqrt(sum);
}

double tail_product(const double* a, const double* b, int32_t size) {
  double sum = 0.0;
  for (int32_t i = 1; i < size; ++i) sum += a[i] * b[i];
  return sum;
}

// x0^2 - |x1|^2 without the cancellation of the squares.
double determinant(const double* x, int32_t size) {
  const double tail = norm_of_tail(x, size);
  return (x[0] - tail) * (x[0] + tail);
}

// The longest step from x inside the cone along dx, at most the limit.
double step_to_boundary(const double* x, const double* dx, int32_t size, double limit) {
  // The determinant along the step is a t^2 + 2 b t + c with c > 0.
  const double a = determinant(dx, size);
  const double b = x[0] * dx[0] - tail_product(x, dx, size);
  const double c = determinant(x, size);
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

}  // namespace

SecondOrderCone::SecondOrderCone(int32_t size, bool rotated)
    : ScaledCone(size),
      rotated_(rotated),
      w_(index(size), 0.0),
      lambda_(index(size), 0.0),
      a_(index(size)),
      b_(index(size)),
      c_(index(size)) {
  w_[0] = 1.0;
}

bool SecondOrderCone::has_dense_hessian() const { return size() <= kLargestDense; }

void SecondOrderCone::turn(double* x) const {
  if (!rotated_) return;
  const double sum = x[0] + x[1];
  const double difference = x[0] - x[1];
  x[0] = sum * M_SQRT1_2;
  x[1] = difference * M_SQRT1_2;
}

const double* SecondOrderCone::turned(const double* x, std::vector<double>* space) const {
  if (!rotated_) return x;
  std::copy_n(x, size(), space->begin());
  turn(space->data());
  return space->data();
}

void SecondOrderCone::start(double* s, double* z) const {
  std::fill_n(s, size(), 0.0);
  s[0] = 1.0;
  turn(s);
  std::copy_n(s, size(), z);
}

// out = W x or inv(W) x, in the turned members.
void SecondOrderCone::scale(bool inverse, const double* x, double* out) const {
  const double sign = inverse ? -1.0 : 1.0;
  const double factor = inverse ? 1.0 / eta_ : eta_;
  const double product = tail_product(w_.data(), x, size());
  const double x0 = x[0];
  const double along = sign * x0 + product / (1.0 + w_[0]);
  out[0] = factor * (w_[0] * x0 + sign * product);
  for (int32_t i = 1; i < size(); ++i) out[i] = factor * (x[i] + along * w_[index(i)]);
}

bool SecondOrderCone::update(const double* s_given, const double* z_given, double /*mu*/) {
  const double* s = turned(s_given, &a_);
  const double* z = turned(z_given, &b_);
  const double s_size = determinant(s, size());
  const double z_size = determinant(z, size());
  if (!(s_size > 0.0) || !(z_size > 0.0) || s[0] <= 0.0 || z[0] <= 0.0) return false;
  const double s_unit = 1.0 / std::sqrt(s_size);
  const double z_unit = 1.0 / std::sqrt(z_size);
  const double product = (s[0] * z[0] + tail_product(s, z, size())) * s_unit * z_unit;
  const double gamma = std::sqrt(0.5 * (1.0 + product));
  for (int32_t i = 0; i < size(); ++i) {
    const double reflected = i == 0 ? z[i] : -z[i];
    w_[index(i)] = (s[i] * s_unit + reflected * z_unit) / (2.0 * gamma);
  }
  // Exactly normalized, whatever rounding did.
  const double tail = norm_of_tail(w_.data(), size());
  w_[0] = std::sqrt(1.0 + tail * tail);
  eta_ = std::sqrt(std::sqrt(s_size / z_size));
  scale(false, z, lambda_.data());
  return true;
}

// H = inv(W)^2 = (2 v v' - J) / eta^2 with v = J w.
void SecondOrderCone::hessian(double* h) const {
  const double factor = 1.0 / (eta_ * eta_);
  std::vector<double> v(w_);
  for (size_t i = 1; i < v.size(); ++i) v[i] = -v[i];
  const size_t n = v.size();
  for (size_t j = 0; j < n; ++j) {
    for (size_t i = 0; i < n; ++i) h[j * n + i] = factor * 2.0 * v[i] * v[j];
    h[j * n + j] += j == 0 ? -factor : factor;
  }
  if (!rotated_) return;
  for (size_t j = 0; j < n; ++j) turn(h + j * n);
  std::vector<double> row(n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) row[j] = h[j * n + i];
    turn(row.data());
    for (size_t j = 0; j < n; ++j) h[j * n + i] = row[j];
  }
}

void SecondOrderCone::sparse_hessian(double* diagonal, double* off, double* u, double* v) const {
  const double factor = 1.0 / (eta_ * eta_);
  const double root = 1.0 / eta_;
  const double tail = norm_of_tail(w_.data(), size());
  const double square = w_[0] * w_[0] + tail * tail;
  const double d = 0.5 / square;
  const double u0 = std::sqrt(square - d);
  const double u1 = -2.0 * w_[0] / u0;
  const double v1 = -std::sqrt(2.0 * (2.0 + 1.0 / square) / (2.0 * square - 1.0 / square));
  u[0] = root * u0;
  v[0] = 0.0;
  diagonal[0] = factor * d;
  for (int32_t i = 1; i < size(); ++i) {
    u[i] = root * u1 * w_[index(i)];
    v[i] = root * v1 * w_[index(i)];
    diagonal[i] = factor;
  }
  *off = 0.0;
  if (!rotated_) return;
  turn(u);
  turn(v);
  const double first = diagonal[0];
  *off = 0.5 * (first - factor);
  diagonal[0] = 0.5 * (first + factor);
  diagonal[1] = diagonal[0];
}

void SecondOrderCone::multiply(const double* ds, double* out) const {
  const double* x = turned(ds, &a_);
  const double factor = 1.0 / (eta_ * eta_);
  const double product = w_[0] * x[0] - tail_product(w_.data(), x, size());
  const double x0 = x[0];
  for (int32_t i = 1; i < size(); ++i) {
    out[i] = factor * (x[i] - 2.0 * product * w_[index(i)]);
  }
  out[0] = factor * (2.0 * product * w_[0] - x0);
  turn(out);
}

void SecondOrderCone::centering_rhs(const double* /*s*/, const double* /*z*/, double mu_target,
                                    const double* ds_given, const double* dz_given,
                                    double* out) const {
  // In scaled terms: lambda \ (mu e - lambda o lambda - (inv(W) ds) o (W dz)).
  scale(true, turned(ds_given, &a_), b_.data());
  scale(false, turned(dz_given, &a_), c_.data());
  const int32_t n = size();
  std::vector<double>& p = a_;
  p[0] = mu_target - (b_[0] * c_[0] + tail_product(b_.data(), c_.data(), n));
  for (int32_t i = 1; i < n; ++i) p[index(i)] = -(b_[0] * c_[index(i)] + c_[0] * b_[index(i)]);
  // Division by lambda, then the part -lambda.
  const double* l = lambda_.data();
  const double product = tail_product(l, p.data(), n);
  const double size = determinant(l, n);
  const double x0 = (l[0] * p[0] - product) / size;
  for (int32_t i = 1; i < n; ++i) p[index(i)] = (p[index(i)] - x0 * l[i]) / l[0] - l[i];
  p[0] = x0 - l[0];
  scale(true, p.data(), out);
  turn(out);
}

double SecondOrderCone::step_length(const double* s, const double* ds, const double* z,
                                    const double* dz, double limit) const {
  limit = step_to_boundary(turned(s, &a_), turned(ds, &b_), size(), limit);
  return step_to_boundary(turned(z, &a_), turned(dz, &b_), size(), limit);
}

}  // namespace vorlan::conic
