// The products go row by row, from the longest to the shortest, and each row with all later ones:
// so the long rows, whose products cost most, are multiplied by W only once.
#include "solve/conic/matrix_products.h"

#include <algorithm>
#include <cmath>
#include <span>

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

// to += factor * from.
void add(double factor, std::span<const double> from, std::span<double> to) {
  for (size_t i = 0; i < from.size(); ++i) to[i] += factor * from[i];
}

// to = from', a few columns at a time, so that both stay in the cache.
void transpose(const DenseMatrix& from, DenseMatrix* to) {
  constexpr size_t kTile = 16;
  to->reset(from.cols(), from.rows());
  for (size_t first = 0; first < from.cols(); first += kTile) {
    const size_t end = std::min(first + kTile, from.cols());
    for (size_t row = 0; row < from.rows(); ++row) {
      for (size_t col = first; col < end; ++col) (*to)(col, row) = from(row, col);
    }
  }
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
  for (const int32_t part : order) rows_.push_back(make_row(part, entries(part)));
}

MatrixProducts::Row MatrixProducts::make_row(int32_t part,
                                             const std::vector<TriangleEntry>& entries) {
  Row row = {part, elements_.size(), elements_.size() + entries.size(), {}, {}, 1.0};
  for (const TriangleEntry& e : entries) {
    elements_.push_back({e.row, e.col, e.row == e.col ? e.value : 2.0 * e.value});
    row.support.push_back(index(e.row));
    row.support.push_back(index(e.col));
  }
  std::sort(row.support.begin(), row.support.end());
  row.support.erase(std::unique(row.support.begin(), row.support.end()), row.support.end());
  factor_rank_one(&row);
  return row;
}

std::span<const MatrixProducts::Element> MatrixProducts::elements(const Row& row) const {
  return std::span(elements_).subspan(row.start, row.end - row.start);
}

// A matrix of rank one has no zero where its support meets itself, and its first column there is a
// multiple of a. Products with it take a vector where others take a matrix (S. J. Benson, Y. Ye,
// X. Zhang, Solving large-scale sparse semidefinite programs for combinatorial optimization, SIAM
// J. Optim. 10, 2000).
void MatrixProducts::factor_rank_one(Row* row) const {
  constexpr double kRounding = 1e-14;
  const size_t size = row->support.size();
  if (size == 0 || row->end - row->start != size * (size + 1) / 2) return;
  const auto value = [](const Element& e) { return e.row == e.col ? e.weight : 0.5 * e.weight; };
  const size_t first = row->support[0];
  std::vector<double> vector(index(block_.dimension), 0.0);
  for (const Element& e : elements(*row)) {
    if (index(std::min(e.row, e.col)) == first) vector[index(std::max(e.row, e.col))] += value(e);
  }
  const double corner = vector[first];
  if (corner == 0.0) return;
  row->sign = corner > 0.0 ? 1.0 : -1.0;
  for (double& v : vector) v /= row->sign * std::sqrt(std::fabs(corner));
  for (const Element& e : elements(*row)) {
    const double product = row->sign * vector[index(e.row)] * vector[index(e.col)];
    if (!(std::fabs(value(e) - product) <= kRounding * std::fabs(product))) return;
  }
  for (const size_t at : row->support) row->factor.push_back(vector[at]);
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

// along = W a.
void MatrixProducts::multiply_factor(const DenseMatrix& w, const Row& row) {
  along_.assign(w.rows(), 0.0);
  for (size_t k = 0; k < row.support.size(); ++k) {
    add(row.factor[k], w.view().column(row.support[k]), along_);
  }
}

// All matrices have a column, or a row, for each row of the support.
void MatrixProducts::multiply_by_scaling(const DenseMatrix& w, const Row& row) {
  const size_t height = row.support.size();
  gathered_.reset(w.rows(), height);
  for (size_t k = 0; k < height; ++k) {
    place_[row.support[k]] = k;
    const std::span<const double> column = w.view().column(row.support[k]);
    std::copy(column.begin(), column.end(), gathered_.view().column(k).begin());
  }
  image_.reset(w.rows(), height);
  if (kSpeedOfFullProduct * static_cast<double>(row.end - row.start) <
      static_cast<double>(height * height)) {
    multiply_by_elements(row);
    return;
  }
  product_.reset(height, height);
  for (const Element& e : elements(row)) {
    const size_t a = place_[index(e.row)];
    const size_t b = place_[index(e.col)];
    product_(a, b) = product_(b, a) = e.row == e.col ? e.weight : 0.5 * e.weight;
  }
  algebra_.multiply(1.0, gathered_, product_, 0.0, image_);
}

void MatrixProducts::multiply_by_elements(const Row& row) {
  const ConstMatrixView gathered = gathered_;
  for (const Element& e : elements(row)) {
    const size_t a = place_[index(e.row)];
    const size_t b = place_[index(e.col)];
    if (a == b) {
      add(e.weight, gathered.column(b), image_.view().column(a));
    } else {
      add(0.5 * e.weight, gathered.column(b), image_.view().column(a));
      add(0.5 * e.weight, gathered.column(a), image_.view().column(b));
    }
  }
}

void MatrixProducts::compute(const DenseMatrix& w, DenseMatrix* schur) {
  const size_t size = block_.parts.size();
  if (schur->rows() != size) schur->reset(size, size);
  const auto multiply_with_later = [&](size_t i, auto product) {
    for (size_t j = i; j < rows_.size(); ++j) {
      store(rows_[i].part, rows_[j].part, product(rows_[j]), schur);
    }
  };
  for (size_t i = 0; i < rows_.size(); ++i) {
    const Row& row = rows_[i];
    if (row.support.empty()) {
      multiply_with_later(i, [](const Row&) { return 0.0; });
      continue;
    }
    if (!row.factor.empty()) {
      multiply_factor(w, row);
      multiply_with_later(i, [&](const Row& later) { return row.sign * factored_product(later); });
      continue;
    }
    multiply_by_scaling(w, row);
    if (takes_full_product(row)) {
      product_.reset(w.rows(), w.rows());
      algebra_.multiply_symmetric(1.0, gathered_, transposed(image_), 0.0, product_);
      multiply_with_later(i, [&](const Row& later) { return full_product(later); });
    } else {
      transpose(gathered_, &gathered_rows_);
      transpose(image_, &image_rows_);
      multiply_with_later(i, [&](const Row& later) { return gathered_product(later); });
    }
  }
}

// The row's product with (W a)(W a)'.
double MatrixProducts::factored_product(const Row& row) const {
  double sum = 0.0;
  if (row.factor.empty()) {
    for (const Element& e : elements(row)) {
      sum += e.weight * along_[index(e.row)] * along_[index(e.col)];
    }
    return sum;
  }
  for (size_t k = 0; k < row.support.size(); ++k) sum += row.factor[k] * along_[row.support[k]];
  return row.sign * sum * sum;
}

// The row's product with W A W in product_, whose lower triangle is what the row needs.
double MatrixProducts::full_product(const Row& row) const {
  double sum = 0.0;
  for (const Element& e : elements(row)) sum += e.weight * product_(index(e.row), index(e.col));
  return sum;
}

// The row's product with W A W of the row that is gathered.
double MatrixProducts::gathered_product(const Row& row) const {
  const ConstMatrixView gathered = gathered_rows_;
  const ConstMatrixView image = image_rows_;
  double sum = 0.0;
  for (const Element& e : elements(row)) {
    sum += e.weight * dot(gathered.column(index(e.row)), image.column(index(e.col)));
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
