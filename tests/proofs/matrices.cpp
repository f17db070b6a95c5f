// See matrices.h.
#include "matrices.h"

#include <algorithm>
#include <cstdlib>

namespace proofs {
namespace {

Point times_power_of_two(Point weights, int power) {
  const auto multiply = power < 0 ? mpq_div_2exp : mpq_mul_2exp;
  for (Rational& weight : weights) {
    multiply(weight.get_mpq_t(), weight.get_mpq_t(), static_cast<mp_bitcnt_t>(std::abs(power)));
  }
  return weights;
}

// All elements times one positive number.
std::vector<mpz_class> whole_multiples(const std::vector<Rational>& elements) {
  mpz_class common = 1;
  for (const Rational& e : elements) common = lcm(common, e.get_den());
  std::vector<mpz_class> whole;
  whole.reserve(elements.size());
  for (const Rational& e : elements) whole.emplace_back(e.get_num() * (common / e.get_den()));
  return whole;
}

bool is_enough(SymmetricMatrix matrix, const Point& shift) {
  matrix.add_to_diagonal(shift);
  return matrix.is_positive_semidefinite();
}

}  // namespace

void SymmetricMatrix::add(const Square& element, const Rational& factor) {
  const Rational value = factor * Rational(element.value);
  elements_[element.row * dimension_ + element.col] += value;
  if (element.row != element.col) elements_[element.col * dimension_ + element.row] += value;
}

void SymmetricMatrix::add_to_diagonal(const Point& values) {
  for (size_t k = 0; k < dimension_; ++k) elements_[k * dimension_ + k] += values[k];
}

Point SymmetricMatrix::times(const Point& x) const {
  Point product(dimension_);
  for (size_t row = 0; row < dimension_; ++row) {
    for (size_t col = 0; col < dimension_; ++col) {
      if (at(row, col) != 0) product[row] += at(row, col) * x[col];
    }
  }
  return product;
}

bool SymmetricMatrix::is_zero() const {
  return std::all_of(elements_.begin(), elements_.end(), [](const Rational& e) { return e == 0; });
}

std::vector<size_t> SymmetricMatrix::rows_with_elements() const {
  std::vector<size_t> rows;
  for (size_t row = 0; row < dimension_; ++row) {
    size_t col = 0;
    while (col < dimension_ && at(row, col) == 0) ++col;
    if (col < dimension_) rows.push_back(row);
  }
  return rows;
}

// Elimination in whole numbers, whose pivots are determinants (Bareiss, "Sylvester's identity and
// multistep integer-preserving Gaussian elimination", Mathematics of Computation 22, 1968). No pivot
// may be negative, and a row whose pivot is 0 must be 0.
bool SymmetricMatrix::is_positive_semidefinite() const {
  const std::vector<size_t> rows = rows_with_elements();
  const size_t n = rows.size();
  std::vector<Rational> elements;
  for (const size_t row : rows) {
    for (const size_t col : rows) elements.push_back(at(row, col));
  }
  std::vector<mpz_class> a = whole_multiples(elements);
  mpz_class last = 1;
  for (size_t k = 0; k < n; ++k) {
    const mpz_class pivot = a[k * n + k];
    if (pivot < 0) return false;
    if (pivot == 0) {
      for (size_t i = k + 1; i < n; ++i) {
        if (a[i * n + k] != 0) return false;
      }
      continue;
    }
    for (size_t i = k + 1; i < n; ++i) {
      for (size_t j = k + 1; j <= i; ++j) {
        mpz_class& element = a[i * n + j];
        element = pivot * element - a[i * n + k] * a[j * n + k];
        mpz_divexact(element.get_mpz_t(), element.get_mpz_t(), last.get_mpz_t());
      }
    }
    last = pivot;
  }
  return true;
}

Point diagonal_shift(const SymmetricMatrix& matrix, const Point& weights) {
  if (matrix.is_positive_semidefinite()) return Point(weights.size());
  int enough = 20;
  int too_little = -120;
  if (!is_enough(matrix, times_power_of_two(weights, enough))) return {};
  while (enough - too_little > 1) {
    const int middle = (enough + too_little) / 2;
    (is_enough(matrix, times_power_of_two(weights, middle)) ? enough : too_little) = middle;
  }
  return times_power_of_two(weights, enough);
}

}  // namespace proofs
