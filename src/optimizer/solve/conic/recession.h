// A direction in which a model goes on for ever while its objective falls.
#pragma once

#include <vector>

#include "solve/backend.h"

namespace vorlan::outer {

// Looks for a primal ray of a continuous convex model by a solve of its own: the interior-point
// method's ray can be too far off to prove anything, where points go to infinity on a curve. Empty
// when there is none that the checker confirms.
struct PrimalRay {
  std::vector<double> x, barx;
  bool found = false;
};
PrimalRay find_primal_ray(const Model& model, const Parameters& parameters, double seconds,
                          BackendMonitor* monitor);

}  // namespace vorlan::outer
