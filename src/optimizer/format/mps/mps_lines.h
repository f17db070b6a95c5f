// The lines of MPS files taken apart, in the two ways that MPS files know: at blanks, and at the
// columns of a punched card, where names may have blanks inside.
#pragma once

#include <array>
#include <string_view>

namespace vorlan {

// The six fields of a line in fixed columns, without surrounding blanks; empty where nothing is.
using MpsFields = std::array<std::string_view, 6>;

// The first word of a line that begins or ends a group of integer columns.
inline constexpr std::string_view kMpsMarker = "'MARKER'";

// False for a line that does not stand in the columns: a character in the gaps between the fields,
// a tab, or something behind the last field.
bool split_at_columns(std::string_view line, MpsFields* fields);

inline std::string_view trim_blanks(std::string_view text) {
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

// Takes a word from a text that ends where a TextReader's line ends: the character behind it can be
// read and is none of a word's, so that the scan, other than that of take_word, needs to look at
// the end only where a word ends.
inline std::string_view take_mps_word(std::string_view* text) {
  const char* at = text->data();
  const char* const end = at + text->size();
  while (at != end && (*at == ' ' || *at == '\t')) ++at;
  const char* const word = at;
  while (true) {
    while (static_cast<unsigned char>(*at) > ' ') ++at;
    if (at >= end || *at == ' ' || *at == '\t') break;
    ++at;  // a control character is like a letter
  }
  *text = std::string_view(at, static_cast<size_t>(end - at));
  return {word, static_cast<size_t>(at - word)};
}

// True if the word, S1 or S2, says the kind of a special ordered set.
bool is_mps_set_type(std::string_view word);

// True if two words are the same but for the case of letters; the second is in capitals.
bool same_word(std::string_view text, std::string_view capitals);

}  // namespace vorlan
