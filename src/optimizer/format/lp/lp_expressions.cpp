// Reading expressions; see lp_expressions.h.
#include "format/lp/lp_expressions.h"

#include <cmath>

#include "format/lp/lp_advice.h"
#include "format/lp/lp_names.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

bool may_end_at_line(const LpSide& side, const LpContent& content) {
  return side.line_end == LpLineEnd::kEnds ||
         (side.line_end == LpLineEnd::kEndsConstant && !content.terms);
}

}  // namespace

LpExpressions::LpExpressions(LpReading* reading) : reading_(*reading), tokens_(reading->tokens) {}

void LpExpressions::begin_row(std::string_view word) {
  rows_.begin_row();
  row_has_range_ = false;
  if (tokens_.encoded_names()) row_word_ = word;
}

bool LpExpressions::read(const LpSide& side, LpContent* content) {
  while (true) {
    if (content->said && tokens_.at_arrow()) return true;
    const Sign sign = read_signs();
    if (content->said && !sign.said && tokens_.kind() != LpKind::kOpen) return check_end();
    bool ends = false;
    if (!read_item(side, sign, content, &ends)) return false;
    if (ends) return true;
    content->alone = !content->said;
    content->said = true;
    if (may_end_at_line(side, *content) && tokens_.token().first) return tokens_.status().ok();
  }
}

LpExpressions::Sign LpExpressions::read_signs() {
  Sign sign;
  for (; is_sign(tokens_.kind()); tokens_.next()) {
    sign.said = true;
    sign.negative ^= tokens_.kind() == LpKind::kMinus;
  }
  return sign;
}

// A number, a name or a bracket. Anything else ends the expression where no sign stands before it.
bool LpExpressions::read_item(const LpSide& side, Sign sign, LpContent* content, bool* ends) {
  switch (tokens_.kind()) {
    case LpKind::kNumber:
      return read_number_item(side, sign, content);
    case LpKind::kName:
      return read_name_item(side, sign, content, ends);
    case LpKind::kOpen:
      content->terms = true;
      return read_quadratic(side.con, sign.negative ? -side.factor : side.factor);
    default:
      if (sign.said || !tokens_.status().ok()) return tokens_.fail("a term was expected");
      *ends = true;
      return true;
  }
}

// A number that a name follows is its coefficient, unless the name begins something else. A
// constant keeps its sign as it stands there; terms have that of their side of the relation, too.
bool LpExpressions::read_number_item(const LpSide& side, Sign sign, LpContent* content) {
  const double factor = sign.negative ? -side.factor : side.factor;
  double value = tokens_.token().number;
  tokens_.next();
  if (!reading_.numbers.read_divisor(&value)) return false;
  const LpToken& token = tokens_.token();
  if (token.kind == LpKind::kStar) {
    tokens_.next();
    if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
    if (side.behind_terms && !check_right_name(false)) return false;
    return read_term(side, factor * value, content);
  }
  if (token.kind == LpKind::kName) {
    if (token.glued && !begins_like_lp_name(token.text) && !check_behind_number()) return false;
    if (!name_is_own_item(side, *content)) {
      if (side.behind_terms && !check_right_name(true)) return false;
      return read_term(side, factor * value, content);
    }
  }
  const double constant = (sign.negative ? -1.0 : 1.0) * value;
  if (side.con == LpTerms::kObjective) {
    add_constant(constant);
  } else {
    content->constant = content->said ? content->constant + constant : constant;
  }
  return tokens_.status().ok();
}

// True if the number before the name is not its coefficient, since the name begins the next line's
// constraint, is the name of one, or begins a section.
bool LpExpressions::name_is_own_item(const LpSide& side, const LpContent& content) const {
  const LpToken& token = tokens_.token();
  const bool may_end = may_end_at_line(side, content);
  if ((may_end && token.first) || tokens_.following() == ':') return true;
  const bool may_be_heading =
      token.first || may_end || is_lp_word(token.text, "subject") || is_lp_word(token.text, "such");
  return may_be_heading && reading_.headings.starts_section();
}

bool LpExpressions::read_name_item(const LpSide& side, Sign sign, LpContent* content, bool* ends) {
  if (!sign.said && reading_.headings.starts_section()) {
    *ends = true;
    return true;
  }
  // Left of the relation a variable may have this name, but none alone with a sign.
  const bool infinite = side.con != LpTerms::kObjective && !content->said &&
                        reading_.numbers.at_infinity_word() &&
                        (side.line_end != LpLineEnd::kGoesOn ||
                         (sign.said && is_relation_character(tokens_.following())));
  if (infinite) {
    content->constant = std::copysign(kInfinity, sign.negative ? -1.0 : 1.0);
    tokens_.next();
    return true;
  }
  if (side.behind_terms && !check_right_name(false)) return false;
  return read_term(side, sign.negative ? -side.factor : side.factor, content);
}

bool LpExpressions::read_term(const LpSide& side, double coefficient, LpContent* content) {
  const LpToken& token = tokens_.token();
  content->terms = true;
  ++content->num_terms;
  if (!std::isfinite(coefficient)) return tokens_.fail("a coefficient must be finite");
  if (!side.behind_terms) reading_.variables.settle(token.text);
  if (!add_term(side.con, coefficient, token.text)) return false;
  tokens_.next();
  return true;
}

bool LpExpressions::check_end() {
  if (tokens_.kind() != LpKind::kStar && tokens_.kind() != LpKind::kCaret) {
    return tokens_.status().ok();
  }
  return tokens_.fail(
      "a product or a power of variables stands in brackets, as in '[ 2 x * y + z ^ 2 ]', and a "
      "number in front of its variable");
}

// A word behind a number without a blank that does not begin as names do is the rest of a number
// that is written in another way, unless there is such a variable.
bool LpExpressions::check_behind_number() {
  const std::string_view word = tokens_.token().text;
  return reading_.variables.find(word) >= 0 || tokens_.fail(advice_on_typo(word));
}

// Right of a relation with variables on its left, no program writes anything but a number. A person
// may write a variable there; a new one must look like a name, and one behind a number is doubtful.
bool LpExpressions::check_right_name(bool behind_number) {
  const LpToken& token = tokens_.token();
  if (reading_.variables.find(token.text) >= 0) {
    if (!behind_number) reading_.variables.settle(token.text);
    return true;
  }
  const bool helper = tokens_.encoded_names() && token.text.find('%') != std::string_view::npos;
  if (helper || reading_.matrices.find(token.text)) return true;
  const bool exponent = token.glued && is_lp_word(token.text, "e");
  if (!begins_like_lp_name(token.text) || exponent) {
    return tokens_.fail(advice_on_typo(token.text));
  }
  if (behind_number) {
    reading_.variables.doubt_unit();
  } else {
    reading_.variables.doubt_right();
  }
  return true;
}

// "(x + y)" is two names here, of which the second one closes what the first one opens.
bool LpExpressions::check_brackets() {
  const std::string_view word = tokens_.token().text;
  if (word.find(')') != std::string_view::npos) return true;
  const std::string_view rest = tokens_.rest();
  const size_t close = rest.find_first_of("()\\");
  return close == std::string_view::npos || rest[close] != ')' ||
         tokens_.fail(advice_on_typo(word));
}

bool LpExpressions::add_term(int32_t con, double coefficient, std::string_view word) {
  int32_t var = reading_.variables.find(word);
  if (var < 0) {
    bool taken = false;
    if (tokens_.encoded_names() && !add_helper(con, coefficient, word, &taken)) return false;
    if (!taken && !reading_.matrices.take_term(word, con, coefficient, &taken)) return false;
    if (taken) return true;
    if (word[0] == '(' && !check_brackets()) return false;
    if (!reading_.variables.add(word, &var)) return false;
  }
  if (con == LpTerms::kObjective) return reading_.variables.add_cost(var, coefficient, word);
  if (rows_.add(var, coefficient)) return true;
  tokens_.warn(word, "the constraint has the variable more than once, the coefficients are summed");
  if (std::isfinite(rows_.coefficient(var))) return true;
  return tokens_.fail(word, "a coefficient must be finite");
}

// The variables that stand for a constant and for the value of a constraint.
bool LpExpressions::add_helper(int32_t con, double coefficient, std::string_view word,
                               bool* taken) {
  if (word == kLpConstantWord) {
    if (con != LpTerms::kObjective) {
      return tokens_.fail(word, "the constant is the objective's alone");
    }
    add_constant(coefficient);
    *taken = true;
    return true;
  }
  if (!word.ends_with(kLpRangeMark)) return true;
  if (con == LpTerms::kObjective || row_word_.empty() || !word.starts_with(row_word_) ||
      word.size() != row_word_.size() + kLpRangeMark.size()) {
    return tokens_.fail(word, "the variable of another constraint's value");
  }
  if (row_has_range_ || coefficient != -1.0) {
    return tokens_.fail(word, "the variable of a constraint's value must be there once, with -1");
  }
  row_has_range_ = true;
  *taken = true;
  return true;
}

void LpExpressions::add_constant(double value) {
  double& constant = reading_.model.constant;
  constant = has_constant_ ? constant + value : value;
  has_constant_ = true;
}

bool LpExpressions::read_quadratic(int32_t con, double factor) {
  LpTerms& terms = reading_.terms;
  const size_t begin = terms.num_quadratic();
  tokens_.next();
  do {
    if (!read_quadratic_term(con, factor)) return false;
  } while (is_sign(tokens_.kind()));
  if (tokens_.kind() != LpKind::kClose) return tokens_.fail("a sign or ']' was expected");
  tokens_.next();
  bool halved = false;
  if (!read_halving(con, &halved)) return false;
  terms.end_bracket(begin, halved);
  return tokens_.status().ok();
}

// "/ 2" behind a bracket, which that of an objective must have.
bool LpExpressions::read_halving(int32_t con, bool* halved) {
  *halved = tokens_.kind() == LpKind::kSlash;
  if (!*halved) {
    return con != LpTerms::kObjective ||
           tokens_.fail("'/ 2' was expected behind the bracket of an objective");
  }
  tokens_.next();
  if (tokens_.kind() != LpKind::kNumber || tokens_.token().number != 2.0) {
    return tokens_.fail("'2' was expected");
  }
  tokens_.next();
  return true;
}

// NUMBER [*] VARIABLE ^ 2, or NUMBER [*] VARIABLE * VARIABLE, with signs; the number may be missing.
bool LpExpressions::read_quadratic_term(int32_t con, double factor) {
  double value = factor;
  for (; is_sign(tokens_.kind()); tokens_.next()) {
    if (tokens_.kind() == LpKind::kMinus) value = -value;
  }
  if (tokens_.kind() == LpKind::kNumber) {
    double number = 0.0;
    if (!reading_.numbers.read_factor(&number)) return false;
    value *= number;
    if (tokens_.kind() == LpKind::kStar) tokens_.next();
  }
  if (!std::isfinite(value)) return tokens_.fail("a coefficient must be finite");
  int32_t first = 0;
  int32_t second = 0;
  if (!read_variable(&first) || !read_second_factor(first, &second)) return false;
  reading_.terms.add_quadratic(con, first, second, value);
  return true;
}

bool LpExpressions::read_second_factor(int32_t first, int32_t* second) {
  const LpKind kind = tokens_.kind();
  if (kind != LpKind::kCaret && kind != LpKind::kStar) {
    return tokens_.fail("'^ 2' or '*' was expected");
  }
  tokens_.next();
  if (kind == LpKind::kStar) return read_variable(second);
  if (tokens_.kind() != LpKind::kNumber || tokens_.token().number != 2.0) {
    return tokens_.fail("the exponent '2' was expected");
  }
  tokens_.next();
  *second = first;
  return true;
}

bool LpExpressions::read_variable(int32_t* var) {
  if (tokens_.kind() != LpKind::kName) return tokens_.fail("a variable was expected");
  const std::string_view word = tokens_.token().text;
  reading_.variables.settle(word);
  *var = reading_.variables.find(word);
  if (*var < 0) {
    const bool helper =
        tokens_.encoded_names() && (word == kLpConstantWord || word.ends_with(kLpRangeMark));
    if (helper || reading_.matrices.find(word)) {
      return tokens_.fail("a variable of the model was expected");
    }
    if (!reading_.variables.add(word, var)) return false;
  }
  tokens_.next();
  return true;
}

}  // namespace vorlan
