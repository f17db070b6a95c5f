// Membership of cones, proved, and the members near a point that rounding has left outside.
#pragma once

#include "model.h"
#include "numbers.h"

namespace proofs {

enum class Side { primal, dual };

// True when the point is proved to be in the cone, or in its dual. The proof is exact for quadratic
// and rotated cones. With logarithms, a point nearer to the boundary than 1e-70 may count as outside.
bool is_member(const Cone& cone, Side side, const Point& point);

// Members to which a point can be moved, the point itself where it is one. The weights are what a
// unit of each element costs; heads of which none is known are raised in their proportion. They are
// positive. Never empty: the members without a tail are always there.
std::vector<Point> members_near(const Cone& cone, Side side, const Point& point,
                                const Point& weights);

}  // namespace proofs
