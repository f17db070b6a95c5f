// The reader of MPS files: one pass over the lines, each added to the model as it comes.
//
// A line is taken apart at blanks. Files in fixed columns can have names with blanks inside; a line
// that has no meaning at blanks is tried in columns, and once one has a meaning only so, the file
// is taken as one in fixed columns from there on.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "file/text_reader.h"
#include "format/common/coordinates.h"
#include "format/common/format.h"
#include "format/common/name_table.h"
#include "format/mps/mps_lines.h"
#include "format/mps/mps_quadratic.h"
#include "format/mps/mps_sides.h"

namespace vorlan {

class MpsReader {
 public:
  MpsReader(InputStream* input, Model* model, Warnings* warnings);

  Status read();

 private:
  // A line of data in the roles of its words, the same for both ways to take it apart.
  struct DataLine {
    std::string_view type;               // of a row or a bound
    std::string_view head;               // column, or set; may be empty for a set
    std::vector<std::string_view> rest;  // name, value, name, value ...
  };
  using LineHandler = Status (MpsReader::*)(const DataLine&);
  using WordHandler = Status (MpsReader::*)(std::string_view);

  enum class Shape : uint8_t { kWord, kRow, kEntries, kSetEntries, kBound };

  struct Section {
    std::string_view word;
    Shape shape;
    bool argument;      // may follow the section's word, in place of the data line of kWord
    LineHandler line;   // of the shapes but kWord
    WordHandler begin;  // with the argument, or an empty one; of kWord: the word itself
  };
  static const Section kSections[];

  struct BoundType;
  static const BoundType* find_bound_type(std::string_view word);

  // The right-hand sides, ranges or bounds that count: those of the first set.
  struct ChosenSet {
    std::string name;
    bool said = false;
  };

  // Element of a line whose names and numbers are found to be good.
  struct Entry {
    int32_t row;
    RangeValue number;
    std::string_view name;
  };

  // The names of the lines behind the one at hand.
  static constexpr size_t kLinesAhead = NameTable::kAtOnce / 2;
  struct NamesAhead {
    std::array<std::string_view, NameTable::kAtOnce> rows, columns;
    size_t num_rows = 0, num_columns = 0;
  };

  void look_ahead();
  void add_names(std::string_view line, NamesAhead* ahead) const;
  Status next_line(std::string_view line);
  Status section_line(std::string_view line);
  Status unknown_section(std::string_view word) const;
  Status name_line(std::string_view rest);
  Status close_section();
  void comment_line(std::string_view line);
  void comment_sense(std::string_view word);
  Status data_line(std::string_view line);
  bool plain_column_line(std::string_view line, Status* status);

  Status split_at_blanks(std::string_view line);
  Status arrange_words(std::string_view line);
  Status arrange_bound(std::string_view line);
  bool arrange_columns(std::string_view line);
  bool may_be_name(std::string_view word) const;
  bool is_known(std::string_view word) const;
  bool is_objective(std::string_view name) const {
    return has_objective_ && name == model_->objective_name;
  }

  Status take_sense(std::string_view word);
  Status take_objective_name(std::string_view word);
  Status begin_rows(std::string_view argument);
  Status begin_columns(std::string_view argument);
  Status begin_after_columns(std::string_view argument);
  Status begin_quad_obj(std::string_view argument);
  Status begin_q_matrix(std::string_view argument);
  Status begin_q_section(std::string_view argument);
  Status begin_qc_matrix(std::string_view argument);
  Status begin_quadratic(MpsQuadraticKind kind, int32_t con);
  Status end_data(std::string_view argument);

  Status row_line(const DataLine& line);
  Status column_line(const DataLine& line);
  bool is_bare_marker(const DataLine& line) const;
  Status marker_line(const DataLine& line);
  Status rhs_line(const DataLine& line);
  Status range_line(const DataLine& line);
  Status bound_line(const DataLine& line);
  Status quadratic_line(const DataLine& line);

  Status find_entries(const DataLine& line, unsigned dialect);
  Status find_row(std::string_view name, int32_t* row);
  Status find_number(std::string_view word, unsigned dialect, RangeValue* number);
  Status find_column(std::string_view name, int32_t* column);
  bool is_open_column(std::string_view name) const {
    return column_ >= 0 && model_->var_names[static_cast<size_t>(column_)] == name;
  }
  Status begin_column(std::string_view name);
  Status add_variable(std::string_view name, int32_t* column);
  void close_column();
  Status add_element(int32_t row, double value, std::string_view name);
  bool in_set(std::string_view set, ChosenSet* chosen);
  void set_rhs(const Entry& entry);
  void set_range(const Entry& entry);
  void apply_bound(const BoundType& type, size_t column, double value);
  void set_kind(const BoundType& type, size_t column, std::string_view word);

  Status finish();
  Status finish_constraints();
  void finish_bounds();
  Status line_fault(const MpsQuadratic::Fault& fault) const;
  void warn(std::string_view word, std::string_view what);
  void warn_once(bool* said, std::string_view word, std::string_view what);

  static constexpr int32_t kObjectiveRow = -1;

  // Flags of a variable.
  static constexpr uint8_t kMarkedInteger = 1;  // between markers
  static constexpr uint8_t kHasBound = 2;
  static constexpr uint8_t kHasLower = 4;
  static constexpr uint8_t kHasUpper = 8;

  TextReader text_;
  size_t lines_ahead_ = 0;  // whose names are fetched
  std::string shown_name_;
  Model* model_;
  Warnings* warnings_;

  const Section* section_ = nullptr;
  bool named_ = false, rows_ = false, columns_ = false, ended_ = false;
  bool sense_ = false, comment_sense_ = false;  // said by a section, by a comment
  bool free_ = false;                           // by the word FREE
  bool fixed_ = false;                          // found to be in columns
  bool applied_ = false;                        // the line at hand has changed the model
  bool integer_ = false;                        // between markers
  bool encoded_names_ = false, exact_numbers_ = false;
  bool said_third_pair_ = false, said_fortran_ = false, said_large_ = false;

  DataLine line_;
  MpsFields fields_;
  std::vector<std::string_view> words_;
  std::vector<Entry> entries_;

  // The objective is a row that is not in the model's list.
  bool has_objective_ = false;
  std::string wanted_objective_;
  bool objective_rhs_ = false;
  int64_t objective_column_ = -1;  // the last one with a cost
  NameTable con_table_, var_table_;

  // By constraint. Until the end, con_lower has the right-hand sides and con_upper the ranges.
  std::vector<char> row_type_;
  std::vector<uint8_t> row_flags_;
  std::vector<int32_t> row_column_;  // the last column with an element in the row
  std::vector<std::pair<int32_t, long double>> wide_ranges_;

  int64_t column_ = -1;  // the open one
  bool sorted_ = true;   // its elements, by row
  ColumnSorter sorter_;

  std::vector<uint8_t> bound_flags_;                          // by variable
  std::vector<std::pair<int32_t, int64_t>> negative_uppers_;  // variable and line
  ChosenSet rhs_set_, range_set_, bound_set_;
  MpsQuadratic quadratic_;
};

}  // namespace vorlan
