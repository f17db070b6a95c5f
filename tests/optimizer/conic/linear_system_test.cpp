// The factorizations under the Newton system, and the correction of their solutions.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <new>
#include <numeric>

#include "solve/check/vectors.h"
#include "solve/conic/condensed_ldl.h"
#include "solve/conic/dense_ldl.h"
#include "solve/conic/krylov_correction.h"
#include "solve/conic/ordering.h"
#include "solve/conic/sparse_ldl.h"

namespace vorlan::conic {
namespace {

const DenseAlgebra* load_algebra() {
  Status failure;
  const DenseAlgebra* algebra = DenseAlgebra::load(&failure);
  EXPECT_NE(algebra, nullptr) << failure.message();
  return algebra;
}

std::vector<double> product(const DenseMatrix& a, const std::vector<double>& x) {
  std::vector<double> y(a.rows(), 0.0);
  for (size_t j = 0; j < a.cols(); ++j) {
    for (size_t i = 0; i < a.rows(); ++i) y[i] += a(i, j) * x[j];
  }
  return y;
}

// Positive definite on the first half of its indices and negative definite on the second.
DenseMatrix quasi_definite(size_t order) {
  DenseMatrix matrix(order, order);
  for (size_t j = 0; j < order; ++j) {
    for (size_t i = j; i < order; ++i) {
      const double value =
          std::sin(static_cast<double>(3 * i + 7 * j)) / static_cast<double>(order);
      matrix(i, j) = matrix(j, i) = i == j ? (i < order / 2 ? 2.0 : -2.0) : value;
    }
  }
  return matrix;
}

std::vector<int8_t> signs_of(size_t order) {
  std::vector<int8_t> signs(order, 1);
  for (size_t i = order / 2; i < order; ++i) signs[i] = -1;
  return signs;
}

std::vector<double> some_vector(size_t size) {
  std::vector<double> x(size);
  for (size_t i = 0; i < size; ++i) x[i] = std::cos(static_cast<double>(i));
  return x;
}

void copy_lower(const DenseMatrix& from, MatrixView to) {
  for (size_t col = 0; col < to.cols(); ++col) {
    for (size_t row = col; row < to.rows(); ++row) to(row, col) = from(row, col);
  }
}

// Orders of one block and of several, with dense algebra and without.
TEST(DenseLdl, SolvesQuasiDefiniteSystems) {
  for (const DenseAlgebra* algebra : {static_cast<const DenseAlgebra*>(nullptr), load_algebra()}) {
    for (const size_t order : {1, 2, 50, 96, 97, 250}) {
      const DenseMatrix matrix = quasi_definite(order);
      const std::vector<double> expected = some_vector(order);
      DenseLdl ldl;
      ldl.use(algebra);
      ldl.resize(order);
      copy_lower(matrix, ldl.matrix());
      for (size_t i = 0; i < order; ++i) {
        for (size_t j = i; j < order; ++j) ldl.kept()(i, j) = 7.0;
      }
      EXPECT_TRUE(ldl.factor(signs_of(order), PivotRule{}).empty()) << order;
      for (size_t i = 0; i < order; ++i) {
        for (size_t j = i; j < order; ++j) ASSERT_EQ(ldl.kept()(i, j), 7.0) << i << ' ' << j;
      }
      std::vector<double> x = product(matrix, expected);
      ldl.solve(x);
      for (size_t i = 0; i < order; ++i) EXPECT_NEAR(x[i], expected[i], 1e-12) << order;
    }
  }
}

TEST(DenseLdl, FactorsNegativeDefiniteMatricesByCholesky) {
  DenseMatrix matrix = DenseMatrix::identity(3);
  for (size_t i = 0; i < 3; ++i) matrix(i, i) = -4.0;
  matrix(2, 0) = matrix(0, 2) = 1.0;
  DenseLdl ldl;
  ldl.use(load_algebra());
  ldl.resize(3);
  copy_lower(matrix, ldl.matrix());
  ASSERT_TRUE(ldl.factor_negative());
  std::vector<double> x = product(matrix, {1.0, 2.0, 3.0});
  ldl.solve(x);
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(x[i], static_cast<double>(i + 1), 1e-14);
  copy_lower(matrix, ldl.matrix());
  ldl.matrix()(1, 1) = 4.0;
  EXPECT_FALSE(ldl.factor_negative());
}

DenseMatrix ones(size_t order) {
  DenseMatrix matrix(order, order);
  matrix.fill(1.0);
  return matrix;
}

// [1 1; 1 1] has the pivots 1 and 0.
TEST(DenseLdl, ReplacesPivotsThatVanish) {
  DenseLdl ldl;
  ldl.resize(2);
  copy_lower(ones(2), ldl.matrix());
  EXPECT_EQ(ldl.factor(std::vector<int8_t>{1, 1}, {1e-13, 1e30}), std::vector<size_t>{1});
  std::vector<double> x = {3.0, 3.0};
  ldl.solve(x);
  EXPECT_EQ(x[0], 3.0);
  EXPECT_EQ(x[1], 0.0);
}

UpperTriangle upper_of(const DenseMatrix& matrix) {
  UpperTriangle upper;
  upper.order = static_cast<int32_t>(matrix.cols());
  for (size_t j = 0; j < matrix.cols(); ++j) {
    for (size_t i = 0; i <= j; ++i) {
      if (i != j && matrix(i, j) == 0.0) continue;
      upper.row.push_back(static_cast<int32_t>(i));
      upper.value.push_back(matrix(i, j));
    }
    upper.start.push_back(static_cast<int64_t>(upper.row.size()));
  }
  return upper;
}

// A chain beside a dense triangle, which the ordering must find.
DenseMatrix chain_and_triangle() {
  constexpr size_t kChain = 40;
  constexpr size_t kOrder = 70;
  DenseMatrix matrix = quasi_definite(kOrder);
  for (size_t j = 0; j < kOrder; ++j) {
    for (size_t i = 0; i < kOrder; ++i) {
      if (std::min(i, j) < kChain && std::max(i, j) - std::min(i, j) > 1) matrix(i, j) = 0.0;
    }
  }
  return matrix;
}

TEST(SparseLdl, SolvesWithADenseEndThatItFinds) {
  const DenseMatrix matrix = chain_and_triangle();
  const UpperTriangle upper = upper_of(matrix);
  SparseLdl ldl;
  ldl.analyze(upper, {});
  EXPECT_GE(ldl.dense_order(), 30);
  EXPECT_LT(ldl.num_elements(), 70 * 71 / 2 - 70);
  ldl.factor(upper, signs_of(70));
  EXPECT_TRUE(ldl.replaced().empty());
  const std::vector<double> expected = some_vector(70);
  std::vector<double> x = product(matrix, expected);
  ldl.solve(x);
  for (size_t i = 0; i < 70; ++i) EXPECT_NEAR(x[i], expected[i], 1e-12);
}

// [3 -1/2; -1/2 5].
template <class Ldl>
void take_block_off(Ldl* ldl) {
  ldl->taken_off()(0, 0) = 3.0;
  ldl->taken_off()(0, 1) = -0.5;
  ldl->taken_off()(1, 1) = 5.0;
}

// The nodes that are to come last make the dense end in the order given, and a block is taken off there.
TEST(SparseLdl, TakesABlockOffTheEndThatIsGiven) {
  DenseMatrix matrix = chain_and_triangle();
  const UpperTriangle upper = upper_of(matrix);
  SparseLdl ldl;
  ldl.use(load_algebra());
  ldl.analyze(upper, std::vector<int32_t>{69, 36});
  EXPECT_EQ(ldl.dense_order(), 2);
  take_block_off(&ldl);
  ldl.factor(upper, signs_of(70));
  matrix(69, 69) -= 3.0;
  matrix(36, 36) -= 5.0;
  matrix(36, 69) += 0.5;
  matrix(69, 36) += 0.5;
  const std::vector<double> expected = some_vector(70);
  std::vector<double> x = product(matrix, expected);
  ldl.solve(x);
  for (size_t i = 0; i < 70; ++i) EXPECT_NEAR(x[i], expected[i], 1e-12);
}

// A large matrix, element by element.
class LargeMatrix {
 public:
  explicit LargeMatrix(int32_t order) : columns_(index(order)) {}

  void set(int32_t a, int32_t b, double value) {
    columns_[index(std::max(a, b))][std::min(a, b)] = value;
  }

  UpperTriangle upper() const {
    UpperTriangle upper;
    upper.order = static_cast<int32_t>(columns_.size());
    for (const auto& column : columns_) {
      for (const auto& [row, value] : column) {
        upper.row.push_back(row);
        upper.value.push_back(value);
      }
      upper.start.push_back(static_cast<int64_t>(upper.row.size()));
    }
    return upper;
  }

  std::vector<double> times(const std::vector<double>& x) const {
    std::vector<double> y(x.size(), 0.0);
    for (size_t j = 0; j < x.size(); ++j) {
      for (const auto& [row, value] : columns_[j]) {
        y[index(row)] += value * x[j];
        if (index(row) != j) y[j] += value * x[index(row)];
      }
    }
    return y;
  }

 private:
  std::vector<std::map<int32_t, double>> columns_;
};

// A cube of nodes, where neighbours have different signs, so that their pivots do. The last node, whose
// pivot is 0, stands alone.
constexpr int32_t kSide = 17;
constexpr int32_t kNodes = kSide * kSide * kSide;
LargeMatrix cube(std::vector<int8_t>* signs) {
  LargeMatrix matrix(kNodes + 1);
  signs->clear();
  for (int32_t node = 0; node < kNodes; ++node) {
    const int32_t x = node % kSide;
    const int32_t y = node / kSide % kSide;
    const int32_t z = node / (kSide * kSide);
    const bool is_even = (x + y + z) % 2 == 0;
    signs->push_back(is_even ? 1 : -1);
    matrix.set(node, node, is_even ? 5.0 : -4.0);
    if (x > 0) matrix.set(node - 1, node, 1.0 + 1e-3 * (node % 7));
    if (y > 0) matrix.set(node - kSide, node, -1.0);
    if (z > 0) matrix.set(node - kSide * kSide, node, 0.5);
  }
  matrix.set(kNodes, kNodes, 0.0);
  signs->push_back(1);
  return matrix;
}

// Many columns that fill most rows of a dense end.
LargeMatrix tall_matrix(std::vector<int8_t>* signs) {
  constexpr int32_t kTall = 1500;
  constexpr int32_t kWide = 120;
  LargeMatrix matrix(kTall + kWide);
  for (int32_t i = 0; i < kTall; ++i) {
    matrix.set(i, i, 1.0 + 0.1 * (i % 10));
    for (int32_t j = 0; j < kWide; ++j) {
      if ((i + j) % 9 != 0) matrix.set(i, kTall + j, std::sin(static_cast<double>(3 * i + 7 * j)));
    }
  }
  for (int32_t j = 0; j < kWide; ++j) matrix.set(kTall + j, kTall + j, -1.0);
  signs->assign(kTall, 1);
  signs->resize(kTall + kWide, -1);
  return matrix;
}

TEST(SparseLdl, SolvesBySupernodes) {
  std::vector<int8_t> signs;
  for (const bool is_cube : {true, false}) {
    const LargeMatrix matrix = is_cube ? cube(&signs) : tall_matrix(&signs);
    const UpperTriangle upper = matrix.upper();
    const std::vector<double> expected = some_vector(signs.size());
    for (const DenseAlgebra* algebra :
         {static_cast<const DenseAlgebra*>(nullptr), load_algebra()}) {
      SparseLdl ldl;
      ldl.use(algebra);
      ldl.set_pivot_rule({1e-13, 1e30});
      ldl.analyze(upper, {});
      ASSERT_TRUE(ldl.has_supernodes()) << is_cube;
      EXPECT_GT(ldl.dense_order(), 0) << is_cube;
      for (const char* again : {"once", "again"}) {
        ldl.factor(upper, signs);
        const std::vector<int32_t> alone = {kNodes};
        EXPECT_EQ(ldl.replaced(), is_cube ? alone : std::vector<int32_t>()) << again;
        std::vector<double> x = matrix.times(expected);
        ldl.solve(x);
        if (is_cube) x.back() = expected.back();
        double error = 0.0;
        for (size_t i = 0; i < x.size(); ++i)
          error = std::max(error, std::fabs(x[i] - expected[i]));
        EXPECT_LT(error, 1e-9) << is_cube << again;
      }
    }
  }
}

double largest_error(const std::vector<double>& x, const std::vector<double>& expected) {
  double error = 0.0;
  for (size_t i = 0; i < x.size(); ++i) error = std::max(error, std::fabs(x[i] - expected[i]));
  return error;
}

// A cube of nodes, each with the 26 around it, of which minimum degree makes half more.
TEST(SparseLdl, OrdersGridsByNestedDissection) {
  constexpr int32_t kLong = 18;
  constexpr int32_t kAll = kLong * kLong * kLong;
  LargeMatrix matrix(kAll);
  const std::vector<int8_t> signs(index(kAll), 1);
  const auto is_beside = [](int32_t a, int32_t b, int32_t step) {
    return std::abs(a / step % kLong - b / step % kLong) <= 1;
  };
  for (int32_t node = 0; node < kAll; ++node) {
    matrix.set(node, node, 26.5 + 0.01 * (node % 11));
    for (int32_t other = std::max(0, node - kLong * kLong - kLong - 1); other < node; ++other) {
      if (is_beside(node, other, 1) && is_beside(node, other, kLong) &&
          is_beside(node, other, kLong * kLong)) {
        matrix.set(other, node, -1.0);
      }
    }
  }
  const UpperTriangle upper = matrix.upper();
  SparseLdl ldl;
  ldl.use(load_algebra());
  ldl.analyze(upper, {});
  EXPECT_TRUE(ldl.is_dissected());
  // By minimum degree it has 1,530,000.
  EXPECT_LT(ldl.num_elements(), 1200000);
  const std::vector<double> expected = some_vector(signs.size());
  ldl.factor(upper, signs);
  std::vector<double> x = matrix.times(expected);
  ldl.solve(x);
  EXPECT_LT(largest_error(x, expected), 1e-10);
  // The same again: METIS starts from the same random numbers.
  SparseLdl again;
  again.analyze(upper, {});
  EXPECT_EQ(again.num_elements(), ldl.num_elements());
}

#ifndef __SANITIZE_ADDRESS__  // the sanitizer's own memory does not fit into a limit
// The process that dissects has no memory for the graph: it ends there, and does not come back as a
// second copy of this one.
TEST(SparseLdl, ADissectionWithoutMemoryEndsInItsProcess) {
  constexpr int32_t kLong = 1'000'000;
  UpperTriangle path;
  path.order = kLong;
  // At once, so that growth leaves no memory that is free for the graph.
  path.row.reserve(2 * kLong);
  path.start.reserve(kLong + 1);
  path.row.push_back(0);
  path.start.push_back(1);
  for (int32_t node = 1; node < kLong; ++node) {
    path.row.insert(path.row.end(), {node - 1, node});
    path.start.push_back(static_cast<int64_t>(path.row.size()));
  }
  std::vector<int32_t> number(path.start.size() - 1);
  std::iota(number.begin(), number.end(), 0);

  const pid_t here = getpid();
  int64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
  // The order takes 4 MB, the graph four times as much.
  const rlimit tight = {static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + (6 << 20)),
                        limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
  std::vector<int32_t> order;
  try {
    order = nested_dissection_order({path, number, kLong});
  } catch (const std::bad_alloc&) {
    if (getpid() == here) throw;
  }
  if (getpid() != here) {
    kill(here, SIGTERM);  // what nobody reads would not be noticed
    _exit(EXIT_FAILURE);
  }
  setrlimit(RLIMIT_AS, &limit);
  EXPECT_TRUE(order.empty());
}
#endif

// The end that is given is updated by supernodes as well.
TEST(SparseLdl, TakesABlockOffTheEndBySupernodes) {
  std::vector<int8_t> signs;
  LargeMatrix matrix = cube(&signs);
  matrix.set(kNodes, kNodes, 3.0);
  const UpperTriangle upper = matrix.upper();
  SparseLdl ldl;
  ldl.use(load_algebra());
  ldl.analyze(upper, std::vector<int32_t>{1, 3});
  ASSERT_TRUE(ldl.has_supernodes());
  EXPECT_EQ(ldl.dense_order(), 2);
  take_block_off(&ldl);
  ldl.factor(upper, signs);
  matrix.set(1, 1, -4.0 - 3.0);
  matrix.set(3, 3, -4.0 - 5.0);
  matrix.set(1, 3, 0.5);
  const std::vector<double> expected = some_vector(signs.size());
  std::vector<double> x = matrix.times(expected);
  ldl.solve(x);
  double error = 0.0;
  for (size_t i = 0; i < x.size(); ++i) error = std::max(error, std::fabs(x[i] - expected[i]));
  EXPECT_LT(error, 1e-9);
}

// The system of a linear model: variables with three equations each, some of them neighbours of each
// other by the objective. The equations follow the variables.
constexpr int32_t kVariables = 600;
constexpr int32_t kEquations = 200;
LargeMatrix linear_model(std::vector<int8_t>* signs, std::vector<int32_t>* variables) {
  LargeMatrix matrix(kVariables + kEquations);
  variables->clear();
  for (int32_t j = 0; j < kVariables; ++j) {
    variables->push_back(j);
    matrix.set(j, j, 2.0 + 0.01 * (j % 13));
    for (int32_t k = 0; k < 3; ++k) {
      matrix.set(j, kVariables + (7 * j + 31 * k) % kEquations, 1.0 + 0.1 * k);
    }
    if (j % 10 == 9) matrix.set(j - 1, j, 0.5);
  }
  for (int32_t i = 0; i < kEquations; ++i) matrix.set(kVariables + i, kVariables + i, -1e-3);
  signs->assign(kVariables, 1);
  signs->resize(kVariables + kEquations, -1);
  return matrix;
}

TEST(CondensedLdl, EliminatesNodesWithFewNeighboursFirst) {
  std::vector<int8_t> signs;
  std::vector<int32_t> variables;
  LargeMatrix matrix = linear_model(&signs, &variables);
  const std::vector<double> expected = some_vector(signs.size());
  const std::vector<int32_t> two_last = {kVariables + 5, kVariables + 2};
  for (const std::vector<int32_t>& last : {std::vector<int32_t>(), two_last}) {
    CondensedLdl ldl;
    ldl.analyze(matrix.upper(), variables, last);
    // One of each two that are neighbours stays.
    EXPECT_EQ(ldl.num_condensed(), kVariables - kVariables / 10);
    for (const double diagonal : {2.0, 3.0}) {
      matrix.set(0, 0, diagonal);
      ldl.factor(matrix.upper(), signs);
      EXPECT_TRUE(ldl.replaced().empty());
      std::vector<double> x = matrix.times(expected);
      ldl.solve(x);
      EXPECT_LT(largest_error(x, expected), 1e-10) << last.size();
    }
  }
}

TEST(CondensedLdl, ReplacesPivotsAndTakesABlockOffTheEnd) {
  std::vector<int8_t> signs;
  std::vector<int32_t> variables;
  LargeMatrix matrix = linear_model(&signs, &variables);
  const std::vector<double> expected = some_vector(signs.size());
  const std::vector<int32_t> last = {kVariables + 5, kVariables + 2};
  CondensedLdl ldl;
  ldl.analyze(matrix.upper(), variables, last);
  EXPECT_EQ(ldl.dense_order(), 2);
  matrix.set(3, 3, -1.0);
  ldl.factor(matrix.upper(), signs);
  EXPECT_EQ(ldl.replaced(), std::vector<int32_t>{3});
  matrix.set(3, 3, 1.0);
  take_block_off(&ldl);
  ldl.factor(matrix.upper(), signs);
  matrix.set(kVariables + 5, kVariables + 5, -1e-3 - 3.0);
  matrix.set(kVariables + 2, kVariables + 2, -1e-3 - 5.0);
  std::vector<double> rhs = matrix.times(expected);
  rhs[kVariables + 5] += 0.5 * expected[kVariables + 2];
  rhs[kVariables + 2] += 0.5 * expected[kVariables + 5];
  ldl.solve(rhs);
  EXPECT_LT(largest_error(rhs, expected), 1e-10);
}

// Residuals of equations with dense columns, where a rotated cone adds two more: nothing fills in but
// the triangle of the dense columns. The residuals come first; where the equations do, the residuals
// get their elements, and the factor has twice as many.
TEST(CondensedLdl, KeepsDenseColumnsAndLargeConesSparse) {
  constexpr int32_t kRows = 2500;
  constexpr int32_t kDense = 30;
  LargeMatrix matrix(2 * kRows + kDense + 2);
  std::vector<int8_t> signs(2 * kRows + kDense + 2, 1);
  std::vector<int32_t> residuals;
  const int32_t cone = 2 * kRows + kDense;
  for (int32_t i = 0; i < kRows; ++i) {
    residuals.push_back(i);
    const int32_t row = kRows + i;
    signs[index(row)] = -1;
    matrix.set(i, i, 1.0 + 0.1 * (i % 7));
    matrix.set(row, row, -1e-6);
    matrix.set(i, row, 1.0);
    matrix.set(i, cone, 0.01 * std::sin(static_cast<double>(i)));
    matrix.set(i, cone + 1, 0.01 * std::cos(static_cast<double>(i)));
    for (int32_t j = 0; j < kDense; ++j) {
      matrix.set(row, 2 * kRows + j, std::sin(static_cast<double>(3 * i + 7 * j)));
    }
  }
  for (int32_t j = 0; j < kDense; ++j) matrix.set(2 * kRows + j, 2 * kRows + j, 1.0);
  matrix.set(cone, cone, -1.0);
  signs[index(cone)] = -1;
  matrix.set(cone + 1, cone + 1, 1.0);
  CondensedLdl ldl;
  ldl.analyze(matrix.upper(), residuals, {});
  EXPECT_EQ(ldl.num_condensed(), kRows);
  const int64_t own = kRows * (3 + 1 + kDense + 2 + 1);
  EXPECT_LE(ldl.num_elements(), own + 40 * 40);
  ldl.factor(matrix.upper(), signs);
  EXPECT_TRUE(ldl.replaced().empty());
  const std::vector<double> expected = some_vector(signs.size());
  std::vector<double> x = matrix.times(expected);
  ldl.solve(x);
  EXPECT_LT(largest_error(x, expected), 1e-6);
}

// A preconditioner that is right but for a change of rank two takes three vectors to mend.
TEST(KrylovCorrection, MendsAPreconditionerThatIsWrongInFewDirections) {
  constexpr size_t kOrder = 30;
  DenseMatrix matrix = DenseMatrix::identity(kOrder);
  matrix(0, 0) = 100.0;
  matrix(1, 1) = 1e-3;
  KrylovCorrection correction;
  const KrylovCorrection::System system = {
      [&](const std::vector<double>& x, std::vector<double>* out) { *out = product(matrix, x); },
      [](std::span<double> /*x*/) {}};
  const std::vector<double> rhs = some_vector(kOrder);
  std::vector<double> x(kOrder, 0.0);
  correction.apply(system, rhs, norm(rhs), 1e-14, &x);
  EXPECT_NEAR(x[0], rhs[0] / 100.0, 1e-10);
  EXPECT_NEAR(x[1], rhs[1] / 1e-3, 1e-8);
  EXPECT_NEAR(x[2], rhs[2], 1e-10);
}

}  // namespace
}  // namespace vorlan::conic
