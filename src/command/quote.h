// The plain report shows a name with a backslash before each of five characters that would break a
// line or a column.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

struct quote {
  std::string_view text;
};

/// Replacement fields: "{:N}" prints the text, then blanks up to N columns; "{:<N}" prints the
/// blanks first, which is the reverse of what {fmt} means by '<' and is kept because reports are
/// compared byte for byte. An escaped character counts two columns; nothing is cut.
template <>
struct fmt::formatter<quote> {
  constexpr auto parse(format_parse_context& context) {
    const auto* it = context.begin();
    if (it != context.end() && *it == '<') {
      blanks_first_ = true;
      ++it;
    }
    for (; it != context.end() && *it != '}'; ++it) {
      if (*it < '0' || *it > '9' || width_ > kMaxWidth) throw format_error("invalid format");
      width_ = width_ * 10 + static_cast<std::size_t>(*it - '0');
    }
    return it;
  }

  template <typename Context>
  auto format(const quote& name, Context& context) const {
    std::size_t num_escaped = 0;
    for (const char c : name.text) num_escaped += isescaped(c) ? 1 : 0;
    const std::size_t columns = name.text.size() + num_escaped;
    const std::size_t blanks = columns < width_ ? width_ - columns : 0;
    auto out = context.out();
    if (blanks_first_) out = std::fill_n(out, blanks, ' ');
    out = num_escaped == 0 ? std::copy(name.text.begin(), name.text.end(), out)
                           : copyescaped(name.text, out);
    return blanks_first_ ? out : std::fill_n(out, blanks, ' ');
  }

 private:
  static constexpr std::size_t kMaxWidth = std::numeric_limits<int>::max() / 10 - 1;

  // A table tells the escaped characters: most names have none, and finding that out is most of the
  // work.
  static constexpr auto kEscaped = [] {
    std::array<bool, 256> table{};
    for (const unsigned char c : {'\t', '\n', '\r', '"', '\\'}) table[c] = true;
    return table;
  }();
  static bool isescaped(char c) { return kEscaped[static_cast<unsigned char>(c)]; }

  template <typename Out>
  static Out copyescaped(std::string_view text, Out out) {
    for (const char c : text) {
      if (isescaped(c)) *out++ = '\\';
      *out++ = c;
    }
    return out;
  }

  std::size_t width_ = 0;
  bool blanks_first_ = false;
};
