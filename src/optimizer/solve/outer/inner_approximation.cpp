// Each cone is spanned by some of its members: along its axes, and along the point's own direction.
#include "solve/outer/inner_approximation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "solve/check/sparse_columns.h"
#include "task/numeric.h"

namespace vorlan::outer {
namespace {

using Ray = std::vector<double>;  // the members of a cone

// Unit vectors of the norm: the direction of the values, and the axes, both ways.
std::vector<Ray> directions(const std::vector<double>& values) {
  std::vector<Ray> found;
  double norm = 0.0;
  for (const double value : values) norm = std::hypot(norm, value);
  Ray own = values;
  for (double& value : own) value /= norm;
  if (norm > 0.0 && values.size() > 1) found.push_back(own);
  for (size_t k = 0; k < values.size(); ++k) {
    found.emplace_back(values.size(), 0.0);
    found.back()[k] = 1.0;
  }
  const size_t count = found.size();
  for (size_t k = 0; k < count; ++k) {
    found.push_back(found[k]);
    for (double& value : found.back()) value = -value;
  }
  return found;
}

// Unit vectors all around, for norms of two members. The cone of such a norm is often a rotated one
// of other variables, whose axes are not its own.
std::vector<Ray> circle() {
  constexpr int kDirections = 32;
  std::vector<Ray> found;
  for (int k = 0; k < kDirections; ++k) {
    const double angle = 2.0 * std::numbers::pi * k / kDirections;
    found.push_back({std::cos(angle), std::sin(angle)});
  }
  return found;
}

std::vector<Ray> quadratic_rays(const std::vector<double>& values) {
  std::vector<Ray> rays(1, Ray(values.size(), 0.0));
  rays[0][0] = 1.0;
  std::vector<Ray> all = directions({values.begin() + 1, values.end()});
  if (values.size() == 3) {
    const std::vector<Ray> more = circle();
    all.insert(all.end(), more.begin(), more.end());
  }
  for (const Ray& direction : all) {
    rays.push_back({1.0});
    rays.back().insert(rays.back().end(), direction.begin(), direction.end());
  }
  return rays;
}

// (s^2 / 2, 1, s w) with |w| = 1 is at the boundary of 2 x0 x1 >= |x2, ...|^2.
std::vector<Ray> rotated_rays(const std::vector<double>& values) {
  constexpr double kFarthest = 1e3;
  constexpr double kFactors[] = {0.25, 0.5, 1.0, 2.0, 4.0};
  const std::vector<double> tail(values.begin() + 2, values.end());
  double norm = 0.0;
  for (const double value : tail) norm = std::hypot(norm, value);
  const double own = values[1] > 0.0 && norm > 0.0 ? norm / values[1] : 1.0;
  const double slope = std::clamp(own, 1.0 / kFarthest, kFarthest);
  std::vector<Ray> rays(2, Ray(values.size(), 0.0));
  rays[0][0] = rays[1][1] = 1.0;
  for (const Ray& direction : directions(tail)) {
    for (const double factor : kFactors) {
      const double s = factor * slope;
      const double scale = std::max({0.5 * s * s, 1.0, s});
      rays.push_back({0.5 * s * s / scale, 1.0 / scale});
      for (const double value : direction) rays.back().push_back(s * value / scale);
    }
  }
  return rays;
}

}  // namespace

bool has_inner_approximation(const Model& model) {
  const bool quadratic = std::all_of(model.cones.begin(), model.cones.end(), [](const Cone& cone) {
    return cone.kind == ConeKind::kQuadratic || cone.kind == ConeKind::kRotatedQuadratic;
  });
  return quadratic && !model.cones.empty() && model.quadratic_coefficients.empty() &&
         model.matrix_vars.empty();
}

Model approximate_within(const Model& model, const std::vector<double>& x) {
  Model linear = model;
  linear.cones.clear();
  linear.quadratic_cost.clear();
  std::vector<MatrixElement> elements;
  for (size_t j = 0; j < model.cost.size(); ++j) {
    for (size_t k = index(model.matrix.start[j]); k < index(model.matrix.start[j + 1]); ++k) {
      elements.push_back({model.matrix.row[k], static_cast<int32_t>(j), model.matrix.value[k]});
    }
  }
  for (const Cone& cone : model.cones) {
    const int32_t first_row = linear.num_con();
    std::vector<double> values;
    for (const int32_t var : cone.vars) {
      elements.push_back({linear.num_con(), var, -1.0});
      linear.con_lower.push_back(0.0);
      linear.con_upper.push_back(0.0);
      values.push_back(x[index(var)]);
    }
    const bool rotated = cone.kind == ConeKind::kRotatedQuadratic;
    for (const Ray& ray : rotated ? rotated_rays(values) : quadratic_rays(values)) {
      for (size_t k = 0; k < ray.size(); ++k) {
        const int32_t row = first_row + static_cast<int32_t>(k);
        if (ray[k] != 0.0) elements.push_back({row, linear.num_var(), ray[k]});
      }
      linear.cost.push_back(0.0);
      linear.var_lower.push_back(0.0);
      linear.var_upper.push_back(kInfinity);
      linear.var_kind.push_back(VarKind::kContinuous);
    }
  }
  linear.matrix = make_columns(elements, linear.cost.size());
  return linear;
}

}  // namespace vorlan::outer
