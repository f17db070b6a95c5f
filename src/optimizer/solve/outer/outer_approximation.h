// Outer approximation. A mixed-integer linear relaxation gives bounds and integers to try. The
// model with these integers fixed gives feasible points, and the cuts that tell the relaxation why
// it was wrong. Both take turns until incumbent and bound meet:
//
//   solve the continuous relaxation: first bound, first cuts
//   where a norm has many members, search one tree with lazy cuts (tree_search), or after the first
//   round where hardly a row has several integers
//   until incumbent and bound meet:
//     solve the linear relaxation by branch and cut: a bound, and a point
//     fix the integers of the point, solve what is left: an incumbent, or none; cuts
//     cut off the point itself
//
//   M. Duran, I. Grossmann, An outer-approximation algorithm for a class of mixed-integer nonlinear
//   programs, Mathematical Programming 36, 1986.
//   R. Fletcher, S. Leyffer, Solving mixed integer nonlinear programs by outer approximation,
//   Mathematical Programming 66, 1994.
//   M. Lubin, E. Yamangil, R. Bent, J. P. Vielma, Polyhedral approximation in mixed-integer convex
//   optimization, Mathematical Programming 172, 2018.
//   C. Coey, M. Lubin, J. P. Vielma, Outer approximation with conic certificates for mixed-integer
//   convex problems, Mathematical Programming Computation 12, 2020.
//
// The parts, by what they know: continuous_relaxation (the model without integers), relaxation (the
// linear model and its cuts), relaxation_solver (how that is solved), integer_trials (fixed
// integers and the incumbent), optimum_bounds (incumbent, bound, and their contradictions),
// inner_solver (limits and counts of all solves inside).
#pragma once

#include <memory>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/continuous_relaxation.h"
#include "solve/outer/inner_solver.h"
#include "solve/outer/integer_trials.h"
#include "solve/outer/optimum_bounds.h"
#include "solve/outer/relaxation.h"
#include "solve/outer/relaxation_solver.h"

namespace vorlan::outer {

class OuterApproximation {
 public:
  // Ends at the time given, of monotonic_seconds.
  OuterApproximation(const MinimizeProblem& problem, const Parameters& parameters, double end,
                     BackendMonitor* monitor);

  // An outcome kUnbounded speaks of the continuous relaxation, whose ray is the result's.
  Status run(BackendResult* result);

 private:
  // Each of these returns false when the result is made, and nothing more is to be done.
  bool settle_continuous(ContinuousRelaxation* continuous, BackendResult* result);
  bool finish_round(const BackendResult& found, BackendResult* result);
  bool look_into_contradiction(BackendResult* result);
  bool doubts_cuts(const BackendResult& result);
  bool learn_from_point(const BackendResult& found, BackendResult* result);

  // Looks for a point of a large model, whose continuous relaxation takes long.
  void try_without_relaxation();
  void make_parts();
  void begin(const ContinuousRelaxation& continuous);
  void learn_from_optimum(const ContinuousRelaxation& continuous);
  void learn_from_perspectives();
  void learn_from_stall(const ContinuousRelaxation& continuous);
  // Tries integers that follow from the optimum of the continuous model.
  void try_first_points(const ContinuousRelaxation& continuous);
  // Tries the integers of a point, rounded in several orders.
  void try_rounded(const Model& linear, const std::vector<double>& x);
  void try_deep_point(const ContinuousRelaxation& continuous, const Model& linear);
  void try_numbers_on(const Model& linear, const std::vector<double>& x);
  void try_dive(const ContinuousRelaxation& continuous);
  void try_inner_point(const std::vector<double>& x);
  // Whether one tree with lazy cuts does better than the rounds from here on.
  bool is_time_for_tree() const;
  void search_tree();
  bool is_new_ground(const std::vector<double>& columns);

  bool reaches_limit(BackendResult* result);
  void finish(Outcome outcome, Code termination, BackendResult* result) const;
  void log_round() const;

  const MinimizeProblem& problem_;
  const Parameters& parameters_;
  BackendMonitor* monitor_;
  OptimumBounds bounds_;
  InnerSolver solver_;
  // These three are there once the continuous relaxation has not settled the model.
  std::unique_ptr<Relaxation> relaxation_;
  std::unique_ptr<RelaxationSolver> relaxation_solver_;
  std::unique_ptr<IntegerTrials> trials_;
  std::vector<double> relaxed_point_;  // the continuous optimum, in all columns
  int round_ = 0;
};

}  // namespace vorlan::outer
