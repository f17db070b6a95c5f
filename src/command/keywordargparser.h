// ARGS is the text behind the first ':' of a command word. It is a list of items with ',' between
// them; an item is a key, or a key and a value with '=' between them.
#pragma once

#include <string_view>

/// Walks ARGS item by item. All three views point into the command word.
struct KeywordArgParser {
  std::string_view rest;   // what is not taken yet
  std::string_view key{};  // of the item taken last
  /// This is the value of the item taken last that had a '='. An item without one leaves the value
  /// of an earlier item standing, and the commands see it: -solve:trm=a.txt,res writes both files
  /// to a.txt.
  std::string_view value{};

  /// Takes the next item. False, and nothing changed, when none is left.
  bool next();
};
