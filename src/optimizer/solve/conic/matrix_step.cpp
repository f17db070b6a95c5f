// A step costs three congruences by G: of dZ, of its way back to dX, and of the right-hand side.
#include "solve/conic/matrix_step.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/least_eigenvalue.h"
#include "solve/conic/matrix_block.h"

namespace vorlan::conic {
namespace {

// What an element of a matrix costs while its least eigenvalue is found, in multiplications of a
// product of matrices.
constexpr double kWorkOfElement = 100.0;
// The same of a term of the right-hand side.
constexpr double kWorkOfTerm = 20.0;

// to += factor * from.
void add_matrix(double factor, const DenseMatrix& from, DenseMatrix* to) {
  const std::span<const double> source = from.values();
  const std::span<double> target = to->values();
  for (size_t i = 0; i < source.size(); ++i) target[i] += factor * source[i];
}

// The least eigenvalue of inv(sqrt(Lambda)) (factor M) inv(sqrt(Lambda)) + shift I.
double least_relative_eigenvalue(const MatrixScaling& scaling, const DenseMatrix& matrix,
                                 double factor, double shift) {
  const size_t n = scaling.order();
  std::vector<double> root(n);
  for (size_t i = 0; i < n; ++i) root[i] = 1.0 / std::sqrt(scaling.lambda()[i]);
  DenseMatrix relative;
  relative.resize(n, n);
  for (size_t col = 0; col < n; ++col) {
    for (size_t row = 0; row < n; ++row) {
      relative(row, col) = factor * matrix(row, col) * root[row] * root[col];
    }
    relative(col, col) += shift;
  }
  return least_eigenvalue(scaling.algebra(), &relative);
}

}  // namespace

MatrixStep zero_matrix_step(size_t dimension, size_t order) {
  return {DenseMatrix(dimension, dimension),
          {DenseMatrix(order, order), DenseMatrix(order, order)}};
}

double step_length(const MatrixScaling& scaling, const MatrixStep& step, double limit) {
  const DenseMatrix& x = step.scaled.x;
  const DenseMatrix& z = step.scaled.z;
  double least[2];
  const auto order = static_cast<double>(scaling.order());
  ThreadTeam* const team = scaling.algebra().team_for(kWorkOfElement * order * order);
  run_pieces(team, 2, [&](size_t piece, size_t) {
    if (piece == 1) {
      least[piece] = least_relative_eigenvalue(scaling, z, 1.0, 0.0);
    } else if (x.values().empty()) {
      least[piece] = least_relative_eigenvalue(scaling, z, -1.0, -1.0);
    } else {
      least[piece] = least_relative_eigenvalue(scaling, x, 1.0, 0.0);
    }
  });
  for (const double value : least) {
    if (value < 0.0) limit = std::min(limit, -1.0 / value);
  }
  return limit;
}

MatrixDirection::MatrixDirection(const MatrixBlock& block, const MatrixPoint& at,
                                 const MatrixScaling* scaling)
    : block_(block), at_(at), scaling_(scaling) {}

// G'MG with M = cost C + identity I - sum_i dy_i A_i.
DenseMatrix MatrixDirection::scaled_dual(double cost, double identity,
                                         std::span<const double> dy) const {
  DenseMatrix change(scaling_->dimension(), scaling_->dimension());
  combine(block_, cost, dy, identity, &change);
  return scaling_->scale_dual(std::move(change));
}

double MatrixDirection::column_square(std::span<const double> dy) const {
  const DenseMatrix scaled = scaled_dual(1.0, 0.0, dy);
  return dot(scaled.values(), scaled.values());
}

// The products of C and the A_i with a matrix whose elements are at(row, col).
template <class ElementAt>
void MatrixDirection::find_rhs_products(const ElementAt& at) {
  constexpr size_t kPartsOfPiece = 64;
  const size_t count = block_.parts.size();
  const size_t pieces = (count + kPartsOfPiece - 1) / kPartsOfPiece;
  const auto elements = static_cast<double>(order() * order());
  rhs_products_.resize(count);
  run_pieces(scaling_->algebra().team_for(kWorkOfTerm * elements), pieces,
             [&](size_t piece, size_t) {
               const Range range = range_of_piece(count, pieces, piece);
               for (size_t p = range.first; p < range.first + range.count; ++p) {
                 rhs_products_[p] = triangle_product(block_.parts[p].entries, at);
               }
             });
  rhs_cost_product_ = triangle_product(block_.cost, at);
}

void MatrixDirection::add_rhs_products(double factor, std::span<double> rows) const {
  for (size_t p = 0; p < rhs_products_.size(); ++p) {
    rows[index(block_.parts[p].row)] += factor * rhs_products_[p];
  }
}

// Says whether elements of a product one by one are less work than all of them.
bool MatrixDirection::needs_few_elements() const {
  constexpr size_t kSpeedOfFullProduct = 10;
  constexpr size_t kLeastOrder = 100;
  if (order() < kLeastOrder) return false;
  size_t count = block_.cost.size();
  for (const MatrixPart& part : block_.parts) count += part.entries.size();
  return 2 * kSpeedOfFullProduct * count < order() * order();
}

// G diag(lambda) G' is X.
void MatrixDirection::aim_at_boundary() {
  scaled_rhs_ = {};
  rhs_ = {};
  find_rhs_products([this](size_t row, size_t col) { return -at_.x(row, col); });
}

// (Lambda R + R Lambda) / 2 = mu I - Lambda^2 - (dX~ dZ~ + dZ~ dX~) / 2. For the affine step, where
// dX~ is -Lambda - dZ~, the last term is (Lambda dZ~ + dZ~ Lambda) / 2 + dZ~^2.
void MatrixDirection::aim_at_path(double mu, MatrixStep affine) {
  const std::vector<double>& lambda = scaling_->lambda();
  const DenseAlgebra& algebra = scaling_->algebra();
  const bool is_affine = affine.scaled.x.values().empty();
  DenseMatrix product;
  product.resize(order(), order());
  if (is_affine) {
    algebra.square(affine.scaled.z, product);
  } else {
    algebra.multiply(1.0, affine.scaled.x, affine.scaled.z, 0.0, product);
    affine = {};
  }
  scaled_rhs_.resize(order(), order());
  // A few columns at a time, so that rows and columns of the product stay in the cache.
  constexpr size_t kTile = 16;
  const auto elements = static_cast<double>(order() * order());
  run_pieces(
      algebra.team_for(kWorkOfTerm * elements), (order() + kTile - 1) / kTile,
      [&](size_t piece, size_t) {
        const size_t first = piece * kTile;
        for (size_t row = first; row < order(); ++row) {
          for (size_t col = first; col < std::min({first + kTile, row + 1, order()}); ++col) {
            const double sum = lambda[row] + lambda[col];
            double value = is_affine ? 0.5 * sum * affine.scaled.z(row, col) + product(row, col)
                                     : -0.5 * (product(row, col) + product(col, row));
            if (row == col) value += mu - lambda[row] * lambda[row];
            value *= 2.0 / sum;
            scaled_rhs_(row, col) = value;
            scaled_rhs_(col, row) = value;
          }
        }
      });
  // Their memory serves again: memory that the system has just taken back it clears once more.
  HalfUnscaled half{std::move(affine.scaled.z), std::move(product)};
  if (needs_few_elements()) {
    scaling_->unscale_half(scaled_rhs_, &half);
    find_rhs_products([&](size_t row, size_t col) { return half.element(row, col); });
    return;
  }
  rhs_ = std::move(half.image);
  half = {};
  rhs_.reset(scaling_->dimension(), scaling_->dimension());
  scaling_->add_unscaled(1.0, scaled_rhs_, &rhs_);
  find_rhs_products([this](size_t row, size_t col) { return rhs_(row, col); });
}

DenseMatrix MatrixDirection::take_scaled_rhs() {
  if (!scaled_rhs_.values().empty()) return std::exchange(scaled_rhs_, {});
  DenseMatrix rhs(order(), order());
  shift_scaled(-1.0, &rhs);
  return rhs;
}

// scaled += ratio diag(lambda), which is Z in scaled terms, and X.
void MatrixDirection::shift_scaled(double ratio, DenseMatrix* scaled) const {
  for (size_t i = 0; i < order(); ++i) (*scaled)(i, i) += ratio * scaling_->lambda()[i];
}

MatrixStep MatrixDirection::find_affine(std::span<const double> dy, double ratio,
                                        double cost_change) {
  MatrixStep step;
  step.scaled.z = scaled_dual(cost_change, -cost_change, dy);
  shift_scaled(ratio, &step.scaled.z);
  return step;
}

MatrixStep MatrixDirection::find(std::span<const double> dy, double ratio, double cost_change) {
  MatrixStep step;
  step.scaled.z = scaled_dual(cost_change, -cost_change, dy);
  step.scaled.x = take_scaled_rhs();
  const bool has_rhs = !rhs_.values().empty();
  step.x = std::exchange(rhs_, {});
  if (!has_rhs) step.x.reset(scaling_->dimension(), scaling_->dimension());
  add_matrix(-ratio, at_.x, &step.x);
  if (has_rhs) scaling_->add_unscaled(-1.0, step.scaled.z, &step.x);
  add_matrix(-1.0, step.scaled.z, &step.scaled.x);
  if (!has_rhs) scaling_->add_unscaled(1.0, step.scaled.x, &step.x);
  shift_scaled(ratio, &step.scaled.z);
  shift_scaled(-ratio, &step.scaled.x);
  return step;
}

void MatrixDirection::correct(std::span<const double> dy, MatrixStep* step) const {
  const DenseMatrix scaled = scaled_dual(0.0, 0.0, dy);
  add_matrix(1.0, scaled, &step->scaled.z);
  add_matrix(-1.0, scaled, &step->scaled.x);
  scaling_->add_unscaled(-1.0, scaled, &step->x);
}

}  // namespace vorlan::conic
