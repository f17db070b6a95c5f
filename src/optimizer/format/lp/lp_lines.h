// The lines of LP and PTF files as the writers put them together: names, numbers and terms, with a
// new line before one gets longer than older programs read.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "file/output_file.h"
#include "format/lp/lp_names.h"
#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

class LpLines {
 public:
  // Both are borrowed.
  LpLines(const LpNames* names, OutputFile* file) : names_(*names), file_(*file) {}

  void append(std::string_view text) { line_ += text; }
  void append_variable(size_t var) { names_.append_variable(var, &line_); }
  void append_constraint(size_t con) { names_.append_constraint(con, &line_); }
  void append_cone(size_t cone) { names_.append_cone(cone, &line_); }
  void append_set(size_t set) { names_.append_set(set, &line_); }
  void append_matrix_variable(size_t i) { names_.append_matrix_variable(i, &line_); }
  void append_element_name(size_t matrix_var, int64_t row, int64_t col);

  void append_number(double value);
  void append_integer(int64_t value);
  // A value behind a relation.
  void append_value(double value);
  // Each figure with a blank in front.
  void append_figures(std::initializer_list<double> figures);

  // The next term is the first one of its expression, which has no plus.
  void begin_terms() { first_term_ = true; }
  bool has_terms() const { return !first_term_; }
  void append_sign(double coefficient);
  // The sign and the number in front of a name, which 1 does not have.
  void append_coefficient(double coefficient);
  void append_variable_term(double coefficient, size_t var) {
    append_coefficient(coefficient);
    append_variable(var);
  }
  // The quadratic terms [begin, end) in brackets. Halved ones have "/ 2" behind the bracket.
  enum class Halving : uint8_t { kNone, kHalved };
  void append_quadratic(const TriangleEntry* begin, const TriangleEntry* end, Halving halving);
  void append_quadratic(const ConQuadraticEntry* begin, const ConQuadraticEntry* end,
                        Halving halving);
  // The terms of a matrix variable's element.
  void append_element(int32_t matrix_var, const TriangleEntry& entry);

  // Goes on in a new line if this one is full.
  void wrap() {
    if (line_.size() > kFullLine) end(" ");
  }
  // Writes the line; the next one begins with the text.
  void end(std::string_view next = {});

 private:
  static constexpr size_t kFullLine = 240;  // older programs read lines of 255 characters at most

  void append_quadratic_entry(const TriangleEntry& entry, Halving halving);
  void append_quadratic_term(const TriangleEntry& entry, double value);

  const LpNames& names_;
  OutputFile& file_;
  std::string line_;
  bool first_term_ = true;
};

}  // namespace vorlan
