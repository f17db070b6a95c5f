// What is added to the matrix waits in a list until the model is taken, and is put into the columns
// then, all at once.
#include "solve/reformulate/growing_model.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "task/numeric.h"

namespace vorlan::reformulate {

GrowingModel::GrowingModel(const Model& model) {
  model_.maximize = model.maximize;
  model_.constant = model.constant;
  model_.cost = model.cost;
  model_.var_lower = model.var_lower;
  model_.var_upper = model.var_upper;
  model_.var_kind = model.var_kind;
  model_.con_lower = model.con_lower;
  model_.con_upper = model.con_upper;
  model_.matrix = model.matrix;
  model_.quadratic_cost = model.quadratic_cost;
  model_.quadratic_coefficients = model.quadratic_coefficients;
  model_.matrix_cost = model.matrix_cost;
  model_.matrix_coefficients = model.matrix_coefficients;
  model_.cones = model.cones;
  model_.matrix_vars = model.matrix_vars;
  // Messages name what the user knows; names of what is added are empty.
  model_.var_names = model.var_names;
  model_.con_names = model.con_names;
}

int32_t GrowingModel::add_variable(double lower, double upper, VarKind kind) {
  model_.cost.push_back(0.0);
  model_.var_lower.push_back(lower);
  model_.var_upper.push_back(upper);
  model_.var_kind.push_back(kind);
  return model_.num_var() - 1;
}

int32_t GrowingModel::add_row(double lower, double upper) {
  model_.con_lower.push_back(lower);
  model_.con_upper.push_back(upper);
  return model_.num_con() - 1;
}

void GrowingModel::add_term(int32_t con, int32_t var, double coefficient) {
  if (coefficient != 0.0) terms_.push_back({con, var, coefficient});
}

Model GrowingModel::take() {
  std::sort(terms_.begin(), terms_.end(), [](const Term& a, const Term& b) {
    return std::tie(a.var, a.con) < std::tie(b.var, b.con);
  });
  const SparseMatrix old = std::exchange(model_.matrix, {});
  SparseMatrix& matrix = model_.matrix;
  matrix.row.reserve(old.row.size() + terms_.size());
  matrix.value.reserve(old.row.size() + terms_.size());
  auto term = terms_.begin();
  for (int32_t var = 0; var < model_.num_var(); ++var) {
    const size_t first = matrix.row.size();
    const bool is_old = index(var) + 1 < old.start.size();
    size_t k = is_old ? index(old.start[index(var)]) : 0;
    const size_t end = is_old ? index(old.start[index(var) + 1]) : 0;
    const auto put = [&](int32_t row, double value) {
      if (matrix.row.size() > first && matrix.row.back() == row) {
        matrix.value.back() += value;
        return;
      }
      matrix.row.push_back(row);
      matrix.value.push_back(value);
    };
    while (k < end || (term != terms_.end() && term->var == var)) {
      const bool has_term = term != terms_.end() && term->var == var;
      if (!has_term || (k < end && old.row[k] <= term->con)) {
        put(old.row[k], old.value[k]);
        ++k;
      } else {
        put(term->con, term->coefficient);
        ++term;
      }
    }
    matrix.start.push_back(static_cast<int64_t>(matrix.row.size()));
  }
  terms_.clear();
  return std::move(model_);
}

}  // namespace vorlan::reformulate
