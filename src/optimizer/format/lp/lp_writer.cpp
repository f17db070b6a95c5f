// Writing LP and PTF files; docs/formats/lp.md and docs/formats/ptf.md say in which form and why.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "file/text_reader.h"
#include "format/common/admission.h"
#include "format/common/writer_words.h"
#include "format/lp/lp.h"
#include "format/lp/lp_lines.h"
#include "format/lp/lp_names.h"
#include "format/lp/lp_tokens.h"
#include "format/lp/ptf_writer.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kLpInfinity = 1e30;  // readers take numbers from here on for it

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

  static bool has_helpers(const ProblemView& problem);
  static bool needs_exact_numbers(const Model& model);
  static Side side_of(const Model& model, size_t con);
  int32_t num_listed() const;

  void write_head();
  void write_objective();
  void write_constraints();
  void write_constraint(const Rows& rows, size_t con);
  void append_quadratic(size_t con);
  void append_elements(size_t con);
  void append_side(size_t con);
  void append_condition(size_t con);
  void write_bounds();
  bool has_bound(size_t var) const;
  template <class AppendName>
  void write_bound(double lower, double upper, const AppendName& append_name);
  void write_kinds();
  template <class Test>
  void write_list(const char* heading, const Test& test);
  void write_sets();

  const ProblemView& problem_;
  const Model& model_;
  bool extended_;
  OutputFile* file_;
  LpNames names_;
  LpLines lines_;
  PtfWriter ptf_;
  bool exact_;
  bool all_labels_;
  size_t quadratic_ = 0, element_ = 0;  // the next terms of constraints
  size_t indicator_ = 0;                // the next condition
};

LpWriter::LpWriter(const ProblemView& problem, bool extended, OutputFile* file)
    : problem_(problem),
      model_(problem.model),
      extended_(extended),
      file_(file),
      names_(problem.model, has_helpers(problem)),
      lines_(&names_, file),
      ptf_(&problem_, &lines_, file),
      exact_(needs_exact_numbers(problem.model)),
      all_labels_(extended && PtfWriter::has_solutions(problem)) {}

// Tells whether there are constraints or a constant that need a variable of their own, or
// constraints without a name that a solution must name.
bool LpWriter::has_helpers(const ProblemView& problem) {
  const Model& model = problem.model;
  const bool all_labels = PtfWriter::has_solutions(problem);
  if (!is_plus_zero(model.constant)) return true;
  for (size_t con = 0; con < model.con_lower.size(); ++con) {
    if (side_of(model, con) == Side::kRange) return true;
    if (all_labels && model.con_names[con].empty()) return true;
  }
  return false;
}

// Tells whether there are finite numbers that a reader would take for infinity.
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
  if (!model_.quadratic_coefficients.empty() || !model_.indicators.empty()) return model_.num_var();
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
  write_sets();
  if (extended_) ptf_.write_sections();
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
  if (extended_) ptf_.write_head();
}

void LpWriter::write_objective() {
  file_->append(model_.maximize ? "Maximize\n" : "Minimize\n");
  const std::string label = names_.objective_word();
  if (!label.empty()) lines_.append(' ' + label + ':');
  lines_.begin_terms();
  const size_t num_listed = index(this->num_listed());
  for (size_t var = 0; var < num_listed; ++var) lines_.append_variable_term(model_.cost[var], var);
  const std::vector<TriangleEntry>& quadratic = model_.quadratic_cost;
  if (!quadratic.empty()) {
    lines_.append_quadratic(quadratic.data(), quadratic.data() + quadratic.size(),
                            LpLines::Halving::kHalved);
  }
  for (const MatrixCostEntry& term : model_.matrix_cost) {
    lines_.append_element(term.matrix_var, term.entry);
  }
  if (!is_plus_zero(model_.constant)) {
    lines_.append_sign(model_.constant);
    lines_.append_number(std::fabs(model_.constant));
    lines_.append(" ");
    lines_.append(kLpConstantWord);
  }
  if (!lines_.has_terms() && !model_.cost.empty()) lines_.append_variable_term(0.0, 0);
  lines_.end();
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
    lines_.append(" ");
    lines_.append_constraint(con);
    lines_.append(":");
  }
  append_condition(con);
  lines_.begin_terms();
  for (size_t k = index(rows.start[con]); k < index(rows.start[con + 1]); ++k) {
    lines_.append_variable_term(rows.value[k], index(rows.var[k]));
  }
  append_quadratic(con);
  append_elements(con);
  if (range) {
    lines_.append_sign(-1.0);
    lines_.append_constraint(con);
    lines_.append(kLpRangeMark);
  } else if (!lines_.has_terms() && !model_.cost.empty()) {
    lines_.append_variable_term(0.0, 0);
  }
  append_side(con);
  lines_.end();
}

void LpWriter::append_condition(size_t con) {
  if (indicator_ == model_.indicators.size()) return;
  const Indicator& indicator = model_.indicators[indicator_];
  if (index(indicator.con) != con) return;
  ++indicator_;
  lines_.append(" ");
  lines_.append_variable(index(indicator.binary));
  lines_.append(indicator.active ? " = 1 ->" : " = 0 ->");
}

// Brackets of constraints usually have no "/ 2" behind them, so that squares have half of our
// numbers. Numbers that cannot be halved exactly are written as in an objective.
void LpWriter::append_quadratic(size_t con) {
  const std::vector<ConQuadraticEntry>& quadratic = model_.quadratic_coefficients;
  const size_t begin = quadratic_;
  bool halves = true;
  while (quadratic_ < quadratic.size() && index(quadratic[quadratic_].con) == con) {
    const double value = quadratic[quadratic_++].entry.value;
    halves = halves && 2.0 * (0.5 * value) == value;
  }
  if (quadratic_ == begin) return;
  lines_.append_quadratic(quadratic.data() + begin, quadratic.data() + quadratic_,
                          halves ? LpLines::Halving::kNone : LpLines::Halving::kHalved);
}

void LpWriter::append_elements(size_t con) {
  const std::vector<MatrixCoefficient>& elements = model_.matrix_coefficients;
  for (; element_ < elements.size() && index(elements[element_].con) == con; ++element_) {
    lines_.append_element(elements[element_].matrix_var, elements[element_].entry);
  }
}

void LpWriter::append_side(size_t con) {
  if (!lines_.has_terms()) lines_.append(" 0");
  switch (side_of(model_, con)) {
    case Side::kEqual:
      lines_.append(" = ");
      return lines_.append_value(model_.con_lower[con]);
    case Side::kLower:
      lines_.append(" >= ");
      return lines_.append_value(model_.con_lower[con]);
    case Side::kUpper:
      lines_.append(" <= ");
      return lines_.append_value(model_.con_upper[con]);
    case Side::kRange:
      lines_.append(" = 0");
  }
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
  for (size_t var = 0; var < model_.cost.size() && !file_->failed(); ++var) {
    if (!has_bound(var)) continue;
    begin();
    write_bound(model_.var_lower[var], model_.var_upper[var],
                [this, var] { lines_.append_variable(var); });
  }
  if (!is_plus_zero(model_.constant)) {
    begin();
    write_bound(1.0, 1.0, [this] { lines_.append(kLpConstantWord); });
  }
  for (size_t con = 0; con < model_.con_lower.size() && !file_->failed(); ++con) {
    if (side_of(model_, con) != Side::kRange) continue;
    begin();
    write_bound(model_.con_lower[con], model_.con_upper[con], [this, con] {
      lines_.append_constraint(con);
      lines_.append(kLpRangeMark);
    });
  }
}

template <class AppendName>
void LpWriter::write_bound(double lower, double upper, const AppendName& append_name) {
  const auto append_relation = [this](std::string_view relation, double value) {
    lines_.append(relation);
    lines_.append_value(value);
  };
  lines_.append(" ");
  const bool only_upper = is_plus_zero(lower) && upper >= 0.0;
  if (!same_bits(lower, upper) && upper != kInfinity && !only_upper) {
    lines_.append_value(lower);
    lines_.append(" <= ");
  }
  append_name();
  if (same_bits(lower, upper)) {
    append_relation(" = ", lower);
  } else if (lower == -kInfinity && upper == kInfinity) {
    lines_.append(" free");
  } else if (upper == kInfinity) {
    append_relation(" >= ", lower);
  } else {
    append_relation(" <= ", upper);
  }
  lines_.end();
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
    lines_.wrap();
    lines_.append(" ");
    lines_.append_variable(var);
  }
  if (any) lines_.end();
}

void LpWriter::write_sets() {
  if (!model_.sets.empty()) file_->append("SOS\n");
  for (size_t i = 0; i < model_.sets.size() && !file_->failed(); ++i) {
    const OrderedSet& set = model_.sets[i];
    lines_.append(" ");
    lines_.append_set(i);
    lines_.append(set.kind == SetKind::kSos1 ? ": S1::" : ": S2::");
    for (size_t k = 0; k < set.vars.size(); ++k) {
      lines_.wrap();
      lines_.append(" ");
      lines_.append_variable(index(set.vars[k]));
      lines_.append(":");
      lines_.append_number(set.weights[k]);
    }
    lines_.end();
  }
}

Status admit_model(const Model& model, LpFormat format) {
  const bool is_ptf = format == LpFormat::kPtf;
  const Admission admission(is_ptf ? "a PTF file" : "an LP file", model);
  Status status = admit(admission, &Admission::check_constant);
  if (status.ok() && !is_ptf) status = admit(admission, &Admission::check_scalar);
  if (!status.ok()) return status;
  return admit(admission, &Admission::check_variables, &Admission::check_side_numbers,
               &Admission::check_elements, &Admission::check_logic);
}

// A PTF file that needs no section of its own is a plain LP file.
Status write_problem(const ProblemView& problem, LpFormat format, OutputFile* file,
                     Warnings* warnings) {
  Status status = admit_model(problem.model, format);
  if (!status.ok()) return status;
  LpWriter writer(problem, format == LpFormat::kPtf && PtfWriter::is_needed(problem), file);
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
  return write_problem({problem.model, problem.solutions, false, {}}, LpFormat::kLp, file,
                       warnings);
}

Status write_ptf(const ProblemView& problem, OutputFile* file, Warnings* warnings) {
  return write_problem(problem, LpFormat::kPtf, file, warnings);
}

}  // namespace vorlan
