// The cliques are those of an elimination in an order of little fill: a row with the later ones
// that it is connected to then. Each of them begins as a piece, and children are joined to their
// parents as long as the work falls.
#include "solve/conic/matrix_cover.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

#include "solve/conic/compress.h"
#include "solve/conic/ordering.h"

namespace vorlan::conic {
namespace {

// Matrices of an order below this one are not worth equations between their parts.
constexpr int32_t kLeastDecomposed = 80;
// Cliques replace a component where they leave less than this share of its work.
constexpr double kWorthwhile = 0.5;
// A factor with more than this share of all elements has cliques too large to pay.
constexpr double kMostFill = 0.3;

// The multiplications of an iteration, in the time of those in products of matrices, with a matrix
// of the order: products and factorizations, and what goes over its elements.
double work_of_matrix(size_t order) {
  constexpr double kProducts = 20.0;
  constexpr double kPasses = 2000.0;
  const auto n = static_cast<double>(order);
  return n * n * (kProducts * n + kPasses);
}

// The same of the equations that share a matrix: products of their pairs, and their part of the
// factor.
double work_of_equations(double count) {
  constexpr double kProductOfPair = 150.0;
  constexpr double kElimination = 0.5;
  return count * count * (kElimination * count + kProductOfPair);
}

double pairs(size_t count) {
  return 0.5 * static_cast<double>(count) * static_cast<double>(count + 1);
}

using Rows = std::vector<int32_t>;

Rows unite(const Rows& a, const Rows& b) {
  Rows all;
  all.reserve(a.size() + b.size());
  std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(all));
  return all;
}

size_t count_common(const Rows& a, const Rows& b) {
  size_t count = 0;
  auto at = b.begin();
  for (const int32_t value : a) {
    at = std::lower_bound(at, b.end(), value);
    if (at == b.end()) break;
    count += *at == value ? 1 : 0;
  }
  return count;
}

// Calls act with the elements of C and of all A_i.
template <class Act>
void for_each_entry(const MatrixBlock& block, const Act& act) {
  for (const TriangleEntry& e : block.cost) act(e);
  for (const MatrixPart& part : block.parts) {
    for (const TriangleEntry& e : part.entries) act(e);
  }
}

// The root of a tree, in which every node names its parent and the root itself. Ways become
// shorter.
int32_t root_of(int32_t i, Rows* parent) {
  Rows& up = *parent;
  while (up[index(i)] != i) i = up[index(i)] = up[index(up[index(i)])];
  return i;
}

// The elements of C and all A_i, each place once, with a diagonal.
UpperTriangle pattern_of(const MatrixBlock& block) {
  UpperTriangle pattern;
  pattern.order = block.dimension;
  const auto for_each = [&block](const auto& act) {
    for_each_entry(block, [&act](const TriangleEntry& e) {
      act(index(std::min(e.row, e.col)), index(std::max(e.row, e.col)), 0.0);
    });
    for (size_t i = 0; i < index(block.dimension); ++i) act(i, i, 0.0);
  };
  compress(index(block.dimension), for_each, &pattern);
  return pattern;
}

// The number of each row's component, by their first rows.
std::vector<int32_t> find_components(const UpperTriangle& pattern) {
  Rows root(index(pattern.order));
  std::iota(root.begin(), root.end(), 0);
  pattern.for_each([&](int32_t row, int32_t col, size_t /*place*/) {
    const int32_t a = root_of(row, &root);
    const int32_t b = root_of(col, &root);
    root[index(std::max(a, b))] = std::min(a, b);
  });
  Rows number(root.size(), -1);
  int32_t count = 0;
  for (int32_t i = 0; i < pattern.order; ++i) {
    int32_t& first = number[index(root_of(i, &root))];
    if (first < 0) first = count++;
    number[index(i)] = first;
  }
  return number;
}

std::vector<bool> rows_with_elements(const MatrixBlock& block) {
  std::vector<bool> has(index(block.dimension), false);
  for_each_entry(block,
                 [&has](const TriangleEntry& e) { has[index(e.row)] = has[index(e.col)] = true; });
  return has;
}

// Pieces that are joined until no more work is saved.
class CliqueForest {
 public:
  CliqueForest(const MatrixBlock& block, const UpperTriangle& pattern);

  // False: there is too much fill.
  bool eliminate(const UpperTriangle& pattern);
  void join_where_it_saves();
  // Joins the pieces of components whose cliques are not worthwhile.
  void join_components(const Rows& component);
  MatrixCover cover() const;

 private:
  struct Piece {
    Rows own, shared;       // rows by their ranks
    Rows equations;         // that have elements whose own piece this is
    int32_t parent = -1;    // as at first: the root of it is the piece that stands for it
    double overlaps = 0.0;  // equations between this piece and its children
    bool is_joined = false;
  };
  int32_t find(int32_t piece) const { return root_of(piece, &stands_for_); }
  double own_overlaps(const Piece& piece) const { return pairs(piece.shared.size()); }
  double work_of(const Piece& piece) const;
  double joined_work(const Piece& child, const Piece& parent) const;
  void join(int32_t child, int32_t parent);

  Rows order_;  // row by rank
  Rows rank_;
  std::vector<Piece> pieces_;  // by the rank of their first row
  mutable Rows stands_for_;
};

CliqueForest::CliqueForest(const MatrixBlock& block, const UpperTriangle& pattern)
    : rank_(index(pattern.order)), pieces_(rank_.size()), stands_for_(rank_.size()) {
  Rows number(rank_.size());
  std::iota(number.begin(), number.end(), 0);
  order_ = minimum_degree_order({pattern, number, pattern.order});
  for (size_t k = 0; k < order_.size(); ++k) rank_[index(order_[k])] = static_cast<int32_t>(k);
  std::iota(stands_for_.begin(), stands_for_.end(), 0);
  for (const MatrixPart& part : block.parts) {
    for (const TriangleEntry& e : part.entries) {
      Rows& equations =
          pieces_[index(std::min(rank_[index(e.row)], rank_[index(e.col)]))].equations;
      if (equations.empty() || equations.back() != part.row) equations.push_back(part.row);
    }
  }
  for (Piece& piece : pieces_) std::sort(piece.equations.begin(), piece.equations.end());
}

bool CliqueForest::eliminate(const UpperTriangle& pattern) {
  pattern.for_each([&](int32_t row, int32_t col, size_t /*place*/) {
    if (row == col) return;
    const auto [low, high] = std::minmax(rank_[index(row)], rank_[index(col)]);
    pieces_[index(low)].shared.push_back(high);
  });
  for (Piece& piece : pieces_) std::sort(piece.shared.begin(), piece.shared.end());
  const double most = kMostFill * pairs(pieces_.size());
  double fill = 0.0;
  for (size_t k = 0; k < pieces_.size(); ++k) {
    Piece& piece = pieces_[k];
    piece.own = {static_cast<int32_t>(k)};
    fill += static_cast<double>(piece.shared.size());
    if (fill > most) return false;
    if (piece.shared.empty()) continue;
    piece.parent = piece.shared[0];
    Piece& parent = pieces_[index(piece.parent)];
    parent.overlaps += own_overlaps(piece);
    const Rows later(piece.shared.begin() + 1, piece.shared.end());
    parent.shared = unite(parent.shared, later);
  }
  return true;
}

double CliqueForest::work_of(const Piece& piece) const {
  const double equations =
      static_cast<double>(piece.equations.size()) + piece.overlaps + own_overlaps(piece);
  return work_of_matrix(piece.own.size() + piece.shared.size()) + work_of_equations(equations);
}

double CliqueForest::joined_work(const Piece& child, const Piece& parent) const {
  const size_t equations = child.equations.size() + parent.equations.size() -
                           count_common(child.equations, parent.equations);
  const double overlaps =
      child.overlaps + parent.overlaps - own_overlaps(child) + own_overlaps(parent);
  return work_of_matrix(child.own.size() + parent.own.size() + parent.shared.size()) +
         work_of_equations(static_cast<double>(equations) + overlaps);
}

void CliqueForest::join(int32_t child, int32_t parent) {
  Piece& from = pieces_[index(child)];
  Piece& to = pieces_[index(parent)];
  to.overlaps += from.overlaps - own_overlaps(from);
  to.own = unite(to.own, from.own);
  to.equations = unite(to.equations, from.equations);
  from = {};
  from.is_joined = true;
  stands_for_[index(child)] = parent;
}

void CliqueForest::join_where_it_saves() {
  for (bool has_joined = true; has_joined;) {
    has_joined = false;
    for (size_t k = 0; k < pieces_.size(); ++k) {
      const Piece& piece = pieces_[k];
      if (piece.is_joined || piece.parent < 0) continue;
      const int32_t parent = find(piece.parent);
      const Piece& other = pieces_[index(parent)];
      // A piece that has all rows of its parent takes its place.
      const bool has_parent = other.own.size() + other.shared.size() == piece.shared.size();
      if (!has_parent && joined_work(piece, other) > work_of(piece) + work_of(other)) continue;
      join(static_cast<int32_t>(k), parent);
      has_joined = true;
    }
  }
}

void CliqueForest::join_components(const Rows& component) {
  const size_t count =
      component.empty() ? 0 : index(*std::max_element(component.begin(), component.end())) + 1;
  std::vector<double> work(count, 0.0);
  std::vector<size_t> size(count, 0);
  std::vector<Rows> equations(count);
  const auto component_of = [&](const Piece& piece) {
    return index(component[index(order_[index(piece.own[0])])]);
  };
  for (const Piece& piece : pieces_) {
    if (piece.is_joined) continue;
    const size_t c = component_of(piece);
    work[c] += work_of(piece);
    size[c] += piece.own.size();
    equations[c].insert(equations[c].end(), piece.equations.begin(), piece.equations.end());
  }
  std::vector<bool> is_worthwhile(count);
  for (size_t c = 0; c < count; ++c) {
    std::sort(equations[c].begin(), equations[c].end());
    equations[c].erase(std::unique(equations[c].begin(), equations[c].end()), equations[c].end());
    const double whole =
        work_of_matrix(size[c]) + work_of_equations(static_cast<double>(equations[c].size()));
    is_worthwhile[c] = size[c] >= index(kLeastDecomposed) && work[c] < kWorthwhile * whole;
  }
  for (size_t k = 0; k < pieces_.size(); ++k) {
    const Piece& piece = pieces_[k];
    if (piece.is_joined || piece.parent < 0 || is_worthwhile[component_of(piece)]) continue;
    join(static_cast<int32_t>(k), find(piece.parent));
  }
}

MatrixCover CliqueForest::cover() const {
  MatrixCover cover;
  cover.piece_of_row.assign(order_.size(), -1);
  Rows number(pieces_.size(), -1);
  const auto rows_of = [this](const Rows& ranks) {
    Rows rows;
    for (const int32_t rank : ranks) rows.push_back(order_[index(rank)]);
    std::sort(rows.begin(), rows.end());
    return rows;
  };
  for (size_t k = 0; k < pieces_.size(); ++k) {
    if (pieces_[k].is_joined) continue;
    number[k] = static_cast<int32_t>(cover.pieces.size());
    cover.pieces.push_back({rows_of(pieces_[k].own), rows_of(pieces_[k].shared), -1});
    for (const int32_t row : cover.pieces.back().own) cover.piece_of_row[index(row)] = number[k];
  }
  for (size_t k = 0; k < pieces_.size(); ++k) {
    if (number[k] < 0 || pieces_[k].parent < 0) continue;
    cover.pieces[index(number[k])].parent = number[index(find(pieces_[k].parent))];
  }
  return cover;
}

// A piece for each component.
MatrixCover cover_by_components(const Rows& component) {
  MatrixCover cover;
  cover.piece_of_row = component;
  for (size_t i = 0; i < component.size(); ++i) {
    const size_t c = index(component[i]);
    if (c == cover.pieces.size()) cover.pieces.emplace_back();
    cover.pieces[c].own.push_back(static_cast<int32_t>(i));
  }
  return cover;
}

// Takes out the pieces of rows without an element.
void drop_empty_rows(const std::vector<bool>& has_element, MatrixCover* cover) {
  Rows number(cover->pieces.size(), -1);
  std::vector<CoverPiece> kept;
  for (size_t p = 0; p < cover->pieces.size(); ++p) {
    if (!has_element[index(cover->pieces[p].own[0])]) continue;
    number[p] = static_cast<int32_t>(kept.size());
    kept.push_back(std::move(cover->pieces[p]));
  }
  cover->pieces = std::move(kept);
  for (CoverPiece& piece : cover->pieces) {
    if (piece.parent >= 0) piece.parent = number[index(piece.parent)];
  }
  for (int32_t& piece : cover->piece_of_row) piece = number[index(piece)];
}

}  // namespace

MatrixCover find_cover(const MatrixBlock& block, Cover kind) {
  const UpperTriangle pattern = pattern_of(block);
  const Rows component = find_components(pattern);
  const double most = kMostFill * pairs(index(block.dimension));
  const bool is_sparse = static_cast<double>(pattern.row.size()) < most;
  MatrixCover cover;
  bool is_found = false;
  if (kind == Cover::kCliques && is_sparse && block.dimension >= kLeastDecomposed) {
    CliqueForest forest(block, pattern);
    is_found = forest.eliminate(pattern);
    if (is_found) {
      forest.join_where_it_saves();
      forest.join_components(component);
      cover = forest.cover();
    }
  }
  if (!is_found) cover = cover_by_components(component);
  drop_empty_rows(rows_with_elements(block), &cover);
  return cover;
}

}  // namespace vorlan::conic
