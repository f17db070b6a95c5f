// Reading special ordered sets; see lp_sets.h. A member is a name, ':' and a number, and a set goes
// on, over line ends, as long as members come.
#include "format/lp/lp_sets.h"

#include <string>
#include <utility>

#include "file/text_reader.h"
#include "format/common/model_check.h"

namespace vorlan {
namespace {

std::string_view without_blanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  return text;
}

}  // namespace

bool LpSets::read(LpSection section) {
  while (tokens_.kind() != LpKind::kEnd && !reading_.headings.starts_section()) {
    if (!read_set(section)) return false;
  }
  return tokens_.status().ok();
}

// [NAME:] S1:: MEMBER ..., or [NAME:] MEMBER ... [<= COUNT] under a heading that says the kind
bool LpSets::read_set(LpSection section) {
  if (tokens_.kind() != LpKind::kName) return tokens_.fail("the name of a set was expected");
  const LpPlace place = tokens_.place();
  const std::string word(tokens_.token().text);
  std::string_view name;
  if (tokens_.following() == ':' && !at_kind() && !at_member()) {
    name = word;
    tokens_.next();
    tokens_.next();
  }
  OrderedSet set = {};
  if (!read_kind(section, &set)) return false;
  while (at_member()) {
    if (!read_member(&set)) return false;
  }
  if (set.vars.empty()) return tokens_.fail("a variable, ':' and its weight were expected");
  if (!read_count(set)) return false;
  sort_members(&set);
  const std::string fault = find_set_fault(reading_.model, set);
  if (!fault.empty()) return tokens_.fail_at(place, word, "this is no set: " + fault);
  reading_.model.set_names.add(name);
  reading_.model.sets.push_back(std::move(set));
  return tokens_.status().ok();
}

bool LpSets::at_kind() const {
  const std::string_view word = tokens_.token().text;
  return tokens_.kind() == LpKind::kName && (is_lp_word(word, "s1") || is_lp_word(word, "s2")) &&
         without_blanks(tokens_.rest()).starts_with("::");
}

bool LpSets::at_member() const {
  if (tokens_.kind() != LpKind::kName || tokens_.following() != ':') return false;
  const std::string_view number = without_blanks(without_blanks(tokens_.rest()).substr(1));
  return !number.empty() &&
         std::string_view("0123456789.+-").find(number[0]) != std::string_view::npos;
}

bool LpSets::read_kind(LpSection section, OrderedSet* set) {
  if (section != LpSection::kSets) {
    set->kind = section == LpSection::kSets1 ? SetKind::kSos1 : SetKind::kSos2;
    return true;
  }
  if (!at_kind()) return tokens_.fail("the kind of a set, 'S1::' or 'S2::', was expected");
  set->kind = tokens_.token().text.back() == '1' ? SetKind::kSos1 : SetKind::kSos2;
  for (int token = 0; token < 3; ++token) tokens_.next();
  return true;
}

bool LpSets::read_member(OrderedSet* set) {
  int32_t var = 0;
  if (!find_member(&var)) return false;
  tokens_.next();
  tokens_.next();
  double weight = 0.0;
  const bool negative = tokens_.kind() == LpKind::kMinus;
  if (is_sign(tokens_.kind())) tokens_.next();
  if (tokens_.kind() != LpKind::kNumber) return tokens_.fail("the weight of a member was expected");
  if (!reading_.numbers.read_factor(&weight)) return false;
  set->vars.push_back(var);
  set->weights.push_back(negative ? -weight : weight);
  return true;
}

// Members may be separated by commas, with which names can begin.
bool LpSets::find_member(int32_t* var) {
  std::string_view word = tokens_.token().text;
  const bool separated = word.size() > 1 && word[0] == ',' && reading_.variables.find(word) < 0;
  if (!separated) return bounds_.find_variable(var);
  word.remove_prefix(1);
  *var = reading_.variables.find(word);
  reading_.variables.settle(word);
  return *var >= 0 ||
         tokens_.fail(word, "a variable was expected", reading_.variables.nearest(word));
}

// Some programs say behind a set how many of its members may be other than 0.
bool LpSets::read_count(const OrderedSet& set) {
  if (tokens_.kind() != LpKind::kLess) return true;
  tokens_.next();
  const bool fits = tokens_.kind() == LpKind::kNumber &&
                    tokens_.token().number == static_cast<double>(set.most_nonzeros());
  if (!fits) return tokens_.fail("the count behind a set must be that of its kind, 1 or 2");
  tokens_.next();
  return true;
}

}  // namespace vorlan
