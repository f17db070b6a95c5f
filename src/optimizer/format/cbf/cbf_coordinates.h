// The coordinates of a CBF file: the numbers of the objective, the constraints and the matrix
// constraints, each with its place.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "format/cbf/cbf_reading.h"
#include "format/cbf/cbf_structure.h"
#include "format/common/coordinates.h"

namespace vorlan {

class CbfCoordinates {
 public:
  // Both are borrowed.
  CbfCoordinates(CbfReading* reading, CbfStructure* structure)
      : reading_(*reading), lines_(reading->lines), structure_(*structure) {}

  // The structure is complete from here on.
  void begin();

  // The items. They return false after a failure, which the lines then have.
  bool read_objective_matrices() { return read_entries(&CbfCoordinates::read_objective_matrix); }
  bool read_costs() { return read_entries(&CbfCoordinates::read_cost); }
  bool read_constant();
  bool read_coefficient_matrices() {
    return read_entries(&CbfCoordinates::read_coefficient_matrix);
  }
  bool read_coefficients() { return read_entries(&CbfCoordinates::read_coefficient); }
  bool read_offsets() { return read_entries(&CbfCoordinates::read_offset); }
  bool read_matrix_rows() { return read_entries(&CbfCoordinates::read_matrix_row); }
  bool read_matrix_offsets() { return read_entries(&CbfCoordinates::read_matrix_offset); }

  // Moves the elements into the model. Fails where a place is given twice.
  bool finish();

 private:
  bool read_entries(bool (CbfCoordinates::*read_entry)());
  bool read_objective_matrix();
  bool read_cost();
  bool read_coefficient_matrix();
  bool read_coefficient();
  bool read_offset();
  bool read_matrix_row();
  bool read_matrix_offset();

  bool take_constraint(int32_t* con);
  bool take_matrix_element(int32_t con);
  bool take_matrix_constraint(const CbfMatrixConstraint** constraint);
  bool take_place(const CbfMatrixConstraint& constraint, int32_t* con);
  bool take_offset_of(int32_t con, std::string_view word);

  CbfReading& reading_;
  FieldLines& lines_;
  CbfStructure& structure_;
  std::vector<bool> has_cost_, has_offset_;
  MatrixCoordinates elements_;
  TriangleCoordinates matrix_elements_;
};

}  // namespace vorlan
