// Elements of matrices as files give them, one place a line in any order: collected, in the end put
// into the order of the model. A place that is given twice is found then, with its lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "task/model.h"

namespace vorlan {

// Two lines of a file that give the same place.
struct SamePlace {
  int64_t first = 0, second = 0;
};

// Of the matrix of the constraints.
class MatrixCoordinates {
 public:
  void add(int32_t row, int32_t col, double value, int64_t line) {
    elements_.push_back({row, col, value, line});
  }

  // Fills the matrix of the model, which has its variables and constraints, and drops zeros. False
  // if there is a place that is given twice.
  bool finish(Model* model, SamePlace* twice);

 private:
  struct Element {
    int32_t row, col;
    double value;
    int64_t line;
  };
  void scatter(size_t num_cols, SparseMatrix* matrix) const;
  static void sort_column(size_t begin, size_t end, SparseMatrix* matrix);
  void find_lines(int32_t row, int32_t col, SamePlace* twice) const;

  std::vector<Element> elements_;
};

// Of the symmetric matrices at matrix variables, in the objective and in the constraints.
class TriangleCoordinates {
 public:
  static constexpr int32_t kObjective = -1;

  // (row, col) in either triangle stands for both places.
  void add(int32_t con, int32_t matrix_var, int32_t row, int32_t col, double value, int64_t line);

  // As above, for the lists of the matrix variables' elements.
  bool finish(Model* model, SamePlace* twice);

 private:
  struct Element {
    int32_t con, matrix_var, col, row;
    double value;
    int64_t line;
  };
  static bool before(const Element& a, const Element& b);

  std::vector<Element> elements_;
};

}  // namespace vorlan
