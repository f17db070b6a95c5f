// The leading part of a sparse factorization K = L D L' by supernodes: neighbouring columns of L with
// nearly the same rows, kept as one dense panel.
//
// Work goes from panel to panel in products of dense matrices, where the method row by row of
// sparse_ldl.cpp follows an index for each element (Ng and Peyton, Block sparse Cholesky algorithms on
// advanced uniprocessor computers, SIAM J. Sci. Comput. 14, 1993). That pays where columns are long.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solve/conic/dense_ldl.h"

namespace vorlan::conic {

class SupernodalLdl {
 public:
  // A matrix's upper triangle by column in the order of the pivots, and what is known of its factor:
  // the elimination tree and the number of elements below the diagonal of each column. The columns
  // from num_leading on are the dense end, which is left to the caller.
  struct Pattern {
    std::span<const int64_t> start;
    std::span<const int32_t> row;
    std::span<const int32_t> parent;
    std::span<const int64_t> counts;
    int32_t num_leading;
  };
  void analyze(const Pattern& pattern);
  void use(const DenseAlgebra* algebra) { algebra_ = algebra; }

  // Factors the leading part of the matrix of the pattern analyzed. The values are those of its
  // elements, the signs those of its columns. The end, to whose lower triangle the matrix's own
  // elements are added, becomes what is left of it for factoring. The columns whose pivots were
  // replaced are added to the list.
  void factor(const Pattern& pattern, std::span<const double> values, std::span<const int8_t> signs,
              const PivotRule& rule, MatrixView end, std::vector<int32_t>* replaced);

  // x = inv(L) x for the leading part; the rest of x loses its rows' products.
  void solve_forward(std::span<double> x) const;
  // x = inv(D L') x for the leading part, when the rest of x is solved for.
  void solve_backward(std::span<double> x) const;

  // Of the panels.
  int64_t num_elements() const;

 private:
  struct Supernode {
    int32_t first, width;  // columns
    int64_t rows_begin;    // of the rows below them in rows_
    int32_t num_rows;
    int64_t values_begin;  // of the panel, whose first rows are the columns' own
  };
  static int64_t values_end(const Supernode& node);
  void choose_supernodes(const Pattern& pattern);
  void find_rows(const Pattern& pattern);
  void find_targets(const Pattern& pattern);
  std::span<const int32_t> rows(const Supernode& node) const;
  MatrixView panel(const Supernode& node);
  ConstMatrixView panel(const Supernode& node) const;

  void scatter(const Pattern& pattern, std::span<const double> values, MatrixView end);
  void queue(int32_t s);
  void take_updates(size_t s);
  MatrixView multiply_rows(const Supernode& node, size_t from, size_t num_columns);
  void factor_panel(const Supernode& node, std::span<const int8_t> signs, const PivotRule& rule,
                    std::vector<int32_t>* replaced);
  void update_end(MatrixView end);
  void update_end_directly(const Supernode& node, size_t from, MatrixView end);
  bool takes_algebra(ConstMatrixView panel) const;
  void take_batch_off(size_t* num_columns, MatrixView end);

  int32_t num_leading_ = 0;
  std::vector<Supernode> nodes_;
  std::vector<int32_t> node_of_;  // by column
  std::vector<int32_t> rows_;
  // Of each element of the matrix, its row in the panel of its column, or in the end.
  std::vector<int32_t> target_row_;
  std::vector<double> values_;
  std::vector<double> pivot_;
  const DenseAlgebra* algebra_ = nullptr;

  // Factored supernodes wait in the list of the supernode that holds the first of their rows that
  // has not been updated yet. The last list is that of the end.
  std::vector<int32_t> waiting_, next_waiting_;
  std::vector<size_t> done_rows_;
  std::vector<int32_t> place_of_row_;  // in the panel that is updated
  std::vector<double> product_, scaled_;
  DenseMatrix batch_;  // columns of L that are to be taken off the end, and their pivots
  std::vector<double> batch_pivot_;
  mutable std::vector<double> gathered_;
};

}  // namespace vorlan::conic
