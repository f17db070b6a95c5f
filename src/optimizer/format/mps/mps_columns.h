// The columns of an MPS file, whose elements come column by column.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "format/common/coordinates.h"
#include "format/common/name_table.h"
#include "format/mps/mps_reading.h"
#include "task/numeric.h"

namespace vorlan {

class MpsColumns {
 public:
  // The facts that are kept of a column.
  enum Mark : uint8_t {
    kMarkedInteger = 1,  // it stands between markers
    kHasBound = 2,
    kHasLower = 4,
    kHasUpper = 8,
  };

  // The reading is borrowed.
  explicit MpsColumns(MpsReading* reading);

  // The number of rows is known from here on.
  void begin(size_t num_rows) { last_column_.assign(num_rows, kNoColumn); }

  // Columns that are opened from here on are integers, or are not.
  void mark_integers(bool integers) { integer_ = integers; }

  // Opens a new column of this name and closes the one before.
  Status open(std::string_view name);
  bool is_open(std::string_view name) const {
    return column_ != kNoColumn && reading_.model.var_names[index(column_)] == name;
  }
  void close();
  // Adds an element of the open column. The name is the word of the line that names the row.
  Status add_element(int32_t row, double value, std::string_view name);

  // Adds a column without elements while none is open.
  Status add(std::string_view name, int32_t* column);

  // The index of the column with this name, -1 when there is none; the second function fails then.
  int32_t find(std::string_view name) const { return table_.find(name); }
  Status find(std::string_view name, int32_t* column) const;
  const NameTable& table() const { return table_; }

  size_t size() const { return marks_.size(); }
  uint8_t& marks(int32_t column) { return marks_[index(column)]; }

  // Lets the processor fetch what add_element() will look at for this row.
  void prefetch(int32_t row) const { __builtin_prefetch(&last_column_[index(row)]); }

 private:
  static constexpr int32_t kNoColumn = -1;

  MpsReading& reading_;
  NameTable table_;
  std::vector<uint8_t> marks_;        // by column
  std::vector<int32_t> last_column_;  // by row, the last column with an element in it
  int32_t objective_column_ = kNoColumn;
  int32_t column_ = kNoColumn;  // the open one
  bool sorted_ = true;          // its elements, by row
  bool integer_ = false;
  ColumnSorter sorter_;
};

}  // namespace vorlan
