// How far a point is outside a cone, from the definition of the cone alone.
//
// The measure is a distance that scales: the least t such that the cone has a point of which each
// member differs by at most t max(least, |member|) from the one given, where least is 1 or less. The
// members behind a norm count together, by their norm, so that t does not grow more lenient with
// their number. It is 0 in the cone and 1 at most.
#pragma once

#include <vector>

#include "task/model.h"

namespace vorlan {

ConeKind dual_of(ConeKind kind);

double cone_violation(const Cone& cone, const std::vector<double>& x, double least = 1.0);

// Likewise for the dual cone.
double dual_cone_violation(const Cone& cone, const std::vector<double>& s, double least = 1.0);

// Likewise with the sizes of the members given, one for each variable, in place of max(least,
// |member|): the least t such that the cone has a point of which each member differs by at most t
// times its size; 1 stands for all that is more. So the unit of a member makes no difference.
double cone_violation(const Cone& cone, const std::vector<double>& x,
                      const std::vector<double>& sizes);
double dual_cone_violation(const Cone& cone, const std::vector<double>& s,
                           const std::vector<double>& sizes);

}  // namespace vorlan
