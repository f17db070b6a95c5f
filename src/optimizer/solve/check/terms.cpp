// Each sum walks over the elements of the model once and adds to a Sum, which collects the size of
// the terms beside their value.
#include "solve/check/terms.h"

#include "solve/check/vectors.h"
#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// Calls visit(row, value) for the elements of a column.
template <class Visit>
void for_column(const SparseMatrix& a, size_t j, Visit&& visit) {
  for (auto k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
    visit(index(a.row[k]), a.value[k]);
  }
}

// The term of 1/2 x'Mx that an element of the lower triangle stands for.
double quadratic_term(int32_t row, int32_t col, double value, const std::vector<double>& x) {
  const double factor = row == col ? 0.5 : 1.0;
  return factor * value * x[index(row)] * x[index(col)];
}

// The places of elements of matrix variables, and how often each counts in an inner product.
class Triangles {
 public:
  explicit Triangles(const Model& model) : model_(model), starts_(packed_starts(model)) {}

  size_t size() const { return starts_.back(); }
  size_t place(int32_t matrix_var, const TriangleEntry& entry) const {
    const auto dimension = index(model_.matrix_vars[index(matrix_var)].dimension);
    return starts_[index(matrix_var)] + packed_place(dimension, index(entry.row), index(entry.col));
  }
  double term(int32_t matrix_var, const TriangleEntry& entry,
              const std::vector<double>& barx) const {
    const double factor = entry.row == entry.col ? 1.0 : 2.0;
    return factor * entry.value * barx[place(matrix_var, entry)];
  }

 private:
  const Model& model_;
  std::vector<size_t> starts_;
};

}  // namespace

std::vector<Sum> linear_row_sums(const Model& model, const std::vector<double>& x,
                                 const std::vector<double>& barx) {
  std::vector<Sum> sums(model.con_lower.size());
  for (size_t j = 0; j < x.size(); ++j) {
    for_column(model.matrix, j, [&](size_t row, double value) { sums[row].add(value * x[j]); });
  }
  if (barx.empty()) return sums;
  const Triangles triangles(model);
  for (const MatrixCoefficient& a : model.matrix_coefficients) {
    sums[index(a.con)].add(triangles.term(a.matrix_var, a.entry, barx));
  }
  return sums;
}

std::vector<QuadraticForm> quadratic_forms(const Model& model) {
  std::vector<QuadraticForm> forms;
  for (const ConQuadraticEntry& q : model.quadratic_coefficients) {
    if (forms.empty() || forms.back().con != q.con) forms.push_back({q.con, {}});
    forms.back().entries.push_back(q.entry);
  }
  return forms;
}

std::vector<Sum> row_sums(const Model& model, const std::vector<double>& x,
                          const std::vector<double>& barx) {
  std::vector<Sum> sums = linear_row_sums(model, x, barx);
  for (const ConQuadraticEntry& q : model.quadratic_coefficients) {
    sums[index(q.con)].add(quadratic_term(q.entry.row, q.entry.col, q.entry.value, x));
  }
  return sums;
}

Sum linear_objective_sum(const MinimizeProblem& problem, const std::vector<double>& x,
                         const std::vector<double>& barx) {
  Sum sum;
  for (size_t j = 0; j < x.size(); ++j) sum.add(problem.cost[j] * x[j]);
  if (barx.empty()) return sum;
  const Triangles triangles(problem.model);
  for (const MatrixCostEntry& c : problem.model.matrix_cost) {
    sum.add(problem.sense_factor() * triangles.term(c.matrix_var, c.entry, barx));
  }
  return sum;
}

Sum objective_sum(const MinimizeProblem& problem, const std::vector<double>& x,
                  const std::vector<double>& barx) {
  Sum sum = linear_objective_sum(problem, x, barx);
  for (const TriangleEntry& q : problem.model.quadratic_cost) {
    sum.add(problem.sense_factor() * quadratic_term(q.row, q.col, q.value, x));
  }
  return sum;
}

std::vector<SymmetricElement> lagrangian_hessian(const MinimizeProblem& problem,
                                                 const std::vector<double>& y, WithCost with_cost) {
  const Model& model = problem.model;
  std::vector<SymmetricElement> hessian;
  if (with_cost == WithCost::kYes) {
    for (const TriangleEntry& q : model.quadratic_cost) {
      hessian.push_back({q.row, q.col, problem.sense_factor() * q.value});
    }
  }
  for (const ConQuadraticEntry& q : model.quadratic_coefficients) {
    const double multiplier = y[index(q.con)];
    if (multiplier == 0.0) continue;
    hessian.push_back({q.entry.row, q.entry.col, -multiplier * q.entry.value});
  }
  return hessian;
}

std::vector<Sum> column_sums(const MinimizeProblem& problem, const BackendResult& values,
                             const std::vector<SymmetricElement>& hessian, WithCost with_cost) {
  std::vector<Sum> sums(problem.cost.size());
  for (size_t j = 0; j < sums.size(); ++j) {
    if (with_cost == WithCost::kYes) sums[j].add(problem.cost[j]);
    for_column(problem.model.matrix, j,
               [&](size_t row, double value) { sums[j].add(-value * values.y[row]); });
  }
  for (const SymmetricElement& element : hessian) {
    if (values.x.empty()) break;
    const size_t row = index(element.row);
    const size_t col = index(element.col);
    sums[row].add(element.value * values.x[col]);
    if (row != col) sums[col].add(element.value * values.x[row]);
  }
  for (size_t j = 0; j < values.snx.size(); ++j) sums[j].add(-values.snx[j]);
  return sums;
}

std::vector<Sum> matrix_column_sums(const MinimizeProblem& problem, const std::vector<double>& y,
                                    WithCost with_cost) {
  const Model& model = problem.model;
  const Triangles triangles(model);
  std::vector<Sum> sums(triangles.size());
  if (with_cost == WithCost::kYes) {
    for (const MatrixCostEntry& c : model.matrix_cost) {
      sums[triangles.place(c.matrix_var, c.entry)].add(problem.sense_factor() * c.entry.value);
    }
  }
  for (const MatrixCoefficient& a : model.matrix_coefficients) {
    sums[triangles.place(a.matrix_var, a.entry)].add(-y[index(a.con)] * a.entry.value);
  }
  return sums;
}

double half_quadratic_form(const std::vector<SymmetricElement>& elements,
                           const std::vector<double>& x) {
  double sum = 0.0;
  for (const SymmetricElement& element : elements) {
    sum += quadratic_term(element.row, element.col, element.value, x);
  }
  return sum;
}

}  // namespace vorlan
