// Values of LP files; see lp_numbers.h.
#include "format/lp/lp_numbers.h"

#include <cmath>

#include "format/lp/lp_advice.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// Most programs mean infinity by 1e30. Some mean it by 1e20, so a number between the two is told.
constexpr double kLpInfinity = 1e30;
constexpr double kSomeInfinity = 1e20;

}  // namespace

bool LpNumbers::at_infinity_word() const {
  const std::string_view word = tokens_.token().text;
  return is_lp_word(word, "inf") || is_lp_word(word, "infinity");
}

bool LpNumbers::read_value(double* value) {
  bool negative = false;
  for (; is_sign(tokens_.kind()); tokens_.next()) {
    negative ^= tokens_.kind() == LpKind::kMinus;
  }
  if (tokens_.kind() == LpKind::kName && at_infinity_word()) {
    *value = kInfinity;
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

bool LpNumbers::read_factor(double* value) {
  *value = tokens_.token().number;
  tokens_.next();
  return read_divisor(value);
}

bool LpNumbers::divide(double* value) {
  tokens_.next();
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kNumber || token.number == 0.0) {
    return tokens_.fail("a number other than zero was expected");
  }
  *value /= token.number;
  tokens_.next();
  return true;
}

double LpNumbers::as_side(double value) {
  const double size = std::fabs(value);
  if (size < kSomeInfinity || size == kInfinity || tokens_.exact_numbers()) return value;
  if (size >= kLpInfinity) return std::copysign(kInfinity, value);
  if (!said_large_) {
    tokens_.warn(tokens_.token().text,
                 "a number below 1e30, before this, is not taken as infinite");
    said_large_ = true;
  }
  return value;
}

}  // namespace vorlan
