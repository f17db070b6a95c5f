// The layout of the data lines of MPS files.
//
// A line is taken apart at blanks. Files in fixed columns can have names with blanks inside: a line
// that has no meaning at blanks is tried in columns, and once one has a meaning only so, the file
// is taken as one in fixed columns from there on. The reader decides what has a meaning; the layout
// knows which word of a line has which role in both ways.
#pragma once

#include <string_view>
#include <vector>

#include "format/common/name_look_ahead.h"
#include "format/mps/mps_columns.h"
#include "format/mps/mps_lines.h"
#include "format/mps/mps_reading.h"
#include "format/mps/mps_rows.h"

namespace vorlan {

// The words that the data lines of a section are made of.
enum class MpsShape : uint8_t {
  kWord,        // WORD
  kRow,         // TYPE NAME
  kEntries,     // NAME NAME VALUE ...
  kSetEntries,  // [SET] NAME VALUE ...
  kBound,       // TYPE [SET] NAME [VALUE]
  kSet,         // S1 or S2, and NAME ...; or NAME ...
  kIndicator,   // TYPE NAME NAME VALUE
};

// A data line in the roles of its words, the same for both ways to take it apart.
struct MpsLine {
  std::string_view type;               // of a row, a bound, a set or an indicator
  std::string_view head;               // column, or set; may be empty for a set
  std::vector<std::string_view> rest;  // name, value, name, value ...
};

class MpsLayout {
 public:
  // All are borrowed: the names that are known decide where a line is ambiguous.
  MpsLayout(const MpsReading* reading, const MpsRows* rows, const MpsColumns* columns)
      : reading_(*reading), rows_(*rows), columns_(*columns) {}

  // The file says that it is not in fixed columns.
  void set_free() { free_ = true; }
  // The file is found to be in fixed columns.
  void set_fixed() { fixed_ = true; }
  bool is_fixed() const { return fixed_; }
  bool may_become_fixed() const { return !free_ && !fixed_; }

  // Take a line apart, which line() then has. The second one is false for a line that does not
  // stand in the columns or lacks what its shape needs.
  Status split_words(std::string_view line, MpsShape shape);
  bool split_columns(std::string_view line, MpsShape shape);
  const MpsLine& line() const { return line_; }

 private:
  Status collect_words(std::string_view line, MpsShape shape);
  Status arrange_row(std::string_view line_end);
  Status arrange_bound(std::string_view line_end);
  Status arrange_typed(std::string_view line_end, MpsShape shape);
  Status arrange_entries(std::string_view line_end, MpsShape shape);
  bool may_be_name(std::string_view word, MpsShape shape) const;

  const MpsReading& reading_;
  const MpsRows& rows_;
  const MpsColumns& columns_;
  bool free_ = false, fixed_ = false;
  MpsLine line_;
  MpsFields fields_;
  std::vector<std::string_view> words_;
};

// Collects the names of a line that is not read yet, where they usually stand.
void collect_mps_names(std::string_view line, MpsShape shape, NamesAhead* rows,
                       NamesAhead* columns);

}  // namespace vorlan
