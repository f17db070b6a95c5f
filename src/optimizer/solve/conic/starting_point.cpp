// Both solutions are of the system of the first iterate, whose scalings of bounds are 1.
#include "solve/conic/starting_point.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// x of least distance from the bounds, |Gx - h|, that solves the equations.
NewtonVector find_primal(const ConicProblem& problem, NewtonSystem* system) {
  NewtonVector rhs(problem);
  for (const Bound& bound : problem.bounds) rhs.x[index(bound.var)] += bound.sign * bound.value;
  rhs.y = problem.rhs;
  NewtonVector solution(problem);
  system->solve(rhs, &solution);
  return solution;
}

// y and -G'z of the least z that solves q - A'y - G'z = 0.
NewtonVector find_dual(const ConicProblem& problem, NewtonSystem* system) {
  NewtonVector rhs(problem);
  rhs.x = times(-1.0, problem.cost);
  NewtonVector solution(problem);
  system->solve(rhs, &solution);
  return solution;
}

// Makes all values positive by a common summand.
void make_positive(std::vector<double>* values) {
  constexpr double kBeyond = 1.5;
  const double least = *std::min_element(values->begin(), values->end());
  const double shift = std::max(0.0, -kBeyond * least);
  for (double& value : *values) value += shift;
}

double sum(const std::vector<double>& values) {
  double total = 0.0;
  for (const double value : values) total += value;
  return total;
}

// Moves both away from 0 by half of their mean product, so that none is much nearer than others,
// and at least by the size of the scaled data.
void balance(std::vector<double>* s, std::vector<double>* z) {
  constexpr double kHalf = 0.5;
  constexpr double kLeast = 1.0;
  const double product = dot(*s, *z);
  const auto shift = [&](const std::vector<double>& other) {
    const double total = sum(other);
    return total > 0.0 ? std::max(kLeast, kHalf * product / total) : kLeast;
  };
  const double of_s = shift(*z);
  const double of_z = shift(*s);
  for (double& value : *s) value += of_s;
  for (double& value : *z) value += of_z;
}

}  // namespace

void improve_start(const ConicProblem& problem, const Scalings& scalings, NewtonSystem* system,
                   Iterate* at) {
  if (!problem.is_linear() || problem.bounds.empty()) return;
  system->factor(scalings);
  Iterate start = *at;
  NewtonVector primal = find_primal(problem, system);
  NewtonVector dual = find_dual(problem, system);
  for (size_t k = 0; k < problem.bounds.size(); ++k) {
    const Bound& bound = problem.bounds[k];
    const size_t j = index(bound.var);
    start.s[k] = bound.sign * primal.x[j] - bound.value;
    start.z[k] = -bound.sign * dual.x[j];
  }
  make_positive(&start.s);
  make_positive(&start.z);
  balance(&start.s, &start.z);
  start.kappa = dot(start.s, start.z) / static_cast<double>(start.s.size());
  start.x = std::move(primal.x);
  start.y = std::move(dual.y);
  if (std::isfinite(start.kappa + sum(start.x) + sum(start.y))) *at = std::move(start);
}

}  // namespace vorlan::conic
