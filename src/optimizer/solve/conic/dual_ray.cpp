// The point solves a semidefinite system: H on the variables that are free to move.
#include "solve/conic/dual_ray.h"

#include <Eigen/SparseCholesky>
#include <cmath>

#include "solve/check/terms.h"
#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int32_t>;
using Vector = Eigen::VectorXd;

// The variables of H that are free to move, with H among them scaled to a unit diagonal.
struct FreePart {
  std::vector<int32_t> vars;
  std::vector<double> root;  // of the diagonal
  Matrix hessian;            // lower triangle
};

FreePart select_free(const Model& model, const std::vector<SymmetricElement>& hessian) {
  FreePart part;
  std::vector<double> diagonal(model.cost.size(), 0.0);
  for (const SymmetricElement& e : hessian) {
    if (e.row == e.col) diagonal[index(e.row)] += e.value;
  }
  std::vector<int32_t> place(diagonal.size(), -1);
  for (size_t j = 0; j < diagonal.size(); ++j) {
    if (!(diagonal[j] > 0.0) || model.var_lower[j] == model.var_upper[j]) continue;
    place[j] = static_cast<int32_t>(part.vars.size());
    part.vars.push_back(static_cast<int32_t>(j));
    part.root.push_back(std::sqrt(diagonal[j]));
  }
  std::vector<Eigen::Triplet<double, int32_t>> elements;
  for (const SymmetricElement& e : hessian) {
    const int32_t a = place[index(e.row)];
    const int32_t b = place[index(e.col)];
    if (a < 0 || b < 0) continue;
    const double value = e.value / (part.root[index(a)] * part.root[index(b)]);
    elements.emplace_back(std::max(a, b), std::min(a, b), value);
  }
  const auto order = static_cast<Eigen::Index>(part.vars.size());
  part.hessian.resize(order, order);
  part.hessian.setFromTriplets(elements.begin(), elements.end());
  return part;
}

// The matrix is semidefinite and may lack rank: it is factored with a shift, which refinement takes
// back on its range.
Vector solve_semidefinite(const Matrix& lower, const Vector& rhs) {
  constexpr double kShift = 1e-9;
  constexpr int kRefinements = 5;
  Eigen::SimplicialLDLT<Matrix, Eigen::Lower> factor;
  factor.setShift(kShift);
  factor.compute(lower);
  Vector x = Vector::Zero(rhs.size());
  if (factor.info() != Eigen::Success) return x;
  for (int k = 0; k <= kRefinements; ++k) {
    x += factor.solve(rhs - lower.selfadjointView<Eigen::Lower>() * x);
  }
  return x;
}

}  // namespace

std::vector<double> point_of_dual_ray(const MinimizeProblem& problem, const BackendResult& ray) {
  const Model& model = problem.model;
  const auto hessian = lagrangian_hessian(problem, ray.y, WithCost::kNo);
  if (hessian.empty()) return {};
  BackendResult values = ray;
  values.x.assign(model.cost.size(), 0.0);
  for (size_t j = 0; j < values.x.size(); ++j) {
    if (model.var_lower[j] == model.var_upper[j]) values.x[j] = model.var_lower[j];
  }
  const std::vector<Sum> sums = column_sums(problem, values, hessian, WithCost::kNo);
  const FreePart part = select_free(model, hessian);
  Vector rhs(static_cast<Eigen::Index>(part.vars.size()));
  for (size_t k = 0; k < part.vars.size(); ++k) {
    const size_t j = index(part.vars[k]);
    rhs[static_cast<Eigen::Index>(k)] = (ray.d[j] - sums[j].value) / part.root[k];
  }
  const Vector x = solve_semidefinite(part.hessian, rhs);
  for (size_t k = 0; k < part.vars.size(); ++k) {
    values.x[index(part.vars[k])] = x[static_cast<Eigen::Index>(k)] / part.root[k];
  }
  return values.x;
}

}  // namespace vorlan::conic
