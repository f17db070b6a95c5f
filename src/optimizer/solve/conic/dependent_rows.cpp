// Dependence shows as a vanishing pivot in a factorization of A A': the pivots are the squared
// distances of the rows, of length 1, from the span of those before. With such pivots made infinite
// the same factorization gives a point that satisfies the other rows, in which the dependent ones
// must hold too.
#include "solve/conic/dependent_rows.h"

#include <algorithm>
#include <cmath>

#include "solve/conic/sparse_ldl.h"
#include "solve/vectors.h"

namespace vorlan::conic {
namespace {

constexpr double kDependent = 1e-11;
constexpr double kConsistent = 1e-10;

// Rows that may depend on others: a row with a variable that no other row has, or with a matrix
// variable, is taken for independent.
std::vector<int32_t> find_candidates(const ConicProblem& problem) {
  std::vector<bool> independent(problem.rhs.size(), false);
  for (const MatrixBlock& block : problem.matrices) {
    for (const MatrixPart& part : block.parts) independent[index(part.row)] = true;
  }
  const Columns& a = problem.matrix;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    if (a.start[j + 1] - a.start[j] == 1) independent[index(a.row[index(a.start[j])])] = true;
  }
  std::vector<int32_t> candidates;
  for (int32_t i = 0; i < problem.num_row(); ++i) {
    if (!independent[index(i)]) candidates.push_back(i);
  }
  return candidates;
}

// The candidates as columns, of length 1, with their right-hand sides. Empty rows keep length 0.
struct Rows {
  Columns columns;
  std::vector<double> rhs;
};

Rows select(const ConicProblem& problem, const std::vector<int32_t>& candidates) {
  const Columns all = transpose(problem.matrix);
  Rows rows;
  rows.columns.num_row = problem.num_var();
  for (const int32_t row : candidates) {
    double square = 0.0;
    for (int64_t k = all.start[index(row)]; k < all.start[index(row) + 1]; ++k) {
      square += all.value[index(k)] * all.value[index(k)];
    }
    const double factor = square > 0.0 ? 1.0 / std::sqrt(square) : 1.0;
    for (int64_t k = all.start[index(row)]; k < all.start[index(row) + 1]; ++k) {
      rows.columns.row.push_back(all.row[index(k)]);
      rows.columns.value.push_back(all.value[index(k)] * factor);
    }
    rows.columns.start.push_back(static_cast<int64_t>(rows.columns.row.size()));
    rows.rhs.push_back(problem.rhs[index(row)] * factor);
  }
  return rows;
}

// Long columns make A A' dense; then dependence is left to the method, which can bear with it.
bool is_product_sparse(const Columns& by_var) {
  constexpr double kMostGrowth = 30.0;
  double elements = 0.0;
  for (size_t j = 0; j + 1 < by_var.start.size(); ++j) {
    const auto length = static_cast<double>(by_var.start[j + 1] - by_var.start[j]);
    elements += length * length;
  }
  return elements <= kMostGrowth * static_cast<double>(by_var.row.size());
}

// The upper triangle of A A', a row of A a column of both arguments' transpose.
UpperTriangle multiply_by_transpose(const Columns& by_row, const Columns& by_var) {
  UpperTriangle product;
  std::vector<double> sums(index(by_row.num_col()), 0.0);
  std::vector<int32_t> mark(sums.size(), -1);
  std::vector<int32_t> found;
  for (int32_t i = 0; i < by_row.num_col(); ++i) {
    found.assign(1, i);
    mark[index(i)] = i;
    for (int64_t k = by_row.start[index(i)]; k < by_row.start[index(i) + 1]; ++k) {
      const size_t var = index(by_row.row[index(k)]);
      for (int64_t l = by_var.start[var]; l < by_var.start[var + 1]; ++l) {
        const int32_t other = by_var.row[index(l)];
        if (other > i) continue;
        if (mark[index(other)] != i) found.push_back(other);
        mark[index(other)] = i;
        sums[index(other)] += by_row.value[index(k)] * by_var.value[index(l)];
      }
    }
    for (const int32_t other : found) {
      product.row.push_back(other);
      product.value.push_back(sums[index(other)]);
      sums[index(other)] = 0.0;
    }
    product.start.push_back(static_cast<int64_t>(product.row.size()));
    ++product.order;
  }
  return product;
}

// The dependent ones that a point of the others satisfies, as indices of rows.
std::vector<int32_t> find_redundant(const Rows& rows) {
  const Columns by_var = transpose(rows.columns);
  if (!is_product_sparse(by_var)) return {};
  const UpperTriangle system = multiply_by_transpose(rows.columns, by_var);
  const std::vector<int8_t> signs(index(system.order), 1);
  SparseLdl factor;
  factor.set_pivot_rule({kDependent, 1e30});
  factor.analyze(system, {});
  factor.factor(system, signs, nullptr);
  if (factor.replaced().empty()) return {};
  std::vector<double> multipliers = rows.rhs;
  factor.solve(multipliers.data());
  std::vector<double> point(index(rows.columns.num_row), 0.0);
  add_product(rows.columns, 1.0, multipliers.data(), point.data());
  std::vector<double> value(rows.rhs.size(), 0.0);
  add_transposed_product(rows.columns, 1.0, point.data(), value.data());
  double size = 1.0;
  for (const double x : point) size = std::max(size, std::fabs(x));
  std::vector<int32_t> redundant;
  for (const int32_t i : factor.replaced()) {
    if (std::fabs(value[index(i)] - rows.rhs[index(i)]) <= kConsistent * size) {
      redundant.push_back(i);
    }
  }
  return redundant;
}

void keep_rows(const std::vector<int32_t>& kept, ConicProblem* problem) {
  std::vector<int32_t> place(problem->rhs.size(), -1);
  std::vector<double> rhs;
  for (const int32_t row : kept) {
    place[index(row)] = static_cast<int32_t>(rhs.size());
    rhs.push_back(problem->rhs[index(row)]);
  }
  problem->rhs = std::move(rhs);
  Columns reduced;
  reduced.num_row = problem->num_row();
  const Columns& a = problem->matrix;
  for (size_t j = 0; j < problem->cost.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const int32_t row = place[index(a.row[index(k)])];
      if (row < 0) continue;
      reduced.row.push_back(row);
      reduced.value.push_back(a.value[index(k)]);
    }
    reduced.start.push_back(static_cast<int64_t>(reduced.row.size()));
  }
  problem->matrix = std::move(reduced);
  for (MatrixBlock& block : problem->matrices) {
    for (MatrixPart& part : block.parts) part.row = place[index(part.row)];
  }
}

}  // namespace

std::vector<int32_t> remove_dependent_rows(ConicProblem* problem) {
  std::vector<bool> is_redundant(problem->rhs.size(), false);
  const std::vector<int32_t> candidates = find_candidates(*problem);
  if (!candidates.empty()) {
    for (const int32_t i : find_redundant(select(*problem, candidates))) {
      is_redundant[index(candidates[index(i)])] = true;
    }
  }
  std::vector<int32_t> kept;
  for (int32_t i = 0; i < problem->num_row(); ++i) {
    if (!is_redundant[index(i)]) kept.push_back(i);
  }
  if (kept.size() < problem->rhs.size()) keep_rows(kept, problem);
  return kept;
}

}  // namespace vorlan::conic
