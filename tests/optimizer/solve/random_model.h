// Small random models with whole numbers, for tests that know the right answer by other means.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct RandomModel {
  bool maximize = false;
  double constant = 0.0;
  std::vector<double> cost, lower, upper;
  std::vector<bool> integer;
  std::vector<double> con_lower, con_upper;
  std::vector<std::vector<double>> matrix;  // one row a constraint

  size_t num_var() const { return cost.size(); }
  size_t num_con() const { return con_lower.size(); }
  std::string mps() const;
};

enum class RandomKind {
  kLinear,      // bounds of every kind: optimal, infeasible and unbounded models
  kMixed,       // some variables integer, all within bounds
  kIntegerBox,  // all variables integer within 0 to 3
};

RandomModel make_random_model(RandomKind kind, uint32_t seed);

// How many models a test tries: the environment variable VORLAN_RANDOM_MODELS, else a few hundred.
uint32_t num_random_models();
