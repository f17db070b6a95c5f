// The pairs of a row's name and a number that lines of COLUMNS, RHS and RANGES consist of.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "format/mps/mps_layout.h"
#include "format/mps/mps_reading.h"
#include "format/mps/mps_rows.h"
#include "format/mps/mps_sides.h"

namespace vorlan {

struct MpsEntry {
  int32_t row;  // or MpsRows::kObjective
  RangeValue number;
  std::string_view name;
};

class MpsEntries {
 public:
  // The pairs in a line of the original format; more are taken with a warning.
  static constexpr size_t kUsualPairs = 2;

  // Both are borrowed.
  MpsEntries(MpsReading* reading, const MpsRows* rows) : reading_(*reading), rows_(*rows) {}

  // Finds the rows and numbers of a line, all of them or none. `dialect` is that of parse_double.
  Status find(const MpsLine& line, unsigned dialect);
  std::span<const MpsEntry> all() const { return entries_; }

  // The number that a word stands for. Fortran's exponents are taken with a warning.
  Status find_number(std::string_view word, unsigned dialect, RangeValue* number);

 private:
  MpsReading& reading_;
  const MpsRows& rows_;
  std::vector<MpsEntry> entries_;
  bool said_third_pair_ = false, said_fortran_ = false;
};

}  // namespace vorlan
