// Compressed columns from elements that come in any order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "task/numeric.h"

namespace vorlan::conic {

// Brings the elements of a column into the order of their rows, those of the same row as they came.
template <class Matrix>
void sort_column(size_t begin, size_t end, std::vector<std::pair<int32_t, double>>* work,
                 Matrix* matrix) {
  std::vector<int32_t>& row = matrix->row;
  if (std::is_sorted(row.begin() + static_cast<int64_t>(begin),
                     row.begin() + static_cast<int64_t>(end))) {
    return;
  }
  work->clear();
  for (size_t k = begin; k < end; ++k) work->emplace_back(row[k], matrix->value[k]);
  std::stable_sort(work->begin(), work->end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (size_t k = begin; k < end; ++k) std::tie(row[k], matrix->value[k]) = (*work)[k - begin];
}

// Fills a matrix's start, row and value, elements of the same place added up. The function calls
// act(row, column, value) for each element, and is called twice, so that nothing is kept but the
// columns themselves.
template <class Matrix, class ForEach>
void compress(size_t num_col, const ForEach& for_each_element, Matrix* matrix) {
  std::vector<int64_t>& start = matrix->start;
  start.assign(num_col + 1, 0);
  for_each_element([&](size_t /*row*/, size_t col, double /*value*/) { ++start[col + 1]; });
  std::partial_sum(start.begin(), start.end(), start.begin());
  matrix->row.resize(index(start.back()));
  matrix->value.resize(matrix->row.size());
  std::vector<int64_t> next(start.begin(), start.end() - 1);
  for_each_element([&](size_t row, size_t col, double value) {
    const size_t k = index(next[col]++);
    matrix->row[k] = static_cast<int32_t>(row);
    matrix->value[k] = value;
  });
  std::vector<std::pair<int32_t, double>> work;
  size_t to = 0;
  for (size_t col = 0; col < num_col; ++col) {
    const size_t begin = index(start[col]);
    const size_t end = index(start[col + 1]);
    sort_column(begin, end, &work, matrix);
    start[col] = static_cast<int64_t>(to);
    for (size_t k = begin; k < end; ++k) {
      if (k > begin && matrix->row[k] == matrix->row[to - 1]) {
        matrix->value[to - 1] += matrix->value[k];
        continue;
      }
      matrix->row[to] = matrix->row[k];
      matrix->value[to++] = matrix->value[k];
    }
  }
  start[num_col] = static_cast<int64_t>(to);
  matrix->row.resize(to);
  matrix->value.resize(to);
}

}  // namespace vorlan::conic
