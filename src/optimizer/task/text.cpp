// The C library formats a text twice: once for its length, once into a string of that length.
#include "task/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "task/numeric.h"

namespace vorlan {
namespace {

// No pointer of a Linux process is below this (vm.mmap_min_addr keeps the first pages unmapped and
// executables are loaded far above), and no file name is as long (PATH_MAX is 4096).
constexpr uintptr_t kViewLengthEnd = 131072;

std::optional<std::string> format_arguments(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) return std::nullopt;
  std::string text(index(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

// va_list can be an array type, which a variadic call cannot hand on by value; this wrapper gives
// format_arguments one to read from.
__attribute__((format(printf, 1, 2))) std::optional<std::string> format_values(const char* format,
                                                                               ...) {
  va_list arguments;
  va_start(arguments, format);
  std::optional<std::string> text = format_arguments(format, arguments);
  va_end(arguments);
  return text;
}

// The first conversion of a format, from its '%' up to its letter; nullptr when there is none.
struct Conversion {
  const char* begin = nullptr;
  const char* end = nullptr;
};

Conversion first_conversion(const char* format) {
  const char* at = format;
  while ((at = std::strchr(at, '%')) != nullptr && at[1] == '%') at += 2;
  if (at == nullptr) return {};
  const char* letter = at + 1 + std::strspn(at + 1, "-+ #0'123456789.");
  if (*letter == '\0') return {};
  return {at, letter + 1};
}

// Text up to the first conversion, in which only "%%" has a meaning.
std::string plain_text(const char* begin, const char* end) {
  std::string text;
  for (const char* at = begin; at < end; ++at) {
    text += *at;
    if (*at == '%') ++at;
  }
  return text;
}

}  // namespace

std::string format_text(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::optional<std::string> text = format_arguments(format, arguments);
  va_end(arguments);
  return text ? *text : std::string(format);
}

std::string counted(int64_t count, const char* noun, const char* plural) {
  const auto number = static_cast<long long>(count);
  if (count == 1) return format_text("%lld %s", number, noun);
  return plural != nullptr ? format_text("%lld %s", number, plural)
                           : format_text("%lld %ss", number, noun);
}

std::optional<std::string> format_echo(const char* format, va_list arguments) {
  const Conversion conversion = first_conversion(format);
  if (conversion.begin == nullptr || conversion.end[-1] != 's') {
    return format_arguments(format, arguments);
  }
  // libstdc++ lays a string_view out as length, then pointer; by value it travels as two words.
  va_list rest;
  va_copy(rest, arguments);
  const uintptr_t length = va_arg(rest, uintptr_t);
  if (length >= kViewLengthEnd) {
    va_end(rest);
    return format_arguments(format, arguments);
  }
  const char* characters = va_arg(rest, const char*);
  const std::string name = length == 0 ? std::string() : std::string(characters, length);
  const std::string conversion_text(conversion.begin, conversion.end);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  std::optional<std::string> shown = format_values(conversion_text.c_str(), name.c_str());
#pragma GCC diagnostic pop
  std::optional<std::string> tail = format_arguments(conversion.end, rest);
  va_end(rest);
  if (!shown || !tail) return std::nullopt;
  return plain_text(format, conversion.begin) + *shown + *tail;
}

namespace {

// A control of ASCII, or of U+0080 to U+009F, which command some terminals: in UTF-8 behind 0xc2, in
// older codes alone.
bool is_control(std::string_view text, size_t at) {
  const auto byte = static_cast<unsigned char>(text[at]);
  if (byte < 0x80) return byte < 0x20 || byte == 0x7f;
  const auto before = at > 0 ? static_cast<unsigned char>(text[at - 1]) : 0U;
  return byte <= 0x9f && (before < 0x80 || before == 0xc2);
}

// What would be taken for a control that is shown so.
bool looks_like_shown(std::string_view text, size_t at) {
  return text[at] == '\\' && at + 1 < text.size() && text[at + 1] == 'x';
}

}  // namespace

std::string on_one_line(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (is_control(text, i) || looks_like_shown(text, i)) {
      line += format_text("\\x%02x", static_cast<unsigned char>(text[i]));
    } else {
      line += text[i];
    }
  }
  return line;
}

int edit_distance(std::string_view a, std::string_view b) {
  const size_t width = b.size() + 1;
  std::vector<int> table((a.size() + 1) * width);
  for (size_t i = 0; i <= a.size(); ++i) table[i * width] = static_cast<int>(i);
  for (size_t j = 0; j <= b.size(); ++j) table[j] = static_cast<int>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      int best = table[(i - 1) * width + j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      best = std::min(best, table[(i - 1) * width + j] + 1);
      best = std::min(best, table[i * width + j - 1] + 1);
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        best = std::min(best, table[(i - 2) * width + j - 2] + 1);
      }
      table[i * width + j] = best;
    }
  }
  return table.back();
}

}  // namespace vorlan
