// Numbers of 106 bits: the unevaluated sum of two doubles (T. Dekker, A floating-point technique
// for extending the available precision, Numer. Math. 18, 1971; D. Knuth, The Art of Computer
// Programming 2, section 4.2.2), for Eigen's matrices.
//
// They cost some 20 operations of doubles each, a tenth of what the compiler's own 113 bits cost.
// Products split their factors, since the processor may have no fused operation.
#pragma once

#include <Eigen/Core>
#include <cmath>
#include <limits>

namespace vorlan::conic {

class DoubleDouble {
 public:
  constexpr DoubleDouble() = default;
  constexpr DoubleDouble(double value) : high_(value) {}  // NOLINT(google-explicit-constructor)
  constexpr DoubleDouble(int value) : high_(value) {}     // NOLINT(google-explicit-constructor)

  // The nearest double.
  explicit constexpr operator double() const { return high_; }
  // What the nearest double leaves out.
  constexpr double low() const { return low_; }

  // Sums are exact to 2^-104 of the larger term, products and quotients of themselves.
  [[gnu::always_inline]] friend DoubleDouble operator+(DoubleDouble a, DoubleDouble b) {
    const DoubleDouble high = exact_sum(a.high_, b.high_);
    return normalized(high.high_, high.low_ + (a.low_ + b.low_));
  }
  [[gnu::always_inline]] friend DoubleDouble operator*(DoubleDouble a, DoubleDouble b) {
    const DoubleDouble product = exact_product(a.high_, b.high_);
    return normalized(product.high_, product.low_ + (a.high_ * b.low_ + a.low_ * b.high_));
  }
  friend DoubleDouble operator/(DoubleDouble a, DoubleDouble b) {
    const DoubleDouble first = a.high_ / b.high_;
    const DoubleDouble rest = a - first * b;
    const DoubleDouble second = rest.high_ / b.high_;
    const DoubleDouble third = (rest - second * b).high_ / b.high_;
    return normalized(first.high_, second.high_) + third;
  }
  friend DoubleDouble operator-(DoubleDouble a) { return {-a.high_, -a.low_}; }
  friend DoubleDouble operator-(DoubleDouble a, DoubleDouble b) { return a + -b; }
  DoubleDouble& operator+=(DoubleDouble b) { return *this = *this + b; }
  DoubleDouble& operator-=(DoubleDouble b) { return *this = *this - b; }
  DoubleDouble& operator*=(DoubleDouble b) { return *this = *this * b; }
  DoubleDouble& operator/=(DoubleDouble b) { return *this = *this / b; }

  // Pairs are normalized, so that the larger parts decide first.
  friend constexpr bool operator==(DoubleDouble a, DoubleDouble b) = default;
  friend constexpr bool operator<(DoubleDouble a, DoubleDouble b) {
    return a.high_ < b.high_ || (a.high_ == b.high_ && a.low_ < b.low_);
  }
  friend constexpr bool operator>(DoubleDouble a, DoubleDouble b) { return b < a; }
  friend constexpr bool operator<=(DoubleDouble a, DoubleDouble b) { return a < b || a == b; }
  friend constexpr bool operator>=(DoubleDouble a, DoubleDouble b) { return b <= a; }

  friend DoubleDouble abs(DoubleDouble a) { return a.high_ < 0.0 ? -a : a; }
  // One step of Newton's method for the root's inverse (A. Karp, P. Markstein, ACM TOMS 23, 1997).
  friend DoubleDouble sqrt(DoubleDouble a) {
    if (a.high_ <= 0.0) return std::sqrt(a.high_);
    const double inverse = 1.0 / std::sqrt(a.high_);
    const double root = a.high_ * inverse;
    const DoubleDouble rest = a - exact_product(root, root);
    return exact_sum(root, rest.high_ * (0.5 * inverse));
  }
  friend bool isfinite(DoubleDouble a) { return std::isfinite(a.high_); }
  friend bool isinf(DoubleDouble a) { return std::isinf(a.high_); }
  friend bool isnan(DoubleDouble a) { return std::isnan(a.high_); }

 private:
  constexpr DoubleDouble(double high, double low) : high_(high), low_(low) {}

  // high + low where |high| >= |low|.
  [[gnu::always_inline]] static DoubleDouble normalized(double high, double low) {
    const double sum = high + low;
    return {sum, low - (sum - high)};
  }
  [[gnu::always_inline]] static DoubleDouble exact_sum(double a, double b) {
    const double sum = a + b;
    const double part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
  }
  [[gnu::always_inline]] static DoubleDouble exact_product(double a, double b) {
    constexpr double kSplit = 0x1p27 + 1.0;
    const double product = a * b;
    const double a_scaled = kSplit * a;
    const double a_high = a_scaled - (a_scaled - a);
    const double a_low = a - a_high;
    const double b_scaled = kSplit * b;
    const double b_high = b_scaled - (b_scaled - b);
    const double b_low = b - b_high;
    const double error = ((a_high * b_high - product) + a_high * b_low + a_low * b_high);
    return {product, error + a_low * b_low};
  }

  double high_ = 0.0, low_ = 0.0;
};

}  // namespace vorlan::conic

// What Eigen asks of a scalar.
template <>
struct Eigen::NumTraits<vorlan::conic::DoubleDouble> {
  using Real = vorlan::conic::DoubleDouble;
  using NonInteger = Real;
  using Nested = Real;
  using Literal = double;
  enum {
    IsComplex = 0,
    IsInteger = 0,
    IsSigned = 1,
    RequireInitialization = 1,
    ReadCost = 2,
    AddCost = 20,
    MulCost = 20
  };
  static Real epsilon() { return 0x1p-104; }
  static Real dummy_precision() { return 0x1p-90; }
  static Real highest() { return std::numeric_limits<double>::max(); }
  static Real lowest() { return std::numeric_limits<double>::lowest(); }
  static Real infinity() { return std::numeric_limits<double>::infinity(); }
  static Real quiet_NaN() { return std::numeric_limits<double>::quiet_NaN(); }
  static int digits10() { return 31; }
};
