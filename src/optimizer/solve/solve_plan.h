// A solve plan holds what is decided about a solve before it begins, each decision in one place.
// The table that makes a plan is in choose_backend.cpp; the rules here are those that backends ask
// for too, which solve models of their own on the way.
#pragma once

#include "solve/backend.h"
#include "task/parameter_traits.h"

namespace vorlan {

// True when the conic method is for this model: a continuous one with quadratic terms, cones or
// matrix variables, or any continuous one where the parameter asks for it.
bool wants_conic_method(const Model& model, const Parameters& parameters);

// True when linear models are solved by HiGHS's interior-point method instead of the simplex
// method.
bool wants_interior_point(const Parameters& parameters);

// The objective cutoffs of the parameters, which are in the task's own sense.
Cutoffs minimized_cutoffs(const Model& model, const Parameters& parameters);

// True if the objective, in the task's own sense, is as good as the target that a mixed-integer
// solve may end with.
bool reaches_target(const Model& model, const Parameters& parameters, double objective);

// The residuals that the parameters ask of an answer.
struct AskedTolerances {
  double primal;
  double dual;
  double gap;

  AskedTolerances(const Model& model, const Parameters& parameters);
};

// The largest residuals with which a claim still holds.
//
// For linear models they are ten times the tolerances that the optimizer was given, since it keeps
// them in scaled terms, and before it undoes its presolve. For the conic method it is a hundred
// times: it ends by norms over all of the model, where the checker looks at every row by itself, so
// that one small row may be worse by the ratio of the two. The residuals themselves are in the log,
// which says so where an optimum is worse than asked.
struct ClaimTolerances {
  double primal;
  double dual;
  double gap;

  ClaimTolerances(const Model& model, const Parameters& parameters);
};

struct SolvePlan {
  const Backend* backend;
  SolveMethod method;
  SolutionKind solution;  // the kind of solution that the solve makes
  bool by_simplex;        // from the basis that the task holds the solve is done at once
  bool in_child;          // in a process of its own
  ClaimTolerances tolerances;
  Cutoffs cutoffs;
};

}  // namespace vorlan
