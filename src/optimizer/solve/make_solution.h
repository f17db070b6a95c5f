// Turns a backend's answer into a solution of the task, in the task's own sense, with the statuses
// that the checker confirms.
#pragma once

#include "solve/backend.h"
#include "task/solution.h"

namespace vorlan {

// How well an answer fits the model; for the log. Infinite where there is nothing to measure.
struct Residuals {
  double primal = kInfinity;
  double dual = kInfinity;
  double gap = kInfinity;
};

// The largest residuals with which a claim still holds.
//
// For linear models they are ten times the tolerances that the optimizer was given, since it keeps
// them in scaled terms, and before it undoes its presolve. For the conic method it is a hundred
// times: it ends by norms over all of the model, where the checker looks at every row by itself, so
// that one small row may be worse by the ratio of the two. The residuals themselves are in the log.
struct ClaimTolerances {
  double primal;
  double dual;
  double gap;

  ClaimTolerances(const Model& model, const Parameters& parameters);
};

// The basic solution of a linear model; undefined if the answer holds nothing.
Solution make_basic_solution(const MinimizeProblem& problem, BackendResult&& result,
                             const ClaimTolerances& tolerances, Residuals* residuals);

// The interior solution of a continuous model of any kind; undefined if the answer holds nothing. A
// status key says which is the smaller, the distance to a bound or the bound's dual.
Solution make_interior_solution(const MinimizeProblem& problem, BackendResult&& result,
                                const ClaimTolerances& tolerances, Residuals* residuals);

// The integer solution; undefined if the optimization was stopped without a feasible point.
Solution make_integer_solution(const MinimizeProblem& problem, BackendResult&& result,
                               const ClaimTolerances& tolerances, Residuals* residuals);

}  // namespace vorlan
