// Outer approximation: a mixed-integer linear relaxation gives bounds and integers to try, the
// model with these integers fixed gives feasible points and the cuts that tell the relaxation why
// it was wrong, until both meet.
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
// Cuts come from the multipliers of the fixed model, or from its proof of infeasibility: these
// alone keep the relaxation from coming back to the same integers with a better value. Where a
// solve has no usable multipliers, cuts at the relaxation's own point help on.
#pragma once

#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/fixed_model.h"
#include "solve/outer/relaxation.h"

namespace vorlan::outer {

class OuterApproximation {
 public:
  // Ends at the time given, of monotonic_seconds.
  OuterApproximation(const MinimizeProblem& problem, const Parameters& parameters, double end,
                     BackendMonitor* monitor);

  // An outcome kUnbounded speaks of the continuous relaxation, whose ray is the result's.
  Status run(BackendResult* result);

  // What the solves inside it report. A point of the relaxation, found on the way to its optimum,
  // has integers to try.
  bool should_stop(const Progress& inner);
  void try_on_the_way(std::span<const double> columns);

 private:
  Status solve_relaxation(BackendResult* result);
  Status solve_rounds(BackendResult* result);
  void learn_from_stall(const BackendResult& found);
  void bound_heads(const Model& relaxed);
  double least_value(const Model& relaxed, int32_t var);
  void raise_objective_head(double bound);
  void refine_relaxation();
  Status solve_linear(BackendResult* found);
  Status solve_fixed(const FixedModel& fixed, BackendResult* found);
  // Tries the integers of a point; false when they have been tried before.
  bool try_integers(const std::vector<double>& x);
  void learn(const FixedModel& fixed, const BackendResult& found, const std::vector<double>& x);
  void find_violation(const FixedModel& fixed, std::vector<double>* at);
  bool offer(std::vector<double> x, const std::vector<double>& barx);
  // After a solve of the relaxation: false when nothing more is to be done.
  bool go_on(const BackendResult& found, BackendResult* result);
  bool is_new_ground(const std::vector<double>& columns);
  bool bound_relaxation(bool* infeasible);
  bool reaches_limit(BackendResult* result) const;
  bool is_closed() const;
  bool look_into_contradiction(BackendResult* result);
  double gap() const;
  double doubt() const;
  void withdraw_bound();
  void choose_objective_factor(double objective);
  double absolute_tolerance() const;
  void raise_bound(double bound);
  void finish(Outcome outcome, Code termination, BackendResult* result) const;
  Progress progress() const;
  Parameters linear_parameters() const;
  Solution linear_start() const;
  void log_round(double value);
  double seconds_left() const;

  const MinimizeProblem& problem_;
  const Model& model_;
  const Parameters& parameters_;
  double end_;
  BackendMonitor* monitor_;
  RowView rows_;
  std::unique_ptr<Relaxation> relaxation_;
  double begin_;
  double relative_gap_, absolute_gap_;
  double lower_cutoff_, upper_cutoff_;  // in terms of the minimization

  double incumbent_ = kInfinity;
  double bound_ = -kInfinity;
  double root_bound_ = -kInfinity;  // of the continuous model
  // A bound of the relaxation was better than a point of it.
  bool contradicted_ = false;
  bool careful_ = false;           // the relaxation is solved without presolve, and strictly
  double objective_factor_ = 1.0;  // of the relaxation in branch and bound
  std::vector<double> best_x_, best_barx_;
  int32_t num_incumbents_ = 0;
  std::set<std::vector<double>> tried_;
  Status inner_failure_;
  int64_t tries_on_the_way_ = 0;
  int32_t cuts_in_relaxation_ = 0;  // of the last solve
  int round_ = 0;
  // How exactly the relaxation is solved: the share of the gap asked for that it may leave.
  int exactness_ = 0;
  bool has_floor_ = false;
  int32_t objective_head_ = -1;        // the head of a cone that is the objective
  std::vector<double> relaxed_point_;  // the continuous optimum, in all columns
  int64_t nodes_ = 0, nodes_now_ = 0;
  int64_t simplex_ = 0, simplex_now_ = 0;
  int64_t interior_ = 0;
};

}  // namespace vorlan::outer
