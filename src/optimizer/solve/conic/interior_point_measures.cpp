// How far an iterate is from a solution, and from the rays that prove that there is none.
#include <algorithm>
#include <cmath>

#include "solve/check/checker.h"
#include "solve/check/vectors.h"
#include "solve/conic/interior_point.h"
#include "solve/conic/residual_sizes.h"

namespace vorlan::conic {

void InteriorPointMethod::compute_residuals() {
  Residuals& r = residuals_;
  r.px.assign(num_var(), 0.0);
  add_product(problem_.quadratic, 1.0, now_.x.data(), r.px.data());
  r.quadratic = dot(now_.x, r.px);
  r.dual = r.px;
  add(now_.tau, problem_.cost, &r.dual);
  add_transposed_product(problem_.matrix, -1.0, now_.y.data(), r.dual.data());
  add(-1.0, now_.cone_dual, &r.dual);
  r.bound.resize(problem_.bounds.size());
  double bound_value = 0.0;
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    r.dual[index(bound.var)] -= bound.sign * now_.z[k];
    r.bound[k] = bound.sign * now_.x[index(bound.var)] - bound.value * now_.tau - now_.s[k];
    bound_value += bound.value * now_.z[k];
  }
  r.primal.assign(num_row(), 0.0);
  add_product(problem_.matrix, 1.0, now_.x.data(), r.primal.data());
  double matrix_cost = 0.0;
  for (const MatrixCone& matrix : matrices_) {
    matrix.add_products(matrix.x(), 1.0, r.primal.data());
    matrix_cost += matrix.cost_product(matrix.x());
  }
  add(-now_.tau, problem_.rhs, &r.primal);
  const double cost = dot(problem_.cost, now_.x) + matrix_cost;
  const double value = dot(problem_.rhs, now_.y) + bound_value;
  r.gap = now_.kappa + cost + r.quadratic / now_.tau - value;
  measures_ = {};
  const double half = 0.5 * r.quadratic / now_.tau;
  const double factor = 1.0 / (now_.tau * scaling_.cost);
  measures_.primal_objective = factor * (cost + half);
  measures_.dual_objective = factor * (value - half);
  measure();
  measure_rays(cost, value);
}

void InteriorPointMethod::measure() {
  const double tau = now_.tau;
  const ResidualSizes sizes = residual_sizes(problem_, scaling_, matrices_, now_.x, now_.y, tau);
  double primal = 0.0;
  for (size_t i = 0; i < num_row(); ++i) {
    primal = std::max(primal, std::fabs(residuals_.primal[i]) / (tau * sizes.row[i]));
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const size_t j = index(bound.var);
    const double size = std::max(
        {std::min(1.0, 1.0 / scaling_.var[j]), std::fabs(bound.value), std::fabs(now_.x[j]) / tau});
    primal = std::max(primal, std::fabs(residuals_.bound[k]) / (tau * size));
  }
  double dual = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    dual = std::max(dual, std::fabs(residuals_.dual[j]) / (tau * sizes.var[j]));
  }
  for (size_t m = 0; m < matrices_.size(); ++m) dual = std::max(dual, matrix_dual_error(m) / tau);
  measures_.primal = primal;
  measures_.dual = dual;
  const double distance = std::fabs(measures_.primal_objective - measures_.dual_objective);
  const double size =
      std::max({std::min(1.0, 1.0 / scaling_.cost), std::fabs(measures_.primal_objective),
                std::fabs(measures_.dual_objective)});
  measures_.gap = distance / size;
  measures_.gap_of_terms = distance / std::max(size, largest_term());
}

// The residual is a multiple of C - I, scaled. An element is relative to the largest term of its
// sum, C tau - sum_i y_i A_i.
double InteriorPointMethod::matrix_dual_error(size_t m) const {
  const MatrixBlock& block = problem_.matrices[m];
  const std::vector<double>& factors = scaling_.matrix[m];
  const size_t n = index(block.dimension);
  std::vector<double> sizes(n * n, 0.0);
  const auto size_at = [&](const TriangleEntry& e) -> double& {
    return sizes[index(e.col) * n + index(e.row)];
  };
  for (const MatrixPart& part : block.parts) {
    const double y = now_.y[index(part.row)] / now_.tau;
    for (const TriangleEntry& e : part.entries) {
      size_at(e) = std::max(size_at(e), std::fabs(y * e.value));
    }
  }
  std::vector<double> diagonal(n, 1.0);
  double error = 0.0;
  const auto take = [&](const TriangleEntry& e, double residual) {
    const double least =
        std::min(1.0, scaling_.cost * factors[index(e.row)] * factors[index(e.col)]);
    error = std::max(error, std::fabs(residual) / std::max(size_at(e), least));
  };
  for (const TriangleEntry& e : block.cost) {
    size_at(e) = std::max(size_at(e), std::fabs(e.value));
    if (e.row == e.col) diagonal[index(e.row)] = e.value - 1.0;
    if (e.row != e.col) take(e, e.value);
  }
  for (int32_t k = 0; k < block.dimension; ++k) take({k, k, 0.0}, diagonal[index(k)]);
  return now_.matrix_residual * error;
}

// Of the objectives.
double InteriorPointMethod::largest_term() const {
  double size = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    size = std::max(size, std::fabs(problem_.cost[j] * now_.x[j]));
  }
  for (size_t i = 0; i < num_row(); ++i) {
    size = std::max(size, std::fabs(problem_.rhs[i] * now_.y[i]));
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    size = std::max(size, std::fabs(problem_.bounds[k].value * now_.z[k]));
  }
  return size / (now_.tau * scaling_.cost);
}

// Cost and value are q'x + <C, X> and b'y + h'z. Both rays are judged by what is left of their
// conditions once tau is taken out, in the terms of the scaled problem: there the points that a
// model speaks of are of the size 1, whatever its units.
void InteriorPointMethod::measure_rays(double cost, double value) {
  const double dual = dual_ray_violation();
  const double primal = primal_ray_violation();
  measures_.dual_direction = dual / std::max(largest(now_.y), largest(now_.z));
  measures_.primal_direction = primal / largest(now_.x);
  if (value > 0.0) measures_.dual_ray = dual / value;
  if (cost >= 0.0) return;
  // Along the ray the objective falls by cost^2 / (2 x'Px) before curvature stops it.
  measures_.fall = cost * cost / (2.0 * residuals_.quadratic);
  if (measures_.fall < kUnlimitedFall) return;
  measures_.primal_ray = primal / -cost;
}

double InteriorPointMethod::dual_ray_violation() const {
  const double tau = now_.tau;
  double violation = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    const double left = residuals_.dual[j] - residuals_.px[j] - tau * problem_.cost[j];
    violation = std::max(violation, std::fabs(left));
  }
  for (const MatrixBlock& block : problem_.matrices) {
    double largest_cost = 0.0;
    for (const TriangleEntry& e : block.cost) {
      largest_cost = std::max(largest_cost, std::fabs(e.value));
    }
    violation = std::max(
        violation, std::fabs(tau - now_.matrix_residual) * largest_cost + now_.matrix_residual);
  }
  return violation;
}

double InteriorPointMethod::primal_ray_violation() const {
  const double tau = now_.tau;
  double violation = largest(residuals_.px);
  for (size_t i = 0; i < num_row(); ++i) {
    violation = std::max(violation, std::fabs(residuals_.primal[i] + tau * problem_.rhs[i]));
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const double left = residuals_.bound[k] + tau * problem_.bounds[k].value;
    violation = std::max(violation, std::fabs(left));
  }
  return violation;
}

}  // namespace vorlan::conic
