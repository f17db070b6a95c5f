// The activity of a constraint is kept as an interval, from which one variable's part is taken out
// to see what the others leave to it.
#include "solve/highs/implied_bounds.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "task/numeric.h"

namespace vorlan {
namespace {

double times(double value, double bound) { return value == 0.0 ? 0.0 : value * bound; }

// Differences of sums of large terms are not exact.
double slack(double bound) { return 1e-9 * std::max(1.0, std::fabs(bound)); }

}  // namespace

void ImpliedBounds::IntervalEnd::add(double term) {
  if (std::isfinite(term)) {
    sum_ += term;
    size_ += std::fabs(term);
  } else {
    ++num_infinite_;
    infinite_ = term;
  }
}

double ImpliedBounds::IntervalEnd::without(double term) const {
  if (std::isfinite(term)) return num_infinite_ == 0 ? sum_ - term : infinite_;
  return num_infinite_ == 1 ? sum_ : infinite_;
}

double ImpliedBounds::IntervalEnd::error() const {
  return 4.0 * std::numeric_limits<double>::epsilon() * size_;
}

void ImpliedBounds::sum_activities() {
  activities_.assign(model_.con_lower.size(), {});
  for (size_t j = 0; j < lower_.size(); ++j) {
    for (auto k = index(model_.matrix.start[j]); k < index(model_.matrix.start[j + 1]); ++k) {
      Activity& row = activities_[index(model_.matrix.row[k])];
      const double a = model_.matrix.value[k];
      row.least.add(times(a, a > 0.0 ? lower_[j] : upper_[j]));
      row.most.add(times(a, a > 0.0 ? upper_[j] : lower_[j]));
    }
  }
  summed_lower_ = lower_;
  summed_upper_ = upper_;
}

// The term to take out is the one that was summed, not what other rows made of it since.
double ImpliedBounds::least_without(size_t con, size_t var, double a) const {
  return activities_[con].least.without(
      times(a, a > 0.0 ? summed_lower_[var] : summed_upper_[var]));
}

double ImpliedBounds::most_without(size_t con, size_t var, double a) const {
  return activities_[con].most.without(times(a, a > 0.0 ? summed_upper_[var] : summed_lower_[var]));
}

void ImpliedBounds::narrow() {
  sum_activities();
  for (size_t j = 0; j < lower_.size(); ++j) {
    for (auto k = index(model_.matrix.start[j]); k < index(model_.matrix.start[j + 1]); ++k) {
      const auto con = index(model_.matrix.row[k]);
      if (used_.empty() || used_[con]) narrow(j, con, model_.matrix.value[k]);
    }
  }
}

void ImpliedBounds::narrow(size_t var, size_t con, double a) {
  if (a == 0.0) return;
  const double most = (model_.con_upper[con] - least_without(con, var, a)) / a;
  const double least = (model_.con_lower[con] - most_without(con, var, a)) / a;
  const double upper = a > 0.0 ? most : least;
  const double lower = a > 0.0 ? least : most;
  const double error = std::max(activities_[con].least.error(), activities_[con].most.error());
  const auto room = [&](double bound) { return slack(bound) + error / std::fabs(a); };
  if (std::isfinite(upper)) upper_[var] = std::min(upper_[var], upper + room(upper));
  if (std::isfinite(lower)) lower_[var] = std::max(lower_[var], lower - room(lower));
}

void ImpliedBounds::round_integers() {
  constexpr double kNear = 1e-6;
  for (size_t j = 0; j < lower_.size(); ++j) {
    if (model_.var_kind[j] != VarKind::kInteger) continue;
    if (std::isfinite(lower_[j])) lower_[j] = std::ceil(lower_[j] - kNear);
    if (std::isfinite(upper_[j])) upper_[j] = std::floor(upper_[j] + kNear);
  }
}

}  // namespace vorlan
