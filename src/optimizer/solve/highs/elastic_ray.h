// A dual ray of an infeasible linear model, by way of one that is feasible.
//
// Presolve may tell in no time that a large model is infeasible, and leaves no proof; the simplex
// method without presolve may take minutes to one. With a slack variable for each violated side, at
// a cost of 1 and no other costs, the model has an optimum, for which presolve helps as much as it
// did before, and whose multipliers come back through it. Where the optimum is above 0, they are a
// dual ray of the model.
#pragma once

#include <vector>

#include "solve/backend.h"

class Highs;

namespace vorlan {

// The multipliers, which nobody has checked yet; empty where the model seems to be feasible, or the
// search for them took too many iterations. The model of HiGHS, which has that of the problem in the
// beginning, is the same in the end. Its iterations are added to those given.
std::vector<double> find_elastic_ray(const MinimizeProblem& problem, const Parameters& parameters,
                                     double seconds, Highs* highs, int64_t* iterations);

}  // namespace vorlan
