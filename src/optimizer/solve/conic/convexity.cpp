// The form is scaled to a unit diagonal and factored as L D L'.
#include "solve/conic/convexity.h"

#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>
#include <utility>

#include "task/numeric.h"

namespace vorlan::conic {
namespace {

// Added to the unit diagonal, so that a form without full rank has no pivot 0; a pivot of no more
// than a few times this is one.
constexpr double kShift = 1e-11;
constexpr double kZeroPivot = 1e-10;

using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int32_t>;

// A form in the variables that it has.
struct LocalForm {
  std::vector<int32_t> vars;  // of local indices
  std::vector<double> root;   // of the diagonal
  std::vector<Eigen::Triplet<double, int32_t>> elements;
};

// Scales a form to a unit diagonal. A variable's own curvature may show already that the form is
// not convex; the failure says so then.
class Localizer {
 public:
  Localizer(const std::vector<TriangleEntry>& entries, double factor, ConvexFactor* failure)
      : entries_(entries), factor_(factor), failure_(failure) {}

  LocalForm localize() {
    number_variables();
    for (size_t i = 0; i < form_.vars.size(); ++i) {
      if (form_.root[i] < 0.0) fail(form_.vars[i], form_.vars[i]);
      form_.root[i] = form_.root[i] > 0.0 ? std::sqrt(form_.root[i]) : 0.0;
    }
    scale_elements();
    for (size_t i = 0; i < form_.vars.size(); ++i) {
      const auto k = static_cast<int32_t>(i);
      form_.elements.emplace_back(k, k, 1.0 + kShift);
    }
    return std::move(form_);
  }

 private:
  int32_t number(int32_t var) {
    const auto [it, is_new] = local_.emplace(var, static_cast<int32_t>(form_.vars.size()));
    if (is_new) {
      form_.vars.push_back(var);
      form_.root.push_back(0.0);
    }
    return it->second;
  }

  // Numbers the variables in the order in which they come, and sums their diagonal.
  void number_variables() {
    for (const TriangleEntry& e : entries_) {
      if (e.value == 0.0) continue;
      const int32_t row = number(e.row);
      const int32_t col = number(e.col);
      if (row == col) form_.root[index(row)] += factor_ * e.value;
    }
  }

  void scale_elements() {
    for (const TriangleEntry& e : entries_) {
      if (e.value == 0.0 || !failure_->convex) continue;
      const int32_t row = local_[e.row];
      const int32_t col = local_[e.col];
      const double size = form_.root[index(row)] * form_.root[index(col)];
      if (size == 0.0) {
        fail(e.row, e.col);
      } else if (row != col) {
        const double value = factor_ * e.value / size;
        form_.elements.emplace_back(std::max(row, col), std::min(row, col), value);
      }
    }
  }

  void fail(int32_t var, int32_t other) {
    failure_->convex = false;
    failure_->var = var;
    failure_->other_var = other;
  }

  const std::vector<TriangleEntry>& entries_;
  double factor_;
  ConvexFactor* failure_;
  LocalForm form_;
  std::unordered_map<int32_t, int32_t> local_;
};

using Factorization = Eigen::SimplicialLDLT<Matrix, Eigen::Lower>;

size_t node_at(const Factorization& factorization, Eigen::Index place) {
  return index(factorization.permutationPinv().indices()[place]);
}

// Names the variable of a pivot that is not positive, and the one that its row has most of.
void name_failure(const LocalForm& form, const Factorization& factorization, Eigen::Index bad,
                  ConvexFactor* result) {
  const Matrix& lower = factorization.matrixL().nestedExpression();
  result->convex = false;
  result->var = form.vars[node_at(factorization, bad)];
  result->other_var = result->var;
  double most = 0.0;
  for (Eigen::Index col = 0; col < bad; ++col) {
    for (Matrix::InnerIterator it(lower, col); it; ++it) {
      const double size = std::fabs(it.value() * factorization.vectorD()[col]);
      if (it.row() != bad || size <= most) continue;
      most = size;
      result->other_var = form.vars[node_at(factorization, col)];
    }
  }
}

// Row `col` of F is the root of its pivot times column `col` of L, without the scaling.
std::vector<LinearTerm> root_row(const LocalForm& form, const Factorization& factorization,
                                 Eigen::Index col) {
  const double root = std::sqrt(factorization.vectorD()[col]);
  const size_t pivot = node_at(factorization, col);
  std::vector<LinearTerm> row = {{form.vars[pivot], root * form.root[pivot]}};
  for (Matrix::InnerIterator it(factorization.matrixL().nestedExpression(), col); it; ++it) {
    if (it.row() <= col || it.value() == 0.0) continue;
    const size_t node = node_at(factorization, it.row());
    row.emplace_back(form.vars[node], root * it.value() * form.root[node]);
  }
  return row;
}

// Factors a form of full rank without the shift: around a far centre, 1e-11 of the square of its
// distance can be more than the square of the radius.
void take_shift_back(Matrix matrix, Factorization* factorization) {
  const auto least = [](const Factorization& of) { return of.vectorD().minCoeff(); };
  if (!(least(*factorization) > kZeroPivot)) return;
  for (Eigen::Index k = 0; k < matrix.rows(); ++k) matrix.coeffRef(k, k) = 1.0;
  const Factorization exact(matrix);
  if (exact.info() == Eigen::Success && least(exact) > 0.0) factorization->factorize(matrix);
}

}  // namespace

ConvexFactor factor_convex(const std::vector<TriangleEntry>& entries, double factor,
                           FactorRows rows) {
  ConvexFactor result;
  const LocalForm form = Localizer(entries, factor, &result).localize();
  if (!result.convex || form.vars.empty()) return result;
  const auto order = static_cast<Eigen::Index>(form.vars.size());
  Matrix matrix(order, order);
  matrix.setFromTriplets(form.elements.begin(), form.elements.end());
  Factorization factorization(matrix);
  const auto& pivots = factorization.vectorD();
  Eigen::Index bad = 0;
  while (bad < order && pivots[bad] > 0.0) ++bad;
  if (bad < order) {
    name_failure(form, factorization, bad, &result);
    return result;
  }
  if (rows == FactorRows::kLeftOut) return result;
  take_shift_back(matrix, &factorization);
  for (Eigen::Index col = 0; col < order; ++col) {
    if (pivots[col] > kZeroPivot) result.rows.push_back(root_row(form, factorization, col));
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
