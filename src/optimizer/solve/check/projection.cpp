// The change is -W^2 C' (C W^2 C')^-1 C values, where C has the coefficients and W is the diagonal
// matrix of the absolute values: it is the smallest in units of the values themselves.
#include "solve/check/projection.h"

#include <Eigen/SparseCholesky>
#include <cmath>

namespace vorlan {
namespace {

using Matrix = Eigen::SparseMatrix<double>;
using Vector = Eigen::VectorXd;
using Index = Eigen::Index;

// Sums that depend on each other make the system singular; repeating takes back what the shift does
// to the others.
constexpr double kShift = 1e-13;
constexpr int kRepetitions = 4;
// A value of which no larger part is left has vanished.
constexpr double kGone = 1e-10;
// The system may cost this many products to set up.
constexpr double kMostProducts = 2e7;

// The rows of C W, each of norm 1. A sum of zeros is left out.
Matrix scaled_rows(const std::vector<VanishingSum>& sums, const std::vector<double>& values) {
  std::vector<Eigen::Triplet<double>> elements;
  int row = 0;
  for (const VanishingSum& sum : sums) {
    double norm = 0.0;
    for (const auto& [place, a] : sum) norm = std::hypot(norm, a * values[place]);
    if (!(norm > 0.0)) continue;
    for (const auto& [place, a] : sum) {
      const double element = a * std::fabs(values[place]) / norm;
      if (element != 0.0) elements.emplace_back(row, static_cast<int>(place), element);
    }
    ++row;
  }
  Matrix matrix(row, static_cast<Index>(values.size()));
  matrix.setFromTriplets(elements.begin(), elements.end());
  return matrix;
}

bool is_affordable(const Matrix& matrix) {
  double products = 0.0;
  for (Index col = 0; col < matrix.outerSize(); ++col) {
    const auto count = static_cast<double>(matrix.col(col).nonZeros());
    products += count * count;
  }
  return products <= kMostProducts;
}

}  // namespace

void make_vanish(const std::vector<VanishingSum>& sums, std::vector<double>* values) {
  const Matrix matrix = scaled_rows(sums, *values);
  if (matrix.rows() == 0 || !is_affordable(matrix)) return;
  Eigen::SimplicialLDLT<Matrix, Eigen::Lower> factor;
  factor.setShift(kShift);
  factor.compute(matrix * Matrix(matrix.transpose()));
  if (factor.info() != Eigen::Success) return;
  // The values in units of what they were, which makes each of them 1, 0 or -1.
  Vector relative(static_cast<Index>(values->size()));
  for (size_t k = 0; k < values->size(); ++k) {
    const double value = (*values)[k];
    relative[static_cast<Index>(k)] = value > 0.0 ? 1.0 : value < 0.0 ? -1.0 : 0.0;
  }
  for (int repetition = 0; repetition < kRepetitions; ++repetition) {
    const Vector multipliers = factor.solve(matrix * relative);
    relative -= matrix.transpose() * multipliers;
  }
  for (size_t k = 0; k < values->size(); ++k) {
    const double part = relative[static_cast<Index>(k)];
    (*values)[k] = std::fabs(part) <= kGone ? 0.0 : std::fabs((*values)[k]) * part;
  }
}

}  // namespace vorlan
