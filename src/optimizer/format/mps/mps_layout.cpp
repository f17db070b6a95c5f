// Giving the words of a line their roles; see mps_layout.h.
#include "format/mps/mps_layout.h"

#include <array>

#include "format/mps/mps_bounds.h"

namespace vorlan {
namespace {

constexpr size_t kMostWords = 1000;  // of a line; more are no data that anyone writes

}  // namespace

Status MpsLayout::split_words(std::string_view line, MpsShape shape) {
  Status status = collect_words(line, shape);
  if (!status.ok()) return status;
  const std::string_view line_end = line.substr(line.size());
  line_.type = line_.head = {};
  line_.rest.clear();
  switch (shape) {
    case MpsShape::kRow:
      return arrange_row(line_end);
    case MpsShape::kBound:
      return arrange_bound(line_end);
    case MpsShape::kSet:
    case MpsShape::kIndicator:
      return arrange_typed(line_end, shape);
    default:
      return arrange_entries(line_end, shape);
  }
}

// A word that begins with '$' and is no name, but for the first one, ends the line.
Status MpsLayout::collect_words(std::string_view line, MpsShape shape) {
  words_.clear();
  while (true) {
    const std::string_view word = take_mps_word(&line);
    if (word.empty()) return {};
    if (word[0] == '$' && !may_be_name(word, shape)) return {};
    if (words_.size() == kMostWords) return reading_.text.error(word, "too many words in a line");
    words_.push_back(word);
  }
}

bool MpsLayout::may_be_name(std::string_view word, MpsShape shape) const {
  return words_.empty() || rows_.is_objective(word) || rows_.find(word) >= 0 ||
         columns_.find(word) >= 0 || (shape == MpsShape::kRow && words_.size() == 1);
}

Status MpsLayout::arrange_row(std::string_view line_end) {
  if (words_.size() > 2) {
    return reading_.text.error(words_[2], "the end of the line was expected");
  }
  if (words_.size() < 2) return reading_.text.error(line_end, "the name of a row was expected");
  line_.type = words_[0];
  line_.head = words_[1];
  return {};
}

// The type of a set may be missing: the line is one of a member then.
Status MpsLayout::arrange_typed(std::string_view line_end, MpsShape shape) {
  const bool typed = shape == MpsShape::kIndicator || is_mps_set_type(words_[0]);
  const size_t head = typed ? 1 : 0;
  if (words_.size() <= head) return reading_.text.error(line_end, "a name was expected");
  if (typed) line_.type = words_[0];
  line_.head = words_[head];
  line_.rest.assign(words_.begin() + static_cast<std::ptrdiff_t>(head) + 1, words_.end());
  return {};
}

Status MpsLayout::arrange_entries(std::string_view line_end, MpsShape shape) {
  const bool has_head = shape == MpsShape::kEntries || words_.size() % 2 == 1;
  if (has_head) line_.head = words_[0];
  line_.rest.assign(words_.begin() + (has_head ? 1 : 0), words_.end());
  if (!line_.rest.empty()) return {};
  return reading_.text.error(line_end, "a name and a number were expected");
}

// The set may be missing, and behind a type that needs no value there may be one: the number of
// words tells, and where it does not, whether the word is a column.
Status MpsLayout::arrange_bound(std::string_view line_end) {
  const size_t count = words_.size();
  line_.type = words_[0];
  const MpsBoundType* const type = find_mps_bound_type(words_[0]);
  if (type == nullptr) {
    return reading_.text.error(words_[0], "the type of a bound was expected");
  }
  const size_t usual = type->has_value() ? 4 : 3;
  if (count > 4) return reading_.text.error(words_[4], "the end of the line was expected");
  if (count + 1 < usual) return reading_.text.error(line_end, "a column was expected");
  const bool value_instead =
      count == 3 && usual == 3 && columns_.find(words_[2]) < 0 && columns_.find(words_[1]) >= 0;
  const bool has_set = count >= usual && !value_instead;
  if (has_set) line_.head = words_[1];
  line_.rest.assign(words_.begin() + (has_set ? 2 : 1), words_.end());
  return {};
}

// Splits lines that stand in columns: ' UP BND       X         4' and the like.
bool MpsLayout::split_columns(std::string_view line, MpsShape shape) {
  if (!split_at_columns(line, &fields_)) return false;
  line_.type = fields_[0];
  line_.head = fields_[1];
  line_.rest.clear();
  const bool has_type =
      shape == MpsShape::kRow || shape == MpsShape::kBound || shape == MpsShape::kIndicator;
  if (shape == MpsShape::kSet) {
    if (!fields_[0].empty() && !is_mps_set_type(fields_[0])) return false;
  } else if (has_type == fields_[0].empty()) {
    return false;
  }
  size_t last = fields_.size();
  while (last > 2 && fields_[last - 1].empty()) --last;
  line_.rest.assign(fields_.begin() + 2, fields_.begin() + static_cast<std::ptrdiff_t>(last));
  // A marker has its second word where the second name belongs.
  if (line_.rest.size() == 3 && line_.rest[0] == kMpsMarker) {
    line_.rest.erase(line_.rest.begin() + 1);
  }
  if (shape == MpsShape::kRow) return line_.rest.empty() && !line_.head.empty();
  if (shape == MpsShape::kSet) {
    std::erase(line_.rest, std::string_view());
    return !line_.head.empty();
  }
  return !line_.rest.empty() && !line_.rest[0].empty();
}

void collect_mps_names(std::string_view line, MpsShape shape, NamesAhead* rows,
                       NamesAhead* columns) {
  std::array<std::string_view, 4> words;
  for (std::string_view& word : words) word = take_mps_word(&line);
  switch (shape) {
    case MpsShape::kWord:
      break;
    case MpsShape::kRow:
      rows->add(words[1]);
      break;
    case MpsShape::kEntries:
      columns->add_unless_last(words[0]);
      [[fallthrough]];
    case MpsShape::kSetEntries:
      rows->add(words[1]);
      rows->add(words[3]);
      break;
    case MpsShape::kSet:
    case MpsShape::kIndicator:
      break;
    case MpsShape::kBound:
      columns->add_unless_last(words[2]);
  }
}

}  // namespace vorlan
