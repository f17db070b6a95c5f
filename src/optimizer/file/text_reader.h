// The lines of a text file with their numbers, and errors that name the place. Lines end in LF or
// CR LF, the last one also by the end of the file; a byte order mark at the start is dropped. All
// other bytes, '\0' too, are left to the format.
#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "file/read_buffer.h"
#include "task/status.h"

namespace vorlan {

class TextReader {
 public:
  explicit TextReader(InputStream* input, size_t buffer_size = ReadBuffer::kUsualSize);

  // The next line without its end; valid until the next call. The character behind it can be read
  // and belongs to no token: '\n', '\r' or '\0'. False at the end and after a failure to read: look
  // at status() before you complain about a missing end.
  bool next_line(std::string_view* line);

  // The bytes behind the current line, as far as they are at hand; valid until the next call.
  std::string_view ahead() const { return {buffer_.begin(), buffer_.size()}; }

  // The number of the current line, from 1.
  int64_t line_number() const { return line_number_; }

  // "NAME:LINE:COLUMN: what, found 'word'", where the word is a part of the current line; an empty
  // one at the line's end, or std::string_view(), stands for the end of the line. Columns count
  // bytes from 1. `help` is put behind all that.
  Status error(std::string_view word, std::string_view what, std::string_view help = {}) const;

  // The same error about a word of an earlier line.
  Status error_at(int64_t line, size_t column, std::string_view word, std::string_view what,
                  std::string_view help = {}) const;

  // "NAME:LINE: what", for the current line as a whole.
  Status line_error(std::string_view what) const;

  // Reads the rest and drops it; the failure if it, or anything before, could not be read. The last
  // call of a reader that is content, since damage to compressed data may show only then.
  Status finish() { return buffer_.skip_rest(); }

  const Status& status() const { return buffer_.status(); }

 private:
  bool next_line_slow(std::string_view* line);
  void shorten_blanks();
  void set_line(const char* begin, const char* end, std::string_view* line);

  ReadBuffer buffer_;
  std::string_view line_;
  int64_t line_number_ = 0;
};

// Takes the next word, separated by blanks and tabs, off the front of the text; empty at its end
// (with a pointer to that end).
inline std::string_view take_word(std::string_view* text) {
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  const char* at = text->data();
  const char* const end = at + text->size();
  while (at != end && is_blank(*at)) ++at;
  const char* const word = at;
  while (at != end && !is_blank(*at)) ++at;
  *text = std::string_view(at, static_cast<size_t>(end - at));
  return {word, static_cast<size_t>(at - word)};
}

// The text as a message can show it: cut after 60 bytes, with "..." for the rest, and with \xNN for
// whatever is not UTF-8 or controls a terminal.
std::string printable(std::string_view text);

// Bytes of the character at the front if it is one of UTF-8 that can be shown; 0 for anything else,
// and for characters that act on a terminal: controls, and marks that turn the direction of text.
size_t shown_character(std::string_view text);

// True if the byte at this place is one of 0x80 to 0x9f, which control a terminal, and no part of a
// character that can be shown.
bool is_high_control(std::string_view text, size_t at);
bool has_high_control(std::string_view text);

// The first LF of the bytes at hand, or nullptr. Most lines are short: a few vector comparisons in
// place cost less than the call of memchr, which does the rest of a long one, and all of it where
// there are no such vectors.
inline const char* find_line_end(const ReadBuffer& buffer) {
#ifndef __SSE2__
  return static_cast<const char*>(std::memchr(buffer.begin(), '\n', buffer.size()));
#else
  constexpr size_t kVector = sizeof(__m128i);
  const __m128i wanted = _mm_set1_epi8('\n');
  const char* at = buffer.begin();
  for (size_t step = 0; step < ReadBuffer::kPadding / kVector; ++step, at += kVector) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted)));
    if (found != 0) return at + std::countr_zero(found);
  }
  if (at >= buffer.end()) return nullptr;
  const auto left = static_cast<size_t>(buffer.end() - at);
  return static_cast<const char*>(std::memchr(at, '\n', left));
#endif
}

inline void TextReader::set_line(const char* begin, const char* end, std::string_view* line) {
  if (end != begin && end[-1] == '\r') --end;
  line_ = std::string_view(begin, static_cast<size_t>(end - begin));
  *line = line_;
  ++line_number_;
}

inline bool TextReader::next_line(std::string_view* line) {
  const char* begin = buffer_.begin();
  const char* end = find_line_end(buffer_);
  if (end == nullptr) return next_line_slow(line);
  buffer_.skip(static_cast<size_t>(end - begin) + 1);
  set_line(begin, end, line);
  return true;
}

}  // namespace vorlan
