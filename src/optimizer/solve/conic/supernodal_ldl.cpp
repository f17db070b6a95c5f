// A panel takes the updates of the panels before it when its turn comes, and is factored then. What
// goes into the dense end is collected: panels that fill most of its rows go there many at a time.
#include "solve/conic/supernodal_ldl.h"

#include <algorithm>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/lane_dot.h"
#include "solve/conic/panel_products.h"

namespace vorlan::conic {
namespace {

// Columns of a panel that are factored at a time.
constexpr size_t kBlock = 64;
// Columns that are taken off the end at a time, and the share of its rows that each has elements in.
constexpr size_t kBatch = 128;
constexpr size_t kRowsOfBatchedOnes = 4;
// Products of fewer multiplications are made by loops: dense algebra's preparations cost more.
constexpr size_t kFewMultiplications = 8192;
// What it costs to take an element of a product off the end, in multiplications of a product of
// matrices.
constexpr double kWorkOfElement = 50.0;

// Supernodes are merged while they have few columns, or few of the elements would be 0.
bool is_worth_merging(int64_t width, int64_t zeros, int64_t elements) {
  const auto share = static_cast<double>(zeros) / static_cast<double>(elements);
  return share < 0.05 || (width <= 48 && share < 0.1) || (width <= 16 && share < 0.4);
}

int64_t elements_of(int64_t width, int64_t num_rows) {
  return width * (width + 1) / 2 + width * num_rows;
}

}  // namespace

void SupernodalLdl::analyze(const Pattern& pattern) {
  num_leading_ = pattern.num_leading;
  choose_supernodes(pattern);
  find_rows(pattern);
  find_targets(pattern);
  values_.resize(nodes_.empty() ? 0 : index(values_end(nodes_.back())));
  pivot_.assign(index(num_leading_), 1.0);
  next_waiting_.resize(nodes_.size());
  done_rows_.resize(nodes_.size());
  place_of_row_.resize(pattern.parent.size());
  batch_pivot_.resize(kBatch);
}

int64_t SupernodalLdl::values_end(const Supernode& node) {
  return node.values_begin + static_cast<int64_t>(node.width) * (node.width + node.num_rows);
}

// Columns that follow each other on a path of the tree become one supernode where the first one's
// rows are those of the second, or nearly.
void SupernodalLdl::choose_supernodes(const Pattern& pattern) {
  nodes_.clear();
  node_of_.resize(index(num_leading_));
  int64_t exact = 0;
  for (int32_t j = 0; j < num_leading_; ++j) {
    const int64_t below = pattern.counts[index(j)];
    bool joins = j > 0 && pattern.parent[index(j - 1)] == j;
    if (joins) {
      const int64_t width = nodes_.back().width + 1;
      const int64_t elements = elements_of(width, below);
      joins = is_worth_merging(width, elements - exact - below - 1, elements);
    }
    if (!joins) {
      nodes_.push_back({j, 0, 0, 0, 0});
      exact = 0;
    }
    ++nodes_.back().width;
    exact += below + 1;
    node_of_[index(j)] = static_cast<int32_t>(nodes_.size()) - 1;
  }
}

// Row k is in all of the supernodes on the paths that lead from its elements up to it.
void SupernodalLdl::find_rows(const Pattern& pattern) {
  std::vector<std::vector<int32_t>> rows(nodes_.size());
  const auto order = static_cast<int32_t>(pattern.parent.size());
  for (int32_t k = 0; k < order; ++k) {
    for (int64_t p = pattern.start[index(k)]; p < pattern.start[index(k) + 1]; ++p) {
      int32_t j = pattern.row[index(p)];
      while (j >= 0 && j < num_leading_) {
        const size_t s = index(node_of_[index(j)]);
        const int32_t last = nodes_[s].first + nodes_[s].width - 1;
        if (k <= last || (!rows[s].empty() && rows[s].back() == k)) break;
        rows[s].push_back(k);
        j = pattern.parent[index(last)];
      }
    }
  }
  rows_.clear();
  int64_t values = 0;
  for (size_t s = 0; s < nodes_.size(); ++s) {
    nodes_[s].rows_begin = static_cast<int64_t>(rows_.size());
    nodes_[s].num_rows = static_cast<int32_t>(rows[s].size());
    nodes_[s].values_begin = values;
    values = values_end(nodes_[s]);
    rows_.insert(rows_.end(), rows[s].begin(), rows[s].end());
  }
}

void SupernodalLdl::find_targets(const Pattern& pattern) {
  target_row_.resize(pattern.row.size());
  const auto order = static_cast<int32_t>(pattern.parent.size());
  for (int32_t k = 0; k < order; ++k) {
    for (int64_t p = pattern.start[index(k)]; p < pattern.start[index(k) + 1]; ++p) {
      const int32_t j = pattern.row[index(p)];
      if (j >= num_leading_) {
        target_row_[index(p)] = k - num_leading_;
        continue;
      }
      const Supernode& node = nodes_[index(node_of_[index(j)])];
      int32_t row = k - node.first;
      if (row >= node.width) {
        const std::span<const int32_t> below = rows(node);
        const auto found = std::lower_bound(below.begin(), below.end(), k);
        row = node.width + static_cast<int32_t>(found - below.begin());
      }
      target_row_[index(p)] = row;
    }
  }
}

int64_t SupernodalLdl::num_elements() const {
  int64_t count = 0;
  for (const Supernode& node : nodes_) count += elements_of(node.width, node.num_rows) - node.width;
  return count;
}

std::span<const int32_t> SupernodalLdl::rows(const Supernode& node) const {
  return std::span(rows_).subspan(index(node.rows_begin), index(node.num_rows));
}

MatrixView SupernodalLdl::panel(const Supernode& node) {
  const size_t height = index(node.width + node.num_rows);
  return {values_.data() + node.values_begin, height, index(node.width), height};
}

ConstMatrixView SupernodalLdl::panel(const Supernode& node) const {
  const size_t height = index(node.width + node.num_rows);
  return {values_.data() + node.values_begin, height, index(node.width), height};
}

// ---- Factorization --------------------------------------------------------------------------

void SupernodalLdl::factor(const Pattern& pattern, std::span<const double> values,
                           std::span<const int8_t> signs, const PivotRule& rule, MatrixView end,
                           std::vector<int32_t>* replaced) {
  scatter(pattern, values, end);
  waiting_.assign(nodes_.size() + 1, -1);
  for (size_t s = 0; s < nodes_.size(); ++s) {
    take_updates(s);
    factor_panel(nodes_[s], signs, rule, replaced);
    done_rows_[s] = 0;
    queue(static_cast<int32_t>(s));
  }
  update_end(end);
}

void SupernodalLdl::scatter(const Pattern& pattern, std::span<const double> values,
                            MatrixView end) {
  std::fill(values_.begin(), values_.end(), 0.0);
  for (size_t p = 0; p < target_row_.size(); ++p) {
    const int32_t j = pattern.row[p];
    const size_t row = index(target_row_[p]);
    if (j >= num_leading_) {
      end(row, index(j - num_leading_)) += values[p];
    } else {
      const Supernode& node = nodes_[index(node_of_[index(j)])];
      const size_t height = index(node.width + node.num_rows);
      values_[index(node.values_begin) + index(j - node.first) * height + row] += values[p];
    }
  }
}

// Puts a supernode into the list of the one that holds its first row that is not done.
void SupernodalLdl::queue(int32_t s) {
  const std::span<const int32_t> all = rows(nodes_[index(s)]);
  if (done_rows_[index(s)] == all.size()) return;
  const int32_t row = all[done_rows_[index(s)]];
  const size_t list = row < num_leading_ ? index(node_of_[index(row)]) : nodes_.size();
  next_waiting_[index(s)] = waiting_[list];
  waiting_[list] = s;
}

void SupernodalLdl::take_updates(size_t s) {
  if (waiting_[s] < 0) return;
  const Supernode& node = nodes_[s];
  const MatrixView target = panel(node);
  for (int32_t c = 0; c < node.width; ++c) place_of_row_[index(node.first + c)] = c;
  int32_t place = node.width;
  for (const int32_t row : rows(node)) place_of_row_[index(row)] = place++;

  for (int32_t d = waiting_[s]; d >= 0;) {
    const int32_t next = next_waiting_[index(d)];
    const size_t from = done_rows_[index(d)];
    const std::span<const int32_t> its = rows(nodes_[index(d)]).subspan(from);
    const auto beyond = std::lower_bound(its.begin(), its.end(), node.first + node.width);
    const auto num_columns = static_cast<size_t>(beyond - its.begin());
    const MatrixView product = multiply_rows(nodes_[index(d)], from, num_columns);
    for (size_t c = 0; c < num_columns; ++c) {
      const std::span<double> column = target.column(index(its[c] - node.first));
      const std::span<const double> change = product.column(c);
      for (size_t r = c; r < its.size(); ++r) {
        column[index(place_of_row_[index(its[r])])] -= change[r];
      }
    }
    done_rows_[index(d)] += num_columns;
    queue(d);
    d = next;
  }
}

// L21 D L22', where L21 are the rows below the panel's columns from the one given on, and L22 the
// first num_columns of them. Above its diagonal anything may stand.
MatrixView SupernodalLdl::multiply_rows(const Supernode& node, size_t from, size_t num_columns) {
  const size_t width = index(node.width);
  const size_t height = index(node.num_rows) - from;
  const ConstMatrixView l = std::as_const(*this).panel(node).block(width + from, 0, height, width);
  product_.resize(std::max(product_.size(), height * num_columns));
  scaled_.resize(std::max(scaled_.size(), num_columns * width));
  const MatrixView product(product_.data(), height, num_columns, height);
  const MatrixView scaled(scaled_.data(), num_columns, width, num_columns);
  for (size_t k = 0; k < width; ++k) {
    const double pivot = pivot_[index(node.first) + k];
    for (size_t c = 0; c < num_columns; ++c) scaled(c, k) = l(c, k) * pivot;
  }
  if (algebra_ != nullptr && height * num_columns * width > kFewMultiplications) {
    algebra_->multiply(1.0, l, transposed(ConstMatrixView(scaled)), 0.0, product);
    return product;
  }
  for (size_t c = 0; c < num_columns; ++c) {
    const std::span<double> column = product.column(c);
    std::fill(column.begin(), column.end(), 0.0);
    for (size_t k = 0; k < width; ++k) {
      const double factor = scaled(c, k);
      const std::span<const double> source = l.column(k);
      for (size_t r = c; r < height; ++r) column[r] += source[r] * factor;
    }
  }
  return product;
}

void SupernodalLdl::factor_panel(const Supernode& node, std::span<const int8_t> signs,
                                 const PivotRule& rule, std::vector<int32_t>* replaced) {
  const MatrixView all = panel(node);
  const size_t width = all.cols();
  const std::span<double> pivots = std::span(pivot_).subspan(index(node.first), width);
  const std::span<const int8_t> its_signs = signs.subspan(index(node.first), width);
  for (size_t first = 0; first < width; first += kBlock) {
    const size_t size = std::min(kBlock, width - first);
    const size_t end = first + size;
    const MatrixView block = all.block(first, first, size, size);
    std::vector<size_t> places;
    factor_block(block, its_signs.subspan(first, size), rule, pivots.subspan(first, size), &places);
    for (const size_t place : places) {
      replaced->push_back(node.first + static_cast<int32_t>(first + place));
    }
    const size_t below = all.rows() - end;
    if (below == 0) continue;
    const MatrixView rest = all.block(end, first, below, size);
    const bool is_large = below * size * size > kFewMultiplications;
    divide_by_block(is_large ? algebra_ : nullptr, block, rest);
    // The rest holds L21 D now, whose first rows update the panel's other columns.
    scaled_.resize(std::max(scaled_.size(), (width - end) * size));
    const MatrixView scaled(scaled_.data(), width - end, size, width - end);
    for (size_t c = 0; c < size; ++c) {
      const std::span<double> column = rest.column(c);
      std::copy_n(column.begin(), width - end, scaled.column(c).begin());
      for (double& value : column) value /= pivots[first + c];
    }
    if (end < width) {
      subtract_product(algebra_, rest, scaled, all.block(end, end, below, width - end));
    }
  }
}

void SupernodalLdl::update_end(MatrixView end) {
  size_t filled = 0;
  batch_.reset(end.rows(), end.rows() == 0 ? 0 : kBatch);
  for (int32_t d = waiting_.back(); d >= 0; d = next_waiting_[index(d)]) {
    const Supernode& node = nodes_[index(d)];
    const std::span<const int32_t> its = rows(node).subspan(done_rows_[index(d)]);
    if (its.size() * kRowsOfBatchedOnes < end.rows()) {
      update_end_directly(node, done_rows_[index(d)], end);
      continue;
    }
    const ConstMatrixView l = std::as_const(*this).panel(node);
    for (size_t k = 0; k < l.cols(); ++k) {
      const std::span<const double> source = l.column(k).last(its.size());
      const std::span<double> column = batch_.view().column(filled);
      for (size_t r = 0; r < its.size(); ++r) column[index(its[r] - num_leading_)] = source[r];
      batch_pivot_[filled] = pivot_[index(node.first) + k];
      if (++filled == kBatch) take_batch_off(&filled, end);
    }
  }
  take_batch_off(&filled, end);
}

void SupernodalLdl::update_end_directly(const Supernode& node, size_t from, MatrixView end) {
  const std::span<const int32_t> its = rows(node).subspan(from);
  const MatrixView product = multiply_rows(node, from, its.size());
  constexpr size_t kColumnsOfPiece = 32;
  const size_t pieces = (its.size() + kColumnsOfPiece - 1) / kColumnsOfPiece;
  const auto elements = 0.5 * static_cast<double>(its.size() * its.size());
  ThreadTeam* const team =
      algebra_ == nullptr ? nullptr : algebra_->team_for(kWorkOfElement * elements);
  run_pieces(team, pieces, [&](size_t piece, size_t) {
    const Range range = range_of_piece(its.size(), pieces, piece);
    for (size_t c = range.first; c < range.first + range.count; ++c) {
      const std::span<double> column = end.column(index(its[c] - num_leading_));
      const std::span<const double> change = product.column(c);
      for (size_t r = c; r < its.size(); ++r) column[index(its[r] - num_leading_)] -= change[r];
    }
  });
}

// The columns collected are those of L; the lower triangle of the end loses L D L'.
void SupernodalLdl::take_batch_off(size_t* num_columns, MatrixView end) {
  if (*num_columns == 0) return;
  const MatrixView l = batch_.view().block(0, 0, end.rows(), *num_columns);
  scaled_.resize(std::max(scaled_.size(), end.rows() * *num_columns));
  const MatrixView scaled(scaled_.data(), end.rows(), *num_columns, end.rows());
  for (size_t k = 0; k < *num_columns; ++k) {
    const std::span<const double> column = l.column(k);
    std::transform(column.begin(), column.end(), scaled.column(k).begin(),
                   [pivot = batch_pivot_[k]](double value) { return value * pivot; });
  }
  subtract_symmetric_product(algebra_, l, scaled, end);
  batch_.fill(0.0);
  *num_columns = 0;
}

// ---- Solution -------------------------------------------------------------------------------

void SupernodalLdl::solve_forward(std::span<double> x) const {
  for (const Supernode& node : nodes_) {
    const ConstMatrixView l = panel(node);
    const size_t width = l.cols();
    const std::span<double> own = x.subspan(index(node.first), width);
    const std::span<const int32_t> its = rows(node);
    gathered_.assign(its.size(), 0.0);
    if (takes_algebra(l)) {
      algebra_->divide_by_triangle(l.block(0, 0, width, width), Diagonal::kUnit, own);
      algebra_->add_product(1.0, l.block(width, 0, its.size(), width), own.data(),
                            gathered_.data());
    } else {
      for (size_t c = 0; c < width; ++c) {
        const std::span<const double> column = l.column(c);
        const double xc = own[c];
        if (xc == 0.0) continue;
        for (size_t r = c + 1; r < width; ++r) own[r] -= column[r] * xc;
        const double* const below = column.data() + width;
        for (size_t r = 0; r < its.size(); ++r) gathered_[r] += below[r] * xc;
      }
    }
    for (size_t r = 0; r < its.size(); ++r) x[index(its[r])] -= gathered_[r];
  }
}

void SupernodalLdl::solve_backward(std::span<double> x) const {
  for (size_t s = nodes_.size(); s-- > 0;) {
    const ConstMatrixView l = panel(nodes_[s]);
    const size_t width = l.cols();
    const std::span<double> own = x.subspan(index(nodes_[s].first), width);
    const std::span<const int32_t> its = rows(nodes_[s]);
    for (size_t c = 0; c < width; ++c) own[c] /= pivot_[index(nodes_[s].first) + c];
    gathered_.resize(its.size());
    for (size_t r = 0; r < its.size(); ++r) gathered_[r] = x[index(its[r])];
    if (takes_algebra(l)) {
      algebra_->add_product(-1.0, transposed(l.block(width, 0, its.size(), width)),
                            gathered_.data(), own.data());
      algebra_->divide_by_triangle(transposed(l.block(0, 0, width, width)), Diagonal::kUnit, own);
      continue;
    }
    for (size_t c = width; c-- > 0;) {
      const std::span<const double> column = l.column(c);
      own[c] -= lane_dot(column.subspan(c + 1, width - c - 1), own.data() + c + 1);
      own[c] -= lane_dot(column.subspan(width), gathered_.data());
    }
  }
}

// Loops are as fast on small panels.
bool SupernodalLdl::takes_algebra(ConstMatrixView panel) const {
  constexpr size_t kManyElements = 2048;
  constexpr size_t kManyColumns = 8;
  return algebra_ != nullptr && panel.cols() >= kManyColumns &&
         panel.rows() * panel.cols() >= kManyElements;
}

}  // namespace vorlan::conic
