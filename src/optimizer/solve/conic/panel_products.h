// The steps of a factorization L D L' by blocks of columns, which dense and sparse factorizations share.
// Dense algebra may be null: loops are slower then.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

// A pivot whose size with its due sign is no more than `least` is replaced.
struct PivotRule {
  // The matrix is scaled to elements of about 1: a smaller pivot holds no digit any more, and the
  // replacement is large enough that L keeps to sensible sizes.
  double least = 1e-13;
  double replacement = 1e-7;

  // The pivot, or its replacement.
  double apply(double pivot, int8_t sign) const {
    return pivot * sign > least ? pivot : replacement * sign;
  }
};

// Factors the block, given by its lower triangle, whose pivots have the signs given. The places of
// those that were replaced are added to the list.
void factor_block(MatrixView block, std::span<const int8_t> signs, const PivotRule& rule,
                  std::span<double> pivots, std::vector<size_t>* replaced);

// panel = panel inv(L') with the unit lower triangle L of the block.
void divide_by_block(const DenseAlgebra* algebra, ConstMatrixView block, MatrixView panel);

// rest -= a b', of which at least the lower triangle is made.
void subtract_product(const DenseAlgebra* algebra, ConstMatrixView a, ConstMatrixView b,
                      MatrixView rest);

// The lower triangle of rest -= a b', which is known to be symmetric.
void subtract_symmetric_product(const DenseAlgebra* algebra, ConstMatrixView a, ConstMatrixView b,
                                MatrixView rest);

}  // namespace vorlan::conic
