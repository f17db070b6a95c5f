// Models of any size whose parts touch only their neighbours, so that a factor grows with the
// model: a smoothed series as a quadratic program, and a path through boxes as a second-order cone
// program.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// minimize  sum 1/2 (x_i - target_i)^2 + kStiffness / 2 (x_(i+1) - x_i)^2
// with      -kBend <= x_i - 2 x_(i+1) + x_(i+2) <= kBend,  0 <= x_i <= kTop
struct SmoothedSeries {
  static constexpr double kStiffness = 4.0;
  static constexpr double kBend = 0.5;
  static constexpr double kTop = 10.0;
  std::vector<double> target;

  explicit SmoothedSeries(std::size_t num_var);
  // As an LP file.
  std::string text() const;
};

// The shortest path in the plane through a box at each step, as a PTF file: five variables a step,
// of which three are in a cone.
std::string shortest_path(std::size_t num_var);
