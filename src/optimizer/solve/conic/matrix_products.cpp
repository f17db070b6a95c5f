// The products go row by row, from the longest to the shortest, and each row with all later ones:
// so the long rows, whose products cost most, are multiplied by W only once.
#include "solve/conic/matrix_products.h"

#include <algorithm>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

constexpr int32_t kCost = -1;
constexpr int32_t kIdentity = -2;

// A product of matrices does about as many multiplications in the time of a scattered one.
constexpr double kSpeedOfFullProduct = 10.0;

std::vector<TriangleEntry> identity_entries(int32_t order) {
  std::vector<TriangleEntry> entries;
  entries.reserve(index(order));
  for (int32_t i = 0; i < order; ++i) entries.push_back({i, i, 1.0});
  return entries;
}

}  // namespace

MatrixProducts::MatrixProducts(const MatrixBlock& block, const DenseAlgebra& algebra)
    : block_(block),
      algebra_(algebra),
      cost_column_(block.parts.size()),
      identity_column_(block.parts.size()),
      product_(index(block.dimension), index(block.dimension)),
      place_(index(block.dimension)) {
  const std::vector<TriangleEntry> identity = identity_entries(block.dimension);
  const auto entries = [&](int32_t part) -> const std::vector<TriangleEntry>& {
    if (part == kCost) return block.cost;
    return part == kIdentity ? identity : block.parts[index(part)].entries;
  };
  std::vector<int32_t> order = {kCost, kIdentity};
  for (size_t p = 0; p < block.parts.size(); ++p) order.push_back(static_cast<int32_t>(p));
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return entries(a).size() > entries(b).size(); });
  for (const int32_t part : order) {
    Row row = {part, elements_.size(), elements_.size() + entries(part).size(), {}};
    for (const TriangleEntry& e : entries(part)) {
      elements_.push_back({e.row, e.col, e.row == e.col ? e.value : 2.0 * e.value});
      row.support.push_back(index(e.row));
      row.support.push_back(index(e.col));
    }
    std::sort(row.support.begin(), row.support.end());
    row.support.erase(std::unique(row.support.begin(), row.support.end()), row.support.end());
    rows_.push_back(std::move(row));
  }
}

// For row i the products with all later rows j need elements of W A_i W: all of them by one
// product of matrices, or each needed one by a product of two vectors of the length of A_i's
// support, whichever is less work (K. Fujisawa, M. Kojima, K. Nakata, Exploiting sparsity in
// primal-dual interior-point methods for semidefinite programming, Math. Program. 79, 1997).
bool MatrixProducts::takes_full_product(const Row& row) const {
  const auto support = static_cast<double>(row.support.size());
  const auto later = static_cast<double>(elements_.size() - row.start);
  const auto n = static_cast<double>(block_.dimension);
  const double full = n * n * support / kSpeedOfFullProduct + later;
  return full < support * later;
}

void MatrixProducts::multiply_by_scaling(const DenseMatrix& w, const Row& row) {
  const size_t n = w.rows();
  const size_t height = row.support.size();
  gathered_.reset(height, n);
  image_.reset(height, n);
  for (size_t k = 0; k < height; ++k) place_[row.support[k]] = k;
  for (size_t col = 0; col < n; ++col) {
    for (size_t k = 0; k < height; ++k) gathered_(k, col) = w(row.support[k], col);
  }
  for (size_t e = row.start; e < row.end; ++e) {
    const Element& element = elements_[e];
    const bool diagonal = element.row == element.col;
    const double value = diagonal ? element.weight : 0.5 * element.weight;
    const size_t a = place_[index(element.row)];
    const size_t b = place_[index(element.col)];
    for (size_t j = 0; j < n; ++j) {
      image_(a, j) += value * gathered_(b, j);
      if (!diagonal) image_(b, j) += value * gathered_(a, j);
    }
  }
}

void MatrixProducts::compute(const DenseMatrix& w, DenseMatrix* schur) {
  schur->reset(block_.parts.size(), block_.parts.size());
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].support.empty()) continue;
    multiply_by_scaling(w, rows_[i]);
    const bool full = takes_full_product(rows_[i]);
    if (full) {
      algebra_.multiply_symmetric(1.0, transposed(gathered_), image_, 0.0, product_);
    }
    for (size_t j = i; j < rows_.size(); ++j) {
      const double value = full ? full_product(rows_[j]) : gathered_product(rows_[j]);
      store(rows_[i].part, rows_[j].part, value, schur);
    }
  }
}

// The row's product with W A W in product_, whose lower triangle is what the row needs.
double MatrixProducts::full_product(const Row& row) const {
  double sum = 0.0;
  for (size_t e = row.start; e < row.end; ++e) {
    sum += elements_[e].weight * product_(index(elements_[e].row), index(elements_[e].col));
  }
  return sum;
}

// The row's product with W A W of the row that is gathered.
double MatrixProducts::gathered_product(const Row& row) const {
  const ConstMatrixView gathered = gathered_;
  const ConstMatrixView image = image_;
  double sum = 0.0;
  for (size_t e = row.start; e < row.end; ++e) {
    const Element& element = elements_[e];
    sum +=
        element.weight * dot(gathered.column(index(element.row)), image.column(index(element.col)));
  }
  return sum;
}

void MatrixProducts::store(int32_t a, int32_t b, double value, DenseMatrix* schur) {
  const int32_t low = std::min(a, b);
  const int32_t high = std::max(a, b);
  if (low >= 0) {
    (*schur)(index(high), index(low)) = value;
  } else if (high >= 0) {
    (low == kCost ? cost_column_ : identity_column_)[index(high)] = value;
  } else if (low != high) {
    cost_identity_ = value;
  } else if (low == kCost) {
    cost_square_ = value;
  }
}

void MatrixProducts::add_residual_products(double factor, std::vector<double>* rows) const {
  for (size_t p = 0; p < block_.parts.size(); ++p) {
    (*rows)[index(block_.parts[p].row)] += factor * (cost_column_[p] - identity_column_[p]);
  }
}

}  // namespace vorlan::conic
