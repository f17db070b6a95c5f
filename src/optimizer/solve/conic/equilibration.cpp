// Ruiz's iteration runs on [P A'; A 0] with one factor a cone. Problems in units that are far apart
// are scaled before it by means of logarithms.
#include "solve/conic/equilibration.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

constexpr int kRounds = 8;
constexpr double kMostFactor = 1e5;
// The same where the heads of exponential cones have units of their own.
constexpr double kMostFactorOfHeads = 1e30;

// Limits of the factors for sides and objective.
constexpr double kLeastSize = 1e-15;
constexpr double kMostSize = 1e15;
constexpr double kLeastCost = 1e-30;
constexpr double kMostCost = 1e30;

double power_of_two(double value) { return std::exp2(std::round(std::log2(value))); }

struct Norms {
  std::vector<double> var, row;
  std::vector<std::vector<double>> matrix;
};

void note(double value, double* norm) { *norm = std::max(*norm, std::fabs(value)); }

double congruent(const TriangleEntry& e, const std::vector<double>& factors) {
  return e.value * factors[index(e.row)] * factors[index(e.col)];
}

Norms measure(const ConicProblem& problem, const Equilibration& scaling) {
  Norms norms;
  norms.var.assign(index(problem.num_var()), 0.0);
  norms.row.assign(index(problem.num_row()), 0.0);
  for (const MatrixBlock& block : problem.matrices) {
    norms.matrix.emplace_back(index(block.dimension), 0.0);
  }
  const Columns& a = problem.matrix;
  const Columns& p = problem.quadratic;
  for (size_t j = 0; j < norms.var.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      const size_t i = index(a.row[index(k)]);
      const double value = a.value[index(k)] * scaling.var[j] * scaling.row[i];
      note(value, &norms.var[j]);
      note(value, &norms.row[i]);
    }
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      const size_t i = index(p.row[index(k)]);
      note(p.value[index(k)] * scaling.var[j] * scaling.var[i] * scaling.cost, &norms.var[j]);
    }
  }
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    for (const MatrixPart& part : problem.matrices[m].parts) {
      const size_t i = index(part.row);
      for (const TriangleEntry& e : part.entries) {
        const double value = congruent(e, scaling.matrix[m]) * scaling.row[i];
        note(value, &norms.matrix[m][index(e.row)]);
        note(value, &norms.matrix[m][index(e.col)]);
        note(value, &norms.row[i]);
      }
    }
  }
  for (const ConeBlock& cone : problem.cones) {
    double norm = 0.0;
    for (const int32_t var : cone.vars) norm = std::max(norm, norms.var[index(var)]);
    for (const int32_t var : cone.vars) norms.var[index(var)] = norm;
  }
  return norms;
}

void improve(const std::vector<double>& norms, double most, std::vector<double>* factors) {
  for (size_t i = 0; i < norms.size(); ++i) {
    if (norms[i] == 0.0) continue;
    const double factor = (*factors)[i] / std::sqrt(norms[i]);
    (*factors)[i] = std::clamp(factor, 1.0 / most, most);
  }
}

// The objective's own size, so that primal and dual residuals are of one kind.
double cost_factor(const ConicProblem& problem, const Equilibration& scaling) {
  double norm = 0.0;
  for (size_t j = 0; j < problem.cost.size(); ++j) note(problem.cost[j] * scaling.var[j], &norm);
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    for (const TriangleEntry& e : problem.matrices[m].cost) {
      note(congruent(e, scaling.matrix[m]), &norm);
    }
  }
  const Columns& p = problem.quadratic;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      note(p.value[index(k)] * scaling.var[j] * scaling.var[index(p.row[index(k)])], &norm);
    }
  }
  return norm > 0.0 ? std::clamp(1.0 / norm, kLeastCost, kMostCost) : 1.0;
}

void round_to_powers_of_two(std::vector<double>* factors) {
  for (double& factor : *factors) factor = power_of_two(factor);
}

// The size of the points that the data speak of: a mean of right-hand sides and bounds that leans
// to the large ones, since a single one that is far larger than all others should not make these
// vanish. A bound that 0 meets asks for nothing, and a large one often stands for none: it counts
// for no more than the largest of those that ask for something.
double data_size(const ConicProblem& problem, const Equilibration& scaling) {
  std::vector<double> asking;
  std::vector<double> met;
  for (size_t i = 0; i < problem.rhs.size(); ++i) {
    asking.push_back(std::fabs(problem.rhs[i] * scaling.row[i]));
  }
  for (const Bound& bound : problem.bounds) {
    const double value = bound.value / scaling.var[index(bound.var)];
    (value > 0.0 ? asking : met).push_back(std::fabs(value));
  }
  const double most = largest(asking);
  double sum_of_roots = 0.0;
  double count = 0.0;
  const auto take = [&](double value) {
    if (value == 0.0) return;
    sum_of_roots += std::sqrt(value);
    count += 1.0;
  };
  for (const double value : asking) take(value);
  for (const double value : met) take(most > 0.0 ? std::min(value, most) : value);
  if (count == 0.0) return 1.0;
  const double mean_root = sum_of_roots / count;
  return std::clamp(mean_root * mean_root, kLeastSize, kMostSize);
}

// Takes points of the size 1 to those of this size. Elements of the matrix stay as they are. A
// matrix variable is of the size of the square of its congruence, which is a power of four then.
void change_unit(double size, Equilibration* scaling) {
  const double root = power_of_two(std::sqrt(size));
  const double unit = root * root;
  for (double& factor : scaling->var) factor *= unit;
  for (double& factor : scaling->row) factor /= unit;
  for (std::vector<double>& factors : scaling->matrix) {
    for (double& factor : factors) factor *= root;
  }
}

void apply(const Equilibration& scaling, ConicProblem* problem) {
  for (size_t j = 0; j < problem->cost.size(); ++j) {
    problem->cost[j] *= scaling.cost * scaling.var[j];
    Columns& a = problem->matrix;
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      a.value[index(k)] *= scaling.var[j] * scaling.row[index(a.row[index(k)])];
    }
    Columns& p = problem->quadratic;
    for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
      p.value[index(k)] *= scaling.cost * scaling.var[j] * scaling.var[index(p.row[index(k)])];
    }
  }
  for (size_t i = 0; i < problem->rhs.size(); ++i) problem->rhs[i] *= scaling.row[i];
  for (Bound& bound : problem->bounds) bound.value /= scaling.var[index(bound.var)];
  for (size_t m = 0; m < problem->matrices.size(); ++m) {
    MatrixBlock& block = problem->matrices[m];
    for (TriangleEntry& e : block.cost) e.value = congruent(e, scaling.matrix[m]) * scaling.cost;
    for (MatrixPart& part : block.parts) {
      for (TriangleEntry& e : part.entries) {
        e.value = congruent(e, scaling.matrix[m]) * scaling.row[index(part.row)];
      }
    }
  }
}

bool has_unit_of_head(const ConicProblem& problem) {
  return std::any_of(problem.cones.begin(), problem.cones.end(),
                     [](const ConeBlock& cone) { return cone.head_exponent != 0; });
}

// Runs Ruiz's iteration.
Equilibration by_norms(const ConicProblem& problem) {
  const double most = has_unit_of_head(problem) ? kMostFactorOfHeads : kMostFactor;
  Equilibration scaling = identity_scaling(problem, problem.rhs.size());
  for (int round = 0; round < kRounds; ++round) {
    const Norms norms = measure(problem, scaling);
    improve(norms.var, most, &scaling.var);
    improve(norms.row, most, &scaling.row);
    for (size_t m = 0; m < norms.matrix.size(); ++m) {
      improve(norms.matrix[m], most, &scaling.matrix[m]);
    }
    scaling.cost = cost_factor(problem, scaling);
  }
  for (auto* factors : {&scaling.var, &scaling.row}) round_to_powers_of_two(factors);
  for (std::vector<double>& factors : scaling.matrix) round_to_powers_of_two(&factors);
  return scaling;
}

// The largest right-hand side in parts of the smallest.
double spread_of_sides(const ConicProblem& problem, const Equilibration& scaling) {
  double least = kInfinity;
  double most = 0.0;
  for (size_t i = 0; i < problem.rhs.size(); ++i) {
    const double side = std::fabs(problem.rhs[i] * scaling.row[i]);
    if (side > 0.0) least = std::min(least, side);
    most = std::max(most, side);
  }
  return most / least;
}

// The largest element of the scaled equations in parts of the smallest.
double spread_of_elements(const ConicProblem& problem, const Equilibration& scaling) {
  double least = kInfinity;
  double most = 0.0;
  const auto take = [&](double value) {
    if (value == 0.0) return;
    least = std::min(least, std::fabs(value));
    most = std::max(most, std::fabs(value));
  };
  const Columns& a = problem.matrix;
  for (size_t j = 0; j < problem.cost.size(); ++j) {
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      take(a.value[index(k)] * scaling.var[j] * scaling.row[index(a.row[index(k)])]);
    }
  }
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    for (const MatrixPart& part : problem.matrices[m].parts) {
      for (const TriangleEntry& e : part.entries) {
        take(congruent(e, scaling.matrix[m]) * scaling.row[index(part.row)]);
      }
    }
  }
  return most / least;
}

// The mean of logarithms of what is to become 1.
struct LogMean {
  double sum = 0.0;
  double count = 0.0;
  void add(double logarithm, double weight = 1.0) {
    sum += weight * logarithm;
    count += weight;
  }
  double value() const { return count > 0.0 ? sum / count : 0.0; }
};

double largest_change(const std::vector<double>& before, const std::vector<double>& after) {
  double most = 0.0;
  for (size_t i = 0; i < before.size(); ++i) most = std::max(most, std::fabs(after[i] - before[i]));
  return most;
}

// The cones whose first members, the axes, may have units of their own: 2 x0 x1 >= x2^2 and
// x0^w x1^(1-w) >= |x2| stay what they are when the other members have the mean of the units.
bool has_axes(const ConeBlock& cone) {
  return cone.kind == ConeKind::kRotatedQuadratic || cone.kind == ConeKind::kPower ||
         cone.kind == ConeKind::kDualPower;
}

std::vector<double> weights_of_axes(const ConeBlock& cone) {
  return cone.kind == ConeKind::kRotatedQuadratic ? std::vector<double>{0.5, 0.5} : cone.exponents;
}

// Gives the members behind the axes the mean of the axes' factors. It is a power of two in a
// rotated cone, and rounds what it scales in a power cone.
void suit_axes(const ConeBlock& cone, std::vector<double>* factors) {
  if (cone.kind == ConeKind::kRotatedQuadratic) {
    double& first = (*factors)[index(cone.vars[0])];
    const double product = first * (*factors)[index(cone.vars[1])];
    if (std::fmod(std::log2(product), 2.0) != 0.0) first *= 2.0;
  }
  const std::vector<double> weights = weights_of_axes(cone);
  double logarithm = 0.0;
  for (size_t k = 0; k < weights.size(); ++k) {
    logarithm += weights[k] * std::log2((*factors)[index(cone.vars[k])]);
  }
  for (size_t k = weights.size(); k < cone.vars.size(); ++k) {
    (*factors)[index(cone.vars[k])] = std::exp2(logarithm);
  }
}

bool has_cone_with_axes(const ConicProblem& problem) {
  return std::any_of(problem.cones.begin(), problem.cones.end(), has_axes);
}

// Logarithms of the factors of a problem that bring elements, right-hand sides, bounds and costs to
// 1 in the mean of squares (A. Curtis, J. Reid, On the automatic scaling of matrices for Gaussian
// elimination, IMA J. Appl. Math. 10, 1972). They undo any change of units, where the largest
// elements of rows and columns depend on the order in which they are made 1. With u on a right-hand
// side of a matrix variable and 1 on another, elements of X are of the sizes 1, u and u^2: no
// factor for all of X can mend that, and the norms of the rows of all A_i do not show it.
class LogarithmicScaling {
 public:
  explicit LogarithmicScaling(const ConicProblem& problem) : problem_(problem) {
    var_.assign(problem.cost.size(), 0.0);
    row_.assign(problem.rhs.size(), 0.0);
    logarithm_.reserve(problem.matrix.value.size());
    for (const double value : problem.matrix.value) {
      logarithm_.push_back(std::log2(std::fabs(value)));
    }
    for (const MatrixBlock& block : problem.matrices) {
      matrix_.emplace_back(index(block.dimension), 0.0);
    }
    cone_.assign(var_.size(), -1);
    for (size_t c = 0; c < problem.cones.size(); ++c) {
      for (const int32_t var : problem.cones[c].vars) cone_[index(var)] = static_cast<int32_t>(c);
      has_axes_.push_back(has_axes(problem.cones[c]));
    }
  }

  Equilibration find() {
    constexpr int kSweeps = 100;
    // The factors are rounded to powers of two in the end.
    constexpr double kSettled = 1e-6;
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
      const std::vector<double> var = var_;
      const std::vector<double> row = row_;
      const double side = side_;
      improve_rows();
      improve_sides();
      improve_columns();
      const bool has_settled = std::fabs(side_ - side) <= kSettled &&
                               largest_change(row, row_) <= kSettled &&
                               largest_change(var, var_) <= kSettled;
      if (matrix_.empty() && has_settled) break;
    }
    return factors();
  }

 private:
  // Calls take(row, logarithm of the element without the column's factor) of a column's elements.
  template <class Take>
  void for_column(size_t j, const Take& take) const {
    const Columns& a = problem_.matrix;
    for (int64_t k = a.start[j]; k < a.start[j + 1]; ++k) {
      if (a.value[index(k)] != 0.0) {
        take(index(a.row[index(k)]), logarithm_[index(k)]);
      }
    }
  }

  // Calls take(column, logarithm, weight) of bounds other than 0. One that 0 meets may stand for none.
  template <class Take>
  void for_bounds(const Take& take) const {
    constexpr double kWeak = 0.05;
    for (const Bound& bound : problem_.bounds) {
      if (bound.value == 0.0) continue;
      take(index(bound.var), std::log2(std::fabs(bound.value)), bound.value > 0.0 ? 1.0 : kWeak);
    }
  }

  // Calls take(row, column, logarithm) of the upper triangle of the quadratic objective.
  template <class Take>
  void for_squares(const Take& take) const {
    const Columns& p = problem_.quadratic;
    for (size_t j = 0; j < var_.size(); ++j) {
      for (int64_t k = p.start[j]; k < p.start[j + 1]; ++k) {
        const size_t i = index(p.row[index(k)]);
        if (i > j || p.value[index(k)] == 0.0) continue;
        take(i, j, std::log2(std::fabs(p.value[index(k)])));
      }
    }
  }

  template <class Take>
  void for_matrix(size_t m, const Take& take) const {
    for (const MatrixPart& part : problem_.matrices[m].parts) {
      for (const TriangleEntry& e : part.entries) {
        if (e.value != 0.0) take(row_[index(part.row)], e, index(part.row));
      }
    }
    for (const TriangleEntry& e : problem_.matrices[m].cost) {
      if (e.value != 0.0) take(cost_, e, row_.size());
    }
  }

  double element(const TriangleEntry& e, size_t m) const {
    return std::log2(std::fabs(e.value)) + matrix_[m][index(e.row)] + matrix_[m][index(e.col)];
  }

  void improve_rows() {
    std::vector<LogMean> mean(row_.size() + 1);  // the last one is the objective
    for (size_t j = 0; j < var_.size(); ++j) {
      for_column(j, [&](size_t i, double value) { mean[i].add(value + var_[j]); });
      if (problem_.cost[j] != 0.0) {
        mean.back().add(std::log2(std::fabs(problem_.cost[j])) + var_[j]);
      }
    }
    for_squares(
        [&](size_t i, size_t j, double value) { mean.back().add(value + var_[i] + var_[j]); });
    for (size_t m = 0; m < matrix_.size(); ++m) {
      for_matrix(m, [&](double, const TriangleEntry& e, size_t i) { mean[i].add(element(e, m)); });
    }
    for (size_t i = 0; i < row_.size(); ++i) {
      if (problem_.rhs[i] != 0.0) mean[i].add(std::log2(std::fabs(problem_.rhs[i])) + side_);
      row_[i] = -mean[i].value();
    }
    cost_ = -mean.back().value();
  }

  void improve_sides() {
    LogMean mean;
    for (size_t i = 0; i < row_.size(); ++i) {
      if (problem_.rhs[i] != 0.0) mean.add(std::log2(std::fabs(problem_.rhs[i])) + row_[i]);
    }
    for_bounds([&](size_t j, double value, double weight) { mean.add(value - var_[j], weight); });
    side_ = -mean.value();
  }

  void improve_columns() {
    std::vector<LogMean> mean(var_.size());
    std::vector<LogMean> cone_mean(problem_.cones.size());
    const auto mean_of = [&](size_t j) -> LogMean& {
      const bool is_alone = cone_[j] < 0 || has_axes_[index(cone_[j])];
      return is_alone ? mean[j] : cone_mean[index(cone_[j])];
    };
    for (size_t j = 0; j < var_.size(); ++j) {
      LogMean& own = mean_of(j);
      for_column(j, [&](size_t i, double value) { own.add(value + row_[i]); });
      if (problem_.cost[j] != 0.0) own.add(std::log2(std::fabs(problem_.cost[j])) + cost_);
    }
    for_bounds(
        [&](size_t j, double value, double weight) { mean_of(j).add(-(value + side_), weight); });
    for_squares([&](size_t i, size_t j, double value) {
      if (i == j) {
        mean_of(j).add(0.5 * (value + cost_), 4.0);
      } else {
        mean_of(i).add(value + cost_ + var_[j]);
        mean_of(j).add(value + cost_ + var_[i]);
      }
    });
    for (size_t j = 0; j < var_.size(); ++j) {
      var_[j] = -mean_of(j).value();
    }
    for (const ConeBlock& cone : problem_.cones) {
      if (has_axes(cone)) improve_axes(cone, mean);
    }
    for (size_t m = 0; m < matrix_.size(); ++m) improve_matrix(m);
  }

  // The factors v_i of the axes are free, and the others have their mean w'v. With n_i elements of
  // the mean m_i the sum of n_i (m_i + v_i)^2 and of n (m + w'v)^2 over the others is least at
  // v_i = -m_i - s w_i / n_i, where s = n (m - sum w_i m_i) / (1 + n sum w_i^2 / n_i).
  void improve_axes(const ConeBlock& cone, const std::vector<LogMean>& mean) {
    // An axis that stands in no equation is free to suit the others.
    constexpr double kLeastCount = 0.01;
    const auto count = [&](size_t k) {
      return std::max(kLeastCount, mean[index(cone.vars[k])].count);
    };
    const std::vector<double> weights = weights_of_axes(cone);
    LogMean rest;
    for (size_t k = weights.size(); k < cone.vars.size(); ++k) {
      rest.sum += mean[index(cone.vars[k])].sum;
      rest.count += mean[index(cone.vars[k])].count;
    }
    double missing = rest.value();
    double softness = 0.0;
    for (size_t k = 0; k < weights.size(); ++k) {
      missing -= weights[k] * mean[index(cone.vars[k])].value();
      softness += weights[k] * weights[k] / count(k);
    }
    const double pull = rest.count * missing / (1.0 + rest.count * softness);
    double joint = 0.0;
    for (size_t k = 0; k < weights.size(); ++k) {
      const size_t j = index(cone.vars[k]);
      var_[j] = -mean[j].value() - pull * weights[k] / count(k);
      joint += weights[k] * var_[j];
    }
    for (size_t k = weights.size(); k < cone.vars.size(); ++k) var_[index(cone.vars[k])] = joint;
  }

  // An element k, l is to become 1 by the factors of both; each takes half of what is missing.
  void improve_matrix(size_t m) {
    std::vector<LogMean> mean(matrix_[m].size());
    for_matrix(m, [&](double row, const TriangleEntry& e, size_t) {
      const double left = row + element(e, m);
      mean[index(e.row)].add(left);
      if (e.row != e.col) mean[index(e.col)].add(left);
    });
    for (size_t k = 0; k < mean.size(); ++k) matrix_[m][k] -= 0.5 * mean[k].value();
  }

  Equilibration factors() const {
    const auto exponentials = [](const std::vector<double>& logarithms) {
      constexpr double kMost = 50.0;
      std::vector<double> values;
      values.reserve(logarithms.size());
      for (const double value : logarithms) {
        values.push_back(std::exp2(std::round(std::clamp(value, -kMost, kMost))));
      }
      return values;
    };
    Equilibration scaling;
    scaling.var = exponentials(var_);
    for (const ConeBlock& cone : problem_.cones) {
      if (has_axes(cone)) suit_axes(cone, &scaling.var);
    }
    scaling.row = exponentials(row_);
    for (const std::vector<double>& values : matrix_)
      scaling.matrix.push_back(exponentials(values));
    return scaling;
  }

  const ConicProblem& problem_;
  std::vector<double> logarithm_;  // of each element of the equations
  std::vector<double> var_, row_;
  std::vector<std::vector<double>> matrix_;
  std::vector<int32_t> cone_;   // of each variable, -1: none
  std::vector<bool> has_axes_;  // of each cone
  double cost_ = 0.0;
  double side_ = 0.0;
};

void multiply(const std::vector<double>& factors, std::vector<double>* products) {
  for (size_t i = 0; i < factors.size(); ++i) (*products)[i] *= factors[i];
}

}  // namespace

Equilibration identity_scaling(const ConicProblem& problem, size_t num_row) {
  Equilibration scaling;
  scaling.var.assign(problem.cost.size(), 1.0);
  scaling.row.assign(num_row, 1.0);
  for (const MatrixBlock& block : problem.matrices) {
    scaling.matrix.emplace_back(index(block.dimension), 1.0);
  }
  return scaling;
}

ScalingRule choose_scaling_rule(const ConicProblem& problem) {
  // Norms do well unless elements, or the sides of matrix variables, are further apart than this.
  constexpr double kFarApart = 30.0;
  constexpr double kFarElements = 1e6;
  constexpr double kFarAxes = 1e4;  // of cones whose axes may be in units far apart
  const Equilibration scaling = by_norms(problem);
  const double sides = spread_of_sides(problem, scaling);
  const bool far = spread_of_elements(problem, scaling) > kFarElements ||
                   (!problem.matrices.empty() && sides > kFarApart) ||
                   (has_cone_with_axes(problem) && sides > kFarAxes);
  return far ? ScalingRule::kByLogarithms : ScalingRule::kByNorms;
}

Equilibration equilibrate(ScalingRule rule, ConicProblem* problem) {
  Equilibration before = identity_scaling(*problem, problem->rhs.size());
  if (rule == ScalingRule::kByLogarithms) before = LogarithmicScaling(*problem).find();
  for (const ConeBlock& cone : problem->cones) {
    before.var[index(cone.vars.front())] *= std::exp2(cone.head_exponent);
  }
  apply(before, problem);
  Equilibration scaling = by_norms(*problem);
  change_unit(data_size(*problem, scaling), &scaling);
  scaling.cost = power_of_two(cost_factor(*problem, scaling));
  scaling.least_objective = std::min(1.0, 1.0 / scaling.cost);
  apply(scaling, problem);
  multiply(before.var, &scaling.var);
  multiply(before.row, &scaling.row);
  for (size_t m = 0; m < scaling.matrix.size(); ++m) {
    multiply(before.matrix[m], &scaling.matrix[m]);
  }
  return scaling;
}

}  // namespace vorlan::conic
