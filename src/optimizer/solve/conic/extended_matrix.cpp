// The matrices of a part are sparse as a rule: a product with one of them goes over its elements.
#include "solve/conic/extended_matrix.h"

#include <Eigen/Eigenvalues>
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

// The least eigenvalue. The digits of doubles are enough, unless others are much larger.
double least_eigenvalue(const ExtendedMatrix& matrix) {
  constexpr double kLargestShare = 1e10;
  const Eigen::MatrixXd rounded = matrix.cast<double>();
  const Eigen::VectorXd values =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(rounded, Eigen::EigenvaluesOnly).eigenvalues();
  if (values.cwiseAbs().maxCoeff() <= kLargestShare * std::fabs(values[0])) return values[0];
  const Eigen::SelfAdjointEigenSolver<ExtendedMatrix> eigen(matrix, Eigen::EigenvaluesOnly);
  return static_cast<double>(eigen.eigenvalues()[0]);
}

// The longest step along the change that leaves the matrix with this factor semidefinite.
DoubleDouble step_to_boundary(const ExtendedCholesky& factor, const ExtendedMatrix& change) {
  const ExtendedMatrix half = factor.divide(change);
  const double least = least_eigenvalue(symmetric_part(factor.divide(half.transpose())));
  return least < 0.0 ? DoubleDouble(-1.0 / least) : Eigen::NumTraits<DoubleDouble>::infinity();
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
  if (!x_factor_.compute(x_) || !z_factor_.compute(z_)) return false;
  const ExtendedMatrix half = z_factor_.divide(ExtendedMatrix::Identity(order(), order()));
  inverse_ = multiply(half.transpose(), half);
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
  const auto add_column = [this](DoubleDouble factor, const ExtendedMatrix& from, Eigen::Index col,
                                 Eigen::Index to, ExtendedMatrix* sum) {
    add_multiple(factor, from.col(col).data(), order(), sum->col(to).data());
  };
  ExtendedMatrix half = ExtendedMatrix::Zero(order(), order());
  for (const Entry& e : part.entries) {
    add_column(e.value, x_, e.row, e.col, &half);
    if (e.row != e.col) add_column(e.value, x_, e.col, e.row, &half);
  }
  ExtendedMatrix scaled = ExtendedMatrix::Zero(order(), order());
  for (Eigen::Index j = 0; j < order(); ++j) {
    for (const Eigen::Index k : part.columns) add_column(inverse_(k, j), half, k, j, &scaled);
  }
  return scaled;
}

ExtendedMatrix ExtendedMatrixVariable::scale(const ExtendedMatrix& matrix) const {
  return symmetric_part(multiply(multiply(x_, matrix), inverse_));
}

// Some parts are scaled at a time, and their elements laid side by side: then the products of all
// of them with another part are one sum of columns.
void ExtendedMatrixVariable::add_products_of_pairs(ExtendedMatrix* schur) const {
  constexpr size_t kPartsAtATime = 64;
  const Eigen::Index n = order();
  for (size_t first = 0; first < parts_.size(); first += kPartsAtATime) {
    const size_t end = std::min(first + kPartsAtATime, parts_.size());
    ExtendedMatrix elements(static_cast<Eigen::Index>(end - first), n * n);
    for (size_t j = first; j < end; ++j) {
      const ExtendedMatrix scaled = scale(parts_[j]);
      const auto at = static_cast<Eigen::Index>(j - first);
      for (Eigen::Index col = 0; col < n; ++col) {
        elements(at, col * n + col) = scaled(col, col);
        for (Eigen::Index row = col + 1; row < n; ++row) {
          elements(at, col * n + row) = scaled(row, col) + scaled(col, row);
        }
      }
    }
    for (size_t i = first; i < parts_.size(); ++i) {
      const auto count = static_cast<Eigen::Index>(std::min(i + 1, end) - first);
      ExtendedVector products = ExtendedVector::Zero(count);
      for (const Entry& e : parts_[i].entries) {
        const Eigen::Index element = std::min(e.row, e.col) * n + std::max(e.row, e.col);
        add_multiple(e.value, elements.col(element).data(), count, products.data());
      }
      for (Eigen::Index k = 0; k < count; ++k) {
        const size_t j = first + static_cast<size_t>(k);
        (*schur)(parts_[i].row, parts_[j].row) += products[k];
        if (i != j) (*schur)(parts_[j].row, parts_[i].row) += products[k];
      }
    }
  }
}

DoubleDouble ExtendedMatrixVariable::add_to_system(ExtendedMatrix* schur, ExtendedVector* rows) {
  add_products_of_pairs(schur);
  const ExtendedMatrix scaled = scale(cost_);
  add_products(scaled, 1.0, rows);
  return cost_product(scaled);
}

DoubleDouble ExtendedMatrixVariable::aim(const Target& target, ExtendedVector* rows) {
  residual_ = target.identity_residual * ExtendedMatrix::Identity(order(), order());
  add_part(cost_, target.cost_residual, &residual_);
  rhs_ = target.mu * inverse_ - x_;
  if (target.corrects) rhs_ -= symmetric_part(multiply(multiply(dx_, dz_), inverse_));
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
