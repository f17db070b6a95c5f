// Sparse factorization K = L D L' of a symmetric quasi-definite matrix, with a dense end.
//
// Quasi-definite means that K is positive definite on some of its indices and negative definite on
// the others; then L D L' exists for every order of the pivots (Vanderbei, Symmetric quasidefinite
// matrices, SIAM J. Optim. 5, 1995), and the sign of each pivot is known beforehand. A pivot that
// rounding has made too small or given the wrong sign is replaced, which iterative refinement by
// the caller mends.
//
// The leading part is factored row by row along the elimination tree (Davis, Algorithm 849: a
// concise sparse Cholesky factorization package, ACM TOMS 31, 2005). The end of an ordering for
// little fill is almost always a dense triangle, and it holds most of the work: it is factored by
// blocks.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

// The upper triangle (row <= column) of a symmetric matrix by column. Every diagonal element is
// present.
struct UpperTriangle {
  int32_t order = 0;
  std::vector<int64_t> start = {0};
  std::vector<int32_t> row;
  std::vector<double> value;
};

class SparseLdl {
 public:
  // Chooses the order of the pivots and makes room. The nodes of `last` come last, in the order
  // given, and make the dense end; when there are none, it is found.
  void analyze(const UpperTriangle& matrix, std::span<const int32_t> last);

  // A pivot whose size with its due sign is no more than `least` is replaced.
  struct PivotRule {
    // The matrix is scaled to elements of about 1: a smaller pivot holds no digit any more, and the
    // replacement is large enough that L keeps to sensible sizes.
    double least = 1e-13;
    double replacement = 1e-7;
  };
  void set_pivot_rule(const PivotRule& rule) { pivot_rule_ = rule; }

  // Loaded by the caller where large dense parts are to be expected; without it they are slower.
  void use(const DenseAlgebra* algebra) { algebra_ = algebra; }

  // Factors the matrix, of the pattern analyzed, whose pivots have the signs given. To the nodes of
  // the dense end, in its order, the lower triangle of `end_block` is added if it is not null.
  void factor(const UpperTriangle& matrix, std::span<const int8_t> signs,
              const DenseMatrix* end_block);

  // Replaces the right-hand side by the solution.
  void solve(std::span<double> rhs) const;

  int64_t num_elements() const;
  int32_t dense_order() const { return order_ - num_leading_; }
  // The nodes whose pivots the last factorization replaced.
  const std::vector<int32_t>& replaced() const { return replaced_; }

 private:
  void choose_order(const UpperTriangle& matrix, std::span<const int32_t> last);
  void permute_pattern(const UpperTriangle& matrix);
  void build_tree();
  std::vector<int64_t> count_columns();
  void choose_leading(const std::vector<int64_t>& counts, size_t num_last);
  int32_t reach(int32_t k, int32_t limit);
  void factor_row(int32_t k, std::span<const int8_t> signs);
  void set_up(const UpperTriangle& matrix, std::span<const int8_t> signs,
              const DenseMatrix* end_block);
  bool factor_negative_end(std::span<const int8_t> signs);
  void factor_dense_end(std::span<const int8_t> signs);
  void factor_block(size_t first, size_t size, std::span<const int8_t> signs);
  void update_after_block(size_t first, size_t size);
  void solve_panel(ConstMatrixView block, MatrixView panel) const;
  void update_rest(ConstMatrixView panel, MatrixView rest) const;
  double safe_pivot(int32_t place, double pivot, std::span<const int8_t> signs);
  void solve_dense_end(std::span<double> x) const;

  int32_t order_ = 0;
  int32_t num_leading_ = 0;
  std::vector<int32_t> node_at_;       // node at each place of the order
  std::vector<int32_t> place_of_;      // and the inverse
  std::vector<int32_t> parent_;        // elimination tree, by place
  std::vector<int64_t> matrix_start_;  // permuted upper triangle by column
  std::vector<int32_t> matrix_row_;
  std::vector<int64_t> matrix_from_;  // where each element is in the caller's matrix
  std::vector<double> matrix_value_;
  std::vector<int64_t> start_, end_;  // columns of L; end_ grows while rows are factored
  std::vector<int32_t> row_;
  std::vector<double> value_;
  std::vector<double> pivot_;  // D
  DenseMatrix dense_;          // the end, lower triangle
  const DenseAlgebra* algebra_ = nullptr;
  PivotRule pivot_rule_;
  std::vector<int32_t> replaced_;

  // Work space of a row.
  std::vector<int32_t> mark_, stack_;
  std::vector<double> work_;
  DenseMatrix panel_;  // of a block of the dense end
  mutable std::vector<double> solution_;
};

}  // namespace vorlan::conic
