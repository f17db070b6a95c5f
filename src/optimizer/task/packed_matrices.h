// The elements of matrix variables lie in the arrays of a solution as packed lower triangles,
// column by column, one matrix variable after the other.
#pragma once

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

inline size_t packed_size(size_t dimension) { return dimension * (dimension + 1) / 2; }

// The place within its triangle; row >= col.
inline size_t packed_place(size_t dimension, size_t row, size_t col) {
  return col * dimension - packed_size(col) + row;
}

// The start of each matrix variable, and the size of all as one more element.
inline std::vector<size_t> packed_starts(const Model& model) {
  std::vector<size_t> starts = {0};
  starts.reserve(model.matrix_vars.size() + 1);
  for (const MatrixVariable& variable : model.matrix_vars) {
    starts.push_back(starts.back() + packed_size(index(variable.dimension)));
  }
  return starts;
}

}  // namespace vorlan
