// A team of threads and the operations that it shares: every piece once, the same results whatever
// threads the system gives, and failures that reach the caller.
#include "solve/conic/thread_team.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <stdexcept>
#include <vector>

#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {
namespace {

TEST(ThreadsOfConicMethod, EveryPieceIsDoneOnce) {
  ThreadTeam team(3);
  for (size_t count = 0; count < 200; ++count) {
    std::vector<int> done(count, 0);
    std::vector<size_t> by_worker(3, 0);
    team.run(count, [&](size_t piece, size_t worker) {
      ++done[piece];
      ++by_worker.at(worker);
    });
    EXPECT_EQ(done, std::vector<int>(count, 1));
    EXPECT_EQ(by_worker[0] + by_worker[1] + by_worker[2], count);
  }
}

TEST(ThreadsOfConicMethod, AnOperationWithinAPieceIsItsWorkersOwn) {
  ThreadTeam team(2);
  std::vector<int> sums(8, 0);
  team.run(sums.size(), [&](size_t piece, size_t) {
    EXPECT_TRUE(team.is_busy());
    team.run(10, [&](size_t inner, size_t worker) {
      EXPECT_EQ(worker, 0U);
      sums[piece] += static_cast<int>(inner);
    });
  });
  EXPECT_EQ(sums, std::vector<int>(8, 45));
  EXPECT_FALSE(team.is_busy());
}

TEST(ThreadsOfConicMethod, AFailureReachesTheCaller) {
  ThreadTeam team(2);
  for (size_t failing = 0; failing < 20; ++failing) {
    const auto piece = [&](size_t k, size_t) {
      if (k == failing) throw std::bad_alloc();
    };
    EXPECT_THROW(team.run(20, piece), std::bad_alloc);
    EXPECT_FALSE(team.is_busy());
    std::atomic<int> done = 0;
    team.run(20, [&](size_t, size_t) { ++done; });
    EXPECT_EQ(done, 20);
  }
}

TEST(ThreadsOfConicMethod, RangesCoverAllIndicesInOrder) {
  for (const size_t size : {0, 1, 7, 48, 100, 1000}) {
    for (const size_t pieces : {1, 2, 3, 8}) {
      for (const size_t grain : {1, 8, 48}) {
        size_t next = 0;
        for (size_t k = 0; k < pieces; ++k) {
          const Range range = range_of_piece(size, pieces, k, grain);
          EXPECT_EQ(range.first, next);
          next += range.count;
          if (next < size) {
            EXPECT_EQ(next % grain, 0U);
          }
        }
        EXPECT_EQ(next, size);
      }
    }
  }
}

// Elements of about 1 without structure, and a heavy diagonal where asked for.
DenseMatrix matrix_of(size_t rows, size_t cols, double diagonal) {
  DenseMatrix matrix(rows, cols);
  for (size_t col = 0; col < cols; ++col) {
    for (size_t row = 0; row < rows; ++row) {
      const auto a = static_cast<double>(std::min(row, col));
      const auto b = static_cast<double>(std::max(row, col));
      matrix(row, col) = std::sin(1.7 * a + 0.3 * b * b) + (row == col ? diagonal : 0.0);
    }
  }
  return matrix;
}

void expect_near(const DenseMatrix& a, const DenseMatrix& b, double tolerance) {
  double largest = 0.0;
  for (size_t k = 0; k < a.values().size(); ++k) {
    largest = std::max(largest, std::fabs(a.values()[k] - b.values()[k]));
  }
  EXPECT_LE(largest, tolerance);
}

// Each operation of dense algebra that a team shares, on sizes that no block divides.
class ThreadsOfDenseAlgebra : public testing::Test {
 protected:
  static constexpr size_t kOrder = 421;

  static const DenseAlgebra& load() {
    Status failure;
    const DenseAlgebra* const algebra = DenseAlgebra::load(&failure);
    if (algebra == nullptr) throw std::runtime_error(failure.message());
    return *algebra;
  }

  void SetUp() override {
    if (!load().bears_threads()) GTEST_SKIP() << load().description();
  }

  // The operation alone and with teams: nearly the same result with and without a team, and the
  // same to the last bit with a team of the same number in every run.
  template <class Operation>
  void compare(double tolerance, Operation operation) {
    const DenseMatrix alone = operation(load());
    for (const size_t threads : {2, 3}) {
      ThreadTeam team(threads);
      const DenseMatrix first = operation(load().with_team(&team));
      expect_near(first, alone, tolerance);
      for (int run = 0; run < 3; ++run) {
        const DenseMatrix again = operation(load().with_team(&team));
        EXPECT_TRUE(
            std::equal(again.values().begin(), again.values().end(), first.values().begin()));
      }
    }
  }
};

TEST_F(ThreadsOfDenseAlgebra, Products) {
  const DenseMatrix a = matrix_of(kOrder, 300, 0.0);
  const DenseMatrix b = matrix_of(300, kOrder, 0.0);
  const DenseMatrix wide = matrix_of(300, 2 * kOrder, 0.0);
  compare(1e-10, [&](const DenseAlgebra& algebra) {
    DenseMatrix c(kOrder, kOrder);
    algebra.multiply(1.0, a, b, 0.0, c);
    return c;
  });
  compare(1e-10, [&](const DenseAlgebra& algebra) {
    DenseMatrix c(kOrder, 2 * kOrder);
    algebra.multiply(1.0, a, wide, 0.0, c);
    return c;
  });
  compare(1e-10, [&](const DenseAlgebra& algebra) {
    DenseMatrix c(2 * kOrder, kOrder);
    algebra.multiply(1.0, transposed(wide), b, 0.0, c);
    return c;
  });
  compare(1e-10, [&](const DenseAlgebra& algebra) {
    DenseMatrix c(kOrder, kOrder);
    algebra.square(a, c);
    algebra.mirror_lower(c);
    return c;
  });
}

TEST_F(ThreadsOfDenseAlgebra, Triangles) {
  const DenseMatrix l = matrix_of(kOrder, kOrder, 40.0);
  compare(1e-9, [&](const DenseAlgebra& algebra) {
    DenseMatrix b = matrix_of(kOrder, kOrder, 0.0);
    algebra.multiply_from_left(l, b);
    algebra.multiply_from_right(transposed(l), b);
    algebra.divide_from_right(l, Diagonal::kOwn, b);
    return b;
  });
}

TEST_F(ThreadsOfDenseAlgebra, CholeskyFactors) {
  compare(1e-10, [&](const DenseAlgebra& algebra) {
    DenseMatrix a = matrix_of(kOrder, kOrder, 450.0);
    EXPECT_TRUE(algebra.factor_cholesky(a));
    for (size_t col = 1; col < kOrder; ++col) std::fill_n(&a(0, col), col, 0.0);
    return a;
  });
  ThreadTeam team(2);
  DenseMatrix indefinite = matrix_of(kOrder, kOrder, 450.0);
  indefinite(kOrder - 1, kOrder - 1) = -1.0;
  EXPECT_FALSE(load().with_team(&team).factor_cholesky(indefinite));
}

// Two vectors, since one alone may lack what a strip leaves out.
TEST_F(ThreadsOfDenseAlgebra, ProductsWithVectors) {
  constexpr size_t kLarge = 1111;
  const DenseMatrix a = matrix_of(kLarge, kLarge, 80.0);
  compare(1e-9, [&](const DenseAlgebra& algebra) {
    DenseMatrix columns(kLarge, 4);
    for (size_t k = 0; k < kLarge; ++k) {
      columns(k, 0) = std::cos(static_cast<double>(k));
      columns(k, 1) = 1.0;
    }
    const MatrixView all = columns;
    algebra.multiply_vector(a, all.column(0), all.column(2));
    algebra.multiply_vector(a, all.column(1), all.column(3));
    algebra.divide_by_triangle(a, Diagonal::kOwn, all.column(0));
    algebra.divide_by_triangle(transposed(a), Diagonal::kOwn, all.column(1));
    return columns;
  });
}

// The eigenvectors' signs are the library's.
TEST_F(ThreadsOfDenseAlgebra, EigenvectorsMakeTheMatrix) {
  const DenseMatrix a = matrix_of(kOrder, kOrder, 3.0);
  compare(1e-9, [&](const DenseAlgebra& algebra) {
    DenseMatrix vectors = a;
    std::vector<double> values(kOrder);
    EXPECT_TRUE(algebra.find_eigenvectors(vectors, values));
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    DenseMatrix scaled = vectors;
    for (size_t col = 0; col < kOrder; ++col) {
      for (double& value : scaled.view().column(col)) value *= values[col];
    }
    DenseMatrix product(kOrder, kOrder);
    algebra.multiply(1.0, scaled, transposed(vectors), 0.0, product);
    expect_near(product, a, 1e-9);
    return product;
  });
}

}  // namespace
}  // namespace vorlan::conic
