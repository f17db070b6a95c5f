// L D L' of the form, scaled to a unit diagonal.
#include "solve/conic/convexity.h"

#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>

namespace vorlan::conic {
namespace {

// Added to the unit diagonal, so that a form without full rank has no pivot 0; a pivot of no more
// than a few times this is one.
constexpr double kShift = 1e-11;
constexpr double kZeroPivot = 1e-10;

using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int32_t>;

struct LocalForm {
  std::vector<int32_t> vars;  // of local indices
  std::vector<double> root;   // of the diagonal
  std::vector<Eigen::Triplet<double, int32_t>> elements;
};

// Fills `failure` when a variable's own curvature already shows that the form is not convex.
LocalForm localize(const std::vector<TriangleEntry>& entries, double factor,
                   ConvexFactor* failure) {
  LocalForm form;
  std::unordered_map<int32_t, int32_t> local;
  const auto index_of = [&](int32_t var) {
    const auto [it, is_new] = local.emplace(var, static_cast<int32_t>(form.vars.size()));
    if (is_new) {
      form.vars.push_back(var);
      form.root.push_back(0.0);
    }
    return it->second;
  };
  for (const TriangleEntry& e : entries) {
    if (e.value == 0.0) continue;
    const int32_t row = index_of(e.row);
    const int32_t col = index_of(e.col);
    if (row == col) form.root[static_cast<size_t>(row)] += factor * e.value;
  }
  const auto fail = [failure](int32_t var, int32_t other) {
    failure->convex = false;
    failure->var = var;
    failure->other_var = other;
  };
  for (size_t i = 0; i < form.vars.size(); ++i) {
    if (form.root[i] < 0.0) fail(form.vars[i], form.vars[i]);
    form.root[i] = form.root[i] > 0.0 ? std::sqrt(form.root[i]) : 0.0;
  }
  for (const TriangleEntry& e : entries) {
    if (e.value == 0.0 || !failure->convex) continue;
    const int32_t row = local[e.row];
    const int32_t col = local[e.col];
    const double size = form.root[static_cast<size_t>(row)] * form.root[static_cast<size_t>(col)];
    if (size == 0.0) {
      fail(e.row, e.col);
      continue;
    }
    if (row != col) {
      const double value = factor * e.value / size;
      form.elements.emplace_back(std::max(row, col), std::min(row, col), value);
    }
  }
  for (size_t i = 0; i < form.vars.size(); ++i) {
    const auto k = static_cast<int32_t>(i);
    form.elements.emplace_back(k, k, 1.0 + kShift);
  }
  return form;
}

}  // namespace

ConvexFactor factor_convex(const std::vector<TriangleEntry>& entries, double factor,
                           bool with_rows) {
  ConvexFactor result;
  const LocalForm form = localize(entries, factor, &result);
  if (!result.convex || form.vars.empty()) return result;
  const auto order = static_cast<Eigen::Index>(form.vars.size());
  Matrix matrix(order, order);
  matrix.setFromTriplets(form.elements.begin(), form.elements.end());
  const Eigen::SimplicialLDLT<Matrix, Eigen::Lower> factorization(matrix);
  const auto& pivots = factorization.vectorD();
  const Matrix& lower = factorization.matrixL().nestedExpression();
  const auto node = [&](Eigen::Index place) {
    return static_cast<size_t>(factorization.permutationPinv().indices()[place]);
  };
  Eigen::Index bad = 0;
  while (bad < order && pivots[bad] > 0.0) ++bad;
  if (bad < order) {
    result.convex = false;
    result.var = form.vars[node(bad)];
    result.other_var = result.var;
    double most = 0.0;
    for (Eigen::Index col = 0; col < bad; ++col) {
      for (Matrix::InnerIterator it(lower, col); it; ++it) {
        if (it.row() != bad || std::fabs(it.value() * pivots[col]) <= most) continue;
        most = std::fabs(it.value() * pivots[col]);
        result.other_var = form.vars[node(col)];
      }
    }
    return result;
  }
  if (!with_rows) return result;
  for (Eigen::Index col = 0; col < order; ++col) {
    if (pivots[col] <= kZeroPivot) continue;
    const double root = std::sqrt(pivots[col]);
    std::vector<LinearTerm> row;
    row.emplace_back(form.vars[node(col)], root * form.root[node(col)]);
    for (Matrix::InnerIterator it(lower, col); it; ++it) {
      if (it.row() <= col || it.value() == 0.0) continue;
      row.emplace_back(form.vars[node(it.row())], root * it.value() * form.root[node(it.row())]);
    }
    result.rows.push_back(std::move(row));
  }
  return result;
}

Centring centre(const ConvexFactor& factor, const std::vector<LinearTerm>& linear) {
  Centring result;
  std::map<int32_t, double> left;
  for (const auto& [var, value] : linear) left[var] += value;
  for (const auto& row : factor.rows) {
    const auto pivot = left.find(row.front().first);
    const double g = pivot == left.end() ? 0.0 : pivot->second / row.front().second;
    result.shift.push_back(g);
    if (pivot == left.end()) continue;
    left.erase(pivot);
    if (g == 0.0) continue;
    for (size_t k = 1; k < row.size(); ++k) left[row[k].first] -= g * row[k].second;
  }
  for (const auto& [var, value] : left) {
    if (value != 0.0) result.rest.emplace_back(var, value);
  }
  return result;
}

}  // namespace vorlan::conic
