// How objective and bound went while a model was solved.
#pragma once

#include <cstdint>
#include <vector>

namespace vorlan::companion {

// A figure that is not known yet is infinite, or NaN.
struct CoursePoint {
  double seconds = 0.0;
  double objective = 0.0;
  double bound = 0.0;
  std::int64_t nodes = 0;
};

// Keeps the points at which something changed, and of a long course every so many of them.
class Course {
 public:
  void add(const CoursePoint& point);
  const std::vector<CoursePoint>& points() const { return points_; }
  double seconds() const { return seconds_; }

 private:
  std::vector<CoursePoint> points_;
  double seconds_ = 0.0;
};

}  // namespace vorlan::companion
