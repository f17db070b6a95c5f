// The sections behind the constraints of an LP file: bounds, and lists of variables by their kind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "format/lp/lp_constraints.h"
#include "format/lp/lp_reading.h"

namespace vorlan {

class LpBounds {
 public:
  // Both are borrowed.
  LpBounds(LpReading* reading, const LpConstraints* constraints)
      : reading_(*reading), tokens_(reading->tokens), constraints_(*constraints) {}

  // The functions that return bool return false after a failure, which the tokens then have.

  // Read up to the next heading. The section of a list is one of generals, binaries and semi.
  bool read_bounds();
  bool read_list(LpSection section);
  // Finds the variable that the token names, or adds it; anything else is a failure.
  bool find_variable(int32_t* var);

  // Warns of negative upper bounds that came without a lower one. The name is the file's.
  void finish(const std::string& shown_name);

 private:
  // The thing that a word stands for in the bounds.
  enum class TargetKind : uint8_t { kVariable, kRange, kConstant };
  struct Target {
    TargetKind kind;
    int32_t index;
  };

  bool read_bound();
  bool read_value_and_relation(double* value, LpKind* relation);
  bool read_free(const Target& target);
  bool read_bound_value(const Target& target);
  bool fail_without_relation(const Target& target, const LpPlace& place);
  bool find_target(Target* target);
  bool find_range(std::string_view word, Target* target);
  bool check_new_name(std::string_view word);
  void note_bound(const Target& target, LpKind relation);
  bool apply_bound(const Target& target, LpKind relation, double value);
  void set_kind(LpSection section, int32_t var);
  void narrow_to_binary(int32_t var);

  LpReading& reading_;
  LpTokens& tokens_;
  const LpConstraints& constraints_;
  std::vector<std::pair<int32_t, int64_t>> negative_uppers_;  // variable and line
  int64_t bound_line_ = 0;                                    // of the bound at hand
};

}  // namespace vorlan
