// The blocks that variables and constraints of a CBF file come in: each is in one cone, which may
// be an interval for each of its members. Power cones take their exponents from tables.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "format/cbf/cbf_reading.h"
#include "task/model.h"

namespace vorlan {

// The set that the members of a block are in: an interval each, or a cone together.
struct CbfDomain {
  double lower = 0.0, upper = 0.0;
  bool is_cone = false;
  ConeKind kind = ConeKind::kQuadratic;
  const std::vector<double>* exponents = nullptr;  // of the table, which stays as it is
};

struct CbfBlock {
  CbfDomain domain;
  int32_t begin, size;
};

class CbfBlocks {
 public:
  // The reading is borrowed.
  explicit CbfBlocks(CbfReading* reading) : reading_(*reading), lines_(reading->lines) {}

  // The functions return false after a failure, which the lines then have.

  // The items POWCONES and POW*CONES.
  bool read_power_cones() { return read_table(&power_cones_); }
  bool read_dual_power_cones() { return read_table(&dual_power_cones_); }

  // The blocks of VAR or CON, whose members are called by the noun and take so many bytes each.
  bool read(const char* noun, int64_t bytes_each, std::vector<CbfBlock>* blocks);

 private:
  using PowerTable = std::vector<std::vector<double>>;

  bool read_table(PowerTable* table);
  bool read_exponents(PowerTable* table, int64_t* left);
  bool read_block(int64_t begin, int64_t count, std::vector<CbfBlock>* blocks);
  bool read_domain(CbfDomain* domain);
  bool read_power_domain(std::string_view word, CbfDomain* domain);
  bool check_size(std::string_view word, CbfBlock* block);

  CbfReading& reading_;
  FieldLines& lines_;
  PowerTable power_cones_, dual_power_cones_;
};

}  // namespace vorlan
