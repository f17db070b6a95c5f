// The section of constraints: names, relations, the sides that constants on both of them give, and
// conditions under which constraints hold.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "format/common/name_look_ahead.h"
#include "format/lp/lp_expressions.h"
#include "format/lp/lp_reading.h"

namespace vorlan {

class LpConstraints {
 public:
  // Both are borrowed.
  LpConstraints(LpReading* reading, LpExpressions* expressions)
      : reading_(*reading), tokens_(reading->tokens), expressions_(*expressions) {}

  // Reads constraints up to the next heading. False after a failure, which the tokens then have.
  bool read();

  // Adds the conditions to the model, when its bounds and kinds are known. False after a failure.
  bool finish_conditions();

  // True if a variable stands for the constraint's value, so that its bounds are the sides.
  bool has_range(int32_t con) const {
    return index(con) < has_range_.size() && has_range_[index(con)];
  }

 private:
  void look_ahead();
  bool read_constraint();
  bool read_name(int32_t con, std::string_view* word);
  void warn_of_heading(std::string_view name);
  bool read_row(int32_t con, bool named, bool has_condition);
  bool take_condition(int32_t con, const LpPlace& place, const LpContent& left, LpKind relation,
                      const LpContent& right);
  bool check_relation(const LpContent& left, bool labelled, bool* nothing);
  bool read_right_side(int32_t con, bool behind_terms, LpContent* right);
  bool finish_sides(int32_t con, const LpContent& left, LpKind relation, const LpContent& right);
  bool read_third_side(int32_t con, double* value);
  bool add(int32_t con, double lower, double upper);
  bool check_line_end();

  LpReading& reading_;
  LpTokens& tokens_;
  LpExpressions& expressions_;
  NameLookAhead look_ahead_;
  std::vector<bool> has_range_;  // by constraint, as long as needed
  struct Condition {
    Indicator indicator;
    LpPlace place;
  };
  std::vector<Condition> conditions_;
};

}  // namespace vorlan
