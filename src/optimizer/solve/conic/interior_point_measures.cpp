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
    const double error = std::fabs(residuals_.primal[i]) / (scaling_.row[i] * tau);
    primal = std::max(primal, error / sizes.row[i]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double factor = scaling_.var[index(bound.var)];
    const double size = std::max(
        {1.0, factor * std::fabs(bound.value), factor * std::fabs(now_.x[index(bound.var)]) / tau});
    primal = std::max(primal, factor * std::fabs(residuals_.bound[k]) / tau / size);
  }
  double dual = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    const double error = std::fabs(residuals_.dual[j]) / (scaling_.cost * scaling_.var[j] * tau);
    dual = std::max(dual, error / sizes.var[j]);
  }
  for (size_t m = 0; m < matrices_.size(); ++m) {
    const double factor = 1.0 / (scaling_.cost * scaling_.matrix[m] * tau);
    const double error = factor * now_.matrix_residual * std::max(1.0, sizes.matrix_cost[m]);
    dual = std::max(dual, error / std::max(1.0, factor * tau * sizes.matrix_cost[m]));
  }
  measures_.primal = primal;
  measures_.dual = dual;
  const double distance = std::fabs(measures_.primal_objective - measures_.dual_objective);
  const double size =
      std::max({1.0, std::fabs(measures_.primal_objective), std::fabs(measures_.dual_objective)});
  measures_.gap = distance / size;
  measures_.gap_of_terms = distance / std::max(size, largest_term());
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
// conditions once tau is taken out.
void InteriorPointMethod::measure_rays(double cost, double value) {
  const double dual = dual_ray_violation();
  const double primal = primal_ray_violation();
  measures_.dual_direction = dual / std::max(largest(now_.y), largest(now_.z));
  measures_.primal_direction = primal / largest(now_.x);
  if (value > 0.0) measures_.dual_ray = dual / value;
  if (cost >= 0.0) return;
  // Along the ray the objective falls by cost^2 / (2 x'Px) before curvature stops it.
  measures_.fall = cost * cost / (2.0 * residuals_.quadratic * scaling_.cost);
  if (measures_.fall < kUnlimitedFall) return;
  measures_.primal_ray = primal * scaling_.cost / -cost;
}

double InteriorPointMethod::dual_ray_violation() const {
  const double tau = now_.tau;
  double violation = 0.0;
  for (size_t j = 0; j < num_var(); ++j) {
    const double left = residuals_.dual[j] - residuals_.px[j] - tau * problem_.cost[j];
    violation = std::max(violation, std::fabs(left) / scaling_.var[j]);
  }
  for (size_t m = 0; m < matrices_.size(); ++m) {
    const double left =
        std::fabs(tau - now_.matrix_residual) * largest_element(problem_.matrices[m].cost) +
        now_.matrix_residual;
    violation = std::max(violation, left / scaling_.matrix[m]);
  }
  return violation;
}

double InteriorPointMethod::primal_ray_violation() const {
  const double tau = now_.tau;
  double violation = 0.0;
  for (size_t i = 0; i < num_row(); ++i) {
    const double left = residuals_.primal[i] + tau * problem_.rhs[i];
    violation = std::max(violation, std::fabs(left) / scaling_.row[i]);
  }
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    const Bound& bound = problem_.bounds[k];
    const double left = residuals_.bound[k] + tau * bound.value;
    violation = std::max(violation, std::fabs(left) * scaling_.var[index(bound.var)]);
  }
  for (size_t j = 0; j < num_var(); ++j) {
    const double left = std::fabs(residuals_.px[j]) / (scaling_.cost * scaling_.var[j]);
    violation = std::max(violation, left);
  }
  return violation;
}

}  // namespace vorlan::conic
