// Writing LP and PTF files; docs/formats/lp.md and docs/formats/ptf.md say in which form and why.
#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <string>
#include <type_traits>

#include "file/numbers.h"
#include "file/text_reader.h"
#include "format/common/admission.h"
#include "format/common/writer_words.h"
#include "format/lp/lp.h"
#include "format/lp/lp_names.h"
#include "format/lp/ptf_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kLpInfinity = 1e30;     // what readers take numbers from here on for
constexpr double kLargestInteger = 1e5;  // below: shorter as an integer than with an exponent
constexpr size_t kFullLine = 240;        // older programs read lines of 255 characters at most

// The elements by constraint.
struct Rows {
  explicit Rows(const Model& model);

  std::vector<int64_t> start;
  std::vector<int32_t> var;
  std::vector<double> value;
};

Rows::Rows(const Model& model) {
  const SparseMatrix& matrix = model.matrix;
  start.assign(model.con_lower.size() + 2, 0);
  for (size_t k = 0; k < matrix.row.size(); ++k) {
    if (matrix.value[k] != 0.0) ++start[index(matrix.row[k]) + 2];
  }
  for (size_t i = 2; i < start.size(); ++i) start[i] += start[i - 1];
  var.resize(index(start.back()));
  value.resize(var.size());
  // start[i + 1] moves from the start of row i to its end.
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (size_t k = index(matrix.start[j]); k < index(matrix.start[j + 1]); ++k) {
      if (matrix.value[k] == 0.0) continue;
      const size_t at = index(start[index(matrix.row[k]) + 1]++);
      var[at] = static_cast<int32_t>(j);
      value[at] = matrix.value[k];
    }
  }
  start.pop_back();
}

class LpWriter {
 public:
  LpWriter(const ProblemView& problem, bool extended, OutputFile* file);

  const LpNames& names() const { return names_; }
  void write();

 private:
  enum class Side : uint8_t { kEqual, kLower, kUpper, kRange };

  static bool has_solutions(const ProblemView& problem);
  static bool has_helpers(const ProblemView& problem);
  static bool needs_exact_numbers(const Model& model);
  static Side side_of(const Model& model, size_t con);
  int32_t num_listed() const;

  void write_head();
  void write_objective();
  void write_constraints();
  void write_constraint(const Rows& rows, size_t con);
  void write_side(size_t con, bool empty);
  void write_bounds();
  bool has_bound(size_t var) const;
  void write_kinds();
  template <class Test>
  void write_list(const char* heading, const Test& test);
  void write_cones();
  void write_parameters();
  void write_solution(const Solution& solution, std::string_view kind);

  template <class Term>
  void append_quadratic(const Term* begin, const Term* end, bool halved);
  void append_quadratic_term(const TriangleEntry& entry, double value);
  void append_element(int32_t matrix_var, const TriangleEntry& entry);
  void append_element_name(size_t matrix_var, int64_t row, int64_t col);
  void append_variable_term(double coefficient, size_t var);
  void append_sign(double coefficient);
  void append_coefficient(double coefficient);
  void append_value(double value);
  void append_number(double value);
  void append_integer(int64_t value);
  void begin_terms() { first_term_ = true; }
  void wrap() {
    if (line_.size() > kFullLine) end_line(" ");
  }
  void end_line(std::string_view next = {});

  const ProblemView& problem_;
  const Model& model_;
  bool extended_;
  OutputFile* file_;
  LpNames names_;
  bool exact_;
  bool all_labels_;
  std::string line_;
  bool first_term_ = true;
  size_t quadratic_ = 0, element_ = 0;  // the next terms of constraints
};

LpWriter::LpWriter(const ProblemView& problem, bool extended, OutputFile* file)
    : problem_(problem),
      model_(problem.model),
      extended_(extended),
      file_(file),
      names_(problem.model, has_helpers(problem)),
      exact_(needs_exact_numbers(problem.model)),
      all_labels_(extended && has_solutions(problem)) {}

bool LpWriter::has_solutions(const ProblemView& problem) {
  return problem.with_solutions &&
         std::any_of(problem.solutions.begin(), problem.solutions.end(),
                     [](const Solution& solution) { return solution.defined; });
}

// Whether there are constraints or a constant that need a variable of their own, or constraints
// without a name that a solution must name.
bool LpWriter::has_helpers(const ProblemView& problem) {
  const Model& model = problem.model;
  const bool all_labels = has_solutions(problem);
  if (!is_plus_zero(model.constant)) return true;
  for (size_t con = 0; con < model.con_lower.size(); ++con) {
    if (side_of(model, con) == Side::kRange) return true;
    if (all_labels && model.con_names[con].empty()) return true;
  }
  return false;
}

// Of finite numbers that a reader would take for infinity.
bool LpWriter::needs_exact_numbers(const Model& model) {
  const auto any_large = [](const std::vector<double>& values) {
    return std::any_of(values.begin(), values.end(), [](double value) {
      return std::isfinite(value) && std::fabs(value) >= kLpInfinity;
    });
  };
  return any_large(model.var_lower) || any_large(model.var_upper) || any_large(model.con_lower) ||
         any_large(model.con_upper);
}

LpWriter::Side LpWriter::side_of(const Model& model, size_t con) {
  const double lower = model.con_lower[con];
  const double upper = model.con_upper[con];
  if (same_bits(lower, upper)) return Side::kEqual;
  if (upper == kInfinity && lower != -kInfinity) return Side::kLower;
  if (lower == -kInfinity && upper != kInfinity) return Side::kUpper;
  return Side::kRange;
}

// How many variables, from the first on, the objective must list, so that the order in which
// variables appear is that of the model.
int32_t LpWriter::num_listed() const {
  const SparseMatrix& matrix = model_.matrix;
  if (!model_.quadratic_coefficients.empty()) return model_.num_var();
  int32_t listed = 0;
  for (const TriangleEntry& entry : model_.quadratic_cost) listed = std::max(listed, entry.row + 1);
  int64_t next_row = std::numeric_limits<int64_t>::max();  // where the next variable appears
  for (int32_t var = model_.num_var() - 1; var >= listed; --var) {
    const size_t column = index(var);
    size_t at = index(matrix.start[column]);
    const size_t end = index(matrix.start[column + 1]);
    while (at < end && matrix.value[at] == 0.0) ++at;
    const bool in_order =
        at < end && matrix.row[at] <= next_row && is_plus_zero(model_.cost[column]);
    if (!in_order) return var + 1;
    next_row = matrix.row[at];
  }
  return listed;
}

void LpWriter::write() {
  write_head();
  write_objective();
  write_constraints();
  write_bounds();
  write_kinds();
  if (extended_) {
    write_cones();
    write_parameters();
    if (problem_.with_solutions) {
      for (size_t kind = 0; kind < problem_.solutions.size(); ++kind) {
        write_solution(problem_.solutions[kind],
                       ptf_word(kPtfSolutionKinds, static_cast<SolutionKind>(kind)));
      }
    }
  }
  file_->append("End\n");
}

void LpWriter::write_head() {
  if (names_.encoded()) {
    file_->append(kLpEncodedNames);
    file_->append(
        "\n\\ In names, %XX is the byte of these digits; %_ and what follows, and a first "
        "_ before %, is no part.\n");
  }
  if (exact_) {
    file_->append(kLpExactNumbers);
    file_->append("\n\\ Large numbers are no infinities.\n");
  }
  if (!model_.name.empty()) {
    file_->append(kLpProblemName);
    file_->append(names_.model_word());
    file_->append('\n');
  }
  if (!extended_) return;
  file_->append(kPtfOpening);
  file_->append('\n');
  if (model_.matrix_vars.empty()) return;
  file_->append("Matrix Variables\n");
  for (size_t i = 0; i < model_.matrix_vars.size(); ++i) {
    line_ += ' ';
    names_.append_matrix_variable(i, &line_);
    line_ += format_text("(%d)", model_.matrix_vars[i].dimension);
    end_line();
  }
}

void LpWriter::write_objective() {
  file_->append(model_.maximize ? "Maximize\n" : "Minimize\n");
  const std::string label = names_.objective_word();
  if (!label.empty()) line_ += ' ' + label + ':';
  begin_terms();
  const size_t num_listed = index(this->num_listed());
  for (size_t var = 0; var < num_listed; ++var) append_variable_term(model_.cost[var], var);
  const std::vector<TriangleEntry>& quadratic = model_.quadratic_cost;
  if (!quadratic.empty()) {
    append_quadratic(quadratic.data(), quadratic.data() + quadratic.size(), true);
  }
  for (const MatrixCostEntry& term : model_.matrix_cost)
    append_element(term.matrix_var, term.entry);
  if (!is_plus_zero(model_.constant)) {
    append_sign(model_.constant);
    append_number(std::fabs(model_.constant));
    line_ += ' ';
    line_ += kLpConstantWord;
  }
  if (first_term_ && !model_.cost.empty()) append_variable_term(0.0, 0);
  end_line();
}

void LpWriter::write_constraints() {
  file_->append("Subject To\n");
  const Rows rows(model_);
  for (size_t con = 0; con < model_.con_lower.size() && !file_->failed(); ++con) {
    write_constraint(rows, con);
  }
}

void LpWriter::write_constraint(const Rows& rows, size_t con) {
  const bool range = side_of(model_, con) == Side::kRange;
  if (range || all_labels_ || !model_.con_names[con].empty()) {
    line_ += ' ';
    names_.append_constraint(con, &line_);
    line_ += ':';
  }
  begin_terms();
  for (size_t k = index(rows.start[con]); k < index(rows.start[con + 1]); ++k) {
    append_variable_term(rows.value[k], index(rows.var[k]));
  }
  const std::vector<ConQuadraticEntry>& quadratic = model_.quadratic_coefficients;
  const size_t begin = quadratic_;
  bool halves = true;
  while (quadratic_ < quadratic.size() && quadratic[quadratic_].con == static_cast<int32_t>(con)) {
    const double value = quadratic[quadratic_++].entry.value;
    halves = halves && 2.0 * (0.5 * value) == value;
  }
  if (quadratic_ > begin) {
    // Without "/ 2", as is usual in constraints, the squares have half of our numbers.
    append_quadratic(quadratic.data() + begin, quadratic.data() + quadratic_, !halves);
  }
  const std::vector<MatrixCoefficient>& elements = model_.matrix_coefficients;
  for (; element_ < elements.size() && elements[element_].con == static_cast<int32_t>(con);
       ++element_) {
    append_element(elements[element_].matrix_var, elements[element_].entry);
  }
  const bool empty = first_term_;
  if (range) {
    append_sign(-1.0);
    names_.append_constraint(con, &line_);
    line_ += kLpRangeMark;
  } else if (empty && !model_.cost.empty()) {
    append_variable_term(0.0, 0);
  }
  write_side(con, first_term_);
}

void LpWriter::write_side(size_t con, bool empty) {
  if (empty) line_ += " 0";
  switch (side_of(model_, con)) {
    case Side::kEqual:
      line_ += " = ";
      append_value(model_.con_lower[con]);
      break;
    case Side::kLower:
      line_ += " >= ";
      append_value(model_.con_lower[con]);
      break;
    case Side::kUpper:
      line_ += " <= ";
      append_value(model_.con_upper[con]);
      break;
    case Side::kRange:
      line_ += " = 0";
  }
  end_line();
}

bool LpWriter::has_bound(size_t var) const {
  const double lower = model_.var_lower[var];
  const double upper = model_.var_upper[var];
  if (!is_plus_zero(lower)) return true;
  return upper != kInfinity && !(upper == 1.0 && model_.var_kind[var] == VarKind::kInteger);
}

void LpWriter::write_bounds() {
  bool any = false;
  const auto begin = [this, &any] {
    if (!any) file_->append("Bounds\n");
    any = true;
  };
  const auto append_line = [this](double lower, double upper, const auto& append_name) {
    line_ += ' ';
    if (same_bits(lower, upper)) {
      append_name();
      line_ += " = ";
      append_value(lower);
    } else if (lower == -kInfinity && upper == kInfinity) {
      append_name();
      line_ += " free";
    } else if (upper == kInfinity) {
      append_name();
      line_ += " >= ";
      append_value(lower);
    } else if (is_plus_zero(lower) && upper >= 0.0) {
      append_name();
      line_ += " <= ";
      append_value(upper);
    } else {
      append_value(lower);
      line_ += " <= ";
      append_name();
      line_ += " <= ";
      append_value(upper);
    }
    end_line();
  };
  for (size_t var = 0; var < model_.cost.size() && !file_->failed(); ++var) {
    if (!has_bound(var)) continue;
    begin();
    append_line(model_.var_lower[var], model_.var_upper[var],
                [this, var] { names_.append_variable(var, &line_); });
  }
  if (!is_plus_zero(model_.constant)) {
    begin();
    append_line(1.0, 1.0, [this] { line_ += kLpConstantWord; });
  }
  for (size_t con = 0; con < model_.con_lower.size() && !file_->failed(); ++con) {
    if (side_of(model_, con) != Side::kRange) continue;
    begin();
    append_line(model_.con_lower[con], model_.con_upper[con], [this, con] {
      names_.append_constraint(con, &line_);
      line_ += kLpRangeMark;
    });
  }
}

void LpWriter::write_kinds() {
  const auto is_binary = [this](size_t var) {
    return model_.var_kind[var] == VarKind::kInteger && is_plus_zero(model_.var_lower[var]) &&
           model_.var_upper[var] == 1.0;
  };
  write_list("Generals\n", [this, is_binary](size_t var) {
    const VarKind kind = model_.var_kind[var];
    return (kind == VarKind::kInteger && !is_binary(var)) || kind == VarKind::kSemiInteger;
  });
  write_list("Binaries\n", is_binary);
  write_list("Semi-Continuous\n", [this](size_t var) { return is_semi(model_.var_kind[var]); });
}

template <class Test>
void LpWriter::write_list(const char* heading, const Test& test) {
  bool any = false;
  for (size_t var = 0; var < model_.cost.size() && !file_->failed(); ++var) {
    if (!test(var)) continue;
    if (!any) file_->append(std::string_view(heading));
    any = true;
    wrap();
    line_ += ' ';
    names_.append_variable(var, &line_);
  }
  if (any) end_line();
}

void LpWriter::write_cones() {
  if (model_.cones.empty()) return;
  file_->append("Cones\n");
  for (size_t i = 0; i < model_.cones.size(); ++i) {
    const Cone& cone = model_.cones[i];
    line_ += ' ';
    names_.append_cone(i, &line_);
    line_ += ": ";
    line_ += ptf_word(kPtfConeKinds, cone.kind);
    for (const double exponent : cone.exponents) {
      wrap();
      line_ += ' ';
      append_number(exponent);
    }
    for (const int32_t var : cone.vars) {
      wrap();
      line_ += ' ';
      names_.append_variable(index(var), &line_);
    }
    end_line();
  }
}

void LpWriter::write_parameters() {
  if (problem_.parameters.empty()) return;
  file_->append("Parameters\n");
  for (const ParameterSetting& setting : problem_.parameters) {
    line_ += ' ' + encode_ptf_text(setting.name, true) + " = ";
    line_ += encode_ptf_text(setting.value, false);
    end_line();
  }
}

void LpWriter::write_solution(const Solution& solution, std::string_view kind) {
  if (!solution.defined) return;
  file_->append("Solution ");
  file_->append(kind);
  file_->append("\n problem ");
  file_->append(ptf_status(word_of(kProblemStatuses, solution.problem_status)));
  file_->append("\n status ");
  file_->append(ptf_status(word_of(kSolutionStatuses, solution.status)));
  line_ = " objective ";
  append_number(solution.primal_objective);
  if (!std::isnan(solution.dual_objective)) {
    line_ += "\n dual_objective ";
    append_number(solution.dual_objective);
  }
  file_->append('\n');
  end_line();
  const auto append_figures = [this](std::initializer_list<double> figures) {
    for (const double figure : figures) {
      line_ += ' ';
      append_number(figure);
    }
  };
  for (size_t var = 0; var < solution.xx.size(); ++var) {
    line_ += " variable ";
    names_.append_variable(var, &line_);
    line_ += " = ";
    line_ += ptf_word(kPtfStatusKeys, solution.skx[var]);
    append_figures({solution.xx[var], solution.slx[var], solution.sux[var]});
    if (!solution.snx.empty()) append_figures({solution.snx[var]});
    end_line();
  }
  for (size_t con = 0; con < solution.xc.size(); ++con) {
    line_ += " constraint ";
    names_.append_constraint(con, &line_);
    line_ += " = ";
    line_ += ptf_word(kPtfStatusKeys, solution.skc[con]);
    append_figures({solution.xc[con], solution.slc[con], solution.suc[con], solution.y[con]});
    end_line();
  }
  size_t at = 0;
  for (size_t i = 0; i < model_.matrix_vars.size() && at < solution.barx.size(); ++i) {
    const int64_t dimension = model_.matrix_vars[i].dimension;
    for (int64_t col = 0; col < dimension; ++col) {
      for (int64_t row = col; row < dimension && at < solution.barx.size(); ++row, ++at) {
        const double dual = at < solution.bars.size() ? solution.bars[at] : 0.0;
        if (is_plus_zero(solution.barx[at]) && is_plus_zero(dual)) continue;
        line_ += " element ";
        append_element_name(i, row, col);
        line_ += " =";
        append_figures({solution.barx[at], dual});
        end_line();
      }
    }
  }
}

template <class Term>
void LpWriter::append_quadratic(const Term* begin, const Term* end, bool halved) {
  line_ += first_term_ ? " [" : " + [";
  begin_terms();
  for (const Term* term = begin; term != end; ++term) {
    const TriangleEntry* entry = nullptr;
    if constexpr (std::is_same_v<Term, TriangleEntry>) {
      entry = term;
    } else {
      entry = &term->entry;
    }
    const bool square = entry->row == entry->col;
    if (halved && !square && !std::isfinite(2.0 * entry->value)) {
      append_quadratic_term(*entry, entry->value);
      append_quadratic_term(*entry, entry->value);
    } else {
      const double factor = square ? (halved ? 1.0 : 0.5) : (halved ? 2.0 : 1.0);
      append_quadratic_term(*entry, factor * entry->value);
    }
  }
  line_ += halved ? " ] / 2" : " ]";
  first_term_ = false;
}

void LpWriter::append_quadratic_term(const TriangleEntry& entry, double value) {
  append_coefficient(value);
  names_.append_variable(index(entry.col), &line_);
  if (entry.row == entry.col) {
    line_ += "^2";
  } else {
    line_ += " * ";
    names_.append_variable(index(entry.row), &line_);
  }
}

// An element off the diagonal counts twice in the inner product.
void LpWriter::append_element(int32_t matrix_var, const TriangleEntry& entry) {
  const bool doubled = entry.row != entry.col;
  const bool split = doubled && !std::isfinite(2.0 * entry.value);
  for (int part = 0; part < (split ? 2 : 1); ++part) {
    append_coefficient(doubled && !split ? 2.0 * entry.value : entry.value);
    append_element_name(index(matrix_var), entry.row, entry.col);
  }
}

void LpWriter::append_element_name(size_t matrix_var, int64_t row, int64_t col) {
  names_.append_matrix_variable(matrix_var, &line_);
  line_ += '(';
  append_integer(row + 1);
  line_ += ',';
  append_integer(col + 1);
  line_ += ')';
}

void LpWriter::append_variable_term(double coefficient, size_t var) {
  append_coefficient(coefficient);
  names_.append_variable(var, &line_);
}

void LpWriter::append_sign(double coefficient) {
  wrap();
  if (std::signbit(coefficient)) {
    line_ += " - ";
  } else {
    line_ += first_term_ ? " " : " + ";
  }
  first_term_ = false;
}

void LpWriter::append_coefficient(double coefficient) {
  append_sign(coefficient);
  const double size = std::fabs(coefficient);
  if (size == 1.0) return;
  append_number(size);
  line_ += ' ';
}

// Infinities with a sign, which all programs take.
void LpWriter::append_value(double value) {
  if (value == kInfinity) line_ += '+';
  append_number(value);
}

// Small integers are quick to write, and most numbers are.
void LpWriter::append_number(double value) {
  std::array<char, kLongestNumber> text;
  const bool integer =
      std::fabs(value) < kLargestInteger && std::trunc(value) == value && !same_bits(value, -0.0);
  const char* const end = integer ? format_int64(static_cast<int64_t>(value), text.data())
                                  : format_double(value, text.data());
  line_.append(text.data(), static_cast<size_t>(end - text.data()));
}

void LpWriter::append_integer(int64_t value) {
  std::array<char, kLongestNumber> text;
  const char* const end = format_int64(value, text.data());
  line_.append(text.data(), static_cast<size_t>(end - text.data()));
}

void LpWriter::end_line(std::string_view next) {
  line_ += '\n';
  file_->append(line_);
  line_ = next;
}

Status admit_model(const Model& model, bool is_ptf) {
  const Admission admission(is_ptf ? "a PTF file" : "an LP file", model);
  Status status = admit(admission, &Admission::check_constant);
  if (status.ok() && !is_ptf) status = admit(admission, &Admission::check_scalar);
  if (!status.ok()) return status;
  return admit(admission, &Admission::check_variables, &Admission::check_side_numbers,
               &Admission::check_elements);
}

Status write_problem(const ProblemView& problem, bool is_ptf, bool extended, OutputFile* file,
                     Warnings* warnings) {
  Status status = admit_model(problem.model, is_ptf);
  if (!status.ok()) return status;
  LpWriter writer(problem, extended, file);
  if (writer.names().num_changed() > 0) {
    warnings->add(format_text("names that LP cannot say are encoded: %lld, the first is '%s'",
                              static_cast<long long>(writer.names().num_changed()),
                              printable(writer.names().first_changed()).c_str()));
  }
  writer.write();
  return {};
}

}  // namespace

Status write_lp(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  return write_problem({problem.model, problem.solutions, false, {}}, false, false, file, warnings);
}

// The sections of its own are for what there is; without them it is a plain LP file.
Status write_ptf(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  const bool solutions = problem.with_solutions &&
                         std::any_of(problem.solutions.begin(), problem.solutions.end(),
                                     [](const Solution& solution) { return solution.defined; });
  const bool extended = !problem.model.cones.empty() || !problem.model.matrix_vars.empty() ||
                        !problem.parameters.empty() || solutions;
  return write_problem(problem, true, extended, file, warnings);
}

}  // namespace vorlan
