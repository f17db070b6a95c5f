// Splitting MPS lines; see mps_lines.h.
#include "format/mps/mps_lines.h"

#include <algorithm>

#include "task/letters.h"

namespace vorlan {
namespace {

struct Columns {
  size_t begin, end;  // from 0, as [begin, end)
};

// Columns 2-3, 5-12, 15-22, 25-36, 40-47 and 50-61, counted from 1.
constexpr std::array<Columns, 6> kFields = {
    {{1, 3}, {4, 12}, {14, 22}, {24, 36}, {39, 47}, {49, 61}}};

std::string_view part(std::string_view line, size_t begin, size_t end) {
  if (begin >= line.size()) return {};
  return line.substr(begin, end - begin);
}

bool is_blank(std::string_view text) {
  return text.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace

bool split_at_columns(std::string_view line, MpsFields* fields) {
  if (line.find('\t') != std::string_view::npos) return false;
  size_t gap = 0;
  for (size_t i = 0; i < kFields.size(); ++i) {
    const auto [begin, end] = kFields[i];
    if (!is_blank(part(line, gap, begin))) return false;
    (*fields)[i] = trim_blanks(part(line, begin, end));
    gap = end;
  }
  return is_blank(part(line, gap, line.size()));
}

bool is_mps_set_type(std::string_view word) {
  return same_word(word, "S1") || same_word(word, "S2");
}

bool same_word(std::string_view text, std::string_view capitals) {
  return std::equal(text.begin(), text.end(), capitals.begin(), capitals.end(),
                    [](char a, char b) { return to_capital(a) == b; });
}

}  // namespace vorlan
