// Putting lines together; see lp_lines.h.
#include "format/lp/lp_lines.h"

#include <array>
#include <cmath>

#include "file/numbers.h"
#include "format/common/writer_words.h"

namespace vorlan {
namespace {

constexpr double kLargestInteger = 1e5;  // below: shorter as an integer than with an exponent

}  // namespace

void LpLines::append_element_name(size_t matrix_var, int64_t row, int64_t col) {
  append_matrix_variable(matrix_var);
  line_ += '(';
  append_integer(row + 1);
  line_ += ',';
  append_integer(col + 1);
  line_ += ')';
}

// Small integers are quick to write, and most numbers are.
void LpLines::append_number(double value) {
  std::array<char, kLongestNumber> text;
  const bool integer =
      std::fabs(value) < kLargestInteger && std::trunc(value) == value && !same_bits(value, -0.0);
  const char* const end = integer ? format_int64(static_cast<int64_t>(value), text.data())
                                  : format_double(value, text.data());
  line_.append(text.data(), static_cast<size_t>(end - text.data()));
}

void LpLines::append_integer(int64_t value) {
  std::array<char, kLongestNumber> text;
  const char* const end = format_int64(value, text.data());
  line_.append(text.data(), static_cast<size_t>(end - text.data()));
}

// Infinities have a sign, which all programs take.
void LpLines::append_value(double value) {
  if (value == kInfinity) line_ += '+';
  append_number(value);
}

void LpLines::append_figures(std::initializer_list<double> figures) {
  for (const double figure : figures) {
    line_ += ' ';
    append_number(figure);
  }
}

void LpLines::append_sign(double coefficient) {
  wrap();
  if (std::signbit(coefficient)) {
    line_ += " - ";
  } else {
    line_ += first_term_ ? " " : " + ";
  }
  first_term_ = false;
}

void LpLines::append_coefficient(double coefficient) {
  append_sign(coefficient);
  const double size = std::fabs(coefficient);
  if (size == 1.0) return;
  append_number(size);
  line_ += ' ';
}

void LpLines::append_quadratic(const TriangleEntry* begin, const TriangleEntry* end,
                               Halving halving) {
  line_ += first_term_ ? " [" : " + [";
  begin_terms();
  for (const TriangleEntry* entry = begin; entry != end; ++entry) {
    append_quadratic_entry(*entry, halving);
  }
  line_ += halving == Halving::kHalved ? " ] / 2" : " ]";
  first_term_ = false;
}

void LpLines::append_quadratic(const ConQuadraticEntry* begin, const ConQuadraticEntry* end,
                               Halving halving) {
  line_ += first_term_ ? " [" : " + [";
  begin_terms();
  for (const ConQuadraticEntry* term = begin; term != end; ++term) {
    append_quadratic_entry(term->entry, halving);
  }
  line_ += halving == Halving::kHalved ? " ] / 2" : " ]";
  first_term_ = false;
}

// The model has 1/2 Qxx x^2 and Qxy x y, the file a x^2 and b x * y, all halved or not. What would
// overflow when it is doubled stands there twice.
void LpLines::append_quadratic_entry(const TriangleEntry& entry, Halving halving) {
  const bool halved = halving == Halving::kHalved;
  const bool square = entry.row == entry.col;
  if (halved && !square && !std::isfinite(2.0 * entry.value)) {
    append_quadratic_term(entry, entry.value);
    append_quadratic_term(entry, entry.value);
    return;
  }
  const double factor = square ? (halved ? 1.0 : 0.5) : (halved ? 2.0 : 1.0);
  append_quadratic_term(entry, factor * entry.value);
}

void LpLines::append_quadratic_term(const TriangleEntry& entry, double value) {
  append_coefficient(value);
  append_variable(index(entry.col));
  if (entry.row == entry.col) {
    line_ += "^2";
  } else {
    line_ += " * ";
    append_variable(index(entry.row));
  }
}

// An element off the diagonal counts twice in the inner product.
void LpLines::append_element(int32_t matrix_var, const TriangleEntry& entry) {
  const bool doubled = entry.row != entry.col;
  const bool split = doubled && !std::isfinite(2.0 * entry.value);
  for (int part = 0; part < (split ? 2 : 1); ++part) {
    append_coefficient(doubled && !split ? 2.0 * entry.value : entry.value);
    append_element_name(index(matrix_var), entry.row, entry.col);
  }
}

void LpLines::end(std::string_view next) {
  line_ += '\n';
  file_.append(line_);
  line_ = next;
}

}  // namespace vorlan
