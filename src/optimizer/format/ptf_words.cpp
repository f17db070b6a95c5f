// Words of statuses, and names and values of parameters, in PTF files; see ptf_words.h.
#include "format/ptf_words.h"

#include <algorithm>

namespace vorlan {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

int hex_value(char c) {
  const size_t value = kHexDigits.find(c);
  return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

}  // namespace

std::string ptf_status(std::string_view word) {
  std::string text(word);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == ' ' || c == '-'; }, '_');
  return text;
}

std::string encode_ptf_text(std::string_view text, bool is_name) {
  std::string encoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const auto byte = static_cast<unsigned char>(c);
    const bool edge = i == 0 || i + 1 == text.size();
    bool keep = byte > ' ' || (c == ' ' && !edge);
    keep = keep && c != '%' && c != '\\' && byte != 0x7f;
    if (is_name) keep = is_letter(c) || (i > 0 && c >= '0' && c <= '9');
    if (keep) {
      encoded += c;
      continue;
    }
    encoded += '%';
    encoded += kHexDigits[byte >> 4U];
    encoded += kHexDigits[byte & 15U];
  }
  return encoded;
}

std::string decode_ptf_text(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
    const int low = high >= 0 ? hex_value(text[i + 2]) : -1;
    if (low < 0) {
      decoded += text[i];
      continue;
    }
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

}  // namespace vorlan
