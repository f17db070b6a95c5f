// Constraints that hold under a condition, as constraints that always hold: where the condition is
// not met, what is added to their sides is as much as they can ask for.
#include <algorithm>
#include <cmath>

#include "solve/reformulate/reformulation.h"
#include "task/numeric.h"
#include "task/text.h"

namespace vorlan::reformulate {
namespace {

std::string shown_row(const Model& model, int32_t con) {
  const std::string_view name = model.con_names[index(con)];
  if (name.empty()) return format_text("the indicator of constraint %d", con);
  return "the indicator of constraint '" + std::string(name) + '\'';
}

// The terms of each indicator's constraint.
std::vector<std::vector<Term>> collect_rows(const Model& model) {
  std::vector<int32_t> place(model.con_lower.size(), -1);
  for (size_t i = 0; i < model.indicators.size(); ++i) {
    place[index(model.indicators[i].con)] = static_cast<int32_t>(i);
  }
  std::vector<std::vector<Term>> rows(model.indicators.size());
  for (int32_t var = 0; var < model.num_var(); ++var) {
    const size_t end = index(model.matrix.start[index(var) + 1]);
    for (size_t k = index(model.matrix.start[index(var)]); k < end; ++k) {
      const int32_t i = place[index(model.matrix.row[k])];
      if (i >= 0 && model.matrix.value[k] != 0.0) {
        rows[index(i)].push_back({var, model.matrix.value[k]});
      }
    }
  }
  return rows;
}

std::vector<Term> negated(std::vector<Term> terms) {
  for (Term& term : terms) term.coefficient = -term.coefficient;
  return terms;
}

}  // namespace

Status Reformulation::add_indicators() {
  if (user_.indicators.empty()) return {};
  const std::vector<std::vector<Term>> rows = collect_rows(user_);
  for (size_t i = 0; i < rows.size(); ++i) {
    Status status = add_indicator(user_.indicators[i], rows[i]);
    if (!status.ok()) return status;
  }
  return {};
}

// The constraint keeps its place with its upper side, or else its lower one; the other side of two
// gets a constraint of its own.
Status Reformulation::add_indicator(const Indicator& indicator, const std::vector<Term>& row) {
  const auto con = index(indicator.con);
  const double lower = user_.con_lower[con];
  const double upper = user_.con_upper[con];
  double value = 0.0;
  if (is_fixed(indicator.binary, &value)) {
    if ((value == 1.0) == indicator.active) return {};
    model_.con_lower()[con] = -kInfinity;
    model_.con_upper()[con] = kInfinity;
    return {};
  }
  int32_t second = indicator.con;
  if (upper < kInfinity && lower > -kInfinity) {
    second = model_.add_row(-kInfinity, kInfinity);
    for (const Term& term : row) model_.add_term(second, term.var, term.coefficient);
  }
  Status status;
  if (upper < kInfinity) status = add_indicator_side(indicator, indicator.con, row, upper);
  if (!status.ok() || lower == -kInfinity) return status;
  // -a'x <= -lower, and the constraint has a'x.
  return add_indicator_side(indicator, -1 - second, negated(row), -lower);
}

// sum of terms <= side where the indicator is active, and <= side + room elsewhere. The constraint
// has these terms; -1 - con stands for one that has them negated.
Status Reformulation::add_indicator_side(const Indicator& indicator, int32_t con,
                                         const std::vector<Term>& terms, double side) {
  const double sign = con < 0 ? -1.0 : 1.0;
  const int32_t row = con < 0 ? -1 - con : con;
  if (side == -kInfinity) {  // nothing is below it: the indicator cannot be active
    const double inactive = indicator.active ? 0.0 : 1.0;
    model_.add_term(model_.add_row(inactive, inactive), indicator.binary, 1.0);
    model_.con_lower()[index(row)] = -kInfinity;
    model_.con_upper()[index(row)] = kInfinity;
    return {};
  }
  // What is within the tolerance of the constraint itself is none: so small a coefficient is lost.
  constexpr double kLeastRoom = 1e-6;
  double room = bounds_.most(terms) - side;
  const double size = std::max(1.0, std::fabs(side));
  if (room <= kLeastRoom * size) room = 0.0;
  if (!(room <= kFarthest * size))
    return refuse(shown_row(user_, indicator.con), bounds_.culprit(terms));
  note_size(room);
  model_.add_term(row, indicator.binary, sign * (indicator.active ? room : -room));
  const double end = indicator.active ? side + room : side;
  model_.con_lower()[index(row)] = sign > 0.0 ? -kInfinity : -end;
  model_.con_upper()[index(row)] = sign > 0.0 ? end : kInfinity;
  return {};
}

}  // namespace vorlan::reformulate
