// Parts of the conic method that treat matrix variables: scaling, products, steps and the least
// eigenvalue, beside their definitions.
#include "solve/conic/matrix_scaling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <utility>

#include "solve/conic/least_eigenvalue.h"
#include "solve/conic/matrix_block.h"
#include "solve/conic/matrix_products.h"
#include "solve/conic/matrix_step.h"

namespace vorlan::conic {
namespace {

constexpr double kRounding = 1e-12;

const DenseAlgebra& load_algebra() {
  Status failure;
  const DenseAlgebra* algebra = DenseAlgebra::load(&failure);
  EXPECT_NE(algebra, nullptr) << failure.message();
  return *algebra;
}

DenseMatrix product(const DenseMatrix& a, const DenseMatrix& b) {
  DenseMatrix c(a.rows(), b.cols());
  load_algebra().multiply(1.0, a, b, 0.0, c);
  return c;
}

double inner(const DenseMatrix& a, const DenseMatrix& b) {
  double sum = 0.0;
  for (size_t k = 0; k < a.values().size(); ++k) sum += a.values()[k] * b.values()[k];
  return sum;
}

void expect_near(const DenseMatrix& a, const DenseMatrix& b) {
  ASSERT_EQ(a.rows(), b.rows());
  for (size_t k = 0; k < a.values().size(); ++k) {
    EXPECT_NEAR(a.values()[k], b.values()[k], kRounding * 100.0) << k;
  }
}

// A positive definite matrix without structure.
DenseMatrix definite(size_t order, double seed) {
  DenseMatrix half(order, order);
  for (size_t k = 0; k < half.values().size(); ++k) {
    half.values()[k] = std::sin(seed * static_cast<double>(k + 1));
  }
  DenseMatrix matrix = DenseMatrix::identity(order);
  load_algebra().multiply(1.0, half, transposed(half), 1.0, matrix);
  return matrix;
}

MatrixPoint point(size_t order) { return {definite(order, 1.3), definite(order, 2.9)}; }

// Elements of C and of rows that are short, long, and of a single element.
MatrixBlock block_of_order_6() {
  MatrixBlock block;
  block.dimension = 6;
  block.cost = {{1, 0, 2.0}, {4, 4, -1.0}};
  MatrixPart dense = {0, {}};
  for (int32_t i = 0; i < 6; ++i) {
    for (int32_t j = 0; j <= i; ++j) dense.entries.push_back({i, j, 0.5 * i - j});
  }
  block.parts = {dense, {2, {{3, 3, 4.0}}}, {3, {{5, 1, 1.0}, {2, 2, -3.0}}}};
  return block;
}

DenseMatrix full(const std::vector<TriangleEntry>& entries, size_t order) {
  DenseMatrix matrix(order, order);
  for (const TriangleEntry& e : entries) {
    matrix(index(e.row), index(e.col)) = e.value;
    matrix(index(e.col), index(e.row)) = e.value;
  }
  return matrix;
}

TEST(MatrixScaling, OfDiagonalMatricesIsTheRootOfTheirRatio) {
  MatrixPoint at = {DenseMatrix::identity(2), DenseMatrix::identity(2)};
  at.x(0, 0) = 4.0;
  at.z(0, 0) = 1.0;
  at.x(1, 1) = 1.0;
  at.z(1, 1) = 9.0;
  MatrixScaling scaling(2, load_algebra());
  ASSERT_TRUE(scaling.update(at));
  EXPECT_NEAR(scaling.w()(0, 0), 2.0, kRounding);
  EXPECT_NEAR(scaling.w()(1, 1), 1.0 / 3.0, kRounding);
  EXPECT_NEAR(scaling.w()(0, 1), 0.0, kRounding);
  EXPECT_NEAR(scaling.lambda()[0], 2.0, kRounding);
  EXPECT_NEAR(scaling.lambda()[1], 3.0, kRounding);
}

DenseMatrix unscaled(const MatrixScaling& scaling, const DenseMatrix& matrix) {
  DenseMatrix sum(scaling.dimension(), scaling.dimension());
  scaling.add_unscaled(1.0, matrix, &sum);
  return sum;
}

TEST(MatrixScaling, TakesTheDualToThePrimal) {
  const MatrixPoint at = point(7);
  MatrixScaling scaling(7, load_algebra());
  ASSERT_TRUE(scaling.update(at));
  expect_near(product(product(scaling.w(), at.z), scaling.w()), at.x);
  // Both are diag(lambda) in scaled terms.
  DenseMatrix lambda(7, 7);
  for (size_t i = 0; i < 7; ++i) lambda(i, i) = scaling.lambda()[i];
  expect_near(scaling.scale_dual(at.z), lambda);
  expect_near(unscaled(scaling, lambda), at.x);
  DenseMatrix sum = at.x;
  scaling.add_unscaled(-2.0, lambda, &sum);
  for (size_t k = 0; k < 49; ++k) EXPECT_NEAR(sum.values()[k], -at.x.values()[k], kRounding);
}

// The same for a primal matrix that vanishes on a vector: the scaling is of the others.
TEST(MatrixScaling, TakesTheDualToThePrimalInAFace) {
  const std::vector<double> null = {-1.0, 2.0, 0.0, 0.5, 1.0, -3.0, 1.0};
  const Face face(7, null);
  const DenseMatrix projection = face.projection();
  MatrixPoint at = point(7);
  at.x = product(product(projection, at.x), projection);
  MatrixScaling scaling(face, load_algebra());
  ASSERT_EQ(scaling.order(), 6U);
  ASSERT_TRUE(scaling.update(at));
  expect_near(product(product(scaling.w(), at.z), scaling.w()), at.x);
  DenseMatrix lambda(6, 6);
  for (size_t i = 0; i < 6; ++i) lambda(i, i) = scaling.lambda()[i];
  expect_near(scaling.scale_dual(at.z), lambda);
  const DenseMatrix back = unscaled(scaling, lambda);
  expect_near(back, at.x);
  for (size_t row = 0; row < 7; ++row) {
    double along = 0.0;
    for (size_t col = 0; col < 7; ++col) along += back(row, col) * null[col];
    EXPECT_NEAR(along, 0.0, kRounding);
  }
}

// A matrix with few elements takes another way to the same result.
TEST(MatrixScaling, ScalesSparseMatricesLikeDenseOnes) {
  MatrixScaling scaling(7, load_algebra());
  ASSERT_TRUE(scaling.update(point(7)));
  DenseMatrix sparse(7, 7);
  sparse(5, 2) = sparse(2, 5) = 3.0;
  const DenseMatrix back = unscaled(scaling, scaling.scale_dual(sparse));
  expect_near(back, product(product(scaling.w(), sparse), scaling.w()));
}

TEST(MatrixScaling, RefusesIndefiniteMatrices) {
  MatrixScaling scaling(2, load_algebra());
  MatrixPoint at = {DenseMatrix::identity(2), DenseMatrix::identity(2)};
  at.x(1, 0) = at.x(0, 1) = 1.0;
  EXPECT_FALSE(scaling.update(at));
  at.x = DenseMatrix::identity(2);
  at.z(1, 1) = -1.0;
  EXPECT_FALSE(scaling.update(at));
}

void expect_products_of_full_matrices(const MatrixBlock& block) {
  const DenseMatrix w = definite(6, 0.7);
  MatrixProducts products(block, load_algebra());
  // In the opposite order, beside what is there.
  DenseMatrix sum(block.parts.size(), block.parts.size());
  std::vector<size_t> places;
  for (size_t p = block.parts.size(); p-- > 0;) places.push_back(p);
  sum.fill(1.0);
  products.compute(w, places, sum);
  const auto scaled = [&](const DenseMatrix& m) { return product(product(w, m), w); };
  const DenseMatrix cost = full(block.cost, 6);
  const DenseMatrix identity = DenseMatrix::identity(6);
  for (size_t p = 0; p < block.parts.size(); ++p) {
    const DenseMatrix a = full(block.parts[p].entries, 6);
    for (size_t q = 0; q <= p; ++q) {
      const DenseMatrix b = full(block.parts[q].entries, 6);
      EXPECT_NEAR(sum(places[p], places[q]) - 1.0, inner(a, scaled(b)), 1e-10) << p << ' ' << q;
    }
    EXPECT_NEAR(products.cost_column()[p], inner(a, scaled(cost)), 1e-10);
    EXPECT_NEAR(products.identity_column()[p], inner(a, scaled(identity)), 1e-10);
  }
  EXPECT_NEAR(products.cost_square(), inner(cost, scaled(cost)), 1e-10);
  EXPECT_NEAR(products.cost_identity(), inner(cost, scaled(identity)), 1e-10);
}

TEST(MatrixProducts, AreThoseOfTheFullMatrices) {
  expect_products_of_full_matrices(block_of_order_6());
}

// The lower triangle of factor a a'.
std::vector<TriangleEntry> rank_one(double factor, const std::vector<double>& a) {
  std::vector<TriangleEntry> entries;
  for (size_t col = 0; col < a.size(); ++col) {
    for (size_t row = col; row < a.size(); ++row) {
      const double value = factor * a[row] * a[col];
      if (value == 0.0) continue;
      entries.push_back({static_cast<int32_t>(row), static_cast<int32_t>(col), value});
    }
  }
  return entries;
}

// Matrices of rank one take another way to the same products, those that only look like it do not.
TEST(MatrixProducts, TakeMatricesOfRankOneByTheirVectors) {
  MatrixBlock block = block_of_order_6();
  const auto part = [&](std::vector<TriangleEntry> entries) {
    block.parts.push_back({static_cast<int32_t>(block.parts.size()), std::move(entries)});
  };
  part(rank_one(1.0, {1.0, 1.0, 1.0, 1.0, 1.0, 1.0}));
  part(rank_one(-2.0, {0.0, 3.0, 0.0, -0.5, 0.1, 0.0}));
  part(rank_one(4.0, {0.0, 0.0, 0.0, 0.0, 0.0, 0.5}));
  std::vector<TriangleEntry> other = rank_one(1.0, {0.0, 1.0, 2.0, 0.0, 0.0, 3.0});
  other[1].value += 0.5;
  part(other);
  part({{3, 3, 0.0}, {4, 3, 1.0}, {4, 4, 0.0}});
  expect_products_of_full_matrices(block);
}

TEST(MatrixBlock, SumsOverElementsAndTheirMirrorImages) {
  const MatrixBlock block = block_of_order_6();
  const DenseMatrix m = definite(6, 0.4);
  EXPECT_NEAR(cost_product(block, m), 4.0 * m(1, 0) - m(4, 4), kRounding);
  std::vector<double> rows = {0.0, 0.0, 1.0, 0.0};
  add_products(block, m, 2.0, rows);
  EXPECT_NEAR(rows[2], 1.0 + 8.0 * m(3, 3), kRounding);
  EXPECT_NEAR(rows[3], 2.0 * (2.0 * m(5, 1) - 3.0 * m(2, 2)), kRounding);
  DenseMatrix sum(6, 6);
  combine(block, 2.0, std::vector<double>{0.0, 0.0, 0.5, 3.0}, 7.0, &sum);
  EXPECT_EQ(sum(3, 3), -0.5 * 4.0 + 7.0);
  EXPECT_EQ(sum(5, 1), -3.0);
  EXPECT_EQ(sum(1, 5), -3.0);
  EXPECT_EQ(sum(0, 1), 4.0);
  EXPECT_EQ(sum(0, 0), 7.0);
}

// The two conditions of a step: dZ from dy, and dZ~ + dX~ = R.
TEST(MatrixDirection, AStepFollowsFromItsMultipliers) {
  const MatrixBlock block = block_of_order_6();
  const MatrixPoint at = point(6);
  MatrixScaling scaling(6, load_algebra());
  ASSERT_TRUE(scaling.update(at));
  MatrixDirection direction(block, at, &scaling);
  const std::vector<double> dy = {0.2, 0.0, -0.3, 0.4};
  direction.aim_at_boundary();
  MatrixStep step = direction.find(dy, 0.25, 0.5);
  DenseMatrix dz(6, 6);
  combine(block, 0.5, dy, -0.5, &dz);
  for (size_t k = 0; k < 36; ++k) dz.values()[k] += 0.25 * at.z.values()[k];
  expect_near(step.scaled.z, scaling.scale_dual(dz));
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(step.scaled.x(i, i) + step.scaled.z(i, i), -scaling.lambda()[i], 1e-10);
  }
  expect_near(step.x, unscaled(scaling, step.scaled.x));

  // A correction by a further dy is a step of the sum.
  direction.aim_at_boundary();
  const MatrixStep affine = direction.find_affine(dy, 0.25, 0.5);
  EXPECT_TRUE(affine.scaled.x.values().empty());
  expect_near(affine.scaled.z, step.scaled.z);
  EXPECT_NEAR(step_length(scaling, affine, 9.0), step_length(scaling, step, 9.0), kRounding);
  const std::vector<double> more = {1.0, 0.0, 0.5, -0.25};
  std::vector<double> sum = dy;
  for (size_t i = 0; i < sum.size(); ++i) sum[i] += more[i];
  direction.aim_at_boundary();
  const MatrixStep whole = direction.find(sum, 0.25, 0.5);
  direction.correct(more, &step);
  expect_near(step.x, whole.x);
  expect_near(step.scaled.z, whole.scaled.z);
}

// Where X Z is mu I already and the affine step is 0, nothing is left to do at that mu.
TEST(MatrixDirection, OnThePathThereIsNothingToCentre) {
  MatrixPoint at = point(5);
  MatrixScaling scaling(5, load_algebra());
  ASSERT_TRUE(scaling.update(at));
  at.z = at.x;  // the inverse of X, by its factor
  ASSERT_TRUE(load_algebra().factor_cholesky(at.z));
  DenseMatrix inverse = DenseMatrix::identity(5);
  for (size_t col = 0; col < 5; ++col) {  // forward, then backward substitution
    for (size_t i = 0; i < 5; ++i) {
      for (size_t j = 0; j < i; ++j) inverse(i, col) -= at.z(i, j) * inverse(j, col);
      inverse(i, col) /= at.z(i, i);
    }
    for (size_t i = 5; i-- > 0;) {
      for (size_t j = i + 1; j < 5; ++j) inverse(i, col) -= at.z(j, i) * inverse(j, col);
      inverse(i, col) /= at.z(i, i);
    }
  }
  at.z = inverse;
  ASSERT_TRUE(scaling.update(at));
  for (const double lambda : scaling.lambda()) EXPECT_NEAR(lambda, 1.0, 1e-10);
  const MatrixBlock block{5, {{0, 0, 1.0}}, {{0, {{4, 4, 1.0}}}, {1, {{3, 1, 1.0}}}}};
  MatrixDirection direction(block, at, &scaling);
  direction.aim_at_path(1.0, zero_matrix_step(5, 5));
  std::vector<double> rows(2, 0.0);
  direction.add_rhs_products(1.0, rows);
  for (const double value : rows) EXPECT_NEAR(value, 0.0, 1e-9);
  EXPECT_NEAR(direction.rhs_cost_product(), 0.0, 1e-9);
}

// The second-order term of the affine step is that of its two matrices, and a matrix with few
// elements has the products of one with many.
TEST(MatrixDirection, TheAffineStepCountsAsItsTwoMatrices) {
  constexpr int32_t kOrder = 30;
  const MatrixPoint at = point(kOrder);
  MatrixScaling scaling(kOrder, load_algebra());
  ASSERT_TRUE(scaling.update(at));
  const MatrixBlock few{kOrder, {{2, 1, 1.0}}, {{0, {{4, 4, 2.0}}}, {1, {{7, 3, -1.0}}}}};
  MatrixBlock many = few;
  many.parts.push_back({2, {}});
  for (int32_t col = 0; col < kOrder; ++col) {
    for (int32_t row = col; row < kOrder; ++row) many.parts[2].entries.push_back({row, col, 0.0});
  }
  MatrixDirection direction(few, at, &scaling);
  MatrixStep affine = direction.find_affine(std::vector<double>{0.2, -0.3}, 0.25, 0.5);
  MatrixStep both = affine;
  both.scaled.x = affine.scaled.z;
  for (double& value : both.scaled.x.values()) value = -value;
  for (size_t i = 0; i < index(kOrder); ++i) both.scaled.x(i, i) -= scaling.lambda()[i];
  direction.aim_at_path(0.1, std::move(affine));
  MatrixDirection other(many, at, &scaling);
  other.aim_at_path(0.1, std::move(both));
  std::vector<double> rows(3, 0.0);
  direction.add_rhs_products(1.0, rows);
  other.add_rhs_products(-1.0, rows);
  const double size = std::fabs(direction.rhs_cost_product()) + 1.0;
  for (const double value : rows) EXPECT_NEAR(value, 0.0, 1e-10 * size);
  EXPECT_NEAR(direction.rhs_cost_product(), other.rhs_cost_product(), 1e-10 * size);
}

// Eigenvalues of the path's Laplacian are 2 - 2 cos(k pi / n). The ones of large orders lie close.
TEST(LeastEigenvalue, IsABoundBelowAndNear) {
  for (const size_t n : {5, 40, 41, 200}) {
    DenseMatrix matrix(n, n);
    for (size_t i = 0; i < n; ++i) {
      matrix(i, i) = i == 0 || i + 1 == n ? 1.0 : 2.0;
      if (i + 1 < n) matrix(i + 1, i) = matrix(i, i + 1) = -1.0;
    }
    for (double& value : matrix.values()) value = -value;
    const double largest = 2.0 - 2.0 * std::cos(std::numbers::pi * static_cast<double>(n - 1) /
                                                static_cast<double>(n));
    const double least = least_eigenvalue(load_algebra(), &matrix);
    EXPECT_LE(least, -largest + 1e-9) << n;
    EXPECT_GE(least, -1.03 * largest) << n;
  }
}

}  // namespace
}  // namespace vorlan::conic
