// Each block of columns is factored by itself. Then the rows below it are solved for, and their
// product is taken off the rest of the triangle, where dense algebra does the work.
#include "solve/conic/dense_ldl.h"

#include <algorithm>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// Columns that are factored at a time: their block stays in the cache.
constexpr size_t kBlock = 96;

}  // namespace

void DenseLdl::resize(size_t order) {
  triangles_.reset(order);
  pivot_.assign(order, 1.0);
}

bool DenseLdl::factor_negative() {
  for (size_t col = 0; col < order(); ++col) {
    for (double& value : matrix().column(col).subspan(col)) value = -value;
  }
  is_cholesky_ = algebra_->factor_cholesky(matrix());
  return is_cholesky_;
}

std::vector<size_t> DenseLdl::factor(std::span<const int8_t> signs, const PivotRule& rule) {
  is_cholesky_ = false;
  std::vector<size_t> replaced;
  for (size_t first = 0; first < order(); first += kBlock) {
    const size_t size = std::min(kBlock, order() - first);
    std::vector<size_t> places;
    factor_block(matrix().block(first, first, size, size), signs.subspan(first, size), rule,
                 std::span(pivot_).subspan(first, size), &places);
    for (const size_t place : places) replaced.push_back(first + place);
    update_after_block(first, size);
  }
  return replaced;
}

// The rows below a factored block come first, then the rest of the triangle.
void DenseLdl::update_after_block(size_t first, size_t size) {
  const size_t end = first + size;
  const size_t below = order() - end;
  if (below == 0) return;
  const MatrixView panel = matrix().block(end, first, below, size);
  divide_by_block(algebra_, matrix().block(first, first, size, size), panel);
  // The panel holds L21 D now, which is kept, and becomes L21.
  panel_.reset(below, size);
  for (size_t c = 0; c < size; ++c) {
    const double pivot = pivot_[first + c];
    const std::span<double> column = panel.column(c);
    std::copy(column.begin(), column.end(), panel_.view().column(c).begin());
    for (double& value : column) value /= pivot;
  }
  subtract_symmetric_product(algebra_, panel, panel_, matrix().block(end, end, below, below));
}

void DenseLdl::solve(std::span<double> x) const {
  if (x.empty()) return;
  if (algebra_ == nullptr) {
    solve_by_loops(x);
    return;
  }
  const Diagonal diagonal = is_cholesky_ ? Diagonal::kOwn : Diagonal::kUnit;
  const Operand l = triangles_.lower();
  algebra_->divide_by_triangle(l, diagonal, x);
  for (size_t c = 0; c < x.size(); ++c) x[c] /= is_cholesky_ ? -1.0 : pivot_[c];
  algebra_->divide_by_triangle(transposed(l), diagonal, x);
}

void DenseLdl::solve_by_loops(std::span<double> x) const {
  for (size_t c = 0; c < x.size(); ++c) {
    const std::span<const double> column = triangles_.lower().column(c);
    const double xc = x[c];
    for (size_t r = c + 1; r < x.size(); ++r) x[r] -= column[r] * xc;
  }
  for (size_t c = 0; c < x.size(); ++c) x[c] /= pivot_[c];
  for (size_t c = x.size(); c-- > 0;) {
    const std::span<const double> column = triangles_.lower().column(c);
    double sum = x[c];
    for (size_t r = c + 1; r < x.size(); ++r) sum -= column[r] * x[r];
    x[c] = sum;
  }
}

}  // namespace vorlan::conic
