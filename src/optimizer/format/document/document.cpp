// The parts that both encodings share; see document.h.
#include "format/document/document.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "format/common/nearest.h"

namespace vorlan {
namespace {

// Length of the character at the front, 0 if it is none (RFC 3629).
size_t utf8_length(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4) return 0;
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (text.size() < length) return 0;
  unsigned code = first & (0xffU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0U) != 0x80U) return 0;
    code = code << 6 | (byte(i) & 0x3fU);
  }
  constexpr std::array<unsigned, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  const bool valid =
      code >= kSmallest[length] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
  return valid ? length : 0;
}

bool is_ascii8(const char* at) {
  uint64_t bytes = 0;
  std::memcpy(&bytes, at, sizeof(bytes));
  return (bytes & 0x8080808080808080U) == 0;
}

}  // namespace

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    size_t length = 8;
    if (text.size() < length || !is_ascii8(text.data())) length = utf8_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

void write_map(DocumentWriter* writer, std::vector<WriteField> fields) {
  std::erase_if(fields, [](const WriteField& field) { return !field.present; });
  std::sort(fields.begin(), fields.end(), [](const WriteField& a, const WriteField& b) {
    return std::pair(a.key.size(), a.key) < std::pair(b.key.size(), b.key);
  });
  writer->begin_map(fields.size());
  for (const WriteField& field : fields) {
    writer->key(field.key);
    field.write();
  }
  writer->end_map();
}

bool DocumentReader::read(std::string* text) {
  std::string_view view;
  if (!read(&view)) return false;
  *text = view;
  return true;
}

bool DocumentReader::fail(Mark mark, std::string_view what) {
  if (ok()) status_ = failure(mark, what);
  return false;
}

bool read_map(DocumentReader* reader, std::string_view what,
              std::initializer_list<ReadField> fields) {
  const Mark start = reader->mark();
  std::vector<bool> seen(fields.size());
  std::string key;
  if (!reader->enter_map()) return false;
  while (reader->next_key(&key)) {
    const Mark mark = reader->mark();
    const auto* field = std::find_if(fields.begin(), fields.end(),
                                     [&](const ReadField& f) { return f.key == key; });
    const auto about = [&](const char* text) {
      return std::string(what) + " " + text + " '" + key.substr(0, 60) + "'";
    };
    if (field == fields.end()) {
      Nearest nearest(key);
      for (const ReadField& known : fields) nearest.consider(known.key);
      return reader->fail(mark, about("has no key") + nearest.advice());
    }
    const auto index = static_cast<size_t>(field - fields.begin());
    if (seen[index]) return reader->fail(mark, about("has twice the key"));
    seen[index] = true;
    if (field->mark != nullptr) *field->mark = mark;
    if (!field->read()) return false;
  }
  for (const ReadField& field : fields) {
    if (!field.required || seen[static_cast<size_t>(&field - fields.begin())]) continue;
    return reader->fail(start,
                        std::string(what) + " lacks the key '" + std::string(field.key) + "'");
  }
  return reader->ok();
}

}  // namespace vorlan
