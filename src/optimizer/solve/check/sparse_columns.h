// Makes a matrix by columns from elements in any order: readers of elements have them in their own
// order, and solvers want columns.
#pragma once

#include <algorithm>
#include <numeric>
#include <vector>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

struct MatrixElement {
  int32_t row, col;
  double value;
};

// Elements of one place are added; what becomes 0 is left out.
inline SparseMatrix make_columns(std::vector<MatrixElement> elements, size_t num_columns) {
  std::stable_sort(elements.begin(), elements.end(),
                   [](const MatrixElement& a, const MatrixElement& b) {
                     return a.col != b.col ? a.col < b.col : a.row < b.row;
                   });
  SparseMatrix matrix;
  matrix.start.assign(num_columns + 1, 0);
  for (size_t k = 0; k < elements.size();) {
    const MatrixElement& first = elements[k];
    double sum = 0.0;
    while (k < elements.size() && elements[k].row == first.row && elements[k].col == first.col) {
      sum += elements[k++].value;
    }
    if (sum == 0.0) continue;
    matrix.row.push_back(first.row);
    matrix.value.push_back(sum);
    ++matrix.start[index(first.col) + 1];
  }
  std::partial_sum(matrix.start.begin(), matrix.start.end(), matrix.start.begin());
  return matrix;
}

}  // namespace vorlan
