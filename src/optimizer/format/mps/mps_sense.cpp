// Taking the sense; see mps_sense.h.
#include "format/mps/mps_sense.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "format/common/nearest.h"
#include "format/mps/mps_lines.h"

namespace vorlan {
namespace {

struct SenseWord {
  std::string_view word;
  bool maximize;
};

constexpr SenseWord kSenses[] = {{"MAX", true},       {"MAXIMIZE", true}, {"MAXIMISE", true},
                                 {"MAXIMUM", true},   {"MIN", false},     {"MINIMIZE", false},
                                 {"MINIMISE", false}, {"MINIMUM", false}};

// Says whether the word means to maximize, if it is a sense.
std::optional<bool> find_sense(std::string_view word) {
  const auto* const sense =
      std::find_if(std::begin(kSenses), std::end(kSenses),
                   [word](const SenseWord& known) { return same_word(word, known.word); });
  if (sense == std::end(kSenses)) return std::nullopt;
  return sense->maximize;
}

std::string advice_on_sense(std::string_view word) { return advice_on_capitals(kSenses, word); }

}  // namespace

Status MpsSense::take(std::string_view word) {
  const std::optional<bool> maximize = find_sense(word);
  if (!maximize) return reading_.text.error(word, "MAX or MIN was expected", advice_on_sense(word));
  if (said_by_comment_ && reading_.model.maximize != *maximize) {
    reading_.warn(word, "the section says another sense than the comment '*SENSE:', it is taken");
  }
  reading_.model.maximize = *maximize;
  said_by_section_ = true;
  return {};
}

void MpsSense::take_comment(std::string_view word) {
  const std::optional<bool> maximize = find_sense(word);
  if (!maximize) {
    return reading_.warn(word, "a sense that is none (Maximize, Minimize), it is not taken",
                         advice_on_sense(word));
  }
  if (said_by_section_) {
    if (reading_.model.maximize != *maximize) {
      reading_.warn(word, "OBJSENSE says another sense, which is taken");
    }
    return;
  }
  said_by_comment_ = true;
  reading_.model.maximize = *maximize;
  if (*maximize) reading_.warn(word, "the sense of the objective is taken from this comment");
}

}  // namespace vorlan
