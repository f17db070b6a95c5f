// The diagonal part D has a large sum. The largest possible sum of D_i over the switched variables S
// is the minimum of <Q, Y> over positive semidefinite Y with Y_ii >= 1 in S, and the multipliers of
// these constraints are D. The diagonal of Q is scaled to 1 before. The algebra is dense, so that
// forms of many variables are left as they are.
#include "solve/outer/diagonal_part.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <map>

#include "solve/backend.h"
#include "solve/check/vectors.h"
#include "solve/conic/conic_backend.h"

namespace vorlan::outer {
namespace {

// Q - D must be positive definite by more than rounding.
constexpr double kMargin = 1e-3;
// A smaller share of the diagonal is not worth its columns.
constexpr double kLeastShare = 1e-3;

// The variables that occur in products with others, in ascending order.
std::vector<int32_t> find_coupled(const std::vector<TriangleEntry>& entries) {
  std::vector<int32_t> coupled;
  for (const TriangleEntry& e : entries) {
    if (e.row == e.col || e.value == 0.0) continue;
    coupled.push_back(e.row);
    coupled.push_back(e.col);
  }
  std::sort(coupled.begin(), coupled.end());
  coupled.erase(std::unique(coupled.begin(), coupled.end()), coupled.end());
  return coupled;
}

Eigen::MatrixXd dense_form(const std::vector<TriangleEntry>& entries, double factor,
                           const std::vector<int32_t>& vars) {
  const auto n = static_cast<Eigen::Index>(vars.size());
  std::map<int32_t, Eigen::Index> place;
  for (Eigen::Index k = 0; k < n; ++k) place[vars[index(k)]] = k;
  Eigen::MatrixXd form = Eigen::MatrixXd::Zero(n, n);
  for (const TriangleEntry& e : entries) {
    const auto row = place.find(e.row);
    const auto col = place.find(e.col);
    if (row == place.end() || col == place.end()) continue;
    form(row->second, col->second) = factor * e.value;
    form(col->second, row->second) = factor * e.value;
  }
  return form;
}

class Silent : public BackendMonitor {
 public:
  void log(std::string_view) override {}
  bool should_stop(const Progress&) override { return false; }
  void incumbent(std::span<const double>, std::span<const double>) override {}
};

// The multipliers of Y_ii >= 1 at the given places; all 1 where there is no answer.
Eigen::VectorXd find_weights(const Eigen::MatrixXd& form, const std::vector<Eigen::Index>& places) {
  const auto count = static_cast<Eigen::Index>(places.size());
  Model model;
  model.matrix_vars = {{static_cast<int32_t>(form.rows())}};
  model.matrix.start = {0};
  for (int32_t col = 0; col < form.rows(); ++col) {
    for (int32_t row = col; row < form.rows(); ++row) {
      if (form(row, col) != 0.0) model.matrix_cost.push_back({0, {row, col, form(row, col)}});
    }
  }
  for (const Eigen::Index k : places) {
    const auto place = static_cast<int32_t>(k);
    model.matrix_coefficients.push_back({model.num_con(), 0, {place, place, 1.0}});
    model.con_lower.push_back(1.0);
    model.con_upper.push_back(kInfinity);
  }
  Silent monitor;
  BackendResult found;
  const Status status =
      kConicBackend.solve(MinimizeProblem(model), Parameters(), kInfinity, &monitor, &found);
  const bool has_answer = status.ok() && found.outcome == Outcome::kOptimal;
  if (!has_answer) return Eigen::VectorXd::Ones(count);
  return Eigen::Map<const Eigen::VectorXd>(found.y.data(), count).cwiseMax(0.0);
}

// The largest multiple of the weights with which the form without them is positive semidefinite:
// 1 / multiple is the largest eigenvalue of its inverse at these places, scaled by the roots of the
// weights (by the Schur complement).
double largest_multiple(const Eigen::MatrixXd& form, const std::vector<Eigen::Index>& places,
                        const Eigen::VectorXd& weights) {
  const Eigen::LLT<Eigen::MatrixXd> factorization(form);
  if (factorization.info() != Eigen::Success) return 0.0;
  Eigen::MatrixXd part = Eigen::MatrixXd::Zero(form.rows(), weights.size());
  for (Eigen::Index k = 0; k < weights.size(); ++k) {
    part(places[index(k)], k) = std::sqrt(weights[k]);
  }
  factorization.matrixL().solveInPlace(part);
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(part.transpose() * part,
                                                              Eigen::EigenvaluesOnly);
  const double most = solver.eigenvalues().maxCoeff();
  return std::isfinite(most) && most > 0.0 ? 1.0 / most : 0.0;
}

}  // namespace

std::vector<TriangleEntry> find_diagonal_part(const std::vector<TriangleEntry>& entries,
                                              double factor, const std::vector<Switch>& switches) {
  const std::vector<int32_t> vars = find_coupled(entries);
  if (vars.empty() || vars.size() > kMostDiagonalVariables) return {};
  std::vector<Eigen::Index> places;
  for (size_t k = 0; k < vars.size(); ++k) {
    if (switches[index(vars[k])].exists()) places.push_back(static_cast<Eigen::Index>(k));
  }
  Eigen::MatrixXd form = dense_form(entries, factor, vars);
  const Eigen::VectorXd diagonal = form.diagonal();
  if (places.empty() || diagonal.minCoeff() <= 0.0) return {};
  const Eigen::VectorXd scale = diagonal.cwiseSqrt().cwiseInverse();
  form = scale.asDiagonal() * form * scale.asDiagonal();
  const Eigen::VectorXd weights = find_weights(form, places);
  const double multiple = (1.0 - kMargin) * largest_multiple(form, places, weights);
  std::vector<TriangleEntry> part;
  for (Eigen::Index k = 0; k < weights.size(); ++k) {
    const double share = multiple * weights[k];
    if (share < kLeastShare) continue;
    const int32_t var = vars[index(places[index(k)])];
    part.push_back({var, var, share * diagonal[places[index(k)]]});
  }
  return part;
}

}  // namespace vorlan::outer
