// Bounds and lists of variables of LP files; see lp_reader.h.
#include <cmath>
#include <limits>

#include "format/lp/lp_advice.h"
#include "format/lp/lp_names.h"
#include "format/lp/lp_reader.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

VarKind make_kind(bool integer, bool semi) {
  if (semi) return integer ? VarKind::kSemiInteger : VarKind::kSemiContinuous;
  return integer ? VarKind::kInteger : VarKind::kContinuous;
}

}  // namespace

bool LpReader::read_bounds() {
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (!read_bound()) return false;
  }
  return tokens_.status().ok();
}

// NAME REL VALUE, VALUE REL NAME [REL VALUE], or NAME free.
bool LpReader::read_bound() {
  const LpKind kind = tokens_.kind();
  const bool value_first =
      kind == LpKind::kNumber || is_sign(kind) ||
      (kind == LpKind::kName && is_infinity_word() && is_relation_character(tokens_.following()));
  double value = 0.0;
  LpKind relation = LpKind::kEqual;
  if (value_first) {
    if (!read_value(&value)) return false;
    relation = tokens_.kind();
    if (!is_relation(relation)) return tokens_.fail("a relation ('<=', '>=' or '=') was expected");
    tokens_.next();
  }
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
    note_bound(target, LpKind::kEqual);
    if (!apply_bound(target, LpKind::kGreater, -kInf)) return false;
    if (!apply_bound(target, LpKind::kLess, kInf)) return false;
    tokens_.next();
    return tokens_.status().ok();
  }
  const LpKind second = tokens_.kind();
  if (!is_relation(second)) {
    if (value_first) return tokens_.status().ok();
    constexpr std::string_view kWhat = "a relation ('<=', '>=' or '=') or 'free' was expected";
    if (!tokens_.token().first || target.kind != TargetKind::kVariable) return tokens_.fail(kWhat);
    // What the next line has is not to blame.
    return tokens_.fail_at(place, model_->var_names[static_cast<size_t>(target.index)],
                           "a relation ('<=', '>=' or '=') or 'free' was expected behind this");
  }
  if (value_first && (relation == LpKind::kEqual || second != relation)) {
    return tokens_.fail("a second relation must be as the first");
  }
  note_bound(target, second);
  tokens_.next();
  return read_value(&value) && apply_bound(target, second, value);
}

// Says when the bound replaces another one; the relation, or the variable, is the token at hand.
void LpReader::note_bound(const Target& target, LpKind relation) {
  if (target.kind != TargetKind::kVariable) return;
  uint8_t& flags = var_flags_[static_cast<size_t>(target.index)];
  const auto sides = static_cast<uint8_t>((relation != LpKind::kLess ? kHasLower : 0) |
                                          (relation != LpKind::kGreater ? kHasUpper : 0));
  if ((flags & sides) != 0) {
    warn(tokens_.token().text, "a second bound of the variable, which replaces the first");
  }
  bound_line_ = tokens_.line_number();
  flags |= sides;
}

// A number or a quotient, or infinity, with signs.
bool LpReader::read_value(double* value) {
  bool negative = false;
  for (; is_sign(tokens_.kind()); tokens_.next()) {
    negative ^= tokens_.kind() == LpKind::kMinus;
  }
  if (tokens_.kind() == LpKind::kName && is_infinity_word()) {
    *value = kInf;
    tokens_.next();
  } else if (tokens_.kind() != LpKind::kNumber) {
    return tokens_.fail("a number was expected");
  } else if (!read_factor(value)) {
    return false;
  }
  *value = as_side(negative ? -*value : *value);
  const LpToken& token = tokens_.token();
  if (token.glued && (token.kind == LpKind::kName || token.kind == LpKind::kNumber)) {
    return tokens_.fail(begins_like_lp_name(token.text) ? "a number has no unit"
                                                        : advice_on_typo(token.text));
  }
  return true;
}

// Programs write variables without elements in the bounds and lists alone; a person more likely
// misspells one.
bool LpReader::check_new_name(std::string_view word) {
  if (tokens_.at_margin() && !check_heading()) return false;
  const bool separator = word.back() == ',' || word.back() == ';';
  if (separator && var_table_.find(word.substr(0, word.size() - 1)) >= 0) {
    return tokens_.fail("names are separated by blanks alone");
  }
  const std::string help = warnings_->full() ? std::string() : nearest_variable(word);
  warnings_->add(
      tokens_.message(word, "a variable that is in no constraint and not in the objective") + help);
  return true;
}

bool LpReader::find_target(Target* target) {
  const std::string_view word = tokens_.token().text;
  int32_t var = var_table_.find(word);
  if (var >= 0) {
    if (!doubtful_.empty()) settle(word);
    *target = {TargetKind::kVariable, var};
    return true;
  }
  if (encoded_ && word == kLpConstantWord) {
    *target = {TargetKind::kConstant, 0};
    return true;
  }
  if (encoded_ && word.ends_with(kLpRangeMark)) {
    const int32_t con = con_table_.find(word.substr(0, word.size() - kLpRangeMark.size()));
    const auto index = static_cast<size_t>(con);
    if (con < 0 || index >= con_flags_.size() || (con_flags_[index] & kHasRange) == 0) {
      return tokens_.fail("the variable is no constraint's value");
    }
    *target = {TargetKind::kRange, con};
    return true;
  }
  int32_t matrix_var = 0;
  int32_t row = 0;
  int32_t col = 0;
  if (find_element(word, &matrix_var, &row, &col)) {
    return tokens_.fail("an element of a matrix variable has no bounds and no kind");
  }
  if (!check_new_name(word)) return false;
  if (!add_variable(word, &var)) return false;
  *target = {TargetKind::kVariable, var};
  return true;
}

bool LpReader::apply_bound(const Target& target, LpKind relation, double value) {
  const auto index = static_cast<size_t>(target.index);
  const bool lower = relation != LpKind::kLess;
  const bool upper = relation != LpKind::kGreater;
  if (target.kind == TargetKind::kConstant) {
    if (lower && upper && value == 1.0) return true;
    return tokens_.fail("the variable of the objective's constant, before this, must be 1");
  }
  if (target.kind == TargetKind::kRange) {
    if (lower) model_->con_lower[index] = value;
    if (upper) model_->con_upper[index] = value;
    return true;
  }
  if (lower) model_->var_lower[index] = value;
  if (upper) model_->var_upper[index] = value;
  if (upper && !lower && value < 0.0 && (var_flags_[index] & kHasLower) == 0) {
    negative_uppers_.emplace_back(target.index, bound_line_);
  }
  return true;
}

bool LpReader::read_list(Section section) {
  while (tokens_.kind() != LpKind::kEnd && !starts_section()) {
    if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
    Target target = {};
    if (!find_target(&target)) return false;
    if (target.kind != TargetKind::kVariable) {
      return tokens_.fail("a variable of the model was expected");
    }
    if (!set_kind(section, target.index)) return false;
    tokens_.next();
  }
  return tokens_.status().ok();
}

bool LpReader::set_kind(Section section, int32_t var) {
  const auto index = static_cast<size_t>(var);
  VarKind& kind = model_->var_kind[index];
  if (section == Section::kSemi) {
    kind = make_kind(is_integer(kind), true);
    return true;
  }
  kind = make_kind(true, is_semi(kind));
  if (section == Section::kGenerals) return true;
  // Bounds are narrowed and never widened: a variable that is fixed at 0 stays so.
  double& lower = model_->var_lower[index];
  double& upper = model_->var_upper[index];
  const uint8_t flags = var_flags_[index];
  if (((flags & kHasLower) != 0 && lower < 0.0) || ((flags & kHasUpper) != 0 && upper > 1.0)) {
    warn(tokens_.token().text, "the bounds of a binary variable are narrowed to 0 and 1");
  }
  lower = std::fmax(lower, 0.0);
  upper = std::fmin(upper, 1.0);
  return true;
}

}  // namespace vorlan
