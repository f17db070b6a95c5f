// All units are powers of two, which change no digit of a double: what differs between two units is
// the rule's doing.
#include "solve/scaled_ray.h"

#include <cmath>

#include "task/packed_matrices.h"

namespace vorlan::test {
namespace {

constexpr int kMostRow = 30;
constexpr int kMostColumn = 15;
constexpr int kMostSide = 30;

class Scaling {
 public:
  Scaling(RayCase* scaled, std::mt19937* random)
      : model_(scaled->model), ray_(scaled->ray), random_(*random) {}

  void apply() {
    choose();
    scale_rows();
    scale_columns();
    scale_matrices();
    scale_sides();
    const int cost = draw(kMostRow);
    for (double& c : model_.cost) c = std::ldexp(c, cost);
    for (TriangleEntry& q : model_.quadratic_cost) q.value = std::ldexp(q.value, cost);
    for (MatrixCostEntry& c : model_.matrix_cost) c.entry.value = std::ldexp(c.entry.value, cost);
  }

 private:
  int draw(int most) { return std::uniform_int_distribution<int>(-most, most)(random_); }

  void choose() {
    for (size_t i = 0; i < model_.con_lower.size(); ++i) row_.push_back(draw(kMostRow));
    for (size_t j = 0; j < model_.cost.size(); ++j) column_.push_back(draw(kMostColumn));
    for (const Cone& cone : model_.cones) choose_cone(cone);
    for (const MatrixVariable& variable : model_.matrix_vars) {
      matrix_.emplace_back();
      for (int k = 0; k < variable.dimension; ++k) matrix_.back().push_back(draw(kMostColumn));
    }
  }

  // One unit for a cone; of a rotated cone and of a power cone with equal exponents, the product of
  // the first two units is the square of the others'.
  void choose_cone(const Cone& cone) {
    const int unit = draw(kMostColumn);
    const bool two_units = cone.kind == ConeKind::kRotatedQuadratic ||
                           cone.kind == ConeKind::kPower || cone.kind == ConeKind::kDualPower;
    const int twist = two_units ? draw(kMostColumn) : 0;
    for (size_t k = 0; k < cone.vars.size(); ++k) {
      column_[index(cone.vars[k])] = unit + (k == 0 ? twist : k == 1 ? -twist : 0);
    }
  }

  void scale_rows() {
    for (size_t k = 0; k < model_.matrix.value.size(); ++k) {
      double& a = model_.matrix.value[k];
      a = std::ldexp(a, row_[index(model_.matrix.row[k])]);
    }
    for (ConQuadraticEntry& q : model_.quadratic_coefficients) {
      q.entry.value = std::ldexp(q.entry.value, row_[index(q.con)]);
    }
    for (MatrixCoefficient& a : model_.matrix_coefficients) {
      a.entry.value = std::ldexp(a.entry.value, row_[index(a.con)]);
    }
    for (size_t i = 0; i < row_.size(); ++i) {
      model_.con_lower[i] = std::ldexp(model_.con_lower[i], row_[i]);
      model_.con_upper[i] = std::ldexp(model_.con_upper[i], row_[i]);
      if (!ray_.y.empty()) ray_.y[i] = std::ldexp(ray_.y[i], -row_[i]);
    }
  }

  // x_j becomes x_j / 2^e.
  void scale_columns() {
    const auto scale_form = [this](TriangleEntry* q) {
      q->value = std::ldexp(q->value, column_[index(q->row)] + column_[index(q->col)]);
    };
    for (TriangleEntry& q : model_.quadratic_cost) scale_form(&q);
    for (ConQuadraticEntry& q : model_.quadratic_coefficients) scale_form(&q.entry);
    for (size_t j = 0; j < column_.size(); ++j) {
      const int e = column_[j];
      for (int64_t k = model_.matrix.start[j]; k < model_.matrix.start[j + 1]; ++k) {
        double& a = model_.matrix.value[index(k)];
        a = std::ldexp(a, e);
      }
      model_.cost[j] = std::ldexp(model_.cost[j], e);
      model_.var_lower[j] = std::ldexp(model_.var_lower[j], -e);
      model_.var_upper[j] = std::ldexp(model_.var_upper[j], -e);
      if (!ray_.x.empty()) ray_.x[j] = std::ldexp(ray_.x[j], -e);
      if (!ray_.snx.empty()) ray_.snx[j] = std::ldexp(ray_.snx[j], e);
    }
  }

  void scale_matrices() {
    const auto unit = [this](int32_t variable, int32_t row, int32_t col) {
      const std::vector<int>& units = matrix_[index(variable)];
      return units[index(row)] + units[index(col)];
    };
    for (MatrixCoefficient& a : model_.matrix_coefficients) {
      a.entry.value = std::ldexp(a.entry.value, unit(a.matrix_var, a.entry.row, a.entry.col));
    }
    for (MatrixCostEntry& c : model_.matrix_cost) {
      c.entry.value = std::ldexp(c.entry.value, unit(c.matrix_var, c.entry.row, c.entry.col));
    }
    if (ray_.barx.empty()) return;
    size_t place = 0;
    for (int32_t m = 0; m < model_.num_matrix_var(); ++m) {
      const int32_t n = model_.matrix_vars[index(m)].dimension;
      for (int32_t col = 0; col < n; ++col) {
        for (int32_t row = col; row < n; ++row, ++place) {
          ray_.barx[place] = std::ldexp(ray_.barx[place], -unit(m, row, col));
        }
      }
    }
  }

  // All of x becomes 2^e x.
  void scale_sides() {
    const int e = draw(kMostSide);
    for (auto* sides :
         {&model_.con_lower, &model_.con_upper, &model_.var_lower, &model_.var_upper}) {
      for (double& side : *sides) side = std::ldexp(side, e);
    }
    for (ConQuadraticEntry& q : model_.quadratic_coefficients) {
      q.entry.value = std::ldexp(q.entry.value, -e);
    }
    for (TriangleEntry& q : model_.quadratic_cost) q.value = std::ldexp(q.value, -e);
    for (double& x : ray_.x) x = std::ldexp(x, e);
  }

  Model& model_;
  BackendResult& ray_;
  std::mt19937& random_;
  std::vector<int> row_, column_;
  std::vector<std::vector<int>> matrix_;
};

}  // namespace

RayCase in_random_units(RayCase original, std::mt19937* random) {
  Scaling(&original, random).apply();
  return original;
}

}  // namespace vorlan::test
