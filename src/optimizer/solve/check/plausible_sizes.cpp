// A row that must reach its side b asks for an x_j of the size |b / a_ij|, and a column that must
// balance its cost c asks for a y_i of the size |c / a_ij|. Rows without a side, and columns
// without a cost, take their sizes from their neighbours.
#include "solve/check/plausible_sizes.h"

#include <algorithm>
#include <cmath>

#include "solve/check/terms.h"

namespace vorlan {
namespace {

// Sizes reach further neighbours in as many sweeps over the matrix.
constexpr int kSweeps = 50;
// The exponential function of a ratio above this is no plausible size any more.
constexpr double kLargestExponent = 50.0;

void raise(double to, double* size) {
  if (std::isfinite(to)) *size = std::max(*size, to);
}

// Calls visit(row, column, absolute value) for every element of A that is not 0.
template <class Visit>
void for_elements(const SparseMatrix& a, Visit&& visit) {
  for (size_t j = 0; j + 1 < a.start.size(); ++j) {
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      if (a.value[k] != 0.0) visit(index(a.row[k]), j, std::fabs(a.value[k]));
    }
  }
}

// Works out the sizes of one problem.
class Estimate {
 public:
  Estimate(const MinimizeProblem& problem, PlausibleSizes* sizes)
      : problem_(problem), model_(problem.model), sizes_(*sizes), starts_(diagonal_starts(model_)) {
    sizes_.var.resize(model_.cost.size());
    sizes_.row.resize(model_.con_lower.size());
    sizes_.multiplier.resize(model_.con_lower.size());
    sizes_.gradient.resize(model_.cost.size());
    sizes_.matrix_diagonal.resize(starts_.back());
    sizes_.matrix_gradient.resize(starts_.back());
  }

  void estimate_primal();
  void estimate_dual();

 private:
  void start_rows();
  void set_variables();
  void set_matrices();
  template <class ForElements>
  void raise_diagonals(const ForElements& for_elements, std::vector<double>* all) const;
  void balance_factors(int32_t one, int32_t other, double root);
  void set_cone(const Cone& cone);
  void spread_primal();
  void spread_dual();
  double& diagonal(std::vector<double>& all, int32_t matrix_var, int32_t k) const {
    return all[starts_[index(matrix_var)] + index(k)];
  }
  double between(std::vector<double>& all, int32_t matrix_var, const TriangleEntry& entry) const {
    return std::sqrt(diagonal(all, matrix_var, entry.row)) *
           std::sqrt(diagonal(all, matrix_var, entry.col));
  }

  const MinimizeProblem& problem_;
  const Model& model_;
  PlausibleSizes& sizes_;
  std::vector<size_t> starts_;
};

// Finite bounds are known sizes, and their terms count as the sides do.
void Estimate::start_rows() {
  for (size_t j = 0; j < sizes_.var.size(); ++j) {
    sizes_.var[j] = finite_size(model_.var_lower[j], model_.var_upper[j]);
  }
  for (size_t i = 0; i < sizes_.row.size(); ++i) {
    sizes_.row[i] = finite_size(model_.con_lower[i], model_.con_upper[i]);
  }
  for_elements(model_.matrix,
               [this](size_t i, size_t j, double a) { raise(a * sizes_.var[j], &sizes_.row[i]); });
}

void Estimate::set_variables() {
  for_elements(model_.matrix,
               [this](size_t i, size_t j, double a) { raise(sizes_.row[i] / a, &sizes_.var[j]); });
  // Off the diagonal only the product of two sizes is known.
  for (const ConQuadraticEntry& q : model_.quadratic_coefficients) {
    if (q.entry.row != q.entry.col) continue;
    const double root = std::sqrt(sizes_.row[index(q.con)] / std::fabs(q.entry.value));
    raise(root, &sizes_.var[index(q.entry.row)]);
  }
  for (const TriangleEntry& q : model_.quadratic_cost) {
    if (q.row != q.col) continue;
    raise(std::fabs(problem_.cost[index(q.row)] / q.value), &sizes_.var[index(q.row)]);
  }
}

// An element X_kl asks for diagonals with X_kk X_ll >= X_kl^2, of which one must be known. The
// first argument calls visit(matrix variable, entry, size) for every element.
template <class ForElements>
void Estimate::raise_diagonals(const ForElements& for_elements, std::vector<double>* all) const {
  for_elements([&](int32_t matrix_var, const TriangleEntry& entry, double size) {
    if (entry.row == entry.col) raise(size, &diagonal(*all, matrix_var, entry.row));
  });
  const std::vector<double> known = *all;
  for_elements([&](int32_t matrix_var, const TriangleEntry& entry, double size) {
    if (entry.row == entry.col) return;
    const double row = known[starts_[index(matrix_var)] + index(entry.row)];
    const double col = known[starts_[index(matrix_var)] + index(entry.col)];
    if (col > 0.0) raise(size * (size / col), &diagonal(*all, matrix_var, entry.row));
    if (row > 0.0) raise(size * (size / row), &diagonal(*all, matrix_var, entry.col));
  });
}

void Estimate::set_matrices() {
  const auto for_coefficients = [this](const auto& visit) {
    for (const MatrixCoefficient& a : model_.matrix_coefficients) {
      if (a.entry.value == 0.0) continue;
      const double factor = a.entry.row == a.entry.col ? 1.0 : 0.5;
      visit(a.matrix_var, a.entry, factor * sizes_.row[index(a.con)] / std::fabs(a.entry.value));
    }
  };
  raise_diagonals(for_coefficients, &sizes_.matrix_diagonal);
}

// Of two factors only the product is known. They have one size, but where both have costs: these are
// equal then.
void Estimate::balance_factors(int32_t one, int32_t other, double root) {
  const double cost = std::fabs(problem_.cost[index(one)]);
  const double other_cost = std::fabs(problem_.cost[index(other)]);
  const bool both = cost > 0.0 && other_cost > 0.0;
  raise(both ? root * std::sqrt(other_cost / cost) : root, &sizes_.var[index(one)]);
  raise(both ? root * std::sqrt(cost / other_cost) : root, &sizes_.var[index(other)]);
}

// The members of a cone take sizes from each other. Only members that the cone holds to one unit
// take them as they are.
void Estimate::set_cone(const Cone& cone) {
  const auto size = [&](size_t k) -> double& { return sizes_.var[index(cone.vars[k])]; };
  const auto largest_from = [&](size_t first) {
    double largest = 0.0;
    for (size_t k = first; k < cone.vars.size(); ++k) largest = std::max(largest, size(k));
    return largest;
  };
  const auto raise_unknown_from = [&](size_t first, double to) {
    for (size_t k = first; k < cone.vars.size(); ++k) {
      if (size(k) == 0.0) raise(to, &size(k));
    }
  };
  const auto largest_until = [&](size_t last) {
    double largest = 0.0;
    for (size_t k = 0; k < last; ++k) largest = std::max(largest, size(k));
    return largest;
  };
  switch (cone.kind) {
    case ConeKind::kQuadratic:
      raise(largest_from(1), &size(0));
      raise_unknown_from(1, size(0));
      break;
    case ConeKind::kRotatedQuadratic: {
      const double rest = largest_from(2);
      const double first = size(0);
      if (first == 0.0 && size(1) == 0.0) balance_factors(cone.vars[0], cone.vars[1], rest);
      if (size(1) > 0.0) raise(rest * (rest / size(1)), &size(0));
      if (first > 0.0) raise(rest * (rest / first), &size(1));
      raise_unknown_from(2, std::sqrt(size(0)) * std::sqrt(size(1)));
      break;
    }
    case ConeKind::kExponential:
      if (size(1) > 0.0) {
        raise(size(1) * std::exp(std::min(size(2) / size(1), kLargestExponent)), &size(0));
      }
      raise_unknown_from(0, largest_from(0));
      break;
    case ConeKind::kDualExponential:
      raise_unknown_from(0, largest_from(0));
      break;
    default:
      raise_unknown_from(cone.exponents.size(), largest_from(cone.exponents.size()));
      if (largest_until(cone.exponents.size()) == 0.0) {
        raise_unknown_from(0, largest_from(cone.exponents.size()));
      }
      break;
  }
}

// Variables of homogeneous rows have the sizes of their neighbours.
void Estimate::spread_primal() {
  bool changed = true;
  for (int sweep = 0; sweep < kSweeps && changed; ++sweep) {
    changed = false;
    const std::vector<double> known = sizes_.var;
    for_elements(model_.matrix,
                 [&](size_t i, size_t j, double a) { raise(a * known[j], &sizes_.row[i]); });
    for_elements(model_.matrix, [&](size_t i, size_t j, double a) {
      if (known[j] > 0.0 || sizes_.row[i] == 0.0) return;
      raise(sizes_.row[i] / a, &sizes_.var[j]);
      changed = true;
    });
  }
  for (const MatrixCoefficient& a : model_.matrix_coefficients) {
    const double size = between(sizes_.matrix_diagonal, a.matrix_var, a.entry);
    raise(std::fabs(a.entry.value) * size, &sizes_.row[index(a.con)]);
  }
}

void Estimate::estimate_primal() {
  start_rows();
  set_variables();
  set_matrices();
  for (const Cone& cone : model_.cones) set_cone(cone);
  spread_primal();
}

// Rows in columns without cost have the sizes of their neighbours.
void Estimate::spread_dual() {
  bool changed = true;
  for (int sweep = 0; sweep < kSweeps && changed; ++sweep) {
    changed = false;
    const std::vector<double> known = sizes_.multiplier;
    for_elements(model_.matrix,
                 [&](size_t i, size_t j, double a) { raise(a * known[i], &sizes_.gradient[j]); });
    for_elements(model_.matrix, [&](size_t i, size_t j, double a) {
      if (known[i] > 0.0 || sizes_.gradient[j] == 0.0) return;
      raise(sizes_.gradient[j] / a, &sizes_.multiplier[i]);
      changed = true;
    });
  }
}

void Estimate::estimate_dual() {
  for (size_t j = 0; j < sizes_.gradient.size(); ++j) {
    raise(std::fabs(problem_.cost[j]), &sizes_.gradient[j]);
  }
  for (const TriangleEntry& q : model_.quadratic_cost) {
    const double value = std::fabs(q.value);
    raise(value * sizes_.var[index(q.col)], &sizes_.gradient[index(q.row)]);
    raise(value * sizes_.var[index(q.row)], &sizes_.gradient[index(q.col)]);
  }
  const auto for_costs = [this](const auto& visit) {
    for (const MatrixCostEntry& c : model_.matrix_cost) {
      visit(c.matrix_var, c.entry, std::fabs(c.entry.value));
    }
  };
  raise_diagonals(for_costs, &sizes_.matrix_gradient);
  for_elements(model_.matrix, [this](size_t i, size_t j, double a) {
    raise(sizes_.gradient[j] / a, &sizes_.multiplier[i]);
  });
  for (const MatrixCoefficient& a : model_.matrix_coefficients) {
    if (a.entry.value == 0.0) continue;
    const double size = between(sizes_.matrix_gradient, a.matrix_var, a.entry);
    raise(size / std::fabs(a.entry.value), &sizes_.multiplier[index(a.con)]);
  }
  spread_dual();
}

}  // namespace

double finite_size(double lower, double upper) {
  double size = 0.0;
  raise(std::fabs(lower), &size);
  raise(std::fabs(upper), &size);
  return size;
}

std::vector<size_t> diagonal_starts(const Model& model) {
  std::vector<size_t> starts = {0};
  for (const MatrixVariable& variable : model.matrix_vars) {
    starts.push_back(starts.back() + index(variable.dimension));
  }
  return starts;
}

PlausibleSizes::PlausibleSizes(const MinimizeProblem& problem) {
  Estimate estimate(problem, this);
  estimate.estimate_primal();
  estimate.estimate_dual();
}

}  // namespace vorlan
