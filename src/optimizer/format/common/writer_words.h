// Small questions that the writers of text formats ask alike.
#pragma once

#include <cmath>
#include <cstddef>
#include <string>

#include "file/text_reader.h"
#include "task/model.h"
#include "task/text.h"

namespace vorlan {

inline bool is_plus_zero(double value) { return value == 0.0 && !std::signbit(value); }

inline bool same_bits(double a, double b) { return a == b && std::signbit(a) == std::signbit(b); }

// The element as a message calls it: by its name or, when it has none, by its number from 1.
inline std::string shown_name(const NameList& names, size_t index, const char* kind) {
  if (names[index].empty()) return format_text("%s %zu", kind, index + 1);
  return format_text("%s '%s'", kind, printable(names[index]).c_str());
}

}  // namespace vorlan
