// Matrix variables in parts: what their pattern is split into, that an answer's parts come back as
// one semidefinite matrix, and models with known optima that are solved in this way.
#include "solve/conic/matrix_split.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>

#include "conic_solve.h"
#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {
namespace {

using test::proves_infeasible;
using test::proves_unbounded;
using test::solve_conic;
using test::Solved;

constexpr int32_t kRungs = 60;
constexpr int32_t kNodes = 2 * kRungs;
constexpr auto kOrder = static_cast<size_t>(kNodes);

struct Edge {
  int32_t a, b;
};

// Two paths with rungs between them, nodes numbered rung by rung: cliques of 3 nodes cover it.
std::vector<Edge> ladder(int32_t rungs, int32_t first = 0) {
  std::vector<Edge> edges;
  for (int32_t k = 0; k < rungs; ++k) {
    const int32_t node = first + 2 * k;
    edges.push_back({node + 1, node});
    if (k + 1 == rungs) break;
    edges.push_back({node + 2, node});
    edges.push_back({node + 3, node + 1});
  }
  return edges;
}

// The relaxation of the largest cut of a graph, a diagonal of ones: an even graph's cut takes all
// edges.
Model largest_cut(int32_t num_node, const std::vector<Edge>& edges) {
  Model model;
  model.maximize = true;
  model.matrix_vars.push_back({num_node});
  std::vector<double> degree(index(num_node), 0.0);
  for (const Edge& e : edges) {
    degree[index(e.a)] += 0.25;
    degree[index(e.b)] += 0.25;
    model.matrix_cost.push_back({0, {e.a, e.b, -0.25}});
  }
  for (int32_t k = 0; k < num_node; ++k) {
    if (degree[index(k)] != 0.0) model.matrix_cost.push_back({0, {k, k, degree[index(k)]}});
    model.matrix_coefficients.push_back({k, 0, {k, k, 1.0}});
  }
  model.con_lower.assign(index(num_node), 1.0);
  model.con_upper = model.con_lower;
  return model;
}

ConicProblem problem_of(const Model& model) {
  ConicProblem problem;
  problem.matrices.push_back({model.matrix_vars[0].dimension, {}, {}});
  for (const MatrixCostEntry& e : model.matrix_cost) problem.matrices[0].cost.push_back(e.entry);
  for (const MatrixCoefficient& e : model.matrix_coefficients) {
    problem.matrices[0].parts.push_back({e.con, {e.entry}});
  }
  problem.rhs = model.con_lower;
  problem.rhs_size = problem.rhs;
  problem.matrix.num_row = problem.num_row();
  return problem;
}

// A matrix M M' + I without zeros, the same in every run.
DenseMatrix definite_matrix(size_t order) {
  std::mt19937 random(7);
  DenseMatrix m(order, order);
  for (double& value : m.values()) value = static_cast<double>(random() % 1000) / 1000.0 - 0.5;
  DenseMatrix product = DenseMatrix::identity(order);
  for (size_t j = 0; j < order; ++j) {
    for (size_t i = 0; i < order; ++i) {
      for (size_t k = 0; k < order; ++k) product(i, j) += m(i, k) * m(j, k);
    }
  }
  return product;
}

DenseMatrix submatrix(const DenseMatrix& matrix, const std::vector<int32_t>& rows) {
  DenseMatrix part(rows.size(), rows.size());
  for (size_t j = 0; j < rows.size(); ++j) {
    for (size_t i = 0; i < rows.size(); ++i) part(i, j) = matrix(index(rows[i]), index(rows[j]));
  }
  return part;
}

TEST(MatrixSplit, FindsComponentsAndRowsWithoutElements) {
  MatrixBlock block{6, {{4, 1, 2.0}}, {{0, {{2, 2, 1.0}}}, {1, {{5, 1, 1.0}}}}};
  const MatrixCover cover = find_cover(block, Cover::kCliques);
  ASSERT_EQ(cover.pieces.size(), 2U);
  EXPECT_EQ(cover.pieces[0].own, (std::vector<int32_t>{1, 4, 5}));
  EXPECT_EQ(cover.pieces[1].own, (std::vector<int32_t>{2}));
  EXPECT_EQ(cover.piece_of_row, (std::vector<int32_t>{-1, 0, 1, -1, 0, 0}));
}

TEST(MatrixSplit, CoversALadderByCliques) {
  const Model model = largest_cut(kNodes, ladder(kRungs));
  const MatrixCover cover = find_cover(problem_of(model).matrices[0], Cover::kCliques);
  EXPECT_GT(cover.pieces.size(), 3U);
  std::vector<int32_t> owned;
  for (size_t p = 0; p < cover.pieces.size(); ++p) {
    const CoverPiece& piece = cover.pieces[p];
    owned.insert(owned.end(), piece.own.begin(), piece.own.end());
    if (piece.parent < 0) continue;
    ASSERT_GT(piece.parent, static_cast<int32_t>(p));
    const CoverPiece& parent = cover.pieces[index(piece.parent)];
    for (const int32_t row : piece.shared) {
      EXPECT_TRUE(std::binary_search(parent.own.begin(), parent.own.end(), row) ||
                  std::binary_search(parent.shared.begin(), parent.shared.end(), row));
    }
  }
  std::sort(owned.begin(), owned.end());
  std::vector<int32_t> all(kOrder);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_EQ(owned, all);
  EXPECT_EQ(find_cover(problem_of(model).matrices[0], Cover::kComponents).pieces.size(), 1U);
}

// The completion of largest determinant is the one whose inverse is 0 where the parts have no
// element.
TEST(MatrixSplit, CompletesTheMatrixOfLargestDeterminant) {
  ConicProblem problem = problem_of(largest_cut(kNodes, ladder(kRungs)));
  const MatrixCover cover = find_cover(problem.matrices[0], Cover::kCliques);
  MatrixSplit split;
  split.apply(Cover::kCliques, &problem);
  ASSERT_TRUE(split.has_overlaps());
  const DenseMatrix whole = definite_matrix(kOrder);
  InteriorPoint point;
  std::vector<std::vector<bool>> is_given(kOrder, std::vector<bool>(kOrder, false));
  for (const CoverPiece& piece : cover.pieces) {
    std::vector<int32_t> rows = piece.own;
    rows.insert(rows.end(), piece.shared.begin(), piece.shared.end());
    std::sort(rows.begin(), rows.end());
    point.matrices.push_back(submatrix(whole, rows));
    point.matrix_duals.push_back(DenseMatrix::identity(rows.size()));
    for (const int32_t i : rows) {
      for (const int32_t j : rows) is_given[index(i)][index(j)] = true;
    }
  }
  Equilibration scaling = identity_scaling(problem, problem.rhs.size());
  split.restore(&scaling, &point);
  ASSERT_EQ(point.matrices.size(), 1U);
  DenseMatrix inverse = point.matrices[0];
  for (size_t j = 0; j < kOrder; ++j) {
    for (size_t i = 0; i < kOrder; ++i) {
      if (is_given[i][j]) {
        EXPECT_NEAR(inverse(i, j), whole(i, j), 1e-10);
      }
    }
  }
  Status failure;
  const DenseAlgebra* algebra = DenseAlgebra::load(&failure);
  ASSERT_NE(algebra, nullptr) << failure.message();
  std::vector<double> values(kOrder);
  ASSERT_TRUE(algebra->find_eigenvectors(inverse, values));
  EXPECT_GT(values[0], 0.0);
  for (size_t j = 0; j < kOrder; ++j) {
    for (size_t i = j; i < kOrder; ++i) {
      if (is_given[i][j]) continue;
      double element = 0.0;
      for (size_t k = 0; k < kOrder; ++k) element += inverse(i, k) * inverse(j, k) / values[k];
      EXPECT_NEAR(element, 0.0, 1e-9);
    }
  }
}

void expect_optimum(const Solved& solved, double value) {
  EXPECT_EQ(solved.solution().status, SolutionStatus::kOptimal) << solved.log;
  EXPECT_EQ(solved.log.find("misses its tolerance"), std::string::npos) << solved.log;
  EXPECT_NEAR(solved.solution().primal_objective, value, 1e-6 * value);
  EXPECT_NEAR(solved.solution().dual_objective, value, 1e-6 * value);
}

TEST(MatrixSplit, SolvesALadderInCliques) {
  Solved solved;
  solved.task.model = largest_cut(kNodes, ladder(kRungs));
  solve_conic(&solved);
  EXPECT_NE(solved.log.find("where they overlap"), std::string::npos) << solved.log;
  expect_optimum(solved, 3 * kRungs - 2);
}

// A ladder, a single edge and nodes without any.
TEST(MatrixSplit, SolvesComponentsApart) {
  constexpr int32_t kFew = 10;
  std::vector<Edge> edges = ladder(kFew);
  edges.push_back({2 * kFew + 1, 2 * kFew});
  Solved solved;
  solved.task.model = largest_cut(2 * kFew + 5, edges);
  solve_conic(&solved);
  EXPECT_NE(solved.log.find("Presolve split 1 matrix variable of an order up to 25 into 2 matrix "
                            "variables of an order up to 20 and 3 scalar variables\n"),
            std::string::npos)
      << solved.log;
  expect_optimum(solved, 3 * kFew - 1);
}

// A diagonal element that must be negative, far from the other rows' piece.
TEST(MatrixSplit, ProvesALadderInfeasible) {
  Solved solved;
  solved.task.model = largest_cut(kNodes, ladder(kRungs));
  solved.task.model.con_lower[17] = solved.task.model.con_upper[17] = -1.0;
  solve_conic(&solved);
  EXPECT_TRUE(proves_infeasible(solved)) << solved.log;
}

// Without the equations of some nodes the cut of their edges has no limit.
TEST(MatrixSplit, ProvesALadderUnbounded) {
  Solved solved;
  solved.task.model = largest_cut(kNodes, ladder(kRungs));
  Model& model = solved.task.model;
  model.con_lower[17] = -kInfinity;
  model.con_upper[17] = kInfinity;
  solve_conic(&solved);
  EXPECT_TRUE(proves_unbounded(solved)) << solved.log;
}

}  // namespace
}  // namespace vorlan::conic
