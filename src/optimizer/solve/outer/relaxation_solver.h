// Solves of the polyhedral relaxation: by branch and cut, how exactly and in which unit of the
// objective, and without integers where that makes it better.
#pragma once

#include <vector>

#include "solve/backend.h"
#include "solve/outer/inner_solver.h"
#include "solve/outer/integer_trials.h"
#include "solve/outer/relaxation.h"

namespace vorlan::outer {

class RelaxationSolver {
 public:
  RelaxationSolver(const MinimizeProblem& problem, const Parameters& parameters,
                   InnerSolver* solver, OptimumBounds* bounds, Relaxation* relaxation);

  // Solves the relaxation by branch and cut. The trials see the points on the way.
  Status solve(IntegerTrials* trials, BackendResult* found);

  // Cuts off optima of the relaxation without integers, as long as this brings its bound up: cuts
  // of switched variables are stronger than the continuous model.
  void refine();

  enum class Repair {
    kChanged,     // the relaxation says more than before
    kInfeasible,  // without integers it has no point, which is proved
    kNothing      // nothing helps
  };
  // Mends a relaxation that is unbounded although the model is not. The point, in all columns, is
  // the optimum of the continuous model.
  Repair bound_below(const std::vector<double>& relaxed_point);

  // Branch and bound takes differences of 1e-6 in the objective for none. Multiplies small
  // objectives, so that the gap asked for is well above that; the argument is the objective of the
  // continuous model.
  void choose_objective_factor(double objective);
  double objective_factor() const { return objective_factor_; }
  // Leaves a smaller share of the gap from now on; false when it leaves none already.
  bool be_more_exact();
  // Solves without presolve and with strict tolerances from now on; false when it did already.
  bool be_careful();
  bool is_careful() const { return careful_; }
  // Whether the relaxation has cuts that were not there when its last solve began.
  bool has_new_cuts() const { return relaxation_->num_cuts() > cuts_in_solve_; }

 private:
  Parameters integer_parameters() const;
  double loose_gap() const;
  Solution start(const Incumbent& best) const;

  const MinimizeProblem& problem_;
  const Parameters& parameters_;
  InnerSolver* solver_;
  OptimumBounds* bounds_;
  Relaxation* relaxation_;
  int exactness_ = 0;
  bool careful_ = false;
  bool has_floor_ = false;
  double objective_factor_ = 1.0;
  int32_t cuts_in_solve_ = 0;
};

}  // namespace vorlan::outer
