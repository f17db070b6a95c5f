// Files whose lines are a few fields, mostly indices and numbers, between blanks: the words of a
// line taken one by one, and the failure that ends a reading.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "file/input_stream.h"
#include "file/numbers.h"
#include "file/text_reader.h"
#include "task/status.h"

namespace vorlan {

class FieldLines {
 public:
  struct Dialect {
    std::string_view separators;  // characters that stand for blanks
    unsigned numbers = 0;         // as parse_double has them
  };

  FieldLines(InputStream* input, const Dialect& dialect);

  // Goes to the next line that has a field, comments of the format among them. False at the end of
  // the file and after a failure to read.
  bool next_line();

  int64_t line_number() const { return text_.line_number(); }
  const std::string& shown_name() const { return shown_name_; }

  // The part of the line that is left, without separators in front; empty at its end.
  std::string_view rest() {
    while (!rest_.empty() && is_separator(rest_[0])) rest_.remove_prefix(1);
    return rest_;
  }
  void drop_rest() { rest_.remove_prefix(rest_.size()); }

  // The functions below return false after a failure, which failure() tells then.

  std::string_view take_word();
  // An integer within the limits, `what` names it in the message.
  bool take_integer(const char* what, int64_t least, int64_t most, int32_t* value);
  // A finite number.
  bool take_number(double* value);
  bool expect_end();

  // Always false.
  bool fail(std::string_view word, std::string_view what, std::string_view help = {});
  bool fail_line(std::string_view what);
  // The line `second` gives a place that the line `first` has given.
  bool fail_twice(int64_t first, int64_t second);

  // A warning's text about a word of this line.
  std::string remark(std::string_view word, std::string_view what) const {
    return text_.error(word, what).message();
  }

  // The failure that ended the reading. One to read goes before what it made of the content.
  const Status& failure() const { return text_.status().ok() ? failure_ : text_.status(); }
  bool ok() const { return failure().ok(); }

  // Reads the rest and drops it, see TextReader::finish().
  Status finish() { return text_.finish(); }

 private:
  bool is_separator(char c) const { return separator_[static_cast<unsigned char>(c)]; }
  bool fail_integer(std::string_view word, const char* what, int64_t least, int64_t most);

  TextReader text_;
  std::string shown_name_;
  std::array<bool, 256> separator_ = {};
  unsigned numbers_;
  std::string_view rest_;
  Status failure_;
};

inline std::string_view FieldLines::take_word() {
  const char* at = rest_.data();
  const char* const end = at + rest_.size();
  while (at != end && is_separator(*at)) ++at;
  const char* const word = at;
  while (at != end && !is_separator(*at)) ++at;
  rest_ = std::string_view(at, static_cast<size_t>(end - at));
  return {word, static_cast<size_t>(at - word)};
}

// Nearly all words are few digits.
inline bool FieldLines::take_integer(const char* what, int64_t least, int64_t most,
                                     int32_t* value) {
  constexpr size_t kSurelyFits = 9;
  const std::string_view word = take_word();
  int32_t digits = 0;
  size_t count = 0;
  for (; count < word.size() && count < kSurelyFits; ++count) {
    const auto digit = static_cast<unsigned>(word[count] - '0');
    if (digit > 9) break;
    digits = digits * 10 + static_cast<int32_t>(digit);
  }
  if (count == 0 || count != word.size()) {
    if (!parse_int32(word, &digits)) return fail_integer(word, what, least, most);
  }
  if (digits < least || digits > most) return fail_integer(word, what, least, most);
  *value = digits;
  return true;
}

}  // namespace vorlan
