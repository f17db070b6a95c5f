// Reading solutions; see ptf_solutions.h.
#include "format/lp/ptf_solutions.h"

#include <limits>
#include <utility>

#include "format/lp/ptf_words.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

struct ItemWord {
  std::string_view word;
};
constexpr ItemWord kItemWords[] = {{"problem"},  {"status"},     {"objective"}, {"dual_objective"},
                                   {"variable"}, {"constraint"}, {"element"}};

std::optional<size_t> find_place(const NameTable& table, std::string_view word) {
  const int32_t place = table.find(word);
  if (place < 0) return std::nullopt;
  return index(place);
}

}  // namespace

bool PtfSolutions::read() {
  SolutionKind kind = SolutionKind::kInterior;
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfSolutionKinds, tokens_.token().text, &kind)) {
    const std::string_view word = tokens_.token().text;
    return tokens_.fail(word, "'interior', 'basic' or 'integer' was expected",
                        advice_on_words(kPtfSolutionKinds, word));
  }
  solution_ = &reading_.file.solutions[static_cast<size_t>(kind)];
  if (solution_->defined) return tokens_.fail("a second solution of this kind");
  if (!prepare()) return false;
  tokens_.next();
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (!read_line()) return false;
  }
  return tokens_.status().ok();
}

// Gives the solution its sizes. A value that no line gives is zero, a status unknown.
bool PtfSolutions::prepare() {
  const Model& model = reading_.model;
  if (matrix_start_.empty()) matrix_start_ = packed_starts(model);
  const size_t num_elements = matrix_start_.back();
  if (!reading_.matrices.declare(num_elements)) return false;
  Solution& solution = *solution_;
  solution.defined = true;
  const size_t num_var = model.cost.size();
  const size_t num_con = model.con_lower.size();
  solution.skx.assign(num_var, StatusKey::kUnknown);
  for (auto* list : {&solution.xx, &solution.slx, &solution.sux}) list->assign(num_var, 0.0);
  solution.skc.assign(num_con, StatusKey::kUnknown);
  for (auto* list : {&solution.xc, &solution.slc, &solution.suc, &solution.y}) {
    list->assign(num_con, 0.0);
  }
  solution.snx.assign(model.cones.empty() ? 0 : num_var, 0.0);
  solution.barx.assign(num_elements, 0.0);
  solution.bars.assign(num_elements, 0.0);
  return true;
}

bool PtfSolutions::read_line() {
  const std::string_view word = tokens_.token().text;
  if (is_lp_word(word, "problem")) {
    return read_status(kProblemStatuses, &solution_->problem_status);
  }
  if (is_lp_word(word, "status")) return read_status(kSolutionStatuses, &solution_->status);
  if (is_lp_word(word, "objective")) return read_objective(&solution_->primal_objective);
  if (is_lp_word(word, "dual_objective")) return read_objective(&solution_->dual_objective);
  return read_item(word);
}

template <class Words, class Value>
bool PtfSolutions::read_status(const Words& words, Value* value) {
  tokens_.next();
  const std::string_view word = tokens_.token().text;
  if (tokens_.kind() != LpKind::kName || !find_ptf_status(words, word, value)) {
    return tokens_.fail(word, "the word of a status was expected", ptf_status_advice(words, word));
  }
  tokens_.next();
  return tokens_.status().ok();
}

bool PtfSolutions::read_objective(double* value) {
  tokens_.next();
  return read_figures(1, value);
}

// variable NAME = KEY FIGURE ..., and the like for constraints and elements of matrix variables.
bool PtfSolutions::read_item(std::string_view kind) {
  const bool is_var = is_lp_word(kind, "variable");
  const bool is_con = is_lp_word(kind, "constraint");
  if (!is_var && !is_con && !is_lp_word(kind, "element")) {
    return tokens_.fail(kind, "an item of a solution was expected",
                        advice_on_words(kItemWords, kind));
  }
  tokens_.next();
  const std::string_view word = tokens_.token().text;
  const std::optional<size_t> place = is_var   ? find_place(reading_.variables.table(), word)
                                      : is_con ? find_place(reading_.con_table, word)
                                               : find_element(word);
  if (tokens_.kind() != LpKind::kName || !place) {
    return tokens_.fail(word, "the name of a part of the model was expected",
                        is_var   ? reading_.variables.nearest(word)
                        : is_con ? advice_on_constraint(word)
                                 : std::string());
  }
  tokens_.next();
  if (tokens_.kind() != LpKind::kEqual) return tokens_.fail("'=' was expected");
  tokens_.next();
  if (is_var) return read_variable(*place);
  return is_con ? read_constraint(*place) : read_element(*place);
}

std::string PtfSolutions::advice_on_constraint(std::string_view word) const {
  const NameList& names = reading_.model.con_names;
  return advice_on(names, reading_.model.con_lower.size(), word);
}

std::optional<size_t> PtfSolutions::find_element(std::string_view word) const {
  const std::optional<PtfElement> element = reading_.matrices.find(word);
  if (!element) return std::nullopt;
  auto [matrix_var, row, col] = *element;
  if (row < col) std::swap(row, col);
  const int32_t dimension = reading_.model.matrix_vars[index(matrix_var)].dimension;
  if (row >= dimension) return std::nullopt;
  return matrix_start_[index(matrix_var)] + packed_place(index(dimension), index(row), index(col));
}

// A key may be missing, as in what a person writes.
bool PtfSolutions::read_status_key(StatusKey* key) {
  if (starts_figure()) return true;
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfStatusKeys, tokens_.token().text, key)) {
    const std::string_view word = tokens_.token().text;
    return tokens_.fail(word, "a status key or a number was expected",
                        advice_on_words(kPtfStatusKeys, word));
  }
  tokens_.next();
  return true;
}

// Reads the first figure, and the others as far as they are there: those that are missing are 0.
bool PtfSolutions::read_item_figures(size_t most, double* figures) {
  if (!read_figures(1, figures)) return false;
  for (size_t k = 1; k < most && starts_figure(); ++k) {
    if (!read_figures(1, figures + k)) return false;
  }
  return tokens_.status().ok();
}

// The dual of the variable's cone is there only in models with cones.
bool PtfSolutions::read_variable(size_t var) {
  double figures[4] = {};
  const size_t most = solution_->snx.empty() ? 3 : 4;
  if (!read_status_key(&solution_->skx[var]) || !read_item_figures(most, figures)) return false;
  solution_->xx[var] = figures[0];
  solution_->slx[var] = figures[1];
  solution_->sux[var] = figures[2];
  if (!solution_->snx.empty()) solution_->snx[var] = figures[3];
  return true;
}

bool PtfSolutions::read_constraint(size_t con) {
  double figures[4] = {};
  if (!read_status_key(&solution_->skc[con]) || !read_item_figures(4, figures)) return false;
  solution_->xc[con] = figures[0];
  solution_->slc[con] = figures[1];
  solution_->suc[con] = figures[2];
  solution_->y[con] = figures[3];
  return true;
}

bool PtfSolutions::read_element(size_t place) {
  double figures[2] = {};
  if (!read_item_figures(2, figures)) return false;
  solution_->barx[place] = figures[0];
  solution_->bars[place] = figures[1];
  return true;
}

bool PtfSolutions::starts_figure() const {
  const LpKind kind = tokens_.kind();
  return kind == LpKind::kMinus || kind == LpKind::kNumber ||
         (kind == LpKind::kName &&
          (reading_.numbers.at_infinity_word() || is_lp_word(tokens_.token().text, "nan")));
}

// Figures stay as they are: infinities too, and what is no number.
bool PtfSolutions::read_figures(size_t count, double* values) {
  for (size_t i = 0; i < count; ++i) {
    bool negative = false;
    for (; tokens_.kind() == LpKind::kMinus; tokens_.next()) negative = !negative;
    if (tokens_.kind() == LpKind::kNumber) {
      values[i] = tokens_.token().number;
    } else if (tokens_.kind() == LpKind::kName && reading_.numbers.at_infinity_word()) {
      values[i] = kInfinity;
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

}  // namespace vorlan
