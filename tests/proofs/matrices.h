// Symmetric matrices of rational numbers, and exact proofs that they are positive semidefinite.
#pragma once

#include "model.h"
#include "numbers.h"

namespace proofs {

class SymmetricMatrix {
 public:
  explicit SymmetricMatrix(size_t dimension)
      : dimension_(dimension), elements_(dimension * dimension) {}

  size_t dimension() const { return dimension_; }
  // Adds to (row, col) and (col, row).
  void add(const Square& element, const Rational& factor);
  void add_to_diagonal(const Point& values);
  const Rational& at(size_t row, size_t col) const { return elements_[row * dimension_ + col]; }
  Point times(const Point& x) const;
  bool is_zero() const;
  bool is_positive_semidefinite() const;

 private:
  std::vector<size_t> rows_with_elements() const;

  size_t dimension_;
  std::vector<Rational> elements_;
};

// The diagonal that makes the matrix positive semidefinite: a power of two, or 0, of the given
// weights, which are not negative. Empty when no such diagonal up to 2^20 times the weights does.
Point diagonal_shift(const SymmetricMatrix& matrix, const Point& weights);

}  // namespace proofs
