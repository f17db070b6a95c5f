// The two sides of a constraint as MPS says them: a type (L, G, E), a right-hand side and a range.
// Reader and writer compute with the same functions, so that what is written reads back to the same
// bits.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace vorlan {

// Numbers from this size on stand for infinity in bounds and sides of constraints, but for files
// that say by the comment below that their numbers are meant as they stand.
inline constexpr double kMpsInfinity = 1e30;
inline constexpr std::string_view kMpsExactNumbers = "* Dialect: exact numbers";

inline bool is_mps_infinity(double value) { return value >= kMpsInfinity; }

struct Sides {
  double lower, upper;
};

// The sides without a range. Type 'N' is a free constraint.
Sides sides_of(char type, double rhs);

// The sides with a range. The sum is rounded once, from the type that the range has.
template <class Real>
Sides ranged_sides(char type, double rhs, Real range) {
  const Real width = std::fabs(range);
  const auto above = static_cast<double>(static_cast<Real>(rhs) + width);
  const auto below = static_cast<double>(static_cast<Real>(rhs) - width);
  if (type == 'G' || (type == 'E' && range > 0)) return {rhs, above};
  if (type == 'L' || (type == 'E' && range < 0)) return {below, rhs};
  return sides_of(type, rhs);
}

// The range that a word stands for. A double holds the difference of two doubles only nearly. Where
// the sum would miss the other side by that, the writer gives more digits than a double can have,
// or a number beyond the largest one; the reader then computes in the wider type.
struct RangeValue {
  double value;
  long double wide_value;
  bool is_wide;
};
bool parse_range(std::string_view word, unsigned dialect, RangeValue* range);

// How to write two finite sides, lower < upper.
struct RangeForm {
  char type;  // 'G': the right-hand side is the lower one; 'L': the upper one
  std::array<char, 64> text;
  size_t size;

  std::string_view range() const { return {text.data(), size}; }
};
RangeForm find_range_form(Sides sides);

}  // namespace vorlan
