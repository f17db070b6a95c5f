// Elements of matrices as files give them, one place a line in any order: collected, in the end put
// into the order of the model. A place that is given twice is found then, with its lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan {

// Two lines of a file that give the same place.
struct SamePlace {
  int64_t first = 0, second = 0;
};

// Puts the elements [begin, end) of a matrix, which are a column, into the order of their rows.
class ColumnSorter {
 public:
  void sort(size_t begin, size_t end, SparseMatrix* matrix);

 private:
  std::vector<std::pair<int32_t, double>> column_;  // kept for its memory
};

// The lines that elements came from. Nearly all stand one below the other, so that only those are
// kept that do not follow on the one before.
class ElementLines {
 public:
  void add(size_t index, int64_t line) {
    const int64_t start = line - static_cast<int64_t>(index);
    if (runs_.empty() || runs_.back().start != start) runs_.push_back({index, start});
  }
  int64_t operator[](size_t index) const;

 private:
  struct Run {
    size_t first;   // index of an element
    int64_t start;  // line of the element with index i, less i
  };
  std::vector<Run> runs_;
};

// The elements of the matrix of the constraints.
class MatrixCoordinates {
 public:
  void add(int32_t row, int32_t col, double value, int64_t line) {
    lines_.add(elements_.size(), line);
    add_own(row, col, value);
  }

  // An element that no line gives, at a place that none can give.
  void add_own(int32_t row, int32_t col, double value) { elements_.push_back({row, col, value}); }

  // Fills the matrix of the model, which has its variables and constraints, and drops zeros. False
  // if there is a place that is given twice.
  bool finish(Model* model, SamePlace* twice);

 private:
  struct Element {
    int32_t row, col;
    double value;
  };
  void scatter(size_t num_cols, SparseMatrix* matrix) const;
  void find_lines(int32_t row, int32_t col, SamePlace* twice) const;

  // A queue does not hold everything twice while it grows.
  std::deque<Element> elements_;
  ElementLines lines_;
};

// The elements of the symmetric matrices at matrix variables, in the objective and in the
// constraints.
class TriangleCoordinates {
 public:
  static constexpr int32_t kObjective = -1;

  // (row, col) in either triangle stands for both places.
  void add(int32_t con, int32_t matrix_var, int32_t row, int32_t col, double value, int64_t line);

  // Fills the lists of the matrix variables' elements in the model. False if a place is given
  // twice.
  bool finish(Model* model, SamePlace* twice);

 private:
  struct Element {
    int32_t con, matrix_var, col, row;
    double value;
    int64_t line;
  };
  static bool before(const Element& a, const Element& b);

  std::deque<Element> elements_;
};

}  // namespace vorlan
