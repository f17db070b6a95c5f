// The products go row by row, from the longest to the shortest, and each row with all later ones:
// so the long rows, whose products cost most, are multiplied by W only once.
#include "solve/conic/matrix_products.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/lane_dot.h"

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
void transpose(const DenseMatrix& from, ThreadTeam* team, DenseMatrix* to) {
  constexpr size_t kTile = 16;
  to->resize(from.cols(), from.rows());
  run_pieces(team, (from.cols() + kTile - 1) / kTile, [&](size_t piece, size_t) {
    const size_t first = piece * kTile;
    const size_t end = std::min(first + kTile, from.cols());
    for (size_t row = 0; row < from.rows(); ++row) {
      for (size_t col = first; col < end; ++col) (*to)(col, row) = from(row, col);
    }
  });
}

}  // namespace

MatrixProducts::MatrixProducts(const MatrixBlock& block, const DenseAlgebra& algebra)
    : block_(block),
      algebra_(algebra),
      cost_column_(block.parts.size()),
      identity_column_(block.parts.size()) {
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

// The multiplications of a row, in the time of those that are scattered.
double MatrixProducts::work_of(const Row& row) const {
  const auto support = static_cast<double>(row.support.size());
  const auto own = static_cast<double>(row.end - row.start);
  const auto later = static_cast<double>(elements_.size() - row.start);
  const auto n = static_cast<double>(block_.dimension);
  if (!row.factor.empty()) return n * support + later;
  const double image = n * std::min(2.0 * own, support * support / kSpeedOfFullProduct);
  if (!takes_full_product(row)) return image + support * later;
  return image + n * n * support / kSpeedOfFullProduct + later;
}

// along = W a.
void MatrixProducts::multiply_factor(const DenseMatrix& w, const Row& row, Work* work) const {
  work->along.assign(w.rows(), 0.0);
  for (size_t k = 0; k < row.support.size(); ++k) {
    add(row.factor[k], w.view().column(row.support[k]), work->along);
  }
}

void MatrixProducts::gather(const DenseMatrix& w, const Row& row, Work* work) const {
  const size_t height = row.support.size();
  work->place.resize(w.rows());
  for (size_t k = 0; k < height; ++k) work->place[row.support[k]] = k;
  work->gathered = w.view();
  if (height == w.rows()) return;
  work->some_columns.resize(w.rows(), height);
  for (size_t k = 0; k < height; ++k) {
    const std::span<const double> column = w.view().column(row.support[k]);
    std::copy(column.begin(), column.end(), work->some_columns.view().column(k).begin());
  }
  work->gathered = std::as_const(work->some_columns).view();
}

// All matrices have a column, or a row, for each row of the support.
void MatrixProducts::multiply_by_scaling(const DenseMatrix& w, const Row& row, Work* work) const {
  const size_t height = row.support.size();
  gather(w, row, work);
  if (kSpeedOfFullProduct * static_cast<double>(row.end - row.start) <
      static_cast<double>(height * height)) {
    return multiply_by_elements(row, work);
  }
  work->product.reset(height, height);
  for (const Element& e : elements(row)) {
    const size_t a = work->place[index(e.row)];
    const size_t b = work->place[index(e.col)];
    work->product(a, b) = work->product(b, a) = e.row == e.col ? e.weight : 0.5 * e.weight;
  }
  work->image.resize(w.rows(), height);
  algebra_.multiply(1.0, work->gathered, work->product, 0.0, work->image);
}

// Each piece makes some rows of the image.
void MatrixProducts::multiply_by_elements(const Row& row, Work* work) const {
  work->image.reset(work->gathered.rows(), work->gathered.cols());
  const ConstMatrixView gathered = work->gathered;
  const MatrixView image = work->image;
  constexpr size_t kRowsOfPiece = 256;
  const size_t pieces = (image.rows() + kRowsOfPiece - 1) / kRowsOfPiece;
  const auto additions = static_cast<double>(2 * (row.end - row.start) * image.rows());
  ThreadTeam* const team = algebra_.team_for(kSpeedOfFullProduct * additions);
  run_pieces(team, pieces, [&](size_t piece, size_t) {
    const Range rows = range_of_piece(image.rows(), pieces, piece);
    const auto add_column = [&](double factor, size_t from, size_t to) {
      add(factor, gathered.column(from).subspan(rows.first, rows.count),
          image.column(to).subspan(rows.first, rows.count));
    };
    for (const Element& e : elements(row)) {
      const size_t a = work->place[index(e.row)];
      const size_t b = work->place[index(e.col)];
      add_column(a == b ? e.weight : 0.5 * e.weight, b, a);
      if (a != b) add_column(0.5 * e.weight, a, b);
    }
  });
}

double MatrixProducts::num_multiplications() const {
  double scattered = 0.0;
  for (const Row& row : rows_) scattered += work_of(row);
  return kSpeedOfFullProduct * scattered;
}

// Rows with a large part of the work go one by one, all threads at each; the others go side by side.
void MatrixProducts::compute(const DenseMatrix& w, std::span<const size_t> places, MatrixView sum) {
  const Target target{places, sum};
  std::vector<Work> works;
  const double multiplications = num_multiplications();
  ThreadTeam* const team = algebra_.team_for(multiplications);
  works.resize(team == nullptr ? 1 : team->num_threads());
  if (team == nullptr) {
    for (size_t i = 0; i < rows_.size(); ++i) compute_row(w, i, &works[0], target);
    return;
  }
  constexpr double kPartsOfThread = 8.0;
  const double all = multiplications / kSpeedOfFullProduct;
  const double large = all / (kPartsOfThread * static_cast<double>(works.size()));
  std::vector<size_t> others;
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (work_of(rows_[i]) > large) {
      compute_row(w, i, &works[0], target);
    } else {
      others.push_back(i);
    }
  }
  run_pieces(team, others.size(), [&](size_t piece, size_t worker) {
    compute_row(w, others[piece], &works[worker], target);
  });
}

void MatrixProducts::compute_row(const DenseMatrix& w, size_t i, Work* work, const Target& target) {
  const Row& row = rows_[i];
  // For a row that goes alone, some of the later ones at a time.
  const auto multiply_with_later = [&](auto product) {
    constexpr size_t kRowsOfPiece = 32;
    const size_t later = rows_.size() - i;
    const size_t pieces = (later + kRowsOfPiece - 1) / kRowsOfPiece;
    run_pieces(algebra_.team_for(kSpeedOfFullProduct * work_of(row)), pieces,
               [&](size_t piece, size_t) {
                 const Range range = range_of_piece(later, pieces, piece);
                 for (size_t j = i + range.first; j < i + range.first + range.count; ++j) {
                   store(row.part, rows_[j].part, product(rows_[j]), target);
                 }
               });
  };
  if (row.support.empty()) return multiply_with_later([](const Row&) { return 0.0; });
  if (!row.factor.empty()) {
    multiply_factor(w, row, work);
    return multiply_with_later(
        [&](const Row& later) { return row.sign * factored_product(later, *work); });
  }
  multiply_by_scaling(w, row, work);
  if (takes_full_product(row)) {
    work->product.resize(w.rows(), w.rows());
    algebra_.multiply_symmetric(1.0, work->gathered, transposed(work->image), 0.0, work->product);
    return multiply_with_later([&](const Row& later) { return full_product(later, *work); });
  }
  const auto elements = static_cast<double>(work->image.values().size());
  ThreadTeam* const team = algebra_.team_for(kSpeedOfFullProduct * elements);
  work->gathered_rows = work->gathered;
  if (!work->gathered.is_square()) {
    transpose(work->some_columns, team, &work->some_rows);
    work->gathered_rows = std::as_const(work->some_rows).view();
  }
  transpose(work->image, team, &work->image_rows);
  multiply_with_later([&](const Row& later) { return gathered_product(later, *work); });
}

// The row's product with (W a)(W a)'.
double MatrixProducts::factored_product(const Row& row, const Work& work) const {
  double sum = 0.0;
  if (row.factor.empty()) {
    for (const Element& e : elements(row)) {
      sum += e.weight * work.along[index(e.row)] * work.along[index(e.col)];
    }
    return sum;
  }
  for (size_t k = 0; k < row.support.size(); ++k) {
    sum += row.factor[k] * work.along[row.support[k]];
  }
  return row.sign * sum * sum;
}

// The row's product with W A W, whose lower triangle is what the row needs.
double MatrixProducts::full_product(const Row& row, const Work& work) const {
  double sum = 0.0;
  for (const Element& e : elements(row)) {
    sum += e.weight * work.product(index(e.row), index(e.col));
  }
  return sum;
}

// The row's product with W A W of the row that is gathered.
double MatrixProducts::gathered_product(const Row& row, const Work& work) const {
  const ConstMatrixView gathered = work.gathered_rows;
  const ConstMatrixView image = work.image_rows;
  double sum = 0.0;
  for (const Element& e : elements(row)) {
    sum += e.weight * lane_dot(gathered.column(index(e.row)), image.column(index(e.col)).data());
  }
  return sum;
}

void MatrixProducts::store(int32_t a, int32_t b, double value, const Target& target) {
  const int32_t low = std::min(a, b);
  const int32_t high = std::max(a, b);
  if (low >= 0) {
    const size_t p = target.places[index(low)];
    const size_t q = target.places[index(high)];
    target.sum(std::min(p, q), std::max(p, q)) += value;
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
