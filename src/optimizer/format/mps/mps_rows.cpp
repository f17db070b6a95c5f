// Rows and their sides; see mps_rows.h.
#include "format/mps/mps_rows.h"

#include <cmath>
#include <limits>

#include "format/common/nearest.h"
#include "task/numeric.h"

namespace vorlan {
namespace {

// The facts that are kept of a row.
constexpr uint8_t kHasRhs = 1;
constexpr uint8_t kHasRange = 2;
constexpr uint8_t kHasWideRange = 4;

constexpr char kFree = 'N';
constexpr char kFinished = ' ';  // the type of a row whose sides are set

}  // namespace

MpsRows::MpsRows(MpsReading* reading) : reading_(*reading), table_(&reading->model.con_names) {}

Status MpsRows::add(std::string_view type, std::string_view name) {
  const char letter = type.size() == 1 ? static_cast<char>(type[0] & ~0x20) : ' ';
  if (std::string_view("NLGE").find(letter) == std::string_view::npos) {
    return reading_.text.error(type, "the type of a row (N, L, G, E) was expected");
  }
  if (is_objective(name)) return reading_.text.error(name, "a second row of this name");
  const bool wanted = wanted_objective_.empty() || name == wanted_objective_;
  if (letter == kFree && !has_objective_ && wanted) {
    if (find(name) >= 0) return reading_.text.error(name, "a second row of this name");
    has_objective_ = true;
    reading_.model.objective_name = name;
    return {};
  }
  if (size() == std::numeric_limits<int32_t>::max()) {
    return reading_.text.error(name, "too many rows");
  }
  const auto row = static_cast<int32_t>(size());
  if (table_.insert(name, row) != row) {
    return reading_.text.error(name, "a second row of this name");
  }
  reading_.model.con_names.add(name);
  type_.push_back(letter);
  return {};
}

Status MpsRows::end() {
  if (!has_objective_ && !wanted_objective_.empty()) {
    return reading_.text.line_error("there is no row '" + printable(wanted_objective_) +
                                    "' of type N, as OBJNAME says");
  }
  reading_.model.con_lower.assign(size(), 0.0);
  reading_.model.con_upper.assign(size(), 0.0);
  flags_.assign(size(), 0);
  return {};
}

Status MpsRows::find(std::string_view name, int32_t* row) const {
  *row = kObjective;
  if (is_objective(name)) return {};
  *row = find(name);
  if (*row >= 0) return {};
  return reading_.text.error(name, "the name of a row was expected",
                             advice_on(reading_.model.con_names, size(), name));
}

void MpsRows::set_rhs(int32_t row, double value, std::string_view name) {
  if (row == kObjective) {
    if (objective_has_rhs_) {
      reading_.warn(name, "a second right-hand side of this row, it is taken");
    }
    objective_has_rhs_ = true;
    // The constant is its negative. A file whose numbers are not exact means no -0.
    reading_.model.constant = reading_.exact_numbers ? -value : 0.0 - value;
    return;
  }
  if (type_[index(row)] == kFree) {
    return reading_.warn(name, "a right-hand side of a free row is dropped");
  }
  uint8_t& flags = flags_[index(row)];
  if ((flags & kHasRhs) != 0) {
    reading_.warn(name, "a second right-hand side of this row, it is taken");
  }
  flags |= kHasRhs;
  reading_.model.con_lower[index(row)] = value;
}

void MpsRows::set_range(int32_t row, const RangeValue& range, std::string_view name) {
  if (row == kObjective || type_[index(row)] == kFree) {
    return reading_.warn(name, "a range of a free row is dropped");
  }
  uint8_t& flags = flags_[index(row)];
  if ((flags & kHasRange) != 0) {
    reading_.warn(name, "a second range of this row, it is taken");
  }
  flags = static_cast<uint8_t>((flags & ~kHasWideRange) | kHasRange);
  reading_.model.con_upper[index(row)] = range.value;
  if (!range.is_wide) return;
  flags |= kHasWideRange;
  wide_ranges_.emplace_back(row, range.wide_value);
}

Status MpsRows::finish() {
  finish_wide_ranges();
  for (size_t row = 0; row < size(); ++row) {
    if (type_[row] == kFinished) continue;
    const double rhs = reading_.model.con_lower[row];
    if ((flags_[row] & kHasRange) == 0) {
      set_sides(row, sides_of(type_[row], rhs));
      continue;
    }
    if (!has_finite_rhs(row)) {
      return reading_.text.line_error("row '" + printable(reading_.model.con_names[row]) +
                                      "' has a range but an infinite right-hand side");
    }
    set_sides(row, ranged_sides(type_[row], rhs, reading_.model.con_upper[row]));
  }
  return {};
}

// These come first, while the right-hand sides are still in place. The last one of a row counts.
void MpsRows::finish_wide_ranges() {
  for (size_t k = wide_ranges_.size(); k-- > 0;) {
    const auto& [wide_row, range] = wide_ranges_[k];
    const size_t row = index(wide_row);
    if ((flags_[row] & kHasWideRange) == 0 || !has_finite_rhs(row)) continue;
    set_sides(row, ranged_sides(type_[row], reading_.model.con_lower[row], range));
    flags_[row] = 0;
    type_[row] = kFinished;
  }
}

bool MpsRows::has_finite_rhs(size_t row) const {
  return std::isfinite(reading_.model.con_lower[row]);
}

// The side of an equation stays the number that it is, however large.
void MpsRows::set_sides(size_t row, Sides sides) {
  const bool is_equation = type_[row] == 'E' && (flags_[row] & kHasRange) == 0;
  const bool mapped = !reading_.exact_numbers && !is_equation;
  if (mapped && is_mps_infinity(-sides.lower)) sides.lower = -kInfinity;
  if (mapped && is_mps_infinity(sides.upper)) sides.upper = kInfinity;
  reading_.model.con_lower[row] = sides.lower;
  reading_.model.con_upper[row] = sides.upper;
}

}  // namespace vorlan
