// The variables of an LP or PTF file, in the order in which they first occur, and which of them may
// be misspelt words.
//
// The format takes nearly any word for a name, so that a unit behind a number or a misspelt member
// of a cone makes a new variable. Such a variable is in doubt until it occurs where names are sure
// to be meant. The file is refused when a doubt is left at its end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/common/name_table.h"
#include "format/lp/lp_tokens.h"
#include "task/model.h"
#include "task/numeric.h"

namespace vorlan {

class LpVariables {
 public:
  // The facts that are kept of a variable.
  enum Mark : uint8_t {
    kHasCost = 1,
    kHasLower = 2,
    kHasUpper = 4,
    kInCone = 8,
    kSettled = 16,  // it was in doubt and occurred elsewhere
  };

  // Both are borrowed. The variables are added to the model.
  LpVariables(LpTokens* tokens, Model* model);

  // The index of the variable with this name, -1 when there is none.
  int32_t find(std::string_view word) const { return table_.find(word); }
  const NameTable& table() const { return table_; }

  // Adds a variable that is not there yet: the word is its name and is at hand. False after a
  // failure, which the tokens then have.
  bool add(std::string_view word, int32_t* var);
  // Adds to the variable's cost, which must stay finite. The word is at hand.
  bool add_cost(int32_t var, double cost, std::string_view word);

  bool has(int32_t var, uint8_t marks) const { return (marks_[index(var)] & marks) != 0; }
  void mark(int32_t var, uint8_t marks) { marks_[index(var)] |= marks; }

  // Puts a variable in doubt: the one that the token is about to become, as a unit behind a number
  // right of a relation, or one that was new as a member of a cone.
  void doubt_unit() { doubtful_.push_back({model_.num_var(), tokens_.place(), Doubt::kUnit}); }
  void doubt_member(int32_t var, const LpPlace& place) {
    doubtful_.push_back({var, place, Doubt::kMember});
  }
  // As doubt_unit(), of a word without a number before it.
  void doubt_right() { doubtful_.push_back({model_.num_var(), tokens_.place(), Doubt::kRight}); }
  // The number of doubts, and a change of those from the first on to such as are only warned of.
  size_t num_doubtful() const { return doubtful_.size(); }
  void soften_doubts(size_t first);
  // The word occurs where it is surely meant as a variable.
  void settle(std::string_view word);
  // Fails for each doubt that is left, or warns of what may be meant so: a member without a similar
  // name, and a variable right of a relation.
  bool check_doubtful();

  // "; did you mean 'NAME'?" with the name that is nearest to the word, or nothing.
  std::string nearest(std::string_view word) const;

 private:
  enum class Doubt : uint8_t { kUnit, kMember, kRight };
  struct Doubtful {
    int32_t var = 0;
    LpPlace place;
    Doubt doubt = Doubt::kUnit;
  };

  std::string nearest_settled(std::string_view word) const;

  LpTokens& tokens_;
  Model& model_;
  NameTable table_;
  std::vector<uint8_t> marks_;        // by variable
  std::vector<Doubtful> doubtful_;    // by variable
  std::vector<Doubtful> semicolons_;  // variables whose names end so
};

inline void LpVariables::settle(std::string_view word) {
  if (doubtful_.empty()) return;
  const int32_t var = find(word);
  if (var >= 0) mark(var, kSettled);
}

}  // namespace vorlan
