// Names of variables and constraints in files of points and bases.
#include "format/point/point_names.h"

#include <algorithm>

#include "file/numbers.h"
#include "file/text_reader.h"
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
  const auto is_blank = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7f; };
  return !name.empty() && name.front() != '#' && name.front() != '<' && name != "=obj=" &&
         name != "**" && std::none_of(name.begin(), name.end(), is_blank) &&
         !has_high_control(name);
}

std::string PointNames::name_of(size_t index) {
  if (is_usable(index)) return std::string(names_[index]);
  std::string word = letter_ + std::to_string(index + 1);
  while (is_name(word)) word += '_';
  return word;
}

bool PointNames::is_name(std::string_view word) {
  if (!has_table_) fill_table();
  return table_.find(word) >= 0;
}

int32_t PointNames::find(std::string_view name) {
  if (is_name(name)) return table_.find(name);
  if (name.empty() || name[0] != letter_) return -1;
  const std::string_view digits = name.substr(1, name.find('_') - 1);
  int32_t number = 0;
  if (!parse_int32(digits, &number) || number < 1 || index(number) > count_) return -1;
  const size_t place = index(number) - 1;
  return !is_usable(place) && name_of(place) == name ? number - 1 : -1;
}

std::string PointNames::advice(std::string_view name) const {
  return advice_on(names_, count_, name);
}

}  // namespace vorlan
