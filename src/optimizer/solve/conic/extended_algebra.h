// Dense linear algebra in extended precision (double_double.h) for extended_method.h: products, the
// factors of Cholesky, and those of a general square matrix.
//
// Each of them is a sequence of sums y += a x of columns, the one loop that takes the time. With
// AVX2 and FMA it does four elements at a time, by the operations of a single one: the results are
// those of any other processor to the last bit, unless a product leaves the range of doubles.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "solve/conic/double_double.h"

namespace vorlan::conic {

using ExtendedMatrix = Eigen::Matrix<DoubleDouble, Eigen::Dynamic, Eigen::Dynamic>;
using ExtendedVector = Eigen::Matrix<DoubleDouble, Eigen::Dynamic, 1>;

// to_i += factor from_i.
void add_multiple(DoubleDouble factor, const DoubleDouble* from, Eigen::Index count,
                  DoubleDouble* to);
// The same element by element, on any processor.
void add_multiple_by_elements(DoubleDouble factor, const DoubleDouble* from, Eigen::Index count,
                              DoubleDouble* to);

ExtendedMatrix multiply(const ExtendedMatrix& a, const ExtendedMatrix& b);

// The lower triangle L with L L' = A.
class ExtendedCholesky {
 public:
  // False: the matrix is not positive definite.
  bool compute(const ExtendedMatrix& matrix);
  // inv(L) B.
  ExtendedMatrix divide(ExtendedMatrix b) const;

 private:
  ExtendedMatrix l_;
};

// Factors with partial pivoting.
class ExtendedLu {
 public:
  void compute(ExtendedMatrix matrix);
  ExtendedVector solve(ExtendedVector rhs) const;

 private:
  ExtendedMatrix factors_;
  std::vector<Eigen::Index> swapped_;  // with the row of this step
};

}  // namespace vorlan::conic
