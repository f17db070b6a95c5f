// A sparse symmetric matrix.
#pragma once

#include <cstdint>
#include <vector>

namespace vorlan::conic {

// The upper triangle (row <= column) of a symmetric matrix by column. Every diagonal element is
// present.
struct UpperTriangle {
  int32_t order = 0;
  std::vector<int64_t> start = {0};
  std::vector<int32_t> row;
  std::vector<double> value;
};

}  // namespace vorlan::conic
