// Runs a backend in this process.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "solve/run/runner.h"
#include "task/high_descriptor.h"

namespace vorlan {
namespace {

// Sends standard output nowhere for its lifetime: what a backend prints is not the caller's text.
class SilentOutput {
 public:
  SilentOutput()
      : nowhere_(::open("/dev/null", O_WRONLY | O_CLOEXEC)),
        output_(copy_above_standard(STDOUT_FILENO)) {
    turn_to(nowhere_);
  }
  ~SilentOutput() {
    turn_to(output_);
    for (const int descriptor : {nowhere_, output_}) {
      if (descriptor >= 0) ::close(descriptor);
    }
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;

  void pause() { turn_to(output_); }
  void resume() { turn_to(nowhere_); }

 private:
  void turn_to(int descriptor) {
    if (nowhere_ < 0 || output_ < 0) return;
    std::fflush(stdout);
    ::dup2(descriptor, STDOUT_FILENO);
  }

  int nowhere_;
  int output_;
};

// Lets the caller's own functions print for its lifetime.
class CallersTurn {
 public:
  explicit CallersTurn(SilentOutput* silence) : silence_(silence) { silence_->pause(); }
  ~CallersTurn() { silence_->resume(); }
  CallersTurn(const CallersTurn&) = delete;
  CallersTurn& operator=(const CallersTurn&) = delete;

 private:
  SilentOutput* silence_;
};

class DirectMonitor : public BackendMonitor {
 public:
  DirectMonitor(Listener* listener, SilentOutput* silence)
      : listener_(listener), silence_(silence) {}
  void log(std::string_view text) override {
    const CallersTurn turn(silence_);
    listener_->log(text);
  }
  bool should_stop(const Progress& progress) override {
    if (listener_->stopped()) return true;
    if (listener_->until_beat() > 0.0) return false;
    const CallersTurn turn(silence_);
    return listener_->beat(progress);
  }
  void incumbent(std::span<const double> x, std::span<const double> barx) override {
    best_.x.assign(x.begin(), x.end());
    best_.barx.assign(barx.begin(), barx.end());
  }
  Incumbent& best() { return best_; }

 private:
  Listener* listener_;
  SilentOutput* silence_;
  Incumbent best_;
};

// A backend's threads would outlive the solve and make the next fork that of a process with
// threads.
Parameters without_threads(Parameters parameters) {
  parameters.set(IntParam::kNumThreads, 1);
  return parameters;
}

}  // namespace

Status run_here(const Backend& backend, const MinimizeProblem& problem, Task* task,
                Listener* listener, BackendResult* result) {
  Status status;
  Incumbent best;
  {
    SilentOutput silence;
    DirectMonitor monitor(listener, &silence);
    status = backend.solve(problem, without_threads(task->parameters), listener->remaining(),
                           &monitor, result);
    best = std::move(monitor.best());
  }
  const bool ended_early = result->outcome == Outcome::kStopped || result->termination != Code::kOk;
  if (ended_early && listener->stopped()) {
    result->termination = listener->stop_reason();
  }
  keep_incumbent(std::move(best), result);
  return status;
}

}  // namespace vorlan
