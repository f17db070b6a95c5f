// Reading cones and parameters; see ptf_sections.h.
#include "format/lp/ptf_sections.h"

#include <cmath>
#include <utility>

#include "format/common/byte_codes.h"
#include "format/common/cone_sizes.h"
#include "format/lp/ptf_words.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

PtfSections::PtfSections(LpReading* reading, LpExpressions* expressions)
    : reading_(*reading),
      tokens_(reading->tokens),
      expressions_(*expressions),
      cone_table_(&reading->model.cone_names) {}

bool PtfSections::read_cones() {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (!read_cone()) return false;
  }
  return tokens_.status().ok();
}

// NAME: KIND [EXPONENT ...] VARIABLE ...
bool PtfSections::read_cone() {
  const LpPlace place = tokens_.place();
  Cone cone = {};
  if (!read_cone_name() || !read_cone_kind(&cone) || !read_members(&cone)) return false;
  const ConeSizes rule = cone_sizes(cone.kind, cone.exponents.size());
  if (cone.vars.size() < rule.least || cone.vars.size() > rule.most) {
    return tokens_.fail_at(place, reading_.model.cone_names[index(reading_.model.num_cone())],
                           "a cone of this kind cannot have " +
                               counted(static_cast<int64_t>(cone.vars.size()), "variable"));
  }
  reading_.model.cones.push_back(std::move(cone));
  return tokens_.status().ok();
}

bool PtfSections::read_cone_name() {
  const int32_t place = reading_.model.num_cone();
  if (tokens_.kind() != LpKind::kName || tokens_.following() != ':') {
    return tokens_.fail("the name of a cone and ':' were expected");
  }
  if (cone_table_.insert(tokens_.token().text, place) != place) {
    return tokens_.fail("a second cone of this name");
  }
  reading_.model.cone_names.add(tokens_.token().text);
  tokens_.next();
  tokens_.next();
  return true;
}

bool PtfSections::read_cone_kind(Cone* cone) {
  if (tokens_.kind() != LpKind::kName ||
      !find_ptf_word(kPtfConeKinds, tokens_.token().text, &cone->kind)) {
    const std::string_view word = tokens_.token().text;
    return tokens_.fail(word, "the kind of a cone was expected",
                        advice_on_words(kPtfConeKinds, word));
  }
  const bool power = cone->kind == ConeKind::kPower || cone->kind == ConeKind::kDualPower;
  tokens_.next();
  for (; power && tokens_.kind() == LpKind::kNumber; tokens_.next()) {
    const double exponent = tokens_.token().number;
    if (!std::isfinite(exponent) || exponent <= 0.0) {
      return tokens_.fail("an exponent must be positive and finite");
    }
    cone->exponents.push_back(exponent);
  }
  return !power || !cone->exponents.empty() || tokens_.fail("an exponent was expected");
}

bool PtfSections::read_members(Cone* cone) {
  LpVariables& variables = reading_.variables;
  while (tokens_.kind() == LpKind::kName && tokens_.following() != ':' &&
         !reading_.headings.starts_section()) {
    const int32_t num_var = reading_.model.num_var();
    const LpPlace place = tokens_.place();
    int32_t var = 0;
    if (!expressions_.read_variable(&var)) return false;
    if (var == num_var) variables.doubt_member(var, place);
    if (variables.has(var, LpVariables::kInCone)) {
      return tokens_.fail_at(place, reading_.model.var_names[index(var)],
                             "a variable can be in one cone only");
    }
    variables.mark(var, LpVariables::kInCone);
    cone->vars.push_back(var);
  }
  return true;
}

bool PtfSections::read_parameters() {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (!read_parameter()) return false;
  }
  return tokens_.status().ok();
}

// NAME = VALUE, the value to the end of the line.
bool PtfSections::read_parameter() {
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
  while (!value.empty() && is_blank(value.front())) value.remove_prefix(1);
  while (!value.empty() && is_blank(value.back())) value.remove_suffix(1);
  setting.value = decode_byte_codes(value);
  reading_.file.parameters.push_back(std::move(setting));
  tokens_.drop_rest();
  tokens_.next();
  return true;
}

}  // namespace vorlan
