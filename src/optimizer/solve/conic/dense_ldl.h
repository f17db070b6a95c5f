// L D L' of a dense symmetric quasi-definite matrix, by blocks of columns.
//
// sparse_ldl.h factors the sparse part of a matrix and leaves the rest to this class, which does
// most of the work of a factorization and is faster for each element of it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solve/conic/panel_products.h"

namespace vorlan::conic {

class DenseLdl {
 public:
  void resize(size_t order);
  // Gives dense algebra from now on; without it blocks are slower.
  void use(const DenseAlgebra* algebra) { algebra_ = algebra; }
  bool has_algebra() const { return algebra_ != nullptr; }
  size_t order() const { return triangles_.order(); }

  // The matrix to be factored, in its lower triangle. A factorization writes L over it.
  MatrixView matrix() { return triangles_.lower(); }
  // An upper triangle that a factorization keeps as it is, for a matrix of the caller's.
  MatrixView kept() { return triangles_.upper(); }
  ConstMatrixView kept() const { return triangles_.upper(); }

  // Factors the matrix, whose pivots have the signs given, and lists the replaced ones.
  std::vector<size_t> factor(std::span<const int8_t> signs, const PivotRule& rule);
  // Factors a negative definite matrix by Cholesky's method, which the dense algebra has; false: it
  // is none. The matrix is lost then. L keeps the roots of the pivots on its diagonal.
  bool factor_negative();
  // Replaces the right-hand side by the solution.
  void solve(std::span<double> x) const;

 private:
  void update_after_block(size_t first, size_t size);
  void solve_by_loops(std::span<double> x) const;

  TrianglePair triangles_;
  bool is_cholesky_ = false;   // the matrix is -L L'
  std::vector<double> pivot_;  // D, where it is not
  DenseMatrix panel_;          // L21 D of a block
  const DenseAlgebra* algebra_ = nullptr;
};

}  // namespace vorlan::conic
