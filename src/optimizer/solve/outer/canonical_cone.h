// Cones as outer approximation sees them: four kinds, since a dual cone is a primal one in scaled
// members, and of each the points of the boundary at which a supporting hyperplane is wanted.
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

  // How many members stand before those of which only the norm counts.
  size_t num_heads() const;
};

CanonicalCone make_canonical(const Cone& cone);

std::vector<double> member_values(const CanonicalCone& cone, const std::vector<double>& x);

// The multipliers of the members, of those of the variables.
std::vector<double> member_duals(const CanonicalCone& cone, const std::vector<double>& z);

// A point of the cone's boundary whose supporting hyperplane is at least as strong as z'x >= 0.
// Empty when z, of the dual cone, says no more than the signs of the members.
std::vector<double> find_complement(const CanonicalCone& cone, const std::vector<double>& z);

// For a point outside of the cone: the point of the boundary where a line from it into the cone
// enters. The hyperplane that supports the cone there cuts the point off: along the line it rises.
std::vector<double> pull_to_boundary(const CanonicalCone& cone, std::vector<double> point);

// Coefficients a, by member, of a supporting hyperplane a'x >= 0.
using Hyperplane = std::vector<double>;

// Of the exponential cone at a point of its boundary.
Hyperplane support_exponential(const std::vector<double>& point);

// The largest last member of an exponential cone, or norm of a power cone, whose members before it
// have these values, none negative.
double largest_last(const CanonicalCone& cone, const std::vector<double>& heads);

// Of the power cone's first members, and of the bound on the norm of the others as one more: its
// coefficient is -1.
Hyperplane support_power(const CanonicalCone& cone, const std::vector<double>& point);

}  // namespace vorlan::outer
