#include "course.h"

#include <cstddef>

namespace vorlan::companion {

namespace {

constexpr std::size_t kMostPoints = 4000;  // a picture shows no more

bool is_same(double a, double b) { return a == b || (a != a && b != b); }

}  // namespace

void Course::add(const CoursePoint& point) {
  seconds_ = point.seconds;
  if (!points_.empty() && is_same(point.objective, points_.back().objective) &&
      is_same(point.bound, points_.back().bound)) {
    return;
  }
  points_.push_back(point);
  if (points_.size() < kMostPoints) return;
  // Every second point goes; those of the end come with their changes.
  std::size_t kept = 0;
  for (std::size_t i = 0; i < points_.size(); i += 2) points_[kept++] = points_[i];
  points_.resize(kept);
}

}  // namespace vorlan::companion
