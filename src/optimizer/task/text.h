// Text by printf-style formats, of any length, without streams: the library keeps <iostream> out of
// its start-up.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorlan {

// Formats a text of the library's own; the format is a literal.
__attribute__((format(printf, 1, 2))) std::string format_text(const char* format, ...);

// "1 row", "3 rows": the noun takes an s, or the plural that is given.
std::string counted(int64_t count, const char* noun, const char* plural = nullptr);

// Formats a caller's text by the rule of VLN_echotask: a leading "%s" also takes a
// std::string_view by value. Nothing when the C library refuses the format.
std::optional<std::string> format_echo(const char* format, va_list arguments);

// The text with \xNN for control characters, which file names may hold: one line that moves no
// cursor.
std::string on_one_line(std::string_view text);

// How far two names are apart: the number of letters to insert, drop, exchange or swap.
int edit_distance(std::string_view a, std::string_view b);

}  // namespace vorlan
