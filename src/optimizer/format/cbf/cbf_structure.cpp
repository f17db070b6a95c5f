// Reading the structure; see cbf_structure.h.
#include "format/cbf/cbf_structure.h"

#include <utility>

#include "task/numeric.h"
#include "task/packed_matrices.h"

namespace vorlan {
namespace {

// A conic constraint has a slack variable with a coefficient, in a cone; an element of a matrix
// constraint has an equation with a coefficient of the matrix variable. Coefficients are kept with
// their lines, too, until the end.
constexpr int64_t kBytesOfSlack = kBytesOfVariable + 64;
constexpr int64_t kBytesOfMatrixRow = kBytesOfConstraint + 96;

int64_t triangle_size(int32_t dimension) {
  return static_cast<int64_t>(packed_size(index(dimension)));
}

}  // namespace

bool CbfStructure::read_matrix_variables() {
  int32_t count = 0;
  if (!reading_.require_line("the number of matrix variables")) return false;
  if (!reading_.take_count(CbfReading::kMost, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t dimension = 0;
    if (!read_dimension(&dimension, kBytesOfMatrixElement)) return false;
    reading_.model.matrix_vars.push_back({dimension});
  }
  num_matrix_var_ = count;
  return true;
}

bool CbfStructure::read_matrix_constraints() {
  int32_t count = 0;
  if (!reading_.require_line("the number of matrix constraints")) return false;
  if (!reading_.take_count(CbfReading::kMost, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t dimension = 0;
    if (!read_dimension(&dimension, kBytesOfMatrixRow + kBytesOfMatrixElement)) return false;
    matrix_cons_.push_back({dimension, 0});
  }
  return true;
}

bool CbfStructure::read_dimension(int32_t* dimension, int64_t bytes_each) {
  return reading_.require_line("a dimension") &&
         lines_.take_integer("a dimension", 1, CbfReading::kMost, dimension) &&
         lines_.expect_end() && reading_.declare(triangle_size(*dimension), bytes_each);
}

bool CbfStructure::read_variables() {
  std::vector<CbfBlock> blocks;
  if (!blocks_.read("variable", kBytesOfVariable, &blocks)) return false;
  for (const CbfBlock& block : blocks) {
    add_variables(block.size, block.domain.lower, block.domain.upper);
    if (block.domain.is_cone) add_cone(block.domain, block.begin, block.size);
  }
  num_var_ = reading_.model.num_var();
  return true;
}

bool CbfStructure::read_constraints() {
  if (!blocks_.read("constraint", kBytesOfConstraint, &con_blocks_)) return false;
  for (const CbfBlock& block : con_blocks_) {
    const CbfDomain& domain = block.domain;
    if (domain.is_cone && !reading_.declare(block.size, kBytesOfSlack)) return false;
    add_constraints(block.size, domain.is_cone ? 0.0 : domain.lower,
                    domain.is_cone ? 0.0 : domain.upper);
  }
  num_con_ = reading_.model.num_con();
  return true;
}

bool CbfStructure::read_integers() {
  int32_t count = 0;
  if (!reading_.require_line("the number of integer variables")) return false;
  if (!reading_.take_count(num_var_, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t var = 0;
    if (!reading_.require_line("the index of a variable") || !take_variable(&var)) return false;
    if (!lines_.expect_end()) return false;
    reading_.model.var_kind[index(var)] = VarKind::kInteger;
  }
  return true;
}

void CbfStructure::add_variables(int32_t count, double lower, double upper) {
  Model& model = reading_.model;
  const size_t size = model.cost.size() + index(count);
  model.cost.resize(size, 0.0);
  model.var_lower.resize(size, lower);
  model.var_upper.resize(size, upper);
  model.var_kind.resize(size, VarKind::kContinuous);
}

void CbfStructure::add_constraints(int32_t count, double lower, double upper) {
  Model& model = reading_.model;
  const size_t size = model.con_lower.size() + index(count);
  model.con_lower.resize(size, lower);
  model.con_upper.resize(size, upper);
}

void CbfStructure::add_cone(const CbfDomain& domain, int32_t begin, int32_t size) {
  Cone cone = {domain.kind, {}, {}};
  if (domain.exponents != nullptr) cone.exponents = *domain.exponents;
  cone.vars.resize(index(size));
  for (int32_t i = 0; i < size; ++i) cone.vars[index(i)] = begin + i;
  reading_.model.cones.push_back(std::move(cone));
}

void CbfStructure::add_helpers(MatrixCoordinates* elements, TriangleCoordinates* matrix_elements) {
  add_slacks(elements);
  add_equations(matrix_elements);
}

void CbfStructure::add_slacks(MatrixCoordinates* elements) {
  for (const CbfBlock& block : con_blocks_) {
    if (!block.domain.is_cone) continue;
    const int32_t first = reading_.model.num_var();
    add_variables(block.size, block.domain.lower, block.domain.upper);
    add_cone(block.domain, first, block.size);
    for (int32_t i = 0; i < block.size; ++i) {
      elements->add_own(block.begin + i, first + i, -1.0);
    }
  }
}

// A coefficient off the diagonal counts at both places.
void CbfStructure::add_equations(TriangleCoordinates* matrix_elements) {
  for (CbfMatrixConstraint& constraint : matrix_cons_) {
    const int32_t matrix_var = reading_.model.num_matrix_var();
    const int32_t dimension = constraint.dimension;
    reading_.model.matrix_vars.push_back({dimension});
    constraint.first_row = reading_.model.num_con();
    int32_t con = constraint.first_row;
    add_constraints(static_cast<int32_t>(triangle_size(dimension)), 0.0, 0.0);
    for (int32_t col = 0; col < dimension; ++col) {
      for (int32_t row = col; row < dimension; ++row, ++con) {
        matrix_elements->add(con, matrix_var, row, col, row == col ? -1.0 : -0.5,
                             lines_.line_number());
      }
    }
  }
}

}  // namespace vorlan
