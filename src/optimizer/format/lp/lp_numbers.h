// Numbers where a file gives values: quotients, signs, and the words and sizes that mean infinity.
#pragma once

#include "format/lp/lp_tokens.h"

namespace vorlan {

class LpNumbers {
 public:
  // The tokens are borrowed.
  explicit LpNumbers(LpTokens* tokens) : tokens_(*tokens) {}

  // True if the token, which is a word, means infinity.
  bool at_infinity_word() const;

  // The functions that read return false after a failure, which the tokens then have.

  // A number or a quotient or infinity, with signs, as the bound of a variable.
  bool read_value(double* value);
  // A number or a quotient of two; the token is a number.
  bool read_factor(double* value);
  // Divides the value by what follows a '/', if one stands here.
  bool read_divisor(double* value) { return tokens_.kind() != LpKind::kSlash || divide(value); }

  // The value as a bound or as the side of a constraint: numbers from 1e30 on are infinite, unless
  // the file says that its numbers are exact.
  double as_side(double value);

 private:
  bool divide(double* value);

  LpTokens& tokens_;
  bool said_large_ = false;
};

}  // namespace vorlan
