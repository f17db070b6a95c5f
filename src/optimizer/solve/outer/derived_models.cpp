// What is left out stays in place as zeros, so that variables keep their numbers.
#include "solve/outer/derived_models.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "solve/check/sparse_columns.h"
#include "task/numeric.h"

namespace vorlan::outer {
namespace {

std::vector<MatrixElement> elements_of(const SparseMatrix& matrix) {
  std::vector<MatrixElement> elements;
  for (size_t j = 0; j + 1 < matrix.start.size(); ++j) {
    for (size_t k = index(matrix.start[j]); k < index(matrix.start[j + 1]); ++k) {
      elements.push_back({matrix.row[k], static_cast<int32_t>(j), matrix.value[k]});
    }
  }
  return elements;
}

// The places (cone, member) of the heads of all quadratic cones.
std::vector<std::pair<size_t, size_t>> quadratic_heads(const Model& model) {
  std::vector<std::pair<size_t, size_t>> heads;
  for (size_t c = 0; c < model.cones.size(); ++c) {
    const bool rotated = model.cones[c].kind == ConeKind::kRotatedQuadratic;
    if (!rotated && model.cones[c].kind != ConeKind::kQuadratic) continue;
    const size_t count = std::min<size_t>(rotated ? 2 : 1, model.cones[c].vars.size());
    for (size_t k = 0; k < count; ++k) heads.emplace_back(c, k);
  }
  return heads;
}

}  // namespace

Model without_objective(const Model& model) {
  Model feasibility = model;
  feasibility.cost.assign(model.cost.size(), 0.0);
  feasibility.constant = 0.0;
  feasibility.maximize = false;
  feasibility.quadratic_cost.clear();
  feasibility.matrix_cost.clear();
  return feasibility;
}

Model without_integers(Model model) {
  for (size_t j = 0; j < model.cost.size(); ++j) {
    if (is_semi(model.var_kind[j])) {
      model.var_lower[j] = std::min(0.0, model.var_lower[j]);
      model.var_upper[j] = std::max(0.0, model.var_upper[j]);
    }
    model.var_kind[j] = VarKind::kContinuous;
  }
  return model;
}

std::optional<Model> deepest_in_cones(const Model& model, const std::vector<double>& x) {
  constexpr double kLeastUnit = 1e-3;  // as a share of the largest
  // At 1 the members behind a head could only be 0, where the conic method has no interior.
  constexpr double kMostDepth = 0.9;
  const auto heads = quadratic_heads(model);
  const auto size_of = [&](size_t c, size_t k) {
    return std::fabs(x[index(model.cones[c].vars[k])]);
  };
  double largest_head = 0.0;
  for (const auto& [c, k] : heads) largest_head = std::max(largest_head, size_of(c, k));
  if (!(largest_head > 0.0)) return std::nullopt;
  Model deep = without_integers(without_objective(model));
  std::vector<MatrixElement> elements = elements_of(model.matrix);
  const auto add_variable = [&deep](double cost, double lower, double upper) {
    deep.cost.push_back(cost);
    deep.var_lower.push_back(lower);
    deep.var_upper.push_back(upper);
    deep.var_kind.push_back(VarKind::kContinuous);
    return deep.num_var() - 1;
  };
  const auto depth = static_cast<int32_t>(model.cost.size() + heads.size());
  for (const auto& [c, k] : heads) {
    int32_t& head = deep.cones[c].vars[k];
    const double unit = std::max(size_of(c, k), kLeastUnit * largest_head);
    const int32_t inner = add_variable(0.0, -kInfinity, kInfinity);
    elements.push_back({deep.num_con(), head, 1.0});
    elements.push_back({deep.num_con(), inner, -1.0});
    elements.push_back({deep.num_con(), depth, -unit});
    deep.con_lower.push_back(0.0);
    deep.con_upper.push_back(0.0);
    head = inner;
  }
  add_variable(-1.0, 0.0, kMostDepth);
  deep.matrix = make_columns(std::move(elements), deep.cost.size());
  return deep;
}

}  // namespace vorlan::outer
