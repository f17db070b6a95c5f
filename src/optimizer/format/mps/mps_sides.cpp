// Sides of constraints; see mps_sides.h.
#include "format/mps/mps_sides.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>
#include <type_traits>

#include "file/numbers.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

constexpr std::ptrdiff_t kDigitsOfDouble = std::numeric_limits<double>::max_digits10;
constexpr int kDecimalsOfWide = std::numeric_limits<long double>::max_digits10 - 1;

// Digits before an exponent, but for leading zeros.
std::ptrdiff_t count_digits(std::string_view word) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  const std::string_view mantissa = word.substr(0, word.find_first_of("eEdD"));
  const size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
  return std::count_if(mantissa.begin() + static_cast<std::ptrdiff_t>(first), mantissa.end(),
                       is_digit);
}

bool parse_wide(std::string_view word, long double* value) {
  if (!word.empty() && word[0] == '+') word.remove_prefix(1);
  const char* const end = word.data() + word.size();
  const std::from_chars_result result = std::from_chars(word.data(), end, *value);
  return result.ec == std::errc() && result.ptr == end;
}

// The nearest range of the type Real, if it reproduces the other side.
template <class Real>
bool try_form(char type, Sides sides, RangeForm* form) {
  const Real range = static_cast<Real>(sides.upper) - static_cast<Real>(sides.lower);
  const double rhs = type == 'G' ? sides.lower : sides.upper;
  const Sides found = ranged_sides(type, rhs, range);
  if (!std::isfinite(range) || found.lower != sides.lower || found.upper != sides.upper) {
    return false;
  }
  char* const begin = form->text.data();
  char* const end = begin + form->text.size();
  // All digits of the wider type, by which a reader knows it.
  const std::to_chars_result text =
      std::is_same_v<Real, double>
          ? std::to_chars(begin, end, range)
          : std::to_chars(begin, end, range, std::chars_format::scientific, kDecimalsOfWide);
  form->type = type;
  form->size = static_cast<size_t>(text.ptr - begin);
  return true;
}

}  // namespace

Sides sides_of(char type, double rhs) {
  switch (type) {
    case 'L':
      return {-kInfinity, rhs};
    case 'G':
      return {rhs, kInfinity};
    case 'E':
      return {rhs, rhs};
    default:
      return {-kInfinity, kInfinity};
  }
}

bool parse_range(std::string_view word, unsigned dialect, RangeValue* range) {
  if (!parse_double(word, &range->value, dialect)) return false;
  range->is_wide = (std::isinf(range->value) || count_digits(word) > kDigitsOfDouble) &&
                   parse_wide(word, &range->wide_value) && std::isfinite(range->wide_value);
  return true;
}

// The side that is farther from zero is best computed from the other one: then the range has no
// more bits before the point than the side. A failure of both comes from a difference that needs
// one bit more than a double has; the wider type has eleven more.
RangeForm find_range_form(Sides sides) {
  const bool from_lower = std::fabs(sides.upper) >= std::fabs(sides.lower);
  const char first = from_lower ? 'G' : 'L';
  const char second = from_lower ? 'L' : 'G';
  RangeForm form = {};
  if (try_form<double>(first, sides, &form)) return form;
  if (try_form<double>(second, sides, &form)) return form;
  if (try_form<long double>(first, sides, &form)) return form;
  static_cast<void>(try_form<long double>(second, sides, &form));
  return form;
}

}  // namespace vorlan
