// The words, numbers and signs of an LP file, one at a time, over line ends and comments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "file/text_reader.h"
#include "format/common/format.h"
#include "task/status.h"

namespace vorlan {

// Comments before the first word that have a meaning; docs/formats/lp.md describes them.
inline constexpr std::string_view kLpEncodedNames = "\\ Dialect: encoded names";
inline constexpr std::string_view kLpExactNumbers = "\\ Dialect: exact numbers";
inline constexpr std::string_view kLpProblemName = "\\ Problem name: ";

enum class LpKind : uint8_t {
  kName,
  kNumber,
  kPlus,
  kMinus,
  kLess,
  kGreater,
  kEqual,
  kColon,
  kOpen,
  kClose,
  kStar,
  kSlash,
  kCaret,
  kEnd,  // of the file, and after a failure
};

struct LpToken {
  LpKind kind = LpKind::kEnd;
  bool first = false;  // of its line
  bool glued = false;  // to the token before it, without a blank between them
  double number = 0.0;
  std::string_view text;  // valid until the first token of a later line is read
};

// The place of a token, for a message about it when later ones have been read.
struct LpPlace {
  int64_t line = 0;
  size_t column = 0;  // in bytes, from 1
};

inline bool is_sign(LpKind kind) { return kind == LpKind::kPlus || kind == LpKind::kMinus; }
inline bool is_relation(LpKind kind) {
  return kind == LpKind::kLess || kind == LpKind::kGreater || kind == LpKind::kEqual;
}

inline bool is_relation_character(char c) { return c == '<' || c == '>' || c == '='; }

// The relation with its sides exchanged.
inline LpKind mirrored(LpKind relation) {
  if (relation == LpKind::kLess) return LpKind::kGreater;
  return relation == LpKind::kGreater ? LpKind::kLess : relation;
}

// True if the text is the word, which is in lower case, in any case.
bool is_lp_word(std::string_view text, std::string_view word);

class LpTokens {
 public:
  LpTokens(InputStream* input, Warnings* warnings);

  const LpToken& token() const { return token_; }
  LpKind kind() const { return token_.kind; }

  void next();

  // The text that follows the token in its line.
  std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }
  // The first character behind the token and blanks; '\0' at the line's end.
  char following() const;
  // Drops what follows the token in its line.
  void drop_rest() { at_ = end_; }
  // True if the token begins "->", which joins a condition and its constraint.
  bool at_arrow() const { return token_.kind == LpKind::kMinus && at_ != end_ && *at_ == '>'; }
  // True if the token is the first character of its line.
  bool at_margin() const { return token_.first && token_.text.data() == line_; }

  // The first failure: of reading, of a character that no token has, or one that was reported.
  const Status& status() const { return status_; }
  // Reports that something else than the token was expected. Returns false.
  bool fail(std::string_view what) { return fail(token_.text, what); }
  bool fail(std::string_view word, std::string_view what, std::string_view help = {});
  // Fails about a word that was read before.
  bool fail_at(const LpPlace& place, std::string_view word, std::string_view what,
               std::string_view help = {});
  LpPlace place() const {
    return {line_number(), static_cast<size_t>(token_.text.data() - line_) + 1};
  }
  // Warns about a word of the line at hand, or about one that was read before. `help` stands last.
  void warn(std::string_view word, std::string_view what, std::string_view help = {}) {
    warnings_->add(text_.error(word, what, help).message());
  }
  void warn_at(const LpPlace& place, std::string_view word, std::string_view what,
               std::string_view help = {}) {
    warnings_->add(text_.error_at(place.line, place.column, word, what, help).message());
  }
  int64_t line_number() const { return text_.line_number(); }
  // The bytes behind the line of the token, as far as they are at hand.
  std::string_view ahead() const { return text_.ahead(); }
  Status finish() { return text_.finish(); }
  // Warns of a word behind the token, the last one that is read.
  void warn_of_rest();

  // Said by the comments before the first word.
  bool encoded_names() const { return encoded_names_; }
  bool exact_numbers() const { return exact_numbers_; }
  const std::string& problem_name() const { return problem_name_; }

 private:
  bool next_line();
  void comment(std::string_view text);
  void take_number();
  void take_relation();

  TextReader text_;
  Warnings* warnings_;
  LpToken token_;
  const char* line_ = nullptr;
  const char* at_ = nullptr;
  const char* end_ = nullptr;
  Status status_;
  bool head_ = true;  // no word has come yet
  bool encoded_names_ = false, exact_numbers_ = false;
  std::string problem_name_;
};

}  // namespace vorlan
