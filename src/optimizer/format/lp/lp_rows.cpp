// Turning rows into columns; see lp_rows.h.
#include "format/lp/lp_rows.h"

#include "task/numeric.h"

namespace vorlan {

void LpRows::add_piece() {
  Piece& piece = pieces_.emplace_back();
  piece.var = std::make_unique_for_overwrite<int32_t[]>(kPieceSize);
  piece.value = std::make_unique_for_overwrite<double[]>(kPieceSize);
}

// Neighbours in a row are far apart by column: without this each waits for memory three times.
void LpRows::fetch_ahead(int64_t k, const SparseMatrix& matrix) const {
  constexpr int64_t kAhead = 16;
  if (k + 2 * kAhead >= count_) return;
  __builtin_prefetch(&matrix.start[index(*element(k + 2 * kAhead).var)], 1);
  const size_t at = index(matrix.start[index(*element(k + kAhead).var)]);
  __builtin_prefetch(matrix.row.data() + at, 1);
  __builtin_prefetch(matrix.value.data() + at, 1);
}

void LpRows::finish(size_t num_vars, SparseMatrix* matrix) {
  last_ = {};
  std::vector<int64_t>& start = matrix->start;
  start.assign(num_vars + 1, 0);
  for (int64_t k = 0; k < count_; ++k) {
    const Element place = element(k);
    if (*place.value != 0.0) ++start[index(*place.var) + 1];
  }
  for (size_t j = 0; j < num_vars; ++j) start[j + 1] += start[j];
  const size_t num_elements = index(start[num_vars]);
  matrix->row.resize(num_elements);
  matrix->value.resize(num_elements);
  // start[j] moves to the end of column j, which is the start of the next one.
  start_.push_back(count_);
  int64_t k = 0;
  for (size_t row = 0; row + 1 < start_.size(); ++row) {
    for (; k < start_[row + 1]; ++k) {
      fetch_ahead(k, *matrix);
      const Element place = element(k);
      if (*place.value != 0.0) {
        const size_t at = index(start[index(*place.var)]++);
        matrix->row[at] = static_cast<int32_t>(row);
        matrix->value[at] = *place.value;
      }
      if ((index(k) & (kPieceSize - 1)) == kPieceSize - 1) {
        pieces_[index(k >> kPieceBits)] = {};
      }
    }
  }
  for (size_t j = num_vars; j > 0; --j) start[j] = start[j - 1];
  start[0] = 0;
  pieces_.clear();
  start_ = {};
}

}  // namespace vorlan
