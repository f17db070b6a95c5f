// One pass over the matrix.
#include "solve/conic/residual_sizes.h"

#include <algorithm>
#include <cmath>

namespace vorlan::conic {

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
    sizes.var[j] = std::max(std::min(1.0, scaling.cost * scaling.var[j]), size / tau);
  }
  for (const MatrixCone& matrix : matrices) matrix.term_sizes(sizes.row.data());
  for (size_t i = 0; i < num_row; ++i) {
    sizes.row[i] = std::max(std::min(1.0, scaling.row[i]), sizes.row[i] / tau);
  }
  return sizes;
}

}  // namespace vorlan::conic
