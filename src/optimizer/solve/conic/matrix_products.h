// The elements that a matrix variable adds to the equations of a step: <A_i, W A_j W> of all pairs
// of its rows.
//
// The dual residual of a matrix variable stays a multiple of what it is at the start, C - I, since
// each step takes the same share off it. So C and I join the A_i as two more rows, whose products
// with the others give the right-hand sides.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/conic_problem.h"
#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

class MatrixProducts {
 public:
  MatrixProducts(const MatrixBlock& block, const DenseAlgebra& algebra);

  // Computes all products with W. Those of the A_i are added to the upper triangle of `sum`, in which
  // each part of the block has the place given.
  void compute(const DenseMatrix& w, std::span<const size_t> places, MatrixView sum);

  // Of all products, in the time of those in products of matrices.
  double num_multiplications() const;

  // <A_i, W C W> and <A_i, W W> by part, <C, W C W> and <C, W W>.
  const std::vector<double>& cost_column() const { return cost_column_; }
  const std::vector<double>& identity_column() const { return identity_column_; }
  double cost_square() const { return cost_square_; }
  double cost_identity() const { return cost_identity_; }

  // rows_i += factor <A_i, W (C - I) W>.
  void add_residual_products(double factor, std::vector<double>* rows) const;

 private:
  struct Element {
    int32_t row, col;
    double weight;  // twice the value off the diagonal
  };
  // The elements of C, of I or of an A_i.
  struct Row {
    int32_t part;  // kCost, kIdentity or a part of the block
    size_t start, end;
    std::vector<size_t> support;  // the matrix's rows that have elements, ascending
    // Where the matrix is sign a a': the elements of a in the support, else empty.
    std::vector<double> factor;
    double sign;
  };
  // What a thread keeps of the row at hand: W a where A is sign a a'; else the columns of W in its
  // support, W A there, the transposes of both, and W A W. All columns are W itself, its own transpose.
  struct Work {
    std::vector<double> along;
    DenseMatrix some_columns, image, some_rows, image_rows, product;
    ConstMatrixView gathered{nullptr, 0, 0, 0};
    ConstMatrixView gathered_rows{nullptr, 0, 0, 0};
    std::vector<size_t> place;  // in the support
  };
  Row make_row(int32_t part, const std::vector<TriangleEntry>& entries);
  std::span<const Element> elements(const Row& row) const;
  void factor_rank_one(Row* row) const;
  bool takes_full_product(const Row& row) const;
  double work_of(const Row& row) const;
  // Where products go.
  struct Target {
    std::span<const size_t> places;
    MatrixView sum;
  };
  void compute_row(const DenseMatrix& w, size_t i, Work* work, const Target& target);
  void multiply_factor(const DenseMatrix& w, const Row& row, Work* work) const;
  void gather(const DenseMatrix& w, const Row& row, Work* work) const;
  void multiply_by_scaling(const DenseMatrix& w, const Row& row, Work* work) const;
  void multiply_by_elements(const Row& row, Work* work) const;
  double factored_product(const Row& row, const Work& work) const;
  double full_product(const Row& row, const Work& work) const;
  double gathered_product(const Row& row, const Work& work) const;
  void store(int32_t a, int32_t b, double value, const Target& target);

  const MatrixBlock& block_;
  const DenseAlgebra& algebra_;
  std::vector<Row> rows_;  // the longest first
  std::vector<Element> elements_;
  std::vector<double> cost_column_, identity_column_;
  double cost_square_ = 0.0;
  double cost_identity_ = 0.0;
};

}  // namespace vorlan::conic
