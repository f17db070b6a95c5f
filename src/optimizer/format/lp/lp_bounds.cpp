// Reading bounds and lists of variables; see lp_bounds.h.
#include "format/lp/lp_bounds.h"

#include <cmath>

#include "format/lp/lp_names.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

VarKind make_kind(bool integer, bool semi) {
  if (semi) return integer ? VarKind::kSemiInteger : VarKind::kSemiContinuous;
  return integer ? VarKind::kInteger : VarKind::kContinuous;
}

}  // namespace

bool LpBounds::read_bounds() {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (!read_bound()) return false;
  }
  return tokens_.status().ok();
}

// NAME REL VALUE, VALUE REL NAME [REL VALUE], or NAME free.
bool LpBounds::read_bound() {
  const LpKind kind = tokens_.kind();
  const bool value_first = kind == LpKind::kNumber || is_sign(kind) ||
                           (kind == LpKind::kName && reading_.numbers.at_infinity_word() &&
                            is_relation_character(tokens_.following()));
  double value = 0.0;
  LpKind relation = LpKind::kEqual;
  if (value_first && !read_value_and_relation(&value, &relation)) return false;
  if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
  Target target = {};
  const LpPlace place = tokens_.place();
  if (!find_target(&target)) return false;
  if (value_first) {
    note_bound(target, mirrored(relation));
    if (!apply_bound(target, mirrored(relation), value)) return false;
  }
  tokens_.next();
  if (!value_first && tokens_.kind() == LpKind::kName && is_lp_word(tokens_.token().text, "free")) {
    return read_free(target);
  }
  if (!is_relation(tokens_.kind())) {
    return value_first ? tokens_.status().ok() : fail_without_relation(target, place);
  }
  if (value_first && (relation == LpKind::kEqual || tokens_.kind() != relation)) {
    return tokens_.fail("a second relation must be as the first");
  }
  return read_bound_value(target);
}

bool LpBounds::read_value_and_relation(double* value, LpKind* relation) {
  if (!reading_.numbers.read_value(value)) return false;
  *relation = tokens_.kind();
  if (!is_relation(*relation)) return tokens_.fail("a relation ('<=', '>=' or '=') was expected");
  tokens_.next();
  return true;
}

bool LpBounds::read_free(const Target& target) {
  note_bound(target, LpKind::kEqual);
  if (!apply_bound(target, LpKind::kGreater, -kInfinity)) return false;
  if (!apply_bound(target, LpKind::kLess, kInfinity)) return false;
  tokens_.next();
  return tokens_.status().ok();
}

// The token at hand is the relation behind the target.
bool LpBounds::read_bound_value(const Target& target) {
  const LpKind relation = tokens_.kind();
  double value = 0.0;
  note_bound(target, relation);
  tokens_.next();
  return reading_.numbers.read_value(&value) && apply_bound(target, relation, value);
}

// Blames the variable where the token at hand is in the next line, which is not at fault.
bool LpBounds::fail_without_relation(const Target& target, const LpPlace& place) {
  if (!tokens_.token().first || target.kind != TargetKind::kVariable) {
    return tokens_.fail("a relation ('<=', '>=' or '=') or 'free' was expected");
  }
  return tokens_.fail_at(place, reading_.model.var_names[index(target.index)],
                         "a relation ('<=', '>=' or '=') or 'free' was expected behind this");
}

// Says when the bound replaces another one; the relation, or the variable, is the token at hand.
void LpBounds::note_bound(const Target& target, LpKind relation) {
  if (target.kind != TargetKind::kVariable) return;
  const int lower = relation != LpKind::kLess ? LpVariables::kHasLower : 0;
  const int upper = relation != LpKind::kGreater ? LpVariables::kHasUpper : 0;
  const auto sides = static_cast<uint8_t>(lower | upper);
  if (reading_.variables.has(target.index, sides)) {
    tokens_.warn(tokens_.token().text, "a second bound of the variable, which replaces the first");
  }
  bound_line_ = tokens_.line_number();
  reading_.variables.mark(target.index, sides);
}

// Programs write variables without elements in the bounds and lists alone; a person more likely
// misspells one.
bool LpBounds::check_new_name(std::string_view word) {
  if (tokens_.at_margin() && !reading_.headings.check_misspelt()) return false;
  const bool separator = word.back() == ',' || word.back() == ';';
  if (separator && reading_.variables.find(word.substr(0, word.size() - 1)) >= 0) {
    return tokens_.fail("names are separated by blanks alone");
  }
  // The nearest name costs time to find, which a warning that is only counted does not need.
  const std::string help =
      reading_.warnings.full() ? std::string() : reading_.variables.nearest(word);
  tokens_.warn(word, "a variable that is in no constraint and not in the objective", help);
  return true;
}

bool LpBounds::find_target(Target* target) {
  const std::string_view word = tokens_.token().text;
  int32_t var = reading_.variables.find(word);
  if (var >= 0) {
    reading_.variables.settle(word);
    *target = {TargetKind::kVariable, var};
    return true;
  }
  if (tokens_.encoded_names() && word == kLpConstantWord) {
    *target = {TargetKind::kConstant, 0};
    return true;
  }
  if (tokens_.encoded_names() && word.ends_with(kLpRangeMark)) return find_range(word, target);
  if (reading_.matrices.find(word)) {
    return tokens_.fail("an element of a matrix variable has no bounds and no kind");
  }
  if (!check_new_name(word) || !reading_.variables.add(word, &var)) return false;
  *target = {TargetKind::kVariable, var};
  return true;
}

bool LpBounds::find_range(std::string_view word, Target* target) {
  const int32_t con = reading_.con_table.find(word.substr(0, word.size() - kLpRangeMark.size()));
  if (con < 0 || !constraints_.has_range(con)) {
    return tokens_.fail("the variable is no constraint's value");
  }
  *target = {TargetKind::kRange, con};
  return true;
}

bool LpBounds::apply_bound(const Target& target, LpKind relation, double value) {
  const bool lower = relation != LpKind::kLess;
  const bool upper = relation != LpKind::kGreater;
  switch (target.kind) {
    case TargetKind::kConstant:
      return (lower && upper && value == 1.0) ||
             tokens_.fail("the variable of the objective's constant, before this, must be 1");
    case TargetKind::kRange:
      if (lower) reading_.model.con_lower[index(target.index)] = value;
      if (upper) reading_.model.con_upper[index(target.index)] = value;
      return true;
    case TargetKind::kVariable:
      break;
  }
  if (lower) reading_.model.var_lower[index(target.index)] = value;
  if (upper) reading_.model.var_upper[index(target.index)] = value;
  if (!lower && value < 0.0 && !reading_.variables.has(target.index, LpVariables::kHasLower)) {
    negative_uppers_.emplace_back(target.index, bound_line_);
  }
  return true;
}

bool LpBounds::read_list(LpSection section) {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    int32_t var = 0;
    if (!find_variable(&var)) return false;
    set_kind(section, var);
    tokens_.next();
  }
  return tokens_.status().ok();
}

bool LpBounds::find_variable(int32_t* var) {
  if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
  Target target = {};
  if (!find_target(&target)) return false;
  *var = target.index;
  return target.kind == TargetKind::kVariable ||
         tokens_.fail("a variable of the model was expected");
}

void LpBounds::set_kind(LpSection section, int32_t var) {
  VarKind& kind = reading_.model.var_kind[index(var)];
  const bool semi = section == LpSection::kSemi;
  kind = make_kind(!semi || is_integer(kind), semi || is_semi(kind));
  if (section == LpSection::kBinaries) narrow_to_binary(var);
}

// Bounds are narrowed and never widened: a variable that is fixed at 0 stays so.
void LpBounds::narrow_to_binary(int32_t var) {
  double& lower = reading_.model.var_lower[index(var)];
  double& upper = reading_.model.var_upper[index(var)];
  const bool below = reading_.variables.has(var, LpVariables::kHasLower) && lower < 0.0;
  const bool above = reading_.variables.has(var, LpVariables::kHasUpper) && upper > 1.0;
  if (below || above) {
    tokens_.warn(tokens_.token().text, "the bounds of a binary variable are narrowed to 0 and 1");
  }
  lower = std::fmax(lower, 0.0);
  upper = std::fmin(upper, 1.0);
}

void LpBounds::finish(const std::string& shown_name) {
  for (const auto& [var, line] : negative_uppers_) {
    const bool negative = reading_.model.var_upper[index(var)] < 0.0;
    if (reading_.variables.has(var, LpVariables::kHasLower) || !negative) continue;
    reading_.warnings.add(format_text(
        "%s:%lld: the upper bound of '%s' is negative, the lower one stays 0", shown_name.c_str(),
        static_cast<long long>(line), printable(reading_.model.var_names[index(var)]).c_str()));
  }
}

}  // namespace vorlan
