// How far a symmetric matrix M is from positive semidefinite: the least t with which
// M + t diag(max(least, |M_ii|)) is, up to 1, which stands for all that is more. So each element of
// the diagonal is held relative to its own size, as a variable is to a bound; least is 1, or less
// where all data are far below 1.
//
// Cholesky factorizations decide; a matrix that passes costs one of them, others a few. What they
// may be wrong by themselves, about 1e-14 (1e-13 at a dimension of 1000), is seen as 0.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace vorlan {

// The matrix is a packed lower triangle, column by column.
double indefiniteness(std::span<const double> packed, size_t dimension, double least = 1.0);

// Likewise with the sizes of the diagonal given in place of max(least, |M_ii|). A row of size 0
// counts as a row of zeros: the caller has checked that its elements vanish.
double indefiniteness(std::span<const double> packed, std::span<const double> sizes);

// An element of a sparse symmetric matrix, row >= col; elements of one place are summed.
struct SymmetricElement {
  int row, col;
  double value;
};

// The matrix is sparse; rows and columns without elements cost nothing. The sizes are one for each
// row that elements name.
double indefiniteness(const std::vector<SymmetricElement>& elements);
double indefiniteness(const std::vector<SymmetricElement>& elements,
                      const std::vector<double>& sizes);

}  // namespace vorlan
