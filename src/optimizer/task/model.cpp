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
  return std::any_of(var_kind.begin(), var_kind.end(),
                     [](VarKind kind) { return kind != VarKind::kContinuous; });
}

std::vector<double> constraint_activities(const Model& model, const std::vector<double>& x) {
  std::vector<double> activity(model.con_lower.size(), 0.0);
  const SparseMatrix& a = model.matrix;
  for (size_t j = 0; j < x.size(); ++j) {
    if (x[j] == 0.0) continue;
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const auto element = static_cast<size_t>(k);
      activity[static_cast<size_t>(a.row[element])] += a.value[element] * x[j];
    }
  }
  return activity;
}

double linear_objective(const Model& model, const std::vector<double>& x) {
  double objective = 0.0;
  for (size_t j = 0; j < x.size(); ++j) objective += model.cost[j] * x[j];
  return objective;
}

}  // namespace vorlan
