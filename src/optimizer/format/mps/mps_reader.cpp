// Lines, sections, rows and columns of MPS files; see mps_reader.h. What follows the columns is in
// mps_reader_bounds.cpp.
#include "format/mps/mps_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "file/numbers.h"
#include "format/common/nearest.h"
#include "format/mps/mps.h"
#include "format/mps/mps_names.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr size_t kMostWords = 1000;  // of a line; more are no data that anyone writes
constexpr size_t kUsualEntries = 2;
constexpr std::string_view kMarkerWord = "'MARKER'";

// As parse_double, and quick for what most numbers are: few digits and no exponent. Both the digits
// as an integer and the power of ten are exact then, and their quotient is correctly rounded.
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

}  // namespace

const MpsReader::Section MpsReader::kSections[] = {
    {"OBJSENSE", Shape::kWord, true, nullptr, &MpsReader::take_sense},
    {"OBJNAME", Shape::kWord, true, nullptr, &MpsReader::take_objective_name},
    {"ROWS", Shape::kRow, false, &MpsReader::row_line, &MpsReader::begin_rows},
    {"COLUMNS", Shape::kEntries, false, &MpsReader::column_line, &MpsReader::begin_columns},
    {"RHS", Shape::kSetEntries, false, &MpsReader::rhs_line, &MpsReader::begin_after_columns},
    {"RANGES", Shape::kSetEntries, false, &MpsReader::range_line, &MpsReader::begin_after_columns},
    {"BOUNDS", Shape::kBound, false, &MpsReader::bound_line, &MpsReader::begin_after_columns},
    {"QUADOBJ", Shape::kEntries, false, &MpsReader::quadratic_line, &MpsReader::begin_quad_obj},
    {"QMATRIX", Shape::kEntries, false, &MpsReader::quadratic_line, &MpsReader::begin_q_matrix},
    {"QSECTION", Shape::kEntries, true, &MpsReader::quadratic_line, &MpsReader::begin_q_section},
    {"QCMATRIX", Shape::kEntries, true, &MpsReader::quadratic_line, &MpsReader::begin_qc_matrix},
    {"ENDATA", Shape::kWord, false, nullptr, &MpsReader::end_data},
};

namespace {

// Sections that other programs know and that say something that is not taken here.
struct ForeignSection {
  std::string_view word, advice;
};
constexpr std::string_view kSets =
    "special ordered sets cannot be taken; binary columns and rows can say them";
constexpr std::string_view kCuts = "rows of this kind cannot be taken; they can stand under ROWS";
constexpr std::string_view kPieces =
    "general constraints and piecewise linear terms cannot be taken; binary columns and rows can "
    "say them";
constexpr ForeignSection kForeignSections[] = {
    {"SOS", kSets},
    {"SOS1", kSets},
    {"SOS2", kSets},
    {"SETS", kSets},
    {"INDICATORS",
     "rows that hold under a condition cannot be taken; with a bound M of its left side, "
     "'x + M b <= c + M' holds where b is 1"},
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

// Whether the word says to maximize, if it says a sense.
std::optional<bool> find_sense(std::string_view word) {
  constexpr std::string_view kMax[] = {"MAX", "MAXIMIZE", "MAXIMISE", "MAXIMUM"};
  constexpr std::string_view kMin[] = {"MIN", "MINIMIZE", "MINIMISE", "MINIMUM"};
  const auto is_word = [word](std::string_view known) { return same_word(word, known); };
  if (std::any_of(std::begin(kMax), std::end(kMax), is_word)) return true;
  if (std::any_of(std::begin(kMin), std::end(kMin), is_word)) return false;
  return std::nullopt;
}

}  // namespace

Status MpsReader::unknown_section(std::string_view word) const {
  for (const ForeignSection& section : kForeignSections) {
    if (same_word(word, section.word)) return text_.error(word, section.advice);
  }
  std::string capitals(word);
  for (char& c : capitals) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  Nearest nearest(capitals);
  for (const Section& section : kSections) nearest.consider(section.word);
  return text_.error(word, "the name of a section was expected", nearest.advice());
}

MpsReader::MpsReader(InputStream* input, Model* model, Warnings* warnings)
    : text_(input),
      shown_name_(input->shown_name()),
      model_(model),
      warnings_(warnings),
      con_table_(&model->con_names),
      var_table_(&model->var_names) {}

Status MpsReader::read() {
  std::string_view line;
  while (!ended_ && text_.next_line(&line)) {
    if (lines_ahead_ > 0) --lines_ahead_;
    if (lines_ahead_ == 0 && section_ != nullptr) look_ahead();
    Status status = next_line(line);
    if (!status.ok()) return status;
  }
  if (!text_.status().ok()) return text_.status();
  if (text_.line_number() == 0) return line_fault({"the file is empty", 1});
  if (!ended_) return text_.line_error("the file ends here, without ENDATA");
  Status status = finish();
  return status.ok() ? text_.finish() : status;
}

// Names come in no order, so that each search would wait for the memory. Those of the next lines
// are fetched together, where names usually stand; what stands elsewhere is found all the same.
void MpsReader::look_ahead() {
  NamesAhead ahead;
  std::string_view text = text_.ahead();
  for (lines_ahead_ = 0; lines_ahead_ < kLinesAhead; ++lines_ahead_) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) break;
    add_names(text.substr(0, end), &ahead);
    text.remove_prefix(end + 1);
  }
  var_table_.prefetch(std::span(ahead.columns).first(ahead.num_columns));
  const auto rows = con_table_.prefetch(std::span(ahead.rows).first(ahead.num_rows));
  for (size_t i = 0; columns_ && i < ahead.num_rows; ++i) {
    if (rows[i] >= 0) __builtin_prefetch(&row_column_[static_cast<size_t>(rows[i])]);
  }
}

void MpsReader::add_names(std::string_view line, NamesAhead* ahead) const {
  std::array<std::string_view, 4> words;
  for (std::string_view& word : words) word = take_mps_word(&line);
  const auto add_row = [ahead](std::string_view name) {
    if (!name.empty()) ahead->rows[ahead->num_rows++] = name;
  };
  const auto add_column = [ahead](std::string_view name) {
    const bool again = ahead->num_columns > 0 && ahead->columns[ahead->num_columns - 1] == name;
    if (!name.empty() && !again) ahead->columns[ahead->num_columns++] = name;
  };
  switch (section_->shape) {
    case Shape::kWord:
      break;
    case Shape::kRow:
      add_row(words[1]);
      break;
    case Shape::kEntries:
      add_column(words[0]);
      [[fallthrough]];
    case Shape::kSetEntries:
      add_row(words[1]);
      add_row(words[3]);
      break;
    case Shape::kBound:
      add_column(words[2]);
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

void MpsReader::comment_line(std::string_view line) {
  if (rows_) return;
  constexpr std::string_view kSense = "*SENSE:";
  if (same_word(line.substr(0, kSense.size()), kSense)) {
    return comment_sense(trim_blanks(line.substr(kSense.size())));
  }
  encoded_names_ = encoded_names_ || line == kMpsEncodedNames;
  exact_numbers_ = exact_numbers_ || line == kMpsExactNumbers;
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
  if (found == std::end(kSections)) {
    return unknown_section(word);
  }
  section_ = found;
  if (!rest.empty() && !found->argument && rest[0] != '$') {
    return text_.error(rest, "nothing was expected behind the name of the section");
  }
  if (found->shape == Shape::kWord && found->argument && rest.empty()) return {};
  return (this->*found->begin)(found->argument ? rest : std::string_view());
}

// The name is all of the line but for a last word FREE, so that it can have blanks.
Status MpsReader::name_line(std::string_view rest) {
  if (named_ || rows_) return text_.line_error("a second NAME, or one behind ROWS");
  named_ = true;
  section_ = nullptr;
  const size_t blank = rest.find_last_of(" \t");
  const size_t last = blank == std::string_view::npos ? 0 : blank + 1;
  if (same_word(rest.substr(last), "FREE")) {
    free_ = true;
    rest = trim_blanks(rest.substr(0, last));
  }
  model_->name = rest;
  return {};
}

Status MpsReader::close_section() {
  if (section_ == nullptr) return {};
  close_column();
  if (section_->line != &MpsReader::quadratic_line) return {};
  return line_fault(quadratic_.end_section(*model_));
}

// Most lines of a large file: a column with one or two elements, nothing odd. False if it is
// anything else, with the model as it was.
bool MpsReader::plain_column_line(std::string_view line, Status* status) {
  if (section_ == nullptr || section_->line != &MpsReader::column_line || fixed_) return false;
  const std::string_view column = take_mps_word(&line);
  if (column.empty()) return false;
  struct Element {
    std::string_view name;
    int32_t row;
    double value;
  };
  std::array<Element, kUsualEntries> elements;
  size_t count = 0;
  while (!line.empty() && count < elements.size()) {
    Element& element = elements[count];
    element.name = take_mps_word(&line);
    if (element.name.empty()) break;
    const std::string_view number = take_mps_word(&line);
    element.row = con_table_.find(element.name);
    if (element.row < 0 && !is_objective(element.name)) return false;
    if (!parse_plain(number, &element.value) || !std::isfinite(element.value)) return false;
    ++count;
  }
  if (count == 0 || !trim_blanks(line).empty()) return false;
  if (!is_open_column(column)) {
    *status = begin_column(column);
    if (!status->ok()) return true;
  }
  for (size_t i = 0; i < count && status->ok(); ++i) {
    *status = add_element(elements[i].row, elements[i].value, elements[i].name);
  }
  return true;
}

Status MpsReader::data_line(std::string_view line) {
  if (trim_blanks(line).empty()) return {};
  if (section_ == nullptr) return text_.error(trim_blanks(line), "a section was expected");
  if (section_->shape == Shape::kWord) return (this->*section_->begin)(trim_blanks(line));
  if (fixed_ && arrange_columns(line)) return (this->*section_->line)(line_);
  applied_ = false;
  Status status = split_at_blanks(line);
  if (status.ok()) status = arrange_words(line);
  if (status.ok()) status = (this->*section_->line)(line_);
  if (status.ok() || free_ || fixed_ || applied_ || !arrange_columns(line)) return status;
  if (!(this->*section_->line)(line_).ok()) return status;
  fixed_ = true;
  return {};
}

// A word that begins with '$' and is no name, but for the first one, ends the line.
Status MpsReader::split_at_blanks(std::string_view line) {
  words_.clear();
  while (true) {
    const std::string_view word = take_mps_word(&line);
    if (word.empty()) return {};
    if (word[0] == '$' && !may_be_name(word)) return {};
    if (words_.size() == kMostWords) return text_.error(word, "too many words in a line");
    words_.push_back(word);
  }
}

bool MpsReader::may_be_name(std::string_view word) const {
  return words_.empty() || is_known(word) || (section_->shape == Shape::kRow && words_.size() == 1);
}

Status MpsReader::arrange_words(std::string_view line) {
  const std::string_view line_end = line.substr(line.size());
  const size_t count = words_.size();
  line_.type = line_.head = {};
  line_.rest.clear();
  switch (section_->shape) {
    case Shape::kRow:
      if (count > 2) return text_.error(words_[2], "the end of the line was expected");
      if (count < 2) return text_.error(line_end, "the name of a row was expected");
      line_.type = words_[0];
      line_.head = words_[1];
      return {};
    case Shape::kBound:
      return arrange_bound(line_end);
    default:
      break;
  }
  const bool has_head = section_->shape == Shape::kEntries || count % 2 == 1;
  if (has_head) line_.head = words_[0];
  line_.rest.assign(words_.begin() + (has_head ? 1 : 0), words_.end());
  if (line_.rest.empty()) return text_.error(line_end, "a name and a number were expected");
  return {};
}

// What stands in columns: ' UP BND       X         4' and the like.
bool MpsReader::arrange_columns(std::string_view line) {
  if (!split_at_columns(line, &fields_)) return false;
  line_.type = fields_[0];
  line_.head = fields_[1];
  line_.rest.clear();
  const bool has_type = section_->shape == Shape::kRow || section_->shape == Shape::kBound;
  if (has_type == fields_[0].empty()) return false;
  size_t last = fields_.size();
  while (last > 2 && fields_[last - 1].empty()) --last;
  line_.rest.assign(fields_.begin() + 2, fields_.begin() + static_cast<std::ptrdiff_t>(last));
  // A marker has its second word where the second name belongs.
  if (line_.rest.size() == 3 && line_.rest[0] == kMarkerWord) {
    line_.rest.erase(line_.rest.begin() + 1);
  }
  if (section_->shape == Shape::kRow) return line_.rest.empty() && !line_.head.empty();
  return !line_.rest.empty() && !line_.rest[0].empty();
}

bool MpsReader::is_known(std::string_view word) const {
  return is_objective(word) || con_table_.find(word) >= 0 || var_table_.find(word) >= 0;
}

Status MpsReader::take_sense(std::string_view word) {
  const std::optional<bool> maximize = find_sense(word);
  if (!maximize) return text_.error(word, "MAX or MIN was expected");
  if (comment_sense_ && model_->maximize != *maximize) {
    warn(word, "the section says another sense than the comment '*SENSE:', it is taken");
  }
  model_->maximize = *maximize;
  sense_ = true;
  return {};
}

// A modelling tool for Python says the sense by a comment. The section goes before it.
void MpsReader::comment_sense(std::string_view word) {
  const std::optional<bool> maximize = find_sense(word);
  if (!maximize) return warn(word, "a sense that is none (Maximize, Minimize), it is not taken");
  if (sense_) {
    if (model_->maximize != *maximize) warn(word, "OBJSENSE says another sense, which is taken");
    return;
  }
  comment_sense_ = true;
  model_->maximize = *maximize;
  if (*maximize) warn(word, "the sense of the objective is taken from this comment");
}

Status MpsReader::take_objective_name(std::string_view word) {
  if (rows_) return text_.error(word, "OBJNAME must come before ROWS");
  wanted_objective_ = word;
  return {};
}

Status MpsReader::begin_rows(std::string_view) {
  if (rows_) return text_.line_error("a second section ROWS");
  rows_ = true;
  return {};
}

Status MpsReader::row_line(const DataLine& line) {
  const char type = line.type.size() == 1 ? static_cast<char>(line.type[0] & ~0x20) : ' ';
  if (std::string_view("NLGE").find(type) == std::string_view::npos) {
    return text_.error(line.type, "the type of a row (N, L, G, E) was expected");
  }
  if (is_objective(line.head)) return text_.error(line.head, "a second row of this name");
  const bool wanted = wanted_objective_.empty() || line.head == wanted_objective_;
  if (type == 'N' && !has_objective_ && wanted) {
    if (con_table_.find(line.head) >= 0) {
      return text_.error(line.head, "a second row of this name");
    }
    has_objective_ = true;
    model_->objective_name = line.head;
    return {};
  }
  if (row_type_.size() == std::numeric_limits<int32_t>::max()) {
    return text_.error(line.head, "too many rows");
  }
  const auto index = static_cast<int32_t>(row_type_.size());
  if (con_table_.insert(line.head, index) != index) {
    return text_.error(line.head, "a second row of this name");
  }
  model_->con_names.add(line.head);
  row_type_.push_back(type);
  return {};
}

Status MpsReader::begin_columns(std::string_view) {
  if (!rows_) return text_.line_error("COLUMNS before ROWS");
  if (columns_) return text_.line_error("a second section COLUMNS");
  columns_ = true;
  if (!has_objective_ && !wanted_objective_.empty()) {
    return text_.line_error("there is no row '" + printable(wanted_objective_) +
                            "' of type N, as OBJNAME says");
  }
  const size_t count = row_type_.size();
  model_->con_lower.assign(count, 0.0);
  model_->con_upper.assign(count, 0.0);
  row_flags_.assign(count, 0);
  row_column_.assign(count, -1);
  return {};
}

Status MpsReader::column_line(const DataLine& line) {
  if (line.rest.size() == 2 && line.rest[0] == kMarkerWord) return marker_line(line);
  if (is_bare_marker(line)) {
    return text_.error(line.rest[0], "the words of a marker stand in quotes, as 'MARKER' 'INTORG'");
  }
  Status status = find_entries(line, 0);
  if (!status.ok()) return status;
  for (const Entry& entry : entries_) {
    if (!std::isfinite(entry.number.value)) {
      return text_.error(entry.name, "the coefficient is beyond the largest number");
    }
  }
  if (!is_open_column(line.head)) status = begin_column(line.head);
  for (size_t i = 0; i < entries_.size() && status.ok(); ++i) {
    status = add_element(entries_[i].row, entries_[i].number.value, entries_[i].name);
  }
  return status;
}

bool MpsReader::is_bare_marker(const DataLine& line) const {
  return line.rest.size() == 2 && same_word(line.rest[0], "MARKER") &&
         con_table_.find(line.rest[0]) < 0 && !is_objective(line.rest[0]);
}

Status MpsReader::marker_line(const DataLine& line) {
  const std::string_view word = line.rest[1];
  if (!same_word(word, "'INTORG'") && !same_word(word, "'INTEND'")) {
    return text_.error(word, "'INTORG' or 'INTEND' was expected");
  }
  integer_ = same_word(word, "'INTORG'");
  return {};
}

Status MpsReader::find_entries(const DataLine& line, unsigned dialect) {
  entries_.clear();
  if (line.head.empty() && section_->shape == Shape::kEntries) {
    return text_.error(line.head, "a name was expected");
  }
  for (size_t i = 0; i < line.rest.size(); i += 2) {
    Entry entry = {};
    entry.name = line.rest[i];
    Status status = find_row(entry.name, &entry.row);
    if (!status.ok()) return status;
    const std::string_view number =
        i + 1 < line.rest.size() ? line.rest[i + 1] : std::string_view();
    status = find_number(number, dialect, &entry.number);
    if (!status.ok()) return status;
    entries_.push_back(entry);
  }
  if (entries_.size() > kUsualEntries) {
    warn_once(&said_third_pair_, line.rest[2 * kUsualEntries],
              "more than two pairs of a name and a number in a line, all are taken");
  }
  return {};
}

Status MpsReader::find_row(std::string_view name, int32_t* row) {
  *row = kObjectiveRow;
  if (is_objective(name)) return {};
  *row = con_table_.find(name);
  if (*row >= 0) return {};
  return text_.error(name, "the name of a row was expected",
                     advice_on(model_->con_names, row_type_.size(), name));
}

Status MpsReader::find_number(std::string_view word, unsigned dialect, RangeValue* number) {
  if (parse_range(word, dialect, number)) return {};
  if (!parse_range(word, dialect | kFortranExponents, number)) {
    return text_.error(word, "a number was expected");
  }
  warn_once(&said_fortran_, word, "the D of the number is taken as an E");
  return {};
}

Status MpsReader::begin_column(std::string_view name) {
  close_column();
  applied_ = true;
  int32_t column = -1;
  Status status = add_variable(name, &column);
  if (!status.ok()) return status;
  column_ = column;
  if (integer_) {
    model_->var_kind.back() = VarKind::kInteger;
    bound_flags_.back() = kMarkedInteger;
  }
  return {};
}

Status MpsReader::add_variable(std::string_view name, int32_t* column) {
  if (model_->cost.size() == std::numeric_limits<int32_t>::max()) {
    return text_.error(name, "too many columns");
  }
  *column = model_->num_var();
  if (var_table_.insert(name, *column) != *column) {
    return text_.error(name, "the column has been given before, its lines must be together");
  }
  model_->var_names.add(name);
  model_->cost.push_back(0.0);
  model_->var_lower.push_back(0.0);
  model_->var_upper.push_back(std::numeric_limits<double>::infinity());
  model_->var_kind.push_back(VarKind::kContinuous);
  model_->matrix.start.push_back(static_cast<int64_t>(model_->matrix.row.size()));
  bound_flags_.push_back(0);
  return {};
}

void MpsReader::close_column() {
  if (column_ < 0) return;
  SparseMatrix& matrix = model_->matrix;
  const auto begin = static_cast<size_t>(matrix.start[static_cast<size_t>(column_)]);
  matrix.start[static_cast<size_t>(column_) + 1] = static_cast<int64_t>(matrix.row.size());
  if (!sorted_) sorter_.sort(begin, matrix.row.size(), &matrix);
  sorted_ = true;
  column_ = -1;
}

Status MpsReader::add_element(int32_t row, double value, std::string_view name) {
  applied_ = true;
  if (row == kObjectiveRow) {
    if (objective_column_ == column_) {
      return text_.error(name, "a second coefficient of the column in this row");
    }
    objective_column_ = column_;
    model_->cost.back() = value;
    return {};
  }
  SparseMatrix& matrix = model_->matrix;
  int32_t& last_column = row_column_[static_cast<size_t>(row)];
  if (last_column == column_) {
    return text_.error(name, "a second coefficient of the column in this row");
  }
  last_column = static_cast<int32_t>(column_);
  if (value == 0.0) return {};
  const bool first = static_cast<size_t>(matrix.start.back()) == matrix.row.size();
  if (!first && row < matrix.row.back()) sorted_ = false;
  matrix.row.push_back(row);
  matrix.value.push_back(value);
  return {};
}

void MpsReader::warn(std::string_view word, std::string_view what) {
  warnings_->add(text_.error(word, what).message());
}

void MpsReader::warn_once(bool* said, std::string_view word, std::string_view what) {
  if (!*said) warn(word, what);
  *said = true;
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
