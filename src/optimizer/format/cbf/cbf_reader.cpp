// Items and coordinates of CBF files; see cbf_reader.h.
#include "format/cbf/cbf_reader.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "format/cbf/cbf.h"
#include "task/packed_matrices.h"
#include "task/text.h"

namespace vorlan {

const CbfReader::Item CbfReader::kItems[] = {
    {"VER", Group::kAnywhere, &CbfReader::read_version},
    {"OBJSENSE", Group::kAnywhere, &CbfReader::read_sense},
    {"POWCONES", Group::kStructure, &CbfReader::read_power_cones},
    {"POW*CONES", Group::kStructure, &CbfReader::read_dual_power_cones},
    {"PSDVAR", Group::kStructure, &CbfReader::read_matrix_variables},
    {"VAR", Group::kStructure, &CbfReader::read_variables},
    {"INT", Group::kStructure, &CbfReader::read_integers},
    {"PSDCON", Group::kStructure, &CbfReader::read_matrix_constraints},
    {"CON", Group::kStructure, &CbfReader::read_constraints},
    {"OBJFCOORD", Group::kCoordinates, &CbfReader::read_objective_matrices},
    {"OBJACOORD", Group::kCoordinates, &CbfReader::read_costs},
    {"OBJBCOORD", Group::kCoordinates, &CbfReader::read_constant},
    {"FCOORD", Group::kCoordinates, &CbfReader::read_coefficient_matrices},
    {"ACOORD", Group::kCoordinates, &CbfReader::read_coefficients},
    {"BCOORD", Group::kCoordinates, &CbfReader::read_offsets},
    {"HCOORD", Group::kCoordinates, &CbfReader::read_matrix_rows},
    {"DCOORD", Group::kCoordinates, &CbfReader::read_matrix_offsets},
    {"CHANGE", Group::kAnywhere, &CbfReader::read_changes},
    // Of a dialect: matrices of rank one.
    {"PSDVARRANK1", Group::kAnywhere, &CbfReader::read_foreign},
    {"PSDCONRANK1", Group::kAnywhere, &CbfReader::read_foreign},
};

namespace {

constexpr size_t kVersionItem = 0;
constexpr size_t kSenseItem = 1;

}  // namespace

CbfReader::CbfReader(InputStream* input, const ReadLimits& limits, Model* model, Warnings* warnings)
    : lines_(input, {}),
      model_(model),
      warnings_(warnings),
      seen_(std::size(kItems)),
      declared_(limits.declared) {}

Status CbfReader::read() {
  if (!read_items() || !lines_.ok() || !finish()) return lines_.failure();
  return lines_.finish();
}

bool CbfReader::read_items() {
  while (!ended_ && next_line()) {
    if (!read_item()) return false;
  }
  return true;
}

// Goes to the next line that is no comment.
bool CbfReader::next_line() {
  while (lines_.next_line()) {
    if (lines_.rest()[0] != '#') return true;
  }
  return false;
}

bool CbfReader::require_line(const char* what) {
  return next_line() ||
         lines_.fail_line(format_text("the file ends here, where %s was expected", what));
}

bool CbfReader::read_item() {
  const std::string_view word = lines_.take_word();
  const auto* const item = std::find_if(std::begin(kItems), std::end(kItems),
                                        [word](const Item& i) { return i.keyword == word; });
  if (item == std::end(kItems)) return lines_.fail(word, "a keyword was expected");
  return begin_item(*item, word) && lines_.expect_end() && (this->*item->read)();
}

bool CbfReader::begin_item(const Item& item, std::string_view word) {
  const auto index = static_cast<size_t>(&item - kItems);
  if (!seen_[kVersionItem] && index != kVersionItem) {
    return lines_.fail(word, "VER, with the version of the format, was expected first");
  }
  if (seen_[index]) return lines_.fail(word, "a second item of this kind");
  seen_[index] = true;
  if (item.group == Group::kStructure && begun_) {
    return lines_.fail(word, "an item of this kind must stand before all coordinates");
  }
  if (item.group == Group::kCoordinates && !begun_) begin_coordinates();
  return true;
}

bool CbfReader::finish() {
  if (!seen_[kSenseItem]) {
    return lines_.fail_line(
        format_text("the file ends here, without %s", seen_[kVersionItem] ? "OBJSENSE" : "VER"));
  }
  if (!begun_) begin_coordinates();
  SamePlace twice;
  if (elements_.finish(model_, &twice) && matrix_elements_.finish(model_, &twice)) return true;
  return lines_.fail_twice(twice.first, twice.second);
}

bool CbfReader::read_entries(bool (CbfReader::*read_entry)()) {
  int32_t count = 0;
  if (!require_line("the number of entries")) return false;
  if (!take_count(std::numeric_limits<int32_t>::max(), &count) || !lines_.expect_end()) {
    return false;
  }
  for (int32_t k = 0; k < count; ++k) {
    if (!require_line("an entry") || !(this->*read_entry)() || !lines_.expect_end()) return false;
  }
  return true;
}

bool CbfReader::take_count(int64_t most, int32_t* value) {
  return lines_.take_integer("a number of things", 0, most, value);
}

bool CbfReader::take_variable(int32_t* var) {
  return lines_.take_integer("the index of a variable", 0, int64_t{num_var_} - 1, var);
}

bool CbfReader::take_constraint(int32_t* con) {
  return lines_.take_integer("the index of a constraint", 0, int64_t{num_con_} - 1, con);
}

bool CbfReader::take_triangle(int32_t dimension, int32_t* row, int32_t* col) {
  if (!lines_.take_integer("a row of the matrix", 0, int64_t{dimension} - 1, row)) return false;
  if (!lines_.take_integer("a column of the matrix", 0, int64_t{dimension} - 1, col)) return false;
  if (*row < *col) std::swap(*row, *col);
  return true;
}

// PSDVAR ROW COL VALUE
bool CbfReader::take_matrix_element(int32_t con) {
  int32_t matrix_var = 0;
  int32_t row = 0;
  int32_t col = 0;
  double value = 0.0;
  if (!lines_.take_integer("the index of a matrix variable", 0, int64_t{num_matrix_var_} - 1,
                           &matrix_var)) {
    return false;
  }
  const int32_t dimension = model_->matrix_vars[static_cast<size_t>(matrix_var)].dimension;
  if (!take_triangle(dimension, &row, &col) || !lines_.take_number(&value)) return false;
  matrix_elements_.add(con, matrix_var, row, col, value, lines_.line_number());
  return true;
}

bool CbfReader::read_objective_matrix() {
  return take_matrix_element(TriangleCoordinates::kObjective);
}

bool CbfReader::read_coefficient_matrix() {
  int32_t con = 0;
  return take_constraint(&con) && take_matrix_element(con);
}

bool CbfReader::read_cost() {
  const std::string_view word = lines_.rest();
  int32_t var = 0;
  double value = 0.0;
  if (!take_variable(&var) || !lines_.take_number(&value)) return false;
  const auto index = static_cast<size_t>(var);
  if (has_cost_[index]) return lines_.fail(word, "a second coefficient of this variable");
  has_cost_[index] = true;
  model_->cost[index] = value;
  return true;
}

bool CbfReader::read_constant() {
  return require_line("the objective's constant") && lines_.take_number(&model_->constant) &&
         lines_.expect_end();
}

bool CbfReader::read_coefficient() {
  int32_t con = 0;
  int32_t var = 0;
  double value = 0.0;
  if (!take_constraint(&con) || !take_variable(&var) || !lines_.take_number(&value)) return false;
  elements_.add(con, var, value, lines_.line_number());
  return true;
}

bool CbfReader::read_offset() {
  const std::string_view word = lines_.rest();
  int32_t con = 0;
  return take_constraint(&con) && take_offset_of(con, word);
}

// The equation of an element of a matrix constraint.
bool CbfReader::take_place(const MatrixConstraint& constraint, int32_t* con) {
  int32_t row = 0;
  int32_t col = 0;
  if (!take_triangle(constraint.dimension, &row, &col)) return false;
  const size_t place = packed_place(static_cast<size_t>(constraint.dimension),
                                    static_cast<size_t>(row), static_cast<size_t>(col));
  *con = constraint.first_row + static_cast<int32_t>(place);
  return true;
}

bool CbfReader::read_matrix_row() {
  const MatrixConstraint* constraint = nullptr;
  int32_t con = 0;
  int32_t var = 0;
  double value = 0.0;
  if (!take_matrix_constraint(&constraint) || !take_variable(&var)) return false;
  if (!take_place(*constraint, &con) || !lines_.take_number(&value)) return false;
  elements_.add(con, var, value, lines_.line_number());
  return true;
}

bool CbfReader::read_matrix_offset() {
  const std::string_view word = lines_.rest();
  const MatrixConstraint* constraint = nullptr;
  int32_t con = 0;
  return take_matrix_constraint(&constraint) && take_place(*constraint, &con) &&
         take_offset_of(con, word);
}

bool CbfReader::take_matrix_constraint(const MatrixConstraint** constraint) {
  int32_t index = 0;
  if (!lines_.take_integer("the index of a matrix constraint", 0,
                           static_cast<int64_t>(matrix_cons_.size()) - 1, &index)) {
    return false;
  }
  *constraint = &matrix_cons_[static_cast<size_t>(index)];
  return true;
}

// A x + b in a cone that is an interval from, to or at 0: A x is in one from, to or at -b.
bool CbfReader::take_offset_of(int32_t con, std::string_view word) {
  double value = 0.0;
  if (!lines_.take_number(&value)) return false;
  const auto index = static_cast<size_t>(con);
  if (has_offset_[index]) return lines_.fail(word, "a second value for this place");
  has_offset_[index] = true;
  const double side = value == 0.0 ? 0.0 : -value;
  for (double* bound : {&model_->con_lower[index], &model_->con_upper[index]}) {
    if (std::isfinite(*bound)) *bound = side;
  }
  return true;
}

// A file in small letters is told, too, so that the reader can say what is wrong with it.
bool is_cbf_first_word(std::string_view word) {
  constexpr std::string_view kVersion = "VER";
  return std::equal(word.begin(), word.end(), kVersion.begin(), kVersion.end(),
                    [](char a, char b) { return a == b || a == b - 'A' + 'a'; });
}

Status read_cbf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                Warnings* warnings) {
  return CbfReader(input, limits, &file->model, warnings).read();
}

}  // namespace vorlan
