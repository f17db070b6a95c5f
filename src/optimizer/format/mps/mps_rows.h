// The rows of an MPS file: types, right-hand sides and ranges, which give constraints their sides in
// the end.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "format/common/name_table.h"
#include "format/mps/mps_reading.h"
#include "format/mps/mps_sides.h"

namespace vorlan {

class MpsRows {
 public:
  // The objective is a row that is not in the model's list.
  static constexpr int32_t kObjective = -1;

  // The reading is borrowed.
  explicit MpsRows(MpsReading* reading);

  // Says which row of type N is the objective; the first one is it without this.
  void want_objective(std::string_view name) { wanted_objective_ = name; }

  // A line of the section ROWS.
  Status add(std::string_view type, std::string_view name);
  // No row comes after this. Fails where the objective that was wanted is not there.
  Status end();
  size_t size() const { return type_.size(); }

  bool is_objective(std::string_view name) const {
    return has_objective_ && name == reading_.model.objective_name;
  }
  // The index of the constraint with this name, -1 when there is none.
  int32_t find(std::string_view name) const { return table_.find(name); }
  const NameTable& table() const { return table_; }
  // Finds a constraint or the objective. Fails where there is no such row.
  Status find(std::string_view name, int32_t* row) const;

  // The values of the sections RHS and RANGES; the name is the word of the line that names the row.
  void set_rhs(int32_t row, double value, std::string_view name);
  void set_range(int32_t row, const RangeValue& range, std::string_view name);

  // Turns types, right-hand sides and ranges into the sides of the model.
  Status finish();

 private:
  bool has_finite_rhs(size_t row) const;
  void set_sides(size_t row, Sides sides);
  void finish_wide_ranges();

  MpsReading& reading_;
  NameTable table_;
  bool has_objective_ = false;
  std::string wanted_objective_;
  bool objective_has_rhs_ = false;
  // These are by constraint. The right-hand sides are in con_lower and the ranges in con_upper
  // until finish(): they may come in any order.
  std::vector<char> type_;
  std::vector<uint8_t> flags_;
  std::vector<std::pair<int32_t, long double>> wide_ranges_;
};

}  // namespace vorlan
