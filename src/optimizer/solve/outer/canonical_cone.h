// Cones as outer approximation sees them. Four kinds are enough, since a dual cone is a primal one in
// scaled members. For each there are the points of its boundary at which cuts touch it, and the
// hyperplanes that support it there.
#pragma once

#include <utility>
#include <vector>

#include "task/model.h"

namespace vorlan::outer {

// A member is scale * x[var].
struct Member {
  int32_t var;
  double scale;
};

struct CanonicalCone {
  ConeKind kind;  // quadratic, rotated quadratic, exponential or power
  std::vector<Member> members;
  std::vector<double> weights;  // of the power cone's first members; their sum is 1

  // The number of members before those of which only the norm counts.
  size_t num_heads() const;
};

CanonicalCone make_canonical(const Cone& cone);

std::vector<double> member_values(const CanonicalCone& cone, const std::vector<double>& x);

// The multipliers of the members, from those of the variables.
std::vector<double> member_duals(const CanonicalCone& cone, const std::vector<double>& z);

// A point of the cone's boundary whose supporting hyperplane is at least as strong as z'x >= 0.
// Empty when z, of the dual cone, says no more than the signs of the members.
std::vector<double> find_complement(const CanonicalCone& cone, const std::vector<double>& z);

// The point of the boundary where a line from a point outside enters the cone. The hyperplane that
// supports the cone there cuts the point off, since it rises along the line.
std::vector<double> pull_to_boundary(const CanonicalCone& cone, std::vector<double> point);

// Coefficients a, by member, of a supporting hyperplane a'x >= 0.
using Hyperplane = std::vector<double>;

// The hyperplane of the exponential cone at a point of its boundary; empty where it has none.
Hyperplane support_exponential(const std::vector<double>& point);

// The largest last member of an exponential cone, or norm of a power cone, whose members before it
// have these values, none negative.
double largest_last(const CanonicalCone& cone, const std::vector<double>& heads);

// The hyperplane of a power cone in its first members, and in the norm of the others as one more
// member, whose coefficient is -1.
Hyperplane support_power(const CanonicalCone& cone, const std::vector<double>& point);

}  // namespace vorlan::outer
