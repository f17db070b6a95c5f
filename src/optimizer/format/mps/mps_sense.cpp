// Taking the sense; see mps_sense.h.
#include "format/mps/mps_sense.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "format/mps/mps_lines.h"

namespace vorlan {
namespace {

// Says whether the word means to maximize, if it is a sense.
std::optional<bool> find_sense(std::string_view word) {
  constexpr std::string_view kMax[] = {"MAX", "MAXIMIZE", "MAXIMISE", "MAXIMUM"};
  constexpr std::string_view kMin[] = {"MIN", "MINIMIZE", "MINIMISE", "MINIMUM"};
  const auto is_word = [word](std::string_view known) { return same_word(word, known); };
  if (std::any_of(std::begin(kMax), std::end(kMax), is_word)) return true;
  if (std::any_of(std::begin(kMin), std::end(kMin), is_word)) return false;
  return std::nullopt;
}

}  // namespace

Status MpsSense::take(std::string_view word) {
  const std::optional<bool> maximize = find_sense(word);
  if (!maximize) return reading_.text.error(word, "MAX or MIN was expected");
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
    return reading_.warn(word, "a sense that is none (Maximize, Minimize), it is not taken");
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
