// The order and the elimination tree are found once for a pattern. A factorization then goes by
// supernodes, or row by row, each along its path in the tree.
#include "solve/conic/sparse_ldl.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/ordering.h"

namespace vorlan::conic {
namespace {

// The end of the order is dense from this order on, and where this share of its elements is there.
constexpr int32_t kLeastDenseOrder = 16;
constexpr double kDenseShare = 0.6;
// Supernodes pay where so many products of elements of L belong to each of its elements, and from so
// many elements on.
constexpr double kLongColumns = 30.0;
constexpr double kManyElements = 1e5;
// What short columns do to the dense end is done as fast row by row. Columns are short there that
// have elements in fewer than one of so many rows of the end.
constexpr int64_t kRowsOfShortOnes = 4;
// Nested dissection is tried where a factorization takes so many multiplications, which is as long as
// the trial, and has so many elements for each of the matrix; else nothing is to be won. It is taken
// where it saves this share of the multiplications.
constexpr double kManyMultiplications = 2e8;
constexpr double kMuchFill = 4.0;
constexpr double kWorthChanging = 0.9;

}  // namespace

void SparseLdl::analyze(const UpperTriangle& matrix, std::span<const int32_t> last) {
  order_ = matrix.order;
  const std::vector<int64_t> counts = choose_order(matrix, last);
  choose_leading(counts, last.size());
  is_end_given_ = !last.empty();
  end_.resize(index(order_ - num_leading_));
  solution_.resize(index(order_));
  is_supernodal_ = has_long_columns(counts);
  if (!is_supernodal_) return prepare_rows(counts);
  for (const int64_t count : std::span(counts).first(index(num_leading_))) {
    supernodal_multiplications_ += 0.5 * static_cast<double>(count) * static_cast<double>(count);
  }
  supernodes_.analyze({permuted_.start, permuted_.row, parent_, counts, num_leading_});
}

bool SparseLdl::has_long_columns(const std::vector<int64_t>& counts) {
  std::vector<int64_t> in_end(index(num_leading_), 0);
  std::fill(mark_.begin(), mark_.end(), -1);
  for (int32_t k = num_leading_; k < order_; ++k) {
    for (int32_t t = reach(k, num_leading_); t < order_; ++t) ++in_end[index(stack_[index(t)])];
  }
  double elements = 0.0;
  double products = 0.0;
  for (size_t j = 0; j < in_end.size(); ++j) {
    const auto count = static_cast<double>(counts[j]);
    const auto ends = static_cast<double>(in_end[j]);
    elements += count;
    products += count * count;
    if (in_end[j] * kRowsOfShortOnes < dense_order()) products -= ends * ends;
  }
  return elements >= kManyElements && products >= kLongColumns * elements;
}

void SparseLdl::prepare_rows(const std::vector<int64_t>& counts) {
  start_.assign(index(num_leading_) + 1, 0);
  for (int32_t j = 0; j < num_leading_; ++j) {
    start_[index(j) + 1] = start_[index(j)] + counts[index(j)];
  }
  column_end_.assign(index(num_leading_), 0);
  row_.resize(index(start_.back()));
  value_.resize(index(start_.back()));
  pivot_.assign(index(num_leading_), 1.0);
  work_.assign(index(order_), 0.0);
}

// Leaves the order, the pattern in it and its tree, and returns the elements of each column.
std::vector<int64_t> SparseLdl::choose_order(const UpperTriangle& matrix,
                                             std::span<const int32_t> last) {
  std::vector<int32_t> number(index(order_), 0);
  for (const int32_t node : last) number[index(node)] = -1;
  std::vector<int32_t> leading;
  for (int32_t node = 0; node < order_; ++node) {
    if (number[index(node)] < 0) continue;
    number[index(node)] = static_cast<int32_t>(leading.size());
    leading.push_back(node);
  }
  const NumberedNodes nodes = {matrix, number, static_cast<int32_t>(leading.size())};
  const auto take = [&](const std::vector<int32_t>& order) {
    node_at_.clear();
    for (const int32_t k : order) node_at_.push_back(leading[index(k)]);
    node_at_.insert(node_at_.end(), last.begin(), last.end());
    return follow_order(matrix);
  };
  is_dissected_ = false;
  const std::vector<int32_t> by_degree = minimum_degree_order(nodes);
  std::vector<int64_t> counts = take(by_degree);
  const Fill fill = fill_of(counts);
  const auto elements = static_cast<double>(matrix.row.size());
  if (fill.multiplications < kManyMultiplications || fill.elements < kMuchFill * elements) {
    return counts;
  }
  const std::vector<int32_t> by_dissection = nested_dissection_order(nodes);
  if (by_dissection.empty()) return counts;
  take(by_dissection);
  // Supernodes are neighbours in the order, which those of a path in the tree are after this.
  std::vector<int32_t> in_postorder;
  in_postorder.reserve(by_dissection.size());
  for (const int32_t k : postorder(nodes.count)) {
    in_postorder.push_back(by_dissection[index(k)]);
  }
  counts = take(in_postorder);
  is_dissected_ = fill_of(counts).multiplications < kWorthChanging * fill.multiplications;
  return is_dissected_ ? counts : take(by_degree);
}

std::vector<int64_t> SparseLdl::follow_order(const UpperTriangle& matrix) {
  place_of_.resize(index(order_));
  for (int32_t place = 0; place < order_; ++place) place_of_[index(node_at_[index(place)])] = place;
  permute_pattern(matrix);
  build_tree();
  return count_columns();
}

// The first places of the order, each subtree of the tree together and before its root.
std::vector<int32_t> SparseLdl::postorder(int32_t count) const {
  std::vector<int32_t> first_child(index(count), -1);
  std::vector<int32_t> sibling(index(count), -1);
  std::vector<int32_t> stack;
  for (int32_t k = count; k-- > 0;) {
    const int32_t parent = parent_[index(k)];
    if (parent < 0 || parent >= count) {
      stack.push_back(k);
    } else {
      sibling[index(k)] = std::exchange(first_child[index(parent)], k);
    }
  }
  std::vector<int32_t> order;
  order.reserve(index(count));
  while (!stack.empty()) {
    const int32_t k = stack.back();
    const int32_t child = std::exchange(first_child[index(k)], -1);
    if (child < 0) {
      order.push_back(k);
      stack.pop_back();
      continue;
    }
    for (int32_t c = child; c >= 0; c = sibling[index(c)]) stack.push_back(c);
  }
  return order;
}

SparseLdl::Fill SparseLdl::fill_of(const std::vector<int64_t>& counts) {
  Fill fill;
  for (const int64_t count : counts) {
    const auto length = static_cast<double>(count);
    fill.elements += length + 1.0;
    fill.multiplications += 0.5 * length * length;
  }
  return fill;
}

void SparseLdl::permute_pattern(const UpperTriangle& matrix) {
  permuted_.start.assign(index(order_) + 1, 0);
  matrix.for_each([this](int32_t row, int32_t col, size_t /*place*/) {
    ++permuted_.start[index(std::max(place_of_[index(row)], place_of_[index(col)])) + 1];
  });
  std::partial_sum(permuted_.start.begin(), permuted_.start.end(), permuted_.start.begin());
  permuted_.row.resize(matrix.row.size());
  place_of_element_.resize(matrix.row.size());
  permuted_.value.resize(matrix.row.size());
  std::vector<int64_t> next(permuted_.start.begin(), permuted_.start.end() - 1);
  matrix.for_each([&](int32_t row, int32_t col, size_t k) {
    const int32_t a = place_of_[index(row)];
    const int32_t b = place_of_[index(col)];
    const int64_t to = next[index(std::max(a, b))]++;
    permuted_.row[index(to)] = std::min(a, b);
    place_of_element_[k] = static_cast<int32_t>(to);
  });
}

void SparseLdl::build_tree() {
  parent_.assign(index(order_), -1);
  std::vector<int32_t> ancestor(index(order_), -1);
  for (int32_t k = 0; k < order_; ++k) {
    for (int64_t p = permuted_.start[index(k)]; p < permuted_.start[index(k) + 1]; ++p) {
      int32_t i = permuted_.row[index(p)];
      while (i != -1 && i < k) {
        const int32_t next = ancestor[index(i)];
        ancestor[index(i)] = k;
        if (next == -1) parent_[index(i)] = k;
        i = next;
      }
    }
  }
}

// The nonzero places of row k of L below the limit, a child before its parent: stack_[answer..).
int32_t SparseLdl::reach(int32_t k, int32_t limit) {
  int32_t top = order_;
  mark_[index(k)] = k;
  for (int64_t p = permuted_.start[index(k)]; p < permuted_.start[index(k) + 1]; ++p) {
    int32_t i = permuted_.row[index(p)];
    int32_t length = 0;
    while (i != -1 && i < limit && mark_[index(i)] != k) {
      stack_[index(length++)] = i;
      mark_[index(i)] = k;
      i = parent_[index(i)];
    }
    while (length > 0) stack_[index(--top)] = stack_[index(--length)];
  }
  return top;
}

std::vector<int64_t> SparseLdl::count_columns() {
  mark_.assign(index(order_), -1);
  stack_.resize(index(order_));
  std::vector<int64_t> counts(index(order_), 0);
  for (int32_t k = 0; k < order_; ++k) {
    for (int32_t t = reach(k, k); t < order_; ++t) ++counts[index(stack_[index(t)])];
  }
  return counts;
}

void SparseLdl::choose_leading(const std::vector<int64_t>& counts, size_t num_last) {
  num_leading_ = order_ - static_cast<int32_t>(num_last);
  if (num_last > 0) return;
  int64_t elements = 0;
  for (int32_t tail = 1; tail <= order_; ++tail) {
    elements += counts[index(order_ - tail)] + 1;
    const double full = 0.5 * static_cast<double>(tail) * (tail + 1.0);
    const bool dense = static_cast<double>(elements) >= kDenseShare * full;
    if (tail >= kLeastDenseOrder && dense) num_leading_ = order_ - tail;
  }
}

int64_t SparseLdl::num_elements() const {
  const int64_t tail = dense_order();
  const int64_t leading = is_supernodal_ ? supernodes_.num_elements() : start_.back();
  return leading + tail * (tail + 1) / 2;
}

double SparseLdl::num_multiplications() const {
  return supernodal_multiplications_ + std::pow(dense_order(), 3) / 6.0;
}

void SparseLdl::factor(const UpperTriangle& matrix, std::span<const int8_t> signs) {
  for (size_t k = 0; k < place_of_element_.size(); ++k) {
    permuted_.value[index(place_of_element_[k])] = matrix.value[k];
  }
  factor(signs);
}

void SparseLdl::factor(std::span<const int8_t> signs) {
  set_up(signs);
  const std::span<const int32_t> nodes = std::span(node_at_).subspan(index(num_leading_));
  std::vector<int8_t> end_signs;
  for (const int32_t node : nodes) end_signs.push_back(signs[index(node)]);
  const bool is_negative =
      std::all_of(end_signs.begin(), end_signs.end(), [](int8_t sign) { return sign < 0; });
  if (end_.has_algebra() && is_end_given_ && is_negative) {
    if (end_.factor_negative()) return;
    set_up(signs);
  }
  for (const size_t place : end_.factor(end_signs, pivot_rule_)) replaced_.push_back(nodes[place]);
}

// Factors all but the dense end itself.
void SparseLdl::set_up(std::span<const int8_t> signs) {
  replaced_.clear();
  start_end();
  if (is_supernodal_) return factor_supernodes(signs);
  std::copy(start_.begin(), start_.end() - 1, column_end_.begin());
  std::fill(mark_.begin(), mark_.end(), -1);
  for (int32_t k = 0; k < order_; ++k) factor_row(k, signs);
}

// Minus what is taken off, or 0. A few columns at a time, so that those of both triangles stay in the
// cache.
void SparseLdl::start_end() {
  constexpr size_t kTile = 16;
  const MatrixView end = end_.matrix();
  if (!is_end_given_) {
    for (size_t col = 0; col < end.cols(); ++col)
      std::fill_n(&end(col, col), end.rows() - col, 0.0);
    return;
  }
  const ConstMatrixView taken = std::as_const(end_).kept();
  for (size_t first = 0; first < end.cols(); first += kTile) {
    const size_t width = std::min(kTile, end.cols() - first);
    for (size_t row = first; row < end.rows(); ++row) {
      const size_t count = std::min(width, row - first + 1);
      for (size_t col = first; col < first + count; ++col) end(row, col) = -taken(col, row);
    }
  }
}

void SparseLdl::factor_supernodes(std::span<const int8_t> signs) {
  std::vector<int8_t> by_place;
  by_place.reserve(node_at_.size());
  for (const int32_t node : node_at_) by_place.push_back(signs[index(node)]);
  supernodes_.factor({permuted_.start, permuted_.row, {}, {}, num_leading_}, permuted_.value,
                     by_place, pivot_rule_, end_.matrix(), &replaced_);
  for (int32_t& place : replaced_) place = node_at_[index(place)];
}

// Row k of L solves L(0..k) D y = K(0..k, k). For a row of the dense end the elimination stops at
// the leading part; what is left in the work space then is its row of the Schur complement.
void SparseLdl::factor_row(int32_t k, std::span<const int8_t> signs) {
  const int32_t limit = std::min(k, num_leading_);
  const int32_t top = reach(k, limit);
  for (int64_t p = permuted_.start[index(k)]; p < permuted_.start[index(k) + 1]; ++p) {
    work_[index(permuted_.row[index(p)])] += permuted_.value[index(p)];
  }
  double diagonal = work_[index(k)];
  work_[index(k)] = 0.0;
  for (int32_t t = top; t < order_; ++t) {
    const size_t j = index(stack_[index(t)]);
    const double y = work_[j];
    work_[j] = 0.0;
    const int64_t end = column_end_[j];
    for (int64_t p = start_[j]; p < end; ++p) {
      work_[index(row_[index(p)])] -= value_[index(p)] * y;
    }
    const double l = y / pivot_[j];
    diagonal -= l * y;
    row_[index(end)] = k;
    value_[index(end)] = l;
    column_end_[j] = end + 1;
  }
  if (k < num_leading_) {
    const int32_t node = node_at_[index(k)];
    pivot_[index(k)] = pivot_rule_.apply(diagonal, signs[index(node)]);
    if (pivot_[index(k)] != diagonal) replaced_.push_back(node);
    return;
  }
  const size_t row = index(k - num_leading_);
  const MatrixView end = end_.matrix();
  end(row, row) += diagonal;
  const auto move = [&](size_t col) {
    end(row, col) += work_[index(num_leading_) + col];
    work_[index(num_leading_) + col] = 0.0;
  };
  if (top < order_) {
    for (size_t col = 0; col < row; ++col) move(col);
    return;
  }
  // There is nothing but the matrix's own elements.
  for (int64_t p = permuted_.start[index(k)]; p < permuted_.start[index(k) + 1]; ++p) {
    const int32_t col = permuted_.row[index(p)];
    if (col >= num_leading_ && col < k) move(index(col - num_leading_));
  }
}

void SparseLdl::solve(std::span<double> rhs) const {
  const std::span<double> x = solution_;
  for (size_t place = 0; place < x.size(); ++place) x[place] = rhs[index(node_at_[place])];
  const std::span<double> end = x.subspan(index(num_leading_));
  if (is_supernodal_) {
    supernodes_.solve_forward(x);
    end_.solve(end);
    supernodes_.solve_backward(x);
  } else {
    solve_rows_forward(x);
    end_.solve(end);
    solve_rows_backward(x);
  }
  for (size_t place = 0; place < x.size(); ++place) rhs[index(node_at_[place])] = x[place];
}

void SparseLdl::solve_rows_forward(std::span<double> x) const {
  for (size_t j = 0; j < index(num_leading_); ++j) {
    const double xj = x[j];
    if (xj == 0.0) continue;
    for (size_t p = index(start_[j]); p < index(start_[j + 1]); ++p) {
      x[index(row_[p])] -= value_[p] * xj;
    }
  }
}

void SparseLdl::solve_rows_backward(std::span<double> x) const {
  for (size_t j = index(num_leading_); j-- > 0;) {
    double xj = x[j] / pivot_[j];
    for (size_t p = index(start_[j]); p < index(start_[j + 1]); ++p) {
      xj -= value_[p] * x[index(row_[p])];
    }
    x[j] = xj;
  }
}

}  // namespace vorlan::conic
