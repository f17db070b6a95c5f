// Sparse products, and a cone's members.
#include "solve/conic/conic_problem.h"

#include <numeric>

namespace vorlan::conic {

Columns transpose(const Columns& matrix) {
  Columns result;
  result.num_row = matrix.num_col();
  result.start.assign(index(matrix.num_row) + 1, 0);
  for (const int32_t row : matrix.row) ++result.start[index(row) + 1];
  std::partial_sum(result.start.begin(), result.start.end(), result.start.begin());
  result.row.resize(matrix.row.size());
  result.value.resize(matrix.row.size());
  std::vector<int64_t> next(result.start.begin(), result.start.end() - 1);
  for (int32_t col = 0; col < matrix.num_col(); ++col) {
    const size_t end = index(matrix.start[index(col) + 1]);
    for (size_t k = index(matrix.start[index(col)]); k < end; ++k) {
      const size_t to = index(next[index(matrix.row[k])]++);
      result.row[to] = col;
      result.value[to] = matrix.value[k];
    }
  }
  return result;
}

void add_product(const Columns& a, double factor, std::span<const double> x, std::span<double> y) {
  for (size_t j = 0; j < index(a.num_col()); ++j) {
    const double xj = factor * x[j];
    if (xj == 0.0) continue;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      y[index(a.row[k])] += a.value[k] * xj;
    }
  }
}

void add_transposed_product(const Columns& a, double factor, std::span<const double> x,
                            std::span<double> y) {
  for (size_t j = 0; j < index(a.num_col()); ++j) {
    double sum = 0.0;
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      sum += a.value[k] * x[index(a.row[k])];
    }
    y[j] += factor * sum;
  }
}

void gather(const ConeBlock& block, const std::vector<double>& from, std::vector<double>* members) {
  members->resize(block.vars.size());
  for (size_t i = 0; i < block.vars.size(); ++i) (*members)[i] = from[index(block.vars[i])];
}

void scatter(const ConeBlock& block, std::span<const double> members, std::vector<double>* to) {
  for (size_t i = 0; i < block.vars.size(); ++i) (*to)[index(block.vars[i])] = members[i];
}

}  // namespace vorlan::conic
