// The reader of CBF files: structure (cbf_reader_structure.cpp) and coordinates (cbf_reader.cpp).
//
// Our model has cones of variables and two-sided constraints. So a constraint in another cone than
// a linear one gets a slack variable, A x + b - s = 0, and its block becomes a cone of slacks; a
// constraint that a symmetric matrix is positive semidefinite gets a matrix variable, with an
// equation for each element of the lower triangle. They stand behind what the file declares.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/common/coordinates.h"
#include "format/common/declared_memory.h"
#include "format/common/field_lines.h"
#include "format/common/format.h"

namespace vorlan {

class CbfReader {
 public:
  CbfReader(InputStream* input, const ReadLimits& limits, Model* model, Warnings* warnings);
  Status read();

 private:
  // Structure stands before the coordinates.
  enum class Group : uint8_t { kAnywhere, kStructure, kCoordinates };
  struct Item {
    std::string_view keyword;
    Group group;
    bool (CbfReader::*read)();
  };
  static const Item kItems[];

  // What the members of a block are in: an interval each, or a cone together.
  struct Domain {
    double lower = 0.0, upper = 0.0;
    bool is_cone = false;
    ConeKind kind = ConeKind::kQuadratic;
    const std::vector<double>* exponents = nullptr;
  };
  struct Block {
    Domain domain;
    int32_t begin, size;
  };
  struct MatrixConstraint {
    int32_t dimension, first_row;
  };
  using PowerTable = std::vector<std::vector<double>>;

  bool next_line();
  bool require_line(const char* what);
  bool read_items();
  bool read_item();
  bool begin_item(const Item& item, std::string_view word);
  bool finish();

  bool read_version();
  bool read_sense();
  bool read_power_cones();
  bool read_dual_power_cones();
  bool read_power_table(PowerTable* table);
  bool read_exponents(PowerTable* table, int64_t* left);
  bool read_matrix_variables();
  bool read_matrix_constraints();
  bool read_variables();
  bool read_constraints();
  bool read_integers();
  bool read_foreign();
  bool read_changes();
  bool read_blocks(const char* what, int64_t bytes_each, std::vector<Block>* blocks);
  bool read_block(int64_t begin, int64_t count, std::vector<Block>* blocks);
  bool read_domain(Domain* domain);
  bool read_power_domain(std::string_view word, Domain* domain);
  bool check_size(std::string_view word, Block* block);
  bool read_dimension(int32_t* dimension, int64_t bytes_each);
  bool declare_many(int64_t count, int64_t bytes_each);

  void begin_coordinates();
  void add_variables(int32_t count, double lower, double upper);
  void add_constraints(int32_t count, double lower, double upper);
  void add_cone(const Domain& domain, int32_t begin, int32_t size);
  void add_slacks();
  void add_matrix_constraints();

  bool read_entries(bool (CbfReader::*read_entry)());
  bool read_objective_matrices() { return read_entries(&CbfReader::read_objective_matrix); }
  bool read_costs() { return read_entries(&CbfReader::read_cost); }
  bool read_constant();
  bool read_coefficient_matrices() { return read_entries(&CbfReader::read_coefficient_matrix); }
  bool read_coefficients() { return read_entries(&CbfReader::read_coefficient); }
  bool read_offsets() { return read_entries(&CbfReader::read_offset); }
  bool read_matrix_rows() { return read_entries(&CbfReader::read_matrix_row); }
  bool read_matrix_offsets() { return read_entries(&CbfReader::read_matrix_offset); }
  bool read_objective_matrix();
  bool read_cost();
  bool read_coefficient_matrix();
  bool read_coefficient();
  bool read_offset();
  bool read_matrix_row();
  bool read_matrix_offset();

  bool take_count(int64_t most, int32_t* value);
  bool take_variable(int32_t* var);
  bool take_constraint(int32_t* con);
  bool take_triangle(int32_t dimension, int32_t* row, int32_t* col);
  bool take_matrix_element(int32_t con);
  bool take_matrix_constraint(const MatrixConstraint** constraint);
  bool take_place(const MatrixConstraint& constraint, int32_t* con);
  bool take_offset_of(int32_t con, std::string_view word);

  FieldLines lines_;
  Model* model_;
  Warnings* warnings_;

  std::vector<bool> seen_;  // by item
  bool begun_ = false;      // the coordinates
  bool ended_ = false;
  DeclaredMemory declared_;
  PowerTable power_cones_, dual_power_cones_;
  std::vector<Block> con_blocks_;
  std::vector<MatrixConstraint> matrix_cons_;
  int32_t num_var_ = 0;  // that the file declares
  int32_t num_con_ = 0;
  int32_t num_matrix_var_ = 0;
  std::vector<bool> has_cost_, has_offset_;
  MatrixCoordinates elements_;
  TriangleCoordinates matrix_elements_;
};

}  // namespace vorlan
