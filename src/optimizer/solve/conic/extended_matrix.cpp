// The matrices of a part are sparse as a rule: a product with one of them goes over its elements.
#include "solve/conic/extended_matrix.h"

#include <algorithm>
#include <cmath>

namespace vorlan::conic {
namespace {

ExtendedMatrix symmetric_part(const ExtendedMatrix& matrix) {
  return DoubleDouble(0.5) * (matrix + matrix.transpose());
}

// All columns but the first of the reflection that takes the vector to the first axis.
ExtendedMatrix basis_without(const std::vector<double>& vector) {
  const auto order = static_cast<Eigen::Index>(vector.size());
  ExtendedVector h(order);
  for (Eigen::Index i = 0; i < order; ++i) h[i] = vector[index(i)];
  const DoubleDouble length = sqrt(h.squaredNorm());
  h[0] += h[0] < 0.0 ? -length : length;
  const ExtendedMatrix reflection = ExtendedMatrix::Identity(order, order) -
                                    h * (DoubleDouble(2.0) / h.squaredNorm() * h).transpose();
  return reflection.rightCols(order - 1);
}

// The longest step along the change that leaves the matrix with this factor semidefinite.
DoubleDouble step_to_boundary(const ExtendedMatrix& factor, const ExtendedMatrix& change) {
  const auto lower = factor.triangularView<Eigen::Lower>();
  const ExtendedMatrix half = lower.solve(change);
  const ExtendedMatrix scaled = lower.solve(ExtendedMatrix(half.transpose()));
  const Eigen::SelfAdjointEigenSolver<ExtendedMatrix> eigen(symmetric_part(scaled),
                                                            Eigen::EigenvaluesOnly);
  const DoubleDouble least = eigen.eigenvalues()[0];
  return least < 0.0 ? DoubleDouble(-1.0) / least : Eigen::NumTraits<DoubleDouble>::infinity();
}

bool factor_definite(const ExtendedMatrix& matrix, ExtendedMatrix* factor) {
  const Eigen::LLT<ExtendedMatrix> llt(matrix);
  *factor = llt.matrixL();
  return llt.info() == Eigen::Success && isfinite(factor->diagonal().sum());
}

}  // namespace

ExtendedMatrixVariable::ExtendedMatrixVariable(const MatrixBlock& block)
    : order_(block.face_order()) {
  if (block.null.row >= 0) basis_ = basis_without(block.null.vector);
  cost_ = make_part(-1, block.cost);
  for (const MatrixPart& part : block.parts) parts_.push_back(make_part(part.row, part.entries));
}

void ExtendedMatrixVariable::set(const DenseMatrix& whole) {
  ExtendedMatrix x(whole.rows(), whole.cols());
  for (size_t col = 0; col < whole.cols(); ++col) {
    for (size_t row = 0; row < whole.rows(); ++row) {
      x(static_cast<Eigen::Index>(row), static_cast<Eigen::Index>(col)) = whole(row, col);
    }
  }
  x_ = symmetric_part(basis_.size() > 0 ? basis_.transpose() * x * basis_ : x);
}

// In a face a part is dense.
ExtendedMatrixVariable::Part ExtendedMatrixVariable::make_part(
    int32_t row, const std::vector<TriangleEntry>& entries) const {
  Part part{row, {}, {}};
  for (const TriangleEntry& e : entries) part.entries.push_back({e.row, e.col, e.value});
  if (basis_.size() > 0) {
    ExtendedMatrix whole = ExtendedMatrix::Zero(basis_.rows(), basis_.rows());
    add_part(part, 1.0, &whole);
    const ExtendedMatrix inside = basis_.transpose() * whole * basis_;
    part.entries.clear();
    for (Eigen::Index j = 0; j < inside.cols(); ++j) {
      for (Eigen::Index i = j; i < inside.rows(); ++i) part.entries.push_back({i, j, inside(i, j)});
    }
  }
  for (const Entry& e : part.entries) part.columns.insert(part.columns.end(), {e.row, e.col});
  std::sort(part.columns.begin(), part.columns.end());
  part.columns.erase(std::unique(part.columns.begin(), part.columns.end()), part.columns.end());
  return part;
}

double ExtendedMatrixVariable::count_multiplications(const MatrixBlock& block) {
  constexpr double kDenseProducts = 30.0;
  const double order = block.dimension;
  double count = kDenseProducts * order * order * order;
  for (const MatrixPart& part : block.parts) {
    const double columns = std::min(order, 2.0 * static_cast<double>(part.entries.size()));
    count += (block.null.row < 0 ? columns : order) * order * order;
  }
  return count;
}

bool ExtendedMatrixVariable::factor(DoubleDouble cost, const ExtendedVector& y,
                                    DoubleDouble identity) {
  z_ = combine(cost, y, identity);
  if (!factor_definite(x_, &x_factor_) || !factor_definite(z_, &z_factor_)) return false;
  const ExtendedMatrix half = z_factor_.triangularView<Eigen::Lower>().solve(
      ExtendedMatrix(ExtendedMatrix::Identity(order(), order())));
  inverse_ = half.transpose() * half;
  return true;
}

DoubleDouble ExtendedMatrixVariable::product(const Part& part, const ExtendedMatrix& matrix) {
  DoubleDouble sum;
  for (const Entry& e : part.entries) {
    const DoubleDouble element = matrix(e.row, e.col);
    sum += e.value * (e.row == e.col ? element : element + matrix(e.col, e.row));
  }
  return sum;
}

void ExtendedMatrixVariable::add_products(const ExtendedMatrix& matrix, DoubleDouble factor,
                                          ExtendedVector* rows) const {
  for (const Part& part : parts_) (*rows)[part.row] += factor * product(part, matrix);
}

void ExtendedMatrixVariable::add_part(const Part& part, DoubleDouble factor,
                                      ExtendedMatrix* matrix) {
  for (const Entry& e : part.entries) {
    const DoubleDouble term = factor * e.value;
    (*matrix)(e.row, e.col) += term;
    if (e.row != e.col) (*matrix)(e.col, e.row) += term;
  }
}

ExtendedMatrix ExtendedMatrixVariable::combine(DoubleDouble cost, const ExtendedVector& y,
                                               DoubleDouble identity) const {
  ExtendedMatrix matrix = identity * ExtendedMatrix::Identity(order(), order());
  add_part(cost_, cost, &matrix);
  for (const Part& part : parts_) add_part(part, -y[part.row], &matrix);
  return matrix;
}

// X S inv(Z), whose symmetric part is K(S): a product with a symmetric matrix sees no other.
ExtendedMatrix ExtendedMatrixVariable::scale(const Part& part) const {
  ExtendedMatrix half = ExtendedMatrix::Zero(order(), order());
  for (const Entry& e : part.entries) {
    half.col(e.col) += e.value * x_.col(e.row);
    if (e.row != e.col) half.col(e.row) += e.value * x_.col(e.col);
  }
  ExtendedMatrix scaled = ExtendedMatrix::Zero(order(), order());
  for (Eigen::Index j = 0; j < order(); ++j) {
    for (const Eigen::Index k : part.columns) scaled.col(j) += inverse_(k, j) * half.col(k);
  }
  return scaled;
}

ExtendedMatrix ExtendedMatrixVariable::scale(const ExtendedMatrix& matrix) const {
  return symmetric_part(x_ * matrix * inverse_);
}

DoubleDouble ExtendedMatrixVariable::add_to_system(ExtendedMatrix* schur, ExtendedVector* rows) {
  for (size_t j = 0; j < parts_.size(); ++j) {
    const ExtendedMatrix scaled = scale(parts_[j]);
    for (size_t i = j; i < parts_.size(); ++i) {
      const DoubleDouble element = product(parts_[i], scaled);
      (*schur)(parts_[i].row, parts_[j].row) += element;
      if (i != j) (*schur)(parts_[j].row, parts_[i].row) += element;
    }
  }
  const ExtendedMatrix scaled = scale(cost_);
  add_products(scaled, 1.0, rows);
  return cost_product(scaled);
}

DoubleDouble ExtendedMatrixVariable::aim(const Target& target, ExtendedVector* rows) {
  residual_ = target.identity_residual * ExtendedMatrix::Identity(order(), order());
  add_part(cost_, target.cost_residual, &residual_);
  rhs_ = target.mu * inverse_ - x_;
  if (target.corrects) rhs_ -= symmetric_part(dx_ * dz_ * inverse_);
  const ExtendedMatrix aimed = rhs_ - scale(residual_);
  add_products(aimed, 1.0, rows);
  return cost_product(aimed);
}

void ExtendedMatrixVariable::find_step(const ExtendedVector& dy, DoubleDouble dtau) {
  dz_ = residual_ + combine(dtau, dy, 0.0);
  dx_ = rhs_ - scale(dz_);
}

DoubleDouble ExtendedMatrixVariable::step_length() const {
  return std::min(step_to_boundary(x_factor_, dx_), step_to_boundary(z_factor_, dz_));
}

DenseMatrix ExtendedMatrixVariable::rounded(DoubleDouble tau) const {
  const ExtendedMatrix whole =
      basis_.size() > 0 ? ExtendedMatrix(basis_ * x_ * basis_.transpose()) : x_;
  const auto size = static_cast<size_t>(whole.rows());
  DenseMatrix out(size, size);
  for (Eigen::Index j = 0; j < whole.cols(); ++j) {
    for (Eigen::Index i = j; i < whole.rows(); ++i) {
      const auto value = static_cast<double>(whole(i, j) / tau);
      out(static_cast<size_t>(i), static_cast<size_t>(j)) = value;
      out(static_cast<size_t>(j), static_cast<size_t>(i)) = value;
    }
  }
  return out;
}

}  // namespace vorlan::conic
