// Users' file names are resolved by these rules, so each step is kept as it is, the odd ones
// included.
#include "filename.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t kNpos = std::string_view::npos;

// The text is fixed here, not left to the standard library in use, which words it differently from
// version to version.
[[noreturn]] void throwsubstroutofrange(std::size_t position, std::size_t size) {
  throw std::out_of_range("basic_string_view::substr: __pos (which is " + std::to_string(position) +
                          ") > this->size() (which is " + std::to_string(size) + ")");
}

}  // namespace

FilenameParts split_filename(std::string_view name) {
  if (name.empty()) return {};

  const std::size_t slash = name.rfind('/');
  const std::size_t base = slash == kNpos ? 0 : slash + 1;
  const std::size_t last_dot = name.rfind('.');
  if (last_dot == kNpos || last_dot <= base) return {name, {}, {}};

  const std::size_t search_end = std::min(last_dot - base - 1, base);
  const std::size_t second_dot = name.rfind('.', search_end);
  if (second_dot == kNpos) return {name.substr(0, last_dot), name.substr(last_dot), {}};
  // The middle part has last_dot characters, not the difference: names in use are resolved by it.
  return {name.substr(0, second_dot), name.substr(second_dot, last_dot), name.substr(last_dot)};
}

FormatParts split_format(std::string_view text) {
  const std::size_t plus = text.rfind('+');
  if (plus == kNpos) throwsubstroutofrange(kNpos, text.size());
  return {text.substr(0, plus), text.substr(plus)};
}

std::optional<CompressionCode> compressionofextension(std::string_view extension) {
  if (extension.empty()) return CompressionCode::none;
  if (extension == ".gz") return CompressionCode::gzip;
  if (extension == ".zst") return CompressionCode::zstd;
  return std::nullopt;
}

std::optional<CompressionCode> compressionofsuffix(std::string_view suffix) {
  if (suffix == "+gzip") return CompressionCode::gzip;
  if (suffix == "+zstd") return CompressionCode::zstd;
  return std::nullopt;
}
