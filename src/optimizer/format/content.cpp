// Every format begins in a way of its own; see content.h.
#include "format/content.h"

#include <algorithm>

#include "format/cbf/cbf.h"
#include "format/lp/lp.h"
#include "format/mps/mps.h"
#include "format/task/task_file.h"

namespace vorlan {
namespace {

// The beginnings of comments in front of the first word, with the format when nothing else says it.
// Only the asterisk is of two formats. A PTF file may be a plain LP file, not the other way round.
struct CommentSign {
  char sign;
  std::string_view suffix;
};
constexpr CommentSign kCommentSigns[] = {
    {'*', ".mps"}, {'\\', ".ptf"}, {'#', ".cbf"}, {'"', ".dat-s"}};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string_view trimmed(std::string_view line) {
  while (!line.empty() && is_blank(line.front())) line.remove_prefix(1);
  while (!line.empty() && is_blank(line.back())) line.remove_suffix(1);
  return line;
}

std::string_view take_line(std::string_view* text) {
  const size_t end = std::min(text->find('\n'), text->size());
  const std::string_view line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return line;
}

template <class Accepts>
std::string_view leading(std::string_view text, Accepts accepts) {
  const auto* const end = std::find_if_not(text.begin(), text.end(), accepts);
  return text.substr(0, static_cast<size_t>(end - text.begin()));
}

// An SDPA file begins with the number of its constraints, behind which words may follow.
bool is_count(std::string_view line) {
  const size_t size = leading(line, is_digit).size();
  return size > 0 && (size == line.size() || is_blank(line[size]) || line[size] == '=');
}

std::string_view suffix_of_line(std::string_view line) {
  if (line[0] == '{') return ".jtask";
  if (is_count(line)) return ".dat-s";
  const std::string_view word = leading(line, is_letter);
  if (is_lp_sense(word)) return line == kPtfOpening ? ".ptf" : ".lp";
  if (is_mps_first_word(word)) return ".mps";
  return is_cbf_first_word(word) ? ".cbf" : std::string_view();
}

std::string_view suffix_of_comment(std::string_view line) {
  for (const CommentSign& comment : kCommentSigns) {
    if (line[0] == comment.sign) return comment.suffix;
  }
  return {};
}

}  // namespace

std::string_view suffix_of_content(std::string_view head) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (begins_cbor_task(head)) return ".task";
  if (head.starts_with(kByteOrderMark)) head.remove_prefix(kByteOrderMark.size());
  std::string_view commented;
  while (!head.empty()) {
    const std::string_view line = trimmed(take_line(&head));
    if (line.empty()) continue;
    const std::string_view comment = suffix_of_comment(line);
    if (comment.empty()) return suffix_of_line(line);
    if (commented.empty()) commented = comment;
  }
  return commented;
}

}  // namespace vorlan
