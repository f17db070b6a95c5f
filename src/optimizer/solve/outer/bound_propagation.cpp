// Rows wait in a queue while one of their variables has changed. The work for one change is limited,
// since bounds of continuous variables can creep forever.
#include "solve/outer/bound_propagation.h"

#include <algorithm>
#include <cmath>

namespace vorlan::outer {
namespace {

// Violations and bounds are relative to the size of their row's terms.
constexpr double kTolerance = 1e-6;
// A new bound of a continuous variable must be better by this share of its range.
constexpr double kLeastGain = 0.2;
// Larger bounds would be those of rounding.
constexpr double kMostBound = 1e8;
// How many terms are looked at, in multiples of all: for one change, and at the start.
constexpr int64_t kPassesForOne = 1;
constexpr int64_t kPassesOverAll = 10;

}  // namespace

BoundPropagation::BoundPropagation(const Model& model)
    : columns_(model.matrix),
      con_lower_(model.con_lower),
      con_upper_(model.con_upper),
      row_start_(model.con_lower.size() + 1, 0),
      lower_(model.var_lower),
      upper_(model.var_upper),
      queued_(model.con_lower.size(), false),
      idle_(model.con_lower.size(), false) {
  for (size_t j = 0; j < lower_.size(); ++j) {
    integer_.push_back(is_integer(model.var_kind[j]));
    if (!is_semi(model.var_kind[j])) continue;
    lower_[j] = std::min(0.0, lower_[j]);
    upper_[j] = std::max(0.0, upper_[j]);
  }
  for (const int32_t row : columns_.row) ++row_start_[index(row) + 1];
  for (size_t i = 1; i < row_start_.size(); ++i) row_start_[i] += row_start_[i - 1];
  row_var_.resize(columns_.row.size());
  row_value_.resize(columns_.row.size());
  std::vector<size_t> end = row_start_;
  for (size_t j = 0; j < lower_.size(); ++j) {
    for (size_t k = index(columns_.start[j]); k < index(columns_.start[j + 1]); ++k) {
      const size_t place = end[index(columns_.row[k])]++;
      row_var_[place] = static_cast<int32_t>(j);
      row_value_[place] = columns_.value[k];
    }
  }
  for (size_t row = 0; row < idle_.size(); ++row) idle_[row] = !is_worth_a_visit(row);
}

// Long rows without integers, such as the factors of a covariance, bound nothing that integers need.
bool BoundPropagation::is_worth_a_visit(size_t row) const {
  constexpr size_t kLong = 50;
  if (row_start_[row + 1] - row_start_[row] <= kLong) return true;
  return std::any_of(row_var_.begin() + static_cast<ptrdiff_t>(row_start_[row]),
                     row_var_.begin() + static_cast<ptrdiff_t>(row_start_[row + 1]),
                     [this](int32_t var) { return integer_[index(var)]; });
}

void BoundPropagation::queue_rows(int32_t var) {
  for (size_t k = index(columns_.start[index(var)]); k < index(columns_.start[index(var) + 1]);
       ++k) {
    const int32_t row = columns_.row[k];
    if (queued_[index(row)] || idle_[index(row)]) continue;
    queued_[index(row)] = true;
    queue_.push_back(row);
  }
}

bool BoundPropagation::set(int32_t var, double lower, double upper) {
  const auto j = index(var);
  if (integer_[j]) {
    lower = std::ceil(lower - kTolerance);
    upper = std::floor(upper + kTolerance);
  }
  lower = std::max(lower, lower_[j]);
  upper = std::min(upper, upper_[j]);
  if (lower == lower_[j] && upper == upper_[j]) return true;
  if (lower > upper) {
    if (lower > upper + kTolerance * std::max(1.0, std::fabs(upper))) return false;
    lower = upper = std::clamp(0.5 * (lower + upper), lower_[j], upper_[j]);
  }
  changes_.push_back({var, lower_[j], upper_[j]});
  lower_[j] = lower;
  upper_[j] = upper;
  queue_rows(var);
  return true;
}

bool BoundPropagation::tighten_all() {
  for (int32_t row = 0; index(row) < queued_.size(); ++row) queue_.push_back(row);
  queued_.assign(queued_.size(), true);
  return propagate(kPassesOverAll);
}

bool BoundPropagation::tighten(int32_t var, double lower, double upper) {
  const bool possible = set(var, lower, upper);
  return propagate(possible ? kPassesForOne : 0) && possible;
}

// Empties the queue in any case.
bool BoundPropagation::propagate(int64_t passes) {
  constexpr int64_t kAlways = 10000;
  const int64_t most =
      passes == 0 ? 0 : std::max(kAlways, passes * static_cast<int64_t>(row_var_.size()));
  int64_t work = 0;
  bool possible = true;
  // A visit can make the queue longer.
  size_t next = 0;
  while (next < queue_.size()) {
    const int32_t row = queue_[next++];
    queued_[index(row)] = false;
    if (!possible || work >= most) continue;
    work += static_cast<int64_t>(row_start_[index(row) + 1] - row_start_[index(row)]);
    possible = visit(row);
  }
  queue_.clear();
  return possible;
}

double BoundPropagation::least_term(double coefficient, int32_t var) const {
  return coefficient * (coefficient > 0.0 ? lower_[index(var)] : upper_[index(var)]);
}

bool BoundPropagation::visit(int32_t row) {
  const double upper = con_upper_[index(row)];
  const double lower = con_lower_[index(row)];
  if (std::isfinite(upper) && !visit_side(row, 1.0, upper)) return false;
  return !std::isfinite(lower) || visit_side(row, -1.0, -lower);
}

bool BoundPropagation::visit_side(int32_t row, double sign, double rhs) {
  const size_t first = row_start_[index(row)];
  const size_t end = row_start_[index(row) + 1];
  Activity least;
  least.size = std::fabs(rhs);
  for (size_t k = first; k < end; ++k) {
    if (row_value_[k] == 0.0) continue;
    const double term = least_term(sign * row_value_[k], row_var_[k]);
    if (std::isinf(term)) {
      ++least.infinite;
    } else {
      least.sum += term;
      least.size = std::max(least.size, std::fabs(term));
    }
  }
  if (least.infinite > 1) return true;
  const double slack = rhs - least.sum + kTolerance * std::max(1.0, least.size);
  if (least.infinite == 0 && slack < 0.0) return false;
  for (size_t k = first; k < end; ++k) {
    const double a = sign * row_value_[k];
    const auto j = index(row_var_[k]);
    if (a == 0.0 || lower_[j] == upper_[j]) continue;
    const double term = least_term(a, row_var_[k]);
    if (least.infinite == 1 && !std::isinf(term)) continue;
    const double bound = (slack + (std::isinf(term) ? 0.0 : term)) / a;
    if (!(std::fabs(bound) <= kMostBound)) continue;
    const double range = std::isfinite(upper_[j] - lower_[j]) ? upper_[j] - lower_[j] : kInfinity;
    const double gain = a > 0.0 ? upper_[j] - bound : bound - lower_[j];
    const double needed = integer_[j] ? kTolerance : kLeastGain * std::min(range, kMostBound);
    if (!(gain > needed)) continue;
    const bool possible =
        a > 0.0 ? set(row_var_[k], -kInfinity, bound) : set(row_var_[k], bound, kInfinity);
    if (!possible) return false;
  }
  return true;
}

void BoundPropagation::undo(size_t mark) {
  while (changes_.size() > mark) {
    const Change& change = changes_.back();
    lower_[index(change.var)] = change.lower;
    upper_[index(change.var)] = change.upper;
    changes_.pop_back();
  }
}

std::vector<int32_t> BoundPropagation::changed_since(size_t mark) const {
  std::vector<int32_t> vars;
  for (size_t k = mark; k < changes_.size(); ++k) vars.push_back(changes_[k].var);
  return vars;
}

}  // namespace vorlan::outer
