// G comes from a Cholesky factorization and an eigenvalue decomposition. Everything else is
// products of matrices, of which only half is computed wherever the result is known to be
// symmetric.
#include "solve/conic/matrix_scaling.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "task/numeric.h"

namespace vorlan::conic {
namespace {

// A matrix with fewer elements than one in so many is multiplied element by element: a product of
// matrices does about that many multiplications in the time of one that is scattered.
constexpr size_t kSparseShare = 12;
// What an element of such a matrix costs in all, in multiplications of a product of matrices.
constexpr double kWorkOfElement = 20.0;

bool is_sparse(const DenseMatrix& matrix) {
  const std::span<const double> values = matrix.values();
  const auto zeros = index(std::count(values.begin(), values.end(), 0.0));
  return (values.size() - zeros) * kSparseShare < values.size();
}

}  // namespace

MatrixScaling::MatrixScaling(Face face, const DenseAlgebra& algebra)
    : algebra_(algebra),
      face_(std::move(face)),
      g_(face_.dimension(), face_.order()),
      lambda_(face_.order(), 1.0) {}

MatrixPoint MatrixScaling::start() const {
  return {face_.projection(), DenseMatrix::identity(face_.dimension())};
}

bool MatrixScaling::update(const MatrixPoint& at) {
  const size_t n = order();
  DenseMatrix l;
  face_.restrict_to(at.x, &l);
  if (!algebra_.factor_cholesky(l)) return false;
  for (size_t col = 1; col < n; ++col) std::fill_n(&l(0, col), col, 0.0);
  face_.restrict_to(at.z, &g_);
  algebra_.multiply_from_right(Operand(l), g_);
  algebra_.multiply_from_left(transposed(l), g_);
  if (!algebra_.find_eigenvectors(g_, lambda_)) return false;
  if (!(lambda_[0] > 0.0) || !std::isfinite(lambda_[n - 1])) return false;
  algebra_.multiply_from_left(Operand(l), g_);
  for (size_t col = 0; col < n; ++col) {
    lambda_[col] = std::sqrt(lambda_[col]);
    const double factor = 1.0 / std::sqrt(lambda_[col]);
    for (double& value : g_.view().column(col)) value *= factor;
  }
  if (!face_.is_whole()) {
    l = g_;
    face_.embed(l, &g_);
  }
  return true;
}

DenseMatrix MatrixScaling::w() const {
  DenseMatrix w(dimension(), dimension());
  algebra_.square(g_, w);
  algebra_.mirror_lower(w);
  return w;
}

// G'M, by columns of G', which are contiguous.
DenseMatrix MatrixScaling::multiply_sparse(const DenseMatrix& matrix) const {
  const size_t n = order();
  DenseMatrix product(n, dimension());
  DenseMatrix transpose(n, dimension());
  constexpr size_t kColumnsOfPiece = 64;
  const size_t pieces = (dimension() + kColumnsOfPiece - 1) / kColumnsOfPiece;
  const auto elements = static_cast<double>(matrix.values().size());
  ThreadTeam* const team = algebra_.team_for(elements * kWorkOfElement);
  const auto for_each_column = [&](const std::function<void(size_t)>& work) {
    run_pieces(team, pieces, [&](size_t piece, size_t) {
      const Range columns = range_of_piece(dimension(), pieces, piece);
      for (size_t col = columns.first; col < columns.first + columns.count; ++col) work(col);
    });
  };
  for_each_column([&](size_t row) {
    for (size_t col = 0; col < n; ++col) transpose(col, row) = g_(row, col);
  });
  for_each_column([&](size_t col) {
    double* const to = &product(0, col);
    for (size_t row = 0; row < dimension(); ++row) {
      const double value = matrix(row, col);
      if (value == 0.0) continue;
      const double* const from = &transpose(0, row);
      for (size_t k = 0; k < n; ++k) to[k] += value * from[k];
    }
  });
  return product;
}

void MatrixScaling::scale_dual(const DenseMatrix& matrix, DenseMatrix* out) const {
  if (is_sparse(matrix)) {
    algebra_.multiply_symmetric(1.0, multiply_sparse(matrix), g_, 0.0, *out);
  } else {
    DenseMatrix half(dimension(), order());
    algebra_.multiply(1.0, matrix, g_, 0.0, half);
    algebra_.multiply_symmetric(1.0, transposed(g_), half, 0.0, *out);
  }
  algebra_.mirror_lower(*out);
}

void MatrixScaling::unscale_primal(const DenseMatrix& matrix, DenseMatrix* out) const {
  DenseMatrix half(dimension(), order());
  algebra_.multiply(1.0, g_, matrix, 0.0, half);
  algebra_.multiply_symmetric(1.0, half, transposed(g_), 0.0, *out);
  algebra_.mirror_lower(*out);
}

}  // namespace vorlan::conic
