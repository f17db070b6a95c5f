// The form in which the conic method takes a model:
//
//   minimize    1/2 x'Px + q'x + <C, X>
//   subject to  A x + <A_i, X> = b
//               sign_k x_(var_k) - bound_k >= 0   for each bound k
//               x_J in K                          for each cone, a variable in one cone at most
//               X_j positive semidefinite
//
// Its dual has multipliers y of the equations, z >= 0 of the bounds, z_J in the dual cones, and
// Z_j positive semidefinite:
//
//   P x + q - A'y - G'z - E'z_J = 0,   C - sum_i y_i A_i - Z = 0.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "task/model.h"
#include "task/numeric.h"

namespace vorlan::conic {

// Compressed columns.
struct Columns {
  int32_t num_row = 0;
  std::vector<int64_t> start = {0};
  std::vector<int32_t> row;
  std::vector<double> value;

  int32_t num_col() const { return static_cast<int32_t>(start.size()) - 1; }
};

Columns transpose(const Columns& matrix);
// y += factor * A x.
void add_product(const Columns& a, double factor, std::span<const double> x, std::span<double> y);
// y += factor * A'x.
void add_transposed_product(const Columns& a, double factor, std::span<const double> x,
                            std::span<double> y);

struct Bound {
  int32_t var;
  double sign;  // +1: lower, -1: upper
  double value;
};

struct ConeBlock {
  ConeKind kind;
  std::vector<int32_t> vars;
  std::vector<double> exponents;  // of power cones, positive, sum 1
  // Of exponential cones and their duals: the first member counts in units of 2^head_exponent times
  // those of the others.
  int32_t head_exponent = 0;
};

// Takes a cone's members out of an array by variable.
void gather(const ConeBlock& block, const std::vector<double>& from, std::vector<double>* members);
// Writes a cone's members into an array by variable.
void scatter(const ConeBlock& block, std::span<const double> members, std::vector<double>* to);

// The elements of an A_i in one matrix variable, lower triangle.
struct MatrixPart {
  int32_t row;  // of A
  std::vector<TriangleEntry> entries;
};

// The equation sign v'Xv = 0 of a matrix variable: X v = 0 then, and X has no interior but that of a
// face (facial_reduction.h).
struct NullEquation {
  int32_t row = -1;  // -1: there is none
  double sign = 1.0;
  std::vector<double> vector;
};

struct MatrixBlock {
  int32_t dimension = 0;
  std::vector<TriangleEntry> cost;
  std::vector<MatrixPart> parts;  // by ascending row, one a row
  NullEquation null = {};         // not among the parts

  // The order of the matrices that the face consists of.
  int32_t face_order() const { return null.row < 0 ? dimension : dimension - 1; }
};

struct ConicProblem {
  Columns quadratic;  // P in full, both triangles
  std::vector<double> cost;
  Columns matrix;  // A
  std::vector<double> rhs;
  std::vector<double> rhs_size;  // the largest term that went into each, for its rounding error
  std::vector<Bound> bounds;
  std::vector<ConeBlock> cones;
  std::vector<MatrixBlock> matrices;
  // A cone stands for a quadratic constraint. The answer's duals are read off its members then,
  // which the gap alone determines to no more than half of its digits: they agree on the central
  // path.
  bool has_quadratic_rows = false;
  // Matrix variables are parts of larger ones, with equations where they overlap: the equations of
  // the steps are sparse then.
  bool has_overlaps = false;

  int32_t num_var() const { return static_cast<int32_t>(cost.size()); }
  int32_t num_row() const { return static_cast<int32_t>(rhs.size()); }
  // The elements of the cones' duals by variable: none where there are no cones.
  size_t num_cone_duals() const { return cones.empty() ? 0 : cost.size(); }
  // Whether there are but linear terms, equations and bounds.
  bool is_linear() const { return quadratic.row.empty() && cones.empty() && matrices.empty(); }
};

}  // namespace vorlan::conic
