// The same model written in another way: for tests that an answer does not hang on how a model is
// put down.
#pragma once

#include <cstdint>

#include "task/model.h"

namespace vorlan::test {

enum class Rewriting {
  kBoundsAsRows,       // of continuous variables
  kQuadraticsAsCones,  // 1/2 x'F'F x <= t as 2 t >= |F x|^2, in the objective and in constraints
  kVariablesTwice,     // some have a copy that is equal to them and takes half of their terms
  kOtherOrder,         // of variables, constraints, cones, matrix variables and tails of cones
  kOtherSense,         // the objective with the other sign
};
inline constexpr int kNumRewritings = static_cast<int>(Rewriting::kOtherSense) + 1;

// What the rewriting leaves to choose follows from the seed. Names are left out. The quadratic terms
// are convex.
Model rewrite(const Model& model, Rewriting rewriting, uint32_t seed);

}  // namespace vorlan::test
