// Reading CBOR without a tree; see cbor_document.h.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "format/document/cbor_document.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// An array's storage is reserved as announced up to here, which costs nothing before it is used;
// beyond, it grows with the data.
constexpr uint64_t kBelievedBytes = uint64_t{64} << 20;
constexpr size_t kDeepest = 16;

double from_half(unsigned half) {
  const int exponent = static_cast<int>(half >> 10U & 31U);
  const double fraction = half & 0x3ffU;
  double magnitude = 0.0;
  if (exponent == 31) {
    magnitude = fraction == 0.0 ? kInfinity : std::numeric_limits<double>::quiet_NaN();
  } else if (exponent == 0) {
    magnitude = std::ldexp(fraction, -24);
  } else {
    magnitude = std::ldexp(fraction + 1024.0, exponent - 25);
  }
  return (half & 0x8000U) != 0 ? -magnitude : magnitude;
}

template <class Number>
void grow(std::vector<Number>* values, uint64_t total, size_t more) {
  const size_t wanted = values->size() + more;
  if (wanted <= values->capacity()) return;
  const uint64_t believed = std::min<uint64_t>(total, kBelievedBytes / sizeof(Number));
  const uint64_t doubled = std::min<uint64_t>(total, 2 * uint64_t{values->capacity()});
  values->reserve(std::max<size_t>({wanted, believed, doubled}));
}

}  // namespace

CborReader::CborReader(InputStream* input, size_t buffer_size) : buffer_(input, buffer_size) {
  buffer_.require(kCborMagic.size());
  if (std::string_view(buffer_.begin(), buffer_.size()).starts_with(kCborMagic)) {
    buffer_.skip(kCborMagic.size());
  }
}

// The text that was read last is kept in front of the window until the next step.
void CborReader::drop_text() {
  buffer_.skip(text_size_);
  text_size_ = 0;
}

Status CborReader::failure(Mark mark, std::string_view what) const {
  if (!buffer_.status().ok()) return buffer_.status();
  return {Code::kErrFileContent,
          format_text("%s: byte %llu: %s", buffer_.input().shown_name().c_str(),
                      static_cast<unsigned long long>(mark.column), std::string(what).c_str())};
}

bool CborReader::require(size_t count, const char* what) {
  if (!ok()) return false;
  if (buffer_.require(count)) return true;
  return fail({0, buffer_.offset() + buffer_.size()},
              format_text("expected %s, found the end of the file", what));
}

bool CborReader::read_head(Head* head, const char* wanted) {
  const Mark start = mark();
  if (!require(1, wanted)) return false;
  const unsigned initial = static_cast<unsigned char>(*buffer_.begin());
  *head = {initial >> 5U, initial & 31U, initial & 31U};
  if (head->info >= 28) {
    return fail(start, format_text("expected %s, found byte 0x%02x (indefinite or reserved)",
                                   wanted, initial));
  }
  const size_t size = head->info < 24 ? 0 : size_t{1} << (head->info - 24);
  if (!require(1 + size, wanted)) return false;
  if (size > 0) head->argument = 0;
  for (size_t i = 0; i < size; ++i) {
    head->argument = head->argument << 8U | static_cast<unsigned char>(buffer_.begin()[1 + i]);
  }
  buffer_.skip(1 + size);
  return true;
}

bool CborReader::expect(unsigned major, const char* wanted, uint64_t* argument) {
  static constexpr const char* kMajors[] = {
      "an integer", "a negative integer",       "a byte string", "a text", "a list", "a map",
      "a tag",      "a float or a simple value"};
  drop_text();
  if (!require(1, wanted)) return false;
  const unsigned found = static_cast<unsigned char>(*buffer_.begin()) >> 5U;
  if (found != major) {
    return fail(mark(), format_text("expected %s, found %s", wanted, kMajors[found]));
  }
  Head head;
  if (!read_head(&head, wanted)) return false;
  *argument = head.argument;
  return true;
}

bool CborReader::enter_map() {
  uint64_t count = 0;
  if (!expect(5, "a map", &count)) return false;
  if (left_.size() == kDeepest) return fail(mark(), "maps are nested too deep");
  left_.push_back(count);
  return true;
}

bool CborReader::enter_list() {
  uint64_t count = 0;
  if (!expect(4, "a list", &count)) return false;
  if (left_.size() == kDeepest) return fail(mark(), "lists are nested too deep");
  left_.push_back(count);
  return true;
}

bool CborReader::take_one() {
  if (!ok()) return false;
  if (left_.back() > 0) {
    --left_.back();
    return true;
  }
  left_.pop_back();
  return false;
}

bool CborReader::next_item() { return take_one(); }

bool CborReader::next_key(std::string* key) {
  if (!take_one()) return false;
  drop_text();
  const Mark start = mark();
  std::string_view text;
  if (!read(&text)) return false;
  if (!is_utf8(text)) return fail(start, "a key is not UTF-8");
  *key = text;
  // The next place is that of the value.
  drop_text();
  return true;
}

bool CborReader::read(std::string_view* text) {
  drop_text();
  const Mark start = mark();
  Head head;
  if (!read_head(&head, "a text")) return false;
  if (head.major != 2 && head.major != 3) return fail(start, "expected a text");
  if (head.argument > std::numeric_limits<uint32_t>::max()) {
    return fail(start, "a text has more than 4 gigabytes");
  }
  const auto size = static_cast<size_t>(head.argument);
  if (!require(size, "the bytes of a text")) return false;
  *text = std::string_view(buffer_.begin(), size);
  if (head.major == 3 && !is_utf8(*text)) return fail(start, "a text is not UTF-8");
  text_size_ = size;
  return true;
}

bool CborReader::read(int64_t* value) {
  drop_text();
  const Mark start = mark();
  Head head;
  if (!read_head(&head, "an integer")) return false;
  if (head.major > 1) return fail(start, "expected an integer");
  if (head.argument > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    return fail(start, "an integer is too large");
  }
  const auto argument = static_cast<int64_t>(head.argument);
  *value = head.major == 0 ? argument : -1 - argument;
  return true;
}

bool CborReader::read(double* value) {
  drop_text();
  const Mark start = mark();
  Head head;
  if (!read_head(&head, "a number")) return false;
  if (head.major == 7 && head.info == 25) {
    *value = from_half(static_cast<unsigned>(head.argument));
  } else if (head.major == 7 && head.info == 26) {
    *value = std::bit_cast<float>(static_cast<uint32_t>(head.argument));
  } else if (head.major == 7 && head.info == 27) {
    *value = std::bit_cast<double>(head.argument);
  } else if (head.major <= 1) {
    const auto magnitude = static_cast<double>(head.argument);
    *value = head.major == 0 ? magnitude : -1.0 - magnitude;
  } else {
    return fail(start, "expected a number");
  }
  return true;
}

template <class Source, class Number>
bool CborReader::convert(const char* bytes, size_t count, Number* values) {
  if constexpr (std::is_same_v<Source, Number>) {
    std::memcpy(values, bytes, count * sizeof(Number));
    return true;
  }
  for (size_t i = 0; i < count; ++i) {
    Source source{};
    std::memcpy(&source, bytes + i * sizeof(Source), sizeof(Source));
    values[i] = static_cast<Number>(source);
    if constexpr (std::is_integral_v<Number> && std::is_integral_v<Source>) {
      if (!std::in_range<Number>(source)) {
        return fail({0, buffer_.offset() + i * sizeof(Source)},
                    "an element of the array is out of range");
      }
    }
  }
  return true;
}

template <class Source, class Number>
bool CborReader::read_elements(uint64_t bytes, std::vector<Number>* values) {
  if (bytes % sizeof(Source) != 0) {
    return fail(mark(), "expected elements of " + counted(sizeof(Source), "byte") + ", found " +
                            counted(static_cast<int64_t>(bytes), "byte"));
  }
  const uint64_t total = bytes / sizeof(Source);
  while (values->size() < total) {
    if (!require(sizeof(Source), "an element of the array")) return false;
    const auto count = static_cast<size_t>(
        std::min<uint64_t>(total - values->size(), buffer_.size() / sizeof(Source)));
    const size_t old = values->size();
    grow(values, total, count);
    values->resize(old + count);
    if (!convert<Source>(buffer_.begin(), count, values->data() + old)) return false;
    buffer_.skip(count * sizeof(Source));
  }
  return true;
}

// An array of single data items, as a writer without typed arrays has it.
template <class Number>
bool CborReader::read_plain_array(uint64_t count, std::vector<Number>* values) {
  for (; count > 0; --count) {
    const Mark start = mark();
    std::conditional_t<std::is_integral_v<Number>, int64_t, double> value{};
    if (!read(&value)) return false;
    if constexpr (std::is_integral_v<Number>) {
      if (!std::in_range<Number>(value)) return fail(start, "an element is out of range");
    }
    values->push_back(static_cast<Number>(value));
  }
  return true;
}

template <class Number>
bool CborReader::read_array(std::vector<Number>* values) {
  values->clear();
  drop_text();
  const Mark start = mark();
  Head head;
  uint64_t bytes = 0;
  if (!read_head(&head, "an array of numbers")) return false;
  if (head.major == 4) return read_plain_array(head.argument, values);
  if (head.major != 6) return fail(start, "expected an array of numbers");
  if (!expect(2, "the bytes of a typed array", &bytes)) return false;
  if constexpr (std::is_floating_point_v<Number>) {
    if (head.argument == 86) return read_elements<double>(bytes, values);
    if (head.argument == 85) return read_elements<float>(bytes, values);
    return fail(start, "expected an array of little-endian floats (tag 85 or 86)");
  } else {
    switch (head.argument) {
      case 64:
        return read_elements<uint8_t>(bytes, values);
      case 69:
        return read_elements<uint16_t>(bytes, values);
      case 70:
        return read_elements<uint32_t>(bytes, values);
      case 71:
        return read_elements<uint64_t>(bytes, values);
      case 77:
        return read_elements<int16_t>(bytes, values);
      case 78:
        return read_elements<int32_t>(bytes, values);
      case 79:
        return read_elements<int64_t>(bytes, values);
      default:
        return fail(start, "expected an array of little-endian integers (tags 64 to 79)");
    }
  }
}

template bool CborReader::read_array(std::vector<double>*);
template bool CborReader::read_array(std::vector<int64_t>*);
template bool CborReader::read_array(std::vector<int32_t>*);
template bool CborReader::read_array(std::vector<uint8_t>*);

bool CborReader::finish() {
  if (!ok()) return false;
  drop_text();
  if (buffer_.size() > 0 || buffer_.more()) {
    return fail(mark(), "expected nothing behind the end of the document");
  }
  if (!buffer_.status().ok()) status_ = buffer_.status();
  return ok();
}

}  // namespace vorlan
