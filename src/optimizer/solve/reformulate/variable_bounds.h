// Finite bounds of variables and of linear functions for reformulations: the model's own, those that
// its constraints imply one by one, and, where these leave none that is small enough, the optimum of
// a linear relaxation.
//
// A coefficient made of a bound lets leak what the tolerance of integers leaves. What leaks is
// taken out in the end, by rounded integers with large coefficients made small
// (solve/highs/exact_integers.h, solve/outer/), but the nearer a bound is, the easier is the
// search: it is worth a linear program.
#pragma once

#include <memory>
#include <vector>

#include "solve/backend.h"

namespace vorlan::reformulate {

// The farthest bound that a switch can hold: money in cents, beside a tolerance of integers of
// 1e-10.
inline constexpr double kFarthest = 1e10;
// For a bound beyond this a linear program is solved.
inline constexpr double kFar = 1e7;

struct Term {
  int32_t var;
  double coefficient;
};

class VariableBounds {
 public:
  // All are borrowed. The end is a time of the monotonic clock, behind which no linear program is
  // solved any more.
  VariableBounds(const Model& model, const Parameters& parameters, double end,
                 BackendMonitor* monitor);

  // An interval that holds all values of a variable, 0 of a semi-continuous one included; infinite
  // where none can be derived.
  double lower(int32_t var);
  double upper(int32_t var);
  // The most that a sum of terms can be.
  double most(const std::vector<Term>& terms);
  // A variable of the sum that has no finite bound, or else the one with the largest term.
  int32_t culprit(const std::vector<Term>& terms);

  // The linear programs that were solved.
  int64_t num_solves() const { return num_solves_; }

 private:
  void derive();
  void join_indicators(std::vector<double>* lower, std::vector<double>* upper) const;
  double relaxed_most(const std::vector<Term>& terms);
  void tighten(int32_t var, double sign);

  const Model& model_;
  const Parameters& parameters_;
  double end_;
  BackendMonitor* monitor_;
  bool derived_ = false;
  std::vector<double> lower_, upper_;
  std::vector<bool> solved_lower_, solved_upper_;
  std::unique_ptr<Model> relaxation_;
  int64_t num_solves_ = 0;
};

}  // namespace vorlan::reformulate
