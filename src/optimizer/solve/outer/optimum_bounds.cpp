// Incumbent and bound, and what happens when they contradict each other.
#include "solve/outer/optimum_bounds.h"

#include <algorithm>
#include <cmath>

#include "task/parameter_index.h"

namespace vorlan::outer {

double weaken_bound(double bound) { return bound - kCaution * std::max(1.0, std::fabs(bound)); }

OptimumBounds::OptimumBounds(const MinimizeProblem& problem, const Parameters& parameters)
    : constant_(problem.sense_factor() * problem.model.constant),
      relative_gap_(parameters.get(DoubleParam::kMipRelativeGap)),
      absolute_gap_(parameters.get(DoubleParam::kMipAbsoluteGap)),
      cutoffs_(problem.cutoffs) {
  cutoffs_.lower -= constant_;
  cutoffs_.upper -= constant_;
}

bool OptimumBounds::has_incumbent() const { return std::isfinite(incumbent_); }

double OptimumBounds::size_of_objective() const { return std::fabs(incumbent_ + constant_); }

double OptimumBounds::absolute_tolerance() const {
  return std::max(absolute_gap_, relative_gap_ * size_of_objective());
}

bool OptimumBounds::is_closed() const {
  return !contradicted_ && has_incumbent() && gap() <= absolute_tolerance();
}

bool OptimumBounds::is_cut_off() const {
  return incumbent_ < cutoffs_.lower || bound_ > cutoffs_.upper;
}

double OptimumBounds::above_cutoff() const {
  return cutoffs_.upper + kCaution * std::max(1.0, std::fabs(cutoffs_.upper));
}

double OptimumBounds::doubt() const {
  return absolute_tolerance() + kCaution * std::max(1.0, std::fabs(incumbent_));
}

void OptimumBounds::set_root_bound(double bound) {
  raise_bound(bound);
  root_bound_ = bound_;
}

void OptimumBounds::raise_bound(double bound) {
  if (!std::isfinite(bound)) return;
  if (has_incumbent() && bound > incumbent_ + doubt()) {
    contradicted_ = true;
  } else {
    bound_ = std::max(bound_, bound);
  }
}

void OptimumBounds::lower_incumbent(double objective) {
  incumbent_ = objective;
  if (bound_ <= incumbent_ + doubt()) return;
  withdraw_bound();
  contradicted_ = true;
}

void OptimumBounds::withdraw_bound() {
  contradicted_ = false;
  bound_ = root_bound_ <= incumbent_ + doubt() ? root_bound_ : -kInfinity;
}

Progress OptimumBounds::progress() const {
  Progress progress;
  progress.objective = incumbent_;
  progress.bound = std::min(bound_, incumbent_);
  if (has_incumbent() && std::isfinite(bound_)) {
    constexpr double kLeastSize = 1e-10;
    progress.relative_gap = std::max(0.0, gap()) / std::max(size_of_objective(), kLeastSize);
  }
  return progress;
}

}  // namespace vorlan::outer
