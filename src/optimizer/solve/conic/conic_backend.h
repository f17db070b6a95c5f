// The own interior-point method as a backend: linear and convex quadratic models, cones and matrix
// variables, all variables continuous.
#pragma once

#include "solve/backend.h"

namespace vorlan {

extern const Backend kConicBackend;

}  // namespace vorlan
