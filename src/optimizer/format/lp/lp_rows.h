// The constraints of an LP file as they come, row by row, and their elements by column in the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

class LpRows {
 public:
  void begin_row() { start_.push_back(count_); }

  // Adds to the variable's coefficient in the row at hand. False if it had one before.
  bool add(int32_t var, double value) {
    const size_t at = index(var);
    if (at >= last_.size()) last_.resize(at + 1 + at / 2, -1);
    if (last_[at] >= start_.back()) {
      *element(last_[at]).value += value;
      return false;
    }
    last_[at] = count_;
    if (index(count_) == pieces_.size() << kPieceBits) add_piece();
    const Element place = element(count_++);
    *place.var = var;
    *place.value = value;
    return true;
  }

  // Lets the processor fetch what add() will look at for these variables; -1 stands for none.
  void prefetch(std::span<const int32_t> vars) const {
    for (const int32_t var : vars) {
      if (var >= 0 && index(var) < last_.size()) __builtin_prefetch(&last_[index(var)]);
    }
  }

  // Takes the only element of the row at hand back, and gives its variable; -1, and the row as it
  // was, unless there is one element and its value is 1.
  int32_t take_single() {
    if (count_ != start_.back() + 1 || *element(count_ - 1).value != 1.0) return -1;
    const int32_t var = *element(--count_).var;
    last_[index(var)] = -1;
    return var;
  }

  double coefficient(int32_t var) const { return *element(last_[index(var)]).value; }

  // Moves the elements into the matrix, those that are not zero. The rows are gone then.
  void finish(size_t num_vars, SparseMatrix* matrix);

 private:
  // The elements are in pieces that never move: a growing vector would need up to three times its
  // content.
  static constexpr unsigned kPieceBits = 16;
  static constexpr size_t kPieceSize = size_t{1} << kPieceBits;
  struct Piece {
    std::unique_ptr<int32_t[]> var;
    std::unique_ptr<double[]> value;
  };
  struct Element {
    int32_t* var;
    double* value;
  };

  Element element(int64_t position) const {
    const Piece& piece = pieces_[index(position >> kPieceBits)];
    const size_t at = static_cast<size_t>(position) & (kPieceSize - 1);
    return {&piece.var[at], &piece.value[at]};
  }
  void add_piece();
  void fetch_ahead(int64_t k, const SparseMatrix& matrix) const;

  std::vector<Piece> pieces_;
  std::vector<int64_t> start_;  // of each row
  std::vector<int64_t> last_;   // by variable: where its last element is
  int64_t count_ = 0;
};

}  // namespace vorlan
