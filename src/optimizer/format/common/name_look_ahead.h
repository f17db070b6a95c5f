// Fetching the names of the next lines together.
//
// Names come in no order, so that each search in a large table would wait for the memory. A reader
// therefore looks at the lines that its TextReader has at hand and lets the table fetch what their
// names need, all at once. It guesses where the names stand. A name that it misses is found all the
// same when its line is read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "format/common/name_table.h"

namespace vorlan {

// The names of some lines, as many as NameTable::prefetch takes at once.
class NamesAhead {
 public:
  // Drops the name when full, and an empty one.
  void add(std::string_view name) {
    if (!full() && !name.empty()) names_[count_++] = name;
  }
  // Adds a name that may stand in several lines behind each other, once.
  void add_unless_last(std::string_view name) {
    if (count_ == 0 || names_[count_ - 1] != name) add(name);
  }
  bool full() const { return count_ == names_.size(); }
  std::span<const std::string_view> all() const { return std::span(names_).first(count_); }

 private:
  std::array<std::string_view, NameTable::kAtOnce> names_;
  size_t count_ = 0;
};

class NameLookAhead {
 public:
  // True if the reader is at the last line that was looked at, or behind it.
  bool is_due(int64_t line_number) const { return line_number >= looked_at_; }

  // Calls take(line) for the lines behind this one, as long as it returns true and whole lines are
  // at hand. `ahead` is what TextReader::ahead() gives.
  template <class Take>
  void walk(int64_t line_number, std::string_view ahead, Take take) {
    looked_at_ = line_number;
    for (bool wanted = true; wanted;) {
      const size_t end = ahead.find('\n');
      if (end == std::string_view::npos) return;
      wanted = take(ahead.substr(0, end));
      ahead.remove_prefix(end + 1);
      ++looked_at_;
    }
  }

 private:
  int64_t looked_at_ = 0;  // lines up to here
};

}  // namespace vorlan
