// The library of dense algebra: which kernels it uses, and that calls stay within their vectors.
#include "solve/conic/dense_algebra.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "task/processor.h"

namespace vorlan::conic {
namespace {

const DenseAlgebra& load_algebra() {
  Status failure;
  const DenseAlgebra* algebra = DenseAlgebra::load(&failure);
  if (algebra == nullptr) {
    ADD_FAILURE() << failure.message();
    std::abort();
  }
  return *algebra;
}

// Memory whose end is the end of what can be read.
class GuardedMemory {
 public:
  explicit GuardedMemory(size_t count) {
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    size_ = (count * sizeof(double) / page + 2) * page;
    memory_ = static_cast<char*>(
        ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ::mprotect(memory_ + size_ - page, page, PROT_NONE);
    values_ = reinterpret_cast<double*>(memory_ + size_ - page) - count;
  }
  ~GuardedMemory() { ::munmap(memory_, size_); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  double* values() { return values_; }

 private:
  char* memory_;
  size_t size_;
  double* values_;
};

#if defined(__x86_64__)
TEST(ProcessorFeatures, AreThoseThatTheCompilerSees) {
  const ProcessorFeatures features = processor_features();
  EXPECT_EQ(features.avx2, __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(features.fma, __builtin_cpu_supports("fma") != 0);
}
#endif

TEST(DenseAlgebra, UsesKernelsOfThisProcessor) {
  const bool is_chosen = std::getenv("OPENBLAS_CORETYPE") != nullptr;
  const std::string description = load_algebra().description();
  if (is_chosen || description.find("OpenBLAS") == std::string::npos) {
    GTEST_SKIP() << "the choice is not the optimizer's: " << description;
  }
  EXPECT_EQ(std::getenv("OPENBLAS_CORETYPE"), nullptr) << "left in the environment";
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") == 0 || __builtin_cpu_supports("fma") == 0) return;
  for (const char* old : {"Prescott", "Core2", "Penryn", "Nehalem", "Sandybridge"}) {
    EXPECT_EQ(description.find(old), std::string::npos) << description;
  }
#endif
}

TEST(DenseAlgebra, ReadsNothingBehindAVector) {
  const DenseAlgebra& algebra = load_algebra();
  for (size_t n = 1; n <= 40; ++n) {
    GuardedMemory matrix(n * n);
    GuardedMemory x(n);
    GuardedMemory y(n);
    std::fill_n(matrix.values(), n * n, 1.0);
    std::fill_n(x.values(), n, 2.0);
    std::fill_n(y.values(), n, 3.0);
    for (const Triangle given : {Triangle::kLower, Triangle::kUpper}) {
      algebra.multiply_vector({matrix.values(), n, n, n}, {x.values(), n}, {y.values(), n}, given);
      for (size_t i = 0; i < n; ++i) EXPECT_DOUBLE_EQ(y.values()[i], 2.0 * static_cast<double>(n));
    }
  }
}

TEST(DenseAlgebra, FindsEigenvaluesOfMatricesAtTheEndOfMemory) {
  const DenseAlgebra& algebra = load_algebra();
  for (const size_t n : {1, 2, 7, 33, 40}) {
    GuardedMemory matrix(n * n);
    GuardedMemory values(n);
    std::fill_n(matrix.values(), n * n, 1.0);
    for (size_t i = 0; i < n; ++i) matrix.values()[i * n + i] = 2.0;
    ASSERT_TRUE(algebra.find_eigenvectors({matrix.values(), n, n, n}, {values.values(), n}));
    const auto order = static_cast<double>(n);
    EXPECT_NEAR(values.values()[n - 1], order + 1.0, 1e-12 * order);
    if (n > 1) {
      EXPECT_NEAR(values.values()[0], 1.0, 1e-12 * order);
    }
  }
}

// A 3 x 2 matrix beside its transpose, in all four combinations, into a part of a larger matrix.
TEST(DenseAlgebra, MultipliesMatricesAndTransposesIntoAPart) {
  DenseMatrix a(3, 2);  // 1 4; 2 5; 3 6
  for (size_t k = 0; k < 6; ++k) a.values()[k] = static_cast<double>(k + 1);
  DenseMatrix b(2, 3);  // its transpose
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 2; ++j) b(j, i) = a(i, j);
  }
  const double inner[2][2] = {{14.0, 32.0}, {32.0, 77.0}};
  const DenseAlgebra& algebra = load_algebra();
  DenseMatrix c(4, 4);
  const MatrixView part = c.view().block(1, 2, 2, 2);
  for (const auto& [left, right] : {std::pair<Operand, Operand>{b, a},
                                    {transposed(a), a},
                                    {b, transposed(b)},
                                    {transposed(a), transposed(b)}}) {
    c.fill(7.0);
    algebra.multiply(2.0, left, right, 0.0, part);
    for (size_t i = 0; i < 2; ++i) {
      for (size_t j = 0; j < 2; ++j) EXPECT_EQ(part(i, j), 2.0 * inner[i][j]);
    }
    EXPECT_EQ(c(0, 2), 7.0);
    EXPECT_EQ(c(3, 3), 7.0);
    EXPECT_EQ(c(1, 1), 7.0);
  }
}

// Two matrices share a square, each by a triangle.
TEST(DenseAlgebra, ASumWithASymmetricProductKeepsTheOtherTriangle) {
  const DenseAlgebra& algebra = load_algebra();
  constexpr size_t kOrder = 70;
  DenseMatrix a(kOrder, 1);
  a.fill(2.0);
  TrianglePair pair;
  pair.reset(kOrder);
  for (size_t col = 0; col < kOrder; ++col) {
    for (size_t row = 0; row < kOrder; ++row) {
      (row >= col ? pair.lower() : pair.upper())(row, col) = static_cast<double>(row + col);
    }
    pair.upper()(col, col) = -1.0;
  }
  algebra.multiply_symmetric(-1.0, a, transposed(a), 3.0, pair.lower());
  for (size_t col = 0; col < kOrder; ++col) {
    for (size_t row = col; row < kOrder; ++row) {
      ASSERT_EQ(pair.lower()(row, col), 3.0 * static_cast<double>(row + col) - 4.0);
      ASSERT_EQ(pair.upper()(col, row), row == col ? -1.0 : static_cast<double>(row + col));
    }
  }
}

// The strips of a symmetric product must meet: 70 columns are three of them.
TEST(DenseAlgebra, ASymmetricProductIsTheLowerTriangleOfTheFullOne) {
  const DenseAlgebra& algebra = load_algebra();
  DenseMatrix a(70, 5);
  for (size_t k = 0; k < a.values().size(); ++k) {
    a.values()[k] = static_cast<double>(k * k % 17) - 8.0;
  }
  DenseMatrix full(70, 70);
  DenseMatrix lower(70, 70);
  DenseMatrix square(70, 70);
  algebra.multiply(1.0, a, transposed(a), 0.0, full);
  algebra.multiply_symmetric(1.0, a, transposed(a), 0.0, lower);
  algebra.square(a, square);
  algebra.mirror_lower(lower);
  algebra.mirror_lower(square);
  for (size_t k = 0; k < full.values().size(); ++k) {
    EXPECT_EQ(lower.values()[k], full.values()[k]);
    EXPECT_EQ(square.values()[k], full.values()[k]);
  }
}

TEST(DenseAlgebra, MultipliesAndDividesByTriangles) {
  const DenseAlgebra& algebra = load_algebra();
  DenseMatrix l(2, 2);  // 1 0; 3 1
  l(0, 0) = l(1, 1) = 1.0;
  l(1, 0) = 3.0;
  const auto of = [](const DenseMatrix& m) {
    return std::vector<double>(m.values().begin(), m.values().end());
  };
  DenseMatrix b = DenseMatrix::identity(2);
  algebra.multiply_from_left(Operand(l), b);
  EXPECT_EQ(of(b), (std::vector<double>{1.0, 3.0, 0.0, 1.0}));
  algebra.multiply_from_right(transposed(l), b);
  EXPECT_EQ(of(b), (std::vector<double>{1.0, 3.0, 3.0, 10.0}));
  algebra.divide_from_right(l, Diagonal::kUnit, b);
  EXPECT_EQ(of(b), (std::vector<double>{1.0, 3.0, 0.0, 1.0}));
  DenseMatrix product(2, 2);
  algebra.square(l, product);
  ASSERT_TRUE(algebra.factor_cholesky(product));
  EXPECT_EQ(product(0, 0), 1.0);
  EXPECT_EQ(product(1, 0), 3.0);
  EXPECT_EQ(product(1, 1), 1.0);
  product(1, 1) = -1.0;
  EXPECT_FALSE(algebra.factor_cholesky(product));
}

// Each operation of the routines that are built in beside the library's, on parts of larger
// matrices.
class BuiltInAlgebra : public ::testing::Test {
 protected:
  static constexpr size_t kOrder = 9;
  static constexpr size_t kCols = 5;

  static DenseMatrix random_matrix(size_t rows, size_t cols, uint32_t seed) {
    std::mt19937 engine(seed);
    DenseMatrix matrix(rows, cols);
    for (double& value : matrix.values()) value = static_cast<double>(engine() % 2001) / 1e3 - 1.0;
    return matrix;
  }
  // With a diagonal that dominates.
  static DenseMatrix definite_matrix() {
    DenseMatrix matrix = random_matrix(kOrder, kOrder, 3);
    for (size_t i = 0; i < kOrder; ++i) matrix(i, i) = 20.0;
    return matrix;
  }
  // Does the same with both on copies of `start` and compares all of the outcome.
  template <class Act>
  void expect_same(const DenseMatrix& start, const Act& act) {
    DenseMatrix own = start;
    DenseMatrix theirs = start;
    act(DenseAlgebra::built_in(), own.view());
    act(load_algebra(), theirs.view());
    for (size_t k = 0; k < own.values().size(); ++k) {
      EXPECT_NEAR(own.values()[k], theirs.values()[k], 1e-12) << k;
    }
  }
  template <class Act>
  void expect_same_vector(const Act& act) {
    expect_same(random_matrix(kOrder, 1, 5), [&](const DenseAlgebra& algebra, MatrixView column) {
      act(algebra, column.column(0));
    });
  }

  const DenseMatrix a_ = random_matrix(kOrder, kOrder, 1);
  const DenseMatrix b_ = random_matrix(kOrder, kOrder, 2);
  const DenseMatrix triangle_ = definite_matrix();
};

TEST_F(BuiltInAlgebra, MultipliesAsTheLibraryDoes) {
  for (const Operand& left : {Operand(a_), transposed(a_)}) {
    for (const Operand& right : {Operand(b_), transposed(b_)}) {
      for (const double beta : {0.0, 1.0, 0.5}) {
        expect_same(a_, [&](const DenseAlgebra& algebra, MatrixView c) {
          algebra.multiply(-1.5, left.some_rows(1, 4), right.some_columns(2, 3), beta,
                           c.block(2, 1, 4, 3));
        });
      }
    }
    expect_same_vector([&](const DenseAlgebra& algebra, std::span<double> y) {
      algebra.add_product(0.5, left, b_.view().column(1).data(), y.data());
    });
  }
  expect_same(DenseMatrix(kOrder, kOrder), [&](const DenseAlgebra& algebra, MatrixView c) {
    algebra.square(a_.view().columns(0, kCols), c);
  });
  for (const Triangle given : {Triangle::kLower, Triangle::kUpper}) {
    expect_same_vector([&](const DenseAlgebra& algebra, std::span<double> y) {
      algebra.multiply_vector(a_, b_.view().column(0), y, given);
    });
  }
}

TEST_F(BuiltInAlgebra, MultipliesAndDividesByTrianglesAsTheLibraryDoes) {
  for (const Operand& triangle : {Operand(triangle_), transposed(triangle_)}) {
    expect_same(a_, [&](const DenseAlgebra& algebra, MatrixView b) {
      algebra.multiply_from_left(triangle, b.columns(1, kCols));
    });
    expect_same(a_, [&](const DenseAlgebra& algebra, MatrixView b) {
      algebra.multiply_from_right(triangle, b.block(1, 0, kCols, kOrder));
    });
    for (const Diagonal diagonal : {Diagonal::kOwn, Diagonal::kUnit}) {
      expect_same_vector([&](const DenseAlgebra& algebra, std::span<double> x) {
        algebra.divide_by_triangle(triangle, diagonal, x);
      });
    }
  }
  for (const Diagonal diagonal : {Diagonal::kOwn, Diagonal::kUnit}) {
    expect_same(a_, [&](const DenseAlgebra& algebra, MatrixView b) {
      algebra.divide_from_right(triangle_, diagonal, b.block(2, 0, kCols, kOrder));
    });
  }
}

TEST_F(BuiltInAlgebra, FactorsAndDecomposesAsTheLibraryDoes) {
  expect_same(triangle_, [](const DenseAlgebra& algebra, MatrixView a) {
    EXPECT_TRUE(algebra.factor_cholesky(a));
  });
  std::vector<double> values(kOrder);
  std::vector<double> theirs(kOrder);
  DenseMatrix matrix = a_;
  ASSERT_TRUE(load_algebra().find_eigenvalues(matrix, theirs));
  matrix = a_;
  ASSERT_TRUE(DenseAlgebra::built_in().find_eigenvalues(matrix, values));
  for (size_t k = 0; k < kOrder; ++k) EXPECT_NEAR(values[k], theirs[k], 1e-12);
  matrix = a_;
  ASSERT_TRUE(DenseAlgebra::built_in().find_eigenvectors(matrix, values));
  DenseMatrix symmetric = a_;
  load_algebra().mirror_lower(symmetric);
  for (size_t k = 0; k < kOrder; ++k) {
    EXPECT_NEAR(values[k], theirs[k], 1e-12);
    std::vector<double> image(kOrder);
    load_algebra().multiply_vector(symmetric, matrix.view().column(k), image);
    for (size_t i = 0; i < kOrder; ++i) EXPECT_NEAR(image[i], values[k] * matrix(i, k), 1e-12);
  }
}

TEST_F(BuiltInAlgebra, RefusesWhatIsNotDefinite) {
  for (const double diagonal : {0.0, -1.0, std::nan("")}) {
    DenseMatrix matrix = triangle_;
    matrix(4, 4) = diagonal;
    EXPECT_FALSE(DenseAlgebra::built_in().factor_cholesky(matrix));
  }
}

TEST(DenseAlgebra, SmallWorkLoadsNothing) {
  Status failure;
  EXPECT_EQ(DenseAlgebra::for_work(1e3, &failure), &DenseAlgebra::built_in());
  EXPECT_EQ(DenseAlgebra::for_work(1e9, &failure), DenseAlgebra::load(&failure));
}

}  // namespace
}  // namespace vorlan::conic
