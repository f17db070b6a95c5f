// Ordering the elements; see coordinates.h.
#include "format/common/coordinates.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <tuple>
#include <utility>

#include "task/numeric.h"

namespace vorlan {

// Most files have the rows of each column in their order already.
void ColumnSorter::sort(size_t begin, size_t end, SparseMatrix* matrix) {
  const auto first = matrix->row.begin() + static_cast<std::ptrdiff_t>(begin);
  const auto last = matrix->row.begin() + static_cast<std::ptrdiff_t>(end);
  if (std::is_sorted(first, last)) return;
  column_.clear();
  for (size_t k = begin; k < end; ++k) column_.emplace_back(matrix->row[k], matrix->value[k]);
  std::sort(column_.begin(), column_.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  for (size_t k = begin; k < end; ++k) {
    std::tie(matrix->row[k], matrix->value[k]) = column_[k - begin];
  }
}

int64_t ElementLines::operator[](size_t index) const {
  const auto behind = std::upper_bound(runs_.begin(), runs_.end(), index,
                                       [](size_t i, const Run& run) { return i < run.first; });
  return std::prev(behind)->start + static_cast<int64_t>(index);
}

// Finds the two lines of a place that is known to be given twice.
void MatrixCoordinates::find_lines(int32_t row, int32_t col, SamePlace* twice) const {
  const auto is_there = [row, col](const Element& element) {
    return element.row == row && element.col == col;
  };
  const auto first = std::find_if(elements_.begin(), elements_.end(), is_there);
  const auto second = std::find_if(first + 1, elements_.end(), is_there);
  const auto line_of = [this](auto element) {
    return lines_[static_cast<size_t>(element - elements_.begin())];
  };
  *twice = {line_of(first), line_of(second)};
}

// Into the columns, in the order of the file. start[j + 1] moves from the start of column j to its
// end.
void MatrixCoordinates::scatter(size_t num_cols, SparseMatrix* matrix) const {
  matrix->start.assign(num_cols + 2, 0);
  for (const Element& element : elements_) ++matrix->start[index(element.col) + 2];
  std::partial_sum(matrix->start.begin(), matrix->start.end(), matrix->start.begin());
  matrix->row.resize(elements_.size());
  matrix->value.resize(elements_.size());
  for (const Element& element : elements_) {
    const size_t at = index(matrix->start[index(element.col) + 1]++);
    matrix->row[at] = element.row;
    matrix->value[at] = element.value;
  }
  matrix->start.pop_back();
}

bool MatrixCoordinates::finish(Model* model, SamePlace* twice) {
  SparseMatrix& matrix = model->matrix;
  scatter(model->cost.size(), &matrix);
  ColumnSorter sorter;
  size_t kept = 0;
  for (size_t col = 0, k = 0; col < model->cost.size(); ++col) {
    const size_t end = index(matrix.start[col + 1]);
    sorter.sort(k, end, &matrix);
    for (int32_t last = -1; k < end; ++k) {
      const int32_t row = matrix.row[k];
      if (row == last) {
        find_lines(row, static_cast<int32_t>(col), twice);
        return false;
      }
      last = row;
      if (matrix.value[k] == 0.0) continue;
      matrix.row[kept] = row;
      matrix.value[kept++] = matrix.value[k];
    }
    matrix.start[col + 1] = static_cast<int64_t>(kept);
  }
  matrix.row.resize(kept);
  matrix.value.resize(kept);
  elements_.clear();
  return true;
}

void TriangleCoordinates::add(int32_t con, int32_t matrix_var, int32_t row, int32_t col,
                              double value, int64_t line) {
  if (row < col) std::swap(row, col);
  elements_.push_back({con, matrix_var, col, row, value, line});
}

bool TriangleCoordinates::before(const Element& a, const Element& b) {
  return std::tie(a.con, a.matrix_var, a.col, a.row) < std::tie(b.con, b.matrix_var, b.col, b.row);
}

bool TriangleCoordinates::finish(Model* model, SamePlace* twice) {
  if (!std::is_sorted(elements_.begin(), elements_.end(), before)) {
    std::sort(elements_.begin(), elements_.end(), before);
  }
  const auto num_costs =
      std::count_if(elements_.begin(), elements_.end(),
                    [](const Element& element) { return element.con == kObjective; });
  model->matrix_cost.reserve(index(num_costs));
  model->matrix_coefficients.reserve(elements_.size() - index(num_costs));
  for (size_t k = 0; k < elements_.size(); ++k) {
    const Element& element = elements_[k];
    if (k > 0 && !before(elements_[k - 1], element)) {
      *twice = {std::min(elements_[k - 1].line, element.line),
                std::max(elements_[k - 1].line, element.line)};
      return false;
    }
    if (element.value == 0.0) continue;
    const TriangleEntry entry = {element.row, element.col, element.value};
    if (element.con == kObjective) {
      model->matrix_cost.push_back({element.matrix_var, entry});
    } else {
      model->matrix_coefficients.push_back({element.con, element.matrix_var, entry});
    }
  }
  elements_.clear();
  return true;
}

}  // namespace vorlan
