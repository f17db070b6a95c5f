// Reading coordinates; see cbf_coordinates.h.
#include "format/cbf/cbf_coordinates.h"

#include <cmath>

#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {

void CbfCoordinates::begin() {
  has_cost_.resize(index(structure_.num_var()));
  structure_.add_helpers(&elements_, &matrix_elements_);
  has_offset_.resize(reading_.model.con_lower.size());
}

bool CbfCoordinates::finish() {
  SamePlace twice;
  Model* const model = &reading_.model;
  if (elements_.finish(model, &twice) && matrix_elements_.finish(model, &twice)) return true;
  return lines_.fail_twice(twice.first, twice.second);
}

bool CbfCoordinates::read_entries(bool (CbfCoordinates::*read_entry)()) {
  int32_t count = 0;
  if (!reading_.require_line("the number of entries")) return false;
  if (!reading_.take_count(CbfReading::kMost, &count) || !lines_.expect_end()) {
    return false;
  }
  for (int32_t k = 0; k < count; ++k) {
    if (!reading_.require_line("an entry") || !(this->*read_entry)() || !lines_.expect_end()) {
      return false;
    }
  }
  return true;
}

bool CbfCoordinates::take_constraint(int32_t* con) {
  return lines_.take_integer("the index of a constraint", 0, int64_t{structure_.num_con()} - 1,
                             con);
}

// PSDVAR ROW COL VALUE
bool CbfCoordinates::take_matrix_element(int32_t con) {
  int32_t matrix_var = 0;
  int32_t row = 0;
  int32_t col = 0;
  double value = 0.0;
  if (!lines_.take_integer("the index of a matrix variable", 0,
                           int64_t{structure_.num_matrix_var()} - 1, &matrix_var)) {
    return false;
  }
  const int32_t dimension = reading_.model.matrix_vars[index(matrix_var)].dimension;
  if (!reading_.take_triangle(dimension, &row, &col) || !lines_.take_number(&value)) return false;
  matrix_elements_.add(con, matrix_var, row, col, value, lines_.line_number());
  return true;
}

bool CbfCoordinates::read_objective_matrix() {
  return take_matrix_element(TriangleCoordinates::kObjective);
}

bool CbfCoordinates::read_coefficient_matrix() {
  int32_t con = 0;
  return take_constraint(&con) && take_matrix_element(con);
}

bool CbfCoordinates::read_cost() {
  const std::string_view word = lines_.rest();
  int32_t var = 0;
  double value = 0.0;
  if (!structure_.take_variable(&var) || !lines_.take_number(&value)) return false;
  if (has_cost_[index(var)]) return lines_.fail(word, "a second coefficient of this variable");
  has_cost_[index(var)] = true;
  reading_.model.cost[index(var)] = value;
  return true;
}

bool CbfCoordinates::read_constant() {
  return reading_.require_line("the objective's constant") &&
         lines_.take_number(&reading_.model.constant) && lines_.expect_end();
}

bool CbfCoordinates::read_coefficient() {
  int32_t con = 0;
  int32_t var = 0;
  double value = 0.0;
  if (!take_constraint(&con) || !structure_.take_variable(&var) || !lines_.take_number(&value))
    return false;
  elements_.add(con, var, value, lines_.line_number());
  return true;
}

bool CbfCoordinates::read_offset() {
  const std::string_view word = lines_.rest();
  int32_t con = 0;
  return take_constraint(&con) && take_offset_of(con, word);
}

// Takes the place of an element of a matrix constraint as the equation that stands for it.
bool CbfCoordinates::take_place(const CbfMatrixConstraint& constraint, int32_t* con) {
  int32_t row = 0;
  int32_t col = 0;
  if (!reading_.take_triangle(constraint.dimension, &row, &col)) return false;
  const size_t place = packed_place(index(constraint.dimension), index(row), index(col));
  *con = constraint.first_row + static_cast<int32_t>(place);
  return true;
}

bool CbfCoordinates::read_matrix_row() {
  const CbfMatrixConstraint* constraint = nullptr;
  int32_t con = 0;
  int32_t var = 0;
  double value = 0.0;
  if (!take_matrix_constraint(&constraint) || !structure_.take_variable(&var)) return false;
  if (!take_place(*constraint, &con) || !lines_.take_number(&value)) return false;
  elements_.add(con, var, value, lines_.line_number());
  return true;
}

bool CbfCoordinates::read_matrix_offset() {
  const std::string_view word = lines_.rest();
  const CbfMatrixConstraint* constraint = nullptr;
  int32_t con = 0;
  return take_matrix_constraint(&constraint) && take_place(*constraint, &con) &&
         take_offset_of(con, word);
}

bool CbfCoordinates::take_matrix_constraint(const CbfMatrixConstraint** constraint) {
  const std::vector<CbfMatrixConstraint>& constraints = structure_.matrix_constraints();
  int32_t place = 0;
  if (!lines_.take_integer("the index of a matrix constraint", 0,
                           static_cast<int64_t>(constraints.size()) - 1, &place)) {
    return false;
  }
  *constraint = &constraints[index(place)];
  return true;
}

// A x + b in a cone that is an interval from, to or at 0: A x is in one from, to or at -b.
bool CbfCoordinates::take_offset_of(int32_t con, std::string_view word) {
  double value = 0.0;
  if (!lines_.take_number(&value)) return false;
  if (has_offset_[index(con)]) return lines_.fail(word, "a second value for this place");
  has_offset_[index(con)] = true;
  const double side = value == 0.0 ? 0.0 : -value;
  Model& model = reading_.model;
  for (double* bound : {&model.con_lower[index(con)], &model.con_upper[index(con)]}) {
    if (std::isfinite(*bound)) *bound = side;
  }
  return true;
}

}  // namespace vorlan
