// The solves that outer approximation has made by the two other backends. All of them count towards
// the limits of the whole solve, and end when it is to end.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "solve/backend.h"
#include "solve/outer/optimum_bounds.h"

namespace vorlan::outer {

class InnerSolver {
 public:
  // Called with each better point of a relaxation that branch and cut finds on its way.
  using OnPoint = std::function<void(std::span<const double>)>;

  // Ends at the given time, of monotonic_seconds. The bounds must live as long as the solver does.
  InnerSolver(const Parameters& parameters, double end, BackendMonitor* monitor,
              OptimumBounds* bounds);

  // Solves a continuous model by the conic method.
  Status solve_conic(const Model& model, BackendResult* found);
  // The same to a rough optimum, whose point is feasible all the same.
  Status solve_conic_roughly(const Model& model, BackendResult* found);
  // Solves continuous models that do not wait for each other, beside each other where solves_beside
  // says so, and otherwise in turn. A failure is that of the first one that has any.
  Status solve_conics(const std::vector<const Model*>& models, std::vector<BackendResult>* found);
  // At most so many continuous models are solved beside each other.
  size_t num_processors() const;
  // Whether there are processors to solve such models beside each other, and it pays.
  bool solves_beside(const std::vector<const Model*>& models) const;
  // Solves a linear model without integers by a method that HiGHS chooses.
  Status solve_linear(const Model& model, Parameters parameters, BackendResult* found);
  // Solves a mixed-integer linear relaxation. Its objective is the one of the bounds times the
  // factor; the figures of the result are divided by it. Ends within the loose gap, a relative one,
  // where the best point is better than the incumbent: cuts will take such a point away. Where it is
  // not, the gap that the parameters ask for counts.
  Status solve_integer(const MinimizeProblem& problem, const Parameters& parameters,
                       double objective_factor, double loose_gap, OnPoint on_point,
                       BackendResult* found);

  // Solves a mixed-integer linear model whose bound says nothing about the bounds.
  Status solve_aside(const MinimizeProblem& problem, const Parameters& parameters,
                     BackendResult* found);

  // Counts a node of a tree that is searched elsewhere, and the simplex iterations that it took; and
  // takes how many nodes are open now.
  void count_node(int64_t iterations, int64_t open_nodes);
  double seconds_left() const;
  // Whether the whole solve is to end, by its limits, from outside, or because it has its answer.
  bool should_stop();
  Progress progress() const;
  int64_t nodes() const { return nodes_; }
  // The simplex iterations of the solve that runs now.
  int64_t simplex_iterations_now() const { return simplex_now_; }

 private:
  Status solve_conic(const Model& model, const Parameters& parameters, BackendResult* found);
  size_t num_beside(const std::vector<const Model*>& models) const;
  friend class InnerMonitor;
  // The same with what an integer solve tells of itself.
  bool should_stop(const Progress& inner, double objective_factor);
  bool is_close_enough(const Progress& inner, double objective_factor) const;

  const Parameters& parameters_;
  double end_;
  BackendMonitor* monitor_;
  OptimumBounds* bounds_;
  static constexpr int64_t kNoTree = -1;

  int64_t nodes_ = 0, nodes_now_ = 0;
  int64_t open_nodes_ = kNoTree;  // of the tree that is searched now
  int64_t simplex_ = 0, simplex_now_ = 0;
  int64_t interior_ = 0;
  double loose_gap_ = 0.0;         // of the integer solve that runs now
  bool is_stopped_early_ = false;  // because of it
};

}  // namespace vorlan::outer
