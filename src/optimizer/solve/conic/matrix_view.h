// Dense matrices by column, and views of them that carry their sizes.
//
// BLAS takes a pointer, two orders and a stride for each matrix, and nothing tells it when one of
// them belongs to another matrix. A view keeps the four together, so that a routine derives all
// orders from its arguments and can assert that they fit.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <span>
#include <type_traits>
#include <vector>

namespace vorlan::conic {

// A rectangle of a matrix whose columns are `stride` elements apart.
template <class Value>
class BasicMatrixView {
 public:
  BasicMatrixView(Value* data, size_t rows, size_t cols, size_t stride)
      : data_(data), rows_(rows), cols_(cols), stride_(stride) {
    assert(rows <= stride || cols <= 1);
  }
  // A view that may write is one that may read.
  template <class Other>
  requires std::is_same_v<Value, const Other> BasicMatrixView(const BasicMatrixView<Other>& other)
      : BasicMatrixView(other.data(), other.rows(), other.cols(), other.stride()) {}

  Value* data() const { return data_; }
  size_t rows() const { return rows_; }
  size_t cols() const { return cols_; }
  size_t stride() const { return stride_; }
  bool is_square() const { return rows_ == cols_; }

  Value& operator()(size_t row, size_t col) const { return data_[col * stride_ + row]; }
  std::span<Value> column(size_t col) const { return {data_ + col * stride_, rows_}; }
  // The part of the given size whose first element is (row, col).
  BasicMatrixView block(size_t row, size_t col, size_t rows, size_t cols) const {
    assert(row + rows <= rows_ && col + cols <= cols_);
    return {data_ + col * stride_ + row, rows, cols, stride_};
  }
  BasicMatrixView columns(size_t first, size_t count) const {
    return block(0, first, rows_, count);
  }

 private:
  Value* data_;
  size_t rows_, cols_, stride_;
};

using MatrixView = BasicMatrixView<double>;
using ConstMatrixView = BasicMatrixView<const double>;

// A matrix with its own elements, all 0 at first.
class DenseMatrix {
 public:
  DenseMatrix() = default;
  DenseMatrix(size_t rows, size_t cols) : rows_(rows), cols_(cols), values_(rows * cols) {}
  static DenseMatrix identity(size_t order) {
    DenseMatrix matrix(order, order);
    for (size_t i = 0; i < order; ++i) matrix(i, i) = 1.0;
    return matrix;
  }

  size_t rows() const { return rows_; }
  size_t cols() const { return cols_; }
  double& operator()(size_t row, size_t col) { return values_[col * rows_ + row]; }
  double operator()(size_t row, size_t col) const { return values_[col * rows_ + row]; }

  // All elements, column after column.
  std::span<double> values() { return values_; }
  std::span<const double> values() const { return values_; }
  void fill(double value) { std::fill(values_.begin(), values_.end(), value); }
  // Takes another size, and keeps its memory where that is enough. Elements are whatever was there.
  void resize(size_t rows, size_t cols) {
    rows_ = rows;
    cols_ = cols;
    values_.resize(rows * cols);
  }
  // The same with all elements 0.
  void reset(size_t rows, size_t cols) {
    rows_ = rows;
    cols_ = cols;
    values_.assign(rows * cols, 0.0);
  }

  MatrixView view() { return {values_.data(), rows_, cols_, rows_}; }
  ConstMatrixView view() const { return {values_.data(), rows_, cols_, rows_}; }
  operator MatrixView() { return view(); }
  operator ConstMatrixView() const { return view(); }

 private:
  size_t rows_ = 0, cols_ = 0;
  std::vector<double> values_;
};

// Two triangles of one order, each with a diagonal of its own, in hardly more memory than one square:
// the lower triangle of one matrix and the upper triangle of another.
class TrianglePair {
 public:
  // All elements become 0.
  void reset(size_t order) { values_.reset(order + 1, order); }
  size_t order() const { return values_.cols(); }

  // Views of which only the lower triangle, or the upper one, may be read or written.
  MatrixView lower() { return values_.view().block(1, 0, order(), order()); }
  ConstMatrixView lower() const { return values_.view().block(1, 0, order(), order()); }
  MatrixView upper() { return values_.view().block(0, 0, order(), order()); }
  ConstMatrixView upper() const { return values_.view().block(0, 0, order(), order()); }

 private:
  DenseMatrix values_;
};

}  // namespace vorlan::conic
