// How these files call variables and constraints: by their names, or by a letter and the number
// from 1 where a name is missing or would be taken for something else, as one with a blank or a
// control character in it. Where such a word is the name of another element, underscores follow.
#pragma once

#include <string>
#include <string_view>

#include "format/common/name_table.h"
#include "task/model.h"

namespace vorlan {

class PointNames {
 public:
  // The names are borrowed. The letter stands for an element without a usable name. The table of
  // names is made by the first search: writing needs none.
  PointNames(const NameList& names, size_t count, char letter);

  std::string name_of(size_t index);
  // -1 when there is none.
  int32_t find(std::string_view name);
  // "; did you mean 'NAME'?", or nothing.
  std::string advice(std::string_view name) const;

 private:
  bool is_usable(size_t index) const;
  bool is_name(std::string_view word);
  void fill_table();

  const NameList& names_;
  size_t count_;
  char letter_;
  NameTable table_;
  bool has_table_ = false;
};

}  // namespace vorlan
