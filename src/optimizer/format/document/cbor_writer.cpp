// Writing CBOR; see cbor_document.h.
#include <algorithm>
#include <bit>
#include <cmath>

#include "format/document/cbor_document.h"

namespace vorlan {
namespace {

static_assert(std::endian::native == std::endian::little, "typed arrays are written as they lie");

// The half-precision number of the same value; false if there is none. Ten bits of fraction,
// exponents from -14 to 15, below them multiples of 2^-24.
bool to_half(double value, unsigned* half) {
  constexpr int kFraction = 10, kSmallest = -14, kLargest = 15;
  const unsigned sign = std::signbit(value) ? 0x8000U : 0U;
  const double magnitude = std::fabs(value);
  if (std::isinf(value)) {
    *half = sign | 0x7c00U;
    return true;
  }
  const int exponent = magnitude > 0.0 ? std::max(std::ilogb(magnitude), kSmallest) : kSmallest;
  const double scaled = std::ldexp(magnitude, kFraction - exponent);
  if (exponent > kLargest || scaled != std::floor(scaled)) return false;
  const auto digits = static_cast<unsigned>(scaled);  // with the leading bit, if normal
  *half = sign | ((static_cast<unsigned>(exponent - kSmallest) << kFraction) + digits);
  return true;
}

}  // namespace

void CborWriter::big_endian(uint64_t value, size_t bytes) {
  for (size_t i = bytes; i-- > 0;) file_->append(static_cast<char>(value >> (8 * i)));
}

void CborWriter::head(unsigned major, uint64_t argument) {
  const auto initial = [&](unsigned info) { file_->append(static_cast<char>(major << 5U | info)); };
  if (argument < 24) return initial(static_cast<unsigned>(argument));
  const unsigned size = argument <= 0xff       ? 0
                        : argument <= 0xffff   ? 1
                        : argument >> 32U == 0 ? 2
                                               : 3;
  initial(24 + size);
  big_endian(argument, size_t{1} << size);
}

void CborWriter::begin_map(size_t count) { head(5, count); }
void CborWriter::begin_list(size_t count) { head(4, count); }

void CborWriter::text(std::string_view text) {
  head(is_utf8(text) ? 3 : 2, text.size());
  file_->append(text);
}

void CborWriter::integer(int64_t value) {
  if (value >= 0) return head(0, static_cast<uint64_t>(value));
  head(1, static_cast<uint64_t>(-1 - value));
}

void CborWriter::number(double value) {
  const auto single = static_cast<float>(value);
  unsigned half = 0;
  if (std::isnan(value)) {
    file_->append("\xf9\x7e");
    file_->append('\0');
  } else if (to_half(value, &half)) {
    file_->append('\xf9');
    big_endian(half, 2);
  } else if (std::fabs(value) <= 3.4028234663852886e38 && static_cast<double>(single) == value) {
    file_->append('\xfa');
    big_endian(std::bit_cast<uint32_t>(single), 4);
  } else {
    file_->append('\xfb');
    big_endian(std::bit_cast<uint64_t>(value), 8);
  }
}

void CborWriter::typed_array(unsigned tag, const void* elements, size_t bytes) {
  head(6, tag);
  head(2, bytes);
  file_->append(std::string_view(static_cast<const char*>(elements), bytes));
}

// The tags of RFC 8746 for little-endian elements.
void CborWriter::array(std::span<const double> values) {
  typed_array(86, values.data(), values.size_bytes());
}
void CborWriter::array(std::span<const int64_t> values) {
  typed_array(79, values.data(), values.size_bytes());
}
void CborWriter::array(std::span<const int32_t> values) {
  typed_array(78, values.data(), values.size_bytes());
}
void CborWriter::array(std::span<const uint8_t> values) {
  typed_array(64, values.data(), values.size_bytes());
}

}  // namespace vorlan
