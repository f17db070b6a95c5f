// Proves the claims of an optimizer again, from the model and the multipliers alone, without
// rounding.
//
// The multipliers of an answer are doubles and satisfy nothing exactly. A proof moves them into their
// cones by amounts that it computes, adds up what is left over exactly, and charges it against the
// bounds of the variables, or where they have none against a box (Neumaier and Shcherbina, "Safe
// bounds in linear and mixed-integer linear programming", Math. Programming 99, 2004; Jansson,
// Chaykin and Keil, "Rigorous error bounds for the optimal value in semidefinite programming", SIAM
// J. Numer. Anal. 46, 2008). The box is stated in parts of what the data make plausible (sizes.h).
#pragma once

#include <string>
#include <vector>

#include "model.h"

namespace proofs {

// Empty where the claim is proved, else what is wrong with it.
using Fault = std::string;

// How many times larger than plausible the box of a certificate is. Optimizers that promise a million
// have their own estimate of what is plausible, which in one of thousands of models is thirty times
// smaller. Products of two values, a square or a multiplier times a variable, are as many times
// larger than the product of their sizes: where quadratic constraints are, a box of the root is
// enough.
inline constexpr double kFar = 1e4;

// Proves: no point within the box is feasible.
Fault verify_infeasible(const Model& model, const Multipliers& ray, double far = kFar);

// Proves: no multipliers within the box are dual feasible. Where the ray keeps all rows exactly, the
// objective falls without end from any feasible point. The matrices are packed lower triangles,
// column by column, one after the other.
Fault verify_unbounded(const Model& model, const std::vector<double>& x,
                       const std::vector<double>& matrices, double far = kFar);

// What a point, exactly, is worth and lacks.
struct PointFigures {
  double objective = 0.0;
  double terms = 0.0;      // of the objective: the sum of their absolute values
  double violation = 0.0;  // the worst of a bound, row, cone or matrix, relative to its own size
};
PointFigures figures_of_point(const Model& model, const std::vector<double>& x,
                              const std::vector<double>& matrices);

// The greatest value, rounded down, that the multipliers prove to be below the objective at every
// feasible point of a box: the bounds, and where there are none twice the point of the multipliers,
// and twice the plausible sizes where these are not larger than all of the point. In a convex model a
// point outside of the box that is better by much would have others inside that are better by less.
// -infinity where they prove nothing. Above what is enough the search for a better one ends.
double proved_bound(const Model& model, const Multipliers& multipliers,
                    const std::vector<double>& matrices, double enough);

}  // namespace proofs
