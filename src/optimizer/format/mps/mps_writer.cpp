// Writing free MPS; docs/formats/mps.md says in which form and why.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "file/text_reader.h"
#include "format/common/admission.h"
#include "format/common/writer_words.h"
#include "format/mps/mps.h"
#include "format/mps/mps_names.h"
#include "format/mps/mps_sides.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kLargestInteger = 99999;  // shorter as an integer than with an exponent

class MpsWriter {
 public:
  MpsWriter(const Model& model, OutputFile* file)
      : model_(model), file_(file), names_(model), exact_(needs_exact_numbers(model)) {}

  const MpsNames& names() const { return names_; }
  void write();

 private:
  static bool needs_exact_numbers(const Model& model);

  void write_head();
  void write_rows();
  void write_columns();
  void write_column(size_t column);
  void write_marker(bool begin);
  void write_rhs();
  void write_ranges();
  void write_bounds();
  void write_bound_of(size_t column);
  void write_quadratic_cost();
  void write_quadratic_constraints();
  void write_triangle(int32_t con, size_t begin, size_t end);
  void write_sets();
  void write_indicators();

  void choose_set(std::string_view stem);
  void append_number(double value);
  void append_pair(const char* separator, int64_t row, double value);
  void append_bound(const char* type, size_t column);
  void append_bound(const char* type, size_t column, double value);
  void append_term(int32_t first, int32_t second, double value);
  char row_type(size_t row, double* rhs) const;
  bool is_marked(size_t column) const { return model_.var_kind[column] == VarKind::kInteger; }

  static constexpr int64_t kObjective = -1;

  const Model& model_;
  OutputFile* file_;
  MpsNames names_;
  bool exact_;
  std::string set_;  // of the section at hand
};

// Tells whether there are finite numbers that a reader would take for infinity, or a zero that
// would lose its sign.
bool MpsWriter::needs_exact_numbers(const Model& model) {
  const auto is_large = [](double value) {
    return std::isfinite(value) && std::fabs(value) >= kMpsInfinity;
  };
  const auto any_large = [is_large](const std::vector<double>& values) {
    return std::any_of(values.begin(), values.end(), is_large);
  };
  return any_large(model.var_lower) || any_large(model.var_upper) || any_large(model.con_lower) ||
         any_large(model.con_upper) || (model.constant == 0.0 && std::signbit(model.constant));
}

void MpsWriter::write() {
  write_head();
  write_rows();
  write_columns();
  write_rhs();
  write_ranges();
  write_bounds();
  write_quadratic_cost();
  write_quadratic_constraints();
  write_sets();
  write_indicators();
  file_->append("ENDATA\n");
}

void MpsWriter::write_head() {
  if (names_.encoded()) {
    file_->append(kMpsEncodedNames);
    file_->append(
        "\n* In names, %XX is the byte of these digits; %_ and what follows is no part.\n");
  }
  if (exact_) {
    file_->append(kMpsExactNumbers);
    file_->append("\n* Large numbers are no infinities.\n");
  }
  file_->append("NAME ");
  names_.append_model(file_);
  file_->append(" FREE\n");
  if (model_.maximize) file_->append("OBJSENSE\n    MAX\n");
}

// Sides that are no range give a type and a right-hand side alone.
char MpsWriter::row_type(size_t row, double* rhs) const {
  const double lower = model_.con_lower[row];
  const double upper = model_.con_upper[row];
  *rhs = 0.0;
  if (lower == -kInfinity && upper == kInfinity) return 'N';
  *rhs = lower == -kInfinity ? upper : lower;
  if (lower == upper) return 'E';
  if (upper == kInfinity) return 'G';
  if (lower == -kInfinity) return 'L';
  const char type = find_range_form({lower, upper}).type;
  *rhs = type == 'G' ? lower : upper;
  return type;
}

void MpsWriter::write_rows() {
  file_->append("ROWS\n N ");
  names_.append_objective(file_);
  file_->append('\n');
  double rhs = 0.0;
  for (size_t row = 0; row < model_.con_lower.size(); ++row) {
    const char head[] = {' ', row_type(row, &rhs), ' '};
    file_->append(std::string_view(head, sizeof head));
    names_.append_constraint(row, file_);
    file_->append('\n');
  }
}

void MpsWriter::write_columns() {
  file_->append("COLUMNS\n");
  bool marked = false;
  for (size_t column = 0; column < model_.cost.size() && !file_->failed(); ++column) {
    if (is_marked(column) != marked) write_marker(!marked);
    marked = is_marked(column);
    write_column(column);
  }
  if (marked) write_marker(false);
}

void MpsWriter::write_marker(bool begin) {
  file_->append(begin ? " MARKER 'MARKER' 'INTORG'\n" : " MARKER 'MARKER' 'INTEND'\n");
}

// Two elements a line. A column without any is told by a zero in the objective.
void MpsWriter::write_column(size_t column) {
  const SparseMatrix& matrix = model_.matrix;
  const size_t end = index(matrix.start[column + 1]);
  int count = 0;
  const auto append_element = [&](int64_t row, double value) {
    if (count % 2 == 0) {
      if (count > 0) file_->append('\n');
      file_->append(' ');
      names_.append_variable(column, file_);
    }
    append_pair(" ", row, value);
    ++count;
  };
  if (!is_plus_zero(model_.cost[column])) append_element(kObjective, model_.cost[column]);
  for (size_t k = index(matrix.start[column]); k < end; ++k) {
    if (matrix.value[k] != 0.0) append_element(matrix.row[k], matrix.value[k]);
  }
  if (count == 0) append_element(kObjective, 0.0);
  file_->append('\n');
}

void MpsWriter::write_rhs() {
  file_->append("RHS\n");
  choose_set("RHS");
  // A zero constant is the default; one with a sign is told by the right-hand side 0.
  if (!is_plus_zero(model_.constant)) {
    append_pair(set_.c_str(), kObjective, -model_.constant);
    file_->append('\n');
  }
  double rhs = 0.0;
  for (size_t row = 0; row < model_.con_lower.size(); ++row) {
    if (row_type(row, &rhs) == 'N' || is_plus_zero(rhs)) continue;
    append_pair(set_.c_str(), static_cast<int64_t>(row), rhs);
    file_->append('\n');
  }
}

void MpsWriter::write_ranges() {
  bool any = false;
  for (size_t row = 0; row < model_.con_lower.size(); ++row) {
    const Sides sides = {model_.con_lower[row], model_.con_upper[row]};
    if (sides.lower == sides.upper || sides.lower == -kInfinity || sides.upper == kInfinity)
      continue;
    if (!any) {
      file_->append("RANGES\n");
      choose_set("RNG");
      any = true;
    }
    file_->append(set_);
    names_.append_constraint(row, file_);
    file_->append(' ');
    file_->append(find_range_form(sides).range());
    file_->append('\n');
  }
}

void MpsWriter::write_bounds() {
  const auto has_default = [this](size_t column) {
    return model_.var_kind[column] == VarKind::kContinuous &&
           is_plus_zero(model_.var_lower[column]) && model_.var_upper[column] == kInfinity;
  };
  bool any = false;
  for (size_t column = 0; column < model_.cost.size() && !file_->failed(); ++column) {
    if (has_default(column)) continue;
    if (!any) {
      file_->append("BOUNDS\n");
      choose_set("BND");
      any = true;
    }
    write_bound_of(column);
  }
}

// Readers differ in what one bound of an integer column, or a negative upper bound, does to the
// other bound. So both are written then, the lower one first.
void MpsWriter::write_bound_of(size_t column) {
  const double lower = model_.var_lower[column];
  const double upper = model_.var_upper[column];
  const VarKind kind = model_.var_kind[column];
  const bool integer = kind == VarKind::kInteger;
  if (integer && is_plus_zero(lower) && upper == 1.0) return append_bound("BV", column);
  if (!is_semi(kind)) {
    if (lower == -kInfinity && upper == kInfinity) return append_bound("FR", column);
    if (same_bits(lower, upper)) return append_bound("FX", column, lower);
  }
  if (lower == -kInfinity) {
    append_bound("MI", column);
  } else if (integer || !is_plus_zero(lower) || (upper < 0.0 && !is_semi(kind))) {
    append_bound("LO", column, lower);
  }
  if (is_semi(kind)) {
    append_bound(kind == VarKind::kSemiInteger ? "SI" : "SC", column,
                 upper == kInfinity && !exact_ ? kMpsInfinity : upper);
  } else if (upper != kInfinity) {
    append_bound("UP", column, upper);
  } else if (integer) {
    append_bound("PL", column);
  }
}

void MpsWriter::write_quadratic_cost() {
  if (model_.quadratic_cost.empty()) return;
  file_->append("QUADOBJ\n");
  for (const TriangleEntry& entry : model_.quadratic_cost) {
    append_term(entry.col, entry.row, entry.value);
  }
}

void MpsWriter::write_quadratic_constraints() {
  const std::vector<ConQuadraticEntry>& terms = model_.quadratic_coefficients;
  for (size_t begin = 0; begin < terms.size();) {
    const int32_t con = terms[begin].con;
    size_t end = begin;
    while (end < terms.size() && terms[end].con == con) ++end;
    write_triangle(con, begin, end);
    begin = end;
  }
}

// QCMATRIX is what most programs know; its elements are half of ours. Where a number has no exact
// half, the section is a QSECTION.
void MpsWriter::write_triangle(int32_t con, size_t begin, size_t end) {
  const std::vector<ConQuadraticEntry>& terms = model_.quadratic_coefficients;
  const bool halves = std::all_of(terms.begin() + static_cast<std::ptrdiff_t>(begin),
                                  terms.begin() + static_cast<std::ptrdiff_t>(end),
                                  [](const ConQuadraticEntry& term) {
                                    return 2.0 * (0.5 * term.entry.value) == term.entry.value;
                                  });
  file_->append(halves ? "QCMATRIX " : "QSECTION ");
  names_.append_constraint(index(con), file_);
  file_->append('\n');
  for (size_t k = begin; k < end; ++k) {
    const TriangleEntry& entry = terms[k].entry;
    const double value = halves ? 0.5 * entry.value : entry.value;
    append_term(entry.col, entry.row, value);
    if (halves && entry.row != entry.col) append_term(entry.row, entry.col, value);
  }
}

// The priority makes programs take the name for one.
void MpsWriter::write_sets() {
  if (!model_.sets.empty()) file_->append("SOS\n");
  for (size_t i = 0; i < model_.sets.size() && !file_->failed(); ++i) {
    const OrderedSet& set = model_.sets[i];
    file_->append(set.kind == SetKind::kSos1 ? " S1 SOS " : " S2 SOS ");
    names_.append_set(i, file_);
    file_->append(" 1\n");
    for (size_t k = 0; k < set.vars.size(); ++k) {
      file_->append(' ');
      names_.append_variable(index(set.vars[k]), file_);
      file_->append(' ');
      append_number(set.weights[k]);
      file_->append('\n');
    }
  }
}

void MpsWriter::write_indicators() {
  if (!model_.indicators.empty()) file_->append("INDICATORS\n");
  for (const Indicator& indicator : model_.indicators) {
    file_->append(" IF ");
    names_.append_constraint(index(indicator.con), file_);
    file_->append(' ');
    names_.append_variable(index(indicator.binary), file_);
    file_->append(indicator.active ? " 1\n" : " 0\n");
  }
}

void MpsWriter::choose_set(std::string_view stem) {
  set_ = ' ';
  set_ += names_.unused_word(stem);
  set_ += ' ';
}

// Small integers are quick to write, and most numbers are.
void MpsWriter::append_number(double value) {
  if (std::fabs(value) <= kLargestInteger && std::trunc(value) == value &&
      !same_bits(value, -0.0)) {
    file_->append_integer(static_cast<int64_t>(value));
  } else {
    file_->append_number(value);
  }
}

void MpsWriter::append_pair(const char* separator, int64_t row, double value) {
  file_->append(std::string_view(separator));
  if (row == kObjective) {
    names_.append_objective(file_);
  } else {
    names_.append_constraint(index(row), file_);
  }
  file_->append(' ');
  append_number(value);
}

void MpsWriter::append_bound(const char* type, size_t column) {
  file_->append(' ');
  file_->append(std::string_view(type));
  file_->append(set_);
  names_.append_variable(column, file_);
  file_->append('\n');
}

void MpsWriter::append_bound(const char* type, size_t column, double value) {
  file_->append(' ');
  file_->append(std::string_view(type));
  file_->append(set_);
  names_.append_variable(column, file_);
  file_->append(' ');
  append_number(value);
  file_->append('\n');
}

void MpsWriter::append_term(int32_t first, int32_t second, double value) {
  if (value == 0.0) return;
  file_->append(' ');
  names_.append_variable(index(first), file_);
  file_->append(' ');
  names_.append_variable(index(second), file_);
  file_->append(' ');
  append_number(value);
  file_->append('\n');
}

}  // namespace

Status write_mps(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  const Model& model = problem.model;
  Status status =
      admit(Admission("an MPS file", model), &Admission::check_scalar, &Admission::check_constant,
            &Admission::check_variables, &Admission::check_side_order, &Admission::check_elements,
            &Admission::check_logic);
  if (!status.ok()) return status;
  MpsWriter writer(model, file);
  if (writer.names().num_changed() > 0) {
    warnings->add(format_text("names that MPS cannot say are encoded: %lld, the first is '%s'",
                              static_cast<long long>(writer.names().num_changed()),
                              printable(writer.names().first_changed()).c_str()));
  }
  writer.write();
  return {};
}

}  // namespace vorlan
