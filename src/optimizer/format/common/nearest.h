// The known name that a misspelt one is nearest to, for the end of a message.
#pragma once

#include <string>
#include <string_view>

#include "task/letters.h"
#include "task/model.h"

namespace vorlan {

class Nearest {
 public:
  // `word` is borrowed.
  explicit Nearest(std::string_view word);

  void consider(std::string_view name);

  // Empty when no other name was near: at most about a third of the letters differ.
  const std::string& name() const { return name_; }
  // "; did you mean 'NAME'?", or nothing.
  std::string advice() const;

 private:
  std::string_view word_;
  std::string name_;
  int best_;  // the distance that a name must be below
};

// The advice for a table whose entries have each a `word`.
template <class Entries>
std::string advice_on_words(const Entries& entries, std::string_view word) {
  Nearest nearest(word);
  for (const auto& entry : entries) nearest.consider(entry.word);
  return nearest.advice();
}

// "; did you mean 'NAME'?"
std::string did_you_mean(std::string_view name);

// The same for words that are capitals only, of which the one at hand may be one in small letters.
template <class Entries>
std::string advice_on_capitals(const Entries& entries, std::string_view word) {
  const std::string capitals = in_capitals(word);
  for (const auto& entry : entries) {
    if (entry.word == capitals) return did_you_mean(capitals);
  }
  return advice_on_words(entries, capitals);
}

// The advice for the first `count` of the names.
std::string advice_on(const NameList& names, size_t count, std::string_view word);

}  // namespace vorlan
