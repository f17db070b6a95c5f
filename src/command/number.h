// The plain report shows a number with 16 digits behind the point, right-justified in 24 columns.
// It does so by the million, so this formatter knows the most frequent number by heart.
#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string_view>

struct number {
  double value;
};

/// The replacement field "{}" prints what "{:24.16e}" prints of a double. Most numbers of a
/// solution are zeros, whose text is not worked out anew each time; -0.0 has another one.
template <>
struct fmt::formatter<number> {
  constexpr auto parse(format_parse_context& context) { return context.begin(); }

  template <typename Context>
  auto format(const number& shown, Context& context) const {
    if (std::bit_cast<std::uint64_t>(shown.value) == 0) {
      return std::copy(kZero.begin(), kZero.end(), context.out());
    }
    return fmt::format_to(context.out(), FMT_COMPILE("{:24.16e}"), shown.value);
  }

 private:
  static constexpr std::string_view kZero = "  0.0000000000000000e+00";
};
