// Lines and sections of MPS files; see mps_reader.h.
#include "format/mps/mps_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <optional>

#include "file/numbers.h"
#include "format/common/byte_codes.h"
#include "format/common/nearest.h"
#include "format/common/slips.h"
#include "format/mps/mps.h"
#include "format/mps/mps_lines.h"
#include "format/mps/mps_names.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Parses a number like parse_double, and is quick where it has few digits and no exponent, as most
// have. Both the digits as an integer and the power of ten are exact then, and their quotient is
// correctly rounded.
bool parse_plain(std::string_view word, double* value) {
  constexpr size_t kMostDigits = 15;
  static constexpr std::array<double, kMostDigits + 1> kPowers = {
      1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  if (word.empty() || word.size() > kMostDigits) return parse_double(word, value);
  const bool negative = word[0] == '-';
  int64_t digits = 0;
  size_t decimals = 0;
  size_t num_digits = 0;
  bool point = false;
  for (const char c : word.substr(negative ? 1 : 0)) {
    const auto digit = static_cast<unsigned>(c - '0');
    if (digit < 10) {
      digits = digits * 10 + static_cast<int64_t>(digit);
      decimals += point ? 1 : 0;
      ++num_digits;
    } else if (c == '.' && !point) {
      point = true;
    } else {
      return parse_double(word, value);
    }
  }
  if (num_digits == 0) return false;
  const double magnitude = static_cast<double>(digits) / kPowers[decimals];
  *value = negative ? -magnitude : magnitude;
  return true;
}

// Sections that other programs know and that say something that is not taken here.
struct ForeignSection {
  std::string_view word, advice;
};
constexpr std::string_view kSets =
    "special ordered sets stand under SOS, as ' S1 SOS name' and then ' column weight'";
constexpr std::string_view kCuts = "rows of this kind cannot be taken; they can stand under ROWS";
constexpr std::string_view kPieces =
    "general constraints and piecewise linear terms cannot be taken; binary columns and rows can "
    "say them";
constexpr ForeignSection kForeignSections[] = {
    {"SOS1", kSets},
    {"SOS2", kSets},
    {"SETS", kSets},
    {"CSECTION", "cones cannot be taken from MPS files; they can from .ptf and .cbf files"},
    {"DELAYEDROWS", kCuts},
    {"MODELCUTS", kCuts},
    {"USERCUTS", kCuts},
    {"LAZYCONS", kCuts},
    {"GENCONS", kPieces},
    {"PWLOBJ", kPieces},
    {"PWLNAM", kPieces},
    {"PWLCON", kPieces},
};

}  // namespace

const MpsReader::Section MpsReader::kSections[] = {
    {"OBJSENSE", MpsShape::kWord, true, nullptr, &MpsReader::take_sense},
    {"OBJNAME", MpsShape::kWord, true, nullptr, &MpsReader::take_objective_name},
    {"ROWS", MpsShape::kRow, false, &MpsReader::row_line, &MpsReader::begin_rows},
    {"COLUMNS", MpsShape::kEntries, false, &MpsReader::column_line, &MpsReader::begin_columns},
    {"RHS", MpsShape::kSetEntries, false, &MpsReader::rhs_line, &MpsReader::begin_after_columns},
    {"RANGES", MpsShape::kSetEntries, false, &MpsReader::range_line,
     &MpsReader::begin_after_columns},
    {"BOUNDS", MpsShape::kBound, false, &MpsReader::bound_line, &MpsReader::begin_after_columns},
    {"QUADOBJ",
     MpsShape::kEntries,
     false,
     &MpsReader::quadratic_line,
     &MpsReader::begin_quadratic,
     {MpsTriangle::kOne, 1.0},
     Owner::kObjective},
    {"QMATRIX",
     MpsShape::kEntries,
     false,
     &MpsReader::quadratic_line,
     &MpsReader::begin_quadratic,
     {MpsTriangle::kBoth, 1.0},
     Owner::kObjective},
    {"QSECTION",
     MpsShape::kEntries,
     true,
     &MpsReader::quadratic_line,
     &MpsReader::begin_quadratic,
     {MpsTriangle::kOne, 1.0},
     Owner::kAnyRow},
    // The elements are those of x'Qx, without the half.
    {"QCMATRIX",
     MpsShape::kEntries,
     true,
     &MpsReader::quadratic_line,
     &MpsReader::begin_quadratic,
     {MpsTriangle::kBoth, 2.0},
     Owner::kConstraint},
    {"SOS", MpsShape::kSet, false, &MpsReader::set_line, &MpsReader::begin_after_columns},
    {"INDICATORS", MpsShape::kIndicator, false, &MpsReader::indicator_line,
     &MpsReader::begin_after_columns},
    {"ENDATA", MpsShape::kWord, false, nullptr, &MpsReader::end_data},
};

MpsReader::MpsReader(InputStream* input, Model* model, Warnings* warnings)
    : reading_(input, model, warnings),
      text_(reading_.text),
      rows_(&reading_),
      columns_(&reading_),
      layout_(&reading_, &rows_, &columns_),
      entries_(&reading_, &rows_),
      bounds_(&reading_, &columns_, &entries_),
      logic_(&reading_, &rows_, &columns_, &entries_),
      sense_(&reading_),
      rhs_set_(&reading_),
      range_set_(&reading_) {}

Status MpsReader::read() {
  std::string_view line;
  while (!ended_ && text_.next_line(&line)) {
    if (section_ != nullptr && look_ahead_.is_due(text_.line_number())) look_ahead();
    Status status = next_line(line);
    if (!status.ok()) return status;
  }
  if (!text_.status().ok()) return text_.status();
  if (text_.line_number() == 0) return line_fault({"the file is empty", 1});
  if (!ended_) return text_.line_error("the file ends here, without ENDATA");
  Status status = finish();
  return status.ok() ? text_.finish() : status;
}

void MpsReader::look_ahead() {
  NamesAhead rows, columns;
  size_t lines_left = NameTable::kAtOnce / 2;  // a line names two rows at most
  look_ahead_.walk(text_.line_number(), text_.ahead(), [&](std::string_view line) {
    collect_mps_names(line, section_->shape, &rows, &columns);
    return --lines_left > 0;
  });
  columns_.table().prefetch(columns.all());
  const NameTable::Likely likely = rows_.table().prefetch(rows.all());
  for (size_t i = 0; has_columns_ && i < rows.all().size(); ++i) {
    if (likely[i] >= 0) columns_.prefetch(likely[i]);
  }
}

Status MpsReader::next_line(std::string_view line) {
  if (line.empty()) return {};
  if (line[0] == '*') {
    comment_line(line);
    return {};
  }
  if (line[0] != ' ' && line[0] != '\t') return section_line(line);
  Status status;
  if (plain_column_line(line, &status)) return status;
  return data_line(line);
}

namespace {

// What stands behind "*SENSE:", around whose word and colon there may be blanks.
std::optional<std::string_view> sense_of_comment(std::string_view line) {
  constexpr std::string_view kSense = "SENSE";
  std::string_view rest = trim_blanks(line.substr(1));
  if (!same_word(rest.substr(0, kSense.size()), kSense)) return std::nullopt;
  rest = trim_blanks(rest.substr(kSense.size()));
  if (!rest.starts_with(':')) return std::nullopt;
  return trim_blanks(rest.substr(1));
}

}  // namespace

void MpsReader::comment_line(std::string_view line) {
  if (has_rows_) return;
  if (const auto sense = sense_of_comment(line)) return sense_.take_comment(*sense);
  reading_.encoded_names = reading_.encoded_names || line == kMpsEncodedNames;
  reading_.exact_numbers = reading_.exact_numbers || line == kMpsExactNumbers;
}

Status MpsReader::section_line(std::string_view line) {
  Status status = close_section();
  if (!status.ok()) return status;
  std::string_view rest = line;
  const std::string_view word = take_mps_word(&rest);
  rest = trim_blanks(rest);
  if (same_word(word, "NAME")) return name_line(rest);
  const auto* const found =
      std::find_if(std::begin(kSections), std::end(kSections),
                   [word](const Section& section) { return same_word(word, section.word); });
  if (found == std::end(kSections)) return unknown_section(word);
  section_ = found;
  if (!rest.empty() && !found->argument && rest[0] != '$') {
    return text_.error(rest, "nothing was expected behind the name of the section");
  }
  if (found->shape == MpsShape::kWord && found->argument && rest.empty()) return {};
  return (this->*found->begin)(found->argument ? rest : std::string_view());
}

Status MpsReader::unknown_section(std::string_view word) const {
  for (const ForeignSection& section : kForeignSections) {
    if (same_word(word, section.word)) return text_.error(word, section.advice);
  }
  const std::string capitals = in_capitals(word);
  Nearest nearest(capitals);
  nearest.consider("NAME");
  for (const Section& section : kSections) nearest.consider(section.word);
  return text_.error(word, "the name of a section was expected", nearest.advice());
}

// The name is all of the line but for a last word FREE, so that it can have blanks.
Status MpsReader::name_line(std::string_view rest) {
  if (has_name_ || has_rows_) return text_.line_error("a second NAME, or one behind ROWS");
  has_name_ = true;
  section_ = nullptr;
  const size_t blank = rest.find_last_of(" \t");
  const size_t last = blank == std::string_view::npos ? 0 : blank + 1;
  if (same_word(rest.substr(last), "FREE")) {
    layout_.set_free();
    rest = trim_blanks(rest.substr(0, last));
  }
  reading_.model.name = rest;
  return {};
}

Status MpsReader::close_section() {
  if (section_ == nullptr) return {};
  columns_.close();
  if (section_->line == &MpsReader::set_line) return logic_.end_sets();
  if (section_->line != &MpsReader::quadratic_line) return {};
  return line_fault(quadratic_.end_section(reading_.model));
}

// Takes a column with one or two elements and nothing odd, as most lines of a large file are. False
// if the line is anything else, with the model as it was.
bool MpsReader::plain_column_line(std::string_view line, Status* status) {
  if (section_ == nullptr || section_->line != &MpsReader::column_line || layout_.is_fixed()) {
    return false;
  }
  const std::string_view column = take_mps_word(&line);
  if (column.empty()) return false;
  struct Element {
    std::string_view name;
    int32_t row;
    double value;
  };
  std::array<Element, MpsEntries::kUsualPairs> elements;
  size_t count = 0;
  while (!line.empty() && count < elements.size()) {
    Element& element = elements[count];
    element.name = take_mps_word(&line);
    if (element.name.empty()) break;
    const std::string_view number = take_mps_word(&line);
    element.row = rows_.find(element.name);
    if (element.row < 0 && !rows_.is_objective(element.name)) return false;
    if (!parse_plain(number, &element.value) || !std::isfinite(element.value)) return false;
    ++count;
  }
  if (count == 0 || !trim_blanks(line).empty()) return false;
  if (!columns_.is_open(column)) {
    *status = columns_.open(column);
    if (!status->ok()) return true;
  }
  for (size_t i = 0; i < count && status->ok(); ++i) {
    *status = columns_.add_element(elements[i].row, elements[i].value, elements[i].name);
  }
  return true;
}

Status MpsReader::data_line(std::string_view line) {
  if (trim_blanks(line).empty()) return {};
  if (section_ == nullptr) return text_.error(trim_blanks(line), "a section was expected");
  const MpsShape shape = section_->shape;
  if (shape == MpsShape::kWord) return (this->*section_->begin)(trim_blanks(line));
  const auto take = [this] { return (this->*section_->line)(layout_.line()); };
  if (layout_.is_fixed() && layout_.split_columns(line, shape)) return take();
  reading_.applied = false;
  Status status = layout_.split_words(line, shape);
  if (status.ok()) status = take();
  if (status.ok() || !layout_.may_become_fixed() || reading_.applied ||
      !layout_.split_columns(line, shape) || !take().ok()) {
    return status;
  }
  layout_.set_fixed();
  return {};
}

Status MpsReader::take_objective_name(std::string_view word) {
  if (has_rows_) return text_.error(word, "OBJNAME must come before ROWS");
  rows_.want_objective(word);
  return {};
}

Status MpsReader::begin_rows(std::string_view) {
  if (has_rows_) return text_.line_error("a second section ROWS");
  has_rows_ = true;
  return {};
}

Status MpsReader::begin_columns(std::string_view) {
  if (!has_rows_) return text_.line_error("COLUMNS before ROWS");
  if (has_columns_) return text_.line_error("a second section COLUMNS");
  has_columns_ = true;
  columns_.begin(rows_.size());
  return rows_.end();
}

Status MpsReader::begin_after_columns(std::string_view) {
  return has_columns_ ? Status() : text_.line_error("the section must come behind COLUMNS");
}

Status MpsReader::begin_quadratic(std::string_view argument) {
  int32_t row = MpsRows::kObjective;
  if (section_->owner == Owner::kConstraint || !argument.empty()) {
    Status status = rows_.find(argument, &row);
    if (!status.ok()) return status;
  }
  if (section_->owner == Owner::kConstraint && row == MpsRows::kObjective) {
    return text_.error(argument, "the name of a constraint was expected");
  }
  if (!has_columns_) return text_.line_error("the section must come behind COLUMNS");
  quadratic_.begin_section(section_->quadratic,
                           row == MpsRows::kObjective ? MpsQuadratic::kObjective : row);
  return {};
}

Status MpsReader::end_data(std::string_view) {
  if (!has_columns_) return text_.line_error("ENDATA before COLUMNS");
  ended_ = true;
  return {};
}

Status MpsReader::column_line(const MpsLine& line) {
  if (line.rest.size() == 2 && line.rest[0] == kMpsMarker) return marker_line(line);
  const bool bare_marker = line.rest.size() == 2 && same_word(line.rest[0], "MARKER") &&
                           rows_.find(line.rest[0]) < 0 && !rows_.is_objective(line.rest[0]);
  if (bare_marker) {
    return text_.error(line.rest[0], "the words of a marker stand in quotes, as 'MARKER' 'INTORG'");
  }
  if (line.head.empty()) return text_.error(line.head, "a name was expected");
  Status status = entries_.find(line, 0);
  if (!status.ok()) return status;
  for (const MpsEntry& entry : entries_.all()) {
    if (!std::isfinite(entry.number.value)) {
      return text_.error(entry.name, "the coefficient is beyond the largest number");
    }
  }
  if (!columns_.is_open(line.head)) status = columns_.open(line.head);
  for (const MpsEntry& entry : entries_.all()) {
    if (!status.ok()) return status;
    status = columns_.add_element(entry.row, entry.number.value, entry.name);
  }
  return status;
}

Status MpsReader::marker_line(const MpsLine& line) {
  const std::string_view word = line.rest[1];
  if (!same_word(word, "'INTORG'") && !same_word(word, "'INTEND'")) {
    return text_.error(word, "'INTORG' or 'INTEND' was expected");
  }
  columns_.mark_integers(same_word(word, "'INTORG'"));
  return {};
}

Status MpsReader::rhs_line(const MpsLine& line) {
  Status status = entries_.find(line, kInfinityWords);
  if (!status.ok()) return status;
  reading_.applied = true;
  if (!rhs_set_.takes(line.head)) return {};
  for (const MpsEntry& entry : entries_.all()) {
    if (entry.row == MpsRows::kObjective && !std::isfinite(entry.number.value)) {
      return text_.error(entry.name, "the right-hand side of the objective must be finite");
    }
  }
  for (const MpsEntry& entry : entries_.all()) {
    rows_.set_rhs(entry.row, entry.number.value, entry.name);
  }
  return {};
}

Status MpsReader::range_line(const MpsLine& line) {
  Status status = entries_.find(line, kInfinityWords);
  if (!status.ok()) return status;
  reading_.applied = true;
  if (!range_set_.takes(line.head)) return {};
  for (const MpsEntry& entry : entries_.all()) {
    rows_.set_range(entry.row, entry.number, entry.name);
  }
  return {};
}

// Looks at all of a line before any of it is applied.
Status MpsReader::quadratic_line(const MpsLine& line) {
  Status status = add_quadratic(line, false);
  if (!status.ok()) return status;
  reading_.applied = true;
  return add_quadratic(line, true);
}

Status MpsReader::add_quadratic(const MpsLine& line, bool apply) {
  int32_t first = -1;
  Status status = columns_.find(line.head, &first);
  if (!status.ok()) return status;
  for (size_t i = 0; i < line.rest.size(); i += 2) {
    int32_t second = -1;
    status = columns_.find(line.rest[i], &second);
    if (!status.ok()) return status;
    const std::string_view word = i + 1 < line.rest.size() ? line.rest[i + 1] : std::string_view();
    RangeValue number = {};
    status = entries_.find_number(word, 0, &number);
    if (!status.ok()) return status;
    if (!std::isfinite(quadratic_.factor() * number.value)) {
      return text_.error(word, "the coefficient is beyond the largest number");
    }
    if (apply) quadratic_.add(first, second, number.value, text_.line_number());
  }
  return {};
}

Status MpsReader::finish() {
  Model& model = reading_.model;
  Status status = line_fault(quadratic_.finish(&model));
  if (status.ok()) status = rows_.finish();
  if (!status.ok()) return status;
  bounds_.finish();
  status = logic_.finish();
  if (!status.ok()) return status;
  warn_of_slips(model, reading_.shown_name, &reading_.warnings);
  if (!reading_.encoded_names) return {};
  model.name = decode_name(model.name);
  model.objective_name = decode_name(model.objective_name);
  model.var_names = decode_mps_names(model.var_names, model.cost.size());
  model.con_names = decode_mps_names(model.con_names, rows_.size());
  model.set_names = decode_mps_names(model.set_names, model.sets.size());
  return {};
}

Status MpsReader::line_fault(const MpsQuadratic::Fault& fault) const {
  if (fault.what.empty()) return {};
  return {Code::kErrFileContent,
          format_text("%s:%lld: %s", reading_.shown_name.c_str(),
                      static_cast<long long>(fault.line), fault.what.c_str())};
}

bool is_mps_first_word(std::string_view word) {
  constexpr std::string_view kFirst[] = {"NAME", "ROWS", "OBJSENSE", "OBJNAME"};
  return std::any_of(std::begin(kFirst), std::end(kFirst),
                     [word](std::string_view first) { return same_word(word, first); });
}

Status read_mps(InputStream* input, const ReadLimits&, ProblemFile* file, Warnings* warnings) {
  return MpsReader(input, &file->model, warnings).read();
}

}  // namespace vorlan
