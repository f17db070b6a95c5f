// Fixes the integers and moves their terms.
#include "solve/highs/fixed_integers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "solve/check/checker.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// What sums of terms may be off by, relative to these.
constexpr double kRounding = 4.0 * std::numeric_limits<double>::epsilon();

bool is_fixed(const Model& model, size_t j, double value) {
  return is_integer(model.var_kind[j]) || is_off(model, j, value);
}

}  // namespace

bool is_off(const Model& model, size_t j, double value) {
  if (!is_semi(model.var_kind[j])) return false;
  const double inside = std::clamp(value, model.var_lower[j], model.var_upper[j]);
  return std::fabs(value) <= std::fabs(value - inside) && inside != value;
}

Model fix_integers(const Model& model, const std::vector<double>& point) {
  Model fixed = model;
  std::vector<double> moved(model.con_lower.size(), 0.0);
  std::vector<double> size(model.con_lower.size(), 0.0);  // of what was moved
  SparseMatrix rest;
  for (size_t j = 0; j < point.size(); ++j) {
    const bool is_left = !is_fixed(model, j, point[j]);
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      if (is_left) {
        rest.row.push_back(model.matrix.row[k]);
        rest.value.push_back(model.matrix.value[k]);
      } else {
        const double term = model.matrix.value[k] * point[j];
        moved[index(model.matrix.row[k])] += term;
        size[index(model.matrix.row[k])] += std::fabs(term);
      }
    }
    rest.start.push_back(static_cast<int64_t>(rest.row.size()));
    if (!is_left) fixed.var_lower[j] = fixed.var_upper[j] = point[j];
    fixed.var_kind[j] = VarKind::kContinuous;
  }
  fixed.matrix = std::move(rest);
  for (size_t i = 0; i < moved.size(); ++i) {
    const double error = kRounding * size[i];
    fixed.con_lower[i] -= moved[i] + error;
    fixed.con_upper[i] -= moved[i] - error;
  }
  return fixed;
}

double violation_beside_integers(const Model& model, const std::vector<double>& point) {
  return primal_violation(fix_integers(model, point), point);
}

}  // namespace vorlan
