// The symmetric matrices that vanish on a vector: M = V M~ V' with an orthonormal V whose columns
// are orthogonal to it.
//
// V is all columns but the first of the Householder reflection that takes the vector to the first
// axis, so that going to M~ and back costs no product of matrices.
#pragma once

#include <span>
#include <vector>

#include "solve/conic/dense_algebra.h"

namespace vorlan::conic {

class Face {
 public:
  // All matrices of the order where the vector is empty.
  Face(size_t dimension, const std::vector<double>& null);

  size_t dimension() const { return dimension_; }
  size_t order() const { return is_whole() ? dimension_ : dimension_ - 1; }
  bool is_whole() const { return reflection_.empty(); }

  // out = V'MV of a symmetric M.
  void restrict_to(const DenseMatrix& matrix, DenseMatrix* out) const;
  // out = V M.
  void embed(const DenseMatrix& matrix, DenseMatrix* out) const;
  // The matrix V V'.
  DenseMatrix projection() const;

  // How much is missing to q'Mq, with q the unit vector on which the face vanishes, for M to be
  // semidefinite where its part in the face is; up to `lacking` times the largest element of that.
  double missing_along_null(const DenseAlgebra& algebra, const DenseMatrix& matrix,
                            double lacking) const;

 private:
  void reflect_both(DenseMatrix* matrix) const;

  size_t dimension_;
  std::vector<double> reflection_;  // h of I - 2 h h'; of unit length
};

}  // namespace vorlan::conic
