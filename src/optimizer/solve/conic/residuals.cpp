// One pass over the matrices of the problem and one over its bounds.
#include "solve/conic/residuals.h"

#include "solve/check/vectors.h"
#include "solve/conic/matrix_block.h"

namespace vorlan::conic {

Residuals find_residuals(const ConicProblem& problem, const Iterate& at) {
  Residuals r;
  r.px.assign(problem.cost.size(), 0.0);
  add_product(problem.quadratic, 1.0, at.x, r.px);
  r.quadratic = dot(at.x, r.px);
  r.dual = r.px;
  add(at.tau, problem.cost, &r.dual);
  add_transposed_product(problem.matrix, -1.0, at.y, r.dual);
  add(-1.0, at.cone_dual, &r.dual);
  r.bound.resize(problem.bounds.size());
  double bound_value = 0.0;
  for (size_t k = 0; k < problem.bounds.size(); ++k) {
    const Bound& bound = problem.bounds[k];
    r.dual[index(bound.var)] -= bound.sign * at.z[k];
    r.bound[k] = bound.sign * at.x[index(bound.var)] - bound.value * at.tau - at.s[k];
    bound_value += bound.value * at.z[k];
  }
  r.primal.assign(problem.rhs.size(), 0.0);
  add_product(problem.matrix, 1.0, at.x, r.primal);
  double matrix_cost = 0.0;
  for (size_t m = 0; m < at.matrices.size(); ++m) {
    add_products(problem.matrices[m], at.matrices[m].x, 1.0, r.primal);
    matrix_cost += cost_product(problem.matrices[m], at.matrices[m].x);
  }
  add(-at.tau, problem.rhs, &r.primal);
  r.cost = dot(problem.cost, at.x) + matrix_cost;
  r.value = dot(problem.rhs, at.y) + bound_value;
  r.gap = at.kappa + r.cost + r.quadratic / at.tau - r.value;
  return r;
}

}  // namespace vorlan::conic
