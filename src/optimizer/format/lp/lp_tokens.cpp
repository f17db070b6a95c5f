// Taking apart the lines of LP files; see lp_tokens.h.
#include "format/lp/lp_tokens.h"

#include <algorithm>
#include <array>

#include "file/numbers.h"
#include "task/letters.h"

namespace vorlan {
namespace {

enum CharacterClass : uint8_t { kNone, kNameStart, kNamePart, kDigit, kPoint, kOperator };

// Operators, blanks and control characters are in no name. A name may have digits, points and
// slashes inside; all else, also the bytes of UTF-8, it may begin with.
constexpr std::array<uint8_t, 256> make_classes() {
  std::array<uint8_t, 256> classes = {};
  for (size_t c = 0x21; c < classes.size(); ++c) classes[c] = kNameStart;
  classes[0x7f] = kNone;
  for (const char c : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'}) {
    classes[static_cast<unsigned char>(c)] = kDigit;
  }
  classes['.'] = kPoint;
  classes['/'] = kNamePart;
  for (const char c : {'+', '-', '<', '>', '=', ':', '[', ']', '*', '^'}) {
    classes[static_cast<unsigned char>(c)] = kOperator;
  }
  classes['\\'] = kNone;
  return classes;
}

constexpr std::array<uint8_t, 256> kClasses = make_classes();

uint8_t class_of(char c) { return kClasses[static_cast<unsigned char>(c)]; }
bool is_digit(char c) { return class_of(c) == kDigit; }
bool is_name_part(char c) {
  const uint8_t kind = class_of(c);
  return kind >= kNameStart && kind <= kPoint;
}
bool is_blank(char c) { return c == ' ' || c == '\t'; }

LpKind kind_of(char c) {
  switch (c) {
    case '+':
      return LpKind::kPlus;
    case '-':
      return LpKind::kMinus;
    case ':':
      return LpKind::kColon;
    case '[':
      return LpKind::kOpen;
    case ']':
      return LpKind::kClose;
    case '*':
      return LpKind::kStar;
    default:
      return LpKind::kCaret;
  }
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

bool is_lp_word(std::string_view text, std::string_view word) {
  return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                    [](char a, char b) { return to_lower(a) == b; });
}

LpTokens::LpTokens(InputStream* input, Warnings* warnings) : text_(input), warnings_(warnings) {}

bool LpTokens::fail(std::string_view word, std::string_view what, std::string_view help) {
  if (status_.ok()) {
    // An error behind the last line is told by that line's number alone.
    status_ = kind() == LpKind::kEnd && word.empty() ? text_.line_error(what)
                                                     : text_.error(word, what, help);
  }
  token_ = {};
  at_ = end_;
  return false;
}

bool LpTokens::fail_at(const LpPlace& place, std::string_view word, std::string_view what,
                       std::string_view help) {
  if (status_.ok()) status_ = text_.error_at(place.line, place.column, word, what, help);
  return fail(what);
}

bool LpTokens::next_line() {
  std::string_view line;
  if (!status_.ok() || !text_.next_line(&line)) {
    if (status_.ok()) status_ = text_.status();
    return false;
  }
  line_ = at_ = line.data();
  end_ = at_ + line.size();
  return true;
}

void LpTokens::warn_of_rest() {
  std::string_view line = trimmed(rest());
  while (line.empty() || line.front() == '\\') {
    if (!next_line()) return;
    line = trimmed(rest());
  }
  warn(line.substr(0, line.find_first_of(" \t")), "text behind 'End', which is not read");
}

void LpTokens::comment(std::string_view text) {
  encoded_names_ = encoded_names_ || text == kLpEncodedNames;
  exact_numbers_ = exact_numbers_ || text == kLpExactNumbers;
  if (!problem_name_.empty()) return;
  constexpr std::string_view kStarred = "\\* Problem: ";
  constexpr std::string_view kStarredEnd = " *\\";
  if (text.starts_with(kLpProblemName)) {
    problem_name_ = trimmed(text.substr(kLpProblemName.size()));
  } else if (text.starts_with(kStarred) && text.ends_with(kStarredEnd)) {
    text.remove_prefix(kStarred.size());
    const std::string_view name =
        trimmed(text.substr(0, text.size() - std::min(text.size(), kStarredEnd.size())));
    if (name != "Unknown") problem_name_ = name;
  }
}

void LpTokens::next() {
  const char* at = at_;
  bool first = false;
  while (true) {
    while (at != end_ && is_blank(*at)) ++at;
    if (at != end_ && *at != '\\') break;
    if (at != end_ && head_) comment({at, static_cast<size_t>(end_ - at)});
    if (!next_line()) {
      token_ = {};
      at_ = end_;
      return;
    }
    at = at_;
    first = true;
  }
  head_ = false;
  token_.first = first;
  token_.glued = !first && at == at_;
  const char* const begin = at;
  switch (class_of(*at)) {
    case kNameStart:
      do ++at;
      while (is_name_part(*at) && at != end_);
      token_.kind = LpKind::kName;
      break;
    case kPoint:
      if (at + 1 != end_ && is_name_part(at[1]) && !is_digit(at[1])) {
        do ++at;
        while (is_name_part(*at) && at != end_);
        token_.kind = LpKind::kName;
        break;
      }
      [[fallthrough]];
    case kDigit:
      at_ = at;
      take_number();
      return;
    case kNamePart:
      ++at;
      token_.kind = LpKind::kSlash;
      break;
    case kOperator:
      at_ = at;
      if (*at == '<' || *at == '>' || *at == '=') {
        take_relation();
        return;
      }
      ++at;
      token_.kind = kind_of(*begin);
      break;
    default:
      fail({at, 1}, "a character that no LP file has");
      return;
  }
  at_ = at;
  token_.text = {begin, static_cast<size_t>(at - begin)};
}

// Digits, a point, an exponent; the characters behind are no part of it, so that 3x is 3 x and 3efg
// is 3 efg. Few digits without an exponent, as most numbers have, are quick: digits and power of
// ten are exact then, and their quotient is correctly rounded.
void LpTokens::take_number() {
  constexpr size_t kMostDigits = 15;
  static constexpr std::array<double, kMostDigits + 1> kPowers = {
      1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const char* const begin = at_;
  const char* at = begin;
  uint64_t digits = 0;
  for (; at != end_ && is_digit(*at); ++at) digits = digits * 10 + static_cast<uint64_t>(*at - '0');
  size_t num_digits = static_cast<size_t>(at - begin);
  size_t decimals = 0;
  if (at != end_ && *at == '.') {
    const char* const point = at++;
    for (; at != end_ && is_digit(*at); ++at) {
      digits = digits * 10 + static_cast<uint64_t>(*at - '0');
    }
    decimals = static_cast<size_t>(at - point) - 1;
    num_digits += decimals;
  }
  bool plain = num_digits <= kMostDigits;
  if (at != end_ && (*at == 'e' || *at == 'E')) {
    const char* exponent = at + 1;
    if (exponent != end_ && (*exponent == '+' || *exponent == '-')) ++exponent;
    if (exponent != end_ && is_digit(*exponent)) {
      while (exponent != end_ && is_digit(*exponent)) ++exponent;
      at = exponent;
      plain = false;
    }
  }
  token_.kind = LpKind::kNumber;
  token_.text = {begin, static_cast<size_t>(at - begin)};
  at_ = at;
  if (num_digits == 0) {
    fail("a number needs a digit");
  } else if (plain) {
    token_.number = static_cast<double>(digits) / kPowers[decimals];
  } else if (!parse_double(token_.text, &token_.number)) {
    fail("a number was expected");
  }
}

void LpTokens::take_relation() {
  const char* const begin = at_++;
  const auto follows = [this](char c) { return at_ != end_ && *at_ == c; };
  char relation = *begin;
  if (relation == '=') {
    if (follows('<') || follows('>') || follows('=')) relation = *at_++;
  } else if (follows('=')) {
    ++at_;
  }
  token_.kind = relation == '<'   ? LpKind::kLess
                : relation == '>' ? LpKind::kGreater
                                  : LpKind::kEqual;
  token_.text = {begin, static_cast<size_t>(at_ - begin)};
}

char LpTokens::following() const {
  const char* at = at_;
  while (at != end_ && is_blank(*at)) ++at;
  return at == end_ || *at == '\\' ? '\0' : *at;
}

}  // namespace vorlan
