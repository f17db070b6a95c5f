// The problems are written out as they are stored.
#include "small_problem.h"

namespace vorlan::test {

conic::ConicProblem one_variable(double cost, double coefficient, double rhs, conic::Bound bound) {
  conic::ConicProblem problem;
  problem.cost = {cost};
  problem.matrix = {1, {0, 1}, {0}, {coefficient}};
  problem.quadratic = {1, {0, 0}, {}, {}};
  problem.rhs = {rhs};
  problem.rhs_size = {rhs};
  problem.bounds = {bound};
  return problem;
}

conic::ConicProblem problem_of_all_kinds() {
  conic::ConicProblem problem;
  problem.cost = {1.0, 0.0, 0.0, 1.0};
  problem.matrix = {3, {0, 0, 1, 2, 3}, {0, 1, 2}, {1.0, 1.0, 1.0}};
  problem.quadratic = {4, {0, 0, 0, 0, 0}, {}, {}};
  problem.rhs = {1.0, 2.0, 4.0};
  problem.rhs_size = problem.rhs;
  problem.bounds = {{3, 1.0, 0.5}};
  problem.cones = {{ConeKind::kQuadratic, {0, 1, 2}, {}}};
  problem.matrices = {{2,
                       {{0, 0, 2.0}, {1, 0, 1.0}, {1, 1, 3.0}},
                       {{1, {{1, 0, 0.5}}}, {2, {{0, 0, 1.0}, {1, 1, 1.0}}}}}};
  return problem;
}

}  // namespace vorlan::test
