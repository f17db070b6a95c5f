// Order, tree, rows and the dense end; see sparse_ldl.h.
#include "solve/conic/sparse_ldl.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// The end of the order is dense from this order on, and where this share of its elements is there.
constexpr int32_t kLeastDenseOrder = 16;
constexpr double kDenseShare = 0.6;
// Columns of the dense end that are factored at a time: their block stays in the cache.
constexpr size_t kBlock = 96;

// Approximate minimum degree order of the nodes that are not marked as last.
std::vector<int32_t> minimum_degree_order(const UpperTriangle& matrix,
                                          const std::vector<int32_t>& number) {
  using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int32_t>;
  std::vector<Eigen::Triplet<double, int32_t>> elements;
  int32_t count = 0;
  for (const int32_t i : number) count += i >= 0 ? 1 : 0;
  for (int32_t col = 0; col < matrix.order; ++col) {
    const int32_t j = number[index(col)];
    if (j < 0) continue;
    for (int64_t k = matrix.start[index(col)]; k < matrix.start[index(col) + 1]; ++k) {
      const int32_t i = number[index(matrix.row[index(k)])];
      if (i < 0) continue;
      elements.emplace_back(i, j, 1.0);
      if (i != j) elements.emplace_back(j, i, 1.0);
    }
  }
  Matrix pattern(count, count);
  pattern.setFromTriplets(elements.begin(), elements.end());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int32_t> permutation;
  Eigen::AMDOrdering<int32_t> order;
  order(pattern, permutation);
  // indices()[k] is the node eliminated k-th.
  return {permutation.indices().data(), permutation.indices().data() + count};
}

}  // namespace

void SparseLdl::analyze(const UpperTriangle& matrix, std::span<const int32_t> last) {
  order_ = matrix.order;
  choose_order(matrix, last);
  permute_pattern(matrix);
  build_tree();
  const std::vector<int64_t> counts = count_columns();
  choose_leading(counts, last.size());
  start_.assign(index(num_leading_) + 1, 0);
  for (int32_t j = 0; j < num_leading_; ++j) {
    start_[index(j) + 1] = start_[index(j)] + counts[index(j)];
  }
  end_.assign(index(num_leading_), 0);
  row_.resize(index(start_.back()));
  value_.resize(index(start_.back()));
  dense_.reset(index(dense_order()), index(dense_order()));
  pivot_.assign(index(order_), 1.0);
  work_.assign(index(order_), 0.0);
  solution_.resize(index(order_));
}

void SparseLdl::choose_order(const UpperTriangle& matrix, std::span<const int32_t> last) {
  std::vector<int32_t> number(index(order_), 0);
  for (const int32_t node : last) number[index(node)] = -1;
  std::vector<int32_t> leading;
  for (int32_t node = 0; node < order_; ++node) {
    if (number[index(node)] < 0) continue;
    number[index(node)] = static_cast<int32_t>(leading.size());
    leading.push_back(node);
  }
  node_at_.clear();
  if (!leading.empty()) {
    for (const int32_t k : minimum_degree_order(matrix, number)) {
      node_at_.push_back(leading[index(k)]);
    }
  }
  node_at_.insert(node_at_.end(), last.begin(), last.end());
  place_of_.resize(index(order_));
  for (int32_t place = 0; place < order_; ++place) place_of_[index(node_at_[index(place)])] = place;
}

void SparseLdl::permute_pattern(const UpperTriangle& matrix) {
  matrix_start_.assign(index(order_) + 1, 0);
  const auto column_of = [this](int32_t row, int32_t col) {
    return std::max(place_of_[index(row)], place_of_[index(col)]);
  };
  for (int32_t col = 0; col < order_; ++col) {
    for (int64_t k = matrix.start[index(col)]; k < matrix.start[index(col) + 1]; ++k) {
      ++matrix_start_[index(column_of(matrix.row[index(k)], col)) + 1];
    }
  }
  std::partial_sum(matrix_start_.begin(), matrix_start_.end(), matrix_start_.begin());
  matrix_row_.resize(matrix.row.size());
  matrix_from_.resize(matrix.row.size());
  matrix_value_.resize(matrix.row.size());
  std::vector<int64_t> next(matrix_start_.begin(), matrix_start_.end() - 1);
  for (int32_t col = 0; col < order_; ++col) {
    for (int64_t k = matrix.start[index(col)]; k < matrix.start[index(col) + 1]; ++k) {
      const int32_t a = place_of_[index(matrix.row[index(k)])];
      const int32_t b = place_of_[index(col)];
      const int64_t to = next[index(std::max(a, b))]++;
      matrix_row_[index(to)] = std::min(a, b);
      matrix_from_[index(to)] = k;
    }
  }
}

void SparseLdl::build_tree() {
  parent_.assign(index(order_), -1);
  std::vector<int32_t> ancestor(index(order_), -1);
  for (int32_t k = 0; k < order_; ++k) {
    for (int64_t p = matrix_start_[index(k)]; p < matrix_start_[index(k) + 1]; ++p) {
      int32_t i = matrix_row_[index(p)];
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
  for (int64_t p = matrix_start_[index(k)]; p < matrix_start_[index(k) + 1]; ++p) {
    int32_t i = matrix_row_[index(p)];
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
  return start_.back() + tail * (tail + 1) / 2;
}

double SparseLdl::safe_pivot(int32_t place, double pivot, std::span<const int8_t> signs) {
  const int32_t node = node_at_[index(place)];
  const double sign = signs[index(node)];
  if (pivot * sign > pivot_rule_.least) return pivot;
  replaced_.push_back(node);
  return pivot_rule_.replacement * sign;
}

void SparseLdl::factor(const UpperTriangle& matrix, std::span<const int8_t> signs,
                       const DenseMatrix* end_block) {
  set_up(matrix, signs, end_block);
  if (algebra_ != nullptr && end_block != nullptr) {
    if (factor_negative_end(signs)) return;
    set_up(matrix, signs, end_block);
  }
  factor_dense_end(signs);
}

// All but the dense end itself.
void SparseLdl::set_up(const UpperTriangle& matrix, std::span<const int8_t> signs,
                       const DenseMatrix* end_block) {
  replaced_.clear();
  for (size_t k = 0; k < matrix_from_.size(); ++k) {
    matrix_value_[k] = matrix.value[index(matrix_from_[k])];
  }
  std::copy(start_.begin(), start_.end() - 1, end_.begin());
  std::fill(mark_.begin(), mark_.end(), -1);
  if (end_block != nullptr) {
    dense_ = *end_block;
  } else {
    dense_.fill(0.0);
  }
  for (int32_t k = 0; k < order_; ++k) factor_row(k, signs);
}

// Row k of L solves L(0..k) D y = K(0..k, k). For a row of the dense end the elimination stops at
// the leading part; what is left in the work space then is its row of the Schur complement.
void SparseLdl::factor_row(int32_t k, std::span<const int8_t> signs) {
  const int32_t limit = std::min(k, num_leading_);
  const int32_t top = reach(k, limit);
  for (int64_t p = matrix_start_[index(k)]; p < matrix_start_[index(k) + 1]; ++p) {
    work_[index(matrix_row_[index(p)])] += matrix_value_[index(p)];
  }
  double diagonal = work_[index(k)];
  work_[index(k)] = 0.0;
  for (int32_t t = top; t < order_; ++t) {
    const size_t j = index(stack_[index(t)]);
    const double y = work_[j];
    work_[j] = 0.0;
    const int64_t end = end_[j];
    for (int64_t p = start_[j]; p < end; ++p) {
      work_[index(row_[index(p)])] -= value_[index(p)] * y;
    }
    const double l = y / pivot_[j];
    diagonal -= l * y;
    row_[index(end)] = k;
    value_[index(end)] = l;
    end_[j] = end + 1;
  }
  if (k < num_leading_) {
    pivot_[index(k)] = safe_pivot(k, diagonal, signs);
    return;
  }
  const size_t row = index(k - num_leading_);
  dense_(row, row) += diagonal;
  const auto move = [&](size_t col) {
    dense_(row, col) += work_[index(num_leading_) + col];
    work_[index(num_leading_) + col] = 0.0;
  };
  if (top < order_) {
    for (size_t col = 0; col < row; ++col) move(col);
    return;
  }
  // Nothing but the matrix's own elements.
  for (int64_t p = matrix_start_[index(k)]; p < matrix_start_[index(k) + 1]; ++p) {
    const int32_t col = matrix_row_[index(p)];
    if (col >= num_leading_ && col < k) move(index(col - num_leading_));
  }
}

// Where all signs are minus, -L D L' is a Cholesky factorization, which the dense algebra has.
bool SparseLdl::factor_negative_end(std::span<const int8_t> signs) {
  for (int32_t place = num_leading_; place < order_; ++place) {
    if (signs[index(node_at_[index(place)])] > 0) return false;
  }
  for (double& value : dense_.values()) value = -value;
  if (!algebra_->factor_cholesky(dense_)) return false;
  for (size_t c = 0; c < dense_.cols(); ++c) {
    const std::span<double> column = dense_.view().column(c);
    const double root = column[c];
    pivot_[index(num_leading_) + c] = -root * root;
    for (size_t r = c + 1; r < column.size(); ++r) column[r] /= root;
  }
  return true;
}

void SparseLdl::factor_dense_end(std::span<const int8_t> signs) {
  for (size_t first = 0; first < dense_.cols(); first += kBlock) {
    const size_t size = std::min(kBlock, dense_.cols() - first);
    factor_block(first, size, signs);
    update_after_block(first, size);
  }
}

// L D L' of a block on the diagonal, column by column within it.
void SparseLdl::factor_block(size_t first, size_t size, std::span<const int8_t> signs) {
  for (size_t c = first; c < first + size; ++c) {
    const std::span<double> column = dense_.view().column(c);
    const auto place = num_leading_ + static_cast<int32_t>(c);
    const double pivot = safe_pivot(place, column[c], signs);
    pivot_[index(place)] = pivot;
    for (size_t other = c + 1; other < first + size; ++other) {
      const double factor = column[other] / pivot;
      const std::span<double> target = dense_.view().column(other);
      for (size_t r = other; r < first + size; ++r) target[r] -= factor * column[r];
    }
    for (size_t r = c + 1; r < first + size; ++r) column[r] /= pivot;
  }
}

// The rows below a factored block, then the rest of the triangle.
void SparseLdl::update_after_block(size_t first, size_t size) {
  const size_t end = first + size;
  const size_t below = dense_.rows() - end;
  if (below == 0) return;
  const MatrixView panel = dense_.view().block(end, first, below, size);
  solve_panel(dense_.view().block(first, first, size, size), panel);
  // The panel holds L21 D now, which is kept, and becomes L21.
  panel_.reset(below, size);
  for (size_t c = 0; c < size; ++c) {
    const double pivot = pivot_[index(num_leading_) + first + c];
    const std::span<double> column = panel.column(c);
    std::copy(column.begin(), column.end(), panel_.view().column(c).begin());
    for (double& value : column) value /= pivot;
  }
  update_rest(panel, dense_.view().block(end, end, below, below));
}

// panel = panel inv(L') with the unit lower triangle L of the block.
void SparseLdl::solve_panel(ConstMatrixView block, MatrixView panel) const {
  if (algebra_ != nullptr) {
    algebra_->divide_by_unit_triangle(block, panel);
    return;
  }
  for (size_t c = 0; c < panel.cols(); ++c) {
    const std::span<double> target = panel.column(c);
    for (size_t done = 0; done < c; ++done) {
      const double factor = block(c, done);
      const std::span<const double> source = panel.column(done);
      for (size_t r = 0; r < target.size(); ++r) target[r] -= factor * source[r];
    }
  }
}

// The lower triangle of rest -= L21 D L21', with L21 D in panel_.
void SparseLdl::update_rest(ConstMatrixView panel, MatrixView rest) const {
  if (algebra_ != nullptr) {
    algebra_->multiply_symmetric(-1.0, panel, transposed(panel_), 1.0, rest);
    return;
  }
  for (size_t c = 0; c < rest.cols(); ++c) {
    const std::span<double> target = rest.column(c);
    for (size_t k = 0; k < panel.cols(); ++k) {
      const double factor = panel_(c, k);
      const std::span<const double> source = panel.column(k);
      for (size_t r = c; r < target.size(); ++r) target[r] -= factor * source[r];
    }
  }
}

void SparseLdl::solve(std::span<double> rhs) const {
  const std::span<double> x = solution_;
  for (size_t place = 0; place < x.size(); ++place) x[place] = rhs[index(node_at_[place])];
  const size_t leading = index(num_leading_);
  for (size_t j = 0; j < leading; ++j) {
    const double xj = x[j];
    if (xj == 0.0) continue;
    for (size_t p = index(start_[j]); p < index(start_[j + 1]); ++p) {
      x[index(row_[p])] -= value_[p] * xj;
    }
  }
  solve_dense_end(x.subspan(leading));
  for (size_t j = leading; j-- > 0;) {
    double xj = x[j] / pivot_[j];
    for (size_t p = index(start_[j]); p < index(start_[j + 1]); ++p) {
      xj -= value_[p] * x[index(row_[p])];
    }
    x[j] = xj;
  }
  for (size_t place = 0; place < x.size(); ++place) rhs[index(node_at_[place])] = x[place];
}

void SparseLdl::solve_dense_end(std::span<double> x) const {
  for (size_t c = 0; c < x.size(); ++c) {
    const std::span<const double> column = dense_.view().column(c);
    const double xc = x[c];
    for (size_t r = c + 1; r < x.size(); ++r) x[r] -= column[r] * xc;
  }
  for (size_t c = 0; c < x.size(); ++c) x[c] /= pivot_[index(num_leading_) + c];
  for (size_t c = x.size(); c-- > 0;) {
    const std::span<const double> column = dense_.view().column(c);
    double sum = x[c];
    for (size_t r = c + 1; r < x.size(); ++r) sum -= column[r] * x[r];
    x[c] = sum;
  }
}

}  // namespace vorlan::conic
