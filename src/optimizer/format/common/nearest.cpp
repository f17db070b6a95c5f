// Finding the nearest name; see nearest.h.
#include "format/common/nearest.h"

#include <algorithm>

#include "file/text_reader.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr size_t kLongest = 60;  // names of machines that are longer have many neighbours

}  // namespace

Nearest::Nearest(std::string_view word)
    : word_(word), best_(word.size() > kLongest ? 0 : static_cast<int>(word.size() + 2) / 3 + 1) {}

void Nearest::consider(std::string_view name) {
  const size_t longer = std::max(name.size(), word_.size());
  const size_t shorter = std::min(name.size(), word_.size());
  if (longer - shorter >= index(best_)) return;
  const int distance = edit_distance(word_, name);
  if (distance == 0 || distance >= best_ || index(distance) >= longer) return;
  name_ = name;
  best_ = distance;
}

std::string Nearest::advice() const { return name_.empty() ? std::string() : did_you_mean(name_); }

std::string did_you_mean(std::string_view name) {
  return "; did you mean '" + printable(name) + "'?";
}

std::string advice_on(const NameList& names, size_t count, std::string_view word) {
  Nearest nearest(word);
  for (size_t i = 0; i < count; ++i) nearest.consider(names[i]);
  return nearest.advice();
}

}  // namespace vorlan
