// A matrix variable X and its dual Z in extended precision (double_double.h), for
// extended_method.h.
//
// Steps follow C. Helmberg, F. Rendl, R. Vanderbei, H. Wolkowicz, An interior-point method for
// semidefinite programming, SIAM J. Optim. 6, 1996 (M. Kojima, S. Shindoh, S. Hara and R. Monteiro
// found the same direction): dX + sym(X dZ inv(Z)) = R. It needs factors of X and Z alone, and no
// eigenvectors.
//
// Where X is of a face V X~ V' (facial_reduction.h), all of this is of X~ and V'ZV.
#pragma once

#include <Eigen/Core>
#include <span>
#include <vector>

#include "solve/conic/conic_problem.h"
#include "solve/conic/extended_algebra.h"
#include "solve/conic/matrix_view.h"

namespace vorlan::conic {

class ExtendedMatrixVariable {
 public:
  explicit ExtendedMatrixVariable(const MatrixBlock& block);

  // X = I.
  void begin() { x_ = ExtendedMatrix::Identity(order_, order_); }
  // X is what the whole matrix is in the face.
  void set(const DenseMatrix& whole);

  Eigen::Index order() const { return order_; }
  // Multiplications that an iteration takes, about.
  static double count_multiplications(const MatrixBlock& block);

  // Factors X and Z = cost C - sum_i y_i A_i + identity I; false: one of them is not positive
  // definite.
  bool factor(DoubleDouble cost, const ExtendedVector& y, DoubleDouble identity);

  // <C, X>, <X, Z>, and rows_i += <A_i, X>.
  DoubleDouble cost() const { return cost_product(x_); }
  DoubleDouble complementarity() const { return (x_.cwiseProduct(z_)).sum(); }
  void add_products(ExtendedVector* rows) const { add_products(x_, 1.0, rows); }

  // schur_ij += <A_i, K(A_j)> and rows_i += <A_i, K(C)> with K(S) = sym(X S inv(Z)). Returns
  // <C, K(C)>.
  DoubleDouble add_to_system(ExtendedMatrix* schur, ExtendedVector* rows);

  // Sets the right-hand side R = mu inv(Z) - X - sym(dX dZ inv(Z)) with the last step in the last
  // term, if that is asked for, and the residual of Z = cost C + identity I. Adds <A_i, T> to
  // rows_i where T = R - K(residual), and returns <C, T>.
  struct Target {
    DoubleDouble mu;
    bool corrects = false;
    DoubleDouble cost_residual, identity_residual;
  };
  DoubleDouble aim(const Target& target, ExtendedVector* rows);

  // The step that follows from those of y and tau.
  void find_step(const ExtendedVector& dy, DoubleDouble dtau);
  // rows_i += <A_i, dX>.
  void add_step_products(ExtendedVector* rows) const { add_products(dx_, 1.0, rows); }
  // The longest step that leaves X and Z semidefinite.
  DoubleDouble step_length() const;
  // X += length dX.
  void take(DoubleDouble length) { x_ += length * dx_; }

  // X / tau, whole.
  DenseMatrix rounded(DoubleDouble tau) const;

 private:
  struct Entry {
    Eigen::Index row, col;
    DoubleDouble value;
  };
  struct Part {
    Eigen::Index row;  // of A
    std::vector<Entry> entries;
    std::vector<Eigen::Index> columns;  // that are not 0, in full
  };

  Part make_part(int32_t row, const std::vector<TriangleEntry>& entries) const;
  static DoubleDouble product(const Part& part, const ExtendedMatrix& matrix);
  DoubleDouble cost_product(const ExtendedMatrix& matrix) const { return product(cost_, matrix); }
  void add_products(const ExtendedMatrix& matrix, DoubleDouble factor, ExtendedVector* rows) const;
  static void add_part(const Part& part, DoubleDouble factor, ExtendedMatrix* matrix);
  ExtendedMatrix combine(DoubleDouble cost, const ExtendedVector& y, DoubleDouble identity) const;
  void add_products_of_pairs(ExtendedMatrix* schur) const;
  ExtendedMatrix scale(const Part& part) const;
  ExtendedMatrix scale(const ExtendedMatrix& matrix) const;

  Eigen::Index order_;
  ExtendedMatrix basis_;  // V; empty: the face is the whole cone
  Part cost_;
  std::vector<Part> parts_;
  ExtendedMatrix x_, z_, inverse_;  // inv(Z)
  ExtendedCholesky x_factor_, z_factor_;
  ExtendedMatrix residual_, rhs_, dx_, dz_;
};

}  // namespace vorlan::conic
