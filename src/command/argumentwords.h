// The driver and the commands take the words of the command line from here, one after the other,
// so that each word is taken once and all of them agree on the place.
#pragma once

#include <optional>
#include <span>
#include <string>

class ArgumentWords {
 public:
  /// words[0] is the program's name and is not taken.
  explicit ArgumentWords(std::span<char* const> words) : words_(words) {}

  bool empty() const { return position_ >= words_.size(); }

  /// The next word as it is, whatever it looks like; none when the list has ended. A command that
  /// needs several words and meets the end has thereby used up the list, which ends the run.
  std::optional<std::string> take() {
    if (empty()) return std::nullopt;
    return words_[position_++];
  }

 private:
  std::span<char* const> words_;
  std::size_t position_ = 1;
};
