// Inner solves are silent: the rounds have a log of their own.
#include "solve/outer/inner_solver.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

#include "solve/conic/conic_backend.h"
#include "solve/conic/dense_algebra.h"
#include "solve/conic/thread_team.h"
#include "solve/highs/highs_backend.h"
#include "solve/run/listener.h"
#include "task/machine.h"
#include "task/parameter_index.h"

namespace vorlan::outer {
namespace {

// Smaller models are solved before a thread is there.
constexpr int64_t kLeastSizeBeside = 1000;
// What dense algebra maps for each thread that calls it, and as much again for its stack and for
// what is in the work.
constexpr double kSpaceOfSolve = 0x1p28;

bool algebra_bears_threads() {
  Status failure;
  const conic::DenseAlgebra* const algebra = conic::DenseAlgebra::load(&failure);
  return algebra != nullptr && algebra->bears_threads();
}

// The conic method leaves it to whoever stops it to say why.
void name_stop(BackendResult* found) {
  const bool is_stopped = found->outcome == Outcome::kStopped && found->termination == Code::kOk;
  if (is_stopped) found->termination = Code::kTrmUserCallback;
}

}  // namespace

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

// The same for solves beside each other, of which one at a time asks whether to go on.
class MonitorBeside : public BackendMonitor {
 public:
  MonitorBeside(InnerSolver* solver, std::mutex* mutex) : solver_(solver), mutex_(mutex) {}

  void log(std::string_view) override {}
  bool should_stop(const Progress&) override {
    const std::lock_guard lock(*mutex_);
    return solver_->should_stop();
  }
  void incumbent(std::span<const double>, std::span<const double>) override {}

 private:
  InnerSolver* solver_;
  std::mutex* mutex_;
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
  name_stop(found);
  interior_ += found->progress.interior_iterations;
  return status;
}

// What a limit of memory allows for one solve it need not allow for two.
size_t InnerSolver::num_processors() const {
  if (std::isfinite(parameters_.get(DoubleParam::kMemoryLimit))) return 1;
  return static_cast<size_t>(continuous_threads(parameters_.get(IntParam::kNumThreads)));
}

size_t InnerSolver::num_beside(const std::vector<const Model*>& models) const {
  const size_t most = std::min(num_processors(), models.size());
  const bool lasts = std::all_of(models.begin(), models.end(), [](const Model* model) {
    return model->matrix.num_elements() + model->num_var() >= kLeastSizeBeside;
  });
  const bool has_room = most > 1 && lasts && algebra_bears_threads() &&
                        has_address_space(kSpaceOfSolve * static_cast<double>(most));
  return has_room ? most : 1;
}

bool InnerSolver::solves_beside(const std::vector<const Model*>& models) const {
  return num_beside(models) > 1;
}

// Each solve has one thread, so that its answer does not depend on how many run beside it.
Status InnerSolver::solve_conics(const std::vector<const Model*>& models,
                                 std::vector<BackendResult>* found) {
  const size_t count = models.size();
  found->assign(count, {});
  std::vector<Status> statuses(count);
  const size_t num_threads = num_beside(models);
  if (num_threads <= 1) {
    for (size_t k = 0; k < count; ++k) statuses[k] = solve_conic(*models[k], &(*found)[k]);
  } else {
    Parameters parameters = parameters_;
    parameters.set(IntParam::kNumThreads, 1);
    std::mutex mutex;
    conic::ThreadTeam(num_threads).run(count, [&](size_t k, size_t) {
      MonitorBeside monitor(this, &mutex);
      statuses[k] = kConicBackend.solve(MinimizeProblem(*models[k]), parameters, seconds_left(),
                                        &monitor, &(*found)[k]);
    });
    for (BackendResult& one : *found) {
      name_stop(&one);
      interior_ += one.progress.interior_iterations;
    }
  }
  for (Status& status : statuses) {
    if (!status.ok()) return std::move(status);
  }
  return {};
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
