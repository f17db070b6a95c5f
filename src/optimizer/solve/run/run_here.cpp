// Runs the work of a solve in this process. Nothing process-wide is touched, since other threads
// may solve other tasks, or print, at the same time.
#include <utility>

#include "solve/run/runner.h"
#include "task/parameter_index.h"

namespace vorlan {
namespace {

class DirectMonitor : public BackendMonitor {
 public:
  explicit DirectMonitor(Listener* listener) : listener_(listener) {}
  void log(std::string_view text) override { listener_->log(text); }
  bool should_stop(const Progress& progress) override { return listener_->beat(progress); }
  void milestone(const Progress& progress, std::string_view origin) override {
    listener_->milestone(progress, origin, monotonic_seconds());
  }
  void incumbent(std::span<const double> /*x*/, std::span<const double> /*barx*/) override {}
  void keep(const BackendResult& point, double primal_violation) override {
    listener_->point(point, primal_violation);
  }

 private:
  Listener* listener_;
};

// A backend's threads would outlive the solve and make the next fork that of a process with
// threads.
Parameters without_threads(Parameters parameters) {
  parameters.set(IntParam::kNumThreads, 1);
  return parameters;
}

}  // namespace

Status run_here(const Work& work, Task* task, Listener* listener, Answer* answer) {
  DirectMonitor monitor(listener);
  Status status = work(without_threads(task->parameters), listener->remaining(), &monitor, answer);
  listener->explain_stop(&answer->result);
  return status;
}

}  // namespace vorlan
