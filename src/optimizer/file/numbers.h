// Numbers as text, both ways, exactly: what is written reads back to the same bits, and a token is
// a number as a whole or not at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorlan {

// Spellings that some formats have beyond decimal numbers, to be combined with |.
inline constexpr unsigned kInfinityWords = 1;  // inf, infinity in any case, with a sign or without
inline constexpr unsigned kFortranExponents = 2;  // 1D3, 1.5d-2

// The whole token as a decimal number with an optional sign ('+' too), correctly rounded. Beyond
// the largest double it is an infinity, as with strtod, and a format refuses that where only finite
// numbers have a meaning. NaN and hexadecimal numbers are no numbers. *value is set on success
// only.
[[nodiscard]] bool parse_double(std::string_view token, double* value, unsigned dialect = 0);

// The whole token as a decimal integer with an optional sign ('+' too) within the type's range.
[[nodiscard]] bool parse_int32(std::string_view token, int32_t* value);
[[nodiscard]] bool parse_int64(std::string_view token, int64_t* value);

// No number is longer in the forms below.
inline constexpr size_t kLongestNumber = 32;

// Writes the shortest text that reads back to the same bits (also "-0", "inf", "-inf", "nan") at
// `text`, which has room for kLongestNumber characters; returns the end. No '\0' is added.
char* format_double(double value, char* text);
char* format_int64(int64_t value, char* text);

}  // namespace vorlan
