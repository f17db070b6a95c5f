// Rows that follow from integer variables as factors of a cone: while z is 0, only a face of
// 2 p z >= |x|^2 is left, with x = 0. Where x is no larger than u in any point of the model,
//
//   |x| <= u z
//
// says so exactly, since z is 0 or at least 1. The tangents of the cone come near to it at best.
#pragma once

#include <utility>
#include <vector>

#include "solve/outer/canonical_cone.h"
#include "solve/outer/switches.h"

namespace vorlan::outer {

// Terms whose sum is no less than 0 in any point of the model.
using FaceRow = std::vector<std::pair<int32_t, double>>;

// Those of all cones. The linear relaxation has the variables of the cones as its first columns, and
// the switches are theirs.
std::vector<FaceRow> integer_faces(const Model& linear, const std::vector<CanonicalCone>& cones,
                                   const std::vector<Switch>& switches);

}  // namespace vorlan::outer
