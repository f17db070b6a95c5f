#include "report_figures.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace vorlan::companion {

namespace {

// The pattern has at most so many cells along each side.
constexpr int kMostCells = 160;
constexpr int kShades = 4;

int cells_along(std::size_t count) {
  return static_cast<int>(std::min<std::size_t>(count, kMostCells));
}

int cell_of(int index, std::size_t count, int cells) {
  return static_cast<int>(static_cast<std::int64_t>(index) * cells /
                          static_cast<std::int64_t>(count));
}

// 1 for few elements in a cell to kShades for many, by the logarithm: sparse matrices differ by powers.
int shade_of(int elements, int most) {
  if (most == 1) return kShades;
  const double share = std::log1p(elements) / std::log1p(most);
  return std::clamp(static_cast<int>(std::ceil(share * kShades)), 1, kShades);
}

// Where the axes of the course stand.
constexpr double kLeft = 84.0;
constexpr double kRight = 700.0;
constexpr double kTop = 16.0;
constexpr double kBottom = 232.0;

struct Axis {
  double first = std::numeric_limits<double>::infinity();
  double last = -std::numeric_limits<double>::infinity();

  void take(double value) {
    if (!std::isfinite(value)) return;
    first = std::min(first, value);
    last = std::max(last, value);
  }
  bool is_empty() const { return !(first <= last); }
  double share(double value) const { return (value - first) / (last - first); }
};

// A round step that parts a length in about so many pieces.
double round_step(double length, int pieces) {
  const double rough = length / pieces;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough) return factor * power;
  }
  return 10.0 * power;
}

double x_of(const Axis& time, double seconds) {
  return kLeft + (kRight - kLeft) * time.share(seconds);
}

double y_of(const Axis& values, double value) {
  return kBottom - (kBottom - kTop) * values.share(value);
}

std::string value_lines(const Axis& values) {
  std::string text;
  const double step = round_step(values.last - values.first, 5);
  for (double value = std::ceil(values.first / step) * step; value <= values.last; value += step) {
    const double shown = std::abs(value) < 1e-9 * step ? 0.0 : value;
    text += fmt::format(
        "<line class=\"grid\" x1=\"{:.0f}\" x2=\"{:.0f}\" y1=\"{:.1f}\" y2=\"{:.1f}\"/>"
        "<text x=\"{:.0f}\" y=\"{:.1f}\" text-anchor=\"end\">{:.7g}</text>\n",
        kLeft, kRight, y_of(values, value), y_of(values, value), kLeft - 8, y_of(values, value) + 4,
        shown);
  }
  return text;
}

std::string time_marks(const Axis& time) {
  std::string text;
  const double step = round_step(time.last - time.first, 6);
  for (double seconds = 0.0; seconds <= time.last; seconds += step) {
    text += fmt::format("<text x=\"{:.1f}\" y=\"{:.0f}\" text-anchor=\"middle\">{:.4g} s</text>\n",
                        x_of(time, seconds), kBottom + 20, seconds);
  }
  return text;
}

// A line of steps: each figure holds until the next one.
std::string steps(const Course& course, double CoursePoint::*figure, const char* style,
                  const Axis& time, const Axis& values) {
  std::string path;
  for (const CoursePoint& point : course.points()) {
    if (!std::isfinite(point.*figure)) continue;
    const double x = x_of(time, point.seconds);
    const double y = y_of(values, std::clamp(point.*figure, values.first, values.last));
    path +=
        path.empty() ? fmt::format("M{:.1f},{:.1f}", x, y) : fmt::format("H{:.1f}V{:.1f}", x, y);
  }
  if (path.empty()) return "";
  return fmt::format("<path class=\"{}\" d=\"{}H{:.1f}\"/>\n", style, path, x_of(time, time.last));
}

// What both lines have to show. A bound far away at first would press everything else flat: of the
// bounds only those count that are no farther from the incumbents than a few times their own range.
Axis axis_of_values(const Course& course) {
  constexpr double kFar = 3.0;
  Axis objectives;
  Axis bounds;
  for (const CoursePoint& point : course.points()) {
    objectives.take(point.objective);
    bounds.take(point.bound);
  }
  if (objectives.is_empty()) return bounds;
  if (bounds.is_empty()) return objectives;
  Axis values = objectives;
  values.take(course.points().back().bound);
  const double room =
      kFar * std::max(values.last - values.first, 1e-3 * (1.0 + std::abs(values.last)));
  const double lowest = values.first - room;
  const double highest = values.last + room;
  values.take(std::max(bounds.first, lowest));
  values.take(std::min(bounds.last, highest));
  return values;
}

void widen(Axis& axis) {
  const double room =
      axis.last > axis.first ? 0.05 * (axis.last - axis.first) : 1e-3 * (1.0 + std::abs(axis.last));
  axis.first -= room;
  axis.last += room;
}

}  // namespace

std::string pattern_picture(const ModelData& model) {
  if (model.terms.empty()) return "";
  const int rows = cells_along(model.sides.size());
  const int columns = cells_along(model.bounds.size());
  std::vector<int> elements(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
  for (const LinearTerm& term : model.terms) {
    const int row = cell_of(term.owner, model.sides.size(), rows);
    const int column = cell_of(term.variable, model.bounds.size(), columns);
    ++elements[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
               static_cast<std::size_t>(column)];
  }
  const int most = *std::max_element(elements.begin(), elements.end());
  std::array<std::string, kShades> paths;
  for (int place = 0; place < rows * columns; ++place) {
    const int count = elements[static_cast<std::size_t>(place)];
    if (count == 0) continue;
    paths.at(static_cast<std::size_t>(shade_of(count, most) - 1)) +=
        fmt::format("M{} {}h1v1h-1z", place % columns, place / columns);
  }
  std::string picture = fmt::format(
      "<svg class=\"pattern\" viewBox=\"-0.5 -0.5 {} {}\" role=\"img\" aria-label=\"pattern of the "
      "matrix\" style=\"max-width:min(100%,{}px)\"><rect class=\"frame\" x=\"0\" y=\"0\" "
      "width=\"{}\" "
      "height=\"{}\"/>\n",
      columns + 1, rows + 1, std::clamp(6 * columns, 120, 640), columns, rows);
  for (int shade = 0; shade < kShades; ++shade) {
    const std::string& path = paths.at(static_cast<std::size_t>(shade));
    if (!path.empty()) picture += fmt::format("<path class=\"s{}\" d=\"{}\"/>\n", shade + 1, path);
  }
  return picture + "</svg>";
}

std::string course_picture(const Course& course) {
  Axis values = axis_of_values(course);
  Axis time{0.0, course.seconds()};
  if (values.is_empty() || course.points().size() < 2 || !(time.last > 0.0)) return "";
  widen(values);
  return "<svg class=\"course\" viewBox=\"0 0 720 262\" role=\"img\" aria-label=\"objective and "
         "bound "
         "over time\">\n" +
         value_lines(values) + time_marks(time) +
         steps(course, &CoursePoint::bound, "bound", time, values) +
         steps(course, &CoursePoint::objective, "objective", time, values) + "</svg>";
}

}  // namespace vorlan::companion
