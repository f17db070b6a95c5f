// A name as the plain report shows it: five characters that would break a line or a column are
// written with a backslash before them.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>

struct quote {
  std::string_view text;
};

/// Replacement fields "{:N}" (text, then blanks up to N columns), "{:<N}" (blanks, then the text: the
/// reverse of what {fmt} means by '<', and kept so because reports are compared byte for byte) and
/// "{}". An escaped character counts two columns; nothing is cut.
template <>
struct fmt::formatter<quote> {
  constexpr auto parse(format_parse_context& context) {
    const auto* it = context.begin();
    if (it != context.end() && *it == '<') {
      blanks_first_ = true;
      ++it;
    }
    for (; it != context.end() && *it != '}'; ++it) {
      if (*it < '0' || *it > '9' || width_ > max_width) throw format_error("invalid format");
      width_ = width_ * 10 + static_cast<std::size_t>(*it - '0');
    }
    return it;
  }

  template <typename Context>
  auto format(const quote& name, Context& context) const {
    const auto num_escaped = std::ranges::count_if(name.text, isescaped);
    const std::size_t columns = name.text.size() + static_cast<std::size_t>(num_escaped);
    const std::size_t blanks = columns < width_ ? width_ - columns : 0;
    auto out = context.out();
    if (blanks_first_) out = std::fill_n(out, blanks, ' ');
    for (const char c : name.text) {
      if (isescaped(c)) *out++ = '\\';
      *out++ = c;
    }
    return blanks_first_ ? out : std::fill_n(out, blanks, ' ');
  }

 private:
  static constexpr std::size_t max_width = std::numeric_limits<int>::max() / 10 - 1;

  static constexpr bool isescaped(char c) {
    return c == '\t' || c == '\n' || c == '\r' || c == '"' || c == '\\';
  }

  std::size_t width_ = 0;
  bool blanks_first_ = false;
};
