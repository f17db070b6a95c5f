// Models are taken apart into elements by row and column, and put together again.
#include "equal_model.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "solve/check/sparse_columns.h"

namespace vorlan::test {
namespace {

using Terms = std::vector<std::pair<int32_t, double>>;

// The rows of F with F'F = Q, by Cholesky's method with the largest pivot first; what is left below
// rounding counts as 0.
std::vector<Terms> root_of(const std::vector<TriangleEntry>& entries, double factor) {
  constexpr double kRounding = 1e-13;
  std::vector<int32_t> vars;
  for (const TriangleEntry& e : entries) vars.insert(vars.end(), {e.row, e.col});
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  const auto place = [&](int32_t var) {
    return static_cast<size_t>(std::lower_bound(vars.begin(), vars.end(), var) - vars.begin());
  };
  const size_t n = vars.size();
  std::vector<std::vector<double>> left(n, std::vector<double>(n, 0.0));
  for (const TriangleEntry& e : entries) {
    left[place(e.row)][place(e.col)] = left[place(e.col)][place(e.row)] = factor * e.value;
  }
  std::vector<double> first(n);
  for (size_t k = 0; k < n; ++k) first[k] = left[k][k];
  std::vector<Terms> rows;
  while (rows.size() < n) {
    size_t pivot = n;
    double best = kRounding;
    for (size_t k = 0; k < n; ++k) {
      if (first[k] <= 0.0 || left[k][k] / first[k] <= best) continue;
      best = left[k][k] / first[k];
      pivot = k;
    }
    if (pivot == n) break;
    const double root = std::sqrt(left[pivot][pivot]);
    std::vector<double> column(n);
    for (size_t k = 0; k < n; ++k) column[k] = left[k][pivot] / root;
    Terms row;
    for (size_t k = 0; k < n; ++k) {
      if (column[k] != 0.0) row.emplace_back(vars[k], column[k]);
      for (size_t l = 0; l < n; ++l) left[k][l] -= column[k] * column[l];
    }
    left[pivot][pivot] = 0.0;
    rows.push_back(std::move(row));
  }
  return rows;
}

class Rewriter {
 public:
  Rewriter(const Model& model, uint32_t seed) : model_(model), random_(seed) {
    const SparseMatrix& a = model.matrix;
    for (size_t j = 0; j < model.cost.size(); ++j) {
      for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
        elements_.push_back({a.row[k], static_cast<int32_t>(j), a.value[k]});
      }
    }
    model_.var_names = {};
    model_.con_names = {};
    model_.cone_names = {};
    model_.matrix_var_names = {};
  }

  Model run(Rewriting rewriting) {
    switch (rewriting) {
      case Rewriting::kBoundsAsRows:
        write_bounds_as_rows();
        break;
      case Rewriting::kQuadraticsAsCones:
        write_quadratics_as_cones();
        break;
      case Rewriting::kVariablesTwice:
        write_variables_twice();
        break;
      case Rewriting::kOtherOrder:
        change_order();
        break;
      case Rewriting::kOtherSense:
        turn_round();
        break;
    }
    model_.matrix = make_columns(std::move(elements_), model_.cost.size());
    return std::move(model_);
  }

 private:
  int32_t add_variable(double cost, double lower, double upper) {
    model_.cost.push_back(cost);
    model_.var_lower.push_back(lower);
    model_.var_upper.push_back(upper);
    model_.var_kind.push_back(VarKind::kContinuous);
    return model_.num_var() - 1;
  }

  void add_row(double lower, double upper, const Terms& terms) {
    for (const auto& [var, value] : terms) elements_.push_back({model_.num_con(), var, value});
    model_.con_lower.push_back(lower);
    model_.con_upper.push_back(upper);
  }

  void write_bounds_as_rows() {
    for (int32_t var = 0; var < model_.num_var(); ++var) {
      const size_t j = index(var);
      if (model_.var_kind[j] != VarKind::kContinuous) continue;
      const double lower = std::exchange(model_.var_lower[j], -kInfinity);
      const double upper = std::exchange(model_.var_upper[j], kInfinity);
      if (std::isfinite(lower) || std::isfinite(upper)) add_row(lower, upper, {{var, 1.0}});
    }
  }

  // A variable that is at least half the square of F x; -1 where Q is 0.
  int32_t add_half_square(const std::vector<TriangleEntry>& entries, double factor, double cost) {
    const std::vector<Terms> root = root_of(entries, factor);
    if (root.empty()) return -1;
    const int32_t t = add_variable(cost, -kInfinity, kInfinity);
    Cone cone{ConeKind::kRotatedQuadratic, {t, add_variable(0.0, 1.0, 1.0)}, {}};
    for (Terms row : root) {
      cone.vars.push_back(add_variable(0.0, -kInfinity, kInfinity));
      row.emplace_back(cone.vars.back(), -1.0);
      add_row(0.0, 0.0, row);
    }
    model_.cones.push_back(std::move(cone));
    return t;
  }

  void write_quadratics_as_cones() {
    const double sense = model_.sense_factor();
    add_half_square(std::exchange(model_.quadratic_cost, {}), sense, sense);
    const auto all = std::exchange(model_.quadratic_coefficients, {});
    for (size_t k = 0; k < all.size();) {
      const int32_t con = all[k].con;
      std::vector<TriangleEntry> entries;
      for (; k < all.size() && all[k].con == con; ++k) entries.push_back(all[k].entry);
      const bool has_upper = std::isfinite(model_.con_upper[index(con)]);
      if (!has_upper && !std::isfinite(model_.con_lower[index(con)])) continue;
      const double sign = has_upper ? 1.0 : -1.0;
      const int32_t t = add_half_square(entries, sign, 0.0);
      if (t >= 0) elements_.push_back({con, t, sign});
    }
  }

  void write_variables_twice() {
    std::vector<int32_t> copy(model_.cost.size(), -1);
    for (size_t j = 0; j < copy.size(); ++j) {
      if (model_.var_kind[j] != VarKind::kContinuous || random_() % 2 == 0) continue;
      model_.cost[j] *= 0.5;
      copy[j] = add_variable(model_.cost[j], -kInfinity, kInfinity);
    }
    const size_t num_elements = elements_.size();
    for (size_t k = 0; k < num_elements; ++k) {
      const int32_t twin = copy[index(elements_[k].col)];
      if (twin < 0) continue;
      elements_[k].value *= 0.5;
      elements_.push_back({elements_[k].row, twin, elements_[k].value});
    }
    for (size_t j = 0; j < copy.size(); ++j) {
      if (copy[j] >= 0) add_row(0.0, 0.0, {{static_cast<int32_t>(j), 1.0}, {copy[j], -1.0}});
    }
  }

  // The new place of each of so many things.
  std::vector<int32_t> places(size_t count) {
    std::vector<int32_t> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), random_);
    return order;
  }

  template <class T>
  static void move_to(const std::vector<int32_t>& place, std::vector<T>* values) {
    std::vector<T> moved(values->size());
    for (size_t k = 0; k < moved.size(); ++k) moved[index(place[k])] = (*values)[k];
    *values = std::move(moved);
  }

  static void move_to(const std::vector<int32_t>& place, TriangleEntry* entry) {
    const int32_t row = place[index(entry->row)];
    const int32_t col = place[index(entry->col)];
    *entry = {std::max(row, col), std::min(row, col), entry->value};
  }

  void change_order() {
    const std::vector<int32_t> var = places(model_.cost.size());
    const std::vector<int32_t> con = places(model_.con_lower.size());
    for (auto* values : {&model_.cost, &model_.var_lower, &model_.var_upper}) move_to(var, values);
    move_to(var, &model_.var_kind);
    for (auto* values : {&model_.con_lower, &model_.con_upper}) move_to(con, values);
    for (MatrixElement& e : elements_) e = {con[index(e.row)], var[index(e.col)], e.value};
    for (TriangleEntry& e : model_.quadratic_cost) move_to(var, &e);
    for (ConQuadraticEntry& e : model_.quadratic_coefficients) {
      e.con = con[index(e.con)];
      move_to(var, &e.entry);
    }
    change_order_of_cones(var);
    change_order_of_matrices(con);
    sort_entries();
  }

  void change_order_of_cones(const std::vector<int32_t>& var) {
    for (Cone& cone : model_.cones) {
      for (int32_t& member : cone.vars) member = var[index(member)];
      const bool exponential =
          cone.kind == ConeKind::kExponential || cone.kind == ConeKind::kDualExponential;
      size_t heads = std::max<size_t>(1, cone.exponents.size());
      if (cone.kind == ConeKind::kRotatedQuadratic) heads = 2;
      if (exponential || heads > cone.vars.size()) continue;
      std::shuffle(cone.vars.begin() + static_cast<ptrdiff_t>(heads), cone.vars.end(), random_);
      if (cone.kind == ConeKind::kRotatedQuadratic) std::swap(cone.vars[0], cone.vars[1]);
    }
    std::shuffle(model_.cones.begin(), model_.cones.end(), random_);
  }

  void change_order_of_matrices(const std::vector<int32_t>& con) {
    const std::vector<int32_t> matrix = places(model_.matrix_vars.size());
    std::vector<std::vector<int32_t>> rows;
    for (const MatrixVariable& variable : model_.matrix_vars) {
      rows.push_back(places(index(variable.dimension)));
    }
    for (MatrixCostEntry& e : model_.matrix_cost) {
      move_to(rows[index(e.matrix_var)], &e.entry);
      e.matrix_var = matrix[index(e.matrix_var)];
    }
    for (MatrixCoefficient& e : model_.matrix_coefficients) {
      move_to(rows[index(e.matrix_var)], &e.entry);
      e.matrix_var = matrix[index(e.matrix_var)];
      e.con = con[index(e.con)];
    }
    move_to(matrix, &model_.matrix_vars);
  }

  void sort_entries() {
    const auto by_place = [](const TriangleEntry& e) { return std::pair{e.col, e.row}; };
    const auto sort = [](auto* entries, const auto& key) {
      std::sort(entries->begin(), entries->end(),
                [&](const auto& a, const auto& b) { return key(a) < key(b); });
    };
    sort(&model_.quadratic_cost, by_place);
    sort(&model_.quadratic_coefficients, [&](const ConQuadraticEntry& e) {
      return std::pair{e.con, by_place(e.entry)};
    });
    sort(&model_.matrix_cost, [&](const MatrixCostEntry& e) {
      return std::pair{e.matrix_var, by_place(e.entry)};
    });
    sort(&model_.matrix_coefficients, [&](const MatrixCoefficient& e) {
      return std::tuple{e.con, e.matrix_var, by_place(e.entry)};
    });
  }

  void turn_round() {
    model_.maximize = !model_.maximize;
    model_.constant = -model_.constant;
    for (double& cost : model_.cost) cost = -cost;
    for (TriangleEntry& e : model_.quadratic_cost) e.value = -e.value;
    for (MatrixCostEntry& e : model_.matrix_cost) e.entry.value = -e.entry.value;
  }

  Model model_;
  std::vector<MatrixElement> elements_;
  std::mt19937 random_;
};

}  // namespace

Model rewrite(const Model& model, Rewriting rewriting, uint32_t seed) {
  return Rewriter(model, seed).run(rewriting);
}

}  // namespace vorlan::test
