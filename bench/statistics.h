// Statistics of repeated measurements. Medians and quartiles: a run that the system has disturbed
// is far off and must not weigh.
#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <vector>

/// Seconds on the monotonic clock.
inline double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The value below which the given share of the sample lies; the sample must not be empty.
inline double quantile(std::vector<double> sample, double share) {
  const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(sample.size() - 1));
  std::nth_element(sample.begin(), sample.begin() + place, sample.end());
  return sample[static_cast<std::size_t>(place)];
}

inline double median(const std::vector<double>& sample) { return quantile(sample, 0.5); }
