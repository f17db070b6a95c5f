// The Nesterov-Todd scaling of a positive semidefinite matrix variable X and its dual Z.
//
// With X = L L' and L'ZL = V diag(lambda)^2 V', the matrix G = L V diag(lambda)^(-1/2) takes both
// to the same diagonal: inv(G) X inv(G)' = G'ZG = diag(lambda), and W = G G' has W Z W = X (Y.
// Nesterov, M. Todd, Self-scaled barriers and interior-point methods for convex programming, Math.
// Oper. Res. 22, 1997). In these scaled terms the central path of both is one equation of symmetric
// matrices, dZ~ + dX~ = R.
//
// Where X is of a face V X~ V' all of this is of X~ and V'ZV, of an order less by one, and G = V G~
// is a rectangle: dual matrices go to scaled terms, and primal ones come back, in the same way.
#pragma once

#include <vector>

#include "solve/conic/dense_algebra.h"
#include "solve/conic/face.h"
#include "solve/conic/lane_dot.h"

namespace vorlan::conic {

// A matrix variable and its dual, or any two symmetric matrices in their places.
struct MatrixPoint {
  DenseMatrix x, z;
};

// G M G' of a symmetric M, by element.
struct HalfUnscaled {
  DenseMatrix rows;   // of G, as columns
  DenseMatrix image;  // M G'

  double element(size_t row, size_t col) const {
    return lane_dot(rows.view().column(row), image.view().column(col).data());
  }
};

class MatrixScaling {
 public:
  MatrixScaling(size_t order, const DenseAlgebra& algebra)
      : MatrixScaling(Face(order, {}), algebra) {}
  MatrixScaling(Face face, const DenseAlgebra& algebra);

  // Identities, in the face.
  MatrixPoint start() const;

  // Chooses the scaling at a point; false: X or Z is not positive definite.
  bool update(const MatrixPoint& at);

  size_t dimension() const { return face_.dimension(); }
  size_t order() const { return lambda_.size(); }  // of matrices in scaled terms
  const DenseAlgebra& algebra() const { return algebra_; }
  DenseMatrix w() const;
  const std::vector<double>& lambda() const { return lambda_; }

  // G'MG of a symmetric M: what a dual matrix is in scaled terms. The answer takes M's memory.
  DenseMatrix scale_dual(DenseMatrix matrix) const;
  // sum += factor G M G' of a symmetric M: the primal matrix that M is in scaled terms. The sum is
  // symmetric.
  void add_unscaled(double factor, const DenseMatrix& matrix, DenseMatrix* sum) const;
  // The same of a few elements, in the memory given.
  void unscale_half(const DenseMatrix& matrix, HalfUnscaled* half) const;

 private:
  DenseMatrix multiply_sparse(const DenseMatrix& matrix) const;

  const DenseAlgebra& algebra_;
  Face face_;
  DenseMatrix g_;
  std::vector<double> lambda_;
};

}  // namespace vorlan::conic
