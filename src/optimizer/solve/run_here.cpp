// Runs a backend in this process.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "solve/runner.h"

namespace vorlan {
namespace {

class DirectMonitor : public BackendMonitor {
 public:
  explicit DirectMonitor(Listener* listener) : listener_(listener) {}
  void log(std::string_view text) override { listener_->log(text); }
  bool should_stop(const Progress& progress) override { return listener_->beat(progress); }
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    best_.x.assign(x.begin(), x.end());
    best_.barx.assign(barx.begin(), barx.end());
  }
  Incumbent& best() { return best_; }

 private:
  Listener* listener_;
  Incumbent best_;
};

// Sends standard output nowhere for its lifetime: what a backend prints is not the caller's text.
class SilentOutput {
 public:
  SilentOutput() {
    std::fflush(stdout);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) return;
    output_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (output_ >= 0) ::dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
  }
  ~SilentOutput() {
    if (output_ < 0) return;
    std::fflush(stdout);
    ::dup2(output_, STDOUT_FILENO);
    ::close(output_);
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;

 private:
  int output_ = -1;
};

// A backend's threads would outlive the solve and make the next fork that of a process with
// threads.
Parameters without_threads(Parameters parameters) {
  [[maybe_unused]] const Status status =
      parameters.put_int(static_cast<int32_t>(IntParam::kNumThreads), 1);
  return parameters;
}

}  // namespace

Status run_here(const Backend& backend, const MinimizeProblem& problem, Task* task,
                Listener* listener, BackendResult* result) {
  DirectMonitor monitor(listener);
  Status status;
  {
    const SilentOutput silence;
    status = backend.solve(problem, without_threads(task->parameters), listener->remaining(),
                           &monitor, result);
  }
  const bool ended_early = result->outcome == Outcome::kStopped || result->termination != Code::kOk;
  if (ended_early && listener->stopped()) {
    result->termination = listener->stop_reason();
  }
  keep_incumbent(std::move(monitor.best()), result);
  return status;
}

}  // namespace vorlan
