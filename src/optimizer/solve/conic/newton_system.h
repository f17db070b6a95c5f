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

#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "solve/conic/condensed_ldl.h"
#include "solve/conic/krylov_correction.h"
#include "solve/conic/matrix_products.h"
#include "solve/conic/scalings.h"

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

  NewtonSystem(const NewtonSystem&) = delete;
  NewtonSystem& operator=(const NewtonSystem&) = delete;

  // Gives the factor dense algebra from now on.
  void use(const DenseAlgebra* algebra) { ldl_.use(algebra); }
  // Takes the scalings of the current iterate.
  void factor(const Scalings& scalings);
  // How many times too large the residuals of a solution are for its caller, those of the equations
  // of f and of g.
  using Excess = std::function<double(std::span<const double> of_f, std::span<const double> of_g)>;
  // dx and dy for right-hand sides f and g, as exact as the caller asks: by default as rounding
  // allows.
  void solve(const NewtonVector& rhs, NewtonVector* solution, const Excess& excess = {});

  // The products of a matrix variable's rows with the scaling of the last factorization.
  const MatrixProducts& products(size_t m) const { return products_[m]; }
  int64_t num_factor_elements() const { return ldl_.num_elements(); }
  // Of products and factorization, in the time of those in products of matrices.
  double num_multiplications() const;
  int32_t dense_order() const { return ldl_.dense_order(); }
  bool has_supernodes() const { return ldl_.has_supernodes(); }
  bool is_dissected() const { return ldl_.is_dissected(); }

 private:
  std::vector<int32_t> diagonal_variables(const Scalings& scalings) const;
  void choose_matrix_rows();
  void build_pattern(const Scalings& scalings);
  template <class Act>
  void for_each_element(const Scalings& scalings, const Act& act) const;
  template <class Act>
  void for_each_cone_element(const Scalings& scalings, const Act& act) const;
  template <class Act>
  void for_each_matrix_element(const Act& act) const;
  void find_places(const Scalings& scalings);
  void keep_constant(size_t place) { constant_.emplace_back(place, upper_.value[place]); }
  // The last one of its column.
  size_t diagonal_place(size_t node) const { return index(upper_.start[node + 1]) - 1; }
  void add_cone_values(const Scalings& scalings);
  void add_matrix_values(const Scalings& scalings);
  void factor_shifted();
  void multiply(const std::vector<double>& x, std::vector<double>* out) const;
  double norm_of_residual();
  double allowed_residual(double error, const Excess& excess) const;

  // The places in the matrix of the elements that change with an iterate.
  struct Places {
    std::vector<std::vector<int64_t>> cones;     // of each cone's Hessian
    std::vector<std::vector<int64_t>> matrices;  // of each matrix variable's products
  };
  // The dense end of the matrix: the equations with matrix variables. M among them is what the factor
  // takes off there.
  struct DenseEnd {
    std::vector<int32_t> rows;
    std::vector<int32_t> place;  // of each equation
  };

  const ConicProblem& problem_;
  const DenseAlgebra* algebra_;
  UpperTriangle upper_;           // with the shift of the last factorization
  std::vector<double> diagonal_;  // without it
  // The elements that change with an iterate: what is constant of the diagonal, and the places of
  // the others with what is constant there.
  std::vector<double> constant_diagonal_;
  std::vector<std::pair<size_t, double>> constant_;
  std::vector<int8_t> sign_;
  Places place_;
  size_t first_row_node_ = 0;  // the equations are the last nodes
  // Where few equations share a matrix variable, its products are elements of the sparse matrix
  // like others, and there is no dense end.
  bool has_dense_end_ = true;
  DenseEnd end_;
  std::vector<MatrixProducts> products_;
  DenseMatrix schur_;  // of one matrix variable, where there is no dense end
  double shift_;
  CondensedLdl ldl_;
  std::vector<double> rhs_, solution_, residual_;
  std::vector<double> before_;
  KrylovCorrection::System refined_;
  KrylovCorrection correction_;
};

}  // namespace vorlan::conic
