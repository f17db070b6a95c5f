// G comes from a Cholesky factorization and an eigenvalue decomposition. Everything else is
// products of matrices, of which only half is computed wherever the result is known to be
// symmetric.
#include "solve/conic/matrix_scaling.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

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

// G'M, some rows at a time, by the rows of G there: strips of them are contiguous when transposed.
DenseMatrix MatrixScaling::multiply_sparse(const DenseMatrix& matrix) const {
  struct Element {
    size_t row, col;
    double value;
  };
  std::vector<Element> elements;
  for (size_t col = 0; col < dimension(); ++col) {
    for (size_t row = 0; row < dimension(); ++row) {
      if (matrix(row, col) != 0.0) elements.push_back({row, col, matrix(row, col)});
    }
  }
  DenseMatrix product(order(), dimension());
  constexpr size_t kRowsOfPiece = 32;
  const size_t pieces = (order() + kRowsOfPiece - 1) / kRowsOfPiece;
  ThreadTeam* const team =
      algebra_.team_for(static_cast<double>(g_.values().size()) * kWorkOfElement);
  run_pieces(team, pieces, [&](size_t piece, size_t) {
    const Range rows = range_of_piece(order(), pieces, piece);
    DenseMatrix strip(rows.count, dimension());
    for (size_t k = 0; k < rows.count; ++k) {
      const std::span<const double> from = g_.view().column(rows.first + k);
      for (size_t row = 0; row < dimension(); ++row) strip(k, row) = from[row];
    }
    for (const Element& e : elements) {
      double* const to = &product(rows.first, e.col);
      const double* const from = &strip(0, e.row);
      for (size_t k = 0; k < rows.count; ++k) to[k] += e.value * from[k];
    }
  });
  return product;
}

DenseMatrix MatrixScaling::scale_dual(DenseMatrix matrix) const {
  if (is_sparse(matrix)) {
    const DenseMatrix half = multiply_sparse(matrix);
    matrix.resize(order(), order());
    algebra_.multiply_symmetric(1.0, half, g_, 0.0, matrix);
  } else {
    DenseMatrix half(dimension(), order());
    algebra_.multiply(1.0, matrix, g_, 0.0, half);
    matrix.resize(order(), order());
    algebra_.multiply_symmetric(1.0, transposed(g_), half, 0.0, matrix);
  }
  algebra_.mirror_lower(matrix);
  return matrix;
}

void MatrixScaling::add_unscaled(double factor, const DenseMatrix& matrix, DenseMatrix* sum) const {
  DenseMatrix half(dimension(), order());
  algebra_.multiply(1.0, g_, matrix, 0.0, half);
  algebra_.multiply_symmetric(factor, half, transposed(g_), 1.0, *sum);
  algebra_.mirror_lower(*sum);
}

void MatrixScaling::unscale_half(const DenseMatrix& matrix, HalfUnscaled* half) const {
  half->rows.resize(order(), dimension());
  constexpr size_t kTile = 16;
  const auto elements = static_cast<double>(g_.values().size());
  run_pieces(algebra_.team_for(kWorkOfElement * elements), (dimension() + kTile - 1) / kTile,
             [&](size_t piece, size_t) {
               const size_t first = piece * kTile;
               const size_t end = std::min(first + kTile, dimension());
               for (size_t col = 0; col < order(); ++col) {
                 for (size_t row = first; row < end; ++row) half->rows(col, row) = g_(row, col);
               }
             });
  half->image.resize(order(), dimension());
  algebra_.multiply(1.0, matrix, half->rows, 0.0, half->image);
}

}  // namespace vorlan::conic
