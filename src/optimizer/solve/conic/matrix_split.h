// Matrix variables in the parts that their cover finds, and answers back.
//
// A piece of one row becomes a scalar variable with the bound 0, any other one a matrix variable of
// its own. An answer's X is 0 between components. Within a component it is completed to the
// semidefinite matrix of the largest determinant, whose inverse has the pattern of the cliques (R.
// Grone, C. Johnson, E. Sa, H. Wolkowicz, Positive definite completions of partial Hermitian
// matrices, Linear Algebra Appl. 58, 1984): with B = X_oa inv(X_aa) of the own rows o and the
// shared rows a of a piece,
//
//   X_o,later = B X_a,later,   X_oo = B X_aa B' + (the piece's Schur complement of X_aa),
//
// which is semidefinite whatever the equations of the overlaps leave. Z is the sum of the pieces'
// duals.
#pragma once

#include <string>
#include <vector>

#include "solve/conic/conic_answer.h"
#include "solve/conic/conic_problem.h"
#include "solve/conic/equilibration.h"
#include "solve/conic/matrix_cover.h"

namespace vorlan::conic {

class MatrixSplit {
 public:
  // Splits the problem's matrix variables where that leaves smaller ones.
  void apply(Cover kind, ConicProblem* problem);

  // A matrix variable became more than one, or a scalar variable.
  bool is_split() const { return num_split_ > 0; }
  // Pieces overlap: it takes equations to make them parts of one matrix.
  bool has_overlaps() const { return num_equations_ > 0; }
  // What was found, for the log.
  std::string description() const;

  // Takes the answer and the scaling of the problem with pieces to those of the problem without:
  // matrix variables are in its order, and their congruences are 1 then. Scalar variables and
  // equations that were added stay, behind the others.
  void restore(Equilibration* scaling, InteriorPoint* point) const;

 private:
  struct Piece {
    CoverPiece cover;
    std::vector<int32_t> rows;  // of the whole matrix: shared and own ones, ascending
    size_t matrix = 0;          // of the problem with pieces
    int32_t var = -1;           // its scalar variable, if it is one
    size_t bound = 0;           // of that
  };
  struct Whole {
    int32_t dimension = 0;
    bool is_split = false;
    size_t matrix = 0;  // of the problem with pieces, where it is not split
    std::vector<Piece> pieces;
  };
  void split(const MatrixBlock& block, const MatrixCover& cover, ConicProblem* problem);
  void add_scalar(const MatrixBlock& block, Piece* piece, ConicProblem* problem);
  static DenseMatrix restore_primal(const Whole& whole, const Equilibration& scaling,
                                    const InteriorPoint& point,
                                    const std::vector<DenseMatrix>& parts);
  static DenseMatrix restore_dual(const Whole& whole, const Equilibration& scaling,
                                  const InteriorPoint& point,
                                  const std::vector<DenseMatrix>& parts);
  void add_overlaps(const std::vector<Piece>& pieces, ConicProblem* problem);

  std::vector<Whole> wholes_;
  size_t num_split_ = 0;
  size_t num_scalars_ = 0;
  size_t num_pieces_ = 0;
  int32_t largest_whole_ = 0;
  int32_t largest_piece_ = 0;
  size_t num_equations_ = 0;
};

}  // namespace vorlan::conic
