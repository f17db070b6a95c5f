// The linear system behind each step, reduced to scalar variables and equations:
//
//   [ P + G'diag(h)G + H   A' ] [ dx ]   [ f ]
//   [ A                   -M  ] [ -dy ] = [ g ]
//
// where h and H are the scalings of bounds and cones, and M holds the matrix variables,
// <A_i, W A_j W>. The Hessian of a large second-order cone, D + uu' - vv', takes two more rows
// instead of a dense block. Quasi-definite but for a shift of its diagonal by a tiny constant,
// which iterative refinement takes back.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "solve/conic/matrix_cone.h"
#include "solve/conic/scaled_cone.h"
#include "solve/conic/sparse_ldl.h"

namespace vorlan::conic {

class NewtonSystem {
 public:
  NewtonSystem(const ConicProblem& problem, const std::vector<std::unique_ptr<ScaledCone>>& cones);

  // Chooses the order of the pivots.
  void analyze(const DenseAlgebra* algebra);
  // Dense algebra for the factor, from now on.
  void use(const DenseAlgebra* algebra) { ldl_.use(algebra); }
  // Takes the scalings of the current iterate: of each bound, of the cones and matrices.
  void factor(std::span<const double> bound_scaling, std::vector<MatrixCone>* matrices);
  // dx and dy for right-hand sides f (num_var) and g (num_row).
  void solve(const double* f, const double* g, double* dx, double* dy);

  int64_t num_factor_elements() const { return ldl_.num_elements(); }
  int32_t dense_order() const { return ldl_.dense_order(); }

 private:
  void choose_matrix_rows();
  void build_pattern();
  void add_matrix_values(std::vector<MatrixCone>* matrices);
  void set_cone_values();
  void factor_shifted();
  void multiply(const std::vector<double>& x, std::vector<double>* out) const;
  double norm_of_residual();
  void correct(double error, double target);

  const ConicProblem& problem_;
  const std::vector<std::unique_ptr<ScaledCone>>& cones_;
  const DenseAlgebra* algebra_ = nullptr;
  UpperTriangle upper_;  // the exact matrix; the factor is that of shifted_
  UpperTriangle shifted_;
  std::vector<double> constant_;  // of each element: P and A
  std::vector<int8_t> sign_;
  std::vector<int64_t> diagonal_;            // place of each node's diagonal element
  std::vector<std::vector<int64_t>> place_;  // of each cone's elements
  int32_t first_row_node_ = 0;               // the equations are the last nodes
  // Equations with matrix variables: the dense end, or, where few of them share one, elements of
  // the sparse matrix like others.
  bool dense_matrix_rows_ = true;
  std::vector<int32_t> matrix_rows_;                // of the dense end
  std::vector<int32_t> place_of_row_;               // their place in it
  std::vector<std::vector<int64_t>> matrix_place_;  // else: of each matrix variable's elements
  std::vector<double> schur_, end_block_, products_;
  double shift_;
  SparseLdl ldl_;
  std::vector<double> rhs_, solution_, residual_;
  // Of the refinement, kept for the next one: large ones would be new pages each time.
  static constexpr size_t kMostVectors = 8;
  std::vector<double> before_;
  std::array<std::vector<double>, kMostVectors + 1> basis_;  // orthonormal
  std::array<std::vector<double>, kMostVectors> images_;     // of the basis, preconditioned
};

}  // namespace vorlan::conic
