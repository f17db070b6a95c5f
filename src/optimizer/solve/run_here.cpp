// Runs a backend in this process.
#include "solve/runner.h"

namespace vorlan {
namespace {

class DirectMonitor : public BackendMonitor {
 public:
  explicit DirectMonitor(Listener* listener) : listener_(listener) {}
  void log(std::string_view text) override { listener_->log(text); }
  bool should_stop(const Progress& progress) override { return listener_->beat(progress); }
  void incumbent(std::span<const double> x) override { best_.assign(x.begin(), x.end()); }
  std::vector<double>& best() { return best_; }

 private:
  Listener* listener_;
  std::vector<double> best_;
};

}  // namespace

Status run_here(const Backend& backend, const MinimizeProblem& problem, Task* task,
                Listener* listener, BackendResult* result) {
  DirectMonitor monitor(listener);
  Status status = backend.solve(problem, task->parameters, listener->remaining(), &monitor, result);
  if (result->outcome == Outcome::kStopped && listener->stopped()) {
    result->termination = listener->stop_reason();
  }
  if (result->outcome == Outcome::kStopped && result->x.empty()) {
    result->x = std::move(monitor.best());
  }
  return status;
}

}  // namespace vorlan
