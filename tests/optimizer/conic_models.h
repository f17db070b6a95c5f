// Tiny models of every kind whose optimum, with all multipliers, is known by hand.
#pragma once

#include <string>
#include <vector>

#include "solve/backend.h"

namespace vorlan::test {

struct SolvedModel {
  std::string name;
  Model model;
  BackendResult answer;
  double objective;  // of the minimization
};

// Continuous variables, free, with the given costs, and no constraints.
Model free_variables(std::vector<double> cost);

// Adds a constraint with the given coefficients of all variables.
void add_constraint(Model* model, double lower, double upper, const std::vector<double>& row);

std::vector<SolvedModel> solved_models();

}  // namespace vorlan::test
