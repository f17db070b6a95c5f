// The continuous relaxation: the model without its integers, solved by the conic method. It may
// settle the model, it gives the first bound, and its multipliers are the first cuts.
#pragma once

#include <span>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/inner_solver.h"
#include "solve/outer/optimum_bounds.h"
#include "solve/outer/relaxation.h"

namespace vorlan::outer {

class ContinuousRelaxation {
 public:
  explicit ContinuousRelaxation(const Model& model);

  Status solve(InnerSolver* solver);

  // Whether the solve was stopped, by its limits or from outside.
  bool is_stopped() const;
  // Whether the answer proves that the model is infeasible. Completes the proof.
  bool is_infeasible();
  // Whether the answer is a ray along which the relaxation is unbounded. Completes the ray.
  bool is_unbounded();
  bool is_optimal() const { return answer_.outcome == Outcome::kOptimal; }
  // Whether there is a point, which need not be optimal.
  bool has_point() const;

  size_t num_variables() const { return model_.cost.size(); }
  const BackendResult& answer() const { return answer_; }
  // The optimum, and the bound that its multipliers prove, weaker by the difference of the two.
  double objective() const;
  double bound() const;

  // Finds out how small the heads of cones can be that make cuts stronger.
  void bound_heads(InnerSolver* solver, Relaxation* relaxation) const;

  // The optimum within bounds, of which there may be more than variables; empty where there is none.
  std::vector<double> solve_within(const std::vector<double>& lower,
                                   const std::vector<double>& upper, InnerSolver* solver) const;

  // The point of the model that is deepest inside its quadratic cones; empty where there is none.
  std::vector<double> deepest_point(InnerSolver* solver) const;

 private:
  void bound_some_heads(std::span<const int32_t> heads, InnerSolver* solver,
                        Relaxation* relaxation) const;

  Model model_;
  MinimizeProblem problem_;
  BackendResult answer_;
};

}  // namespace vorlan::outer
