// Norms of binary variables. As z^2 is z, the norm of (a1 z1, a2 z2, ...) is the root of a1^2 z1 + a2^2
// z2 + ..., which is a submodular function of the set of variables that are on. Its convex envelope
// has a supporting plane for each order of the variables: each has as its coefficient what it adds
// to the norm of those before it. At a fractional point the envelope is far above the norm, and the
// plane for the order of the point's values is its highest.
//
//   A. Atamtuerk, V. Narayanan, Polymatroids and mean-risk minimization in discrete optimization,
//   Operations Research Letters 36, 2008.
#pragma once

#include <utility>
#include <vector>

#include "solve/outer/canonical_cone.h"
#include "solve/outer/fixed_model.h"
#include "task/model.h"

namespace vorlan::outer {

struct BinaryNorm {
  // A binary variable, or 1 minus it, and what its being on adds to the square of the norm.
  struct Literal {
    int32_t binary;
    bool is_complement;
    double square;

    double value(const std::vector<double>& x) const {
      return is_complement ? 1.0 - x[index(binary)] : x[index(binary)];
    }
  };
  std::vector<Literal> literals;
  double constant = 0.0;  // the square of the members that are fixed
  bool is_whole = true;   // all members are fixed or follow from binary variables
};

// The members of a cone behind its heads that follow from binary variables: such variables themselves,
// and those that an equation with one other variable, a binary one, determines. The bounds may be
// narrower than the model's own.
BinaryNorm find_binary_norm(const Model& model, const RowView& rows, const CanonicalCone& cone,
                            const std::vector<double>& lower, const std::vector<double>& upper);

// An affine function of binary variables.
struct AffineBound {
  double constant = 0.0;
  std::vector<std::pair<int32_t, double>> terms;
};

// The plane below the norm that is highest at a point.
AffineBound highest_plane(const BinaryNorm& norm, const std::vector<double>& x);

}  // namespace vorlan::outer
