// Lanczos's method with full reorthogonalization. The residual of the least Ritz value bounds how
// far an eigenvalue can be from it.
#include "solve/conic/least_eigenvalue.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// The largest space. Spectra that need more get the bound that this one gives.
constexpr size_t kMostVectors = 60;
// The Ritz value is looked at from this many vectors on, and then once in so many, since each look
// decomposes the projected matrix.
constexpr size_t kFirstLook = 8;
constexpr size_t kVectorsPerLook = 4;
// A vector shorter than this is rounding: the space is invariant.
constexpr double kInvariant = 1e-12;
// The bound is near enough when it is within this share of the value, or of kSmallValue for values
// below that, which do not limit a step.
constexpr double kGoodShare = 0.01;
constexpr double kSmallValue = 0.1;

// The least eigenvalue of a symmetric tridiagonal matrix, and the last component of its
// eigenvector, of unit length.
struct RitzValue {
  double value;
  double last_component;
};

RitzValue least_ritz_value(const DenseAlgebra& algebra, const std::vector<double>& diagonal,
                           const std::vector<double>& beside) {
  const size_t n = diagonal.size();
  DenseMatrix matrix(n, n);
  std::vector<double> values(n);
  for (size_t i = 0; i < n; ++i) {
    matrix(i, i) = diagonal[i];
    if (i + 1 < n) matrix(i + 1, i) = beside[i];
  }
  if (!algebra.find_eigenvectors(matrix, values)) return {-kInfinity, 0.0};
  return {values[0], matrix(n - 1, 0)};
}

// A vector without structure, the same in every run.
std::vector<double> first_vector(size_t size) {
  constexpr uint32_t kFactor = 1664525;  // a linear congruential generator
  constexpr uint32_t kSummand = 1013904223;
  uint32_t state = 12345;
  std::vector<double> v(size);
  for (double& value : v) {
    state = state * kFactor + kSummand;
    value = 0.5 + static_cast<double>(state >> 8) / 0x1p24;
  }
  return v;
}

void orthogonalize(const std::vector<std::vector<double>>& basis, std::vector<double>* vector) {
  // Rounding leaves parts of the basis at the first pass.
  for (int pass = 0; pass < 2; ++pass) {
    for (const std::vector<double>& u : basis) {
      const double along = dot(u, *vector);
      for (size_t i = 0; i < u.size(); ++i) (*vector)[i] -= along * u[i];
    }
  }
}

double lanczos_bound(const DenseAlgebra& algebra, const DenseMatrix& matrix) {
  const size_t n = matrix.rows();
  const size_t most = std::min(n, kMostVectors);
  std::vector<std::vector<double>> basis;
  std::vector<double> diagonal;
  std::vector<double> beside;
  std::vector<double> v = first_vector(n);
  std::vector<double> next(n);
  double length = norm(v);
  double bound = -kInfinity;
  for (size_t step = 0; step < most; ++step) {
    for (double& value : v) value /= length;
    basis.push_back(v);
    algebra.multiply_vector(matrix, v, next);
    diagonal.push_back(dot(next, v));
    orthogonalize(basis, &next);
    length = norm(next);
    const bool last = step + 1 == most || length < kInvariant;
    if (last || (step >= kFirstLook && step % kVectorsPerLook == 0)) {
      const RitzValue ritz = least_ritz_value(algebra, diagonal, beside);
      const double error = std::fabs(length * ritz.last_component);
      bound = ritz.value - error;
      if (last || error <= kGoodShare * std::max(std::fabs(ritz.value), kSmallValue)) break;
    }
    beside.push_back(length);
    v = next;
  }
  return bound;
}

}  // namespace

double least_eigenvalue(const DenseAlgebra& algebra, DenseMatrix* matrix) {
  if (matrix->rows() > kLargestDecomposed) return lanczos_bound(algebra, *matrix);
  std::vector<double> values(matrix->rows());
  return algebra.find_eigenvalues(*matrix, values) ? values[0] : -kInfinity;
}

}  // namespace vorlan::conic
