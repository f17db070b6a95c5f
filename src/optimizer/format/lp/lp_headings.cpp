// Finding headings, and what was meant by nearly one; see lp_headings.h.
#include "format/lp/lp_headings.h"

#include <algorithm>
#include <iterator>

#include "format/common/nearest.h"
#include "format/lp/lp.h"
#include "task/letters.h"

namespace vorlan {
namespace {

// Headings of other modelling languages, and what they are called here.
struct OtherWord {
  std::string_view word, meant;
};
constexpr OtherWord kOtherWords[] = {
    {"constraints", "subject to"}, {"constraint", "subject to"}, {"subjectto", "subject to"},
    {"where", "subject to"},       {"with", "subject to"},       {"s.t", "s.t."},
    {"rows", "subject to"},        {"ranges", "bounds"},         {"bools", "binary"},
    {"boolean", "binary"},         {"booleans", "binary"},       {"sec", "semi-continuous"},
    {"sin", "semi-continuous"},    {"free", "bounds"},
};

const OtherWord* find_other_word(std::string_view word) {
  const auto* const found =
      std::find_if(std::begin(kOtherWords), std::end(kOtherWords),
                   [word](const OtherWord& other) { return is_lp_word(word, other.word); });
  return found == std::end(kOtherWords) ? nullptr : found;
}

constexpr size_t kLongestHeading = 15;
constexpr size_t kLeastToMisspell = 4;  // letters; shorter headings are near to too many names

std::string_view first_word(std::string_view text) { return take_word(&text); }

// The words of the line that a heading has: "solution" has its kind behind it.
std::string_view first_words(std::string_view line, std::string_view heading) {
  return heading == "solution" ? line.substr(0, line.find(' ')) : line;
}

}  // namespace

// A heading of two words has one blank between them here, any number in a file.
struct LpHeadings::Heading {
  constexpr Heading(std::string_view all_words, LpSection its_section, bool of_ptf)
      : words(all_words),
        first_size(std::min(words.find_first_of(" -"), words.size())),
        section(its_section),
        extended(of_ptf) {}

  std::string_view words;
  size_t first_size;  // of the first word
  LpSection section;
  bool extended;
};

const LpHeadings::Heading LpHeadings::kHeadings[] = {
    {"subject to", LpSection::kConstraints, false},
    {"such that", LpSection::kConstraints, false},
    {"st", LpSection::kConstraints, false},
    {"s.t.", LpSection::kConstraints, false},
    {"st.", LpSection::kConstraints, false},
    {"bounds", LpSection::kBounds, false},
    {"bound", LpSection::kBounds, false},
    {"general constraints", LpSection::kForeign, false},
    {"generals", LpSection::kGenerals, false},
    {"general", LpSection::kGenerals, false},
    {"gen", LpSection::kGenerals, false},
    {"integers", LpSection::kGenerals, false},
    {"integer", LpSection::kGenerals, false},
    {"int", LpSection::kGenerals, false},
    {"binaries", LpSection::kBinaries, false},
    {"binary", LpSection::kBinaries, false},
    {"bin", LpSection::kBinaries, false},
    {"semi-continuous", LpSection::kSemi, false},
    {"semis", LpSection::kSemi, false},
    {"semi", LpSection::kSemi, false},
    {"sos", LpSection::kSets, false},
    {"sos1", LpSection::kSets1, false},
    {"sos2", LpSection::kSets2, false},
    {"lazy constraints", LpSection::kForeign, false},
    {"user cuts", LpSection::kForeign, false},
    {"end", LpSection::kEnd, false},
    {"matrix variables", LpSection::kMatrixVariables, true},
    {"cones", LpSection::kCones, true},
    {"parameters", LpSection::kParameters, true},
    {"solution", LpSection::kSolution, true},
};

LpSection LpHeadings::match() const {
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kName || token.text.size() > kLongestHeading) return LpSection::kNone;
  for (const Heading& heading : kHeadings) {
    if (matches(heading)) return heading.section;
  }
  return LpSection::kNone;
}

bool LpHeadings::matches(const Heading& heading) const {
  const std::string_view word = tokens_.token().text;
  const size_t size = heading.first_size;
  if (size != word.size() || !is_lp_word(word, heading.words.substr(0, size))) return false;
  if (heading.extended && (!extended_ || !tokens_.at_margin())) return false;
  if (size == heading.words.size()) return ends_as_heading(heading);
  const std::string_view second = heading.words.substr(size + 1);
  std::string_view rest = tokens_.rest();
  if (heading.words[size] == '-') {
    if (!rest.starts_with('-')) return false;
    rest.remove_prefix(1);
  }
  return is_lp_word(first_word(rest), second);
}

// Tells whether what follows the only word of a heading leaves it one.
bool LpHeadings::ends_as_heading(const Heading& heading) const {
  const char next = tokens_.following();
  if (next == ':' || is_relation_character(next) || next == '^' || next == '*') return false;
  return heading.section == LpSection::kSolution || !heading.extended || next == '\0';
}

LpSection LpHeadings::take() {
  const LpSection section = match();
  if (section == LpSection::kNone || section == LpSection::kForeign || section == LpSection::kEnd) {
    return section;
  }
  const bool two_words = is_lp_word(tokens_.token().text, "subject") ||
                         is_lp_word(tokens_.token().text, "such") ||
                         is_lp_word(tokens_.token().text, "matrix");
  const bool hyphen = is_lp_word(tokens_.token().text, "semi") && tokens_.rest().starts_with('-');
  tokens_.next();
  if (two_words) tokens_.next();
  if (hyphen) {
    tokens_.next();
    tokens_.next();
  }
  return section;
}

bool LpHeadings::check_misspelt() {
  const LpToken& token = tokens_.token();
  if (token.kind != LpKind::kName || !tokens_.at_margin() || variables_.find(token.text) >= 0) {
    return true;
  }
  const bool is_alone = tokens_.following() == '\0';
  const std::string help = is_alone ? advice() : nearest();
  if (help.empty()) return true;
  return tokens_.fail(token.text, "this looks like the name of a section", help);
}

bool LpHeadings::is_heading(std::string_view words) {
  const std::string small = in_small_letters(words);
  return std::any_of(std::begin(kHeadings), std::end(kHeadings), [&small](const Heading& heading) {
    return !heading.extended && heading.words == small;
  });
}

std::string LpHeadings::advice() const {
  const std::string word = in_small_letters(tokens_.token().text);
  if (tokens_.following() == ':' && is_heading(word)) {
    return "; the name of a section stands without ':'";
  }
  const OtherWord* const other = find_other_word(word);
  return other == nullptr ? nearest() : did_you_mean(other->meant);
}

std::string LpHeadings::nearest() const {
  std::string_view rest = tokens_.rest().substr(0, tokens_.rest().find('\\'));
  std::string line = in_small_letters(tokens_.token().text);
  for (std::string_view word = take_word(&rest); !word.empty(); word = take_word(&rest)) {
    line += " " + in_small_letters(word);
    if (line.size() > 2 * kLongestHeading) return {};
  }
  Nearest nearest(line);
  for (const Heading& heading : kHeadings) {
    if (heading.words.size() < kLeastToMisspell) continue;
    if (heading.extended && !extended_ && heading.words == first_words(line, heading.words)) {
      return "; a section of PTF files, which begin with the line '" + std::string(kPtfOpening) +
             "' and have the suffix .ptf or .opf";
    }
    nearest.consider(heading.words);
  }
  return nearest.advice();
}

}  // namespace vorlan
