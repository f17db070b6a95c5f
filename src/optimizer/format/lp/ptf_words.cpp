// Words of statuses, and names and values of parameters, in PTF files; see ptf_words.h.
#include "format/lp/ptf_words.h"

#include <algorithm>

#include "format/common/byte_codes.h"

namespace vorlan {
namespace {

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

}  // namespace

std::string ptf_status(std::string_view word) {
  std::string text(word);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == ' ' || c == '-'; }, '_');
  return text;
}

std::string ptf_status_advice(std::span<const StatusWord> statuses, std::string_view text) {
  Nearest nearest(text);
  for (const StatusWord& entry : statuses) nearest.consider(ptf_status(entry.word));
  return nearest.advice();
}

std::string encode_ptf_text(std::string_view text, PtfText kind) {
  std::string encoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const auto byte = static_cast<unsigned char>(c);
    const bool edge = i == 0 || i + 1 == text.size();
    bool keep = byte > ' ' || (c == ' ' && !edge);
    keep = keep && c != '%' && c != '\\' && byte != 0x7f;
    if (kind == PtfText::kName) keep = is_letter(c) || (i > 0 && c >= '0' && c <= '9');
    if (keep) {
      encoded += c;
      continue;
    }
    append_byte_code(c, &encoded);
  }
  return encoded;
}

}  // namespace vorlan
