// Sums and products over all variables.
#include "solve/conic/iterate.h"

#include "solve/check/vectors.h"
#include "solve/conic/matrix_block.h"

namespace vorlan::conic {

Step zero_step(const ConicProblem& problem) {
  Step step;
  step.x.assign(problem.cost.size(), 0.0);
  step.y.assign(problem.rhs.size(), 0.0);
  step.s.assign(problem.bounds.size(), 0.0);
  step.z.assign(problem.bounds.size(), 0.0);
  step.cone_dual.assign(problem.num_cone_duals(), 0.0);
  for (const MatrixBlock& block : problem.matrices) {
    step.matrices.push_back(zero_matrix_step(index(block.dimension), index(block.face_order())));
  }
  return step;
}

void Step::drop_scaled_terms() {
  for (MatrixStep& matrix : matrices) matrix.scaled = {};
}

double Iterate::complementarity() const {
  double product = tau * kappa + dot(s, z) + dot(cone_dual, x);
  for (const MatrixPoint& matrix : matrices) product += dot(matrix.x.values(), matrix.z.values());
  return product;
}

void Iterate::take(const ConicProblem& problem, const Step& step, double length) {
  add(length, step.x, &x);
  add(length, step.y, &y);
  add(length, step.s, &s);
  add(length, step.z, &z);
  add(length, step.cone_dual, &cone_dual);
  tau += length * step.tau;
  kappa += length * step.kappa;
  matrix_residual *= 1.0 - length * step.reduction;
  move_matrices(problem, step, length);
}

void Iterate::take_back(const ConicProblem& problem, const Iterate& before, const Step& step,
                        double length) {
  take_scalars(before);
  move_matrices(problem, step, -length);
}

void Iterate::take_scalars(const Iterate& other) {
  static_cast<ScalarVariables&>(*this) = other;
  matrix_residual = other.matrix_residual;
}

void Iterate::move_matrices(const ConicProblem& problem, const Step& step, double length) {
  for (size_t m = 0; m < matrices.size(); ++m) {
    const std::span<double> to = matrices[m].x.values();
    const std::span<const double> change = step.matrices[m].x.values();
    for (size_t i = 0; i < to.size(); ++i) to[i] += length * change[i];
    find_matrix_dual(problem.matrices[m], &matrices[m].z);
  }
}

void Iterate::find_matrix_dual(const MatrixBlock& block, DenseMatrix* dual) const {
  combine(block, tau - matrix_residual, y, matrix_residual, dual);
}

void Iterate::multiply(double factor) {
  const auto scale = [&](std::span<double> values) {
    for (double& value : values) value *= factor;
  };
  for (std::vector<double>* values : {&x, &y, &s, &z, &cone_dual}) scale(*values);
  for (MatrixPoint& matrix : matrices) {
    scale(matrix.x.values());
    scale(matrix.z.values());
  }
  tau *= factor;
  kappa *= factor;
  matrix_residual *= factor;
}

void Iterate::write(const ConicProblem& problem, double factor, InteriorPoint* point) const {
  point->x = times(factor, x);
  point->y = times(factor, y);
  point->z = times(factor, z);
  point->cone_dual = times(factor, cone_dual);
  point->matrices.clear();
  point->matrix_duals.clear();
  for (size_t m = 0; m < matrices.size(); ++m) {
    DenseMatrix& primal = point->matrices.emplace_back(matrices[m].x);
    for (double& value : primal.values()) value *= factor;
    DenseMatrix& dual = point->matrix_duals.emplace_back(primal.rows(), primal.cols());
    find_matrix_dual(problem.matrices[m], &dual);
    for (double& value : dual.values()) value *= factor;
  }
}

}  // namespace vorlan::conic
