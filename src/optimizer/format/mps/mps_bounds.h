// The section BOUNDS: types of bounds, and what they do to columns.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "format/mps/mps_columns.h"
#include "format/mps/mps_entries.h"
#include "format/mps/mps_layout.h"
#include "format/mps/mps_reading.h"

namespace vorlan {

// The change that a bound's type makes to the two bounds and the kind of the variable.
struct MpsBoundType {
  enum class Side : uint8_t { kKept, kValue, kInfinite, kZero, kOne };
  std::string_view word;
  Side lower, upper;
  bool integer, semi_continuous;

  bool has_value() const { return lower == Side::kValue || upper == Side::kValue; }
};

// The type with this word, in any case of its letters; nullptr when there is none.
const MpsBoundType* find_mps_bound_type(std::string_view word);

class MpsBounds {
 public:
  // All are borrowed.
  MpsBounds(MpsReading* reading, MpsColumns* columns, MpsEntries* entries)
      : reading_(*reading), columns_(*columns), entries_(*entries), set_(reading) {}

  // A line of the section.
  Status take(const MpsLine& line);

  // Bounds the integer columns that have no bounds, and warns of negative upper bounds that came
  // without a lower one.
  void finish();

 private:
  Status find_column(std::string_view name, int32_t* column);
  void apply(const MpsBoundType& type, int32_t column, double value, std::string_view word);
  double bound(MpsBoundType::Side side, double value, double sign) const;
  void check_value(const MpsBoundType& type, double value, std::string_view word);
  void set_kind(const MpsBoundType& type, int32_t column, std::string_view word);
  void bound_marked_integers();

  MpsReading& reading_;
  MpsColumns& columns_;
  MpsEntries& entries_;
  MpsSet set_;
  std::vector<std::pair<int32_t, int64_t>> negative_uppers_;  // column and line
  bool said_large_ = false;
};

}  // namespace vorlan
