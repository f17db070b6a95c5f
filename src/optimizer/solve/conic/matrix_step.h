// The part of a step in one matrix variable X and its dual Z.
//
// In the scaled terms of matrix_scaling.h a step satisfies dZ~ + dX~ = R, and with
// dZ = C dtau - sum_i dy_i A_i + r the matrix variable is condensed into the rows of the
// constraints. So its step is known once dy and dtau are.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/conic_problem.h"
#include "solve/conic/matrix_scaling.h"

namespace vorlan::conic {

// A change of X and of Z. That of Z itself is not kept, since Z follows from y and tau.
struct MatrixStep {
  DenseMatrix x;  // of a step that is to be taken; empty for the affine one
  // inv(G) dX inv(G)' and G' dZ G. Without the first one it is the affine step, -diag(lambda) less
  // the second one.
  MatrixPoint scaled;
};

// A step that changes nothing, of a matrix variable of the dimension in a face of the order.
MatrixStep zero_matrix_step(size_t dimension, size_t order);

// The longest step at most `limit` along which X and Z stay semidefinite.
double step_length(const MatrixScaling& scaling, const MatrixStep& step, double limit);

// Finds steps from a point whose scaling is given.
class MatrixDirection {
 public:
  MatrixDirection(const MatrixBlock& block, const MatrixPoint& at, const MatrixScaling* scaling);

  // The right-hand side R of the affine step, -diag(lambda).
  void aim_at_boundary();
  // The right-hand side towards the central path with this mu, with the second-order term of the
  // affine step.
  void aim_at_path(double mu, MatrixStep affine);
  // rows_i += factor <A_i, G R G'>, the right-hand side as a change of X.
  void add_rhs_products(double factor, std::span<double> rows) const;
  // <C, G R G'>.
  double rhs_cost_product() const { return rhs_cost_product_; }

  // |C - sum_i dy_i A_i|^2 in the norm of W.
  double column_square(std::span<const double> dy) const;

  // The step with dZ = ratio Z - sum_i dy_i A_i + cost_change (C - I), in scaled terms alone.
  MatrixStep find_affine(std::span<const double> dy, double ratio, double cost_change);
  // The step in scaled terms and as a change of X. The right-hand side is lost.
  MatrixStep find(std::span<const double> dy, double ratio, double cost_change);
  // Adds what a further dy changes.
  void correct(std::span<const double> dy, MatrixStep* step) const;

 private:
  DenseMatrix scaled_dual(double cost, double identity, std::span<const double> dy) const;
  template <class ElementAt>
  void find_rhs_products(const ElementAt& at);
  bool needs_few_elements() const;
  DenseMatrix take_scaled_rhs();
  void shift_scaled(double ratio, DenseMatrix* scaled) const;
  size_t order() const { return scaling_->order(); }

  const MatrixBlock& block_;
  const MatrixPoint& at_;
  const MatrixScaling* scaling_;
  DenseMatrix scaled_rhs_;  // R; empty: -diag(lambda)
  DenseMatrix rhs_;         // G R G', where so many of its elements are needed that it was found
  std::vector<double> rhs_products_;  // by part
  double rhs_cost_product_ = 0.0;
};

}  // namespace vorlan::conic
