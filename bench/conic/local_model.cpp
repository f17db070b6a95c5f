// See local_model.h. Numbers are drawn by the generator's own arithmetic, alike everywhere.
#include "local_model.h"

#include <cstdio>
#include <random>

namespace {

double draw(std::mt19937* random, double low, double high) {
  return low + (high - low) * static_cast<double>((*random)()) * 0x1p-32;
}

template <class... Values>
void append(std::string* text, const char* format, Values... values) {
  char line[200];
  std::snprintf(line, sizeof line, format, values...);
  *text += line;
}

}  // namespace

SmoothedSeries::SmoothedSeries(std::size_t num_var) : target(num_var) {
  std::mt19937 random(1);
  for (double& value : target) value = draw(&random, -2.0, 12.0);
}

std::string SmoothedSeries::text() const {
  const std::size_t n = target.size();
  double constant = 0.0;
  std::string linear;
  std::string squares;
  for (std::size_t i = 0; i < n; ++i) {
    constant += 0.5 * target[i] * target[i];
    append(&linear, " %+.17g x%zu\n", -target[i], i);
    const int neighbours = (i > 0) + (i + 1 < n);
    append(&squares, " + %.17g x%zu^2", 1.0 + neighbours * kStiffness, i);
    if (i + 1 < n) append(&squares, " - %.17g x%zu * x%zu", 2.0 * kStiffness, i, i + 1);
    squares += '\n';
  }
  std::string rows;
  for (std::size_t i = 0; i + 2 < n; ++i) {
    append(&rows, " b%zu: -%g <= x%zu - 2 x%zu + x%zu <= %g\n", i, kBend, i, i + 1, i + 2, kBend);
  }
  std::string bounds;
  for (std::size_t i = 0; i < n; ++i) append(&bounds, " 0 <= x%zu <= %g\n", i, kTop);
  append(&linear, " + %.17g", constant);
  return "Minimize\n cost:" + linear + "\n + [" + squares + " ] / 2\nSubject To\n" + rows +
         "Bounds\n" + bounds + "End\n";
}

std::string shortest_path(std::size_t num_var) {
  constexpr std::size_t kVarsPerStep = 5;
  const std::size_t num_step = num_var / kVarsPerStep;
  std::mt19937 random(2);
  std::string length;
  std::string rows;
  std::string bounds;
  std::string cones;
  for (std::size_t i = 0; i < num_step; ++i) {
    for (const char axis : {'x', 'y'}) {
      const double low = draw(&random, 0.0, 9.0);
      append(&bounds, " %.17g <= %c%zu <= %.17g\n", low, axis, i, low + 1.0);
      if (i + 1 == num_step) continue;
      append(&rows, " %c%zu: d%c%zu + %c%zu - %c%zu = 0\n", axis, i, axis, i, axis, i, axis, i + 1);
      append(&bounds, " d%c%zu free\n", axis, i);
    }
    if (i + 1 == num_step) continue;
    append(&length, " + t%zu\n", i);
    append(&cones, " k%zu: quadratic t%zu dx%zu dy%zu\n", i, i, i, i);
  }
  return "Minimize ] extended problem 1\nMinimize\n length:" + length + "Subject To\n" + rows +
         "Bounds\n" + bounds + "Cones\n" + cones + "End\n";
}
