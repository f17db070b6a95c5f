// What the texts of a log have, for tests of them.
#pragma once

#include <string>

// How often the words stand in a text.
inline size_t occurrences(const std::string& text, const std::string& words) {
  size_t number = 0;
  for (size_t at = 0; (at = text.find(words, at)) != std::string::npos; at += words.size()) {
    ++number;
  }
  return number;
}
