// How far a point is outside a cone, from the definition of the cone alone.
//
// The measure is a distance that scales: the least t such that the cone has a point of which each
// member differs by at most t max(1, |member|) from the one given. The members behind a norm count
// together, by their norm, so that t does not grow more lenient with their number. It is 0 in the
// cone and 1 at most.
#pragma once

#include "task/model.h"

namespace vorlan {

// Of the members of x; of the multiple when a ray is to be seen at the size that counts.
double cone_violation(const Cone& cone, const std::vector<double>& x, double multiple = 1.0);

// The same for the dual cone.
double dual_cone_violation(const Cone& cone, const std::vector<double>& s, double multiple = 1.0);

}  // namespace vorlan
