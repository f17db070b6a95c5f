// Ruiz's iteration on [P A'; A 0], with one factor a cone.
#include "solve/conic/equilibration.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

constexpr int kRounds = 8;
constexpr double kLeastFactor = 1e-5;
constexpr double kMostFactor = 1e5;

double power_of_two(double value) { return std::exp2(std::round(std::log2(value))); }

struct Norms {
  std::vector<double> var, row, matrix;
};

void note(double value, double* norm) { *norm = std::max(*norm, std::fabs(value)); }

Norms measure(const ConicProblem& problem, const Equilibration& scaling) {
  Norms norms;
  norms.var.assign(index(problem.num_var()), 0.0);
  norms.row.assign(index(problem.num_row()), 0.0);
  norms.matrix.assign(problem.matrices.size(), 0.0);
  const Columns& a = problem.matrix;
  const Columns& p = problem.quadratic;
  for (size_t j = 0; j < norms.var.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const size_t i = index(a.row[index(k)]);
      const double value = a.value[index(k)] * scaling.var[j] * scaling.row[i];
      note(value, &norms.var[j]);
      note(value, &norms.row[i]);
    }
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      const size_t i = index(p.row[index(k)]);
      note(p.value[index(k)] * scaling.var[j] * scaling.var[i] * scaling.cost, &norms.var[j]);
    }
  }
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    for (const MatrixPart& part : problem.matrices[m].parts) {
      const size_t i = index(part.row);
      for (const TriangleEntry& e : part.entries) {
        const double value = e.value * scaling.matrix[m] * scaling.row[i];
        note(value, &norms.matrix[m]);
        note(value, &norms.row[i]);
      }
    }
  }
  for (const ConeBlock& cone : problem.cones) {
    double norm = 0.0;
    for (const int32_t var : cone.vars) norm = std::max(norm, norms.var[index(var)]);
    for (const int32_t var : cone.vars) norms.var[index(var)] = norm;
  }
  return norms;
}

void improve(const std::vector<double>& norms, std::vector<double>* factors) {
  for (size_t i = 0; i < norms.size(); ++i) {
    if (norms[i] == 0.0) continue;
    const double factor = (*factors)[i] / std::sqrt(norms[i]);
    (*factors)[i] = std::clamp(factor, kLeastFactor, kMostFactor);
  }
}

// The objective's own size, so that primal and dual residuals are of one kind.
double cost_factor(const ConicProblem& problem, const Equilibration& scaling) {
  double norm = 0.0;
  for (size_t j = 0; j < problem.cost.size(); ++j) note(problem.cost[j] * scaling.var[j], &norm);
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    for (const TriangleEntry& e : problem.matrices[m].cost) {
      note(e.value * scaling.matrix[m], &norm);
    }
  }
  const Columns& p = problem.quadratic;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      note(p.value[index(k)] * scaling.var[j] * scaling.var[index(p.row[index(k)])], &norm);
    }
  }
  return norm > 0.0 ? std::clamp(1.0 / norm, kLeastFactor, kMostFactor) : 1.0;
}

void apply(const Equilibration& scaling, ConicProblem* problem) {
  for (size_t j = 0; j < problem->cost.size(); ++j) {
    problem->cost[j] *= scaling.cost * scaling.var[j];
    Columns& a = problem->matrix;
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      a.value[index(k)] *= scaling.var[j] * scaling.row[index(a.row[index(k)])];
    }
    Columns& p = problem->quadratic;
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      p.value[index(k)] *= scaling.cost * scaling.var[j] * scaling.var[index(p.row[index(k)])];
    }
  }
  for (size_t i = 0; i < problem->rhs.size(); ++i) problem->rhs[i] *= scaling.row[i];
  for (Bound& bound : problem->bounds) bound.value /= scaling.var[index(bound.var)];
  for (size_t m = 0; m < problem->matrices.size(); ++m) {
    MatrixBlock& block = problem->matrices[m];
    for (TriangleEntry& e : block.cost) e.value *= scaling.cost * scaling.matrix[m];
    for (MatrixPart& part : block.parts) {
      const double factor = scaling.matrix[m] * scaling.row[index(part.row)];
      for (TriangleEntry& e : part.entries) e.value *= factor;
    }
  }
  problem->matrix_rows = transpose(problem->matrix);
}

}  // namespace

Equilibration identity_scaling(const ConicProblem& problem, size_t num_row) {
  Equilibration scaling;
  scaling.var.assign(problem.cost.size(), 1.0);
  scaling.row.assign(num_row, 1.0);
  scaling.matrix.assign(problem.matrices.size(), 1.0);
  return scaling;
}

Equilibration equilibrate(ConicProblem* problem) {
  Equilibration scaling = identity_scaling(*problem, problem->rhs.size());
  for (int round = 0; round < kRounds; ++round) {
    const Norms norms = measure(*problem, scaling);
    improve(norms.var, &scaling.var);
    improve(norms.row, &scaling.row);
    improve(norms.matrix, &scaling.matrix);
    scaling.cost = cost_factor(*problem, scaling);
  }
  for (auto* factors : {&scaling.var, &scaling.row, &scaling.matrix}) {
    for (double& factor : *factors) factor = power_of_two(factor);
  }
  scaling.cost = power_of_two(cost_factor(*problem, scaling));
  apply(scaling, problem);
  return scaling;
}

}  // namespace vorlan::conic
