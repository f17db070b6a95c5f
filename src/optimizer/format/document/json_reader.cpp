// Reading JSON without a tree; see json_document.h.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "file/numbers.h"
#include "file/text_reader.h"
#include "format/common/byte_codes.h"
#include "format/document/json_document.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr size_t kLongestShownWord = 60;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_number_character(char c) {
  return is_digit(c) || c == '.' || c == '-' || c == 'e' || c == 'E' || c == '+';
}

// The number readers also take what JSON does not: "+1", "01", ".5", "1.", "1.e5".
bool is_json_number(std::string_view token) {
  if (!token.empty() && token[0] == '-') token.remove_prefix(1);
  if (token.empty() || !is_digit(token[0])) return false;
  if (token.size() > 1 && token[0] == '0' && is_digit(token[1])) return false;
  const size_t point = token.find('.');
  return point == std::string_view::npos ||
         (point + 1 < token.size() && is_digit(token[point + 1]));
}

bool parse_hex4(std::string_view text, unsigned* code) {
  if (text.size() < 4) return false;
  *code = 0;
  for (size_t i = 0; i < 4; ++i) {
    const int digit = hex_value(text[i]);
    if (digit < 0) return false;
    *code = *code << 4U | static_cast<unsigned>(digit);
  }
  return true;
}

void append_utf8(std::string* text, unsigned code) {
  const auto add = [text](unsigned byte) { text->push_back(static_cast<char>(byte)); };
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xc0U | code >> 6U);
  } else {
    if (code < 0x10000) {
      add(0xe0U | code >> 12U);
    } else {
      add(0xf0U | code >> 18U);
      add(0x80U | (code >> 12U & 0x3fU));
    }
    add(0x80U | (code >> 6U & 0x3fU));
  }
  add(0x80U | (code & 0x3fU));
}

}  // namespace

JsonReader::JsonReader(InputStream* input, size_t buffer_size) : buffer_(input, buffer_size) {
  buffer_.require(kByteOrderMark.size());
  if (std::string_view(buffer_.begin(), buffer_.size()).starts_with(kByteOrderMark)) {
    buffer_.skip(kByteOrderMark.size());
    line_start_ = kByteOrderMark.size();
  }
}

int JsonReader::peek() {
  while (ok()) {
    const char* at = buffer_.begin();
    while (*at == ' ' || *at == '\t' || *at == '\r') ++at;
    buffer_.skip(static_cast<size_t>(at - buffer_.begin()));
    if (*at == '\n') {
      buffer_.skip(1);
      ++line_;
      line_start_ = buffer_.offset();
    } else if (at < buffer_.end()) {
      return static_cast<unsigned char>(*at);
    } else if (!buffer_.more()) {
      break;
    }
  }
  return kEnd;
}

Mark JsonReader::mark() {
  peek();
  return here();
}

Status JsonReader::failure(Mark mark, std::string_view what) const {
  // A failure to read at all goes first.
  if (!buffer_.status().ok()) return buffer_.status();
  return {Code::kErrFileContent,
          format_text("%s:%llu:%llu: %s", buffer_.input().shown_name().c_str(),
                      static_cast<unsigned long long>(mark.line),
                      static_cast<unsigned long long>(mark.column), std::string(what).c_str())};
}

bool JsonReader::fail_here(std::string_view what) {
  if (!ok()) return false;
  std::string found = "the end of the file";
  if (peek() != kEnd) {
    buffer_.require(kLongestShownWord);
    const std::string_view rest(buffer_.begin(), std::min(buffer_.size(), kLongestShownWord));
    const size_t length = rest.find_first_of(",:]}[{ \t\r\n", 1);
    found = "'" + printable(rest.substr(0, length)) + "'";
  }
  return fail(here(), std::string(what) + ", found " + found);
}

bool JsonReader::enter(char open, const char* what) {
  if (peek() != open) return fail_here(std::string("expected ") + what);
  buffer_.skip(1);
  first_ = true;
  return true;
}

bool JsonReader::next(char close) {
  const int c = peek();
  if (c == close) {
    buffer_.skip(1);
    first_ = false;
    return false;
  }
  if (!first_) {
    if (c != ',') return fail_here(format_text("expected ',' or '%c'", close));
    buffer_.skip(1);
  }
  first_ = false;
  return ok();
}

bool JsonReader::next_key(std::string* key) {
  if (!next('}')) return false;
  std::string_view text;
  if (peek() != '"') return fail_here("expected a key in quotes");
  if (!quoted(&text)) return false;
  *key = text;
  if (peek() != ':') return fail_here("expected ':' behind the key");
  buffer_.skip(1);
  return true;
}

// The text between quotes; the next character is the first quote. The window holds all of it.
bool JsonReader::quoted(std::string_view* text) {
  const Mark start = here();
  size_t length = 1;
  bool escaped = false;
  while (true) {
    const char* begin = buffer_.begin();
    while (length < buffer_.size()) {
      const auto c = static_cast<unsigned char>(begin[length]);
      if (c == '"' || c < 0x20) break;
      length += c == '\\' ? 2 : 1;
      escaped = escaped || c == '\\';
    }
    if (length < buffer_.size()) break;
    if (!buffer_.more()) {
      buffer_.tell_line(start.line);
      return fail(start, "a text has no end");
    }
  }
  if (buffer_.begin()[length] != '"')
    return fail(start, "a text has a line end or a control in it");
  const std::string_view raw(buffer_.begin() + 1, length - 1);
  if (!is_utf8(raw)) return fail(start, "a text is not UTF-8");
  buffer_.skip(length + 1);
  *text = raw;
  if (!escaped) return true;
  if (!unescape(raw)) return fail(start, "a text has an escape that JSON does not know");
  *text = scratch_;
  return true;
}

bool JsonReader::unescape(std::string_view raw) {
  scratch_.clear();
  for (size_t at = 0; at < raw.size();) {
    const size_t plain = std::min(raw.find('\\', at), raw.size());
    scratch_ += raw.substr(at, plain - at);
    at = plain;
    if (at < raw.size() && !append_escaped(raw, &at)) return false;
  }
  return true;
}

bool JsonReader::append_escaped(std::string_view raw, size_t* at) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  if (*at + 1 >= raw.size()) return false;
  const size_t letter = kLetters.find(raw[*at + 1]);
  if (letter != std::string_view::npos) {
    scratch_ += kMeanings[letter];
    *at += 2;
    return true;
  }
  unsigned code = 0;
  if (raw[*at + 1] != 'u' || !parse_hex4(raw.substr(*at + 2), &code)) return false;
  *at += 6;
  if (code >= 0xd800 && code < 0xdc00) {
    unsigned low = 0;
    const bool pair = raw.substr(*at).starts_with("\\u") && parse_hex4(raw.substr(*at + 2), &low);
    if (!pair || low < 0xdc00 || low > 0xdfff) return false;
    *at += 6;
    code = 0x10000 + ((code - 0xd800) << 10U) + (low - 0xdc00);
  } else if (code >= 0xdc00 && code <= 0xdfff) {
    return false;
  }
  append_utf8(&scratch_, code);
  return true;
}

bool JsonReader::read(std::string_view* text) {
  const int c = peek();
  if (c == '{') return read_bytes(text);
  if (c != '"') return fail_here("expected a text in quotes");
  return quoted(text);
}

// {"bytes": "<hexadecimal digits>"}
bool JsonReader::read_bytes(std::string_view* text) {
  const Mark start = here();
  std::string key;
  enter_map();
  if (!next_key(&key)) return fail(start, "expected a text");
  if (key != "bytes") return fail(start, "expected the key 'bytes' of a text");
  std::string_view digits;
  if (peek() != '"') return fail_here("expected hexadecimal digits in quotes");
  if (!quoted(&digits)) return false;
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    const int byte = hex_byte(digits.substr(i));
    if (byte < 0) return fail(start, "expected pairs of hexadecimal digits");
    bytes.push_back(static_cast<char>(byte));
  }
  if (next('}')) return fail_here("expected '}'");
  if (!ok()) return false;
  scratch_ = std::move(bytes);
  *text = scratch_;
  return true;
}

// The token stays in front: take it off with skip().
bool JsonReader::number_token(std::string_view* token) {
  if (peek() == kEnd) return fail_here("expected a number");
  size_t length = 0;
  while (true) {
    const char* begin = buffer_.begin();
    while (is_number_character(begin[length])) ++length;
    if (length < buffer_.size() || !buffer_.more()) break;
  }
  buffer_.tell_line(line_);
  *token = std::string_view(buffer_.begin(), length);
  return is_json_number(*token) || fail_here("expected a number");
}

bool JsonReader::read(int64_t* value) {
  std::string_view token;
  if (!number_token(&token)) return false;
  if (!parse_int64(token, value)) return fail_here("expected an integer");
  buffer_.skip(token.size());
  return true;
}

template <class Integer>
bool JsonReader::read_element(Integer* value) {
  std::string_view token;
  int64_t wide = 0;
  if (!number_token(&token)) return false;
  const bool fits = parse_int64(token, &wide) && wide >= std::numeric_limits<Integer>::min() &&
                    wide <= std::numeric_limits<Integer>::max();
  if (!fits) {
    return fail_here(format_text("expected an integer from %lld to %lld",
                                 static_cast<long long>(std::numeric_limits<Integer>::min()),
                                 static_cast<long long>(std::numeric_limits<Integer>::max())));
  }
  *value = static_cast<Integer>(wide);
  buffer_.skip(token.size());
  return true;
}

bool JsonReader::read(double* value) {
  std::string_view token;
  if (peek() == '"') {
    const Mark start = here();
    if (!quoted(&token)) return false;
    if (token == "inf") {
      *value = kInfinity;
    } else if (token == "-inf") {
      *value = -kInfinity;
    } else if (token == "nan") {
      *value = std::numeric_limits<double>::quiet_NaN();
    } else {
      return fail(start, "expected a number, \"inf\", \"-inf\" or \"nan\", found \"" +
                             printable(token) + "\"");
    }
    return true;
  }
  if (!number_token(&token)) return false;
  if (!parse_double(token, value)) return fail_here("expected a number");
  if (std::isinf(*value)) return fail_here("a number is too large");
  buffer_.skip(token.size());
  return true;
}

template <class Number>
bool JsonReader::read_array(std::vector<Number>* values) {
  values->clear();
  if (!enter('[', "an array of numbers")) return false;
  while (next(']')) {
    Number value{};
    if (!read_element(&value)) return false;
    values->push_back(value);
  }
  return ok();
}

template bool JsonReader::read_array(std::vector<double>*);
template bool JsonReader::read_array(std::vector<int64_t>*);
template bool JsonReader::read_array(std::vector<int32_t>*);
template bool JsonReader::read_array(std::vector<uint8_t>*);

bool JsonReader::finish() {
  if (!ok()) return false;
  if (peek() != kEnd) return fail_here("expected nothing behind the end of the document");
  const Status rest = buffer_.skip_rest();
  if (!rest.ok()) status_ = rest;
  return ok();
}

}  // namespace vorlan
