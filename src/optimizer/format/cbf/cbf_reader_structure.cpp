// The structure of CBF files: what variables, constraints and cones there are; see cbf_reader.h.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "format/cbf/cbf_reader.h"
#include "format/cbf/cbf_words.h"
#include "task/packed_matrices.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr int64_t kMost = std::numeric_limits<int32_t>::max();

// A conic constraint has a slack variable with a coefficient, in a cone; an element of a matrix
// constraint has an equation with a coefficient of the matrix variable. Coefficients are kept with
// their lines, too, until the end.
constexpr int64_t kBytesOfSlack = kBytesOfVariable + 64;
constexpr int64_t kBytesOfMatrixRow = kBytesOfConstraint + 96;

int64_t triangle_size(int32_t dimension) {
  return static_cast<int64_t>(packed_size(static_cast<size_t>(dimension)));
}

}  // namespace

// A file may declare little more than it has data for.
bool CbfReader::declare_many(int64_t count, int64_t bytes_each) {
  return declared_.add(count, bytes_each) || lines_.fail_line(declared_.message());
}

bool CbfReader::read_version() {
  int32_t version = 0;
  return require_line("the version") &&
         lines_.take_integer("a version of the format", 1, kCbfLastVersion, &version) &&
         lines_.expect_end();
}

bool CbfReader::read_sense() {
  if (!require_line("MIN or MAX")) return false;
  const std::string_view word = lines_.take_word();
  if (word != "MIN" && word != "MAX") return lines_.fail(word, "MIN or MAX was expected");
  model_->maximize = word == "MAX";
  return lines_.expect_end();
}

bool CbfReader::read_power_cones() { return read_power_table(&power_cones_); }

bool CbfReader::read_dual_power_cones() { return read_power_table(&dual_power_cones_); }

// COUNT TOTAL, then for each the number of its exponents and these, one a line.
bool CbfReader::read_power_table(PowerTable* table) {
  int32_t count = 0;
  int32_t total = 0;
  if (!require_line("the number of power cones")) return false;
  if (!take_count(kMost, &count) || !take_count(kMost, &total) || !lines_.expect_end()) {
    return false;
  }
  int64_t left = total;
  for (int32_t i = 0; i < count; ++i) {
    if (!read_exponents(table, &left)) return false;
  }
  return left == 0 || lines_.fail_line(format_text("%lld exponents less than announced",
                                                   static_cast<long long>(left)));
}

bool CbfReader::read_exponents(PowerTable* table, int64_t* left) {
  int32_t count = 0;
  if (!require_line("the number of exponents")) return false;
  if (!lines_.take_integer("a number of exponents", 1, *left, &count) || !lines_.expect_end()) {
    return false;
  }
  *left -= count;
  table->emplace_back();
  for (int32_t i = 0; i < count; ++i) {
    double exponent = 0.0;
    if (!require_line("an exponent")) return false;
    const std::string_view word = lines_.rest();
    if (!lines_.take_number(&exponent)) return false;
    if (exponent <= 0.0) return lines_.fail(word, "an exponent must be positive");
    if (!lines_.expect_end()) return false;
    table->back().push_back(exponent);
  }
  return true;
}

bool CbfReader::read_matrix_variables() {
  int32_t count = 0;
  if (!require_line("the number of matrix variables")) return false;
  if (!take_count(kMost, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t dimension = 0;
    if (!read_dimension(&dimension, kBytesOfMatrixElement)) return false;
    model_->matrix_vars.push_back({dimension});
  }
  num_matrix_var_ = count;
  return true;
}

bool CbfReader::read_matrix_constraints() {
  int32_t count = 0;
  if (!require_line("the number of matrix constraints")) return false;
  if (!take_count(kMost, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t dimension = 0;
    if (!read_dimension(&dimension, kBytesOfMatrixRow + kBytesOfMatrixElement)) return false;
    matrix_cons_.push_back({dimension, 0});
  }
  return true;
}

bool CbfReader::read_dimension(int32_t* dimension, int64_t bytes_each) {
  return require_line("a dimension") && lines_.take_integer("a dimension", 1, kMost, dimension) &&
         lines_.expect_end() && declare_many(triangle_size(*dimension), bytes_each);
}

bool CbfReader::read_variables() {
  std::vector<Block> blocks;
  if (!read_blocks("variables", kBytesOfVariable, &blocks)) return false;
  for (const Block& block : blocks) {
    add_variables(block.size, block.domain.lower, block.domain.upper);
    if (block.domain.is_cone) add_cone(block.domain, block.begin, block.size);
  }
  num_var_ = model_->num_var();
  has_cost_.resize(model_->cost.size());
  return true;
}

bool CbfReader::read_constraints() {
  if (!read_blocks("constraints", kBytesOfConstraint, &con_blocks_)) return false;
  for (const Block& block : con_blocks_) {
    if (block.domain.is_cone && !declare_many(block.size, kBytesOfSlack)) return false;
    const Domain& domain = block.domain;
    add_constraints(block.size, domain.is_cone ? 0.0 : domain.lower,
                    domain.is_cone ? 0.0 : domain.upper);
  }
  num_con_ = model_->num_con();
  return true;
}

bool CbfReader::read_integers() {
  int32_t count = 0;
  if (!require_line("the number of integer variables")) return false;
  if (!take_count(num_var_, &count) || !lines_.expect_end()) return false;
  for (int32_t i = 0; i < count; ++i) {
    int32_t var = 0;
    if (!require_line("the index of a variable") || !take_variable(&var)) return false;
    if (!lines_.expect_end()) return false;
    model_->var_kind[static_cast<size_t>(var)] = VarKind::kInteger;
  }
  return true;
}

bool CbfReader::read_foreign() {
  return lines_.fail_line("an item of this kind cannot be taken: matrices of rank one");
}

// What follows are further problems, told as changes of this one.
bool CbfReader::read_changes() {
  warnings_->add(format_text("%s:%lld: the problem before CHANGE is read, the changes are not",
                             lines_.shown_name().c_str(),
                             static_cast<long long>(lines_.line_number())));
  ended_ = true;
  return true;
}

// COUNT BLOCKS, then the cone and the size of each block.
bool CbfReader::read_blocks(const char* what, int64_t bytes_each, std::vector<Block>* blocks) {
  int32_t count = 0;
  int32_t num_blocks = 0;
  if (!require_line(format_text("the number of %s", what).c_str())) return false;
  if (!take_count(kMost, &count) || !declare_many(count, bytes_each)) return false;
  if (!take_count(count, &num_blocks) || !lines_.expect_end()) return false;
  int64_t begin = 0;
  for (int32_t i = 0; i < num_blocks; ++i) {
    if (!read_block(begin, count, blocks)) return false;
    begin += blocks->back().size;
  }
  return begin == count ||
         lines_.fail_line(format_text("the blocks have %lld %s, but %d were announced",
                                      static_cast<long long>(begin), what, count));
}

bool CbfReader::read_block(int64_t begin, int64_t count, std::vector<Block>* blocks) {
  Block block = {};
  block.begin = static_cast<int32_t>(begin);
  if (!require_line("a cone") || !read_domain(&block.domain)) return false;
  const std::string_view word = lines_.rest();
  if (!lines_.take_integer("the size of a block", 1, count - begin, &block.size)) return false;
  if (!check_size(word, &block) || !lines_.expect_end()) return false;
  blocks->push_back(block);
  return true;
}

bool CbfReader::read_domain(Domain* domain) {
  const std::string_view word = lines_.take_word();
  for (const CbfLinearCone& linear : kCbfLinearCones) {
    if (linear.word != word) continue;
    domain->lower = linear.lower;
    domain->upper = linear.upper;
    return true;
  }
  domain->is_cone = true;
  domain->lower = -std::numeric_limits<double>::infinity();
  domain->upper = std::numeric_limits<double>::infinity();
  if (word.starts_with('@')) return read_power_domain(word, domain);
  for (const CbfCone& cone : kCbfCones) {
    if (cone.word != word || is_power(cone.kind)) continue;
    domain->kind = cone.kind;
    return true;
  }
  return lines_.fail(word, is_vectorized_cone(word)
                               ? "a cone of version 4, which cannot be taken: for the order of its "
                                 "members no two programs vouch"
                               : "the name of a cone was expected");
}

// "@K:POW"
bool CbfReader::read_power_domain(std::string_view word, Domain* domain) {
  const size_t colon = word.find(':');
  const std::string_view name = colon == std::string_view::npos ? "" : word.substr(colon + 1);
  const auto* const cone =
      std::find_if(std::begin(kCbfCones), std::end(kCbfCones),
                   [name](const CbfCone& c) { return c.word == name && is_power(c.kind); });
  int32_t index = 0;
  if (cone == std::end(kCbfCones) || !parse_int32(word.substr(1, colon - 1), &index)) {
    return lines_.fail(word, "the name of a cone was expected");
  }
  const PowerTable& table = cone->kind == ConeKind::kPower ? power_cones_ : dual_power_cones_;
  if (index < 0 || index >= static_cast<int64_t>(table.size())) {
    return lines_.fail(word, "the exponents of this power cone are not there before this");
  }
  domain->kind = cone->kind;
  domain->exponents = &table[static_cast<size_t>(index)];
  return true;
}

bool CbfReader::check_size(std::string_view word, Block* block) {
  Domain* domain = &block->domain;
  if (!domain->is_cone) return true;
  size_t least = 1;
  size_t most = kMost;
  switch (domain->kind) {
    case ConeKind::kQuadratic:
      break;
    case ConeKind::kRotatedQuadratic:
      least = 2;
      break;
    case ConeKind::kExponential:
    case ConeKind::kDualExponential:
      least = most = 3;
      break;
    case ConeKind::kPower:
    case ConeKind::kDualPower:
      least = domain->exponents->size();
      break;
  }
  const auto size = static_cast<size_t>(block->size);
  if (size >= least && size <= most) {
    // A quadratic cone of one member is the non-negative numbers.
    if (domain->kind == ConeKind::kQuadratic && size == 1) {
      domain->is_cone = false;
      domain->lower = 0.0;
    }
    return true;
  }
  return lines_.fail(word, format_text("a cone of this kind has %s%zu members",
                                       least == most ? "" : "at least ", least));
}

void CbfReader::add_variables(int32_t count, double lower, double upper) {
  const size_t size = model_->cost.size() + static_cast<size_t>(count);
  model_->cost.resize(size, 0.0);
  model_->var_lower.resize(size, lower);
  model_->var_upper.resize(size, upper);
  model_->var_kind.resize(size, VarKind::kContinuous);
}

void CbfReader::add_constraints(int32_t count, double lower, double upper) {
  const size_t size = model_->con_lower.size() + static_cast<size_t>(count);
  model_->con_lower.resize(size, lower);
  model_->con_upper.resize(size, upper);
}

void CbfReader::add_cone(const Domain& domain, int32_t begin, int32_t size) {
  Cone cone = {domain.kind, {}, {}};
  if (domain.exponents != nullptr) cone.exponents = *domain.exponents;
  cone.vars.resize(static_cast<size_t>(size));
  for (int32_t i = 0; i < size; ++i) cone.vars[static_cast<size_t>(i)] = begin + i;
  model_->cones.push_back(std::move(cone));
}

void CbfReader::begin_coordinates() {
  begun_ = true;
  add_slacks();
  add_matrix_constraints();
  has_offset_.resize(model_->con_lower.size());
}

void CbfReader::add_slacks() {
  for (const Block& block : con_blocks_) {
    if (!block.domain.is_cone) continue;
    const int32_t first = model_->num_var();
    add_variables(block.size, block.domain.lower, block.domain.upper);
    add_cone(block.domain, first, block.size);
    for (int32_t i = 0; i < block.size; ++i) {
      elements_.add_own(block.begin + i, first + i, -1.0);
    }
  }
}

// Off the diagonal, a coefficient counts at both places.
void CbfReader::add_matrix_constraints() {
  for (MatrixConstraint& constraint : matrix_cons_) {
    const int32_t matrix_var = model_->num_matrix_var();
    const int32_t dimension = constraint.dimension;
    model_->matrix_vars.push_back({dimension});
    constraint.first_row = model_->num_con();
    int32_t con = constraint.first_row;
    add_constraints(static_cast<int32_t>(triangle_size(dimension)), 0.0, 0.0);
    for (int32_t col = 0; col < dimension; ++col) {
      for (int32_t row = col; row < dimension; ++row, ++con) {
        matrix_elements_.add(con, matrix_var, row, col, row == col ? -1.0 : -0.5,
                             lines_.line_number());
      }
    }
  }
}

}  // namespace vorlan
