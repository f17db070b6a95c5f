// Values of variables from which a solve may start.
#pragma once

#include <cstddef>
#include <vector>

namespace vorlan {

struct StartPoint {
  std::vector<double> x;    // one for each variable of the model
  std::vector<bool> given;  // which of them were given; the others are 0

  bool is_empty() const { return x.empty(); }
};

}  // namespace vorlan
