// The expressions of LP and PTF files: objectives and the sides of constraints. Terms go into the
// model as they come; what is left of a side are its constant and what it consisted of.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "format/lp/lp_reading.h"
#include "format/lp/lp_rows.h"

namespace vorlan {

// How an expression ends where a new line begins. A side behind a relation with terms before it
// ends there; one that may be the middle of three ends only while it is a constant.
enum class LpLineEnd : uint8_t { kGoesOn, kEnds, kEndsConstant };

// The place of an expression in the file.
struct LpSide {
  int32_t con;  // LpTerms::kObjective for the objective
  double factor = 1.0;
  LpLineEnd line_end = LpLineEnd::kGoesOn;
  bool behind_terms = false;  // right of a relation that has variables on its left
};

// The parts that an expression consisted of.
struct LpContent {
  bool terms = false;
  bool said = false;   // anything at all
  bool alone = false;  // nothing but one item
  int num_terms = 0;   // linear ones
  double constant = 0.0;
};

class LpExpressions {
 public:
  // The reading is borrowed.
  explicit LpExpressions(LpReading* reading);

  // The functions that return bool return false after a failure, which the tokens then have.

  // Begins the next constraint, which has this word for a name; it may be empty.
  void begin_row(std::string_view word);
  // True if the constraint at hand has a variable for its value: its sides are bounds of that.
  bool row_has_range() const { return row_has_range_; }

  // Reads an expression up to what can be none of its parts, or "->".
  bool read(const LpSide& side, LpContent* content);

  // Reads a name as that of a variable of the model, new or not.
  bool read_variable(int32_t* var);

  // The constraints so far, by row.
  LpRows& rows() { return rows_; }

 private:
  struct Sign {
    bool said = false, negative = false;
  };
  Sign read_signs();
  bool read_item(const LpSide& side, Sign sign, LpContent* content, bool* ends);
  bool read_number_item(const LpSide& side, Sign sign, LpContent* content);
  bool read_name_item(const LpSide& side, Sign sign, LpContent* content, bool* ends);
  bool read_term(const LpSide& side, double coefficient, LpContent* content);
  bool name_is_own_item(const LpSide& side, const LpContent& content) const;

  bool check_behind_number();
  bool check_right_name(bool behind_number);
  bool check_brackets();
  bool check_end();

  bool read_quadratic(int32_t con, double factor);
  bool read_halving(int32_t con, bool* halved);
  bool read_quadratic_term(int32_t con, double factor);
  bool read_second_factor(int32_t first, int32_t* second);

  bool add_term(int32_t con, double coefficient, std::string_view word);
  bool add_helper(int32_t con, double coefficient, std::string_view word, bool* taken);
  void add_constant(double value);

  LpReading& reading_;
  LpTokens& tokens_;
  LpRows rows_;
  bool has_constant_ = false;   // the objective
  bool row_has_range_ = false;  // the constraint at hand
  std::string row_word_;        // its name, in a file with helpers
};

}  // namespace vorlan
