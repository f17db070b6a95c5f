// Lines that the window does not hold as a whole, and messages; see text_reader.h.
#include "file/text_reader.h"

#include <algorithm>
#include <array>
#include <functional>

#include "task/text.h"

namespace vorlan {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr size_t kLongestShownWord = 60;
constexpr size_t kLongestBlank = 4096;

}  // namespace

TextReader::TextReader(InputStream* input, size_t buffer_size) : buffer_(input, buffer_size) {
  const size_t length = kByteOrderMark.size();
  // Not more is read than the comparison needs: a person may be typing.
  while (buffer_.size() < length &&
         kByteOrderMark.starts_with(std::string_view(buffer_.begin(), buffer_.size()))) {
    if (!buffer_.more()) return;
  }
  if (std::string_view(buffer_.begin(), buffer_.size()).starts_with(kByteOrderMark)) {
    buffer_.skip(length);
  }
}

// Blanks say no more for being many, but for the columns in messages, which count those that are
// kept. A long run at the end of what is at hand is cut, so that it takes no memory while it goes
// on; no format has columns as far on as the rest of it reaches.
void TextReader::shorten_blanks() {
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  const char* at = buffer_.end();
  while (at != buffer_.begin() && is_blank(at[-1])) --at;
  const auto run = static_cast<size_t>(buffer_.end() - at);
  if (run > kLongestBlank) buffer_.drop_last(run - kLongestBlank);
}

bool TextReader::next_line_slow(std::string_view* line) {
  while (true) {
    shorten_blanks();
    const size_t scanned = buffer_.size();
    if (!buffer_.more()) break;
    const char* begin = buffer_.begin();
    const void* newline = std::memchr(begin + scanned, '\n', buffer_.size() - scanned);
    if (newline == nullptr) continue;
    const char* end = static_cast<const char*>(newline);
    buffer_.skip(static_cast<size_t>(end - begin) + 1);
    set_line(begin, end, line);
    return true;
  }
  buffer_.tell_line(static_cast<uint64_t>(line_number_) + 1);
  // A failure leaves the beginning of a line, which is no line.
  if (!buffer_.status().ok() || buffer_.size() == 0) return false;
  const char* begin = buffer_.begin();
  buffer_.skip(buffer_.size());
  set_line(begin, buffer_.end(), line);
  return true;
}

Status TextReader::error(std::string_view word, std::string_view what,
                         std::string_view help) const {
  const std::less_equal<> not_after;  // a total order, also of unrelated pointers
  const char* const end = line_.data() + line_.size();
  const bool inside = not_after(line_.data(), word.data()) && not_after(word.data(), end);
  const size_t column = inside ? static_cast<size_t>(word.data() - line_.data()) : line_.size();
  return error_at(line_number_, column + 1, word, what, help);
}

Status TextReader::error_at(int64_t line, size_t column, std::string_view word,
                            std::string_view what, std::string_view help) const {
  const std::string found = word.empty() ? std::string("the end of the line")
                                         : format_text("'%s'", printable(word).c_str());
  return {Code::kErrFileContent,
          format_text("%s:%lld:%zu: %s, found %s%s", buffer_.input().shown_name().c_str(),
                      static_cast<long long>(line), column, std::string(what).c_str(),
                      found.c_str(), std::string(help).c_str())};
}

Status TextReader::line_error(std::string_view what) const {
  return {Code::kErrFileContent,
          format_text("%s:%lld: %s", buffer_.input().shown_name().c_str(),
                      static_cast<long long>(line_number_), std::string(what).c_str())};
}

// UTF-8 is that of RFC 3629.
size_t shown_character(std::string_view text) {
  const auto byte = [text](size_t i) {
    return i < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[i])) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  unsigned code = first & (0xffU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3f);
  }
  constexpr std::array<unsigned, 5> kSmallest = {0, 0, 0xa0, 0x800, 0x10000};
  const bool valid = first >= 0xc2 && first <= 0xf4 && code >= kSmallest[length] &&
                     code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
  const bool turns_text = (code >= 0x200e && code <= 0x200f) ||
                          (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
  return valid && !turns_text ? length : 0;
}

bool is_high_control(std::string_view text, size_t at) {
  const auto byte = static_cast<unsigned char>(text[at]);
  if (byte < 0x80 || byte > 0x9f) return false;
  constexpr size_t kLongestCharacter = 4;
  for (size_t back = 1; back < kLongestCharacter && back <= at; ++back) {
    if (shown_character(text.substr(at - back)) > back) return false;
  }
  return true;
}

bool has_high_control(std::string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (is_high_control(text, i)) return true;
  }
  return false;
}

std::string printable(std::string_view text) {
  std::string shown;
  const std::string_view all = text;
  while (!text.empty() && all.size() - text.size() < kLongestShownWord) {
    const size_t length = shown_character(text);
    if (length == 0) {
      shown += format_text("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(text[0])));
    } else {
      shown += text.substr(0, length);
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  if (!text.empty()) shown += "...";
  return shown;
}

}  // namespace vorlan
