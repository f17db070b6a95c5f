// The conic method and a crossover to a basis, for linear models.
#pragma once

#include "solve/backend.h"

namespace vorlan {

// Only optima, with a basis: all other ends of the method are stops. For races, in which other
// methods have the say about models that have no optimum.
extern const Backend kCrossoverBackend;

}  // namespace vorlan
