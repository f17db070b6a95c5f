// Fields that are not what was expected; see field_lines.h.
#include "format/common/field_lines.h"

#include <cmath>

#include "task/text.h"

namespace vorlan {

FieldLines::FieldLines(InputStream* input, const Dialect& dialect)
    : text_(input), shown_name_(input->shown_name()), numbers_(dialect.numbers) {
  for (const char c : dialect.separators) separator_[static_cast<unsigned char>(c)] = true;
  for (const char c : {' ', '\t', '\r'}) separator_[static_cast<unsigned char>(c)] = true;
}

bool FieldLines::next_line() {
  while (text_.next_line(&rest_)) {
    if (!rest().empty()) return true;
  }
  return false;
}

bool FieldLines::take_number(double* value) {
  const std::string_view word = take_word();
  if (!parse_double(word, value, numbers_)) return fail(word, "a number was expected");
  return std::isfinite(*value) || fail(word, "a finite number was expected");
}

bool FieldLines::expect_end() {
  return rest().empty() || fail(rest(), "nothing more was expected in this line");
}

bool FieldLines::fail(std::string_view word, std::string_view what, std::string_view help) {
  failure_ = text_.error(word, what, help);
  return false;
}

bool FieldLines::fail_line(std::string_view what) {
  failure_ = text_.line_error(what);
  return false;
}

bool FieldLines::fail_twice(int64_t first, int64_t second) {
  failure_ = {Code::kErrFileContent,
              format_text("%s:%lld: a second value for a place that has one by line %lld",
                          shown_name_.c_str(), static_cast<long long>(second),
                          static_cast<long long>(first))};
  return false;
}

bool FieldLines::fail_integer(std::string_view word, const char* what, int64_t least,
                              int64_t most) {
  if (most < least) return fail(word, format_text("%s was expected, but there is none", what));
  if (most == INT32_MAX) {
    return fail(word, format_text("%s, an integer from %lld, was expected", what,
                                  static_cast<long long>(least)));
  }
  return fail(word, format_text("%s, an integer from %lld to %lld, was expected", what,
                                static_cast<long long>(least), static_cast<long long>(most)));
}

}  // namespace vorlan
