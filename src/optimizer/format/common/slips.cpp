// Finding slips; see slips.h.
#include "format/common/slips.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "file/text_reader.h"
#include "format/common/nearest.h"
#include "task/letters.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr int32_t kMostVariables = 2000;
constexpr size_t kShortestName = 4;

// Names in capitals are often codes, in which each letter tells things apart, but for words.
constexpr size_t kShortestWord = 6;

bool is_letter(char c) { return is_small_letter(c); }

// "tables" and "tabels".
bool is_swap(std::string_view a, std::string_view b, size_t at) {
  return at + 1 < a.size() && is_letter(a[at]) && is_letter(a[at + 1]) && a[at] == b[at + 1] &&
         a[at + 1] == b[at] && a.substr(at + 2) == b.substr(at + 2);
}

// "tables" and "tabbles" or "table": a last letter that is no plural tells two things apart.
bool is_lost_letter(std::string_view longer, std::string_view shorter, size_t at) {
  const bool is_last = at + 1 == longer.size();
  return at > 0 && is_letter(longer[at]) && is_letter(longer[at - 1]) &&
         (is_last ? longer[at] == 's' : is_letter(longer[at + 1])) &&
         longer.substr(at + 1) == shorter.substr(at);
}

// "tables" and "tavles".
bool is_wrong_letter(std::string_view a, std::string_view b, size_t at) {
  return at > 0 && at + 1 < a.size() && is_letter(a[at - 1]) && is_letter(a[at]) &&
         is_letter(b[at]) && is_letter(a[at + 1]) && a.substr(at + 1) == b.substr(at + 1);
}

bool is_word_in_capitals(std::string_view name) {
  return name.size() >= kShortestWord && std::all_of(name.begin(), name.end(), is_capital);
}

// How likely a name is another one misspelt. Another letter is likely where the other name is used.
enum class Slip { kNone, kLikely, kMostLikely };

Slip slip_between(std::string_view a, std::string_view b) {
  const size_t length = std::min(a.size(), b.size());
  if (length < kShortestName) return Slip::kNone;
  size_t at = 0;
  while (at < length && a[at] == b[at]) ++at;
  const bool is_most_likely = (a.size() == b.size() && is_swap(a, b, at)) ||
                              (a.size() == b.size() + 1 && is_lost_letter(a, b, at)) ||
                              (b.size() == a.size() + 1 && is_lost_letter(b, a, at));
  if (is_most_likely) return Slip::kMostLikely;
  return a.size() == b.size() && is_wrong_letter(a, b, at) ? Slip::kLikely : Slip::kNone;
}

// "(x)" and "x".
bool is_enclosed(std::string_view a, std::string_view name) {
  constexpr std::string_view kEnclosures[] = {"()", "{}", "\"\"", "''"};
  if (a.size() != name.size() + 2 || a.substr(1, name.size()) != name) return false;
  const std::string ends = {a.front(), a.back()};
  return std::find(std::begin(kEnclosures), std::end(kEnclosures), ends) != std::end(kEnclosures);
}

Slip find_slip(std::string_view a, std::string_view b) {
  if (a.empty() || b.empty()) return Slip::kNone;
  if (is_enclosed(a, b) || is_enclosed(b, a)) return Slip::kMostLikely;
  if (a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
        return to_lower(x) == to_lower(y);
      })) {
    return Slip::kMostLikely;
  }
  if (!is_word_in_capitals(a) || !is_word_in_capitals(b)) return slip_between(a, b);
  // Codes tell things apart at their end.
  if (a.back() != b.back()) return Slip::kNone;
  return slip_between(in_small_letters(a), in_small_letters(b));
}

// How often the model mentions each variable.
std::vector<int> count_mentions(const Model& model) {
  std::vector<int> mentions(model.cost.size(), 0);
  for (size_t j = 0; j < mentions.size(); ++j) {
    const bool has_kind = model.var_kind[j] != VarKind::kContinuous;
    const bool has_bound = model.var_lower[j] != 0.0 || model.var_upper[j] != kInfinity;
    const auto elements = static_cast<int>(model.matrix.start[j + 1] - model.matrix.start[j]);
    mentions[j] =
        elements + (model.cost[j] != 0.0 ? 1 : 0) + (has_kind ? 1 : 0) + (has_bound ? 1 : 0);
  }
  const auto add = [&mentions](int32_t var) { ++mentions[index(var)]; };
  for (const TriangleEntry& entry : model.quadratic_cost) {
    add(entry.row);
    add(entry.col);
  }
  for (const ConQuadraticEntry& element : model.quadratic_coefficients) {
    add(element.entry.row);
    add(element.entry.col);
  }
  for (const Cone& cone : model.cones) std::for_each(cone.vars.begin(), cone.vars.end(), add);
  for (const OrderedSet& set : model.sets) std::for_each(set.vars.begin(), set.vars.end(), add);
  for (const Indicator& indicator : model.indicators) add(indicator.binary);
  return mentions;
}

}  // namespace

void warn_of_slips(const Model& model, const std::string& shown_name, Warnings* warnings) {
  if (model.num_var() > kMostVariables) return;
  const std::vector<int> mentions = count_mentions(model);
  for (size_t j = 0; j < mentions.size() && !warnings->full(); ++j) {
    if (mentions[j] != 1) continue;
    for (size_t k = 0; k < mentions.size(); ++k) {
      // Of two names that are each at one place the later one is told.
      const bool is_used = mentions[k] >= 2;
      if (!is_used && (mentions[k] == 0 || k >= j)) continue;
      const Slip slip = find_slip(model.var_names[j], model.var_names[k]);
      if (slip == Slip::kNone || (slip == Slip::kLikely && !is_used)) continue;
      warnings->add(format_text("%s: the variable '%s' is at one place of the model alone%s",
                                shown_name.c_str(), printable(model.var_names[j]).c_str(),
                                did_you_mean(model.var_names[k]).c_str()));
      break;
    }
  }
}

}  // namespace vorlan
