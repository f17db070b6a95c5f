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

// The least eigenvalue of inv(sqrt(Lambda)) M inv(sqrt(Lambda)).
double least_relative_eigenvalue(const MatrixScaling& scaling, const DenseMatrix& matrix) {
  const size_t n = scaling.order();
  std::vector<double> factor(n);
  for (size_t i = 0; i < n; ++i) factor[i] = 1.0 / std::sqrt(scaling.lambda()[i]);
  DenseMatrix relative(n, n);
  for (size_t col = 0; col < n; ++col) {
    for (size_t row = 0; row < n; ++row) {
      relative(row, col) = matrix(row, col) * factor[row] * factor[col];
    }
  }
  return least_eigenvalue(scaling.algebra(), &relative);
}

}  // namespace

MatrixStep zero_matrix_step(size_t dimension, size_t order) {
  return {DenseMatrix(dimension, dimension),
          {DenseMatrix(order, order), DenseMatrix(order, order)}};
}

double step_length(const MatrixScaling& scaling, const MatrixStep& step, double limit) {
  const DenseMatrix* const changes[] = {&step.scaled.x, &step.scaled.z};
  double least[2];
  const auto order = static_cast<double>(scaling.order());
  ThreadTeam* const team = scaling.algebra().team_for(kWorkOfElement * order * order);
  run_pieces(team, 2, [&](size_t piece, size_t) {
    least[piece] = least_relative_eigenvalue(scaling, *changes[piece]);
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

// G diag(lambda) G' is X.
void MatrixDirection::aim_at_boundary() {
  scaled_rhs_.reset(order(), order());
  for (size_t i = 0; i < order(); ++i) scaled_rhs_(i, i) = -scaling_->lambda()[i];
  rhs_ = at_.x;
  for (double& value : rhs_.values()) value = -value;
}

// (Lambda R + R Lambda) / 2 = mu I - Lambda^2 - (dX~ dZ~ + dZ~ dX~) / 2.
void MatrixDirection::aim_at_path(double mu, MatrixStep affine) {
  const std::vector<double>& lambda = scaling_->lambda();
  DenseMatrix product(order(), order());
  scaling_->algebra().multiply(1.0, affine.scaled.x, affine.scaled.z, 0.0, product);
  affine = {};
  scaled_rhs_.resize(order(), order());
  // A few columns at a time, so that rows and columns of the product stay in the cache.
  constexpr size_t kTile = 16;
  const auto elements = static_cast<double>(order() * order());
  ThreadTeam* const team = scaling_->algebra().team_for(kWorkOfTerm * elements);
  run_pieces(team, (order() + kTile - 1) / kTile, [&](size_t piece, size_t) {
    const size_t first = piece * kTile;
    for (size_t row = first; row < order(); ++row) {
      for (size_t col = first; col < std::min({first + kTile, row + 1, order()}); ++col) {
        double value = -0.5 * (product(row, col) + product(col, row));
        if (row == col) value += mu - lambda[row] * lambda[row];
        value *= 2.0 / (lambda[row] + lambda[col]);
        scaled_rhs_(row, col) = value;
        scaled_rhs_(col, row) = value;
      }
    }
  });
  rhs_.reset(scaling_->dimension(), scaling_->dimension());
  scaling_->add_unscaled(1.0, scaled_rhs_, &rhs_);
}

// Z is diag(lambda) in scaled terms, and X is what comes back from that.
void MatrixDirection::set_scaled(double ratio, MatrixStep* step) const {
  DenseMatrix& z = step->scaled.z;
  for (size_t i = 0; i < order(); ++i) z(i, i) += ratio * scaling_->lambda()[i];
  add_matrix(-1.0, z, &step->scaled.x);
}

MatrixStep MatrixDirection::find_affine(std::span<const double> dy, double ratio,
                                        double cost_change) {
  MatrixStep step;
  step.scaled.z = scaled_dual(cost_change, -cost_change, dy);
  step.scaled.x = std::move(scaled_rhs_);
  set_scaled(ratio, &step);
  return step;
}

MatrixStep MatrixDirection::find(std::span<const double> dy, double ratio, double cost_change) {
  MatrixStep step;
  step.scaled.z = scaled_dual(cost_change, -cost_change, dy);
  step.x = std::move(rhs_);
  add_matrix(-ratio, at_.x, &step.x);
  scaling_->add_unscaled(-1.0, step.scaled.z, &step.x);
  step.scaled.x = std::move(scaled_rhs_);
  set_scaled(ratio, &step);
  return step;
}

void MatrixDirection::correct(std::span<const double> dy, MatrixStep* step) const {
  const DenseMatrix scaled = scaled_dual(0.0, 0.0, dy);
  add_matrix(1.0, scaled, &step->scaled.z);
  add_matrix(-1.0, scaled, &step->scaled.x);
  scaling_->add_unscaled(-1.0, scaled, &step->x);
}

}  // namespace vorlan::conic
