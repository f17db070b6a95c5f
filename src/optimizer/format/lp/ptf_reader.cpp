// Sections that PTF files have beyond LP files; see lp_reader.h.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

#include "format/common/byte_codes.h"
#include "format/common/nearest.h"
#include "format/lp/lp.h"
#include "format/lp/lp_advice.h"
#include "format/lp/lp_names.h"
#include "format/lp/lp_reader.h"
#include "format/lp/ptf_words.h"
#include "task/packed_matrices.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// "NAME(5)" or "NAME(5,2)": the numbers, and how many there are; 0 if the word is no such thing.
size_t split_indices(std::string_view word, std::string_view* name, int32_t* numbers) {
  if (!word.ends_with(')')) return 0;
  const size_t open = word.rfind('(');
  if (open == std::string_view::npos || open == 0) return 0;
  *name = word.substr(0, open);
  const char* at = word.data() + open + 1;
  const char* const end = word.data() + word.size() - 1;
  for (size_t count = 0; count < 2; ++count) {
    const std::from_chars_result result = std::from_chars(at, end, numbers[count]);
    if (result.ec != std::errc() || numbers[count] < 1) return 0;
    if (result.ptr == end) return count + 1;
    if (*result.ptr != ',') return 0;
    at = result.ptr + 1;
  }
  return 0;
}

struct SizeRule {
  size_t least, most;
};

SizeRule members_of(const Cone& cone) {
  constexpr size_t kAny = std::numeric_limits<size_t>::max();
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      return {1, kAny};
    case ConeKind::kRotatedQuadratic:
      return {2, kAny};
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      return {3, 3};
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      return {std::max<size_t>(cone.exponents.size(), 1), kAny};
  }
  return {0, kAny};
}

}  // namespace

bool LpReader::read_matrix_variables() {
  while (tokens_.kind() == LpKind::kName && match_heading() != Section::kMatrixVariables) {
    // The sense of the objective ends the section.
    std::string_view name;
    int32_t numbers[2];
    if (split_indices(tokens_.token().text, &name, numbers) == 0) break;
    if (!read_matrix_variable()) return false;
  }
  return tokens_.status().ok();
}

bool LpReader::read_matrix_variable() {
  const std::string_view word = tokens_.token().text;
  std::string_view name;
  int32_t numbers[2];
  if (split_indices(word, &name, numbers) != 1) {
    return tokens_.fail("NAME(DIMENSION) was expected");
  }
  const auto dimension = int64_t{numbers[0]};
  if (!declared_.add(dimension * (dimension + 1) / 2, kBytesOfMatrixElement)) {
    return tokens_.fail(declared_.message());
  }
  const int32_t index = model_->num_matrix_var();
  if (matrix_var_table_.insert(name, index) != index) {
    return tokens_.fail("a second matrix variable of this name");
  }
  model_->matrix_var_names.add(name);
  model_->matrix_vars.push_back({numbers[0]});
  tokens_.next();
  return tokens_.status().ok();
}

bool LpReader::find_element(std::string_view word, int32_t* matrix_var, int32_t* row,
                            int32_t* col) const {
  if (model_->matrix_vars.empty()) return false;
  std::string_view name;
  int32_t numbers[2];
  if (split_indices(word, &name, numbers) != 2) return false;
  *matrix_var = matrix_var_table_.find(name);
  *row = numbers[0] - 1;
  *col = numbers[1] - 1;
  return *matrix_var >= 0;
}

// Where there are matrix variables, no scalar variable has a name like those of their elements.
bool LpReader::check_no_element(std::string_view word) {
  std::string_view name;
  int32_t numbers[2];
  if (model_->matrix_vars.empty() || split_indices(word, &name, numbers) != 2) return true;
  return tokens_.fail(word, "there is no matrix variable of this name",
                      advice_on(model_->matrix_var_names, model_->matrix_vars.size(), name));
}

// A term with an element of a matrix variable; off the diagonal it stands for both places, each of
// them with half of the coefficient.
bool LpReader::take_element(std::string_view word, int32_t con, double coefficient, bool* taken) {
  int32_t matrix_var = 0;
  int32_t row = 0;
  int32_t col = 0;
  if (!find_element(word, &matrix_var, &row, &col)) return check_no_element(word);
  const int32_t dimension = model_->matrix_vars[static_cast<size_t>(matrix_var)].dimension;
  if (row >= dimension || col >= dimension) {
    return tokens_.fail(word, format_text("the matrix variable has dimension %d", dimension));
  }
  terms_.add_matrix(con, matrix_var, row, col, row == col ? coefficient : 0.5 * coefficient);
  *taken = true;
  return true;
}

bool LpReader::read_cones() {
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (!read_cone()) return false;
  }
  return tokens_.status().ok();
}

// NAME: KIND [EXPONENT ...] VARIABLE ...
bool LpReader::read_cone() {
  const int32_t index = model_->num_cone();
  if (tokens_.kind() != LpKind::kName || tokens_.following() != ':') {
    return tokens_.fail("the name of a cone and ':' were expected");
  }
  const LpPlace cone_place = tokens_.place();
  if (cone_table_.insert(tokens_.token().text, index) != index) {
    return tokens_.fail("a second cone of this name");
  }
  model_->cone_names.add(tokens_.token().text);
  tokens_.next();
  tokens_.next();
  Cone cone = {};
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfConeKinds, tokens_.token().text, &cone.kind)) {
    return tokens_.fail("the kind of a cone was expected");
  }
  const bool power = cone.kind == ConeKind::kPower || cone.kind == ConeKind::kDualPower;
  tokens_.next();
  for (; power && tokens_.kind() == LpKind::kNumber; tokens_.next()) {
    const double exponent = tokens_.token().number;
    if (!std::isfinite(exponent) || exponent <= 0.0) {
      return tokens_.fail("an exponent must be positive and finite");
    }
    cone.exponents.push_back(exponent);
  }
  if (power && cone.exponents.empty()) return tokens_.fail("an exponent was expected");
  while (tokens_.kind() == LpKind::kName && tokens_.following() != ':' && !starts_section()) {
    const int32_t num_var = model_->num_var();
    const LpPlace place = tokens_.place();
    int32_t var = 0;
    if (!read_variable(&var)) return false;
    if (var == num_var) doubtful_.push_back({var, place, true});
    uint8_t& flags = var_flags_[static_cast<size_t>(var)];
    if ((flags & kInCone) != 0) {
      return tokens_.fail_at(place, model_->var_names[static_cast<size_t>(var)],
                             "a variable can be in one cone only");
    }
    flags |= kInCone;
    cone.vars.push_back(var);
  }
  const SizeRule rule = members_of(cone);
  if (cone.vars.size() < rule.least || cone.vars.size() > rule.most) {
    return tokens_.fail_at(
        cone_place, model_->cone_names[static_cast<size_t>(index)],
        format_text("a cone of this kind cannot have %zu variables", cone.vars.size()));
  }
  model_->cones.push_back(std::move(cone));
  return tokens_.status().ok();
}

// NAME = VALUE, the value to the end of the line.
bool LpReader::read_parameters() {
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (tokens_.kind() != LpKind::kName) {
      return tokens_.fail("the name of a parameter was expected");
    }
    ParameterSetting setting;
    setting.name = decode_byte_codes(tokens_.token().text);
    tokens_.next();
    if (tokens_.kind() != LpKind::kEqual || tokens_.token().text != "=" || tokens_.token().first) {
      return tokens_.fail("'=' was expected");
    }
    std::string_view value = tokens_.rest();
    while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
      value.remove_prefix(1);
    while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.remove_suffix(1);
    setting.value = decode_byte_codes(value);
    file_->parameters.push_back(std::move(setting));
    tokens_.drop_rest();
    tokens_.next();
  }
  return tokens_.status().ok();
}

// The sizes of a solution are known: it comes behind the model.
bool LpReader::prepare_solution(Solution* solution) {
  if (matrix_start_.empty()) matrix_start_ = packed_starts(*model_);
  const size_t num_elements = matrix_start_.back();
  if (!declared_.add(static_cast<int64_t>(num_elements), kBytesOfMatrixElement)) {
    return tokens_.fail(declared_.message());
  }
  solution->defined = true;
  const auto num_var = model_->cost.size();
  const auto num_con = model_->con_lower.size();
  solution->skx.assign(num_var, StatusKey::kUnknown);
  for (auto* list : {&solution->xx, &solution->slx, &solution->sux}) list->assign(num_var, 0.0);
  solution->skc.assign(num_con, StatusKey::kUnknown);
  for (auto* list : {&solution->xc, &solution->slc, &solution->suc, &solution->y}) {
    list->assign(num_con, 0.0);
  }
  solution->snx.assign(model_->cones.empty() ? 0 : num_var, 0.0);
  solution->barx.assign(num_elements, 0.0);
  solution->bars.assign(num_elements, 0.0);
  return true;
}

bool LpReader::read_solution() {
  SolutionKind kind = SolutionKind::kInterior;
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfSolutionKinds, tokens_.token().text, &kind)) {
    return tokens_.fail("'interior', 'basic' or 'integer' was expected");
  }
  Solution* solution = &file_->solutions[static_cast<size_t>(kind)];
  if (solution->defined) return tokens_.fail("a second solution of this kind");
  if (!prepare_solution(solution)) return false;
  tokens_.next();
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (!read_solution_item(solution)) return false;
  }
  return tokens_.status().ok();
}

bool LpReader::read_solution_item(Solution* solution) {
  const std::string_view word = tokens_.token().text;
  const auto next_is = [this](const auto& statuses, auto* status) {
    tokens_.next();
    if (tokens_.kind() == LpKind::kName &&
        find_ptf_status(statuses, tokens_.token().text, status)) {
      tokens_.next();
      return tokens_.status().ok();
    }
    return tokens_.fail("the word of a status was expected");
  };
  if (is_lp_word(word, "problem")) return next_is(kProblemStatuses, &solution->problem_status);
  if (is_lp_word(word, "status")) return next_is(kSolutionStatuses, &solution->status);
  if (is_lp_word(word, "objective")) {
    tokens_.next();
    return read_figures(1, &solution->primal_objective);
  }
  if (is_lp_word(word, "dual_objective")) {
    tokens_.next();
    return read_figures(1, &solution->dual_objective);
  }
  return read_item(solution, word);
}

// variable NAME = KEY FIGURE ..., and the like for constraints and elements of matrix variables.
bool LpReader::read_item(Solution* solution, std::string_view kind) {
  const bool is_var = is_lp_word(kind, "variable");
  const bool is_con = is_lp_word(kind, "constraint");
  if (!is_var && !is_con && !is_lp_word(kind, "element")) {
    return tokens_.fail("an item of a solution was expected");
  }
  tokens_.next();
  const std::string_view word = tokens_.token().text;
  size_t place = 0;
  const bool found = is_var   ? find_place(var_table_, word, &place)
                     : is_con ? find_place(con_table_, word, &place)
                              : find_element_place(word, &place);
  if (tokens_.kind() != LpKind::kName || !found) {
    return tokens_.fail("the name of a part of the model was expected");
  }
  tokens_.next();
  if (tokens_.kind() != LpKind::kEqual) return tokens_.fail("'=' was expected");
  tokens_.next();
  if (is_var) return read_variable_figures(solution, place);
  if (is_con) return read_constraint_figures(solution, place);
  double figures[2] = {};
  if (!read_figures(2, figures)) return false;
  solution->barx[place] = figures[0];
  solution->bars[place] = figures[1];
  return true;
}

bool LpReader::find_place(const NameTable& table, std::string_view word, size_t* place) {
  const int32_t index = table.find(word);
  if (index >= 0) *place = static_cast<size_t>(index);
  return index >= 0;
}

bool LpReader::find_element_place(std::string_view word, size_t* place) const {
  int32_t index = 0;
  int32_t row = 0;
  int32_t col = 0;
  if (!find_element(word, &index, &row, &col)) return false;
  if (row < col) std::swap(row, col);
  const auto matrix_var = static_cast<size_t>(index);
  const int32_t dimension = model_->matrix_vars[matrix_var].dimension;
  if (row >= dimension) return false;
  *place =
      matrix_start_[matrix_var] + packed_place(static_cast<size_t>(dimension),
                                               static_cast<size_t>(row), static_cast<size_t>(col));
  return true;
}

bool LpReader::read_status_key(StatusKey* key) {
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfStatusKeys, tokens_.token().text, key)) {
    return tokens_.fail("a status key was expected");
  }
  tokens_.next();
  return true;
}

// The dual of the cone is there where there are cones, and even then may be missing.
bool LpReader::read_variable_figures(Solution* solution, size_t var) {
  double figures[3] = {};
  if (!read_status_key(&solution->skx[var]) || !read_figures(3, figures)) return false;
  solution->xx[var] = figures[0];
  solution->slx[var] = figures[1];
  solution->sux[var] = figures[2];
  return solution->snx.empty() || !starts_figure() || read_figures(1, &solution->snx[var]);
}

bool LpReader::read_constraint_figures(Solution* solution, size_t con) {
  double figures[4] = {};
  if (!read_status_key(&solution->skc[con]) || !read_figures(4, figures)) return false;
  solution->xc[con] = figures[0];
  solution->slc[con] = figures[1];
  solution->suc[con] = figures[2];
  solution->y[con] = figures[3];
  return true;
}

bool LpReader::starts_figure() const {
  const LpKind kind = tokens_.kind();
  return kind == LpKind::kMinus || kind == LpKind::kNumber ||
         (kind == LpKind::kName && (is_infinity_word() || is_lp_word(tokens_.token().text, "nan")));
}

// Numbers as they are: also infinities, and what is no number.
bool LpReader::read_figures(size_t count, double* values) {
  for (size_t i = 0; i < count; ++i) {
    bool negative = false;
    for (; tokens_.kind() == LpKind::kMinus; tokens_.next()) negative = !negative;
    if (tokens_.kind() == LpKind::kNumber) {
      values[i] = tokens_.token().number;
    } else if (tokens_.kind() == LpKind::kName && is_infinity_word()) {
      values[i] = kInf;
    } else if (tokens_.kind() == LpKind::kName && is_lp_word(tokens_.token().text, "nan")) {
      values[i] = std::numeric_limits<double>::quiet_NaN();
    } else {
      return tokens_.fail("a number was expected");
    }
    if (negative) values[i] = -values[i];
    tokens_.next();
  }
  return tokens_.status().ok();
}

Status read_ptf(InputStream* input, const ReadLimits& limits, ProblemFile* file,
                Warnings* warnings) {
  return LpReader(input, limits, true, file, warnings).read();
}

}  // namespace vorlan
