// Definiteness by shifted Cholesky factorizations; see definiteness.h. The matrix is first scaled
// from both sides so that the shift becomes t times the identity.
#include "solve/check/definiteness.h"

#include <Eigen/Cholesky>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>
#include <utility>

#include "task/numeric.h"

namespace vorlan {
namespace {

using Sparse = Eigen::SparseMatrix<double>;
using Index = Eigen::Index;

constexpr double kRounding = 1e-14;
// Twofold steps from kRounding to 1.
constexpr int kSteps = 47;

// The least kRounding 2^k that passes, where greater ones do, too.
template <class Passes>
double least_shift(double rounding, Passes&& passes) {
  if (passes(rounding)) return 0.0;
  int fails = 0;
  int succeeds = kSteps;
  while (succeeds - fails > 1) {
    const int middle = (fails + succeeds) / 2;
    (passes(std::ldexp(kRounding, middle)) ? succeeds : fails) = middle;
  }
  return std::min(1.0, std::ldexp(kRounding, succeeds));
}

// The factorization of a matrix of this dimension may be wrong by so much.
double rounding_of(Index dimension) {
  return kRounding * std::max(1.0, 1e-2 * static_cast<double>(dimension));
}

// The lower triangle; zeros are above it.
Eigen::MatrixXd unpack(std::span<const double> packed, size_t dimension) {
  const auto n = static_cast<Index>(dimension);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(n, n);
  size_t k = 0;
  for (Index col = 0; col < n; ++col) {
    for (Index row = col; row < n; ++row) matrix(row, col) = packed[k++];
  }
  return matrix;
}

double inverse_root(double diagonal, double least) {
  return 1.0 / std::sqrt(std::max(least, std::fabs(diagonal)));
}

// Scaled by 0, a row is one of zeros.
double inverse_root_of_size(double size) { return size > 0.0 ? 1.0 / std::sqrt(size) : 0.0; }

// The shift is of the matrix scaled from both sides. It is made anew for each factor, which takes
// its memory: the first one passes as a rule.
double indefiniteness_of_scaled(std::span<const double> packed, const Eigen::VectorXd& scale) {
  Eigen::MatrixXd matrix;
  return least_shift(rounding_of(scale.size()), [&](double shift) {
    matrix = unpack(packed, static_cast<size_t>(scale.size()));
    matrix = scale.asDiagonal() * matrix * scale.asDiagonal();
    matrix.diagonal().array() += shift;
    const Eigen::LLT<Eigen::Ref<Eigen::MatrixXd>, Eigen::Lower> factor(matrix);
    return factor.info() == Eigen::Success;
  });
}

double indefiniteness_of_scaled(Sparse matrix, const Eigen::VectorXd& scale) {
  matrix = scale.asDiagonal() * matrix * scale.asDiagonal();
  Eigen::SimplicialLLT<Sparse, Eigen::Lower> factor;
  factor.analyzePattern(matrix);
  return least_shift(rounding_of(matrix.rows()), [&](double shift) {
    factor.setShift(shift);
    factor.factorize(matrix);
    return factor.info() == Eigen::Success;
  });
}

// The numbers of the rows that have elements, in place of their indices.
std::vector<int> used_rows(const std::vector<SymmetricElement>& elements) {
  std::vector<int> rows;
  rows.reserve(2 * elements.size());
  for (const SymmetricElement& element : elements) {
    rows.push_back(element.row);
    rows.push_back(element.col);
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows;
}

Sparse compress(const std::vector<SymmetricElement>& elements, const std::vector<int>& rows) {
  const auto number_of = [&rows](int row) {
    return static_cast<int>(std::lower_bound(rows.begin(), rows.end(), row) - rows.begin());
  };
  std::vector<Eigen::Triplet<double>> triplets;
  triplets.reserve(elements.size() + rows.size());
  for (const SymmetricElement& element : elements) {
    triplets.emplace_back(number_of(element.row), number_of(element.col), element.value);
  }
  // The shift needs a place on all of the diagonal.
  const auto n = static_cast<int>(rows.size());
  for (int k = 0; k < n; ++k) triplets.emplace_back(k, k, 0.0);
  Sparse matrix(n, n);
  matrix.setFromTriplets(triplets.begin(), triplets.end());
  return matrix;
}

// A matrix with nothing off the diagonal needs no factorization.
bool is_nonnegative_diagonal(const std::vector<SymmetricElement>& elements) {
  return std::all_of(elements.begin(), elements.end(), [](const SymmetricElement& element) {
    return element.row == element.col && element.value >= 0.0;
  });
}

}  // namespace

double indefiniteness(std::span<const double> packed, size_t dimension, double least) {
  if (dimension == 0) return 0.0;
  Eigen::VectorXd scale(static_cast<Index>(dimension));
  size_t place = 0;
  for (size_t k = 0; k < dimension; place += dimension - k++) {
    scale[static_cast<Index>(k)] = inverse_root(packed[place], least);
  }
  return indefiniteness_of_scaled(packed, scale);
}

double indefiniteness(std::span<const double> packed, std::span<const double> sizes) {
  if (sizes.empty()) return 0.0;
  const Eigen::Map<const Eigen::VectorXd> size(sizes.data(), static_cast<Index>(sizes.size()));
  return indefiniteness_of_scaled(packed, size.unaryExpr(&inverse_root_of_size));
}

double indefiniteness(const std::vector<SymmetricElement>& elements) {
  if (is_nonnegative_diagonal(elements)) return 0.0;
  const Sparse matrix = compress(elements, used_rows(elements));
  const Eigen::VectorXd scale =
      matrix.diagonal().unaryExpr([](double element) { return inverse_root(element, 1.0); });
  return indefiniteness_of_scaled(matrix, scale);
}

double indefiniteness(const std::vector<SymmetricElement>& elements,
                      const std::vector<double>& sizes) {
  if (is_nonnegative_diagonal(elements)) return 0.0;
  const std::vector<int> rows = used_rows(elements);
  Eigen::VectorXd scale(static_cast<Index>(rows.size()));
  for (size_t k = 0; k < rows.size(); ++k) {
    scale[static_cast<Index>(k)] = inverse_root_of_size(sizes[index(rows[k])]);
  }
  return indefiniteness_of_scaled(compress(elements, rows), scale);
}

}  // namespace vorlan
