// Outer approximation as a backend: mixed-integer models with convex quadratic terms, cones or
// matrix variables.
#pragma once

#include "solve/backend.h"

namespace vorlan {

extern const Backend kOuterApproximationBackend;

}  // namespace vorlan
