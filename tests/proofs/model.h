// A model and the multipliers of an answer as the verifier takes them: plain numbers, always of a
// minimization. Nothing of the optimizer is included here or in any file of this folder.
//
//   minimize    cost'x + 1/2 x'Qx + <C, X> + constant
//   subject to  lower <= a_i'x + 1/2 x'Q_i x + <A_i, X> <= upper for each row,
//               lower <= x <= upper, parts of x in cones, each X positive semidefinite
#pragma once

#include <cstddef>
#include <vector>

namespace proofs {

struct Term {
  size_t var;
  double value;
};

// An element of a lower triangle, row >= col, which stands for the element (col, row) too.
struct Square {
  size_t row, col;
  double value;
};

struct MatrixTerm {
  size_t matrix;
  Square element;
};

struct Row {
  double lower, upper;
  std::vector<Term> terms;
  std::vector<Square> squares;
  std::vector<MatrixTerm> matrix_terms;
};

enum class ConeKind {
  quadratic,         // x0 >= |(x1, x2, ...)|
  rotated,           // 2 x0 x1 >= |(x2, ...)|^2, x0, x1 >= 0
  exponential,       // x0 >= x1 exp(x2 / x1), x1 > 0, and the closure
  dual_exponential,  // x0 >= -x2 exp(x1 / x2 - 1), x2 < 0, and the closure
  power,             // x0^w0 ... xk^wk >= |the others|, x0 ... xk >= 0
  dual_power,        // (x0/w0)^w0 ... (xk/wk)^wk >= |the others|, x0 ... xk >= 0
};

struct Cone {
  ConeKind kind;
  std::vector<size_t> vars;
  std::vector<double> exponents;  // w, but for a common factor
};

struct Model {
  double constant = 0.0;
  std::vector<double> cost, lower, upper;
  std::vector<Square> squares;
  std::vector<MatrixTerm> matrix_cost;
  std::vector<Row> rows;
  std::vector<Cone> cones;
  std::vector<size_t> dimensions;  // of the matrix variables
};

// Of a dual ray or of an optimum. y_i > 0 holds a row to its lower side, y_i < 0 to its upper one.
struct Multipliers {
  std::vector<double> y;      // of the rows
  std::vector<double> cone;   // of the membership of cones, by variable; may be empty
  std::vector<double> point;  // where quadratic terms are taken; may be empty
};

}  // namespace proofs
