// A sparse symmetric matrix.
#pragma once

#include <cstdint>
#include <vector>

#include "task/numeric.h"

namespace vorlan::conic {

// The upper triangle (row <= column) of a symmetric matrix by column. Every diagonal element is
// present.
struct UpperTriangle {
  int32_t order = 0;
  std::vector<int64_t> start = {0};
  std::vector<int32_t> row;
  std::vector<double> value;

  // Calls act(row, column, place) for each element, in the order of their places.
  template <class Act>
  void for_each(const Act& act) const {
    for (int32_t col = 0; col < order; ++col) {
      for (int64_t k = start[index(col)]; k < start[index(col) + 1]; ++k) {
        act(row[index(k)], col, index(k));
      }
    }
  }
};

}  // namespace vorlan::conic
