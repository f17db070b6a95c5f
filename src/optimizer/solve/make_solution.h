// Turns a backend's answer into a solution of the task, in the task's own sense, with the statuses
// that the checker confirms.
#pragma once

#include "solve/backend.h"
#include "task/solution.h"

namespace vorlan {

// How well an answer fits the model; for the log.
struct Residuals {
  double primal = 0.0;
  double dual = 0.0;
  double gap = 0.0;
};

// The largest residuals with which a claim still holds: ten times the tolerances that the optimizer
// was given, since it keeps them in scaled terms, and before it undoes its presolve.
struct ClaimTolerances {
  double primal;
  double dual;

  ClaimTolerances(const Parameters& parameters, bool mixed_integer);
};

// The basic solution of a linear model; undefined if the answer holds nothing.
Solution make_basic_solution(const MinimizeProblem& problem, BackendResult&& result,
                             const ClaimTolerances& tolerances, Residuals* residuals);

// The integer solution; undefined if the optimization was stopped without a feasible point.
Solution make_integer_solution(const MinimizeProblem& problem, BackendResult&& result,
                               const ClaimTolerances& tolerances, Residuals* residuals);

}  // namespace vorlan
