// One pass over the matrix.
#include "solve/conic/residual_sizes.h"

#include <algorithm>
#include <cmath>

namespace vorlan::conic {

double largest_element(const std::vector<TriangleEntry>& entries) {
  double size = 0.0;
  for (const TriangleEntry& e : entries) size = std::max(size, std::fabs(e.value));
  return size;
}

ResidualSizes residual_sizes(const ConicProblem& problem, const Equilibration& scaling,
                             const std::vector<MatrixCone>& matrices, const std::vector<double>& x,
                             const std::vector<double>& y, double tau) {
  ResidualSizes sizes;
  const size_t num_var = problem.cost.size();
  const size_t num_row = problem.rhs.size();
  sizes.row.resize(num_row);
  sizes.var.resize(num_var);
  for (size_t i = 0; i < num_row; ++i) sizes.row[i] = std::fabs(tau * problem.rhs[i]);
  for (size_t j = 0; j < num_var; ++j) {
    double size = std::fabs(tau * problem.cost[j]);
    const Columns& a = problem.matrix;
    for (auto k = static_cast<size_t>(a.start[j]); k < static_cast<size_t>(a.start[j + 1]); ++k) {
      const auto i = static_cast<size_t>(a.row[k]);
      const double value = std::fabs(a.value[k]);
      size = std::max(size, value * std::fabs(y[i]));
      sizes.row[i] = std::max(sizes.row[i], value * std::fabs(x[j]));
    }
    const Columns& p = problem.quadratic;
    for (auto k = static_cast<size_t>(p.start[j]); k < static_cast<size_t>(p.start[j + 1]); ++k) {
      size = std::max(size, std::fabs(p.value[k] * x[static_cast<size_t>(p.row[k])]));
    }
    sizes.var[j] = std::max(1.0, size / (scaling.cost * scaling.var[j] * tau));
  }
  for (const MatrixCone& matrix : matrices) matrix.term_sizes(sizes.row.data());
  for (size_t i = 0; i < num_row; ++i) {
    sizes.row[i] = std::max(1.0, sizes.row[i] / (scaling.row[i] * tau));
  }
  for (const MatrixBlock& block : problem.matrices) {
    sizes.matrix_cost.push_back(largest_element(block.cost));
  }
  return sizes;
}

}  // namespace vorlan::conic
