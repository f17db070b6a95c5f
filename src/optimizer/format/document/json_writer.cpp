// Writing JSON; see json_document.h.
#include <cmath>
#include <concepts>

#include "file/text_reader.h"
#include "format/common/byte_codes.h"
#include "format/document/json_document.h"

namespace vorlan {
namespace {

// So many numbers make a line: lines stay short enough for editors, and for messages about them.
constexpr size_t kNumbersInLine = 16;

void append_value(OutputFile* file, double value) {
  if (std::isfinite(value)) return file->append_number(value);
  file->append(std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"");
}

template <std::integral Integer>
void append_value(OutputFile* file, Integer value) {
  file->append_integer(value);
}

}  // namespace

void JsonWriter::new_line() {
  constexpr std::string_view kBlanks = "                ";
  file_->append('\n');
  file_->append(kBlanks.substr(0, depth_ < kBlanks.size() ? depth_ : kBlanks.size()));
}

// Separates a value that is an item of a list from the one before.
void JsonWriter::separate_item() {
  if (!in_list_) return;
  if (!first_) file_->append(',');
  first_ = false;
  new_line();
}

void JsonWriter::begin_map(size_t) {
  file_->append('{');
  ++depth_;
  first_ = true;
}

void JsonWriter::key(std::string_view key) {
  if (!first_) file_->append(',');
  first_ = false;
  new_line();
  quote(key);
  file_->append(": ");
}

void JsonWriter::end_map() {
  --depth_;
  if (!first_) new_line();
  file_->append('}');
  first_ = false;
}

void JsonWriter::begin_list(size_t) {
  file_->append('[');
  ++depth_;
  first_ = true;
  in_list_ = true;
}

void JsonWriter::end_list() {
  --depth_;
  in_list_ = false;
  if (!first_) new_line();
  file_->append(']');
  first_ = false;
}

// Writes the UTF-8 character at the front, which is one of two or three bytes, by its number.
// Returns its bytes.
size_t JsonWriter::append_escaped(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned>(text[i]) & 0xffU; };
  const size_t length = byte(0) < 0xe0 ? 2 : 3;
  unsigned code = length == 2 ? byte(0) & 0x1fU : byte(0) & 0x0fU;
  for (size_t i = 1; i < length; ++i) code = code << 6U | (byte(i) & 0x3fU);
  file_->append("\\u");
  for (const unsigned shift : {12U, 8U, 4U, 0U}) file_->append(kHexDigits[code >> shift & 15U]);
  return length;
}

// A name may have characters that act on a terminal: they are escaped, as JSON asks only for those
// below 0x20.
void JsonWriter::quote(std::string_view text) {
  file_->append('"');
  size_t plain = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80) {
      const size_t length = shown_character(text.substr(i));
      if (length == 0) {
        file_->append(text.substr(plain, i - plain));
        i += append_escaped(text.substr(i)) - 1;
        plain = i + 1;
      } else {
        i += length - 1;
      }
      continue;
    }
    if (c >= 0x20 && c != 0x7f && c != '"' && c != '\\') continue;
    file_->append(text.substr(plain, i - plain));
    plain = i + 1;
    if (c >= 0x20 && c != 0x7f) {
      file_->append('\\');
      file_->append(text[i]);
    } else {
      file_->append("\\u00");
      file_->append(kHexDigits[c >> 4U]);
      file_->append(kHexDigits[c & 15U]);
    }
  }
  file_->append(text.substr(plain));
  file_->append('"');
}

void JsonWriter::text(std::string_view text) {
  separate_item();
  if (is_utf8(text)) return quote(text);
  file_->append("{\"bytes\": \"");
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    file_->append(kHexDigits[byte >> 4U]);
    file_->append(kHexDigits[byte & 15U]);
  }
  file_->append("\"}");
}

void JsonWriter::integer(int64_t value) {
  separate_item();
  append_value(file_, value);
}

void JsonWriter::number(double value) {
  separate_item();
  append_value(file_, value);
}

template <class Number>
void JsonWriter::write_array(std::span<const Number> values) {
  file_->append('[');
  ++depth_;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i > 0) file_->append(',');
    if (i % kNumbersInLine == 0 && values.size() > kNumbersInLine) new_line();
    append_value(file_, values[i]);
  }
  --depth_;
  if (values.size() > kNumbersInLine) new_line();
  file_->append(']');
  first_ = false;
}

template void JsonWriter::write_array(std::span<const double>);
template void JsonWriter::write_array(std::span<const int64_t>);
template void JsonWriter::write_array(std::span<const int32_t>);
template void JsonWriter::write_array(std::span<const uint8_t>);

}  // namespace vorlan
