// The basis is orthogonalized by the modified Gram-Schmidt process.
#include "solve/conic/krylov_correction.h"

#include <cmath>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::conic {

// Makes the vector k + 1 of the basis, not yet of unit length, and column k of the Hessenberg
// matrix. Returns the vector's length.
double KrylovCorrection::extend(const System& system, size_t k, std::vector<double>* column) {
  images_[k] = basis_[k];
  system.precondition(images_[k]);
  std::vector<double>& next = basis_[k + 1];
  next.resize(basis_[k].size());
  system.multiply(images_[k], &next);
  column->resize(k + 2);
  for (size_t i = 0; i <= k; ++i) {
    const double along = dot(basis_[i], next);
    for (size_t j = 0; j < next.size(); ++j) next[j] -= along * basis_[i][j];
    (*column)[i] = along;
  }
  const double length = norm(next);
  (*column)[k + 1] = length;
  return length;
}

// False: the column is 0 or not finite, and adds nothing.
bool KrylovCorrection::Projection::append(std::vector<double> column) {
  const size_t k = columns.size();
  for (size_t i = 0; i < k; ++i) {
    const auto [cosine, sine] = rotations[i];
    const double upper = cosine * column[i] + sine * column[i + 1];
    column[i + 1] = cosine * column[i + 1] - sine * column[i];
    column[i] = upper;
  }
  const double radius = std::hypot(column[k], column[k + 1]);
  if (!(radius > 0.0) || !std::isfinite(radius)) return false;
  rotations.push_back({column[k] / radius, column[k + 1] / radius});
  column[k] = radius;
  right.push_back(-rotations[k][1] * right[k]);
  right[k] *= rotations[k][0];
  columns.push_back(std::move(column));
  return true;
}

double KrylovCorrection::apply(const System& system, const std::vector<double>& residual,
                               double error, double target, std::vector<double>* solution) {
  constexpr double kWellBelow = 0.3;
  basis_[0] = residual;
  for (double& value : basis_[0]) value /= error;
  Projection projection;
  projection.right = {error};
  std::vector<double>& right = projection.right;
  size_t size = 0;
  while (size < kMostVectors && std::fabs(right.back()) > kWellBelow * target) {
    std::vector<double> column;
    const double length = extend(system, size, &column);
    if (!projection.append(std::move(column))) break;
    ++size;
    if (!(length > 0.0)) break;
    for (double& value : basis_[size]) value /= length;
  }
  const double left = std::fabs(right.back());
  for (size_t k = size; k-- > 0;) {
    const double weight = right[k] / projection.columns[k][k];
    for (size_t i = 0; i < k; ++i) right[i] -= weight * projection.columns[k][i];
    for (size_t j = 0; j < solution->size(); ++j) (*solution)[j] += weight * images_[k][j];
  }
  return left;
}

}  // namespace vorlan::conic
