// Sums over the elements of C and the A_i of one matrix variable.
//
// These elements are few beside those of the matrix, and they are stored as lower triangles: each
// one off the diagonal stands for two.
#pragma once

#include <span>

#include "solve/conic/conic_problem.h"
#include "solve/conic/matrix_view.h"

namespace vorlan::conic {

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
