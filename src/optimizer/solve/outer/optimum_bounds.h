// What is proved about the optimum of a minimization: it is no larger than the objective of the
// incumbent, and no smaller than the bound.
//
// The bound is a claim of another optimizer, which can be wrong. The incumbent is a point of every
// relaxation, so that a bound above its objective contradicts it: such a bound does not count, and
// neither do the bounds of that optimizer before it. What is left then is the bound that the
// continuous relaxation proves.
//
// All objectives are those of the minimization, without the model's constant.
#pragma once

#include "solve/backend.h"

namespace vorlan::outer {

class OptimumBounds {
 public:
  OptimumBounds(const MinimizeProblem& problem, const Parameters& parameters);

  double incumbent() const { return incumbent_; }  // infinite while there is none
  bool has_incumbent() const;
  double bound() const { return bound_; }
  double gap() const { return incumbent_ - bound_; }
  // The gap with which incumbent and bound count as one.
  double absolute_tolerance() const;
  bool is_closed() const;
  // Whether one of the cutoffs makes it pointless to go on.
  bool is_cut_off() const;
  // An objective that is clearly above the upper cutoff: what is no better needs no search.
  double above_cutoff() const;

  // A bound that the continuous relaxation proves. It holds whatever branch and bound says.
  void set_root_bound(double bound);
  // A bound that a solve of the linear relaxation claims; ignored when it is not finite.
  void raise_bound(double bound);
  // Takes the objective of a feasible point that is better than the incumbent.
  void lower_incumbent(double objective);

  // Whether a bound was better than a point of the model.
  bool is_contradicted() const { return contradicted_; }
  // Notes a contradiction that was seen elsewhere: a relaxation without any point, for example.
  void contradict() { contradicted_ = true; }
  // Takes back every bound but the one of the continuous relaxation; the contradiction is settled.
  void withdraw_bound();

  // Objective, bound and gap of the progress; the counts are left at 0.
  Progress progress() const;

 private:
  // How far above the incumbent a bound may be: the rounding of both.
  double doubt() const;
  double size_of_objective() const;

  double constant_;
  double relative_gap_, absolute_gap_;
  Cutoffs cutoffs_;
  double incumbent_ = kInfinity;
  double bound_ = -kInfinity;
  double root_bound_ = -kInfinity;
  bool contradicted_ = false;
};

// Bounds from which cuts are made are taken to be weaker by this, relative to their size, beside
// their rounding.
inline constexpr double kCaution = 1e-6;

// A bound that is weaker by kCaution.
double weaken_bound(double bound);

}  // namespace vorlan::outer
