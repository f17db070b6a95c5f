// Trials of integers: the integers of a point of the relaxation are fixed, and the continuous model
// that is left is solved by the conic method. A feasible point becomes the incumbent. Its
// multipliers, or those of a proof that there is none, are cuts: these alone keep the relaxation
// from coming back to the same integers with a better value.
#pragma once

#include <map>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/fixed_model.h"
#include "solve/outer/inner_solver.h"
#include "solve/outer/relaxation.h"

namespace vorlan::outer {

class IntegerTrials {
 public:
  // What the trials find goes into the bounds and the relaxation, and to the monitor.
  IntegerTrials(const MinimizeProblem& problem, const Parameters& parameters,
                BackendMonitor* monitor, InnerSolver* solver, OptimumBounds* bounds,
                Relaxation* relaxation);

  // Tries the integers of a point of the model; false when they have been tried before. The origin
  // is told with a better point.
  bool try_integers(const std::vector<double>& x, std::string_view origin = "integers tried");
  // Solves what trials of these points will ask for beside each other, where that pays.
  void prepare(const std::vector<std::vector<double>>& points);
  // Looks for any feasible point with the integers of a point, and learns nothing else of them.
  void try_roughly(const std::vector<double>& x);
  // Whether the integers of a point were tried and the trial said all about them: that there is no
  // feasible point with them, or which is the best.
  bool has_settled(const std::vector<double>& x) const;
  // Tells the relaxation what it does not see by its cuts about settled integers; false when that is
  // nothing new.
  bool settle(const std::vector<double>& x);
  // Tries those of a point that branch and cut has found on its way to the relaxation's optimum.
  void try_on_the_way(std::span<const double> columns);
  // To be called before each solve of the relaxation.
  void begin_relaxation() { tries_on_the_way_ = 0; }

  // The variables of the model, of a point in all columns of the relaxation.
  std::vector<double> variables_of(std::span<const double> columns) const;
  // Takes a point as the incumbent when it is feasible and better. Returns whether it is feasible.
  bool offer(std::vector<double> x, const std::vector<double>& barx,
             std::string_view origin = "integers tried");

  const Incumbent& best() const { return best_; }  // empty while there is none
  int32_t num_incumbents() const { return num_incumbents_; }
  // Why a solve of a fixed model failed, if one did.
  const Status& failure() const { return failure_; }

 private:
  FixedModel fix(const std::vector<double>& assignment) const;
  Status solve_fixed(const FixedModel& fixed, const std::vector<double>& assignment,
                     BackendResult* found);
  void learn(const FixedModel& fixed, const BackendResult& found, const std::vector<double>& x);
  void find_violation(const FixedModel& fixed, std::vector<double>* at);

  const MinimizeProblem& problem_;
  const Model& model_;
  const Parameters& parameters_;
  BackendMonitor* monitor_;
  InnerSolver* solver_;
  OptimumBounds* bounds_;
  Relaxation* relaxation_;
  RowView rows_;
  // Assignments of the integers: those that were tried, and those that need no further trial.
  std::set<std::vector<double>> tried_, settled_;
  std::map<std::vector<double>, BackendResult> prepared_;  // by assignment
  int64_t tries_on_the_way_ = 0;
  Incumbent best_;
  int32_t num_incumbents_ = 0;
  Status failure_;
};

}  // namespace vorlan::outer
