// The linear system behind each step, reduced to scalar variables and equations:
//
//   [ P + G'diag(h)G + H   A' ] [ dx ]   [ f ]
//   [ A                   -M  ] [ -dy ] = [ g ]
//
// where h and H are the scalings of bounds and cones, and M holds the matrix variables,
// <A_i, W A_j W>. The Hessian of a large second-order cone, D + uu' - vv', takes two more rows
// instead of a dense block. The matrix is quasi-definite but for a shift of its diagonal by a tiny
// constant, which iterative refinement takes back.
#pragma once

#include <array>
#include <vector>

#include "solve/conic/matrix_products.h"
#include "solve/conic/scalings.h"
#include "solve/conic/sparse_ldl.h"

namespace vorlan::conic {

// A right-hand side or a solution: an element for each scalar variable (f, dx) and for each
// equation (g, dy).
struct NewtonVector {
  explicit NewtonVector(const ConicProblem& problem)
      : x(problem.cost.size()), y(problem.rhs.size()) {}
  std::vector<double> x, y;
};

class NewtonSystem {
 public:
  // Chooses the order of the pivots. The algebra may be null where there are no matrix variables.
  NewtonSystem(const ConicProblem& problem, const Scalings& scalings, const DenseAlgebra* algebra);

  // Gives the factor dense algebra from now on.
  void use(const DenseAlgebra* algebra) { ldl_.use(algebra); }
  // Takes the scalings of the current iterate.
  void factor(const Scalings& scalings);
  // dx and dy for right-hand sides f and g.
  void solve(const NewtonVector& rhs, NewtonVector* solution);

  // The products of a matrix variable's rows with the scaling of the last factorization.
  const MatrixProducts& products(size_t m) const { return products_[m]; }
  int64_t num_factor_elements() const { return ldl_.num_elements(); }
  int32_t dense_order() const { return ldl_.dense_order(); }

 private:
  class Pattern;
  void choose_matrix_rows();
  void build_pattern(const Scalings& scalings);
  void add_dense_cone(size_t c, Pattern* pattern);
  void add_sparse_cone(size_t c, Pattern* pattern);
  void add_matrices(Pattern* pattern);
  void add_cone_values(const Scalings& scalings);
  void add_matrix_values(const Scalings& scalings);
  void factor_shifted();
  void multiply(const std::vector<double>& x, std::vector<double>* out) const;
  double norm_of_residual();
  void correct(double error, double target);

  const ConicProblem& problem_;
  const DenseAlgebra* algebra_;
  UpperTriangle upper_;  // the exact matrix; the factor is that of shifted_
  UpperTriangle shifted_;
  std::vector<double> constant_;  // of each element: P and A
  std::vector<int8_t> sign_;
  std::vector<int64_t> diagonal_;            // place of each node's diagonal element
  std::vector<std::vector<int64_t>> place_;  // of each cone's elements
  size_t first_row_node_ = 0;                // the equations are the last nodes
  // Equations with matrix variables are the dense end of the matrix, or, where few of them share a
  // matrix variable, elements of the sparse matrix like others.
  bool has_dense_end_ = true;
  std::vector<int32_t> end_rows_;                   // the equations of the dense end
  std::vector<int32_t> place_in_end_;               // of each equation
  std::vector<std::vector<int64_t>> matrix_place_;  // else: of each matrix variable's elements
  std::vector<MatrixProducts> products_;
  DenseMatrix end_, negative_end_;  // M of the dense end, lower triangle, and -M
  DenseMatrix schur_;               // of one matrix variable
  double shift_;
  SparseLdl ldl_;
  std::vector<double> rhs_, solution_, residual_;
  // Vectors of the refinement are kept for the next one: large ones would be new pages each time.
  static constexpr size_t kMostVectors = 8;
  std::vector<double> before_;
  std::array<std::vector<double>, kMostVectors + 1> basis_;  // orthonormal
  std::array<std::vector<double>, kMostVectors> images_;     // of the basis, preconditioned
};

}  // namespace vorlan::conic
