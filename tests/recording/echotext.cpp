// echotext.cpp - tells a string view by value from a terminated string. In libstdc++ a string view
// is its length and then its pointer, two words that travel where a pointer and the argument after
// it would. A length is below 131072, where no pointer is; 0 is told by the format: three notes
// pass views, so there it is an empty view, elsewhere a null pointer.
#include "echotext.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "quoting.h"

namespace recording {
namespace {

constexpr std::string_view kViewNotes[] = {"Set log file: %s\n", "Write PID file: %s\n",
                                           "Write indicator file: %s\n"};
constexpr std::uintptr_t kLongestView = 131072;

bool has_one_text(std::string_view format) {
  const std::size_t first = format.find('%');
  return first != std::string_view::npos && format.substr(first, 2) == "%s" &&
         format.find('%', first + 1) == std::string_view::npos;
}

std::string insert(std::string_view format, std::string_view text) {
  std::string result(format);
  return result.replace(result.find("%s"), 2, text);
}

std::string format_any(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): copied the line before
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string result(static_cast<std::size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(result.data(), result.size() + 1, format, arguments);
  return result;
}

}  // namespace

EchoText read_echo(const char* format, va_list arguments) {
  if (format == nullptr) return {};
  if (!has_one_text(format)) {
    const std::string text = format_any(format, arguments);
    return {text == format ? "" : ", formatted " + quote(text), text};
  }
  const auto first = va_arg(arguments, std::uintptr_t);
  const bool note = std::ranges::find(kViewNotes, format) != std::end(kViewNotes);
  if (first < kLongestView && (first != 0 || note)) {
    const std::string_view view(va_arg(arguments, const char*), first);
    return {", view " + quote(view), insert(format, view)};
  }
  if (first == 0) return {", null", insert(format, "(null)")};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the word came as a number and is a pointer after all
  const auto* text = reinterpret_cast<const char*>(first);
  return {", " + quote(text), insert(format, text)};
}

}  // namespace recording
