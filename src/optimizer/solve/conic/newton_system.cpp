// Pattern, values, factorization and refinement.
#include "solve/conic/newton_system.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

// The shift of the diagonal, of a matrix that is scaled to elements of about 1: as small as the
// pivots allow, since the smaller it is, the more accurate are the steps of models whose equations
// are nearly dependent. It grows when rounding takes a pivot's sign.
constexpr double kFirstShift = 1e-12;
constexpr double kShiftGrowth = 100.0;
constexpr double kMostShift = 1e-5;
constexpr double kRelativeShift = 4e-16;
constexpr int kMostRounds = 4;
constexpr double kGoodResidual = 1e-15;
// With matrix variables the products with W are no better, and the caller corrects their steps.
constexpr double kGoodMatrixResidual = 1e-12;

// Elements of the upper triangle in any order, several of which may be the same place.
struct Pattern {
  struct Element {
    int32_t row, col;
    double value;
    int64_t* place;  // where to tell its place, or nullptr
  };
  std::vector<Element> elements;

  void add(int32_t a, int32_t b, double value, int64_t* place = nullptr) {
    elements.push_back({std::min(a, b), std::max(a, b), value, place});
  }

  void compress(int32_t order, UpperTriangle* upper, std::vector<double>* constant) {
    // A stable sort by row, then by column, both by counting.
    for (const bool by_row : {true, false}) {
      std::vector<int64_t> count(index(order) + 1, 0);
      const auto key = [&](const Element& e) { return index(by_row ? e.row : e.col); };
      for (const Element& e : elements) ++count[key(e) + 1];
      for (size_t i = 1; i < count.size(); ++i) count[i] += count[i - 1];
      std::vector<Element> sorted(elements.size());
      for (const Element& e : elements) sorted[index(count[key(e)]++)] = e;
      elements.swap(sorted);
    }
    upper->order = order;
    upper->start.assign(index(order) + 1, 0);
    upper->row.clear();
    constant->clear();
    const Element* last = nullptr;
    for (const Element& e : elements) {
      if (last == nullptr || last->row != e.row || last->col != e.col) {
        upper->row.push_back(e.row);
        constant->push_back(0.0);
        ++upper->start[index(e.col) + 1];
      }
      constant->back() += e.value;
      if (e.place != nullptr) *e.place = static_cast<int64_t>(upper->row.size()) - 1;
      last = &e;
    }
    for (size_t i = 1; i < upper->start.size(); ++i) upper->start[i] += upper->start[i - 1];
    upper->value = *constant;
  }
};

}  // namespace

NewtonSystem::NewtonSystem(const ConicProblem& problem,
                           const std::vector<std::unique_ptr<ScaledCone>>& cones)
    : problem_(problem), cones_(cones), shift_(kFirstShift) {
  choose_matrix_rows();
  build_pattern();
}

void NewtonSystem::choose_matrix_rows() {
  std::vector<bool> has_matrix(index(problem_.num_row()), false);
  double pairs = 0.0;
  for (const MatrixBlock& block : problem_.matrices) {
    const auto parts = static_cast<double>(block.parts.size());
    pairs += 0.5 * parts * (parts + 1.0);
    for (const MatrixPart& part : block.parts) has_matrix[index(part.row)] = true;
  }
  place_of_row_.assign(index(problem_.num_row()), -1);
  for (int32_t row = 0; row < problem_.num_row(); ++row) {
    if (!has_matrix[index(row)]) continue;
    place_of_row_[index(row)] = static_cast<int32_t>(matrix_rows_.size());
    matrix_rows_.push_back(row);
  }
  constexpr double kSparseShare = 0.1;
  const auto rows = static_cast<double>(matrix_rows_.size());
  dense_matrix_rows_ = pairs >= kSparseShare * 0.5 * rows * (rows + 1.0);
  if (!dense_matrix_rows_) matrix_rows_.clear();
}

void NewtonSystem::build_pattern() {
  const int32_t num_var = problem_.num_var();
  Pattern pattern;
  place_.resize(cones_.size());
  int32_t next_node = num_var;
  sign_.assign(index(num_var), 1);
  for (size_t c = 0; c < cones_.size(); ++c) {
    const std::vector<int32_t>& vars = problem_.cones[c].vars;
    const int32_t size = cones_[c]->size();
    if (cones_[c]->has_dense_hessian()) {
      place_[c].resize(index(size) * index(size + 1) / 2);
      size_t k = 0;
      for (int32_t j = 0; j < size; ++j) {
        for (int32_t i = 0; i <= j; ++i) {
          pattern.add(vars[index(i)], vars[index(j)], 0.0, &place_[c][k++]);
        }
      }
      continue;
    }
    // Diagonal, the element (0, 1), then u's and v's columns.
    place_[c].resize(3 * index(size) + 1);
    for (int32_t i = 0; i < size; ++i) {
      const int32_t var = vars[index(i)];
      pattern.add(var, var, 0.0, &place_[c][index(i)]);
      pattern.add(var, next_node, 0.0, &place_[c][index(size + 1 + i)]);
      pattern.add(var, next_node + 1, 0.0, &place_[c][index(2 * size + 1 + i)]);
    }
    pattern.add(vars[0], vars[1], 0.0, &place_[c][index(size)]);
    pattern.add(next_node, next_node, -1.0);
    pattern.add(next_node + 1, next_node + 1, 1.0);
    sign_.push_back(-1);
    sign_.push_back(1);
    next_node += 2;
  }
  first_row_node_ = next_node;
  const int32_t order = next_node + problem_.num_row();
  sign_.resize(index(order), -1);
  diagonal_.resize(index(order));
  for (int32_t node = 0; node < order; ++node) {
    pattern.add(node, node, 0.0, &diagonal_[index(node)]);
  }
  const auto add_columns = [&pattern](const Columns& columns, bool upper_only, int32_t shift) {
    for (int32_t j = 0; j < columns.num_col(); ++j) {
      for (int64_t k = columns.start[index(j)]; k < columns.start[index(j) + 1]; ++k) {
        const int32_t i = columns.row[index(k)];
        if (upper_only && i > j) continue;
        pattern.add(i + shift, j, columns.value[index(k)]);
      }
    }
  };
  add_columns(problem_.quadratic, true, 0);
  add_columns(problem_.matrix, false, next_node);
  matrix_place_.resize(problem_.matrices.size());
  for (size_t m = 0; m < problem_.matrices.size() && !dense_matrix_rows_; ++m) {
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    matrix_place_[m].resize(parts.size() * (parts.size() + 1) / 2);
    size_t k = 0;
    for (size_t col = 0; col < parts.size(); ++col) {
      for (size_t row = col; row < parts.size(); ++row) {
        pattern.add(next_node + parts[row].row, next_node + parts[col].row, 0.0,
                    &matrix_place_[m][k++]);
      }
    }
  }
  pattern.compress(order, &upper_, &constant_);
  shifted_ = upper_;
}

void NewtonSystem::analyze(const DenseAlgebra* algebra) {
  algebra_ = algebra;
  ldl_.use(algebra);
  const size_t end = matrix_rows_.size();
  std::vector<int32_t> last;
  for (const int32_t row : matrix_rows_) last.push_back(first_row_node_ + row);
  schur_.assign(end * end, 0.0);
  end_block_.assign(end * end, 0.0);
  const size_t order = index(upper_.order);
  for (auto* vector : {&rhs_, &solution_, &residual_}) vector->assign(order, 0.0);
  ldl_.analyze(upper_, last);
}

void NewtonSystem::set_cone_values() {
  for (size_t c = 0; c < cones_.size(); ++c) {
    const size_t size = index(cones_[c]->size());
    if (cones_[c]->has_dense_hessian()) {
      std::vector<double> h(size * size);
      cones_[c]->hessian(h.data());
      size_t k = 0;
      for (size_t j = 0; j < size; ++j) {
        for (size_t i = 0; i <= j; ++i) upper_.value[index(place_[c][k++])] += h[j * size + i];
      }
      continue;
    }
    std::vector<double> values(3 * size + 1);
    cones_[c]->sparse_hessian(values.data(), &values[size], &values[size + 1],
                              &values[2 * size + 1]);
    for (size_t k = 0; k < values.size(); ++k) upper_.value[index(place_[c][k])] += values[k];
  }
}

void NewtonSystem::factor(std::span<const double> bound_scaling,
                          std::vector<MatrixCone>* matrices) {
  upper_.value = constant_;
  for (size_t k = 0; k < bound_scaling.size(); ++k) {
    upper_.value[index(diagonal_[index(problem_.bounds[k].var)])] += bound_scaling[k];
  }
  set_cone_values();
  add_matrix_values(matrices);
  factor_shifted();
  while (!ldl_.replaced().empty() && shift_ < kMostShift) {
    shift_ *= kShiftGrowth;
    factor_shifted();
  }
}

void NewtonSystem::add_matrix_values(std::vector<MatrixCone>* matrices) {
  std::fill(schur_.begin(), schur_.end(), 0.0);
  for (size_t m = 0; m < matrices->size(); ++m) {
    (*matrices)[m].compute_schur(&products_);
    const std::vector<MatrixPart>& parts = problem_.matrices[m].parts;
    size_t k = 0;
    for (size_t col = 0; col < parts.size(); ++col) {
      for (size_t row = col; row < parts.size(); ++row) {
        const double value = products_[col * parts.size() + row];
        if (!dense_matrix_rows_) {
          upper_.value[index(matrix_place_[m][k++])] -= value;
          continue;
        }
        const size_t p = index(place_of_row_[index(parts[row].row)]);
        const size_t q = index(place_of_row_[index(parts[col].row)]);
        schur_[std::min(p, q) * matrix_rows_.size() + std::max(p, q)] += value;
      }
    }
  }
  for (size_t k = 0; k < schur_.size(); ++k) end_block_[k] = -schur_[k];
}

void NewtonSystem::factor_shifted() {
  shifted_.value = upper_.value;
  for (size_t node = 0; node < sign_.size(); ++node) {
    double& value = shifted_.value[index(diagonal_[node])];
    value += sign_[node] * (shift_ + kRelativeShift * std::fabs(value));
  }
  ldl_.factor(shifted_, sign_, schur_.empty() ? nullptr : end_block_.data());
}

void NewtonSystem::multiply(const std::vector<double>& x, std::vector<double>* out) const {
  std::fill(out->begin(), out->end(), 0.0);
  for (size_t col = 0; col < x.size(); ++col) {
    const double xc = x[col];
    double sum = 0.0;
    for (int64_t k = upper_.start[col]; k < upper_.start[col + 1]; ++k) {
      const size_t row = index(upper_.row[index(k)]);
      const double value = upper_.value[index(k)];
      sum += value * x[row];
      if (row != col) (*out)[row] += value * xc;
    }
    (*out)[col] += sum;
  }
  if (schur_.empty()) return;
  const size_t end = matrix_rows_.size();
  std::vector<double> part(end);
  std::vector<double> product(end);
  const size_t first = index(first_row_node_);
  for (size_t k = 0; k < end; ++k) part[k] = x[first + index(matrix_rows_[k])];
  algebra_->multiply_vector(static_cast<int>(end), schur_.data(), static_cast<int>(end),
                            part.data(), 0.0, product.data());
  for (size_t k = 0; k < end; ++k) (*out)[first + index(matrix_rows_[k])] -= product[k];
}

void NewtonSystem::solve(const double* f, const double* g, double* dx, double* dy) {
  const size_t num_var = index(problem_.num_var());
  const size_t first = index(first_row_node_);
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  std::copy_n(f, num_var, rhs_.begin());
  std::copy_n(g, index(problem_.num_row()), rhs_.begin() + static_cast<int64_t>(first));
  solution_ = rhs_;
  ldl_.solve(solution_.data());
  const double good = problem_.matrices.empty() ? kGoodResidual : kGoodMatrixResidual;
  const double target = good * norm(rhs_);
  double error = norm_of_residual();
  for (int round = 0; round < kMostRounds && error > target; ++round) {
    before_ = solution_;
    correct(error, target);
    const double next = norm_of_residual();
    if (next < error) {
      const bool slow = next > 0.5 * error;
      error = next;
      if (!slow) continue;
    } else {
      solution_ = before_;
    }
    break;
  }
  std::copy_n(solution_.begin(), num_var, dx);
  for (size_t i = 0; i < index(problem_.num_row()); ++i) dy[i] = -solution_[first + i];
}

// Leaves the residual in residual_.
double NewtonSystem::norm_of_residual() {
  multiply(solution_, &residual_);
  for (size_t i = 0; i < rhs_.size(); ++i) residual_[i] = rhs_[i] - residual_[i];
  return norm(residual_);
}

// Adds the best combination of a few Krylov vectors of the residual, GMRES with the factorization
// as preconditioner from the right (Y. Saad, M. Schultz, SIAM J. Sci. Stat. Comput. 7, 1986). Where
// the shift changes only some directions much, these take a few vectors, while plain refinement
// would crawl.
void NewtonSystem::correct(double error, double target) {
  basis_[0] = residual_;
  for (double& value : basis_[0]) value /= error;
  size_t size = 0;  // of the space
  std::vector<std::array<double, 2>> rotations;
  std::vector<std::vector<double>> columns;  // of the triangular factor of the Hessenberg matrix
  std::vector<double> right = {error};
  while (size < kMostVectors && std::fabs(right.back()) > 0.3 * target) {
    const size_t k = size;
    images_[k] = basis_[k];
    ldl_.solve(images_[k].data());
    std::vector<double>& next = basis_[k + 1];
    next.resize(rhs_.size());
    multiply(images_[k], &next);
    std::vector<double> column(k + 2);
    for (size_t i = 0; i <= k; ++i) {
      column[i] = dot(basis_[i], next);
      for (size_t j = 0; j < next.size(); ++j) next[j] -= column[i] * basis_[i][j];
    }
    const double length = norm(next);
    column[k + 1] = length;
    for (size_t i = 0; i < k; ++i) {
      const auto [cosine, sine] = rotations[i];
      const double upper = cosine * column[i] + sine * column[i + 1];
      column[i + 1] = cosine * column[i + 1] - sine * column[i];
      column[i] = upper;
    }
    const double radius = std::hypot(column[k], column[k + 1]);
    if (!(radius > 0.0) || !std::isfinite(radius)) break;
    rotations.push_back({column[k] / radius, column[k + 1] / radius});
    column[k] = radius;
    right.push_back(-rotations[k][1] * right[k]);
    right[k] *= rotations[k][0];
    columns.push_back(std::move(column));
    ++size;
    if (!(length > 0.0)) break;
    for (double& value : next) value /= length;
  }
  for (size_t k = size; k-- > 0;) {
    const double weight = right[k] / columns[k][k];
    for (size_t i = 0; i < k; ++i) right[i] -= weight * columns[k][i];
    for (size_t j = 0; j < solution_.size(); ++j) solution_[j] += weight * images_[k][j];
  }
}

}  // namespace vorlan::conic
