// Properties of the splitters of command words, whatever the bytes: the items of ARGS put together
// again are ARGS; the parts of a file name and of a format value lie in it, in order, and with
// nothing lost where the rules lose nothing.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "filename.h"
#include "keywordargparser.h"

namespace {

void require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", property);
  std::abort();
}

bool lies_in(std::string_view part, std::string_view whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void check_items(std::string_view args) {
  KeywordArgParser parser{args};
  std::string joined;
  bool first = true;
  std::string_view last_value;
  while (parser.next()) {
    if (!first) joined += ',';
    first = false;
    joined += parser.key;
    const char* behind_key = parser.key.data() + parser.key.size();
    const bool has_value = behind_key < args.data() + args.size() && *behind_key == '=';
    if (has_value) {
      joined += '=';
      joined += parser.value;
    } else {
      require(parser.value == last_value, "an item without '=' leaves the value standing");
    }
    last_value = parser.value;
    require(parser.key.find_first_of(",=") == std::string_view::npos, "a key has no ',' or '='");
  }
  if (args.ends_with(',')) args.remove_suffix(1);
  require(joined == args, "the items put together are ARGS");
}

void check_filename(std::string_view name) {
  const auto [stem, format, compression] = split_filename(name);
  require(lies_in(stem, name) && lies_in(format, name) && lies_in(compression, name),
          "the parts lie in the name");
  require(name.starts_with(stem), "the stem begins the name");
  require(format.empty() || format.front() == '.', "the format extension begins with '.'");
  require(format.empty() || format.data() == name.data() + stem.size(),
          "the format extension follows the stem");
  if (compression.empty()) {
    require(stem.size() + format.size() == name.size(), "nothing is lost");
    return;
  }
  require(name.ends_with(compression) && compression.rfind('.') == 0,
          "the compression extension is the last one");
}

void check_format(std::string_view text) {
  try {
    const auto [word, suffix] = split_format(text);
    require(word.size() + suffix.size() == text.size() && text.starts_with(word),
            "word and suffix are the text");
    require(suffix.rfind('+') == 0, "the suffix begins at the last '+'");
  } catch (const std::out_of_range&) {
    require(text.find('+') == std::string_view::npos, "only a text without '+' is refused");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  check_items(text);
  check_filename(text);
  check_format(text);
  return 0;
}
