// The reader of MPS files.
#pragma once

#include <string>
#include <string_view>

#include "format/common/name_look_ahead.h"
#include "format/mps/mps_bounds.h"
#include "format/mps/mps_columns.h"
#include "format/mps/mps_entries.h"
#include "format/mps/mps_layout.h"
#include "format/mps/mps_logic.h"
#include "format/mps/mps_quadratic.h"
#include "format/mps/mps_reading.h"
#include "format/mps/mps_rows.h"
#include "format/mps/mps_sense.h"

namespace vorlan {

// Reads a file in one pass over its lines, each added to the model as it comes.
//
// A line that begins with a blank is data of the section at hand; any other line, but for comments,
// begins a section. The table kSections says for each of them what its data lines are made of and
// which function takes them. The layout takes a data line apart into roles (MpsLine), so that the
// functions do not see whether it stood at blanks or in columns. Nearly all lines of a large file
// are plain lines of COLUMNS; plain_column_line() takes these without the detour.
//
// What a section says goes to the part that knows it: rows with their right-hand sides and ranges,
// columns with their elements, bounds, sets, indicators, quadratic terms, the sense. The parts share an MpsReading.
// What depends on later lines waits for finish(): sides of constraints, bounds of integers, the
// order of quadratic terms, encoded names.
//
// A function that finds a failure returns a Status made by TextReader::error(), which knows file,
// line and column; it is returned unchanged by all above it. There is one exception: where a line
// makes no sense at blanks and nothing of it was applied, it is tried in columns, and the failure
// counts only if it makes no sense there either.
class MpsReader {
 public:
  // All are borrowed.
  MpsReader(InputStream* input, Model* model, Warnings* warnings);

  Status read();

 private:
  using LineHandler = Status (MpsReader::*)(const MpsLine&);
  using WordHandler = Status (MpsReader::*)(std::string_view);

  // The rows that the matrix of a quadratic section may belong to.
  enum class Owner : uint8_t { kObjective, kAnyRow, kConstraint };

  struct Section {
    std::string_view word;
    MpsShape shape;
    bool argument;      // may follow the section's word, in place of the data line of kWord
    LineHandler line;   // of the shapes but kWord
    WordHandler begin;  // with the argument, or an empty one; of kWord: the word itself
    MpsQuadraticKind quadratic = {};
    Owner owner = Owner::kObjective;
  };
  static const Section kSections[];

  void look_ahead();
  Status next_line(std::string_view line);
  void comment_line(std::string_view line);
  Status section_line(std::string_view line);
  Status unknown_section(std::string_view word) const;
  Status name_line(std::string_view rest);
  Status close_section();
  bool plain_column_line(std::string_view line, Status* status);
  Status data_line(std::string_view line);

  Status take_sense(std::string_view word) { return sense_.take(word); }
  Status take_objective_name(std::string_view word);
  Status begin_rows(std::string_view argument);
  Status begin_columns(std::string_view argument);
  Status begin_after_columns(std::string_view argument);
  Status begin_quadratic(std::string_view argument);
  Status end_data(std::string_view argument);

  Status row_line(const MpsLine& line) { return rows_.add(line.type, line.head); }
  Status column_line(const MpsLine& line);
  Status marker_line(const MpsLine& line);
  Status rhs_line(const MpsLine& line);
  Status range_line(const MpsLine& line);
  Status bound_line(const MpsLine& line) { return bounds_.take(line); }
  Status set_line(const MpsLine& line) { return logic_.take_set(line); }
  Status indicator_line(const MpsLine& line) { return logic_.take_indicator(line); }
  Status quadratic_line(const MpsLine& line);
  Status add_quadratic(const MpsLine& line, bool apply);

  Status finish();
  Status line_fault(const MpsQuadratic::Fault& fault) const;

  MpsReading reading_;
  TextReader& text_;
  MpsRows rows_;
  MpsColumns columns_;
  MpsLayout layout_;
  MpsEntries entries_;
  MpsBounds bounds_;
  MpsLogic logic_;
  MpsQuadratic quadratic_;
  MpsSense sense_;
  MpsSet rhs_set_, range_set_;
  NameLookAhead look_ahead_;

  const Section* section_ = nullptr;
  bool has_name_ = false, has_rows_ = false, has_columns_ = false, ended_ = false;
};

}  // namespace vorlan
