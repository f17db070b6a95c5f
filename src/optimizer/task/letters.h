// The letters of the formats' own words, whatever the locale: other bytes stay.
#pragma once

#include <string>
#include <string_view>

namespace vorlan {

constexpr bool is_small_letter(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr char to_lower(char c) { return is_capital(c) ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char to_capital(char c) {
  return is_small_letter(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string in_small_letters(std::string_view text) {
  std::string small(text);
  for (char& c : small) c = to_lower(c);
  return small;
}

inline std::string in_capitals(std::string_view text) {
  std::string capitals(text);
  for (char& c : capitals) c = to_capital(c);
  return capitals;
}

}  // namespace vorlan
