// Boundary points from multipliers and from points outside, by kind of cone.
#include "solve/outer/canonical_cone.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "solve/check/vectors.h"

namespace vorlan::outer {
namespace {

// Multipliers smaller than this, relative to the largest of the cone, are noise.
constexpr double kNoise = 1e-9;
// The largest ratio x2 / x1 at which the exponential cone is supported. e^20 is as much as a row can
// hold beside its other coefficients.
constexpr double kMostRatio = 20.0;

double norm_behind(size_t heads, const std::vector<double>& point) {
  double norm = 0.0;
  for (size_t k = heads; k < point.size(); ++k) norm = std::hypot(norm, point[k]);
  return norm;
}

double weighted_product(const std::vector<double>& weights, const std::vector<double>& point,
                        double shift) {
  double logarithm = 0.0;
  for (size_t k = 0; k < weights.size(); ++k) {
    const double member = point[k] + shift;
    if (member <= 0.0) return 0.0;
    logarithm += weights[k] * std::log(member);
  }
  return std::exp(logarithm);
}

void make_dual_exponential(const Cone& cone, CanonicalCone* canonical) {
  // x0 >= -x2 exp(x1 / x2 - 1) is e x0 >= a exp(v / a) with a = -x2, v = -x1.
  canonical->kind = ConeKind::kExponential;
  canonical->members = {{cone.vars[0], std::exp(1.0)}, {cone.vars[2], -1.0}, {cone.vars[1], -1.0}};
}

void set_weights(const Cone& cone, bool dual, CanonicalCone* canonical) {
  canonical->kind = ConeKind::kPower;
  const double total = std::accumulate(cone.exponents.begin(), cone.exponents.end(), 0.0);
  for (size_t k = 0; k < cone.exponents.size(); ++k) {
    canonical->weights.push_back(cone.exponents[k] / total);
    if (dual) canonical->members[k].scale = 1.0 / canonical->weights[k];
  }
}

std::vector<double> complement_of_quadratic(const std::vector<double>& z) {
  const double norm = norm_behind(1, z);
  if (norm <= kNoise * z[0]) return {};
  std::vector<double> point(z.size());
  point[0] = norm;
  for (size_t k = 1; k < z.size(); ++k) point[k] = -z[k];
  return point;
}

std::vector<double> complement_of_rotated(const std::vector<double>& z) {
  if (norm_behind(2, z) <= kNoise * largest(z) || z[0] <= 0.0 || z[1] <= 0.0) return {};
  std::vector<double> point = z;
  std::swap(point[0], point[1]);
  for (size_t k = 2; k < z.size(); ++k) point[k] = -z[k];
  return point;
}

std::vector<double> complement_of_exponential(const std::vector<double>& z) {
  if (z[2] >= -kNoise * largest(z)) return {};
  // The hyperplane at (e^r, 1, r) is (1, (r - 1) e^r, -e^r).
  const double ratio = std::clamp(1.0 - z[1] / z[2], -kMostRatio, kMostRatio);
  return {std::exp(ratio), 1.0, ratio};
}

std::vector<double> complement_of_power(const CanonicalCone& cone, const std::vector<double>& z) {
  const size_t heads = cone.num_heads();
  const double norm = norm_behind(heads, z);
  const double least = *std::min_element(z.begin(), z.begin() + static_cast<ptrdiff_t>(heads));
  if (norm <= kNoise * largest(z) || least <= kNoise * largest(z)) return {};
  std::vector<double> point(z.size());
  for (size_t k = 0; k < heads; ++k) point[k] = cone.weights[k] / z[k];
  const double product = weighted_product(cone.weights, point, 0.0);
  for (size_t k = heads; k < z.size(); ++k) point[k] = -z[k] / norm * product;
  return point;
}

// The least shift, within rounding, for which `inside` holds. It must hold for all larger ones.
template <class Inside>
double find_shift(double size, const Inside& inside) {
  constexpr int kDoublings = 120;
  constexpr int kBisections = 60;
  double high = 1e-12 * std::max(1.0, size);
  for (int step = 0; step < kDoublings && !inside(high); ++step) high *= 2.0;
  double low = 0.0;
  for (int step = 0; step < kBisections; ++step) {
    const double middle = 0.5 * (low + high);
    (inside(middle) ? high : low) = middle;
  }
  return high;
}

void pull_rotated(std::vector<double>* point) {
  std::vector<double>& p = *point;
  const double norm = norm_behind(2, p);
  // The root of 2 (p0 + t) (p1 + t) = norm^2 with both factors positive.
  const double shift = 0.5 * (std::hypot(p[0] - p[1], std::sqrt(2.0) * norm) - (p[0] + p[1]));
  p[0] += shift;
  p[1] += shift;
}

void pull_exponential(std::vector<double>* point) {
  std::vector<double>& p = *point;
  // The direction (1, 1, -1) leads into the cone.
  const auto inside = [&p](double t) {
    const double x1 = p[1] + t;
    return x1 > 0.0 && p[0] + t >= x1 * std::exp((p[2] - t) / x1);
  };
  const double shift = find_shift(largest(p), inside);
  p[0] += shift;
  p[1] += shift;
  p[2] -= shift;
}

void pull_power(const CanonicalCone& cone, std::vector<double>* point) {
  const size_t heads = cone.num_heads();
  const double norm = norm_behind(heads, *point);
  const auto inside = [&](double t) { return weighted_product(cone.weights, *point, t) >= norm; };
  const double shift = find_shift(largest(*point), inside);
  for (size_t k = 0; k < heads; ++k) (*point)[k] += shift;
}

}  // namespace

size_t CanonicalCone::num_heads() const {
  switch (kind) {
    case ConeKind::kQuadratic:
      return 1;
    case ConeKind::kRotatedQuadratic:
      return 2;
    case ConeKind::kExponential:
      return 3;
    default:
      return weights.size();
  }
}

CanonicalCone make_canonical(const Cone& cone) {
  CanonicalCone canonical{cone.kind, {}, {}};
  for (const int32_t var : cone.vars) canonical.members.push_back({var, 1.0});
  if (cone.kind == ConeKind::kDualExponential) make_dual_exponential(cone, &canonical);
  if (cone.kind == ConeKind::kPower) set_weights(cone, false, &canonical);
  if (cone.kind == ConeKind::kDualPower) set_weights(cone, true, &canonical);
  return canonical;
}

std::vector<double> member_values(const CanonicalCone& cone, const std::vector<double>& x) {
  std::vector<double> values;
  for (const Member& member : cone.members) {
    values.push_back(member.scale * x[index(member.var)]);
  }
  return values;
}

std::vector<double> member_duals(const CanonicalCone& cone, const std::vector<double>& z) {
  std::vector<double> duals;
  for (const Member& member : cone.members) {
    duals.push_back(z[index(member.var)] / member.scale);
  }
  return duals;
}

std::vector<double> find_complement(const CanonicalCone& cone, const std::vector<double>& z) {
  if (largest(z) == 0.0) return {};
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return complement_of_quadratic(z);
    case ConeKind::kRotatedQuadratic:
      return complement_of_rotated(z);
    case ConeKind::kExponential:
      return complement_of_exponential(z);
    default:
      return complement_of_power(cone, z);
  }
}

std::vector<double> pull_to_boundary(const CanonicalCone& cone, std::vector<double> point) {
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      point[0] = norm_behind(1, point);
      break;
    case ConeKind::kRotatedQuadratic:
      pull_rotated(&point);
      break;
    case ConeKind::kExponential:
      pull_exponential(&point);
      break;
    default:
      pull_power(cone, &point);
      break;
  }
  return point;
}

Hyperplane support_exponential(const std::vector<double>& point) {
  if (point[1] <= 0.0) return {};
  const double ratio = std::clamp(point[2] / point[1], -kMostRatio, kMostRatio);
  return {1.0, (ratio - 1.0) * std::exp(ratio), -std::exp(ratio)};
}

double largest_last(const CanonicalCone& cone, const std::vector<double>& heads) {
  if (cone.kind == ConeKind::kPower) return weighted_product(cone.weights, heads, 0.0);
  if (heads[1] == 0.0) return 0.0;
  return heads[0] == 0.0 ? -kInfinity : heads[1] * std::log(heads[0] / heads[1]);
}

Hyperplane support_power(const CanonicalCone& cone, const std::vector<double>& point) {
  const double product = weighted_product(cone.weights, point, 0.0);
  if (product <= 0.0) return {};
  Hyperplane plane;
  for (size_t k = 0; k < cone.num_heads(); ++k) {
    plane.push_back(cone.weights[k] * product / point[k]);
  }
  plane.push_back(-1.0);
  return plane;
}

}  // namespace vorlan::outer
