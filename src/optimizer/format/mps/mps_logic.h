// The sections SOS and INDICATORS of an MPS file: special ordered sets, and rows that hold under a
// condition.
#pragma once

#include <cstdint>
#include <vector>

#include "format/mps/mps_columns.h"
#include "format/mps/mps_entries.h"
#include "format/mps/mps_layout.h"
#include "format/mps/mps_reading.h"
#include "format/mps/mps_rows.h"

namespace vorlan {

class MpsLogic {
 public:
  // All are borrowed.
  MpsLogic(MpsReading* reading, const MpsRows* rows, const MpsColumns* columns, MpsEntries* entries)
      : reading_(*reading), rows_(*rows), columns_(*columns), entries_(*entries) {}

  // A line of each section.
  Status take_set(const MpsLine& line);
  Status take_indicator(const MpsLine& line);

  // A section of sets ends.
  Status end_sets();
  // Adds the indicators to the model, when its bounds and kinds are known.
  Status finish();

 private:
  bool is_member(const MpsLine& line) const;
  Status open_set(const MpsLine& line);
  Status add_member(const MpsLine& line);
  Status find_row(std::string_view name, int32_t* row) const;

  MpsReading& reading_;
  const MpsRows& rows_;
  const MpsColumns& columns_;
  MpsEntries& entries_;
  int64_t set_line_ = 0;  // of the set that is open; 0: none is
  struct Condition {
    Indicator indicator;
    int64_t line;
  };
  std::vector<Condition> conditions_;
};

}  // namespace vorlan
