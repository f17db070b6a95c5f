// Collecting warnings.
#include "format/common/format.h"

#include <utility>

#include "task/text.h"

namespace vorlan {

void Warnings::add(std::string text) {
  if (lines_.size() < kMostLines) {
    lines_.push_back(std::move(text));
  } else {
    ++dropped_;
  }
}

std::string Warnings::text() const {
  std::string text;
  for (const std::string& line : lines_) text += "warning: " + line + "\n";
  if (dropped_ > 0) text += format_text("warning: and %zu more like these\n", dropped_);
  return text;
}

}  // namespace vorlan
