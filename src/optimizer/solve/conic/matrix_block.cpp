// Each function is one pass over the elements of a block.
#include "solve/conic/matrix_block.h"

#include <algorithm>
#include <cmath>

namespace vorlan::conic {
namespace {

void add_triangle(const std::vector<TriangleEntry>& entries, double factor, MatrixView matrix) {
  if (factor == 0.0) return;
  for (const TriangleEntry& e : entries) {
    const double term = factor * e.value;
    matrix(index(e.row), index(e.col)) += term;
    if (e.row != e.col) matrix(index(e.col), index(e.row)) += term;
  }
}

}  // namespace

void add_products(const MatrixBlock& block, ConstMatrixView matrix, double factor,
                  std::span<double> rows) {
  for (const MatrixPart& part : block.parts) {
    rows[index(part.row)] += factor * triangle_product(part.entries, matrix);
  }
}

double cost_product(const MatrixBlock& block, ConstMatrixView matrix) {
  return triangle_product(block.cost, matrix);
}

void combine(const MatrixBlock& block, double cost, std::span<const double> y, double identity,
             DenseMatrix* matrix) {
  matrix->fill(0.0);
  add_triangle(block.cost, cost, *matrix);
  for (const MatrixPart& part : block.parts) {
    add_triangle(part.entries, -y[index(part.row)], *matrix);
  }
  for (size_t i = 0; i < matrix->rows(); ++i) (*matrix)(i, i) += identity;
}

void raise_to_terms(const MatrixBlock& block, ConstMatrixView matrix, std::span<double> rows) {
  for (const MatrixPart& part : block.parts) {
    double& size = rows[index(part.row)];
    for (const TriangleEntry& e : part.entries) {
      size = std::max(size, std::fabs(e.value * matrix(index(e.row), index(e.col))));
    }
  }
}

}  // namespace vorlan::conic
