// Applying bounds; see mps_bounds.h.
#include "format/mps/mps_bounds.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

#include "file/numbers.h"
#include "format/common/nearest.h"
#include "format/mps/mps_lines.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Some programs mean infinity by this. Here it is a number, which is told.
constexpr double kSomeInfinity = 1e20;

}  // namespace

const MpsBoundType* find_mps_bound_type(std::string_view word) {
  using Side = MpsBoundType::Side;
  static constexpr MpsBoundType kTypes[] = {
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
                   [word](const MpsBoundType& type) { return same_word(word, type.word); });
  return found == std::end(kTypes) ? nullptr : found;
}

Status MpsBounds::take(const MpsLine& line) {
  const MpsBoundType* const type = find_mps_bound_type(line.type);
  if (type == nullptr) {
    return reading_.text.error(line.type, "the type of a bound was expected");
  }
  const std::string_view name = line.rest[0];
  std::string_view word = name;
  RangeValue number = {};
  if (type->has_value()) {
    word = line.rest.size() > 1 ? line.rest[1] : std::string_view();
    Status status = entries_.find_number(word, kInfinityWords, &number);
    if (!status.ok()) return status;
  }
  reading_.applied = true;
  if (!set_.takes(line.head)) return {};
  int32_t column = -1;
  Status status = find_column(name, &column);
  if (status.ok()) apply(*type, column, number.value, word);
  return status;
}

// A column that the section COLUMNS does not have is added: such files occur.
Status MpsBounds::find_column(std::string_view name, int32_t* column) {
  *column = columns_.find(name);
  if (*column >= 0) return {};
  const Model& model = reading_.model;
  const std::string help = reading_.warnings.full()
                               ? std::string()
                               : advice_on(model.var_names, model.cost.size(), name);
  Status status = columns_.add(name, column);
  if (!status.ok()) return status;
  reading_.warnings.add(
      reading_.text.error(name, "a bound of a column without elements, which is added", help)
          .message());
  return {};
}

void MpsBounds::apply(const MpsBoundType& type, int32_t column, double value,
                      std::string_view word) {
  using Side = MpsBoundType::Side;
  const bool lower = type.lower != Side::kKept;
  const bool upper = type.upper != Side::kKept;
  const int sides = (lower ? MpsColumns::kHasLower : 0) | (upper ? MpsColumns::kHasUpper : 0);
  uint8_t& marks = columns_.marks(column);
  if ((marks & sides) != 0) {
    reading_.warn(word, "a second bound on this side of the column, it is taken");
  }
  marks |= static_cast<uint8_t>(sides | MpsColumns::kHasBound);
  Model& model = reading_.model;
  if (lower) model.var_lower[index(column)] = bound(type.lower, value, -1.0);
  if (upper) model.var_upper[index(column)] = bound(type.upper, value, 1.0);
  const bool only_upper = type.upper == Side::kValue && !lower && !type.semi_continuous;
  if (only_upper && value < 0.0 && (marks & MpsColumns::kHasLower) == 0) {
    negative_uppers_.emplace_back(column, reading_.text.line_number());
  }
  if (type.has_value()) check_value(type, value, word);
  set_kind(type, column, word);
}

double MpsBounds::bound(MpsBoundType::Side side, double value, double sign) const {
  using Side = MpsBoundType::Side;
  if (side == Side::kZero || side == Side::kOne) return side == Side::kOne ? 1.0 : 0.0;
  const bool infinite = !reading_.exact_numbers && is_mps_infinity(sign * value);
  return side == Side::kInfinite || infinite ? sign * kInfinity : value;
}

void MpsBounds::check_value(const MpsBoundType& type, double value, std::string_view word) {
  const double size = std::fabs(value);
  if (!reading_.exact_numbers && size >= kSomeInfinity && size < kMpsInfinity) {
    reading_.warn_once(&said_large_, word, "a bound below 1e30 is taken as a number");
  }
  if (type.integer && value != std::floor(value)) {
    reading_.warn(word, "a bound of an integer column is no integer");
  }
}

// SC takes a column out of the integers, as readers have it; SI says both.
void MpsBounds::set_kind(const MpsBoundType& type, int32_t column, std::string_view word) {
  VarKind& kind = reading_.model.var_kind[index(column)];
  const bool was_integer = is_integer(kind);
  const bool was_semi = is_semi(kind);
  const bool only_semi = type.semi_continuous && !type.integer;
  const bool integer = type.integer || (was_integer && !only_semi);
  if (only_semi && was_integer) {
    reading_.warn(word, "the bound SC makes the column continuous");
  }
  if (type.semi_continuous || was_semi) {
    kind = integer ? VarKind::kSemiInteger : VarKind::kSemiContinuous;
  } else {
    kind = integer ? VarKind::kInteger : VarKind::kContinuous;
  }
}

void MpsBounds::finish() {
  bound_marked_integers();
  for (const auto& [column, line] : negative_uppers_) {
    if ((columns_.marks(column) & MpsColumns::kHasLower) != 0) continue;
    reading_.warnings.add(
        format_text("%s:%lld: the upper bound of column '%s' is below 0, its lower bound stays 0",
                    reading_.shown_name.c_str(), static_cast<long long>(line),
                    printable(reading_.model.var_names[index(column)]).c_str()));
  }
}

// Most programs take integer columns between markers as 0 or 1 where no bound says otherwise.
void MpsBounds::bound_marked_integers() {
  int64_t num_binary = 0;
  std::string first_binary;
  for (int32_t column = 0; column < reading_.model.num_var(); ++column) {
    if (columns_.marks(column) != MpsColumns::kMarkedInteger) continue;
    reading_.model.var_upper[index(column)] = 1.0;
    if (num_binary++ == 0) first_binary = printable(reading_.model.var_names[index(column)]);
  }
  if (num_binary == 0) return;
  reading_.warnings.add(format_text(
      "%s: integer columns without bounds are taken as 0 or 1: '%s'%s", reading_.shown_name.c_str(),
      first_binary.c_str(), num_binary > 1 ? " and others" : ""));
}

}  // namespace vorlan
