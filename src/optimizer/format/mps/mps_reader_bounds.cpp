// What follows the columns of an MPS file: right-hand sides, ranges, bounds and quadratic terms,
// and what they come to in the end; see mps_reader.h.
#include <algorithm>
#include <cmath>
#include <limits>

#include "file/numbers.h"
#include "format/common/byte_codes.h"
#include "format/common/nearest.h"
#include "format/mps/mps_names.h"
#include "format/mps/mps_reader.h"
#include "task/text.h"

namespace vorlan {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Flags of a row.
constexpr uint8_t kHasRhs = 1;
constexpr uint8_t kHasRange = 2;
constexpr uint8_t kHasWideRange = 4;

bool is_infinity(double value, double sign) { return sign * value >= kMpsInfinity; }

}  // namespace

// What a bound's type does to the two bounds and the kind of the variable.
struct MpsReader::BoundType {
  enum class Side : uint8_t { kKept, kValue, kInfinite, kZero, kOne };
  std::string_view word;
  Side lower, upper;
  bool integer, semi_continuous;

  bool has_value() const { return lower == Side::kValue || upper == Side::kValue; }
};

const MpsReader::BoundType* MpsReader::find_bound_type(std::string_view word) {
  using Side = BoundType::Side;
  static constexpr BoundType kTypes[] = {
      {"UP", Side::kKept, Side::kValue, false, false},
      {"LO", Side::kValue, Side::kKept, false, false},
      {"FX", Side::kValue, Side::kValue, false, false},
      {"FR", Side::kInfinite, Side::kInfinite, false, false},
      {"MI", Side::kInfinite, Side::kKept, false, false},
      {"PL", Side::kKept, Side::kInfinite, false, false},
      {"BV", Side::kZero, Side::kOne, true, false},
      {"LI", Side::kValue, Side::kKept, true, false},
      {"UI", Side::kKept, Side::kValue, true, false},
      {"SC", Side::kKept, Side::kValue, false, true},
      {"SI", Side::kKept, Side::kValue, true, true},
  };
  const auto* const found =
      std::find_if(std::begin(kTypes), std::end(kTypes),
                   [word](const BoundType& type) { return same_word(word, type.word); });
  return found == std::end(kTypes) ? nullptr : found;
}

Status MpsReader::begin_after_columns(std::string_view) {
  return columns_ ? Status() : text_.line_error("the section must come behind COLUMNS");
}

// The first set counts; a line without a set belongs to it.
bool MpsReader::in_set(std::string_view set, ChosenSet* chosen) {
  if (chosen->name.empty()) chosen->name = set;
  if (set.empty() || set == chosen->name) return true;
  warn_once(&chosen->said, set, "only the first set '" + printable(chosen->name) + "' is taken");
  return false;
}

Status MpsReader::rhs_line(const DataLine& line) {
  Status status = find_entries(line, kInfinityWords);
  if (!status.ok()) return status;
  applied_ = true;
  if (!in_set(line.head, &rhs_set_)) return {};
  for (const Entry& entry : entries_) set_rhs(entry);
  return {};
}

void MpsReader::set_rhs(const Entry& entry) {
  const double value = entry.number.value;
  if (entry.row == kObjectiveRow) {
    if (objective_rhs_) warn(entry.name, "a second right-hand side of this row, it is taken");
    objective_rhs_ = true;
    model_->constant = exact_numbers_ ? -value : 0.0 - value;  // else 0 would give -0
    return;
  }
  const auto row = static_cast<size_t>(entry.row);
  if (row_type_[row] == 'N') return warn(entry.name, "a right-hand side of a free row is dropped");
  if ((row_flags_[row] & kHasRhs) != 0) {
    warn(entry.name, "a second right-hand side of this row, it is taken");
  }
  row_flags_[row] |= kHasRhs;
  model_->con_lower[row] = value;
}

Status MpsReader::range_line(const DataLine& line) {
  Status status = find_entries(line, kInfinityWords);
  if (!status.ok()) return status;
  applied_ = true;
  if (!in_set(line.head, &range_set_)) return {};
  for (const Entry& entry : entries_) set_range(entry);
  return {};
}

// Kept to the end, since right-hand sides may come later.
void MpsReader::set_range(const Entry& entry) {
  const auto row = static_cast<size_t>(entry.row);
  if (entry.row == kObjectiveRow || row_type_[row] == 'N') {
    return warn(entry.name, "a range of a free row is dropped");
  }
  uint8_t& flags = row_flags_[row];
  if ((flags & kHasRange) != 0) warn(entry.name, "a second range of this row, it is taken");
  flags = static_cast<uint8_t>((flags & ~kHasWideRange) | kHasRange);
  model_->con_upper[row] = entry.number.value;
  if (!entry.number.is_wide) return;
  flags |= kHasWideRange;
  wide_ranges_.emplace_back(entry.row, entry.number.wide_value);
}

// The set may be missing, and behind a type that needs no value there may be one: the number of
// words tells, and where it does not, whether the word is a column.
Status MpsReader::arrange_bound(std::string_view line_end) {
  const size_t count = words_.size();
  line_.type = words_[0];
  const BoundType* const type = find_bound_type(words_[0]);
  if (type == nullptr) return text_.error(words_[0], "the type of a bound was expected");
  const size_t usual = type->has_value() ? 4 : 3;
  if (count > 4) return text_.error(words_[4], "the end of the line was expected");
  if (count + 1 < usual) return text_.error(line_end, "a column was expected");
  const bool value_instead =
      count == 3 && usual == 3 && var_table_.find(words_[2]) < 0 && var_table_.find(words_[1]) >= 0;
  const bool has_set = count >= usual && !value_instead;
  if (has_set) line_.head = words_[1];
  line_.rest.assign(words_.begin() + (has_set ? 2 : 1), words_.end());
  return {};
}

Status MpsReader::bound_line(const DataLine& line) {
  const BoundType* const type = find_bound_type(line.type);
  if (type == nullptr) return text_.error(line.type, "the type of a bound was expected");
  RangeValue number = {};
  if (type->has_value()) {
    const std::string_view word = line.rest.size() > 1 ? line.rest[1] : std::string_view();
    Status status = find_number(word, kInfinityWords, &number);
    if (!status.ok()) return status;
  }
  applied_ = true;
  if (!in_set(line.head, &bound_set_)) return {};
  int32_t column = var_table_.find(line.rest[0]);
  if (column < 0) {
    const std::string help =
        warnings_->full() ? "" : advice_on(model_->var_names, model_->cost.size(), line.rest[0]);
    Status status = add_variable(line.rest[0], &column);
    if (!status.ok()) return status;
    warnings_->add(
        text_.error(line.rest[0], "a bound of a column without elements, which is added", help)
            .message());
  }
  apply_bound(*type, static_cast<size_t>(column), number.value);
  return {};
}

void MpsReader::apply_bound(const BoundType& type, size_t column, double value) {
  using Side = BoundType::Side;
  const std::string_view name = line_.rest[0];
  const std::string_view word = type.has_value() ? line_.rest[1] : name;
  const auto side_value = [&](Side side, double sign) {
    if (side == Side::kZero || side == Side::kOne) return side == Side::kOne ? 1.0 : 0.0;
    if (side == Side::kInfinite || (!exact_numbers_ && is_infinity(value, sign))) {
      return sign * kInf;
    }
    return value;
  };
  const auto used = static_cast<uint8_t>((type.lower != Side::kKept ? kHasLower : 0) |
                                         (type.upper != Side::kKept ? kHasUpper : 0));
  uint8_t& flags = bound_flags_[column];
  if ((flags & used) != 0) warn(word, "a second bound on this side of the column, it is taken");
  flags |= static_cast<uint8_t>(used | kHasBound);
  if ((used & kHasLower) != 0) model_->var_lower[column] = side_value(type.lower, -1.0);
  if ((used & kHasUpper) != 0) model_->var_upper[column] = side_value(type.upper, 1.0);
  if (type.upper == Side::kValue && type.lower == Side::kKept && !type.semi_continuous &&
      value < 0.0 && (flags & kHasLower) == 0) {
    negative_uppers_.emplace_back(static_cast<int32_t>(column), text_.line_number());
  }
  if (type.has_value() && !exact_numbers_ && std::isfinite(value) && std::fabs(value) >= 1e20 &&
      std::fabs(value) < kMpsInfinity) {
    warn_once(&said_large_, word, "a bound below 1e30 is taken as a number");
  }
  if (type.integer && type.has_value() && value != std::floor(value)) {
    warn(word, "a bound of an integer column is no integer");
  }
  set_kind(type, column, word);
}

// SC takes a column out of the integers, as readers have it; SI says both.
void MpsReader::set_kind(const BoundType& type, size_t column, std::string_view word) {
  VarKind& kind = model_->var_kind[column];
  const bool was_integer = is_integer(kind);
  const bool was_semi = is_semi(kind);
  const bool only_semi = type.semi_continuous && !type.integer;
  const bool integer = type.integer || (was_integer && !only_semi);
  if (only_semi && was_integer) warn(word, "the bound SC makes the column continuous");
  if (type.semi_continuous || was_semi) {
    kind = integer ? VarKind::kSemiInteger : VarKind::kSemiContinuous;
  } else {
    kind = integer ? VarKind::kInteger : VarKind::kContinuous;
  }
}

Status MpsReader::begin_quadratic(MpsQuadraticKind kind, int32_t con) {
  if (!columns_) return text_.line_error("the section must come behind COLUMNS");
  quadratic_.begin_section(kind, con);
  return {};
}

Status MpsReader::begin_quad_obj(std::string_view) {
  return begin_quadratic({false, 1.0}, MpsQuadratic::kObjective);
}

Status MpsReader::begin_q_matrix(std::string_view) {
  return begin_quadratic({true, 1.0}, MpsQuadratic::kObjective);
}

Status MpsReader::begin_q_section(std::string_view argument) {
  int32_t row = kObjectiveRow;
  Status status = argument.empty() ? Status() : find_row(argument, &row);
  if (!status.ok()) return status;
  return begin_quadratic({false, 1.0}, row == kObjectiveRow ? MpsQuadratic::kObjective : row);
}

// The elements are those of x'Qx, without the half.
Status MpsReader::begin_qc_matrix(std::string_view argument) {
  int32_t row = kObjectiveRow;
  Status status = find_row(argument, &row);
  if (!status.ok()) return status;
  if (row == kObjectiveRow) return text_.error(argument, "the name of a constraint was expected");
  return begin_quadratic({true, 2.0}, row);
}

Status MpsReader::quadratic_line(const DataLine& line) {
  int32_t first = -1;
  Status status = find_column(line.head, &first);
  if (!status.ok()) return status;
  for (const bool apply : {false, true}) {
    applied_ = applied_ || apply;
    for (size_t i = 0; i < line.rest.size(); i += 2) {
      int32_t second = -1;
      status = find_column(line.rest[i], &second);
      if (!status.ok()) return status;
      const std::string_view word =
          i + 1 < line.rest.size() ? line.rest[i + 1] : std::string_view();
      RangeValue number = {};
      status = find_number(word, 0, &number);
      if (!status.ok()) return status;
      if (!std::isfinite(quadratic_.factor() * number.value)) {
        return text_.error(word, "the coefficient is beyond the largest number");
      }
      if (apply) quadratic_.add(first, second, number.value, text_.line_number());
    }
  }
  return {};
}

Status MpsReader::find_column(std::string_view name, int32_t* column) {
  *column = var_table_.find(name);
  if (*column >= 0) return {};
  return text_.error(name, "the name of a column was expected",
                     advice_on(model_->var_names, model_->cost.size(), name));
}

Status MpsReader::end_data(std::string_view) {
  if (!columns_) return text_.line_error("ENDATA before COLUMNS");
  ended_ = true;
  return {};
}

Status MpsReader::finish() {
  Status status = line_fault(quadratic_.finish(model_));
  if (status.ok()) status = finish_constraints();
  if (!status.ok()) return status;
  finish_bounds();
  if (!encoded_names_) return {};
  model_->name = decode_name(model_->name);
  model_->objective_name = decode_name(model_->objective_name);
  model_->var_names = decode_mps_names(model_->var_names, model_->cost.size());
  model_->con_names = decode_mps_names(model_->con_names, row_type_.size());
  return {};
}

Status MpsReader::finish_constraints() {
  const auto set_sides = [this](size_t row, Sides sides) {
    const bool is_equation = row_type_[row] == 'E' && (row_flags_[row] & kHasRange) == 0;
    const bool mapped = !exact_numbers_ && !is_equation;
    if (mapped && is_infinity(sides.lower, -1.0)) sides.lower = -kInf;
    if (mapped && is_infinity(sides.upper, 1.0)) sides.upper = kInf;
    model_->con_lower[row] = sides.lower;
    model_->con_upper[row] = sides.upper;
  };
  const auto rhs_is_finite = [this](size_t row) { return std::isfinite(model_->con_lower[row]); };
  // The wide ranges first: the right-hand sides are still in place. The last one of a row counts.
  for (size_t k = wide_ranges_.size(); k-- > 0;) {
    const auto& [wide_row, range] = wide_ranges_[k];
    const auto row = static_cast<size_t>(wide_row);
    if ((row_flags_[row] & kHasWideRange) == 0 || !rhs_is_finite(row)) continue;
    set_sides(row, ranged_sides(row_type_[row], model_->con_lower[row], range));
    row_flags_[row] = 0;
    row_type_[row] = ' ';  // done
  }
  for (size_t row = 0; row < row_type_.size(); ++row) {
    if (row_type_[row] == ' ') continue;
    const double rhs = model_->con_lower[row];
    if ((row_flags_[row] & kHasRange) == 0) {
      set_sides(row, sides_of(row_type_[row], rhs));
      continue;
    }
    if (!rhs_is_finite(row)) {
      return text_.line_error("row '" + printable(model_->con_names[row]) +
                              "' has a range but an infinite right-hand side");
    }
    set_sides(row, ranged_sides(row_type_[row], rhs, model_->con_upper[row]));
  }
  return {};
}

void MpsReader::finish_bounds() {
  int64_t num_binary = 0;
  std::string first_binary;
  for (size_t column = 0; column < bound_flags_.size(); ++column) {
    if (bound_flags_[column] != kMarkedInteger) continue;
    model_->var_upper[column] = 1.0;
    if (num_binary++ == 0) first_binary = printable(model_->var_names[column]);
  }
  if (num_binary > 0) {
    warnings_->add(format_text("%s: integer columns without bounds are taken as 0 or 1: '%s'%s",
                               shown_name_.c_str(), first_binary.c_str(),
                               num_binary > 1 ? " and others" : ""));
  }
  for (const auto& [column, line] : negative_uppers_) {
    const auto index = static_cast<size_t>(column);
    if ((bound_flags_[index] & kHasLower) != 0) continue;
    warnings_->add(
        format_text("%s:%lld: the upper bound of column '%s' is below 0, its lower bound stays 0",
                    shown_name_.c_str(), static_cast<long long>(line),
                    printable(model_->var_names[index]).c_str()));
  }
}

Status MpsReader::line_fault(const MpsQuadratic::Fault& fault) const {
  if (fault.what.empty()) return {};
  return {Code::kErrFileContent,
          format_text("%s:%lld: %s", shown_name_.c_str(), static_cast<long long>(fault.line),
                      fault.what.c_str())};
}

}  // namespace vorlan
