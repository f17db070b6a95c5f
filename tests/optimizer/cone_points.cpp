// Points of cones from their definitions; the duals are the inner normals of the boundary.
#include "cone_points.h"

#include <cmath>

namespace vorlan::test {
namespace {

using Vector = std::vector<double>;

double norm_of(const Vector& x, size_t first) {
  double sum = 0.0;
  for (size_t k = first; k < x.size(); ++k) sum += x[k] * x[k];
  return std::sqrt(sum);
}

// Turns the first two members by 45 degrees: from the quadratic cone to the rotated one and back.
Vector turned(Vector x) {
  const double sum = (x[0] + x[1]) * std::sqrt(0.5);
  x[1] = (x[0] - x[1]) * std::sqrt(0.5);
  x[0] = sum;
  return x;
}

Vector random_vector(size_t size, Random* random) {
  Vector x(size);
  for (double& value : x) value = random->between(-1.0, 1.0);
  return x;
}

// s0 = |s1| + room.
Vector quadratic_point(size_t size, double room, Random* random) {
  Vector s = random_vector(size, random);
  if (size > 1) s[1] = random->away_from_zero();
  s[0] = norm_of(s, 1) + room;
  return s;
}

ComplementaryPair quadratic_boundary(size_t size, Random* random) {
  ComplementaryPair pair;
  pair.s = quadratic_point(size, 0.0, random);
  const double factor = random->between(0.3, 2.0);
  for (const double value : pair.s) pair.z.push_back(-factor * value);
  pair.z[0] = factor * pair.s[0];
  return pair;
}

// s0 = s1 exp(s2 / s1) + room.
Vector exponential_point(double room, Random* random) {
  const double s1 = random->between(0.3, 2.0);
  const double ratio = random->between(-2.0, 1.5);
  return {s1 * std::exp(ratio) + room, s1, s1 * ratio};
}

Vector dual_exponential_point(double room, Random* random) {
  const double z2 = -random->between(0.3, 2.0);
  const double ratio = random->between(-1.0, 2.0);
  return {-z2 * std::exp(ratio - 1.0) + room, z2 * ratio, z2};
}

ComplementaryPair exponential_boundary(Random* random) {
  ComplementaryPair pair;
  pair.s = exponential_point(0.0, random);
  const double ratio = pair.s[2] / pair.s[1];
  const double factor = random->between(0.3, 2.0);
  const double slope = std::exp(ratio);
  pair.z = {factor, factor * slope * (ratio - 1.0), -factor * slope};
  return pair;
}

Vector weights_of(const Cone& cone) {
  double total = 0.0;
  for (const double exponent : cone.exponents) total += exponent;
  Vector weights = cone.exponents;
  for (double& weight : weights) weight /= total;
  return weights;
}

// |tail| = share times the product.
Vector power_point(const Cone& cone, double share, Random* random) {
  const Vector weights = weights_of(cone);
  Vector s = random_vector(cone.vars.size(), random);
  double logarithm = 0.0;
  for (size_t k = 0; k < weights.size(); ++k) {
    s[k] = random->between(0.3, 2.0);
    logarithm += weights[k] * std::log(s[k]);
  }
  s.back() = random->away_from_zero();
  const double factor = share * std::exp(logarithm) / norm_of(s, weights.size());
  for (size_t k = weights.size(); k < s.size(); ++k) s[k] *= factor;
  return s;
}

ComplementaryPair power_boundary(const Cone& cone, Random* random) {
  const Vector weights = weights_of(cone);
  ComplementaryPair pair;
  pair.s = power_point(cone, 1.0, random);
  const double norm = norm_of(pair.s, weights.size());
  const double factor = random->between(0.3, 2.0);
  for (size_t k = 0; k < pair.s.size(); ++k) {
    pair.z.push_back(k < weights.size() ? factor * weights[k] * norm / pair.s[k]
                                        : -factor * pair.s[k] / norm);
  }
  return pair;
}

bool is_dual_kind(ConeKind kind) {
  return kind == ConeKind::kDualExponential || kind == ConeKind::kDualPower;
}

ComplementaryPair boundary_pair(const Cone& cone, Random* random) {
  ComplementaryPair pair;
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return quadratic_boundary(cone.vars.size(), random);
    case ConeKind::kRotatedQuadratic:
      pair = quadratic_boundary(cone.vars.size(), random);
      return {turned(pair.s), turned(pair.z)};
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      pair = exponential_boundary(random);
      break;
    default:
      pair = power_boundary(cone, random);
  }
  if (is_dual_kind(cone.kind)) std::swap(pair.s, pair.z);
  return pair;
}

// Orthonormal columns, by Gram and Schmidt.
std::vector<Vector> random_basis(size_t dimension, Random* random) {
  std::vector<Vector> basis;
  while (basis.size() < dimension) {
    Vector u = random_vector(dimension, random);
    for (int repeat = 0; repeat < 2; ++repeat) {
      for (const Vector& v : basis) {
        double product = 0.0;
        for (size_t i = 0; i < dimension; ++i) product += u[i] * v[i];
        for (size_t i = 0; i < dimension; ++i) u[i] -= product * v[i];
      }
      const double norm = norm_of(u, 0);
      if (norm < 1e-3) break;
      for (double& value : u) value /= norm;
    }
    if (std::fabs(norm_of(u, 0) - 1.0) < 1e-9) basis.push_back(u);
  }
  return basis;
}

Vector packed_sum(const std::vector<Vector>& basis, const Vector& eigenvalues) {
  const size_t dimension = basis.size();
  Vector packed;
  for (size_t col = 0; col < dimension; ++col) {
    for (size_t row = col; row < dimension; ++row) {
      double sum = 0.0;
      for (size_t k = 0; k < dimension; ++k) sum += eigenvalues[k] * basis[k][row] * basis[k][col];
      packed.push_back(sum);
    }
  }
  return packed;
}

}  // namespace

int Random::whole(int low, int high) {
  return low + static_cast<int>(engine_() % static_cast<uint32_t>(high - low + 1));
}

double Random::between(double low, double high) {
  return low + (high - low) * static_cast<double>(engine_()) * 0x1p-32;
}

double Random::away_from_zero() {
  const double size = between(0.3, 1.5);
  return chance(50) ? size : -size;
}

Cone random_cone(ConeKind kind, int32_t first_var, Random* random) {
  int32_t size = 3;
  Cone cone{kind, {}, {}};
  if (kind == ConeKind::kQuadratic) size = random->whole(1, 7);
  if (kind == ConeKind::kRotatedQuadratic) size = random->whole(2, 7);
  if (kind == ConeKind::kPower || kind == ConeKind::kDualPower) {
    const int32_t num_base = random->chance(60) ? 2 : random->whole(1, 4);
    size = num_base + random->whole(1, 3);
    for (int32_t k = 0; k < num_base; ++k) cone.exponents.push_back(random->between(0.5, 2.0));
  }
  for (int32_t k = 0; k < size; ++k) cone.vars.push_back(first_var + k);
  return cone;
}

std::vector<double> interior_point(const Cone& cone, bool dual, Random* random) {
  const double room = random->between(0.5, 2.0);
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return quadratic_point(cone.vars.size(), room, random);
    case ConeKind::kRotatedQuadratic:
      return turned(quadratic_point(cone.vars.size(), room, random));
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      return is_dual_kind(cone.kind) == dual ? exponential_point(room, random)
                                             : dual_exponential_point(room, random);
    default:
      break;
  }
  Vector s = power_point(cone, random->between(0.1, 0.6), random);
  if (is_dual_kind(cone.kind) == dual) return s;
  const Vector weights = weights_of(cone);
  for (size_t k = 0; k < weights.size(); ++k) s[k] *= weights[k];
  return s;
}

ComplementaryPair complementary_pair(const Cone& cone, Random* random) {
  const Vector zero(cone.vars.size(), 0.0);
  // The boundary of a half line is its end.
  const int form = random->whole(0, cone.vars.size() == 1 ? 1 : 5);
  if (form == 0) return {zero, interior_point(cone, true, random)};
  if (form == 1) return {interior_point(cone, false, random), zero};
  return boundary_pair(cone, random);
}

ComplementaryPair complementary_matrices(int32_t dimension, Random* random) {
  const std::vector<Vector> basis = random_basis(static_cast<size_t>(dimension), random);
  Vector primal(basis.size(), 0.0);
  Vector dual(basis.size(), 0.0);
  for (size_t k = 0; k < basis.size(); ++k) {
    (random->chance(50) ? primal : dual)[k] = random->between(0.3, 3.0);
  }
  return {packed_sum(basis, primal), packed_sum(basis, dual)};
}

std::vector<double> positive_definite(int32_t dimension, Random* random) {
  const std::vector<Vector> basis = random_basis(static_cast<size_t>(dimension), random);
  Vector values(basis.size());
  for (double& value : values) value = random->between(0.5, 2.0);
  return packed_sum(basis, values);
}

}  // namespace vorlan::test
