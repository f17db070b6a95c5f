// Inner solves are silent: the rounds have a log of their own.
#include "solve/outer/inner_solver.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solve/conic/conic_backend.h"
#include "solve/highs/highs_backend.h"
#include "solve/run/listener.h"
#include "task/parameter_index.h"

namespace vorlan::outer {

// Passes what an inner solve tells of itself on to the whole solve. Only an integer solve of the
// relaxation, the one with an objective factor, has a bound and points that mean anything there.
class InnerMonitor : public BackendMonitor {
 public:
  explicit InnerMonitor(InnerSolver* solver) : solver_(solver) {}
  InnerMonitor(InnerSolver* solver, double objective_factor, InnerSolver::OnPoint on_point)
      : solver_(solver), objective_factor_(objective_factor), on_point_(std::move(on_point)) {}

  void log(std::string_view) override {}
  bool should_stop(const Progress& progress) override {
    if (objective_factor_ == 0.0) return solver_->should_stop();
    return solver_->should_stop(progress, objective_factor_);
  }
  void incumbent(std::span<const double> columns, std::span<const double>) override {
    if (on_point_) on_point_(columns);
  }

 private:
  InnerSolver* solver_;
  double objective_factor_ = 0.0;
  InnerSolver::OnPoint on_point_;
};

InnerSolver::InnerSolver(const Parameters& parameters, double end, BackendMonitor* monitor,
                         OptimumBounds* bounds)
    : parameters_(parameters), end_(end), monitor_(monitor), bounds_(bounds) {}

void InnerSolver::count_node(int64_t iterations, int64_t open_nodes) {
  ++nodes_;
  open_nodes_ = open_nodes;
  simplex_ += iterations;
}

double InnerSolver::seconds_left() const { return end_ - monotonic_seconds(); }

Status InnerSolver::solve_conic(const Model& model, BackendResult* found) {
  return solve_conic(model, parameters_, found);
}

Status InnerSolver::solve_conic_roughly(const Model& model, BackendResult* found) {
  constexpr double kRoughGap = 1e-2;
  constexpr double kFactor = 10.0;  // of the tolerance, as the checker allows it
  Parameters parameters = parameters_;
  const double tolerance = kFactor * parameters_.get(DoubleParam::kConicFeasibilityTolerance);
  parameters.set(DoubleParam::kConicFeasibilityTolerance, std::min(kRoughGap, tolerance));
  parameters.set(DoubleParam::kConicGapTolerance, kRoughGap);
  return solve_conic(model, parameters, found);
}

Status InnerSolver::solve_conic(const Model& model, const Parameters& parameters,
                                BackendResult* found) {
  InnerMonitor monitor(this);
  Status status =
      kConicBackend.solve(MinimizeProblem(model), parameters, seconds_left(), &monitor, found);
  interior_ += found->progress.interior_iterations;
  return status;
}

Status InnerSolver::solve_linear(const Model& model, Parameters parameters, BackendResult* found) {
  parameters.set(IntParam::kOptimizer, kFreeOptimizer);
  InnerMonitor monitor(this);
  Status status =
      kHighsBackend.solve(MinimizeProblem(model), parameters, seconds_left(), &monitor, found);
  simplex_ += std::max<int64_t>(0, found->progress.simplex_iterations);
  return status;
}

Status InnerSolver::solve_integer(const MinimizeProblem& problem, const Parameters& parameters,
                                  double objective_factor, double loose_gap, OnPoint on_point,
                                  BackendResult* found) {
  InnerMonitor monitor(this, objective_factor, std::move(on_point));
  loose_gap_ = loose_gap;
  is_stopped_early_ = false;
  Status status =
      kHighsRelaxationBackend.solve(problem, parameters, seconds_left(), &monitor, found);
  if (is_stopped_early_ && found->termination == Code::kTrmUserCallback) {
    found->outcome = Outcome::kOptimal;
    found->termination = Code::kOk;
  }
  nodes_now_ = 0;
  simplex_now_ = 0;
  open_nodes_ = kNoTree;
  found->progress.objective /= objective_factor;
  found->progress.bound /= objective_factor;
  nodes_ += std::max<int64_t>(0, found->progress.nodes);
  simplex_ += std::max<int64_t>(0, found->progress.simplex_iterations);
  return status;
}

Status InnerSolver::solve_aside(const MinimizeProblem& problem, const Parameters& parameters,
                                BackendResult* found) {
  InnerMonitor monitor(this);
  Status status =
      kHighsRelaxationBackend.solve(problem, parameters, seconds_left(), &monitor, found);
  nodes_ += std::max<int64_t>(0, found->progress.nodes);
  simplex_ += std::max<int64_t>(0, found->progress.simplex_iterations);
  return status;
}

bool InnerSolver::should_stop() {
  return monitor_->should_stop(progress()) || seconds_left() <= 0.0 || bounds_->is_closed() ||
         bounds_->is_contradicted();
}

bool InnerSolver::should_stop(const Progress& inner, double objective_factor) {
  nodes_now_ = std::max(nodes_now_, inner.nodes);
  simplex_now_ = std::max(simplex_now_, inner.simplex_iterations);
  open_nodes_ = inner.open_nodes;
  bounds_->raise_bound(inner.bound / objective_factor);
  if (should_stop()) return true;
  is_stopped_early_ = is_stopped_early_ || is_close_enough(inner, objective_factor);
  return is_stopped_early_;
}

bool InnerSolver::is_close_enough(const Progress& inner, double objective_factor) const {
  constexpr double kShare = 0.5;  // of the gap asked for
  if (!(inner.relative_gap <= loose_gap_) || !std::isfinite(inner.objective)) return false;
  const double better = bounds_->incumbent() - inner.objective / objective_factor;
  return !bounds_->has_incumbent() || better > kShare * bounds_->absolute_tolerance();
}

Progress InnerSolver::progress() const {
  Progress progress = bounds_->progress();
  progress.nodes = nodes_ + nodes_now_;
  progress.open_nodes = open_nodes_;
  progress.simplex_iterations = simplex_ + simplex_now_;
  progress.interior_iterations = interior_;
  return progress;
}

}  // namespace vorlan::outer
