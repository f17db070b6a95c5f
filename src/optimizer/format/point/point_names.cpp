// Names of variables and constraints in files of points and bases.
#include "format/point/point_names.h"

#include <algorithm>

#include "file/numbers.h"
#include "format/common/nearest.h"
#include "task/numeric.h"

namespace vorlan {

PointNames::PointNames(const NameList& names, size_t count, char letter)
    : names_(names), count_(count), letter_(letter), table_(&names) {}

void PointNames::fill_table() {
  has_table_ = true;
  table_.reserve(count_);
  for (size_t i = 0; i < count_; ++i) {
    if (!names_[i].empty()) table_.insert(names_[i], static_cast<int32_t>(i));
  }
}

bool PointNames::is_usable(size_t index) const {
  const std::string_view name = names_[index];
  const auto is_blank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  return !name.empty() && name.front() != '#' && name.front() != '<' &&
         std::none_of(name.begin(), name.end(), is_blank);
}

std::string PointNames::name_of(size_t index) const {
  return is_usable(index) ? std::string(names_[index]) : letter_ + std::to_string(index + 1);
}

int32_t PointNames::find(std::string_view name) {
  if (!has_table_) fill_table();
  const int32_t found = table_.find(name);
  if (found >= 0 || name.size() < 2 || name[0] != letter_) return found;
  int32_t number = 0;
  if (!parse_int32(name.substr(1), &number) || number < 1) return -1;
  const size_t place = index(number) - 1;
  return place < count_ && !is_usable(place) ? number - 1 : -1;
}

std::string PointNames::advice(std::string_view name) const {
  return advice_on(names_, count_, name);
}

}  // namespace vorlan
