// Small random models of every kind that the conic method takes, mixed, whose answer is known by
// construction: an optimum from complementary points with multipliers, an infeasible or unbounded
// one from the ray that proves it.
#pragma once

#include <cstdint>

#include "task/model.h"

namespace vorlan::test {

enum class ConicFamily {
  kRegular,           // primal and dual points inside of everything exist besides the optimum
  kNoDualInterior,    // multipliers exist, but points may go to infinity at the same objective
  kNoInterior,        // optimum and multipliers exist, but nothing else is sure to
  kScaled,            // regular, with rows and variables scaled by 1e-6 to 1e6
  kPrimalInfeasible,  // and dual feasible
  kDualInfeasible,    // and primal feasible
};

struct KnownConicModel {
  Model model;
  double objective = 0.0;  // as the model states it; only of a model with an optimum
  double size = 1.0;       // of the largest term of the objective
};

KnownConicModel make_conic_model(ConicFamily family, uint32_t seed);

}  // namespace vorlan::test
