// Each barrier is a class with phi and its derivatives. The gradient, Hessian and third derivative
// of -log phi follow from these by the chain rule.
#include "solve/conic/barrier.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// The positive root of r + log(1 + r) = c for c > 0, by Newton's method from above: the function is
// concave, so that after one step the iterates rise to the root.
double root_of_sum_with_logarithm(double c) {
  double r = c < 1.0 ? 0.5 * c : c - std::log1p(c) * 0.5;
  constexpr int kMostSteps = 60;
  for (int step = 0; step < kMostSteps; ++step) {
    const double change = (r + std::log1p(r) - c) / (1.0 + 1.0 / (1.0 + r));
    const double next = r - change > 0.0 ? r - change : 0.5 * r;
    const bool done = std::fabs(next - r) <= 4e-16 * r;
    r = next;
    if (done) break;
  }
  return r;
}

// s0 exp(shift) >= s1 exp(s2 / s1): phi = s1 (log(s0 / s1) + shift) - s2. It is the cone without
// a shift at (s0, s1, s2 - shift s1), whose dual is that at (z0, z1 + shift z2, z2).
class ExponentialBarrier : public Barrier {
 public:
  explicit ExponentialBarrier(double shift) : Barrier({1.0, 1.0, 0.0}, 3.0), shift_(shift) {}

  bool inside(std::span<const double> s) const override {
    return s[0] > 0.0 && s[1] > 0.0 && phi(s) > 0.0;
  }

  // z0 >= -z2 exp(z1 / z2 + shift - 1), z2 < 0, by logarithms.
  bool dual_inside(std::span<const double> z) const override {
    return z[0] > 0.0 && z[2] < 0.0 &&
           -z[2] * (std::log(-z[0] / z[2]) - shift_) - z[2] + z[1] > 0.0;
  }

  // With t = -z2 the conditions leave one unknown, r = 1 / (t x1), in
  // r + log(1 + r) = 1 + z1 / t + log(z0 / t) - shift.
  void shadow(std::span<const double> z, std::span<double> x) const override {
    const double t = -z[2];
    const double r = root_of_sum_with_logarithm(1.0 + z[1] / t + (std::log(z[0] / t) - shift_));
    x[1] = 1.0 / (r * t);
    x[0] = (1.0 + 1.0 / r) / z[0];
    x[2] = x[1] * (std::log(x[0] / x[1]) + shift_) - 1.0 / t;
  }

  // The solution of -grad f(s) = s without a shift, by Newton's method.
  void central_point(std::span<double> s) const override {
    s[0] = 1.258967884768947;
    s[1] = 0.556409619469370;
    s[2] = -1.051383945322714 + shift_ * s[1];
  }

 protected:
  double phi(std::span<const double> s) const override {
    return s[1] * (std::log(s[0] / s[1]) + shift_) - s[2];
  }

  void phi_gradient(std::span<const double> s, std::span<double> out) const override {
    out[0] = s[1] / s[0];
    out[1] = std::log(s[0] / s[1]) + shift_ - 1.0;
    out[2] = -1.0;
  }

  void phi_hessian(std::span<const double> s, std::span<const double> u,
                   std::span<double> out) const override {
    out[0] = -s[1] / (s[0] * s[0]) * u[0] + u[1] / s[0];
    out[1] = u[0] / s[0] - u[1] / s[1];
    out[2] = 0.0;
  }

  void phi_third(std::span<const double> s, std::span<const double> u, std::span<const double> v,
                 std::span<double> out) const override {
    const double square = s[0] * s[0];
    out[0] = 2.0 * s[1] / (square * s[0]) * u[0] * v[0] - (u[0] * v[1] + u[1] * v[0]) / square;
    out[1] = -u[0] * v[0] / square + u[1] * v[1] / (s[1] * s[1]);
    out[2] = 0.0;
  }

 private:
  double shift_;
};

std::vector<double> power_weights(size_t size, const std::vector<double>& exponents) {
  std::vector<double> weights(size, 0.0);
  for (size_t i = 0; i < exponents.size(); ++i) weights[i] = 1.0 - exponents[i];
  return weights;
}

// prod s_i^w_i >= |tail|: phi = prod s_i^(2 w_i) - |tail|^2.
class PowerBarrier : public Barrier {
 public:
  PowerBarrier(size_t size, std::vector<double> exponents)
      : Barrier(power_weights(size, exponents), static_cast<double>(exponents.size()) + 1.0),
        exponent_(std::move(exponents)) {}

  bool inside(std::span<const double> s) const override {
    for (size_t i = 0; i < exponent_.size(); ++i) {
      if (!(s[i] > 0.0)) return false;
    }
    return phi(s) > 0.0;
  }

  bool dual_inside(std::span<const double> z) const override {
    double log_product = 0.0;
    for (size_t i = 0; i < exponent_.size(); ++i) {
      if (!(z[i] > 0.0)) return false;
      log_product += exponent_[i] * std::log(z[i] / exponent_[i]);
    }
    return std::exp(log_product) > tail_norm(z);
  }

  // With P = prod x_i^(2 w_i) and phi = P - |tail|^2 the conditions leave one unknown, q = P / phi
  // - 1, in sum_i 2 w_i log((1 + w_i + 2 w_i q) / z_i) = log(4 q (q + 1) / |z's tail|^2).
  void shadow(std::span<const double> z, std::span<double> x) const override {
    const double tail = tail_norm(z);
    const double q = tail > 0.0 ? root_of_shadow(z, tail) : 0.0;
    for (size_t i = 0; i < exponent_.size(); ++i) {
      x[i] = (1.0 + exponent_[i] + 2.0 * exponent_[i] * q) / z[i];
    }
    const double phi = tail > 0.0 ? 4.0 * q / (tail * tail) : 0.0;
    for (size_t i = exponent_.size(); i < size(); ++i) {
      x[i] = -0.5 * phi * z[i];
    }
  }

  void central_point(std::span<double> s) const override {
    for (size_t i = 0; i < size(); ++i) {
      s[i] = i < exponent_.size() ? std::sqrt(1.0 + exponent_[i]) : 0.0;
    }
  }

 protected:
  double phi(std::span<const double> s) const override {
    const double root = std::sqrt(product(s));
    const double tail = tail_norm(s);
    return (root - tail) * (root + tail);
  }

  void phi_gradient(std::span<const double> s, std::span<double> out) const override {
    const double p = product(s);
    for (size_t i = 0; i < exponent_.size(); ++i) out[i] = 2.0 * exponent_[i] * p / s[i];
    for (size_t i = exponent_.size(); i < size(); ++i) out[i] = -2.0 * s[i];
  }

  void phi_hessian(std::span<const double> s, std::span<const double> u,
                   std::span<double> out) const override {
    const double p = product(s);
    const double ratio = log_derivative(s, u);
    for (size_t i = 0; i < exponent_.size(); ++i) {
      out[i] = p * 2.0 * exponent_[i] / s[i] * (ratio - u[i] / s[i]);
    }
    for (size_t i = exponent_.size(); i < size(); ++i) out[i] = -2.0 * u[i];
  }

  void phi_third(std::span<const double> s, std::span<const double> u, std::span<const double> v,
                 std::span<double> out) const override {
    const double p = product(s);
    const double ratio_u = log_derivative(s, u);
    const double ratio_v = log_derivative(s, v);
    double curvature = 0.0;
    for (size_t i = 0; i < exponent_.size(); ++i) {
      curvature += 2.0 * exponent_[i] * (u[i] / s[i]) * (v[i] / s[i]);
    }
    for (size_t i = 0; i < exponent_.size(); ++i) {
      const double du = u[i] / s[i];
      const double dv = v[i] / s[i];
      out[i] = p * 2.0 * exponent_[i] / s[i] *
               (ratio_u * ratio_v - curvature - du * ratio_v - dv * ratio_u + 2.0 * du * dv);
    }
    for (size_t i = exponent_.size(); i < size(); ++i) out[i] = 0.0;
  }

 private:
  // Newton's method in log q finds it within a bracket: the difference of the sides falls in q
  // from infinity to a negative limit.
  double root_of_shadow(std::span<const double> z, double tail) const {
    double low = -80.0;  // far beyond what doubles of any size ask for
    double high = 80.0;
    double u = 0.0;
    constexpr int kMostSteps = 100;
    constexpr double kRounding = 1e-15;
    for (int step = 0; step < kMostSteps; ++step) {
      const double q = std::exp(u);
      double difference = 2.0 * std::log(0.5 * tail) - u - std::log1p(q);
      double slope = -1.0 - q / (1.0 + q);
      for (size_t i = 0; i < exponent_.size(); ++i) {
        const double term = 1.0 + exponent_[i] + 2.0 * exponent_[i] * q;
        difference += 2.0 * exponent_[i] * std::log(term / z[i]);
        slope += 4.0 * exponent_[i] * exponent_[i] * q / term;
      }
      (difference > 0.0 ? low : high) = u;
      double next = u - difference / slope;
      if (!(next > low && next < high)) next = 0.5 * (low + high);
      const bool done = std::fabs(next - u) <= kRounding * std::max(1.0, std::fabs(u));
      u = next;
      if (done) break;
    }
    return std::exp(u);
  }

  double product(std::span<const double> s) const {
    double log_product = 0.0;
    for (size_t i = 0; i < exponent_.size(); ++i) log_product += exponent_[i] * std::log(s[i]);
    return std::exp(2.0 * log_product);
  }

  double tail_norm(std::span<const double> s) const {
    double norm = 0.0;
    for (size_t i = exponent_.size(); i < size(); ++i) {
      norm = std::hypot(norm, s[i]);
    }
    return norm;
  }

  double log_derivative(std::span<const double> s, std::span<const double> u) const {
    double sum = 0.0;
    for (size_t i = 0; i < exponent_.size(); ++i) sum += 2.0 * exponent_[i] * u[i] / s[i];
    return sum;
  }

  std::vector<double> exponent_;
};

}  // namespace

void Barrier::gradient(std::span<const double> s, std::span<double> out) const {
  const double value = phi(s);
  phi_gradient(s, out);
  for (size_t i = 0; i < weight_.size(); ++i) {
    out[i] = -out[i] / value;
    if (weight_[i] != 0.0) out[i] -= weight_[i] / s[i];
  }
}

void Barrier::hessian(std::span<const double> s, MatrixView h) const {
  const size_t n = weight_.size();
  const double value = phi(s);
  std::vector<double> gradient(n);
  std::vector<double> unit(n, 0.0);
  phi_gradient(s, gradient);
  for (size_t j = 0; j < n; ++j) {
    const std::span<double> column = h.column(j);
    unit[j] = 1.0;
    phi_hessian(s, unit, column);
    unit[j] = 0.0;
    for (size_t i = 0; i < n; ++i) {
      column[i] = -column[i] / value + (gradient[i] / value) * (gradient[j] / value);
    }
    if (weight_[j] != 0.0) column[j] += weight_[j] / s[j] / s[j];
  }
}

void Barrier::third(std::span<const double> s, std::span<const double> u, std::span<const double> v,
                    std::span<double> out) const {
  const size_t n = weight_.size();
  const double value = phi(s);
  std::vector<double> gradient(n);
  std::vector<double> hessian_u(n);
  std::vector<double> hessian_v(n);
  phi_gradient(s, gradient);
  phi_hessian(s, u, hessian_u);
  phi_hessian(s, v, hessian_v);
  phi_third(s, u, v, out);
  const double along_u = dot(gradient, u) / value;
  const double along_v = dot(gradient, v) / value;
  const double along_both = dot(hessian_u, v) / value;
  for (size_t i = 0; i < n; ++i) {
    const double g = gradient[i] / value;
    out[i] = -out[i] / value + along_both * g + hessian_u[i] / value * along_v +
             hessian_v[i] / value * along_u - 2.0 * along_u * along_v * g;
    if (weight_[i] != 0.0) out[i] -= 2.0 * weight_[i] * u[i] / s[i] * v[i] / s[i] / s[i];
  }
}

std::unique_ptr<Barrier> make_exponential_barrier(double shift) {
  return std::make_unique<ExponentialBarrier>(shift);
}

std::unique_ptr<Barrier> make_power_barrier(size_t size, std::vector<double> exponents) {
  return std::make_unique<PowerBarrier>(size, std::move(exponents));
}

}  // namespace vorlan::conic
