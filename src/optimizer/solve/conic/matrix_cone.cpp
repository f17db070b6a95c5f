// Scaling, Schur complement and steps of a matrix variable.
#include "solve/conic/matrix_cone.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "solve/check/vectors.h"

namespace vorlan::conic {
namespace {

constexpr int32_t kCostSlot = -1;
constexpr int32_t kIdentitySlot = -2;

void add_triangle(const std::vector<TriangleEntry>& entries, double factor, size_t n,
                  double* matrix) {
  if (factor == 0.0) return;
  for (const TriangleEntry& e : entries) {
    const double term = factor * e.value;
    matrix[index(e.col) * n + index(e.row)] += term;
    if (e.row != e.col) matrix[index(e.row) * n + index(e.col)] += term;
  }
}

double triangle_product(const std::vector<TriangleEntry>& entries, size_t n, const double* matrix) {
  double sum = 0.0;
  for (const TriangleEntry& e : entries) {
    const double term = e.value * matrix[index(e.col) * n + index(e.row)];
    sum += e.row == e.col ? term : 2.0 * term;
  }
  return sum;
}

double dot(const double* a, const double* b, size_t n) {
  double sum = 0.0;
  for (size_t i = 0; i < n; ++i) sum += a[i] * b[i];
  return sum;
}

// The least eigenvalue of the symmetric tridiagonal matrix, and the last component of its
// eigenvector, of unit length.
struct RitzValue {
  double value;
  double last_component;
};

RitzValue least_ritz_value(const DenseAlgebra& algebra, const std::vector<double>& diagonal,
                           const std::vector<double>& beside) {
  const size_t n = diagonal.size();
  std::vector<double> matrix(n * n, 0.0);
  std::vector<double> values(n);
  for (size_t i = 0; i < n; ++i) {
    matrix[i * n + i] = diagonal[i];
    if (i + 1 < n) matrix[i * n + i + 1] = beside[i];
  }
  const int order = static_cast<int>(n);
  if (!algebra.eigenvalues(true, order, matrix.data(), order, values.data())) {
    return {-INFINITY, 0.0};
  }
  return {values[0], matrix[n - 1]};
}

}  // namespace

MatrixCone::MatrixCone(const MatrixBlock& block, const DenseAlgebra& algebra)
    : n_(block.dimension), algebra_(algebra), parts_(block.parts), cost_(block.cost) {
  const size_t elements = index(n_) * index(n_);
  for (auto* matrix : {&x_, &z_, &g_, &w_, &rhs_, &unscaled_, &dz_scaled_, &dx_scaled_, &dx_, &dz_,
                       &work_, &other_work_}) {
    matrix->assign(elements, 0.0);
  }
  lambda_.assign(index(n_), 1.0);
  cost_column_.assign(parts_.size(), 0.0);
  identity_column_.assign(parts_.size(), 0.0);
  sort_rows();
}

void MatrixCone::sort_rows() {
  std::vector<TriangleEntry> identity;
  identity.reserve(index(n_));
  for (int32_t i = 0; i < n_; ++i) identity.push_back({i, i, 1.0});
  const auto entries = [&](int32_t part) -> const std::vector<TriangleEntry>& {
    if (part == kCostSlot) return cost_;
    return part == kIdentitySlot ? identity : parts_[index(part)].entries;
  };
  slot_part_ = {kCostSlot, kIdentitySlot};
  for (size_t p = 0; p < parts_.size(); ++p) slot_part_.push_back(static_cast<int32_t>(p));
  std::stable_sort(slot_part_.begin(), slot_part_.end(),
                   [&](int32_t a, int32_t b) { return entries(a).size() > entries(b).size(); });
  slot_start_ = {0};
  for (const int32_t part : slot_part_) {
    std::vector<int32_t> support;
    for (const TriangleEntry& e : entries(part)) {
      elements_.push_back({e.row, e.col, e.row == e.col ? e.value : 2.0 * e.value});
      support.push_back(e.row);
      support.push_back(e.col);
    }
    std::sort(support.begin(), support.end());
    support.erase(std::unique(support.begin(), support.end()), support.end());
    slot_support_.push_back(std::move(support));
    slot_start_.push_back(elements_.size());
  }
}

void MatrixCone::start() {
  std::fill(x_.begin(), x_.end(), 0.0);
  for (size_t i = 0; i < index(n_); ++i) x_[i * index(n_) + i] = 1.0;
  z_ = x_;
}

bool MatrixCone::update() {
  const size_t n = index(n_);
  std::vector<double>& l = other_work_;
  l = x_;
  if (!algebra_.factor_cholesky(n_, l.data(), n_)) return false;
  for (size_t col = 1; col < n; ++col) std::fill_n(&l[col * n], col, 0.0);
  g_ = z_;
  algebra_.multiply_triangular(false, false, n_, n_, l.data(), n_, g_.data(), n_);
  algebra_.multiply_triangular(true, true, n_, n_, l.data(), n_, g_.data(), n_);
  if (!algebra_.eigenvalues(true, n_, g_.data(), n_, lambda_.data())) return false;
  if (!(lambda_[0] > 0.0) || !std::isfinite(lambda_[n - 1])) return false;
  algebra_.multiply_triangular(true, false, n_, n_, l.data(), n_, g_.data(), n_);
  for (size_t col = 0; col < n; ++col) {
    lambda_[col] = std::sqrt(lambda_[col]);
    const double factor = 1.0 / std::sqrt(lambda_[col]);
    for (size_t row = 0; row < n; ++row) g_[col * n + row] *= factor;
  }
  algebra_.rank_update(n_, n_, 1.0, g_.data(), n_, 0.0, w_.data(), n_);
  mirror_lower(n_, w_.data(), n_);
  return true;
}

// For row i the products with all later rows j need elements of W A_i W: all of them by one
// product of matrices, or each needed one by a product of two vectors of the length of A_i's
// support, whichever is less work (K. Fujisawa, M. Kojima, K. Nakata, Exploiting sparsity in
// primal-dual interior-point methods for semidefinite programming, Math. Program. 79, 1997).
bool MatrixCone::takes_full_product(size_t slot) const {
  const double support = static_cast<double>(slot_support_[slot].size());
  const double later = static_cast<double>(elements_.size() - slot_start_[slot]);
  // A product of matrices does about ten multiplications in the time of a scattered one.
  const double full = static_cast<double>(n_) * n_ * support / 10.0 + later;
  return full < support * later;
}

// gathered_ holds W by the support (support x n), image_ A_i W there.
void MatrixCone::multiply_by_scaling(size_t slot) {
  const std::vector<int32_t>& support = slot_support_[slot];
  const size_t n = index(n_);
  const size_t height = support.size();
  gathered_.resize(height * n);
  image_.assign(height * n, 0.0);
  std::vector<int32_t> position(n, 0);
  for (size_t k = 0; k < height; ++k) position[index(support[k])] = static_cast<int32_t>(k);
  for (size_t col = 0; col < n; ++col) {
    for (size_t k = 0; k < height; ++k)
      gathered_[col * height + k] = w_[col * n + index(support[k])];
  }
  for (size_t e = slot_start_[slot]; e < slot_start_[slot + 1]; ++e) {
    const Element& element = elements_[e];
    const bool diagonal = element.row == element.col;
    const double value = diagonal ? element.weight : 0.5 * element.weight;
    const size_t row = index(position[index(element.row)]);
    const size_t col = index(position[index(element.col)]);
    for (size_t j = 0; j < n; ++j) {
      image_[j * height + row] += value * gathered_[j * height + col];
      if (!diagonal) image_[j * height + col] += value * gathered_[j * height + row];
    }
  }
}

double MatrixCone::row_product(size_t slot, const std::vector<double>& u) const {
  const size_t n = index(n_);
  double sum = 0.0;
  for (size_t e = slot_start_[slot]; e < slot_start_[slot + 1]; ++e) {
    sum += elements_[e].weight * u[index(elements_[e].col) * n + index(elements_[e].row)];
  }
  return sum;
}

void MatrixCone::compute_schur(std::vector<double>* schur) {
  const size_t n = index(n_);
  const size_t stride = parts_.size();
  schur->assign(stride * stride, 0.0);
  product_.resize(n * n);
  for (size_t i = 0; i < slot_part_.size(); ++i) {
    if (slot_support_[i].empty()) continue;
    multiply_by_scaling(i);
    const auto height = static_cast<int>(slot_support_[i].size());
    const bool full = takes_full_product(i);
    if (full) {
      algebra_.multiply_symmetric(true, false, n_, height, 1.0, gathered_.data(), height,
                                  image_.data(), height, 0.0, product_.data(), n_);
    }
    for (size_t j = i; j < slot_part_.size(); ++j) {
      const double value = full ? row_product(j, product_) : gathered_product(j, index(height));
      store_product(slot_part_[i], slot_part_[j], value, schur);
    }
  }
}

// The product of slot j with W A W of the slot whose rows are gathered.
double MatrixCone::gathered_product(size_t slot, size_t height) const {
  double sum = 0.0;
  for (size_t e = slot_start_[slot]; e < slot_start_[slot + 1]; ++e) {
    const Element& element = elements_[e];
    sum += element.weight * dot(&gathered_[index(element.row) * height],
                                &image_[index(element.col) * height], height);
  }
  return sum;
}

void MatrixCone::store_product(int32_t a, int32_t b, double value, std::vector<double>* schur) {
  const int32_t low = std::min(a, b);
  const int32_t high = std::max(a, b);
  if (low >= 0) {
    (*schur)[index(low) * parts_.size() + index(high)] = value;
  } else if (high >= 0) {
    (low == kCostSlot ? cost_column_ : identity_column_)[index(high)] = value;
  } else if (low != high) {
    cost_identity_ = value;
  } else if (low == kCostSlot) {
    cost_square_ = value;
  }
}

void MatrixCone::add_products(const std::vector<double>& matrix, double factor,
                              double* rows) const {
  for (const MatrixPart& part : parts_) {
    rows[part.row] += factor * triangle_product(part.entries, index(n_), matrix.data());
  }
}

double MatrixCone::cost_product(const std::vector<double>& matrix) const {
  return triangle_product(cost_, index(n_), matrix.data());
}

void MatrixCone::term_sizes(double* rows) const {
  const size_t n = index(n_);
  for (const MatrixPart& part : parts_) {
    double& size = rows[part.row];
    for (const TriangleEntry& e : part.entries) {
      size = std::max(size, std::fabs(e.value * x_[index(e.col) * n + index(e.row)]));
    }
  }
}

double MatrixCone::inner_product() const { return dot(x_.data(), z_.data(), x_.size()); }

void MatrixCone::combine(double cost_factor, const double* y, double identity,
                         std::vector<double>* out) const {
  const size_t n = index(n_);
  std::fill(out->begin(), out->end(), 0.0);
  add_triangle(cost_, cost_factor, n, out->data());
  for (const MatrixPart& part : parts_) add_triangle(part.entries, -y[part.row], n, out->data());
  for (size_t i = 0; i < n; ++i) (*out)[i * n + i] += identity;
}

// G' M G or G M G' of a symmetric M, in full. Few elements of M are multiplied one by one.
void MatrixCone::congruence(bool transpose, const std::vector<double>& matrix,
                            std::vector<double>* out) {
  const size_t n = index(n_);
  std::vector<double>& half = other_work_;
  if (transpose) {
    const auto zeros = static_cast<size_t>(std::count(matrix.begin(), matrix.end(), 0.0));
    const bool sparse = (matrix.size() - zeros) * 12 < matrix.size();
    if (sparse) {
      // half = M G as rows of G', so that columns are contiguous: half' = G' M.
      std::fill(half.begin(), half.end(), 0.0);
      for (size_t row = 0; row < n; ++row) {
        for (size_t col = 0; col < n; ++col) work_[row * n + col] = g_[col * n + row];
      }
      for (size_t col = 0; col < n; ++col) {
        for (size_t row = 0; row < n; ++row) {
          const double value = matrix[col * n + row];
          if (value == 0.0) continue;
          for (size_t k = 0; k < n; ++k) half[col * n + k] += value * work_[row * n + k];
        }
      }
      // out = (G' M) G.
      algebra_.multiply_symmetric(false, false, n_, n_, 1.0, half.data(), n_, g_.data(), n_, 0.0,
                                  out->data(), n_);
    } else {
      algebra_.multiply(false, false, n_, n_, n_, 1.0, matrix.data(), n_, g_.data(), n_, 0.0,
                        half.data(), n_);
      algebra_.multiply_symmetric(true, false, n_, n_, 1.0, g_.data(), n_, half.data(), n_, 0.0,
                                  out->data(), n_);
    }
  } else {
    algebra_.multiply(false, false, n_, n_, n_, 1.0, g_.data(), n_, matrix.data(), n_, 0.0,
                      half.data(), n_);
    algebra_.multiply_symmetric(false, true, n_, n_, 1.0, half.data(), n_, g_.data(), n_, 0.0,
                                out->data(), n_);
  }
  mirror_lower(n_, out->data(), n_);
}

double MatrixCone::column_square(const double* dy) {
  combine(1.0, dy, 0.0, &dz_);
  congruence(true, dz_, &dz_scaled_);
  return dot(dz_scaled_.data(), dz_scaled_.data(), dz_scaled_.size());
}

// G diag(lambda) G' = X.
void MatrixCone::set_affine_rhs() {
  const size_t n = index(n_);
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  for (size_t i = 0; i < n; ++i) rhs_[i * n + i] = -lambda_[i];
  for (size_t i = 0; i < n * n; ++i) unscaled_[i] = -x_[i];
}

void MatrixCone::clear_affine_step() {
  std::fill(dx_scaled_.begin(), dx_scaled_.end(), 0.0);
  std::fill(dz_scaled_.begin(), dz_scaled_.end(), 0.0);
}

// (Lambda R + R Lambda) / 2 = mu I - Lambda^2 - (dX~ dZ~ + dZ~ dX~) / 2.
void MatrixCone::set_centering_rhs(double mu_target) {
  const size_t n = index(n_);
  algebra_.multiply(false, false, n_, n_, n_, 1.0, dx_scaled_.data(), n_, dz_scaled_.data(), n_,
                    0.0, work_.data(), n_);
  for (size_t col = 0; col < n; ++col) {
    for (size_t row = col; row < n; ++row) {
      double value = -0.5 * (work_[col * n + row] + work_[row * n + col]);
      if (row == col) value += mu_target - lambda_[row] * lambda_[row];
      value *= 2.0 / (lambda_[row] + lambda_[col]);
      rhs_[col * n + row] = value;
      rhs_[row * n + col] = value;
    }
  }
  congruence(false, rhs_, &unscaled_);
}

void MatrixCone::set_step(const double* dy, double ratio, double cost_change, bool affine) {
  combine(cost_change, dy, -cost_change, &dz_);
  congruence(true, dz_, &dz_scaled_);
  if (!affine) {
    congruence(false, dz_scaled_, &dx_);
    for (size_t i = 0; i < dx_.size(); ++i) dx_[i] = unscaled_[i] - ratio * x_[i] - dx_[i];
  }
  // Z is the diagonal matrix of lambda in scaled terms, X what comes back from it.
  const size_t n = index(n_);
  for (size_t i = 0; i < n; ++i) dz_scaled_[i * n + i] += ratio * lambda_[i];
  for (size_t i = 0; i < rhs_.size(); ++i) dx_scaled_[i] = rhs_[i] - dz_scaled_[i];
}

void MatrixCone::correct_step(const double* dy) {
  combine(0.0, dy, 0.0, &dz_);
  congruence(true, dz_, &rhs_);
  for (size_t i = 0; i < rhs_.size(); ++i) {
    dz_scaled_[i] += rhs_[i];
    dx_scaled_[i] -= rhs_[i];
  }
  congruence(false, rhs_, &unscaled_);
  for (size_t i = 0; i < dx_.size(); ++i) dx_[i] -= unscaled_[i];
}

// Of inv(sqrt(Lambda)) M inv(sqrt(Lambda)).
double MatrixCone::least_eigenvalue(const std::vector<double>& scaled) const {
  const size_t n = index(n_);
  std::vector<double> matrix(scaled.size());
  std::vector<double> factor(n);
  for (size_t i = 0; i < n; ++i) factor[i] = 1.0 / std::sqrt(lambda_[i]);
  for (size_t col = 0; col < n; ++col) {
    for (size_t row = 0; row < n; ++row) {
      matrix[col * n + row] = scaled[col * n + row] * factor[row] * factor[col];
    }
  }
  constexpr int32_t kSmall = 40;
  if (n_ > kSmall) return lanczos(&matrix);
  std::vector<double> values(n);
  if (!algebra_.eigenvalues(false, n_, matrix.data(), n_, values.data())) return -INFINITY;
  return values[0];
}

// A lower bound of the least eigenvalue, near it, by Lanczos's method with full
// reorthogonalization.
double MatrixCone::lanczos(std::vector<double>* matrix) const {
  const size_t n = index(n_);
  constexpr size_t kMostSteps = 60;
  const size_t most = std::min(n, kMostSteps);
  std::vector<std::vector<double>> basis;
  std::vector<double> diagonal;
  std::vector<double> beside;
  std::vector<double> v(n);
  // A start without structure, the same in every run.
  uint32_t state = 12345;
  for (double& value : v) {
    state = state * 1664525u + 1013904223u;
    value = 0.5 + static_cast<double>(state >> 8) / 16777216.0;
  }
  double norm = std::sqrt(dot(v.data(), v.data(), n));
  double bound = -INFINITY;
  std::vector<double> next(n);
  for (size_t step = 0; step < most; ++step) {
    for (double& value : v) value /= norm;
    basis.push_back(v);
    algebra_.multiply_vector(n_, matrix->data(), n_, v.data(), 0.0, next.data());
    diagonal.push_back(dot(next.data(), v.data(), n));
    for (const std::vector<double>& u : basis) {
      const double along = dot(u.data(), next.data(), n);
      for (size_t i = 0; i < n; ++i) next[i] -= along * u[i];
    }
    for (const std::vector<double>& u : basis) {
      const double along = dot(u.data(), next.data(), n);
      for (size_t i = 0; i < n; ++i) next[i] -= along * u[i];
    }
    norm = std::sqrt(dot(next.data(), next.data(), n));
    const bool last = step + 1 == most || norm < 1e-12;
    if (last || (step >= 8 && step % 4 == 0)) {
      const RitzValue ritz = least_ritz_value(algebra_, diagonal, beside);
      const double error = std::fabs(norm * ritz.last_component);
      bound = ritz.value - error;
      if (last || error <= 0.01 * std::max(std::fabs(ritz.value), 0.1)) break;
    }
    beside.push_back(norm);
    v = next;
  }
  return bound;
}

double MatrixCone::step_length(double limit) const {
  for (const auto* step : {&dx_scaled_, &dz_scaled_}) {
    const double least = least_eigenvalue(*step);
    if (least < 0.0) limit = std::min(limit, -1.0 / least);
  }
  return limit;
}

void MatrixCone::take_step(double length) {
  for (size_t i = 0; i < x_.size(); ++i) x_[i] += length * dx_[i];
}

void MatrixCone::set_dual(const double* y, double tau, double residual) {
  combine(tau - residual, y, residual, &z_);
}

void MatrixCone::save() {
  saved_x_ = x_;
  saved_z_ = z_;
}

void MatrixCone::restore() {
  x_ = saved_x_;
  z_ = saved_z_;
}

}  // namespace vorlan::conic
