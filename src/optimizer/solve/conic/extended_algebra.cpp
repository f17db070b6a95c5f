// The build keeps the compiler from fusing the operations of this file: fused ones round otherwise.
#include "solve/conic/extended_algebra.h"

#include <type_traits>
#include <utility>

#include "task/numeric.h"
#include "task/processor.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vorlan::conic {
namespace {

#if defined(__x86_64__)

static_assert(sizeof(DoubleDouble) == 2 * sizeof(double) &&
              std::is_standard_layout_v<DoubleDouble>);

// Four numbers: the nearest doubles, and what these leave out.
struct FourNumbers {
  __m256d high, low;
};

// In memory a number's two parts are neighbours. The order of the four is 0, 2, 1, 3.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline FourNumbers separate(__m256d first,
                                                                            __m256d second) {
  return {_mm256_unpacklo_pd(first, second), _mm256_unpackhi_pd(first, second)};
}

// high + low where |high| >= |low|.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline FourNumbers normalized(__m256d high,
                                                                              __m256d low) {
  const __m256d sum = _mm256_add_pd(high, low);
  return {sum, _mm256_sub_pd(low, _mm256_sub_pd(sum, high))};
}

// y + a x, by the operations of DoubleDouble; the error of a product is a fused one's answer.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline FourNumbers sum_with_multiple(
    const FourNumbers& y, const FourNumbers& a, const FourNumbers& x) {
  const __m256d product = _mm256_mul_pd(a.high, x.high);
  const __m256d error = _mm256_fmsub_pd(a.high, x.high, product);
  const __m256d mixed = _mm256_add_pd(_mm256_mul_pd(a.high, x.low), _mm256_mul_pd(a.low, x.high));
  const FourNumbers term = normalized(product, _mm256_add_pd(error, mixed));
  const __m256d sum = _mm256_add_pd(y.high, term.high);
  const __m256d part = _mm256_sub_pd(sum, y.high);
  const __m256d rest = _mm256_add_pd(_mm256_sub_pd(y.high, _mm256_sub_pd(sum, part)),
                                     _mm256_sub_pd(term.high, part));
  return normalized(sum, _mm256_add_pd(rest, _mm256_add_pd(y.low, term.low)));
}

[[gnu::target("avx2,fma")]] void add_multiple_in_lanes(DoubleDouble factor,
                                                       const DoubleDouble* from, Eigen::Index count,
                                                       DoubleDouble* to) {
  constexpr Eigen::Index kLanes = 4;
  const FourNumbers a = {_mm256_set1_pd(static_cast<double>(factor)), _mm256_set1_pd(factor.low())};
  const auto* source = reinterpret_cast<const double*>(from);
  auto* target = reinterpret_cast<double*>(to);
  for (; count >= kLanes; count -= kLanes, source += 2 * kLanes, target += 2 * kLanes) {
    const FourNumbers x = separate(_mm256_loadu_pd(source), _mm256_loadu_pd(source + kLanes));
    const FourNumbers y = separate(_mm256_loadu_pd(target), _mm256_loadu_pd(target + kLanes));
    const FourNumbers sum = sum_with_multiple(y, a, x);
    _mm256_storeu_pd(target, _mm256_unpacklo_pd(sum.high, sum.low));
    _mm256_storeu_pd(target + kLanes, _mm256_unpackhi_pd(sum.high, sum.low));
  }
  if (count == 0) return;
  // The parts of the last numbers that are there.
  const __m256i parts = _mm256_set1_epi64x(2 * count);
  const __m256i first = _mm256_cmpgt_epi64(parts, _mm256_setr_epi64x(0, 1, 2, 3));
  const __m256i second = _mm256_cmpgt_epi64(parts, _mm256_setr_epi64x(4, 5, 6, 7));
  const FourNumbers x =
      separate(_mm256_maskload_pd(source, first), _mm256_maskload_pd(source + kLanes, second));
  const FourNumbers y =
      separate(_mm256_maskload_pd(target, first), _mm256_maskload_pd(target + kLanes, second));
  const FourNumbers sum = sum_with_multiple(y, a, x);
  _mm256_maskstore_pd(target, first, _mm256_unpacklo_pd(sum.high, sum.low));
  _mm256_maskstore_pd(target + kLanes, second, _mm256_unpackhi_pd(sum.high, sum.low));
}

#endif

using AddMultiple = void (*)(DoubleDouble, const DoubleDouble*, Eigen::Index, DoubleDouble*);

AddMultiple fastest_add_multiple() {
#if defined(__x86_64__)
  const ProcessorFeatures features = processor_features();
  if (features.avx2 && features.fma) return add_multiple_in_lanes;
#endif
  return add_multiple_by_elements;
}

}  // namespace

void add_multiple_by_elements(DoubleDouble factor, const DoubleDouble* from, Eigen::Index count,
                              DoubleDouble* to) {
  for (Eigen::Index i = 0; i < count; ++i) to[i] += factor * from[i];
}

void add_multiple(DoubleDouble factor, const DoubleDouble* from, Eigen::Index count,
                  DoubleDouble* to) {
  static const AddMultiple fastest = fastest_add_multiple();
  fastest(factor, from, count, to);
}

ExtendedMatrix multiply(const ExtendedMatrix& a, const ExtendedMatrix& b) {
  ExtendedMatrix product = ExtendedMatrix::Zero(a.rows(), b.cols());
  for (Eigen::Index j = 0; j < b.cols(); ++j) {
    for (Eigen::Index k = 0; k < b.rows(); ++k) {
      if (b(k, j) == DoubleDouble(0.0)) continue;
      add_multiple(b(k, j), a.col(k).data(), a.rows(), product.col(j).data());
    }
  }
  return product;
}

bool ExtendedCholesky::compute(const ExtendedMatrix& matrix) {
  l_ = matrix;
  const Eigen::Index size = l_.rows();
  for (Eigen::Index k = 0; k < size; ++k) {
    if (!(l_(k, k) > 0.0) || !isfinite(l_(k, k))) return false;
    l_(k, k) = sqrt(l_(k, k));
    for (Eigen::Index i = k + 1; i < size; ++i) l_(i, k) /= l_(k, k);
    for (Eigen::Index j = k + 1; j < size; ++j) {
      add_multiple(-l_(j, k), &l_(j, k), size - j, &l_(j, j));
    }
  }
  return true;
}

ExtendedMatrix ExtendedCholesky::divide(ExtendedMatrix b) const {
  const Eigen::Index size = l_.rows();
  for (Eigen::Index j = 0; j < b.cols(); ++j) {
    for (Eigen::Index k = 0; k < size; ++k) {
      if (b(k, j) == DoubleDouble(0.0)) continue;
      b(k, j) /= l_(k, k);
      add_multiple(-b(k, j), l_.col(k).data() + k + 1, size - k - 1, b.col(j).data() + k + 1);
    }
  }
  return b;
}

void ExtendedLu::compute(ExtendedMatrix matrix) {
  factors_ = std::move(matrix);
  const Eigen::Index size = factors_.rows();
  swapped_.resize(index(size));
  for (Eigen::Index k = 0; k < size; ++k) {
    Eigen::Index pivot = k;
    for (Eigen::Index i = k + 1; i < size; ++i) {
      if (abs(factors_(i, k)) > abs(factors_(pivot, k))) pivot = i;
    }
    swapped_[index(k)] = pivot;
    if (pivot != k) factors_.row(k).swap(factors_.row(pivot));
    if (factors_(k, k) == DoubleDouble(0.0)) continue;
    DoubleDouble* const below = factors_.col(k).data() + k + 1;
    for (Eigen::Index i = 0; i < size - k - 1; ++i) below[i] /= factors_(k, k);
    for (Eigen::Index j = k + 1; j < size; ++j) {
      if (factors_(k, j) == DoubleDouble(0.0)) continue;
      add_multiple(-factors_(k, j), below, size - k - 1, factors_.col(j).data() + k + 1);
    }
  }
}

ExtendedVector ExtendedLu::solve(ExtendedVector rhs) const {
  const Eigen::Index size = factors_.rows();
  for (Eigen::Index k = 0; k < size; ++k) std::swap(rhs[k], rhs[swapped_[index(k)]]);
  for (Eigen::Index k = 0; k < size; ++k) {
    add_multiple(-rhs[k], factors_.col(k).data() + k + 1, size - k - 1, rhs.data() + k + 1);
  }
  for (Eigen::Index k = size - 1; k >= 0; --k) {
    rhs[k] /= factors_(k, k);
    add_multiple(-rhs[k], factors_.col(k).data(), k, rhs.data());
  }
  return rhs;
}

}  // namespace vorlan::conic
