// The pattern is built once, with the place of each element that an iterate changes. A
// factorization then adds the values at these places. There is one matrix of values, the one with the
// shift; the exact diagonal stands beside it, for products.
#include "solve/conic/newton_system.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"
#include "solve/conic/compress.h"

namespace vorlan::conic {
namespace {

// The shift of the diagonal, of a matrix that is scaled to elements of about 1: as small as the
// pivots allow, since the smaller it is, the more accurate are the steps of models whose equations
// are nearly dependent. It grows when rounding takes a pivot's sign.
constexpr double kFirstShift = 1e-12;
constexpr double kShiftGrowth = 100.0;
constexpr double kMostShift = 1e-5;
// The part of the shift that an element of the diagonal gets beside, relative to itself.
constexpr double kRelativeShift = 4e-16;
// Refinement ends after so many rounds, or at this residual relative to the right-hand side.
constexpr int kMostRounds = 4;
constexpr double kGoodResidual = 1e-15;
// Products with W are no better than this, and the caller corrects the steps of matrix variables.
constexpr double kGoodMatrixResidual = 1e-12;
// Rounding does not keep a correction of so small a residual from what it expects to leave. Nobody
// looks then in linear models, whose steps bear what little is left.
constexpr double kSmallResidual = 1e-9;
// A round that leaves more than this share of the residual is the last one.
constexpr double kSlowRound = 0.5;

}  // namespace

NewtonSystem::NewtonSystem(const ConicProblem& problem, const Scalings& scalings,
                           const DenseAlgebra* algebra)
    : problem_(problem),
      algebra_(algebra),
      shift_(kFirstShift),
      refined_{[this](const std::vector<double>& x, std::vector<double>* out) { multiply(x, out); },
               [this](std::span<double> x) { ldl_.solve(x); }} {
  for (const MatrixBlock& block : problem.matrices) products_.emplace_back(block, *algebra);
  choose_matrix_rows();
  build_pattern(scalings);
  for (auto* vector : {&rhs_, &solution_, &residual_}) vector->assign(index(upper_.order), 0.0);
  ldl_.use(algebra);
  std::vector<int32_t> last;
  for (const int32_t row : end_.rows) last.push_back(static_cast<int32_t>(first_row_node_) + row);
  ldl_.analyze(upper_, diagonal_variables(scalings), last);
}

// The variables whose diagonal elements a bound, a quadratic term or a cone makes. Others have no more
// than a shift there, and those of a dense Hessian are neighbours of each other.
std::vector<int32_t> NewtonSystem::diagonal_variables(const Scalings& scalings) const {
  std::vector<bool> has_diagonal(problem_.cost.size(), false);
  for (const Bound& bound : problem_.bounds) has_diagonal[index(bound.var)] = true;
  const Columns& p = problem_.quadratic;
  for (int32_t j = 0; j < p.num_col(); ++j) {
    for (int64_t k = p.start[index(j)]; k < p.start[index(j) + 1]; ++k) {
      if (p.row[index(k)] == j && p.value[index(k)] > 0.0) has_diagonal[index(j)] = true;
    }
  }
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const bool is_sparse = !scalings.cone(c).has_dense_hessian();
    for (const int32_t var : problem_.cones[c].vars) has_diagonal[index(var)] = is_sparse;
  }
  std::vector<int32_t> variables;
  for (size_t j = 0; j < has_diagonal.size(); ++j) {
    if (has_diagonal[j]) variables.push_back(static_cast<int32_t>(j));
  }
  return variables;
}

void NewtonSystem::choose_matrix_rows() {
  std::vector<bool> has_matrix(problem_.rhs.size(), false);
  double pairs = 0.0;
  for (const MatrixBlock& block : problem_.matrices) {
    const auto parts = static_cast<double>(block.parts.size());
    pairs += 0.5 * parts * (parts + 1.0);
    for (const MatrixPart& part : block.parts) has_matrix[index(part.row)] = true;
  }
  end_.place.assign(problem_.rhs.size(), -1);
  for (int32_t row = 0; row < problem_.num_row(); ++row) {
    if (!has_matrix[index(row)]) continue;
    end_.place[index(row)] = static_cast<int32_t>(end_.rows.size());
    end_.rows.push_back(row);
  }
  constexpr double kSparseShare = 0.1;
  const auto rows = static_cast<double>(end_.rows.size());
  has_dense_end_ = !problem_.has_overlaps && pairs >= kSparseShare * 0.5 * rows * (rows + 1.0);
  if (!has_dense_end_) end_.rows.clear();
}

void NewtonSystem::build_pattern(const Scalings& scalings) {
  sign_.assign(problem_.cost.size(), 1);
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    if (scalings.cone(c).has_dense_hessian()) continue;
    // The nodes of u and v.
    sign_.push_back(-1);
    sign_.push_back(1);
  }
  first_row_node_ = sign_.size();
  sign_.resize(first_row_node_ + problem_.rhs.size(), -1);
  upper_.order = static_cast<int32_t>(sign_.size());
  const auto for_each = [&](const auto& act) {
    for_each_element(scalings, [&](size_t a, size_t b, double value) {
      act(std::min(a, b), std::max(a, b), value);
    });
  };
  compress(sign_.size(), for_each, &upper_);
  find_places(scalings);
  diagonal_.assign(sign_.size(), 0.0);
}

// Calls act(a, b, value) for each element of either triangle: the constant ones with their values,
// those that change with an iterate with 0. The diagonal comes last.
template <class Act>
void NewtonSystem::for_each_element(const Scalings& scalings, const Act& act) const {
  const Columns& a = problem_.matrix;
  const Columns& p = problem_.quadratic;
  for (size_t j = 0; j < problem_.cost.size(); ++j) {
    for (size_t k = index(p.start[j]); k < index(p.start[j + 1]); ++k) {
      if (index(p.row[k]) <= j) act(index(p.row[k]), j, p.value[k]);
    }
    for (size_t k = index(a.start[j]); k < index(a.start[j + 1]); ++k) {
      act(first_row_node_ + index(a.row[k]), j, a.value[k]);
    }
  }
  for_each_cone_element(scalings, [&](size_t /*cone*/, size_t i, size_t j) { act(i, j, 0.0); });
  for_each_matrix_element([&](size_t /*matrix*/, size_t i, size_t j) { act(i, j, 0.0); });
  for (size_t node = problem_.cost.size(); node < first_row_node_; ++node) {
    act(node, node, static_cast<double>(sign_[node]));
  }
  for (size_t node = 0; node < sign_.size(); ++node) act(node, node, 0.0);
}

// Calls act(cone, a, b) for the elements of the cones' Hessians in the order of their values: the
// upper triangle of a dense one; of another the diagonal, the element (0, 1), then the columns of u
// and v, each with a node of its own.
template <class Act>
void NewtonSystem::for_each_cone_element(const Scalings& scalings, const Act& act) const {
  size_t node = problem_.cost.size();
  for (size_t c = 0; c < problem_.cones.size(); ++c) {
    const std::vector<int32_t>& vars = problem_.cones[c].vars;
    if (scalings.cone(c).has_dense_hessian()) {
      for (size_t j = 0; j < vars.size(); ++j) {
        for (size_t i = 0; i <= j; ++i) act(c, index(vars[i]), index(vars[j]));
      }
      continue;
    }
    for (const int32_t var : vars) act(c, index(var), index(var));
    act(c, index(vars[0]), index(vars[1]));
    for (const int32_t var : vars) act(c, index(var), node);
    for (const int32_t var : vars) act(c, index(var), node + 1);
    node += 2;
  }
}

// Calls act(matrix, a, b) for the products of matrix variables that are elements like others.
template <class Act>
void NewtonSystem::for_each_matrix_element(const Act& act) const {
  if (has_dense_end_) return;
  for (size_t m = 0; m < problem_.matrices.size(); ++m) {
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    for (size_t col = 0; col < parts.size(); ++col) {
      for (size_t row = col; row < parts.size(); ++row) {
        act(m, first_row_node_ + index(parts[row].row), first_row_node_ + index(parts[col].row));
      }
    }
  }
}

// Finds the places of the elements that change, and keeps the constants there.
void NewtonSystem::find_places(const Scalings& scalings) {
  const auto place = [this](size_t a, size_t b) {
    const size_t col = std::max(a, b);
    const auto begin = upper_.row.begin();
    const auto found = std::lower_bound(begin + upper_.start[col], begin + upper_.start[col + 1],
                                        static_cast<int32_t>(std::min(a, b)));
    return static_cast<int64_t>(found - begin);
  };
  place_.cones.resize(problem_.cones.size());
  for_each_cone_element(
      scalings, [&](size_t c, size_t a, size_t b) { place_.cones[c].push_back(place(a, b)); });
  place_.matrices.resize(problem_.matrices.size());
  for_each_matrix_element(
      [&](size_t m, size_t a, size_t b) { place_.matrices[m].push_back(place(a, b)); });
  constant_diagonal_.reserve(sign_.size());
  for (size_t node = 0; node < sign_.size(); ++node) {
    constant_diagonal_.push_back(upper_.value[diagonal_place(node)]);
  }
  for (const auto* places : {&place_.cones, &place_.matrices}) {
    for (const std::vector<int64_t>& some : *places) {
      for (const int64_t k : some) keep_constant(index(k));
    }
  }
}

void NewtonSystem::add_cone_values(const Scalings& scalings) {
  DenseMatrix h;
  std::vector<double> values;
  for (size_t c = 0; c < place_.cones.size(); ++c) {
    const ScaledCone& cone = scalings.cone(c);
    const size_t size = cone.size();
    if (cone.has_dense_hessian()) {
      h.reset(size, size);
      cone.hessian(h);
      size_t k = 0;
      for (size_t j = 0; j < size; ++j) {
        for (size_t i = 0; i <= j; ++i) upper_.value[index(place_.cones[c][k++])] += h(i, j);
      }
      continue;
    }
    values.assign(3 * size + 1, 0.0);
    const std::span<double> all = values;
    cone.sparse_hessian({all.first(size), values[size], all.subspan(size + 1, size),
                         all.subspan(2 * size + 1, size)});
    for (size_t k = 0; k < values.size(); ++k) upper_.value[index(place_.cones[c][k])] += values[k];
  }
}

void NewtonSystem::factor(const Scalings& scalings) {
  for (size_t node = 0; node < sign_.size(); ++node) {
    upper_.value[diagonal_place(node)] = constant_diagonal_[node];
  }
  for (const auto& [place, value] : constant_) upper_.value[place] = value;
  for (size_t k = 0; k < problem_.bounds.size(); ++k) {
    upper_.value[diagonal_place(index(problem_.bounds[k].var))] += scalings.bounds()[k];
  }
  add_cone_values(scalings);
  add_matrix_values(scalings);
  for (size_t node = 0; node < sign_.size(); ++node) {
    diagonal_[node] = upper_.value[diagonal_place(node)];
  }
  factor_shifted();
  while (!ldl_.replaced().empty() && shift_ < kMostShift) {
    shift_ *= kShiftGrowth;
    factor_shifted();
  }
}

double NewtonSystem::num_multiplications() const {
  double sum = ldl_.num_multiplications();
  for (const MatrixProducts& products : products_) sum += products.num_multiplications();
  return sum;
}

void NewtonSystem::add_matrix_values(const Scalings& scalings) {
  const MatrixView end = ldl_.taken_off();
  if (!end_.rows.empty()) {
    for (size_t col = 0; col < end.cols(); ++col) std::fill_n(&end(0, col), col + 1, 0.0);
  }
  std::vector<size_t> places;
  for (size_t m = 0; m < products_.size(); ++m) {
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    places.clear();
    if (has_dense_end_) {
      for (const MatrixPart& part : parts) places.push_back(index(end_.place[index(part.row)]));
      products_[m].compute(scalings.matrix(m).w(), places, end);
      continue;
    }
    for (size_t p = 0; p < parts.size(); ++p) places.push_back(p);
    schur_.reset(parts.size(), parts.size());
    products_[m].compute(scalings.matrix(m).w(), places, schur_);
    size_t k = 0;
    for (size_t row = 0; row < parts.size(); ++row) {
      for (size_t col = row; col < parts.size(); ++col) {
        upper_.value[index(place_.matrices[m][k++])] -= schur_(row, col);
      }
    }
  }
}

void NewtonSystem::factor_shifted() {
  for (size_t node = 0; node < sign_.size(); ++node) {
    const double value = diagonal_[node];
    upper_.value[diagonal_place(node)] =
        value + sign_[node] * (shift_ + kRelativeShift * std::fabs(value));
  }
  ldl_.factor(upper_, sign_);
}

void NewtonSystem::multiply(const std::vector<double>& x, std::vector<double>* out) const {
  std::fill(out->begin(), out->end(), 0.0);
  for (size_t col = 0; col < x.size(); ++col) {
    const double xc = x[col];
    double sum = 0.0;
    for (size_t k = index(upper_.start[col]); k < diagonal_place(col); ++k) {
      const size_t row = index(upper_.row[k]);
      const double value = upper_.value[k];
      sum += value * x[row];
      (*out)[row] += value * xc;
    }
    (*out)[col] += sum + diagonal_[col] * xc;
  }
  if (end_.rows.empty()) return;
  std::vector<double> part;
  for (const int32_t row : end_.rows) part.push_back(x[first_row_node_ + index(row)]);
  std::vector<double> product(part.size());
  algebra_->multiply_vector(ldl_.taken_off(), part, product, Triangle::kUpper);
  for (size_t k = 0; k < product.size(); ++k) {
    (*out)[first_row_node_ + index(end_.rows[k])] -= product[k];
  }
}

void NewtonSystem::solve(const NewtonVector& rhs, NewtonVector* solution, const Excess& excess) {
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  const std::span<double> all = rhs_;
  std::copy(rhs.x.begin(), rhs.x.end(), all.begin());
  std::copy(rhs.y.begin(), rhs.y.end(), all.subspan(first_row_node_).begin());
  solution_ = rhs_;
  ldl_.solve(solution_);
  const double good = problem_.matrices.empty() ? kGoodResidual : kGoodMatrixResidual;
  const double size = norm(rhs_);
  double error = norm_of_residual();
  const double target = std::max(good * size, allowed_residual(error, excess));
  for (int round = 0; round < kMostRounds && error > target; ++round) {
    const bool is_small = problem_.is_linear() && error <= kSmallResidual * size;
    before_ = solution_;
    const double expected = correction_.apply(refined_, residual_, error, target, &solution_);
    if (is_small && expected <= target) break;
    const double next = norm_of_residual();
    if (!(next < error)) {
      solution_ = before_;
      break;
    }
    const bool slow = next > kSlowRound * error;
    error = next;
    if (slow) break;
  }
  std::copy_n(solution_.begin(), solution->x.size(), solution->x.begin());
  for (size_t i = 0; i < solution->y.size(); ++i) {
    solution->y[i] = -solution_[first_row_node_ + i];
  }
}

// The norm that the residual, of the norm `error`, must come down to for the caller.
double NewtonSystem::allowed_residual(double error, const Excess& excess) const {
  constexpr double kClearly = 0.5;
  if (!excess) return 0.0;
  const std::span<const double> all = residual_;
  const double times = excess(all.first(problem_.cost.size()), all.subspan(first_row_node_));
  return times <= 1.0 ? error : kClearly * error / times;
}

// The residual is left in residual_.
double NewtonSystem::norm_of_residual() {
  multiply(solution_, &residual_);
  for (size_t i = 0; i < rhs_.size(); ++i) residual_[i] = rhs_[i] - residual_[i];
  return norm(residual_);
}

}  // namespace vorlan::conic
