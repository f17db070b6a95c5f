// Cone membership; see cone_violation.h. For each kind there is one question: whether the cone has
// a point in the box of the given relative size around the members. The answer is exact, for the
// best place in the box is known: along most members the cone only widens. The violation follows by
// bisection.
#include "solve/check/cone_violation.h"

#include <algorithm>
#include <cmath>

#include "task/numeric.h"

namespace vorlan {
namespace {

// Smaller violations are due to rounding, and nothing else is known of them.
constexpr double kRounding = 1e-16;
// Bisections of the exponent, from kRounding to 1.
constexpr int kSteps = 30;

// The members of a point in a cone, one by one those that have a place of their own, and the norm
// of the others, with the sizes that changes are relative to.
struct Members {
  std::vector<double> own, own_size;
  double norm = 0.0;
  double norm_size = 0.0;

  double up(size_t k, double t) const { return own[k] + t * own_size[k]; }
  double down(size_t k, double t) const { return own[k] - t * own_size[k]; }
  double least_norm(double t) const { return std::max(0.0, norm - t * norm_size); }
};

size_t num_own(const Cone& cone) {
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return 1;
    case ConeKind::kRotatedQuadratic:
      return 2;
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      return 3;
    default:
      return cone.exponents.size();
  }
}

Members members_of(const Cone& cone, const std::vector<double>& x, double least) {
  Members members;
  const size_t own = std::min(num_own(cone), cone.vars.size());
  for (size_t k = 0; k < own; ++k) members.own.push_back(x[index(cone.vars[k])]);
  for (size_t k = own; k < cone.vars.size(); ++k) {
    members.norm = std::hypot(members.norm, x[index(cone.vars[k])]);
  }
  const auto size_of = [least](double member) { return std::max(least, std::fabs(member)); };
  for (const double member : members.own) members.own_size.push_back(size_of(member));
  members.norm_size = size_of(members.norm);
  return members;
}

Members members_of(const Cone& cone, const std::vector<double>& x,
                   const std::vector<double>& sizes) {
  Members members = members_of(cone, x, 1.0);
  const size_t own = members.own.size();
  for (size_t k = 0; k < own; ++k) members.own_size[k] = sizes[index(cone.vars[k])];
  members.norm_size = 0.0;
  for (size_t k = own; k < cone.vars.size(); ++k) {
    members.norm_size = std::hypot(members.norm_size, sizes[index(cone.vars[k])]);
  }
  return members;
}

bool meets_quadratic(const Members& m, double t) { return m.up(0, t) >= m.least_norm(t); }

bool meets_rotated(const Members& m, double t) {
  const double x0 = m.up(0, t);
  const double x1 = m.up(1, t);
  // Roots one by one: their product cannot overflow.
  return x0 >= 0.0 && x1 >= 0.0 &&
         std::sqrt(2.0) * std::sqrt(x0) * std::sqrt(x1) >= m.least_norm(t);
}

// True when some a of an interval has u >= a exp(v / a + shift), or u >= 0 >= v at a = 0; u and v
// are given. The right side falls until a = v and rises from there on.
bool meets_exponential(double u, double least_a, double most_a, double v, double shift) {
  if (u < 0.0 || most_a < 0.0) return false;
  const double a = std::clamp(v, std::max(0.0, least_a), most_a);
  if (a == 0.0) return v <= 0.0;
  return u >= a * std::exp(v / a + shift);
}

bool meets_primal_exponential(const Members& m, double t) {
  return meets_exponential(m.up(0, t), m.down(1, t), m.up(1, t), m.down(2, t), 0.0);
}

// x0 >= -x2 exp(x1 / x2 - 1) is the same with a = -x2, v = -x1.
bool meets_dual_exponential(const Members& m, double t) {
  return meets_exponential(m.up(0, t), -m.up(2, t), -m.down(2, t), -m.up(1, t), -1.0);
}

enum class Side { kPrimal, kDual };

// The logarithm of the product, since the product could overflow.
bool meets_power(const Cone& cone, const Members& m, double t, Side side) {
  double total = 0.0;
  for (const double exponent : cone.exponents) total += exponent;
  double logarithm = 0.0;
  for (size_t k = 0; k < m.own.size(); ++k) {
    const double weight = cone.exponents[k] / total;
    const double x = m.up(k, t);
    if (x < 0.0) return false;
    logarithm += weight * std::log(side == Side::kDual ? x / weight : x);
  }
  const double norm = m.least_norm(t);
  return norm == 0.0 || logarithm >= std::log(norm);
}

bool meets(const Cone& cone, ConeKind kind, const Members& m, double t) {
  switch (kind) {
    case ConeKind::kQuadratic:
      return meets_quadratic(m, t);
    case ConeKind::kRotatedQuadratic:
      return meets_rotated(m, t);
    case ConeKind::kExponential:
      return meets_primal_exponential(m, t);
    case ConeKind::kDualExponential:
      return meets_dual_exponential(m, t);
    case ConeKind::kPower:
      return meets_power(cone, m, t, Side::kPrimal);
    case ConeKind::kDualPower:
      return meets_power(cone, m, t, Side::kDual);
  }
  return false;
}

double violation_of(const Cone& cone, ConeKind kind, const Members& members) {
  if (meets(cone, kind, members, kRounding)) return 0.0;
  double inside = 0.0;  // exponents
  double outside = std::log(kRounding);
  for (int step = 0; step < kSteps; ++step) {
    const double middle = 0.5 * (inside + outside);
    (meets(cone, kind, members, std::exp(middle)) ? inside : outside) = middle;
  }
  return std::exp(inside);
}

}  // namespace

ConeKind dual_of(ConeKind kind) {
  switch (kind) {
    case ConeKind::kExponential:
      return ConeKind::kDualExponential;
    case ConeKind::kDualExponential:
      return ConeKind::kExponential;
    case ConeKind::kPower:
      return ConeKind::kDualPower;
    case ConeKind::kDualPower:
      return ConeKind::kPower;
    default:
      return kind;  // their own duals
  }
}

double cone_violation(const Cone& cone, const std::vector<double>& x, double least) {
  return violation_of(cone, cone.kind, members_of(cone, x, least));
}

double dual_cone_violation(const Cone& cone, const std::vector<double>& s, double least) {
  return violation_of(cone, dual_of(cone.kind), members_of(cone, s, least));
}

double cone_violation(const Cone& cone, const std::vector<double>& x,
                      const std::vector<double>& sizes) {
  return violation_of(cone, cone.kind, members_of(cone, x, sizes));
}

double dual_cone_violation(const Cone& cone, const std::vector<double>& s,
                           const std::vector<double>& sizes) {
  return violation_of(cone, dual_of(cone.kind), members_of(cone, s, sizes));
}

}  // namespace vorlan
