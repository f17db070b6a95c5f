// Loops run down the columns, as the matrices are stored.
#include "solve/conic/panel_products.h"

#include <algorithm>

namespace vorlan::conic {
namespace {

void subtract_by_loops(ConstMatrixView a, ConstMatrixView b, MatrixView rest) {
  for (size_t c = 0; c < rest.cols(); ++c) {
    const std::span<double> target = rest.column(c);
    for (size_t k = 0; k < a.cols(); ++k) {
      const double factor = b(c, k);
      const std::span<const double> source = a.column(k);
      for (size_t r = c; r < target.size(); ++r) target[r] -= factor * source[r];
    }
  }
}

}  // namespace

// Column by column.
void factor_block(MatrixView block, std::span<const int8_t> signs, const PivotRule& rule,
                  std::span<double> pivots, std::vector<size_t>* replaced) {
  for (size_t c = 0; c < block.cols(); ++c) {
    const std::span<double> column = block.column(c);
    const double pivot = rule.apply(column[c], signs[c]);
    if (pivot != column[c]) replaced->push_back(c);
    pivots[c] = pivot;
    for (size_t other = c + 1; other < block.cols(); ++other) {
      const double factor = column[other] / pivot;
      const std::span<double> target = block.column(other);
      for (size_t r = other; r < block.rows(); ++r) target[r] -= factor * column[r];
    }
    for (size_t r = c + 1; r < block.rows(); ++r) column[r] /= pivot;
  }
}

void divide_by_block(const DenseAlgebra* algebra, ConstMatrixView block, MatrixView panel) {
  if (algebra != nullptr) {
    algebra->divide_from_right(block, Diagonal::kUnit, panel);
    return;
  }
  for (size_t c = 0; c < panel.cols(); ++c) {
    const std::span<double> target = panel.column(c);
    for (size_t done = 0; done < c; ++done) {
      const double factor = block(c, done);
      const std::span<const double> source = panel.column(done);
      for (size_t r = 0; r < target.size(); ++r) target[r] -= factor * source[r];
    }
  }
}

void subtract_product(const DenseAlgebra* algebra, ConstMatrixView a, ConstMatrixView b,
                      MatrixView rest) {
  if (algebra == nullptr) return subtract_by_loops(a, b, rest);
  algebra->multiply(-1.0, a, transposed(b), 1.0, rest);
}

void subtract_symmetric_product(const DenseAlgebra* algebra, ConstMatrixView a, ConstMatrixView b,
                                MatrixView rest) {
  if (algebra == nullptr) return subtract_by_loops(a, b, rest);
  algebra->multiply_symmetric(-1.0, a, transposed(b), 1.0, rest);
}

}  // namespace vorlan::conic
