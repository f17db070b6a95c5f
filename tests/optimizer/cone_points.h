// Random points of cones: interior ones, and pairs of a member and a dual that are complementary,
// s'z = 0, so that a model made around them has them as its optimum.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "task/model.h"

namespace vorlan::test {

// Own arithmetic: the standard's distributions differ between libraries.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  int whole(int low, int high);
  double between(double low, double high);
  bool chance(int percent) { return whole(1, 100) <= percent; }
  // Of either sign, and not near 0.
  double away_from_zero();

 private:
  std::mt19937 engine_;
};

Cone random_cone(ConeKind kind, int32_t first_var, Random* random);

std::vector<double> interior_point(const Cone& cone, bool dual, Random* random);

struct ComplementaryPair {
  std::vector<double> s, z;
};

// One of the two 0 and the other inside, or both on the boundary, away from other faces.
ComplementaryPair complementary_pair(const Cone& cone, Random* random);

// The same of symmetric positive semidefinite matrices, packed.
ComplementaryPair complementary_matrices(int32_t dimension, Random* random);
std::vector<double> positive_definite(int32_t dimension, Random* random);

}  // namespace vorlan::test
