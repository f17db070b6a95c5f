// Turns a backend's answer into a solution of the task, in the task's own sense, with the statuses
// that the checker confirms. The check can last, and comes first, by itself; the solution is then
// made in a time that is linear in the model.
#pragma once

#include "solve/solve_plan.h"
#include "task/solution.h"

namespace vorlan {

// Holds an answer against the model. Certificates are brought into the form that solutions have.
Verdict check_answer(const MinimizeProblem& problem, SolutionKind kind, BackendResult* answer);

// The basic solution of a linear model; undefined if the answer holds nothing.
Solution make_basic_solution(const MinimizeProblem& problem, BackendResult&& result,
                             const ClaimTolerances& tolerances, const Verdict& verdict);

// The interior solution of a continuous model of any kind; undefined if the answer holds nothing. A
// status key says which is the smaller, the distance to a bound or the bound's dual.
Solution make_interior_solution(const MinimizeProblem& problem, BackendResult&& result,
                                const ClaimTolerances& tolerances, const Verdict& verdict);

// The integer solution; undefined if the optimization was stopped without a feasible point.
Solution make_integer_solution(const MinimizeProblem& problem, BackendResult&& result,
                               const ClaimTolerances& tolerances, const Verdict& verdict);

}  // namespace vorlan
