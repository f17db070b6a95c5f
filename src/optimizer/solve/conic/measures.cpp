// Each relative residual is a maximum over rows or columns; one pass over the problem finds the
// sizes of the terms.
#include "solve/conic/measures.h"

#include <algorithm>
#include <cmath>

#include "solve/check/checker.h"
#include "solve/check/vectors.h"
#include "solve/conic/matrix_block.h"

namespace vorlan::conic {
namespace {

// The sizes that residuals are relative to, in the terms of the scaled problem and of a solution
// that is divided by tau.
struct ResidualSizes {
  std::vector<double> row, var;
};

ResidualSizes residual_sizes(const ConicProblem& problem, const Equilibration& scaling,
                             const Iterate& at) {
  ResidualSizes sizes;
  sizes.row.resize(problem.rhs.size());
  sizes.var.resize(problem.cost.size());
  for (size_t i = 0; i < sizes.row.size(); ++i) sizes.row[i] = std::fabs(at.tau * problem.rhs[i]);
  const Columns& a = problem.matrix;
  const Columns& p = problem.quadratic;
  for (size_t j = 0; j < sizes.var.size(); ++j) {
    double size = std::fabs(at.tau * problem.cost[j]);
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      const size_t i = index(a.row[k]);
      const double value = std::fabs(a.value[k]);
      size = std::max(size, value * std::fabs(at.y[i]));
      sizes.row[i] = std::max(sizes.row[i], value * std::fabs(at.x[j]));
    }
    for (size_t k = index(p.start[j]); k < index(p.start[j + 1]); ++k) {
      size = std::max(size, std::fabs(p.value[k] * at.x[index(p.row[k])]));
    }
    sizes.var[j] = std::max(std::min(1.0, scaling.cost * scaling.var[j]), size / at.tau);
  }
  for (size_t m = 0; m < at.matrices.size(); ++m) {
    raise_to_terms(problem.matrices[m], at.matrices[m].x, sizes.row);
  }
  for (size_t i = 0; i < sizes.row.size(); ++i) {
    sizes.row[i] = std::max(std::min(1.0, scaling.row[i]), sizes.row[i] / at.tau);
  }
  return sizes;
}

double primal_error(const ConicProblem& problem, const Equilibration& scaling, const Iterate& at,
                    const Residuals& residuals, const std::vector<double>& row_size) {
  double error = 0.0;
  for (size_t i = 0; i < row_size.size(); ++i) {
    error = std::max(error, std::fabs(residuals.primal[i]) / (at.tau * row_size[i]));
  }
  for (size_t k = 0; k < problem.bounds.size(); ++k) {
    const Bound& bound = problem.bounds[k];
    const size_t j = index(bound.var);
    const double size = std::max(
        {std::min(1.0, 1.0 / scaling.var[j]), std::fabs(bound.value), std::fabs(at.x[j]) / at.tau});
    error = std::max(error, std::fabs(residuals.bound[k]) / (at.tau * size));
  }
  return error;
}

// The largest absolute terms of the elements of sum_i y_i A_i, in the lower triangle.
DenseMatrix dual_terms(const MatrixBlock& block, const Iterate& at) {
  DenseMatrix sizes(index(block.dimension), index(block.dimension));
  for (const MatrixPart& part : block.parts) {
    const double y = at.y[index(part.row)] / at.tau;
    for (const TriangleEntry& e : part.entries) {
      double& size = sizes(index(e.row), index(e.col));
      size = std::max(size, std::fabs(y * e.value));
    }
  }
  return sizes;
}

// The residual is a multiple of C - I, scaled. An element is relative to the largest term of its
// sum, C tau - sum_i y_i A_i.
double matrix_dual_error(const MatrixBlock& block, const Equilibration& scaling,
                         const std::vector<double>& factors, const Iterate& at) {
  DenseMatrix sizes = dual_terms(block, at);
  double error = 0.0;
  const auto take = [&](size_t row, size_t col, double residual) {
    const double least = std::min(1.0, scaling.cost * factors[row] * factors[col]);
    error = std::max(error, std::fabs(residual) / std::max(sizes(row, col), least));
  };
  std::vector<double> diagonal(sizes.rows(), 1.0);
  for (const TriangleEntry& e : block.cost) {
    const size_t row = index(e.row);
    const size_t col = index(e.col);
    sizes(row, col) = std::max(sizes(row, col), std::fabs(e.value));
    if (row == col) {
      diagonal[row] = e.value - 1.0;
    } else {
      take(row, col, e.value);
    }
  }
  for (size_t k = 0; k < diagonal.size(); ++k) take(k, k, diagonal[k]);
  return at.matrix_residual * error;
}

double dual_error(const ConicProblem& problem, const Equilibration& scaling, const Iterate& at,
                  const Residuals& residuals, const std::vector<double>& var_size) {
  double error = 0.0;
  for (size_t j = 0; j < var_size.size(); ++j) {
    error = std::max(error, std::fabs(residuals.dual[j]) / (at.tau * var_size[j]));
  }
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    error = std::max(
        error, matrix_dual_error(problem.matrices[m], scaling, scaling.matrix[m], at) / at.tau);
  }
  return error;
}

// The largest term of the objectives.
double largest_term(const ConicProblem& problem, const Equilibration& scaling, const Iterate& at) {
  double size = 0.0;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    size = std::max(size, std::fabs(problem.cost[j] * at.x[j]));
  }
  for (size_t i = 0; i < problem.rhs.size(); ++i) {
    size = std::max(size, std::fabs(problem.rhs[i] * at.y[i]));
  }
  for (size_t k = 0; k < problem.bounds.size(); ++k) {
    size = std::max(size, std::fabs(problem.bounds[k].value * at.z[k]));
  }
  return size / (at.tau * scaling.cost);
}

void measure_objectives(const ConicProblem& problem, const Equilibration& scaling,
                        const Iterate& at, const Residuals& residuals, Measures* measures) {
  const double half = 0.5 * residuals.quadratic / at.tau;
  const double factor = 1.0 / (at.tau * scaling.cost);
  const double primal = factor * (residuals.cost + half);
  const double dual = factor * (residuals.value - half);
  const double size = std::max({scaling.least_objective, std::fabs(primal), std::fabs(dual)});
  measures->primal_objective = primal;
  measures->dual_objective = dual;
  measures->gap = std::fabs(primal - dual) / size;
  const double larger = std::max(std::fabs(primal), std::fabs(dual));
  measures->gap_of_objectives = primal == dual ? 0.0 : std::fabs(primal - dual) / larger;
  measures->gap_of_terms =
      std::fabs(primal - dual) / std::max(size, largest_term(problem, scaling, at));
}

double dual_ray_violation(const ConicProblem& problem, const Iterate& at,
                          const Residuals& residuals) {
  double violation = 0.0;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    const double left = residuals.dual[j] - residuals.px[j] - at.tau * problem.cost[j];
    violation = std::max(violation, std::fabs(left));
  }
  for (const MatrixBlock& block : problem.matrices) {
    double largest_cost = 0.0;
    for (const TriangleEntry& e : block.cost) {
      largest_cost = std::max(largest_cost, std::fabs(e.value));
    }
    violation = std::max(
        violation, std::fabs(at.tau - at.matrix_residual) * largest_cost + at.matrix_residual);
  }
  return violation;
}

double primal_ray_violation(const ConicProblem& problem, const Iterate& at,
                            const Residuals& residuals) {
  double violation = largest(residuals.px);
  for (size_t i = 0; i < problem.rhs.size(); ++i) {
    violation = std::max(violation, std::fabs(residuals.primal[i] + at.tau * problem.rhs[i]));
  }
  for (size_t k = 0; k < problem.bounds.size(); ++k) {
    const double left = residuals.bound[k] + at.tau * problem.bounds[k].value;
    violation = std::max(violation, std::fabs(left));
  }
  return violation;
}

void measure_rays(const ConicProblem& problem, const Iterate& at, const Residuals& residuals,
                  Measures* measures) {
  const double dual = dual_ray_violation(problem, at, residuals);
  const double primal = primal_ray_violation(problem, at, residuals);
  measures->dual_direction = dual / std::max(largest(at.y), largest(at.z));
  measures->primal_direction = primal / largest(at.x);
  if (residuals.value > 0.0) measures->dual_ray = dual / residuals.value;
  const double cost = residuals.cost;
  if (cost >= 0.0) return;
  // Along the ray the objective falls by cost^2 / (2 x'Px) before curvature stops it.
  measures->fall = cost * cost / (2.0 * residuals.quadratic);
  if (measures->fall < kUnlimitedFall) return;
  measures->primal_ray = primal / -cost;
}

}  // namespace

double Measures::worst(const Tolerances& tolerances) const {
  return std::max(
      {primal / tolerances.feasibility, dual / tolerances.feasibility, gap / tolerances.gap});
}

Measures measure(const ConicProblem& problem, const Equilibration& scaling, const Iterate& at,
                 const Residuals& residuals) {
  Measures measures;
  const ResidualSizes sizes = residual_sizes(problem, scaling, at);
  measures.primal = primal_error(problem, scaling, at, residuals, sizes.row);
  measures.dual = dual_error(problem, scaling, at, residuals, sizes.var);
  measure_objectives(problem, scaling, at, residuals, &measures);
  // An iterate that has left the range of doubles is near to nothing.
  if (std::isnan(measures.primal + measures.dual + measures.gap)) return {};
  measure_rays(problem, at, residuals, &measures);
  return measures;
}

}  // namespace vorlan::conic
