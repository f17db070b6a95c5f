// A reflection from both sides is a change of rank two.
#include "solve/conic/face.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::conic {

Face::Face(size_t dimension, const std::vector<double>& null) : dimension_(dimension) {
  if (null.empty()) return;
  reflection_ = null;
  // The sign that cancels nothing.
  reflection_[0] += std::copysign(norm(null), null[0]);
  const double length = norm(reflection_);
  for (double& value : reflection_) value /= length;
}

// H M H = M - 2 (h w' + w h') with w = M h - (h'M h) h.
void Face::reflect_both(DenseMatrix* matrix) const {
  const std::vector<double>& h = reflection_;
  std::vector<double> w(dimension_, 0.0);
  for (size_t col = 0; col < dimension_; ++col) {
    const std::span<const double> column = std::as_const(*matrix).view().column(col);
    for (size_t row = 0; row < dimension_; ++row) w[row] += h[col] * column[row];
  }
  add(-dot(h, w), h, &w);
  for (size_t col = 0; col < dimension_; ++col) {
    const std::span<double> column = matrix->view().column(col);
    for (size_t row = 0; row < dimension_; ++row) {
      column[row] -= 2.0 * (h[row] * w[col] + w[row] * h[col]);
    }
  }
}

void Face::restrict_to(const DenseMatrix& matrix, DenseMatrix* out) const {
  if (is_whole()) {
    *out = matrix;
    return;
  }
  DenseMatrix reflected = matrix;
  reflect_both(&reflected);
  out->reset(order(), order());
  for (size_t col = 0; col < order(); ++col) {
    std::copy_n(&reflected(1, col + 1), order(), &(*out)(0, col));
  }
}

void Face::embed(const DenseMatrix& matrix, DenseMatrix* out) const {
  if (is_whole()) {
    *out = matrix;
    return;
  }
  out->reset(dimension_, matrix.cols());
  for (size_t col = 0; col < matrix.cols(); ++col) {
    const std::span<const double> from = matrix.view().column(col);
    const std::span<double> to = out->view().column(col);
    std::copy(from.begin(), from.end(), to.begin() + 1);
    double along = 0.0;
    for (size_t row = 1; row < dimension_; ++row) along += reflection_[row] * to[row];
    for (size_t row = 0; row < dimension_; ++row) to[row] -= 2.0 * along * reflection_[row];
  }
}

DenseMatrix Face::projection() const {
  DenseMatrix projection = DenseMatrix::identity(dimension_);
  if (is_whole()) return projection;
  projection(0, 0) = 0.0;
  reflect_both(&projection);
  return projection;
}

double Face::missing_along_null(const DenseAlgebra& algebra, const DenseMatrix& matrix,
                                double lacking) const {
  DenseMatrix reflected = matrix;
  reflect_both(&reflected);
  DenseMatrix inner(order(), order());
  std::vector<double> across(order());
  double size = 0.0;
  for (size_t col = 0; col < order(); ++col) {
    across[col] = reflected(col + 1, 0);
    std::copy_n(&reflected(1, col + 1), order(), &inner(0, col));
    size = std::max(size, inner(col, col));
  }
  const double corner = reflected(0, 0);
  // Rounding may ask for more.
  for (double more = lacking * size; more <= size; more *= 10.0) {
    DenseMatrix factor = inner;
    for (size_t k = 0; k < order(); ++k) factor(k, k) += more;
    if (!algebra.factor_cholesky(factor)) continue;
    std::vector<double> part = across;
    algebra.divide_by_triangle(Operand(factor), Diagonal::kOwn, part);
    return dot(part, part) + more - corner;
  }
  return 0.0;
}

}  // namespace vorlan::conic
