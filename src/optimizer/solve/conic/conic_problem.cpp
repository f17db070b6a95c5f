// Sparse products.
#include "solve/conic/conic_problem.h"

#include <numeric>

#include "solve/check/vectors.h"

namespace vorlan::conic {

Columns transpose(const Columns& matrix) {
  Columns result;
  result.num_row = matrix.num_col();
  result.start.assign(static_cast<size_t>(matrix.num_row) + 1, 0);
  for (const int32_t row : matrix.row) ++result.start[static_cast<size_t>(row) + 1];
  std::partial_sum(result.start.begin(), result.start.end(), result.start.begin());
  result.row.resize(matrix.row.size());
  result.value.resize(matrix.row.size());
  std::vector<int64_t> next(result.start.begin(), result.start.end() - 1);
  for (int32_t col = 0; col < matrix.num_col(); ++col) {
    const auto j = static_cast<size_t>(col);
    for (auto k = static_cast<size_t>(matrix.start[j]);
         k < static_cast<size_t>(matrix.start[j + 1]); ++k) {
      const auto to = static_cast<size_t>(next[static_cast<size_t>(matrix.row[k])]++);
      result.row[to] = col;
      result.value[to] = matrix.value[k];
    }
  }
  return result;
}

void add_product(const Columns& a, double factor, const double* x, double* y) {
  const auto num_col = static_cast<size_t>(a.num_col());
  for (size_t j = 0; j < num_col; ++j) {
    const double xj = factor * x[j];
    if (xj == 0.0) continue;
    for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
      y[a.row[k]] += a.value[k] * xj;
    }
  }
}

void add_transposed_product(const Columns& a, double factor, const double* x, double* y) {
  const auto num_col = static_cast<size_t>(a.num_col());
  for (size_t j = 0; j < num_col; ++j) {
    double sum = 0.0;
    for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
      sum += a.value[k] * x[a.row[k]];
    }
    y[j] += factor * sum;
  }
}

void gather(const ConeBlock& block, const std::vector<double>& from, double* to) {
  for (size_t i = 0; i < block.vars.size(); ++i) to[i] = from[index(block.vars[i])];
}

void scatter(const ConeBlock& block, const double* from, std::vector<double>* to) {
  for (size_t i = 0; i < block.vars.size(); ++i) (*to)[index(block.vars[i])] = from[i];
}

}  // namespace vorlan::conic
