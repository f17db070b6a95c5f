// Numbers as text over fast_float and std::to_chars; see numbers.h.
#include "file/numbers.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

#include "fast_float/fast_float.h"
#include "task/letters.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_word(std::string_view text, std::string_view word) {
  return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                    [](char a, char b) { return to_lower(a) == b; });
}

// fast_float reads infinities, NaNs and nothing beyond digits alike; the caller has made sure that
// a digit or a point comes first.
bool parse_digits(std::string_view digits, double* value) {
  const char* end = digits.data() + digits.size();
  double parsed = 0.0;
  const fast_float::from_chars_result result = fast_float::from_chars(digits.data(), end, parsed);
  // Newer versions flag overflow and underflow, with the value set to what it rounds to.
  const bool is_number = result.ec == std::errc() || result.ec == std::errc::result_out_of_range;
  if (!is_number || result.ptr != end) return false;
  *value = parsed;
  return true;
}

// A Fortran exponent letter, as an 'e' takes its place.
bool parse_fortran(std::string_view digits, double* value) {
  const size_t letter = digits.find_first_of("dD");
  if (letter == std::string_view::npos) return false;
  std::string changed(digits);
  changed[letter] = 'e';
  return parse_digits(changed, value);
}

bool parse_magnitude(std::string_view text, double* value, unsigned dialect) {
  if (text.empty()) return false;
  if (is_digit(text[0]) || text[0] == '.') {
    if (parse_digits(text, value)) return true;
    return (dialect & kFortranExponents) != 0 && parse_fortran(text, value);
  }
  if ((dialect & kInfinityWords) == 0) return false;
  if (!is_word(text, "inf") && !is_word(text, "infinity")) return false;
  *value = kInfinity;
  return true;
}

template <class Integer>
bool parse_integer(std::string_view token, Integer* value) {
  if (token.size() > 1 && token[0] == '+' && is_digit(token[1])) token.remove_prefix(1);
  const char* end = token.data() + token.size();
  Integer parsed = 0;
  const std::from_chars_result result = std::from_chars(token.data(), end, parsed);
  if (result.ec != std::errc() || result.ptr != end) return false;
  *value = parsed;
  return true;
}

}  // namespace

bool parse_double(std::string_view token, double* value, unsigned dialect) {
  const bool signed_token = !token.empty() && (token[0] == '+' || token[0] == '-');
  const bool negative = signed_token && token[0] == '-';
  double magnitude = 0.0;
  if (!parse_magnitude(token.substr(signed_token ? 1 : 0), &magnitude, dialect)) return false;
  *value = negative ? -magnitude : magnitude;
  return true;
}

bool parse_int32(std::string_view token, int32_t* value) { return parse_integer(token, value); }

bool parse_int64(std::string_view token, int64_t* value) { return parse_integer(token, value); }

char* format_double(double value, char* text) {
  return std::to_chars(text, text + kLongestNumber, value).ptr;
}

char* format_int64(int64_t value, char* text) {
  return std::to_chars(text, text + kLongestNumber, value).ptr;
}

}  // namespace vorlan
