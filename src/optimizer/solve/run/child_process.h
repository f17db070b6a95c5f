// A child process that does the work of a solve, so that it can be stopped at any moment, whatever
// the backend or the checker is doing, and its death is not the caller's.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "solve/run/runner.h"
#include "solve/run/shared_result.h"
#include "task/high_descriptor.h"

namespace vorlan {

// Takes whole lines of log text.
using LogText = std::function<void(std::string_view text)>;

class ChildProcess {
 public:
  explicit ChildProcess(const Model& model) : shared_(model) {}
  // One that nobody has left is killed and reaped: an exception leaves no process behind.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Forks, and does the work there with the parameters given. A failure has its reason.
  Status start(const Work& work, const Parameters& parameters, const Listener& listener);

  // What poll says of the pipe.
  enum class Pipe { kSilent, kReadable, kBroken };
  // Reads what the pipe has, and looks whether the child is over.
  void look(Pipe state);
  // Hands on the text that was read and came before the next milestone.
  void tell_text(const LogText& log);
  // Asks the child to stop; called again, kills it once it had its grace.
  void stop();
  void kill();
  // Reaps the child that is over, or leaves that to the task, which has room for it. A failure is
  // the reason of its death where it left no answer and was not killed here.
  Status leave(Task* task);

  int pipe() const { return read_end_.get(); }
  bool is_over() const { return ended_ || killed_; }
  bool is_complete() const { return shared_.complete(); }
  Progress progress() const { return shared_.progress(); }
  // The next milestone; null when there is none, or when log text that came before it is still to
  // be told.
  const Milestone* next_milestone();
  // Goes on to the one behind it.
  void pass_milestone() { milestone_.reset(); }
  // The last point that was kept, if it is another one than this gave before.
  bool take_point(BackendResult* point, double* primal_violation) {
    return shared_.take_point(point, primal_violation);
  }
  // The last point that was kept, of one that may be dead; false where there is none.
  bool last_point(BackendResult* point, double* primal_violation) const;
  // The answer of one that is complete, or the last point that it kept, or, where it kept none, the
  // point that the answer brought.
  Status take_answer(const Task& task, const Listener& listener, Answer* answer) const;
  // The beginning of a line that has not ended.
  const std::string& rest_of_line() const { return line_; }

 private:
  // False when the pipe had nothing.
  bool read_text();
  void fetch_milestone();
  void pass_lines(std::string_view text, const LogText& log);
  bool is_dead() const;
  void bear_failure();

  SharedResult shared_;
  Descriptor read_end_;
  pid_t pid_ = -1;
  std::string text_;  // read, and to be told
  std::string line_;
  uint64_t text_told_ = 0;  // bytes
  std::optional<Milestone> milestone_;
  int num_failures_ = 0;
  double stop_time_ = -1.0;
  bool ended_ = false;
  bool killed_ = false;
  bool is_left_ = false;
};

}  // namespace vorlan
