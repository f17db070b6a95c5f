// Names and small computations of the model.
#include "task/model.h"

#include <algorithm>

namespace vorlan {

void NameList::add(std::string_view name) {
  text_.append(name);
  end_.push_back(text_.size());
  longest_ = std::max(longest_, name.size());
}

void NameList::reserve(size_t count, size_t bytes) {
  end_.reserve(count);
  text_.reserve(bytes);
}

std::string_view NameList::operator[](size_t index) const {
  if (index >= end_.size()) return {};
  const size_t begin = index == 0 ? 0 : end_[index - 1];
  return std::string_view(text_).substr(begin, end_[index] - begin);
}

bool Model::is_mixed_integer() const {
  if (has_logic()) return true;
  return std::any_of(var_kind.begin(), var_kind.end(),
                     [](VarKind kind) { return kind != VarKind::kContinuous; });
}

bool Model::is_binary(int32_t var) const {
  const auto j = static_cast<size_t>(var);
  return var_kind[j] == VarKind::kInteger && var_lower[j] >= 0.0 && var_upper[j] <= 1.0;
}

}  // namespace vorlan
