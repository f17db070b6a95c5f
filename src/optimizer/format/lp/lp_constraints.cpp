// Reading constraints; see lp_constraints.h.
#include "format/lp/lp_constraints.h"

#include <cmath>
#include <limits>

#include "format/common/model_check.h"
#include "task/numeric.h"

namespace vorlan {

bool LpConstraints::read() {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (look_ahead_.is_due(tokens_.line_number())) look_ahead();
    if (!read_constraint()) return false;
  }
  return tokens_.status().ok();
}

// Takes whatever looks like a name of a variable. What is missed is found all the same.
void LpConstraints::look_ahead() {
  NamesAhead names;
  look_ahead_.walk(tokens_.line_number(), tokens_.ahead(), [&names](std::string_view line) {
    for (std::string_view word = take_word(&line); !word.empty(); word = take_word(&line)) {
      if (static_cast<unsigned char>(word[0]) >= 'A') names.add(word);
      if (names.full()) return false;
    }
    return true;
  });
  const NameTable::Likely vars = reading_.variables.table().prefetch(names.all());
  expressions_.rows().prefetch(std::span(vars).first(names.all().size()));
}

// [NAME:] [CONDITION] EXPRESSION RELATION EXPRESSION [RELATION CONSTANT]
bool LpConstraints::read_constraint() {
  const int32_t con = reading_.model.num_con();
  if (con == std::numeric_limits<int32_t>::max()) return tokens_.fail("too many constraints");
  const bool named = tokens_.kind() == LpKind::kName && tokens_.following() == ':';
  if (!named && tokens_.at_margin() && !reading_.headings.check_misspelt()) return false;
  std::string_view word;
  if (named && !read_name(con, &word)) return false;
  if (!named) reading_.model.con_names.add({});
  expressions_.begin_row(word);
  if (named) {
    tokens_.next();
    tokens_.next();
  }
  if (!tokens_.status().ok()) return false;
  return read_row(con, named, false) && check_line_end();
}

bool LpConstraints::read_row(int32_t con, bool named, bool has_condition) {
  const LpPlace place = tokens_.place();
  LpContent left, right;
  bool nothing = false;
  if (!expressions_.read({con}, &left) || !check_relation(left, named, &nothing)) return false;
  const LpKind relation = tokens_.kind();
  tokens_.next();
  if (!read_right_side(con, left.terms, &right)) return false;
  if (!right.said || (nothing && right.terms)) return tokens_.fail("a number was expected");
  if (tokens_.at_arrow() && !has_condition) {
    return take_condition(con, place, left, relation, right) && read_row(con, named, true);
  }
  if (tokens_.kind() == LpKind::kLess && tokens_.rest().starts_with("->")) {
    return tokens_.fail("'->' joins a condition and a constraint; '<->' is two of them");
  }
  return finish_sides(con, left, relation, right);
}

// VARIABLE = 0 or 1, as what has been read of the row so far; the token is that of "->".
bool LpConstraints::take_condition(int32_t con, const LpPlace& place, const LpContent& left,
                                   LpKind relation, const LpContent& right) {
  const bool plain = left.alone && left.terms && relation == LpKind::kEqual && right.alone &&
                     !right.terms && (right.constant == 0.0 || right.constant == 1.0);
  const int32_t binary = plain ? expressions_.rows().take_single() : -1;
  if (binary < 0) {
    return tokens_.fail("a condition before this must be a variable, '=' and 0 or 1");
  }
  conditions_.push_back({{con, binary, right.constant == 1.0}, place});
  tokens_.next();
  tokens_.next();
  return tokens_.status().ok();
}

bool LpConstraints::finish_conditions() {
  Model& model = reading_.model;
  for (const Condition& condition : conditions_) {
    const std::string fault = find_indicator_fault(model, condition.indicator);
    if (!fault.empty()) {
      const std::string_view name = model.var_names[index(condition.indicator.binary)];
      return tokens_.fail_at(condition.place, name, "this is no condition: " + fault);
    }
    model.indicators.push_back(condition.indicator);
  }
  return true;
}

bool LpConstraints::read_name(int32_t con, std::string_view* word) {
  *word = tokens_.token().text;
  if (reading_.con_table.insert(*word, con) != con) {
    return tokens_.fail("a second constraint of this name");
  }
  reading_.model.con_names.add(*word);
  warn_of_heading(*word);
  return true;
}

// "bounds:" in a line of its own is a constraint that people mean as a heading.
void LpConstraints::warn_of_heading(std::string_view name) {
  const std::string_view rest = tokens_.rest();
  const bool is_alone = rest.find_first_not_of(" \t", rest.find(':') + 1) == std::string_view::npos;
  if (!tokens_.token().first || !is_alone || !LpHeadings::is_heading(name)) return;
  tokens_.warn(name, "this is the name of a constraint",
               "; the name of a section stands without ':'");
}

// Programs write a constraint without terms with its name alone before the relation.
bool LpConstraints::check_relation(const LpContent& left, bool labelled, bool* nothing) {
  const bool at_relation = is_relation(tokens_.kind());
  *nothing = !left.said && labelled && at_relation;
  if (!left.said && !*nothing) return tokens_.fail("an expression was expected");
  if (*nothing) {
    tokens_.warn(tokens_.token().text, "a constraint without an expression, which is taken as 0");
  }
  return at_relation || tokens_.fail("a relation ('<=', '>=' or '=') was expected");
}

bool LpConstraints::read_right_side(int32_t con, bool behind_terms, LpContent* right) {
  const LpSide side = behind_terms ? LpSide{con, -1.0, LpLineEnd::kEnds, true}
                                   : LpSide{con, 1.0, LpLineEnd::kEndsConstant, false};
  const size_t num_doubtful = reading_.variables.num_doubtful();
  if (!expressions_.read(side, right)) return false;
  // Where there are several terms, units are less likely than variables.
  if (right->num_terms > 1) reading_.variables.soften_doubts(num_doubtful);
  return true;
}

// Brings the constants to the side where no terms are.
bool LpConstraints::finish_sides(int32_t con, const LpContent& left, LpKind relation,
                                 const LpContent& right) {
  const bool third = is_relation(tokens_.kind()) && !(tokens_.token().first && left.terms);
  const bool terms_left = left.terms || (!right.terms && !third);
  const double moved = terms_left ? left.constant : right.constant;
  const auto side = [this, moved](double value) {
    const double bound = reading_.numbers.as_side(value);
    return moved == 0.0 ? bound : bound - moved;
  };
  if (!std::isfinite(moved)) return tokens_.fail("a constant must be finite");
  double lower = -kInfinity;
  double upper = kInfinity;
  const auto apply = [&lower, &upper](LpKind kind, double value) {
    if (kind != LpKind::kLess) lower = value;
    if (kind != LpKind::kGreater) upper = value;
  };
  if (terms_left) {
    apply(relation, side(right.constant));
  } else {
    apply(mirrored(relation), side(left.constant));
  }
  if (third) {
    double end = 0.0;
    if (left.terms || relation == LpKind::kEqual || tokens_.kind() != relation) {
      return tokens_.fail("a second relation must be as the first, with constants on both sides");
    }
    if (!read_third_side(con, &end)) return false;
    apply(relation, side(end));
  }
  return add(con, lower, upper);
}

bool LpConstraints::read_third_side(int32_t con, double* value) {
  tokens_.next();
  LpContent end;
  if (!expressions_.read({con, 1.0, LpLineEnd::kEnds, false}, &end)) return false;
  if (end.terms || !end.said) return tokens_.fail("a number was expected");
  *value = end.constant;
  return true;
}

bool LpConstraints::add(int32_t con, double lower, double upper) {
  if (expressions_.row_has_range()) {
    if (lower != 0.0 || upper != 0.0) {
      return tokens_.fail("a constraint with a variable for its value must be '= 0' before this");
    }
    upper = kInfinity;
    has_range_.resize(index(con) + 1);
    has_range_[index(con)] = true;
  }
  reading_.model.con_lower.push_back(lower);
  reading_.model.con_upper.push_back(upper);
  return tokens_.status().ok();
}

// A constraint without a name begins a line: what follows another one in its line belongs to that.
bool LpConstraints::check_line_end() {
  const LpToken& token = tokens_.token();
  if (token.first || token.kind == LpKind::kEnd || reading_.headings.starts_section()) {
    return tokens_.status().ok();
  }
  if (token.kind == LpKind::kName && tokens_.following() == ':') return true;
  return tokens_.fail("a sign or the end of the constraint was expected");
}

}  // namespace vorlan
