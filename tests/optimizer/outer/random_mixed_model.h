// Small random mixed-integer models with quadratic terms and cones, in boxes small enough that all
// integers can be tried one by one.
#pragma once

#include <cstdint>

#include "task/model.h"

namespace vorlan::test {

enum class MixedFamily {
  kQuadraticObjective,
  kQuadraticRow,
  kQuadraticCone,
  kRotatedCone,
  kExponentialCone,
  kDualExponentialCone,
  kPowerCone,
  kDualPowerCone,
  kMatrix,
  kEverything,
};
inline constexpr int kNumMixedFamilies = static_cast<int>(MixedFamily::kEverything) + 1;

// About a quarter have no feasible point, and some have no bound.
Model make_mixed_model(MixedFamily family, uint32_t seed);

// What trying all integers finds, each with the conic method, whose bounds and certificates are proved
// again in exact arithmetic (proved_answer.h) where that is asked for.
struct Enumeration {
  double objective = 0.0;  // the best, as the model states it
  bool feasible = false;
  bool unbounded = false;
  bool doubtful = false;  // the conic method did not settle some of the integers
  int proved = 0;         // how many of the integers have an exact proof of what was found for them
  int unproved = 0;
  bool proves = false;
};
enum class Proofs { kNo, kYes };
Enumeration enumerate(const Model& model, Proofs proofs = Proofs::kNo);

}  // namespace vorlan::test
