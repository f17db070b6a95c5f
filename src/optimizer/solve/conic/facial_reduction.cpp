// Equations are looked at one by one: only a matrix of rank one is sure to be found.
#include "solve/conic/facial_reduction.h"

#include <algorithm>
#include <cmath>

#include "solve/check/vectors.h"
#include "solve/conic/face.h"

namespace vorlan::conic {
namespace {

// The part's v, where its matrix is sign v v'; else empty.
NullEquation factor_rank_one(const MatrixPart& part, size_t order) {
  constexpr double kRounding = 1e-14;
  const auto largest_diagonal = [&] {
    const TriangleEntry* found = nullptr;
    for (const TriangleEntry& e : part.entries) {
      if (e.row == e.col && (found == nullptr || std::fabs(e.value) > std::fabs(found->value))) {
        found = &e;
      }
    }
    return found;
  }();
  if (largest_diagonal == nullptr || largest_diagonal->value == 0.0) return {};
  NullEquation null{part.row, std::copysign(1.0, largest_diagonal->value),
                    std::vector<double>(order, 0.0)};
  const double root = null.sign * std::sqrt(std::fabs(largest_diagonal->value));
  size_t support = 0;
  for (const TriangleEntry& e : part.entries) {
    if (e.row == e.col) ++support;
    if (e.row == largest_diagonal->row) null.vector[index(e.col)] = e.value / root;
    if (e.col == largest_diagonal->row) null.vector[index(e.row)] = e.value / root;
  }
  if (part.entries.size() != support * (support + 1) / 2) return {};
  for (const TriangleEntry& e : part.entries) {
    const double product = null.sign * null.vector[index(e.row)] * null.vector[index(e.col)];
    if (!(std::fabs(e.value - product) <= kRounding * std::fabs(product))) return {};
  }
  return null;
}

// Of each row, whether its right-hand side is 0 and all of its elements are in one matrix variable.
std::vector<bool> rows_of_one_matrix(const ConicProblem& problem) {
  std::vector<int32_t> count(problem.rhs.size(), 0);
  for (const int32_t row : problem.matrix.row) count[index(row)] = 2;
  for (const MatrixBlock& block : problem.matrices) {
    for (const MatrixPart& part : block.parts) ++count[index(part.row)];
  }
  std::vector<bool> is_one(count.size());
  for (size_t i = 0; i < count.size(); ++i) is_one[i] = count[i] == 1 && problem.rhs[i] == 0.0;
  return is_one;
}

}  // namespace

int32_t reduce_to_faces(ConicProblem* problem) {
  const std::vector<bool> is_candidate = rows_of_one_matrix(*problem);
  int32_t count = 0;
  for (MatrixBlock& block : problem->matrices) {
    if (block.dimension < 2) continue;
    for (size_t p = 0; p < block.parts.size() && block.null.row < 0; ++p) {
      if (!is_candidate[index(block.parts[p].row)]) continue;
      block.null = factor_rank_one(block.parts[p], index(block.dimension));
      if (block.null.row < 0) continue;
      block.parts.erase(block.parts.begin() + static_cast<std::ptrdiff_t>(p));
      ++count;
    }
  }
  return count;
}

// With the unit vector q along v, a = q'Zq, b = V'Zq and the dual of the face Z~, the whole dual is
// semidefinite when a + t |v|^2 is at least b'inv(Z~)b. At an optimum Z~ is singular: a small
// multiple of the identity is added, which is what the dual may lack.
void restore_from_faces(const ConicProblem& problem, InteriorPoint* point) {
  constexpr double kLacking = 1e-10;
  for (size_t m = 0; m < problem.matrices.size(); ++m) {
    const NullEquation& null = problem.matrices[m].null;
    if (null.row < 0) continue;
    Status failure;
    constexpr double kProducts = 20.0;
    const double order = problem.matrices[m].dimension;
    const DenseAlgebra* algebra =
        DenseAlgebra::for_work(kProducts * order * order * order, &failure);
    if (algebra == nullptr) return;
    DenseMatrix& z = point->matrix_duals[m];
    const Face face(z.rows(), null.vector);
    const double missing = face.missing_along_null(*algebra, z, kLacking);
    const double square = dot(null.vector, null.vector);
    const double factor = std::max(0.0, missing) / square;
    point->y[index(null.row)] = -null.sign * factor;
    for (size_t col = 0; col < z.cols(); ++col) {
      for (size_t row = 0; row < z.rows(); ++row) {
        z(row, col) += factor * null.vector[row] * null.vector[col];
      }
    }
  }
}

}  // namespace vorlan::conic
