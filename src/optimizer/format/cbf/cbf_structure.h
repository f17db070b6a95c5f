// The structure of a CBF file: which variables, constraints and cones there are.
//
// Our model has cones of variables and two-sided constraints. So a constraint in another cone than
// a linear one gets a slack variable, A x + b - s = 0, and its block becomes a cone of slacks; a
// constraint that a symmetric matrix is positive semidefinite gets a matrix variable, with an
// equation for each element of the lower triangle. They stand behind what the file declares.
#pragma once

#include <cstdint>
#include <vector>

#include "format/cbf/cbf_blocks.h"
#include "format/cbf/cbf_reading.h"
#include "format/common/coordinates.h"

namespace vorlan {

struct CbfMatrixConstraint {
  int32_t dimension, first_row;
};

class CbfStructure {
 public:
  // The reading is borrowed.
  explicit CbfStructure(CbfReading* reading)
      : reading_(*reading), lines_(reading->lines), blocks_(reading) {}

  // The items. They return false after a failure, which the lines then have.
  bool read_power_cones() { return blocks_.read_power_cones(); }
  bool read_dual_power_cones() { return blocks_.read_dual_power_cones(); }
  bool read_matrix_variables();
  bool read_matrix_constraints();
  bool read_variables();
  bool read_constraints();
  bool read_integers();

  // The numbers that the file has declared.
  int32_t num_var() const { return num_var_; }
  int32_t num_con() const { return num_con_; }
  int32_t num_matrix_var() const { return num_matrix_var_; }
  const std::vector<CbfMatrixConstraint>& matrix_constraints() const { return matrix_cons_; }

  // Takes the index of a variable of the file.
  bool take_variable(int32_t* var) {
    return lines_.take_integer("the index of a variable", 0, int64_t{num_var_} - 1, var);
  }

  // Adds slacks, matrix variables and equations for what the model does not have, and their
  // coefficients to the elements. No item of the structure comes after this.
  void add_helpers(MatrixCoordinates* elements, TriangleCoordinates* matrix_elements);

 private:
  bool read_dimension(int32_t* dimension, int64_t bytes_each);
  void add_variables(int32_t count, double lower, double upper);
  void add_constraints(int32_t count, double lower, double upper);
  void add_cone(const CbfDomain& domain, int32_t begin, int32_t size);
  void add_slacks(MatrixCoordinates* elements);
  void add_equations(TriangleCoordinates* matrix_elements);

  CbfReading& reading_;
  FieldLines& lines_;
  CbfBlocks blocks_;
  std::vector<CbfBlock> con_blocks_;
  std::vector<CbfMatrixConstraint> matrix_cons_;
  int32_t num_var_ = 0, num_con_ = 0, num_matrix_var_ = 0;
};

}  // namespace vorlan
