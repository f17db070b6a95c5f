// Dependence shows as a vanishing pivot in a factorization of A A': the pivots are the squared
// distances of the rows, of length 1, from the span of those before. With such pivots made infinite
// the same factorization gives a point that satisfies the other rows, in which the dependent ones
// must hold too. Where one does not, it gives the combination of the others that contradicts it.
#include "solve/conic/dependent_rows.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"
#include "solve/conic/sparse_ldl.h"

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

// The candidates as columns, of length 1, with their right-hand sides and the factors that made
// them so. Empty rows keep length 0.
struct Rows {
  Columns columns;
  std::vector<double> rhs, rhs_size, factor;
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
    rows.rhs_size.push_back(problem.rhs_size[index(row)] * factor);
    rows.factor.push_back(factor);
  }
  return rows;
}

// Long columns make A A' dense. Dependence is left to the method then, which gets by with it.
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

// A'y and A x.
std::vector<double> combine(const Rows& rows, const std::vector<double>& y) {
  std::vector<double> sum(index(rows.columns.num_row), 0.0);
  add_product(rows.columns, 1.0, y, sum);
  return sum;
}

std::vector<double> evaluate(const Rows& rows, const std::vector<double>& x) {
  std::vector<double> values(rows.rhs.size(), 0.0);
  add_transposed_product(rows.columns, 1.0, x, values);
  return values;
}

// Row i less what the independent ones make of it, to a right-hand side above 0.
std::vector<double> contradict(const Rows& rows, const SparseLdl& factor, int32_t i,
                               double excess) {
  std::vector<double> unit(rows.rhs.size(), 0.0);
  unit[index(i)] = excess > 0.0 ? 1.0 : -1.0;
  std::vector<double> combination = evaluate(rows, combine(rows, unit));
  factor.solve(combination);
  add(-1.0, combination, &unit);
  for (size_t k = 0; k < unit.size(); ++k) unit[k] *= rows.factor[k];
  return unit;
}

struct Dependence {
  std::vector<int32_t> redundant;     // rows that the others satisfy
  std::vector<double> contradiction;  // of the row that they violate most; empty if none
};

Dependence find_dependence(const Rows& rows) {
  const Columns by_var = transpose(rows.columns);
  if (!is_product_sparse(by_var)) return {};
  const UpperTriangle system = multiply_by_transpose(rows.columns, by_var);
  const std::vector<int8_t> signs(index(system.order), 1);
  SparseLdl factor;
  factor.set_pivot_rule({kDependent, 1e30});
  factor.analyze(system, {});
  factor.factor(system, signs);
  if (factor.replaced().empty()) return {};
  std::vector<double> multipliers = rows.rhs;
  factor.solve(multipliers);
  const std::vector<double> point = combine(rows, multipliers);
  const std::vector<double> value = evaluate(rows, point);
  const double size = std::max(std::min(1.0, largest(rows.rhs_size)), largest(point));
  Dependence dependence;
  double worst = 0.0;
  for (const int32_t i : factor.replaced()) {
    const double excess = rows.rhs[index(i)] - value[index(i)];
    if (std::fabs(excess) <= kConsistent * std::max(size, rows.rhs_size[index(i)])) {
      dependence.redundant.push_back(i);
    } else if (std::fabs(excess) > worst) {
      worst = std::fabs(excess);
      dependence.contradiction = contradict(rows, factor, i, excess);
    }
  }
  return dependence;
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

RowReduction remove_dependent_rows(ConicProblem* problem) {
  RowReduction reduction;
  std::vector<bool> is_redundant(problem->rhs.size(), false);
  const std::vector<int32_t> candidates = find_candidates(*problem);
  if (!candidates.empty()) {
    const Dependence dependence = find_dependence(select(*problem, candidates));
    for (const int32_t i : dependence.redundant) is_redundant[index(candidates[index(i)])] = true;
    if (!dependence.contradiction.empty()) reduction.contradiction.resize(is_redundant.size(), 0.0);
    for (size_t k = 0; k < dependence.contradiction.size(); ++k) {
      reduction.contradiction[index(candidates[k])] = dependence.contradiction[k];
    }
  }
  for (int32_t i = 0; i < problem->num_row(); ++i) {
    if (!is_redundant[index(i)]) reduction.kept.push_back(i);
  }
  if (reduction.kept.size() < problem->rhs.size()) keep_rows(reduction.kept, problem);
  return reduction;
}

}  // namespace vorlan::conic
