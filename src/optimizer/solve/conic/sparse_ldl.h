// Sparse factorization K = L D L' of a symmetric quasi-definite matrix, with a dense end.
//
// Quasi-definite means that K is positive definite on some of its indices and negative definite on
// the others; then L D L' exists for every order of the pivots (Vanderbei, Symmetric quasidefinite
// matrices, SIAM J. Optim. 5, 1995), and the sign of each pivot is known beforehand. A pivot that
// rounding has made too small or given the wrong sign is replaced, which iterative refinement by
// the caller mends.
//
// Where its columns are short, the leading part is factored row by row along the elimination tree
// (Davis, Algorithm 849: a concise sparse Cholesky factorization package, ACM TOMS 31, 2005), else by
// supernodes. The end of an ordering for little fill is almost always a dense triangle, and it holds
// most of the work: it is factored by blocks.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "solve/conic/dense_ldl.h"
#include "solve/conic/supernodal_ldl.h"
#include "solve/conic/upper_triangle.h"

namespace vorlan::conic {

class SparseLdl {
 public:
  // Chooses the order of the pivots and makes room. The nodes of `last` come last, in the order
  // given, and make the dense end; when there are none, it is found.
  void analyze(const UpperTriangle& matrix, std::span<const int32_t> last);

  void set_pivot_rule(const PivotRule& rule) { pivot_rule_ = rule; }

  // Gives dense algebra from now on. The caller loads it where large dense parts are to be
  // expected; without it they are slower.
  void use(const DenseAlgebra* algebra) {
    end_.use(algebra);
    supernodes_.use(algebra);
  }

  // The upper triangle of a matrix that each factorization takes off the nodes of the dense end, in
  // its order: 0 after analyze(), and kept by factor().
  MatrixView taken_off() { return end_.kept(); }
  ConstMatrixView taken_off() const { return end_.kept(); }

  // Factors the matrix, of the pattern analyzed, whose pivots have the signs given.
  void factor(const UpperTriangle& matrix, std::span<const int8_t> signs);

  // For a caller that adds up the matrix's values where they are needed: the place of each element of
  // the matrix analyzed among the values, which is given away, and the factorization of these values.
  std::vector<int32_t> take_places() { return std::move(place_of_element_); }
  std::span<double> values() { return permuted_.value; }
  void factor(std::span<const int8_t> signs);

  // Replaces the right-hand side by the solution.
  void solve(std::span<double> rhs) const;

  int64_t num_elements() const;
  // Of a factorization, in its supernodes and in its dense end.
  double num_multiplications() const;
  int32_t dense_order() const { return order_ - num_leading_; }
  // Whether the leading part is factored by supernodes.
  bool has_supernodes() const { return is_supernodal_; }
  // Whether the order is one by nested dissection.
  bool is_dissected() const { return is_dissected_; }
  // The nodes whose pivots the last factorization replaced.
  const std::vector<int32_t>& replaced() const { return replaced_; }

 private:
  // The upper triangle in the order of the pivots, by column.
  struct Permuted {
    std::vector<int64_t> start;
    std::vector<int32_t> row;
    std::vector<double> value;
  };
  // What a factor has and takes.
  struct Fill {
    double elements = 0.0;
    double multiplications = 0.0;
  };
  std::vector<int64_t> choose_order(const UpperTriangle& matrix, std::span<const int32_t> last);
  std::vector<int64_t> follow_order(const UpperTriangle& matrix);
  std::vector<int32_t> postorder(int32_t count) const;
  static Fill fill_of(const std::vector<int64_t>& counts);
  void permute_pattern(const UpperTriangle& matrix);
  void build_tree();
  std::vector<int64_t> count_columns();
  void choose_leading(const std::vector<int64_t>& counts, size_t num_last);
  int32_t reach(int32_t k, int32_t limit);
  bool has_long_columns(const std::vector<int64_t>& counts);
  void prepare_rows(const std::vector<int64_t>& counts);
  void factor_row(int32_t k, std::span<const int8_t> signs);
  void factor_supernodes(std::span<const int8_t> signs);
  void solve_rows_forward(std::span<double> x) const;
  void solve_rows_backward(std::span<double> x) const;
  void set_up(std::span<const int8_t> signs);
  void start_end();

  int32_t order_ = 0;
  int32_t num_leading_ = 0;  // the others are the dense end
  bool is_end_given_ = false;
  std::vector<int32_t> node_at_;   // node at each place of the order
  std::vector<int32_t> place_of_;  // and the inverse
  std::vector<int32_t> parent_;    // elimination tree, by place
  Permuted permuted_;
  std::vector<int32_t> place_of_element_;  // of each element of the caller's matrix
  bool is_dissected_ = false;
  bool is_supernodal_ = false;
  double supernodal_multiplications_ = 0.0;
  SupernodalLdl supernodes_;
  // Else the leading columns of L by rows, and D. The ends grow while rows are factored.
  std::vector<int64_t> start_, column_end_;
  std::vector<int32_t> row_;
  std::vector<double> value_;
  std::vector<double> pivot_;
  DenseLdl end_;
  PivotRule pivot_rule_;
  std::vector<int32_t> replaced_;

  // The work space of a row.
  std::vector<int32_t> mark_, stack_;
  std::vector<double> work_;
  mutable std::vector<double> solution_;
};

}  // namespace vorlan::conic
