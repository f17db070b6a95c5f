// quoting.h - texts as they stand in traces, scripts and case files: in double quotes, with every
// byte that is not printable ASCII escaped, so that one line holds any text and shows all of it.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace recording {

// Escapes \n \t \r \0 \" \\ and \xHH for the rest; without the quotes.
inline std::string escape(std::string_view text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '\n':
        result += "\\n";
        break;
      case '\t':
        result += "\\t";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\0':
        result += "\\0";
        break;
      case '"':
        result += "\\\"";
        break;
      case '\\':
        result += "\\\\";
        break;
      default:
        if (byte >= 0x20 && byte < 0x7f) {
          result += c;
        } else {
          result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
  }
  return result;
}

inline std::string quote(std::string_view text) { return '"' + escape(text) + '"'; }

inline int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  throw std::runtime_error("bad hexadecimal digit in \\x: use 0-9 and a-f");
}

// The character of the escape whose backslash is at text[position]; moves past the escape.
inline char unescape_one(std::string_view text, std::size_t& position) {
  if (position + 1 >= text.size()) throw std::runtime_error("a lone \\ at the end");
  const char letter = text[position + 1];
  position += 2;
  switch (letter) {
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    case '0':
      return '\0';
    case '"':
      return '"';
    case '\\':
      return '\\';
    case 'x':
      break;
    default:
      throw std::runtime_error(std::string("unknown escape \\") + letter);
  }
  if (position + 2 > text.size()) throw std::runtime_error("\\x wants two digits");
  const int value = hex_digit(text[position]) * 16 + hex_digit(text[position + 1]);
  position += 2;
  return static_cast<char>(static_cast<unsigned char>(value));
}

inline std::string unescape(std::string_view text) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    if (text[position] == '\\') {
      result += unescape_one(text, position);
    } else {
      result += text[position++];
    }
  }
  return result;
}

// Reads the quoted text whose opening quote is at text[position]; moves past the closing one.
inline std::string unquote(std::string_view text, std::size_t& position) {
  std::string result;
  for (++position; position < text.size();) {
    if (text[position] == '"') {
      ++position;
      return result;
    }
    if (text[position] == '\\') {
      result += unescape_one(text, position);
    } else {
      result += text[position++];
    }
  }
  throw std::runtime_error("a quote is not closed");
}

}  // namespace recording
