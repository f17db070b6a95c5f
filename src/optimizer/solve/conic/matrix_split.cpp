// Elements go to the pieces by the rule of the cover, those of one equation together where a piece
// has all of its rows: a matrix of rank one stays one.
#include "solve/conic/matrix_split.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

#include "task/text.h"

namespace vorlan::conic {
namespace {

using Rows = std::vector<int32_t>;

bool contains(const Rows& rows, int32_t row) {
  return std::binary_search(rows.begin(), rows.end(), row);
}

int32_t place_in(const Rows& rows, int32_t row) {
  return static_cast<int32_t>(std::lower_bound(rows.begin(), rows.end(), row) - rows.begin());
}

TriangleEntry lower_entry(int32_t a, int32_t b, double value) {
  return {std::max(a, b), std::min(a, b), value};
}

// Elements in the terms of the pieces, by piece.
template <class Piece>
class Distributor {
 public:
  Distributor(const MatrixCover& cover, const std::vector<Piece>& pieces)
      : cover_(cover), pieces_(pieces) {}

  // Calls take(piece, entries) for each piece that gets some of the entries.
  template <class Take>
  void distribute(const std::vector<TriangleEntry>& entries, const Take& take) const {
    std::vector<std::pair<int32_t, TriangleEntry>> placed;
    const int32_t one = piece_of_all(entries);
    for (const TriangleEntry& e : entries) {
      const int32_t piece = one >= 0 ? one : piece_of(e);
      const Rows& rows = pieces_[index(piece)].rows;
      placed.emplace_back(piece,
                          lower_entry(place_in(rows, e.row), place_in(rows, e.col), e.value));
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (size_t k = 0; k < placed.size();) {
      std::vector<TriangleEntry> some;
      const int32_t piece = placed[k].first;
      for (; k < placed.size() && placed[k].first == piece; ++k) some.push_back(placed[k].second);
      take(index(piece), std::move(some));
    }
  }

 private:
  int32_t piece_of(const TriangleEntry& e) const {
    return std::min(cover_.piece_of_row[index(e.row)], cover_.piece_of_row[index(e.col)]);
  }
  // The first piece of any of the rows, where it has all of them; else -1.
  int32_t piece_of_all(const std::vector<TriangleEntry>& entries) const {
    if (entries.empty()) return -1;
    int32_t first = piece_of(entries[0]);
    for (const TriangleEntry& e : entries) first = std::min(first, piece_of(e));
    const Rows& rows = pieces_[index(first)].rows;
    const bool has_all = std::all_of(entries.begin(), entries.end(), [&](const TriangleEntry& e) {
      return contains(rows, e.row) && contains(rows, e.col);
    });
    return has_all ? first : -1;
  }

  const MatrixCover& cover_;
  const std::vector<Piece>& pieces_;
};

void add_column(double cost, const std::vector<std::pair<int32_t, double>>& elements,
                ConicProblem* problem) {
  Columns& a = problem->matrix;
  for (const auto& [row, value] : elements) {
    a.row.push_back(row);
    a.value.push_back(value);
  }
  a.start.push_back(static_cast<int64_t>(a.row.size()));
  problem->cost.push_back(cost);
  Columns& p = problem->quadratic;
  p.num_row = problem->num_var();
  p.start.push_back(p.start.back());
}

// B = L_oa inv(L_aa) of a factor whose first rows are a, the others o; 0 where a pivot is.
DenseMatrix divide_lower(const DenseMatrix& l, size_t order) {
  DenseMatrix b(l.rows() - order, order);
  for (size_t col = order; col-- > 0;) {
    if (l(col, col) == 0.0) continue;
    for (size_t row = 0; row < b.rows(); ++row) {
      double sum = l(order + row, col);
      for (size_t k = col + 1; k < order; ++k) sum -= b(row, k) * l(k, col);
      b(row, col) = sum / l(col, col);
    }
  }
  return b;
}

// The lower Cholesky factor of a matrix that is semidefinite but for rounding. Columns of pivots
// that are nothing beside the diagonal are 0.
void factor_semidefinite(DenseMatrix* a) {
  constexpr double kRounding = 1e-15;
  const size_t n = a->rows();
  for (size_t col = 0; col < n; ++col) {
    double pivot = (*a)(col, col);
    const double size = pivot;
    for (size_t k = 0; k < col; ++k) pivot -= (*a)(col, k) * (*a)(col, k);
    const bool is_nothing = !(pivot > kRounding * size);
    const double root = is_nothing ? 0.0 : std::sqrt(pivot);
    for (size_t row = col + 1; row < n; ++row) {
      double sum = (*a)(row, col);
      for (size_t k = 0; k < col; ++k) sum -= (*a)(row, k) * (*a)(col, k);
      (*a)(row, col) = is_nothing ? 0.0 : sum / root;
    }
    (*a)(col, col) = root;
    for (size_t row = 0; row < col; ++row) (*a)(row, col) = 0.0;
  }
}

enum class Side { kPrimal, kDual };

// A piece's X, or its Z, in the terms before scaling.
DenseMatrix unscaled(const DenseMatrix& matrix, const std::vector<double>& factors, Side side) {
  DenseMatrix result = matrix;
  for (size_t col = 0; col < matrix.cols(); ++col) {
    for (size_t row = 0; row < matrix.rows(); ++row) {
      const double factor = factors[row] * factors[col];
      result(row, col) =
          side == Side::kPrimal ? matrix(row, col) * factor : matrix(row, col) / factor;
    }
  }
  return result;
}

void add_submatrix(const DenseMatrix& part, const Rows& rows, DenseMatrix* sum) {
  for (size_t j = 0; j < rows.size(); ++j) {
    for (size_t i = 0; i < rows.size(); ++i) {
      (*sum)(index(rows[i]), index(rows[j])) += part(i, j);
    }
  }
}

// Fills in the elements of X between the own rows of a piece and all rows of the pieces after it,
// which are the rows given, and among the own rows.
void complete(const DenseMatrix& part, const Rows& rows, const CoverPiece& piece, const Rows& later,
              DenseMatrix* whole) {
  const size_t num_shared = piece.shared.size();
  const size_t num_own = piece.own.size();
  Rows order;  // shared rows first
  for (const Rows* some : {&piece.shared, &piece.own}) {
    for (const int32_t row : *some) order.push_back(place_in(rows, row));
  }
  DenseMatrix l(order.size(), order.size());
  for (size_t j = 0; j < order.size(); ++j) {
    for (size_t i = 0; i < order.size(); ++i) l(i, j) = part(index(order[i]), index(order[j]));
  }
  factor_semidefinite(&l);
  const DenseMatrix b = divide_lower(l, num_shared);
  DenseMatrix& x = *whole;
  const auto set = [&x](int32_t i, int32_t j, double value) {
    x(index(i), index(j)) = x(index(j), index(i)) = value;
  };
  for (const int32_t col : later) {
    for (size_t i = 0; i < num_own; ++i) {
      double sum = 0.0;
      for (size_t k = 0; k < num_shared; ++k)
        sum += b(i, k) * x(index(piece.shared[k]), index(col));
      set(piece.own[i], col, sum);
    }
  }
  for (size_t j = 0; j < num_own; ++j) {
    for (size_t i = j; i < num_own; ++i) {
      double sum = 0.0;
      for (size_t k = 0; k < num_shared; ++k) {
        sum += b(i, k) * x(index(piece.shared[k]), index(piece.own[j]));
      }
      for (size_t k = num_shared; k <= num_shared + j; ++k) {
        sum += l(num_shared + i, k) * l(num_shared + j, k);
      }
      set(piece.own[i], piece.own[j], sum);
    }
  }
}

}  // namespace

void MatrixSplit::apply(Cover kind, ConicProblem* problem) {
  *this = {};
  std::vector<MatrixBlock> blocks = std::exchange(problem->matrices, {});
  for (MatrixBlock& block : blocks) {
    const MatrixCover cover = find_cover(block, kind);
    Whole& whole = wholes_.emplace_back();
    whole.dimension = block.dimension;
    whole.matrix = problem->matrices.size();
    const std::vector<CoverPiece>& pieces = cover.pieces;
    if (block.dimension > 1 && pieces.size() == 1 &&
        pieces[0].own.size() == index(block.dimension)) {
      problem->matrices.push_back(std::move(block));
    } else {
      whole.is_split = true;
      split(block, cover, problem);
      block = {};
    }
  }
  problem->matrix.num_row = problem->num_row();
  problem->has_overlaps = has_overlaps();
}

void MatrixSplit::split(const MatrixBlock& block, const MatrixCover& cover, ConicProblem* problem) {
  ++num_split_;
  largest_whole_ = std::max(largest_whole_, block.dimension);
  std::vector<Piece>& pieces = wholes_.back().pieces;
  std::vector<MatrixBlock> blocks(cover.pieces.size());
  for (size_t p = 0; p < blocks.size(); ++p) {
    Piece& piece = pieces.emplace_back();
    piece.cover = cover.pieces[p];
    std::merge(piece.cover.own.begin(), piece.cover.own.end(), piece.cover.shared.begin(),
               piece.cover.shared.end(), std::back_inserter(piece.rows));
    blocks[p].dimension = static_cast<int32_t>(piece.rows.size());
  }
  const Distributor<Piece> distributor(cover, pieces);
  distributor.distribute(block.cost, [&](size_t p, std::vector<TriangleEntry> entries) {
    blocks[p].cost = std::move(entries);
  });
  for (const MatrixPart& part : block.parts) {
    distributor.distribute(part.entries, [&](size_t p, std::vector<TriangleEntry> entries) {
      blocks[p].parts.push_back({part.row, std::move(entries)});
    });
  }
  for (size_t p = 0; p < blocks.size(); ++p) {
    if (pieces[p].rows.size() == 1) {
      add_scalar(blocks[p], &pieces[p], problem);
      continue;
    }
    pieces[p].matrix = problem->matrices.size();
    ++num_pieces_;
    largest_piece_ = std::max(largest_piece_, blocks[p].dimension);
    problem->matrices.push_back(std::move(blocks[p]));
  }
  add_overlaps(pieces, problem);
}

void MatrixSplit::add_scalar(const MatrixBlock& block, Piece* piece, ConicProblem* problem) {
  const auto sum = [](const std::vector<TriangleEntry>& entries) {
    return std::accumulate(entries.begin(), entries.end(), 0.0,
                           [](double total, const TriangleEntry& e) { return total + e.value; });
  };
  std::vector<std::pair<int32_t, double>> elements;
  for (const MatrixPart& part : block.parts) elements.emplace_back(part.row, sum(part.entries));
  piece->var = problem->num_var();
  piece->bound = problem->bounds.size();
  add_column(sum(block.cost), elements, problem);
  problem->bounds.push_back({piece->var, 1.0, 0.0});
  ++num_scalars_;
}

// X of the piece less X of its parent, in each element that both have.
void MatrixSplit::add_overlaps(const std::vector<Piece>& pieces, ConicProblem* problem) {
  for (const Piece& piece : pieces) {
    if (piece.cover.parent < 0) continue;
    const Piece& parent = pieces[index(piece.cover.parent)];
    const Rows& shared = piece.cover.shared;
    for (size_t j = 0; j < shared.size(); ++j) {
      for (size_t i = j; i < shared.size(); ++i) {
        const auto entry = [&](const Rows& rows, double value) {
          return lower_entry(place_in(rows, shared[i]), place_in(rows, shared[j]), value);
        };
        const int32_t row = problem->num_row();
        problem->rhs.push_back(0.0);
        problem->rhs_size.push_back(0.0);
        problem->matrices[piece.matrix].parts.push_back({row, {entry(piece.rows, 1.0)}});
        problem->matrices[parent.matrix].parts.push_back({row, {entry(parent.rows, -1.0)}});
        ++num_equations_;
      }
    }
  }
}

std::string MatrixSplit::description() const {
  const auto count = [](size_t number, const char* noun) {
    return counted(static_cast<int64_t>(number), noun);
  };
  std::string text = count(num_split_, "matrix variable") +
                     format_text(" of an order up to %d into ", largest_whole_);
  if (num_pieces_ > 0) {
    text += count(num_pieces_, "matrix variable") +
            format_text(" of an order up to %d", largest_piece_);
  }
  if (num_pieces_ > 0 && num_scalars_ > 0) text += " and ";
  if (num_scalars_ > 0) text += count(num_scalars_, "scalar variable");
  if (num_pieces_ == 0 && num_scalars_ == 0) text += "nothing, since no equation has them";
  if (has_overlaps()) text += ", with " + count(num_equations_, "equation") + " where they overlap";
  return text;
}

void MatrixSplit::restore(Equilibration* scaling, InteriorPoint* point) const {
  if (!is_split()) return;
  std::vector<DenseMatrix> parts = std::exchange(point->matrices, {});
  std::vector<DenseMatrix> dual_parts = std::exchange(point->matrix_duals, {});
  std::vector<std::vector<double>> factors;
  for (const Whole& whole : wholes_) {
    if (!whole.is_split) {
      if (!parts.empty()) point->matrices.push_back(std::move(parts[whole.matrix]));
      if (!dual_parts.empty()) point->matrix_duals.push_back(std::move(dual_parts[whole.matrix]));
      factors.push_back(scaling->matrix[whole.matrix]);
      continue;
    }
    if (point->certificate != Certificate::kDualRay) {
      point->matrices.push_back(restore_primal(whole, *scaling, *point, parts));
    }
    if (point->certificate != Certificate::kPrimalRay) {
      point->matrix_duals.push_back(restore_dual(whole, *scaling, *point, dual_parts));
    }
    factors.emplace_back(index(whole.dimension), 1.0);
  }
  scaling->matrix = std::move(factors);
}

DenseMatrix MatrixSplit::restore_primal(const Whole& whole, const Equilibration& scaling,
                                        const InteriorPoint& point,
                                        const std::vector<DenseMatrix>& parts) {
  DenseMatrix x(index(whole.dimension), index(whole.dimension));
  Rows later;
  for (size_t p = whole.pieces.size(); p-- > 0;) {
    const Piece& piece = whole.pieces[p];
    if (piece.var >= 0) {
      const size_t row = index(piece.rows[0]);
      const size_t var = index(piece.var);
      x(row, row) = std::max(0.0, point.x[var] * scaling.var[var]);
      continue;
    }
    const size_t m = piece.matrix;
    const DenseMatrix part = unscaled(parts[m], scaling.matrix[m], Side::kPrimal);
    if (piece.cover.parent < 0) {
      add_submatrix(part, piece.rows, &x);
    } else {
      complete(part, piece.rows, piece.cover, later, &x);
    }
    later.insert(later.end(), piece.cover.own.begin(), piece.cover.own.end());
  }
  return x;
}

// The duals of bounds and cones are those of the scaled cost, as Z is here.
DenseMatrix MatrixSplit::restore_dual(const Whole& whole, const Equilibration& scaling,
                                      const InteriorPoint& point,
                                      const std::vector<DenseMatrix>& parts) {
  DenseMatrix z(index(whole.dimension), index(whole.dimension));
  for (const Piece& piece : whole.pieces) {
    if (piece.var >= 0) {
      const size_t row = index(piece.rows[0]);
      z(row, row) = point.z[piece.bound] / scaling.var[index(piece.var)];
      continue;
    }
    const size_t m = piece.matrix;
    add_submatrix(unscaled(parts[m], scaling.matrix[m], Side::kDual), piece.rows, &z);
  }
  return z;
}

}  // namespace vorlan::conic
