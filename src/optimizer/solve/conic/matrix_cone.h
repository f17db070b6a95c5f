// One positive semidefinite matrix variable X with its dual Z, and their Nesterov-Todd scaling.
//
// With X = L L' and L'ZL = V diag(lambda)^2 V', the matrix G = L V diag(lambda)^(-1/2) takes both
// to the same diagonal: inv(G) X inv(G)' = G'ZG = diag(lambda), and W = G G' has W Z W = X (Y.
// Nesterov, M. Todd, Self-scaled barriers and interior-point methods for convex programming, Math.
// Oper. Res. 22, 1997). A step satisfies dZ~ + dX~ = R in scaled terms, so that with dZ = C dtau -
// sum_i dy_i A_i + r the matrix variable is condensed into the rows of the constraints: their
// system gains <A_i, W A_j W>.
//
// The dual residual of a matrix variable stays a multiple of what it is at the start, C - I, since
// each step takes the same share off it. So Z is determined by tau, y and that multiple, and C and
// I join the A_i as two more rows wherever their products with W are needed.
#pragma once

#include <vector>

#include "solve/conic/conic_problem.h"
#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

class MatrixCone {
 public:
  MatrixCone(const MatrixBlock& block, const DenseAlgebra& algebra);

  const std::vector<double>& x() const { return x_; }
  const std::vector<double>& z() const { return z_; }
  const std::vector<MatrixPart>& parts() const { return parts_; }
  // The products of the scaling with C and I: <A_i, W C W> and <A_i, W W> by part.
  const std::vector<double>& cost_column() const { return cost_column_; }
  const std::vector<double>& identity_column() const { return identity_column_; }
  double cost_residual() const { return cost_square_ - cost_identity_; }  // <C, W (C - I) W>

  void start();
  // Chooses the scaling; false: X or Z is not positive definite.
  bool update();
  // <A_i, W A_j W> of all pairs of parts, in the lower triangle of a matrix by column; fills the
  // columns of C and I too.
  void compute_schur(std::vector<double>* schur);

  // rows_i += factor <A_i, M> of a symmetric M, and <C, M>.
  void add_products(const std::vector<double>& matrix, double factor, double* rows) const;
  double cost_product(const std::vector<double>& matrix) const;
  double inner_product() const;  // <X, Z>
  // The largest absolute terms of each row, for relative residuals.
  void term_sizes(double* rows) const;

  // |C - sum_i dy_i A_i|^2 in the norm of W.
  double column_square(const double* dy);

  // Right-hand sides R: of the affine step, -diag(lambda), and towards mu_target with the
  // second-order term of the affine step last computed. unscaled() is G R G' then.
  void set_affine_rhs();
  void clear_affine_step();
  void set_centering_rhs(double mu_target);
  const std::vector<double>& unscaled_rhs() const { return unscaled_; }

  // The step with dZ = ratio Z - sum_i dy_i A_i + cost_change (C - I); the affine step stays in
  // scaled terms.
  void set_step(const double* dy, double ratio, double cost_change, bool affine);
  // The change of rows by the step, and a correction of the step for a further dy.
  void add_step_products(double factor, double* rows) const { add_products(dx_, factor, rows); }
  void correct_step(const double* dy);
  double step_length(double limit) const;
  void take_step(double length);
  // Z = tau C - sum_i y_i A_i - residual (C - I).
  void set_dual(const double* y, double tau, double residual);
  void save();
  void restore();

 private:
  struct Element {
    int32_t row, col;
    double weight;  // twice the value off the diagonal
  };
  void sort_rows();
  void combine(double cost_factor, const double* y, double identity,
               std::vector<double>* out) const;
  void congruence(bool transpose, const std::vector<double>& matrix, std::vector<double>* out);
  double row_product(size_t slot, const std::vector<double>& u) const;
  double gathered_product(size_t slot, size_t height) const;
  void store_product(int32_t a, int32_t b, double value, std::vector<double>* schur);
  double least_eigenvalue(const std::vector<double>& scaled) const;
  double lanczos(std::vector<double>* matrix) const;
  void multiply_by_scaling(size_t slot);
  bool takes_full_product(size_t slot) const;

  int32_t n_;
  const DenseAlgebra& algebra_;
  std::vector<MatrixPart> parts_;
  std::vector<TriangleEntry> cost_;
  // All rows, C and I among them, with their elements in one list, the longest first.
  std::vector<int32_t> slot_part_;  // part of a slot; -1: C, -2: I
  std::vector<size_t> slot_start_;
  std::vector<Element> elements_;
  std::vector<std::vector<int32_t>> slot_support_;  // rows of the matrix with elements

  std::vector<double> x_, z_, g_, w_;
  std::vector<double> lambda_;
  std::vector<double> rhs_, unscaled_, dz_scaled_, dx_scaled_, dx_, dz_;
  std::vector<double> saved_x_, saved_z_;
  std::vector<double> cost_column_, identity_column_;
  double cost_square_ = 0.0;
  double cost_identity_ = 0.0;
  std::vector<double> work_, other_work_, gathered_, image_, product_;
};

}  // namespace vorlan::conic
