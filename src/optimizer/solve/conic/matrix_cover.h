// Parts of a matrix variable outside which the objective and all equations have no element.
//
// An element of X that no matrix has matters only in that X must be semidefinite. So X may be
// replaced by some of its principal submatrices that have all other elements: by those of the
// connected components of the pattern, beside which X is 0, and within a component by those of the
// cliques of a chordal graph around the pattern (M. Fukuda, M. Kojima, K. Murota, K. Nakata,
// Exploiting sparsity in semidefinite programming via matrix completion I, SIAM J. Optim. 11,
// 2000). Cliques overlap, and equations hold their elements there together. They make larger
// systems of smaller matrices: counts of the work say whether that pays, and which cliques are
// better one.
#pragma once

#include <cstdint>
#include <vector>

#include "solve/conic/conic_problem.h"

namespace vorlan::conic {

struct CoverPiece {
  std::vector<int32_t> own;     // rows that no later piece has, ascending
  std::vector<int32_t> shared;  // rows that a later piece, the parent, has too, ascending
  int32_t parent = -1;          // -1: no row is shared
};

// A row's own piece is the first one that has it. Two rows of one element are in the piece that
// comes first of their own ones.
struct MatrixCover {
  std::vector<CoverPiece> pieces;
  std::vector<int32_t> piece_of_row;  // its own piece; -1: the row has no element
};

// Components alone, or cliques of large components as well where that is less work.
enum class Cover { kComponents, kCliques };

MatrixCover find_cover(const MatrixBlock& block, Cover kind);

}  // namespace vorlan::conic
