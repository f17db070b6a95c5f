// Bytes as two hexadecimal digits, in texts that cannot have the bytes themselves: names and values
// of text formats say "%XX", JSON has digits of its own kinds.
#pragma once

#include <string>
#include <string_view>

namespace vorlan {

inline constexpr std::string_view kHexDigits = "0123456789abcdef";

// -1 for what is no digit; either case.
inline int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The value of the two digits at the front of the text, -1 where there are none.
inline int hex_byte(std::string_view text) {
  const int high = text.size() < 2 ? -1 : hex_value(text[0]);
  const int low = high < 0 ? -1 : hex_value(text[1]);
  return low < 0 ? -1 : high * 16 + low;
}

inline void append_byte_code(char c, std::string* text) {
  const auto byte = static_cast<unsigned char>(c);
  *text += '%';
  *text += kHexDigits[byte >> 4U];
  *text += kHexDigits[byte & 15U];
}

// A '%' without digits is one.
inline std::string decode_byte_codes(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    const int byte = text[0] == '%' ? hex_byte(text.substr(1)) : -1;
    decoded += byte < 0 ? text[0] : static_cast<char>(byte);
    text.remove_prefix(byte < 0 ? 1 : 3);
  }
  return decoded;
}

// Decodes a name, too: "%_" and what follows tells it from others and is no part of it.
inline std::string decode_name(std::string_view word) {
  return decode_byte_codes(word.substr(0, word.find("%_")));
}

}  // namespace vorlan
