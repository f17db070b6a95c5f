// Sums over the elements of C and the A_i of one matrix variable.
//
// These elements are few beside those of the matrix, and they are stored as lower triangles: each
// one off the diagonal stands for two.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/conic_problem.h"
#include "solve/conic/matrix_view.h"
#include "task/numeric.h"

namespace vorlan::conic {

// <A, M> of a symmetric M whose elements are at(row, column).
template <class ElementAt>
double triangle_product(const std::vector<TriangleEntry>& entries, const ElementAt& at) {
  double sum = 0.0;
  for (const TriangleEntry& e : entries) {
    const double term = e.value * at(index(e.row), index(e.col));
    sum += e.row == e.col ? term : 2.0 * term;
  }
  return sum;
}

// rows_i += factor <A_i, M> of a symmetric M.
void add_products(const MatrixBlock& block, ConstMatrixView matrix, double factor,
                  std::span<double> rows);

// <C, M> of a symmetric M.
double cost_product(const MatrixBlock& block, ConstMatrixView matrix);

// M = cost C - sum_i y_i A_i + identity I, in full.
void combine(const MatrixBlock& block, double cost, std::span<const double> y, double identity,
             DenseMatrix* matrix);

// Raises each row's value to its largest absolute term in <A_i, M>.
void raise_to_terms(const MatrixBlock& block, ConstMatrixView matrix, std::span<double> rows);

}  // namespace vorlan::conic
