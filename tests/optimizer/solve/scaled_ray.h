// A model with a ray, and the same in other units.
#pragma once

#include <random>

#include "solve/backend.h"

namespace vorlan::test {

struct RayCase {
  Model model;
  BackendResult ray;
  bool is_dual = true;
};

// Scales rows, columns, costs, and right-hand sides together with bounds by powers of two drawn at
// random; matrix variables by congruences. Members of a cone are scaled so that the cone stays what
// it is. The ray is scaled in step.
RayCase in_random_units(RayCase original, std::mt19937* random);

}  // namespace vorlan::test
