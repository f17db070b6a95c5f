// Reading sets and indicators; see mps_logic.h.
#include "format/mps/mps_logic.h"

#include <algorithm>

#include "file/numbers.h"
#include "format/common/model_check.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan {
namespace {

// Data lines have a place, but no word at fault, once they are past.
Status line_fault(const MpsReading& reading, int64_t line, const std::string& what) {
  return {Code::kErrFileContent, format_text("%s:%lld: %s", reading.shown_name.c_str(),
                                             static_cast<long long>(line), what.c_str())};
}

bool is_number(std::string_view word) {
  double value = 0.0;
  return parse_double(word, &value);
}

}  // namespace

Status MpsLogic::take_set(const MpsLine& line) {
  const bool opens = !line.type.empty() && !is_member(line);
  return opens ? open_set(line) : add_member(line);
}

// A column may be called S1: ' S1 3' is its weight, where a set is open.
bool MpsLogic::is_member(const MpsLine& line) const {
  return set_line_ > 0 && line.rest.empty() && columns_.find(line.type) >= 0 &&
         is_number(line.head);
}

// S1 [SET] [NAME] [PRIORITY]; the sets' set, SOS as a rule, and the priority mean nothing here.
Status MpsLogic::open_set(const MpsLine& line) {
  Status status = end_sets();
  if (!status.ok()) return status;
  const size_t count = line.rest.size();
  if (count > 2) return reading_.text.error(line.rest[2], "the end of the line was expected");
  const bool has_set = count == 2 || (count == 1 && !is_number(line.rest[0]));
  reading_.model.set_names.add(has_set ? line.rest[0] : line.head);
  OrderedSet& set = reading_.model.sets.emplace_back();
  set.kind = line.type.back() == '1' ? SetKind::kSos1 : SetKind::kSos2;
  set_line_ = reading_.text.line_number();
  reading_.applied = true;
  return {};
}

// [SET] COLUMN WEIGHT
Status MpsLogic::add_member(const MpsLine& line) {
  const std::string_view first = line.type.empty() ? line.head : line.type;
  if (set_line_ == 0) return reading_.text.error(first, "a set, 'S1' or 'S2', was expected");
  const bool typed = !line.type.empty();
  const size_t count = line.rest.size();
  if (!typed && count > 2) {
    return reading_.text.error(line.rest[2], "the end of the line was expected");
  }
  const std::string_view name = !typed && count == 2 ? line.rest[0] : first;
  const std::string_view word = typed        ? line.head
                                : count == 0 ? std::string_view()
                                             : line.rest.back();
  int32_t column = -1;
  Status status = columns_.find(name, &column);
  RangeValue weight = {};
  if (status.ok()) status = entries_.find_number(word, 0, &weight);
  if (!status.ok()) return status;
  OrderedSet& set = reading_.model.sets.back();
  set.vars.push_back(column);
  set.weights.push_back(weight.value);
  reading_.applied = true;
  return {};
}

Status MpsLogic::end_sets() {
  if (set_line_ == 0) return {};
  OrderedSet& set = reading_.model.sets.back();
  sort_members(&set);
  const std::string fault = find_set_fault(reading_.model, set);
  const std::string_view name = reading_.model.set_names[reading_.model.sets.size() - 1];
  // The set stays open then: the line that ends it may be tried in columns, and must fail again.
  if (!fault.empty()) {
    return line_fault(reading_, set_line_, "set '" + printable(name) + "': " + fault);
  }
  set_line_ = 0;
  return {};
}

// IF ROW COLUMN VALUE
Status MpsLogic::take_indicator(const MpsLine& line) {
  if (!same_word(line.type, "IF")) return reading_.text.error(line.type, "'IF' was expected");
  if (line.rest.size() > 2) {
    return reading_.text.error(line.rest[2], "the end of the line was expected");
  }
  Indicator indicator = {};
  Status status = find_row(line.head, &indicator.con);
  if (!status.ok()) return status;
  if (line.rest.size() < 2) {
    return reading_.text.error({}, "a binary column and its value, 0 or 1, were expected");
  }
  status = columns_.find(line.rest[0], &indicator.binary);
  RangeValue value = {};
  if (status.ok()) status = entries_.find_number(line.rest[1], 0, &value);
  if (!status.ok()) return status;
  if (value.value != 0.0 && value.value != 1.0) {
    return reading_.text.error(line.rest[1], "the value of an indicator is 0 or 1");
  }
  indicator.active = value.value == 1.0;
  conditions_.push_back({indicator, reading_.text.line_number()});
  reading_.applied = true;
  return {};
}

Status MpsLogic::find_row(std::string_view name, int32_t* row) const {
  Status status = rows_.find(name, row);
  if (!status.ok() || *row != MpsRows::kObjective) return status;
  return reading_.text.error(name, "the name of a constraint was expected");
}

Status MpsLogic::finish() {
  std::stable_sort(
      conditions_.begin(), conditions_.end(),
      [](const Condition& a, const Condition& b) { return a.indicator.con < b.indicator.con; });
  Model& model = reading_.model;
  for (const Condition& condition : conditions_) {
    const Indicator& indicator = condition.indicator;
    std::string fault = find_indicator_fault(model, indicator);
    if (!model.indicators.empty() && model.indicators.back().con == indicator.con) {
      fault =
          "a second condition of row '" + printable(model.con_names[index(indicator.con)]) + "'";
    }
    if (!fault.empty()) return line_fault(reading_, condition.line, fault);
    model.indicators.push_back(indicator);
  }
  return {};
}

}  // namespace vorlan
