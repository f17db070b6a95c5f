// Reading matrix variables and finding their elements; see ptf_matrices.h.
#include "format/lp/ptf_matrices.h"

#include <charconv>
#include <string>
#include <system_error>

#include "format/common/nearest.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

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

}  // namespace

PtfMatrices::PtfMatrices(LpTokens* tokens, Model* model, LpTerms* terms, int64_t declared_limit)
    : tokens_(*tokens),
      model_(*model),
      terms_(*terms),
      table_(&model->matrix_var_names),
      declared_(declared_limit) {}

// The sense of the objective, which has no indices, ends the section.
bool PtfMatrices::read_section(const LpHeadings& headings) {
  while (tokens_.kind() == LpKind::kName && headings.match() != LpSection::kMatrixVariables) {
    std::string_view name;
    int32_t numbers[2];
    if (split_indices(tokens_.token().text, &name, numbers) == 0) break;
    if (!read_variable()) return false;
  }
  return tokens_.status().ok();
}

bool PtfMatrices::read_variable() {
  std::string_view name;
  int32_t numbers[2];
  if (split_indices(tokens_.token().text, &name, numbers) != 1) {
    return tokens_.fail("NAME(DIMENSION) was expected");
  }
  const auto dimension = int64_t{numbers[0]};
  if (!declared_.add(dimension * (dimension + 1) / 2, kBytesOfMatrixElement)) {
    return tokens_.fail(declared_.message());
  }
  const int32_t place = model_.num_matrix_var();
  if (table_.insert(name, place) != place) {
    return tokens_.fail("a second matrix variable of this name");
  }
  model_.matrix_var_names.add(name);
  model_.matrix_vars.push_back({numbers[0]});
  tokens_.next();
  return tokens_.status().ok();
}

std::optional<PtfElement> PtfMatrices::find(std::string_view word) const {
  std::string_view name;
  int32_t numbers[2];
  if (model_.matrix_vars.empty() || split_indices(word, &name, numbers) != 2) return std::nullopt;
  const int32_t matrix_var = table_.find(name);
  if (matrix_var < 0) return std::nullopt;
  return PtfElement{matrix_var, numbers[0] - 1, numbers[1] - 1};
}

// An element off the diagonal stands for both places, each of them with half of the coefficient.
bool PtfMatrices::take_term(std::string_view word, int32_t con, double coefficient, bool* taken) {
  const std::optional<PtfElement> element = find(word);
  if (!element) return check_no_element(word);
  const auto [matrix_var, row, col] = *element;
  const int32_t dimension = model_.matrix_vars[index(matrix_var)].dimension;
  if (row >= dimension || col >= dimension) {
    return tokens_.fail(word, format_text("the matrix variable has dimension %d", dimension));
  }
  terms_.add_matrix(con, matrix_var, row, col, row == col ? coefficient : 0.5 * coefficient);
  *taken = true;
  return true;
}

// A scalar variable has no name like those of elements where there are matrix variables.
bool PtfMatrices::check_no_element(std::string_view word) {
  std::string_view name;
  int32_t numbers[2];
  if (model_.matrix_vars.empty() || split_indices(word, &name, numbers) != 2) return true;
  return tokens_.fail(word, "there is no matrix variable of this name",
                      advice_on(model_.matrix_var_names, model_.matrix_vars.size(), name));
}

bool PtfMatrices::declare(size_t num_elements) {
  return declared_.add(static_cast<int64_t>(num_elements), kBytesOfMatrixElement) ||
         tokens_.fail(declared_.message());
}

}  // namespace vorlan
